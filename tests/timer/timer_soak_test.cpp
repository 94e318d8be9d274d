// Races of timers: stopping and restarting against the deadline, and many threads at once.
#include <deque>
#include <random>

#include <gmock/gmock.h>

#include "shot.h"
#include "soak.h"

using namespace harness;

namespace {

/// A timer and what happened to it. Each start either calls back or was stopped.
struct Contest {
    TMR* timer = TMR_New();
    std::atomic<int> calls{0};
    int starts = 0;
    int stops = 0;

    static void call(void* argument) { ++static_cast<Contest*>(argument)->calls; }
};

void spin_for(std::chrono::microseconds time)
{
    const auto end = std::chrono::steady_clock::now() + time;
    while (std::chrono::steady_clock::now() < end) {
    }
}

/// Ends a contest: what was started has either called back or was stopped, and nothing more comes.
void settle(Contest& contest)
{
    TMR_Delete(contest.timer);
    EXPECT_EQ(contest.calls, contest.starts - contest.stops);
    EXPECT_GT(contest.starts, 0);
}

TEST(TimerSoak, StopAgainstExpiry)
{
    run_race([](std::chrono::milliseconds time) {
        Contest contest;
        std::mt19937 random(1);
        race(time, {[&] {
                 ASSERT_EQ(TMR_Start(contest.timer, Contest::call, &contest, 1), 1U);
                 ++contest.starts;
                 spin_for(std::chrono::microseconds(900 + random() % 250));
                 const int before = contest.calls;
                 const TMR_Return_t stopped = TMR_Stop(contest.timer);
                 if (stopped == TMR_ReturnSuccess) {
                     ++contest.stops;
                     // Stopped in time: what called back before is all there is.
                     ASSERT_GE(before + contest.stops, contest.starts - 1);
                 } else {
                     ASSERT_EQ(stopped, TMR_ReturnNotSet);
                 }
             }});
        settle(contest);
    });
}

TEST(TimerSoak, RestartAgainstExpiry)
{
    run_race([](std::chrono::milliseconds time) {
        Contest contest;
        std::mt19937 random(2);
        race(time, {[&] {
                 ASSERT_EQ(TMR_Start(contest.timer, Contest::call, &contest, 1), 1U);
                 ++contest.starts;
                 for (int i = 0; i < 3; ++i) {
                     spin_for(std::chrono::microseconds(900 + random() % 250));
                     const TMR_Return_t restarted = TMR_Restart(contest.timer);
                     if (restarted == TMR_ReturnSuccess) {
                         ++contest.stops;
                         ++contest.starts;
                     } else {
                         ASSERT_EQ(restarted, TMR_ReturnNotSet);
                     }
                 }
                 contest.stops += TMR_Stop(contest.timer) == TMR_ReturnSuccess ? 1 : 0;
             }});
        settle(contest);
    });
}

/// Idle threads are woken for new deadlines, while others come to theirs.
TEST(TimerSoak, EachStartOfOneTimerCallsBack)
{
    run_race([](std::chrono::milliseconds time) {
        constexpr unsigned kThreads = 3;
        constexpr int kAtOnce = 16;
        Contest contest;
        std::atomic<int> starts{0};
        std::deque<std::mt19937> random;
        std::vector<std::function<void()>> steps;
        for (unsigned i = 0; i < kThreads; ++i) {
            random.emplace_back(i);
            steps.emplace_back([&, &numbers = random.back()] {
                if (starts - contest.calls >= kAtOnce) {
                    std::this_thread::yield();
                    return;
                }
                ++starts;
                ASSERT_EQ(TMR_Start(contest.timer, Contest::call, &contest,
                                    1 + static_cast<std::uint32_t>(numbers() % 20)),
                          1U);
            });
        }
        race(time, steps);
        EXPECT_TRUE(wait_until([&] { return contest.calls == starts; }));
        contest.starts = starts;
        settle(contest);
    });
}

/// Whatever the threads do to whichever timer, nothing hangs, is lost or is touched after its end.
TEST(TimerSoak, ManyThreadsOnManyTimers)
{
    run_race([](std::chrono::milliseconds time) {
        constexpr unsigned kTimers = 8;
        constexpr unsigned kThreads = 6;
        std::deque<Contest> contests(kTimers);
        std::deque<std::mt19937> random;
        std::vector<std::function<void()>> steps;
        for (unsigned i = 0; i < kThreads; ++i) {
            random.emplace_back(i);
            steps.emplace_back([&contests, &numbers = random.back()] {
                Contest& contest = contests[numbers() % kTimers];
                switch (numbers() % 8) {
                case 0:
                case 1:
                case 2:
                    ASSERT_EQ(TMR_Start(contest.timer, Contest::call, &contest,
                                        1 + static_cast<std::uint32_t>(numbers() % 3)),
                              1U);
                    break;
                case 3:
                case 4:
                    ASSERT_NE(TMR_Stop(contest.timer), TMR_ReturnFailed);
                    break;
                case 5:
                    ASSERT_NE(TMR_Restart(contest.timer), TMR_ReturnFailed);
                    break;
                case 6:
                    ASSERT_LE(TMR_InUse(contest.timer), 1U);
                    break;
                default: {
                    Contest own;
                    ASSERT_EQ(TMR_Start(own.timer, Contest::call, &own, 1), 1U);
                    TMR_Delete(own.timer);
                    break;
                }
                }
            });
        }
        race(time, steps);
        int calls = 0;
        for (Contest& contest : contests) {
            TMR_Delete(contest.timer);
            calls += contest.calls;
        }
        EXPECT_GT(calls, 0);
    });
}

}  // namespace
