// Settings that threads change at once, each interrupted by the others at any atomic operation: in
// the end the gate lets through what the settings say.
#include <cstdint>
#include <vector>

#include "interleaving.h"
#include "settings_seen.h"

namespace {

using namespace harness;

using Change = void (*)();

constexpr Change kChanges[] = {
    [] { COMMON_Log_EnableSet(0); },
    [] { COMMON_Log_LevelSet(kFatal); },
    [] { COMMON_Log_LevelSet(kVerbose); },
    [] { COMMON_Log_LevelSetExtended(kWarn, kNone); },
    [] { COMMON_Log_PeakloadControlSet(kNone); },
};

void start_anew()
{
    COMMON_Log_EnableSet(1);
    COMMON_Log_PeakloadControlSet(kNone);
    COMMON_Log_LevelSet(kError);
}

/// Changes at once. @return how many orders there were.
std::uint64_t explore(unsigned preemptions, const std::vector<Change>& changes)
{
    return interleaving::explore(preemptions, [&] {
        start_anew();
        std::size_t running = changes.size();
        for (const Change change : changes) {
            interleaving::start([&, change] {
                change();
                --running;
            });
        }
        interleaving::wait_until([&] { return running == 0; });
        compare_accepted_with_settings();
    });
}

FRESH_TEST(CommonLogGateInterleaving, TwoChangesAreBothSeen)
{
    COMMON_Log_LevelGet();
    std::uint64_t orders = 0;
    for (const Change first : kChanges) {
        for (const Change second : kChanges) {
            orders += explore(3, {first, second});
        }
    }
    EXPECT_GT(orders, 1'000U);
}

FRESH_TEST(CommonLogGateInterleaving, ThreeChangesAreAllSeen)
{
    COMMON_Log_LevelGet();
    EXPECT_GT(explore(2, {kChanges[0], kChanges[1], kChanges[2]}), 1'000U);
}

}  // namespace
