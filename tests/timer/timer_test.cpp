// Timers as callers use them: starting, stopping, restarting, deleting, and what they report.
#include <deque>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "fresh_process.h"
#include "log_expect.h"
#include "shot.h"

using namespace harness;
using testing::ElementsAre;

namespace {

using harness::said;

Report said(const char* function, const std::string& message)
{
    return said(COMMON_LogLevelError, "TIMER", "timer", function, message);
}

constexpr char kNullTimer[] = "Invalid input parameter 'tmrPtr' = NULL!";

// One shot.

FRESH_TEST(Timer, NewOneIsIdle)
{
    TMR* const timer = TMR_New();
    ASSERT_NE(timer, nullptr);
    EXPECT_EQ(TMR_InUse(timer), 0U);
    EXPECT_EQ(timer->callback, nullptr);
    EXPECT_EQ(timer->argument, nullptr);
    EXPECT_EQ(timer->interval, 0U);
    EXPECT_EQ(timer->stopRequested, 0U);
    TMR_Delete(timer);
}

FRESH_TEST(Timer, CallsOnceWithItsArgumentInAThreadOfItsOwn)
{
    TMR* const timer = TMR_New();
    Shot shot;
    const std::int64_t before = now_ms();
    EXPECT_EQ(shot.start(timer, 30), 1U);
    EXPECT_EQ(timer->argument, &shot);
    EXPECT_EQ(timer->interval, 30U);
    ASSERT_TRUE(shot.called.wait());
    EXPECT_GE(shot.called_ms - before, 30);
    EXPECT_EQ(pthread_equal(shot.thread, pthread_self()), 0);
    EXPECT_EQ(TMR_InUse(timer), 0U);
    EXPECT_EQ(TMR_Stop(timer), TMR_ReturnNotSet) << "after expiry, and does not wait";
    TMR_Delete(timer);
    EXPECT_EQ(shot.calls, 1);
}

FRESH_TEST(Timer, IsInUseUntilItsCallback)
{
    TMR* const timer = TMR_New();
    struct Seen {
        TMR* timer;
        std::atomic<std::uint32_t> in_use{7};
        std::atomic<TMR_Return_t> stop{7};
        Event called;
    } seen{timer, {7}, {7}, {}};
    const auto look = [](void* argument) {
        auto* const record = static_cast<Seen*>(argument);
        record->in_use = TMR_InUse(record->timer);
        record->stop = TMR_Stop(record->timer);
        record->called.set();
    };
    EXPECT_EQ(TMR_Start(timer, look, &seen, 20), 1U);
    ASSERT_TRUE(seen.called.wait());
    EXPECT_EQ(seen.in_use, 0U);
    EXPECT_EQ(seen.stop, TMR_ReturnNotSet);
    Shot shot;
    EXPECT_EQ(shot.start(timer, kLong_ms), 1U);
    EXPECT_EQ(TMR_InUse(timer), 1U);
    TMR_Delete(timer);
}

FRESH_TEST(Timer, IntervalOfZeroAndNullsStartNothing)
{
    const int threads = thread_count();
    TMR* const timer = TMR_New();
    Shot shot;
    EXPECT_EQ(shot.start(timer, 0), 0U);
    EXPECT_EQ(TMR_Start(timer, nullptr, &shot, 10), 0U);
    EXPECT_EQ(TMR_Start(nullptr, Shot::call, &shot, 10), 0U);
    EXPECT_EQ(TMR_InUse(timer), 0U);
    EXPECT_EQ(timer->callback, nullptr);
    EXPECT_EQ(thread_count(), threads);
    TMR_Delete(timer);
}

/// Starts a timer and stops it before its deadline: how often a busy machine was slower before.
int start_and_stop(TMR* timer, Shot& shot, std::uint32_t interval_ms)
{
    for (int expired = 0; expired < 20; ++expired) {
        EXPECT_EQ(shot.start(timer, interval_ms), 1U);
        const TMR_Return_t stopped = TMR_Stop(timer);
        if (stopped == TMR_ReturnSuccess) {
            return expired;
        }
        EXPECT_EQ(stopped, TMR_ReturnNotSet);
    }
    ADD_FAILURE() << "never in time";
    return 0;
}

FRESH_TEST(Timer, StopTakesTheDeadlineBack)
{
    TMR* const timer = TMR_New();
    Shot stopped;
    Shot later;
    EXPECT_EQ(TMR_Stop(timer), TMR_ReturnNotSet) << "never started";
    const int expired = start_and_stop(timer, stopped, 150);
    EXPECT_EQ(TMR_InUse(timer), 0U);
    EXPECT_EQ(timer->stopRequested, 1U);
    EXPECT_EQ(TMR_Stop(timer), TMR_ReturnNotSet);
    // A second deadline, past the first one, which the thread still wakes for.
    EXPECT_EQ(later.start(timer, 250), 1U);
    EXPECT_EQ(timer->stopRequested, 0U);
    ASSERT_TRUE(later.called.wait());
    TMR_Delete(timer);
    EXPECT_EQ(stopped.calls, expired);
    EXPECT_EQ(later.calls, 1);
}

FRESH_TEST(Timer, EarlierDeadlineThanTheStoppedOneIsMet)
{
    TMR* const timer = TMR_New();
    Shot stopped;
    Shot earlier;
    EXPECT_EQ(stopped.start(timer, kLong_ms), 1U);
    EXPECT_EQ(TMR_Stop(timer), TMR_ReturnSuccess);
    EXPECT_EQ(earlier.start(timer, 20), 1U);
    EXPECT_TRUE(earlier.called.wait());
    TMR_Delete(timer);
    EXPECT_EQ(stopped.calls, 0);
}

FRESH_TEST(Timer, LaterDeadlineThanTheStoppedOneIsNotMetEarly)
{
    TMR* const timer = TMR_New();
    Shot stopped;
    Shot shot;
    start_and_stop(timer, stopped, 100);
    const std::int64_t before = now_ms();
    EXPECT_EQ(shot.start(timer, 300), 1U);
    ASSERT_TRUE(shot.called.wait());
    EXPECT_GE(shot.called_ms - before, 300);
    TMR_Delete(timer);
}

FRESH_TEST(Timer, DeleteStopsIt)
{
    const int threads = thread_count();
    Shot shot;
    TMR* const timer = TMR_New();
    EXPECT_EQ(shot.start(timer, 150), 1U);
    TMR_Delete(timer);
    const int calls = shot.calls;  // none, unless the machine is busy
    EXPECT_TRUE(has_threads(threads));
    TMR* const other = TMR_New();  // past the deadline of the first one
    Shot end;
    EXPECT_EQ(end.start(other, 250), 1U);
    EXPECT_TRUE(end.called.wait());
    EXPECT_EQ(shot.calls, calls);
    TMR_Delete(other);
}

// Restart.

FRESH_TEST(Timer, RestartOfAnIdleOneStartsNothing)
{
    TMR* const timer = TMR_New();
    EXPECT_EQ(TMR_Restart(timer), TMR_ReturnNotSet);
    Shot shot;
    EXPECT_EQ(shot.start(timer, 10), 1U);
    ASSERT_TRUE(shot.called.wait());
    EXPECT_EQ(TMR_Restart(timer), TMR_ReturnNotSet);
    EXPECT_EQ(TMR_InUse(timer), 0U);
    TMR_Delete(timer);
    EXPECT_EQ(shot.calls, 1);
}

FRESH_TEST(Timer, RestartBeginsTheWholeIntervalAgain)
{
    TMR* const timer = TMR_New();
    std::deque<Shot> shots;  // several where the machine is busy
    std::int64_t before = 0;
    TMR_Return_t restarted = TMR_ReturnNotSet;
    while (restarted == TMR_ReturnNotSet && shots.size() < 20) {
        EXPECT_EQ(shots.emplace_back().start(timer, 400), 1U);
        const std::int64_t start = now_ms();
        ASSERT_TRUE(wait_until([&] { return now_ms() - start >= 100; }));
        before = now_ms();
        restarted = TMR_Restart(timer);
    }
    EXPECT_EQ(restarted, TMR_ReturnSuccess);
    EXPECT_EQ(timer->stopRequested, 0U);
    ASSERT_TRUE(shots.back().called.wait());
    EXPECT_GE(shots.back().called_ms - before, 400);
    TMR_Delete(timer);
    EXPECT_EQ(shots.back().calls, 1);
}

// Results and reports.

TEST(Timer, ResultsHaveTexts)
{
    static_assert(TMR_ReturnSuccess == 0 && TMR_ReturnFailed == 1);
    static_assert(TMR_ReturnNotSet == 2 && TMR_ReturnNullTimer == 3);
    EXPECT_STREQ(TMR_ReturnToStr(TMR_ReturnSuccess), "Success");
    EXPECT_STREQ(TMR_ReturnToStr(TMR_ReturnFailed), "Failed");
    EXPECT_STREQ(TMR_ReturnToStr(TMR_ReturnNotSet), "Not Set");
    EXPECT_STREQ(TMR_ReturnToStr(TMR_ReturnNullTimer), "Invalid");
    EXPECT_STREQ(TMR_ReturnToStr(4), "Invalid");
    EXPECT_STREQ(TMR_ReturnToStr(UINT32_MAX), "Invalid");
}

TEST(Timer, NullIsReportedButNotByStop)
{
    const Outcome outcome = well([] {
        EXPECT_EQ(TMR_Stop(nullptr), TMR_ReturnNullTimer);
        EXPECT_EQ(TMR_Restart(nullptr), TMR_ReturnNullTimer);
        EXPECT_EQ(TMR_InUse(nullptr), 0U);
        TMR_Delete(nullptr);
    });
    EXPECT_THAT(outcome.log,
                ElementsAre(said("TMR_Restart", kNullTimer), said("TMR_InUse", kNullTimer),
                            said("TMR_Delete", kNullTimer)));
}

// Threads.

FRESH_TEST(Timer, ThreadIsUsedAgainByTheNextStart)
{
    const int threads = thread_count();
    TMR* const timer = TMR_New();
    EXPECT_EQ(TMR_Stop(timer), TMR_ReturnNotSet);
    EXPECT_EQ(thread_count(), threads);
    Shot shot;
    EXPECT_EQ(shot.start(timer, 10), 1U);
    ASSERT_TRUE(shot.called.wait());
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(shot.start(timer, kLong_ms), 1U);
        ASSERT_EQ(TMR_Stop(timer), TMR_ReturnSuccess);
    }
    EXPECT_LE(thread_count(), threads + 2) << "or there is one that had not yet left "
                                              "its callback";
    TMR_Delete(timer);
    EXPECT_TRUE(has_threads(threads));
}

