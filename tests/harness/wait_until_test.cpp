// Waiting ends when the state is there or the time is over, and not before.
#include "wait_until.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include "fresh_process.h"

using namespace harness;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

TEST(WaitUntil, EndsWhenTheConditionHolds)
{
    int asked = 0;
    EXPECT_TRUE(wait_until([&] { return ++asked == 3; }));
    EXPECT_EQ(asked, 3);
}

TEST(WaitUntil, GivesUpAtTheLimit)
{
    const auto start = Clock::now();
    EXPECT_FALSE(wait_until([] { return false; }, 20ms));
    EXPECT_GE(Clock::now() - start, 20ms);
}

TEST(WaitUntil, LimitIsStretched)
{
    const FreshSetup slow{.env = {{"COMMON_TEST_TIME_FACTOR", "2.5"}}};
    EXPECT_THAT(run_fresh(slow, [] { EXPECT_EQ(stretched(100ms), 250ms); }), exited(0));
    for (const char* factor : {"0", "-1", "fast", "nan"}) {
        const FreshSetup wrong{.env = {{"COMMON_TEST_TIME_FACTOR", factor}}};
        EXPECT_THAT(
            run_fresh(wrong, [] { EXPECT_THROW(stretched(1ms), std::invalid_argument); }),
            testing::ResultOf([](const Outcome& outcome) { return outcome.failed_checks; }, 0))
            << factor;
    }
}

TEST(WaitUntil, ThreadThatWaitsIsBlocked)
{
    EXPECT_FALSE(is_blocked(gettid()));
    EXPECT_FALSE(is_blocked(0)) << "no thread";
    Event go_on;
    std::atomic<int> id{0};
    std::thread waiter([&] {
        id = gettid();
        EXPECT_TRUE(go_on.wait());
    });
    EXPECT_TRUE(wait_until([&] { return is_blocked(id); }));
    go_on.set();
    waiter.join();
}

TEST(Event, IsSetOnceAndForAll)
{
    Event event;
    EXPECT_FALSE(event.is_set());
    EXPECT_FALSE(event.wait(1ms));
    errno = EILSEQ;
    event.set();
    EXPECT_EQ(errno, EILSEQ);
    EXPECT_TRUE(event.is_set());
    EXPECT_TRUE(event.wait());
    EXPECT_TRUE(event.wait());
}

TEST(Event, WakesAThread)
{
    Event event;
    std::thread waiter([&] { EXPECT_TRUE(event.wait()); });
    event.set();
    waiter.join();
}

TEST(Event, IsSharedWithAChild)
{
    const Outcome outcome = run_fresh([] {
        Event from_child;
        const pid_t child = fork();
        if (child == 0) {
            from_child.set();
            _exit(0);
        }
        EXPECT_TRUE(from_child.wait());
        EXPECT_EQ(waitpid(child, nullptr, 0), child);
    });
    EXPECT_THAT(outcome, exited(0));
}

TEST(Event, SignalDoesNotEndTheWait)
{
    const Outcome outcome = run_fresh([] {
        std::signal(SIGALRM, [](int) {});
        ualarm(5'000, 5'000);
        EXPECT_FALSE(Event().wait(50ms));
        ualarm(0, 0);
    });
    EXPECT_THAT(outcome, exited(0));
}

}  // namespace
