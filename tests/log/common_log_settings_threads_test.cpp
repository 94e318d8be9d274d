// Settings that several threads change at once.
#include <algorithm>
#include <atomic>
#include <barrier>
#include <chrono>
#include <functional>
#include <random>
#include <thread>

#include "settings_seen.h"

namespace {

using namespace harness;

constexpr unsigned kThreads = 4;
constexpr unsigned kRounds = 300;
constexpr unsigned kChangesInARound = 8;

void change_something(std::mt19937& random)
{
    const auto value = static_cast<std::uint32_t>(random());
    switch (random() % 4) {
    case 0:
        COMMON_Log_EnableSet(value % 2);
        break;
    case 1:
        COMMON_Log_LevelSet(value % 8);
        break;
    case 2:
        COMMON_Log_LevelSetExtended(value % 8, value / 8 % 3);
        break;
    default:
        COMMON_Log_PeakloadControlSet(value % 3);
        break;
    }
}

/// Runs all threads through rounds of changes; between two rounds one of them compares.
void run_rounds(const std::function<void(std::mt19937&)>& change)
{
    std::barrier round(kThreads, []() noexcept { compare_accepted_with_settings(); });
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, i] {
            std::mt19937 random(i);
            for (unsigned done = 0; done < kRounds * kChangesInARound; ++done) {
                change(random);
                if (done % kChangesInARound == kChangesInARound - 1) {
                    round.arrive_and_wait();
                }
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
}

FRESH_TEST(CommonLogSettingsThreads, ConcurrentChangesEndConsistent)
{
    run_rounds(change_something);
}

/// Lets two threads go on at the very same moment, which a barrier that sleeps does not.
class Meeting {
public:
    void meet()
    {
        const unsigned round = round_.load();
        if (arrived_.fetch_add(1) == 1) {
            arrived_ = 0;
            round_ = round + 1;
        }
        for (unsigned spins = 0; round_.load() == round; ++spins) {
            if (spins % 1000 == 999) {
                std::this_thread::yield();
            }
        }
    }

private:
    std::atomic<unsigned> arrived_{0};
    std::atomic<unsigned> round_{0};
};

TEST(CommonLogSettingsThreads, ChangesAtTheSameMomentAreBothSeen)
{
    constexpr unsigned kMeetings = 5'000;
    well([] {
        // Two threads that share a processor with others meet rarely.
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(1);
        std::atomic<bool> go_on{true};
        COMMON_Log_LevelGet();
        Meeting meeting;
        std::thread other([&] {
            for (unsigned i = 0; go_on; ++i) {
                meeting.meet();
                COMMON_Log_EnableSet(i % 2);
                meeting.meet();
            }
        });
        for (unsigned i = 0; go_on; ++i) {
            meeting.meet();
            COMMON_Log_LevelSet(i / 2 % 8);
            go_on = i + 1 < kMeetings && std::chrono::steady_clock::now() < end;
            meeting.meet();
            compare_accepted_with_settings();
        }
        other.join();
    });
}

TEST(CommonLogSettingsThreads, TheSlotIsMadeOnceWhenSeveralTurnTheCacheOn)
{
    const Outcome outcome = well({.env = {{"COMMON_LOG_CACHE", "False"}}}, [] {
        COMMON_Log_LevelGet();
        std::barrier start(kThreads);
        std::vector<std::thread> threads;
        for (unsigned i = 0; i < kThreads; ++i) {
            threads.emplace_back([&start, i] {
                start.arrive_and_wait();
                COMMON_Log_CacheSet(1);
                log_message(kInfo, "thread %u", i);
                log_message(kInfo, "thread %u again", i);
            });
        }
        for (auto& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(COMMON_Log_CacheGet(), 1u);
    });
    std::vector<std::string> messages;
    for (const Report& one : reports(outcome)) {
        messages.push_back(one.message);
    }
    std::sort(messages.begin(), messages.end());
    EXPECT_THAT(messages,
                testing::ElementsAre("thread 0", "thread 0 again", "thread 1", "thread 1 again",
                                     "thread 2", "thread 2 again", "thread 3", "thread 3 again"));
}

}  // namespace