/// Pages of the process: all of them, and those in memory.
std::pair<long, long> pages()
{
    long all = 0;
    long resident = 0;
    FILE* const file = std::fopen("/proc/self/statm", "re");
    EXPECT_EQ(std::fscanf(file, "%ld %ld", &all, &resident), 2);
    std::fclose(file);
    return {all, resident};
}

/// What a run-time library may take for itself; much less than 16 bytes for each of the cycles.
constexpr long kFewPages = 256;

FRESH_TEST(Timer, ArmedAndStoppedAHundredThousandTimesItDoesNotGrow)
{
    TMR* const timer = TMR_New();
    Shot shot;
    const auto cycle = [&](int count) {
        for (int i = 0; i < count; ++i) {
            ASSERT_EQ(shot.start(timer, 1000 + static_cast<unsigned>(i % 7)), 1U);
            ASSERT_EQ(TMR_Stop(timer), TMR_ReturnSuccess);
        }
    };
    cycle(1000);
    const auto before = pages();
    cycle(100'000);
    const auto after = pages();
    EXPECT_LE(after.first - before.first, kFewPages);
    EXPECT_LE(after.second - before.second, kFewPages);
    TMR_Delete(timer);
    EXPECT_EQ(shot.calls, 0);
}

TEST(Timer, ThousandOfThemMeetTheirDeadlines)
{
    constexpr int kCount = 1000;
    well({.time_limit = std::chrono::seconds(60)}, [] {
        if (sizeof(void*) == 4) {  // where so many default stacks do not fit
            pthread_attr_t attributes;
            pthread_attr_init(&attributes);
            pthread_attr_setstacksize(&attributes, std::size_t{512} * 1024);
            ASSERT_EQ(pthread_setattr_default_np(&attributes), 0);
            pthread_attr_destroy(&attributes);
        }
        std::vector<TMR*> timers;
        std::vector<Shot> shots(kCount);
        std::vector<std::int64_t> started(kCount);
        for (std::size_t i = 0; i < kCount; ++i) {
            timers.push_back(TMR_New());
            ASSERT_NE(timers.back(), nullptr);
            started[i] = now_ms();
            ASSERT_EQ(shots[i].start(timers[i], 1000), 1U);
        }
        for (std::size_t i = 0; i < kCount; ++i) {
            ASSERT_TRUE(shots[i].called.wait());
            EXPECT_GE(shots[i].called_ms - started[i], 1000);
        }
        for (std::size_t i = 0; i < kCount; ++i) {
            TMR_Delete(timers[i]);
            EXPECT_EQ(shots[i].calls, 1);
        }
    });
}

}  // namespace
