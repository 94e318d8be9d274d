// Two changes of the settings, the second of which comes between any two instructions of the first,
// as if of another thread. The processor's trap flag stops the first one there.
#include <climits>
#include <csignal>
#include <ucontext.h>
#include <x86intrin.h>

#include "settings_seen.h"

namespace {

using namespace harness;

using Change = void (*)();

constexpr std::uint32_t kTrapFlag = 0x100;

/// How many instructions are stepped for two changes: all interruptions of an ordinary program,
/// some of an instrumented one, which has many more instructions.
constexpr int kMostSteps = 30'000;

/// What goes on in the process that is stepped.
int instructions_left = 0;
Change second_change = nullptr;

void on_trap(int, siginfo_t*, void* context)
{
    if (--instructions_left == 0) {
        static_cast<ucontext_t*>(context)->uc_mcontext.gregs[REG_EFL] &=
            ~static_cast<greg_t>(kTrapFlag);
        second_change();
    }
}

/// Runs the first change, and the second one after so many of its instructions. @return whether it
/// has so many.
bool interleave(Change first, Change second, int instructions)
{
    second_change = second;
    instructions_left = instructions;
    __writeeflags(__readeflags() | kTrapFlag);
    first();
    __writeeflags(__readeflags() & ~decltype(__readeflags()){kTrapFlag});
    return instructions_left <= 0;
}

constexpr Change kChanges[] = {
    [] { COMMON_Log_EnableSet(0); },
    [] { COMMON_Log_LevelSet(kFatal); },
    [] { COMMON_Log_LevelSet(kVerbose); },
    [] { COMMON_Log_PeakloadControlSet(kNone); },
};

void start_anew()
{
    COMMON_Log_EnableSet(1);
    COMMON_Log_PeakloadControlSet(kNone);
    COMMON_Log_LevelSet(kError);
}

void interleave_everywhere(Change first, Change second)
{
    start_anew();
    EXPECT_FALSE(interleave(first, second, INT_MAX));
    const int count = INT_MAX - instructions_left;
    EXPECT_GT(count, 10) << "it was not stepped";
    const int stride = (count - 1) * count / kMostSteps + 1;
    for (int instructions = 1; instructions < count && !testing::Test::HasFailure();
         instructions += stride) {
        start_anew();
        EXPECT_TRUE(interleave(first, second, instructions)) << instructions << " of " << count;
        compare_accepted_with_settings();
    }
}

FRESH_TEST(CommonLogInterleaving, ChangesThatInterruptEachOtherAreBothSeen)
{
    struct sigaction action {};
    action.sa_sigaction = on_trap;
    action.sa_flags = SA_SIGINFO;
    ASSERT_EQ(sigaction(SIGTRAP, &action, nullptr), 0);
    for (const Change first : kChanges) {
        for (const Change second : kChanges) {
            interleave_everywhere(first, second);
        }
    }
}

}  // namespace
