// The deadlines that threads of a timer await, and the record as others see it.
#include <cstddef>

#include <gmock/gmock.h>

#include "fresh_process.h"
#include "log_matchers.h"
#include "shot.h"
#include "timer/timer_thread.h"

using namespace bench;
using testing::IsEmpty;

namespace {

std::int64_t to_ns(const timespec& time)
{
    return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

timespec now()
{
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time;
}

timespec awaited(TMR& timer)
{
    pthread_mutex_lock(&timer.mutex);
    const timespec deadline = timer.threads->deadline;
    pthread_mutex_unlock(&timer.mutex);
    return deadline;
}

/** Whether the first thread waits for a start. */
bool is_parked(TMR& timer)
{
    pthread_mutex_lock(&timer.mutex);
    const bool parked = timer.threads->claimed && !timer.threads->armed && !timer.threads->calling;
    pthread_mutex_unlock(&timer.mutex);
    return parked;
}

TEST(TimerInternal, NullRecordEndsTheThread)
{
    const Outcome outcome = run_fresh([] { EXPECT_EQ(common::TimerHandler(nullptr), nullptr); });
    EXPECT_THAT(outcome, exited(0));
    EXPECT_THAT(outcome.log, IsEmpty());
}

/** Starts timers, by a new thread and by a parked one, once the clock is in a part of its second.
 */
void expect_deadline(std::uint32_t interval_ms, long from_ns, long to_ns_in_second,
                     std::time_t seconds, long nanoseconds)
{
    TMR* const timer = TMR_New();
    for (int round = 0; round < 2; ++round) {
        for (int attempt = 0;; ++attempt) {
            ASSERT_LT(attempt, 50);
            ASSERT_TRUE(wait_until([&] {
                const long in_second = now().tv_nsec;
                return in_second >= from_ns && in_second < to_ns_in_second;
            }));
            const timespec before = now();
            Shot shot;
            ASSERT_EQ(shot.start(timer, interval_ms), 1U);
            const timespec after = now();
            const timespec deadline = awaited(*timer);
            ASSERT_EQ(TMR_Stop(timer), 0U);
            if (after.tv_sec != before.tv_sec || after.tv_nsec >= to_ns_in_second) {
                continue;  // preempted
            }
            EXPECT_EQ(deadline.tv_sec, before.tv_sec + seconds);
            EXPECT_GE(deadline.tv_nsec, before.tv_nsec + nanoseconds);
            EXPECT_LE(deadline.tv_nsec, after.tv_nsec + nanoseconds);
            EXPECT_LT(deadline.tv_nsec, 1'000'000'000);
            break;
        }
    }
    TMR_Delete(timer);
}

TEST(TimerInternal, DeadlineIsTheIntervalAfterTheStart)
{
    EXPECT_THAT(run_fresh([] { expect_deadline(2500, 0, 499'000'000, 2, 500'000'000); }),
                exited(0));
}

TEST(TimerInternal, DeadlineCarriesASecond)
{
    EXPECT_THAT(run_fresh([] { expect_deadline(2500, 500'000'000, 999'000'000, 3, -500'000'000); }),
                exited(0));
}

TEST(TimerInternal, LongestIntervalIsKept)
{
    EXPECT_THAT(run_fresh([] {
                    TMR* const timer = TMR_New();
                    Shot shot;
                    const std::int64_t before = to_ns(now());
                    ASSERT_EQ(shot.start(timer, UINT32_MAX), 1U);
                    EXPECT_GE(to_ns(awaited(*timer)) - before, 4'294'967'295'000'000);
                    EXPECT_LE(to_ns(awaited(*timer)) - to_ns(now()), 4'294'967'295'000'000);
                    TMR_Delete(timer);
                }),
                exited(0));
}

TEST(TimerInternal, CallbackIsWhereACancellationTakesEffect)
{
    EXPECT_THAT(run_fresh([] {
                    const int threads = thread_count();
                    TMR* const timer = TMR_New();
                    Shot shot;
                    EXPECT_EQ(shot.start(timer, 5), 1U);
                    ASSERT_TRUE(shot.called.wait());
                    ASSERT_TRUE(wait_until([&] { return is_parked(*timer); }));
                    EXPECT_EQ(pthread_cancel(shot.thread), 0);
                    struct Call {
                        std::atomic<bool> begun{false};
                        std::atomic<bool> went_on{false};
                    } call;
                    const auto test = [](void* argument) {
                        auto* const self = static_cast<Call*>(argument);
                        self->begun = true;
                        pthread_testcancel();
                        self->went_on = true;
                    };
                    EXPECT_EQ(TMR_Start(timer, test, &call, 5), 1U);
                    EXPECT_TRUE(has_threads(threads));
                    EXPECT_TRUE(call.begun) << "not while it waits";
                    EXPECT_FALSE(call.went_on);
                    TMR_Delete(timer);
                }),
                exited(0));
}

TEST(TimerInternal, FieldsKeepTheirOrder)
{
    EXPECT_LT(offsetof(TMR, callback), offsetof(TMR, argument));
    EXPECT_LT(offsetof(TMR, argument), offsetof(TMR, interval));
    EXPECT_LT(offsetof(TMR, interval), offsetof(TMR, mutex));
    EXPECT_LT(offsetof(TMR, mutex), offsetof(TMR, condition));
    EXPECT_LT(offsetof(TMR, condition), offsetof(TMR, started));
    EXPECT_LT(offsetof(TMR, started), offsetof(TMR, stopped));
    EXPECT_LT(offsetof(TMR, stopped), offsetof(TMR, inUse));
    EXPECT_LT(offsetof(TMR, inUse), offsetof(TMR, stopRequested));
    EXPECT_LT(offsetof(TMR, stopRequested), offsetof(TMR, threads)) << "own fields come last";
}

TEST(TimerInternal, MutexIsNotRecursiveAndTheConditionIsMonotonic)
{
    EXPECT_THAT(run_fresh([] {
                    TMR* const timer = TMR_New();
                    ASSERT_EQ(pthread_mutex_lock(&timer->mutex), 0);
                    EXPECT_EQ(pthread_mutex_trylock(&timer->mutex), EBUSY);
                    // On the real-time clock this would be long past.
                    timespec soon = now();
                    soon.tv_sec += 1;
                    const std::int64_t before = to_ns(now());
                    EXPECT_EQ(pthread_cond_timedwait(&timer->condition, &timer->mutex, &soon),
                              ETIMEDOUT);
                    EXPECT_GE(to_ns(now()) - before, 900'000'000);
                    EXPECT_EQ(pthread_mutex_unlock(&timer->mutex), 0);
                    int value = -1;
                    EXPECT_EQ(sem_getvalue(&timer->started, &value), 0);
                    EXPECT_EQ(value, 0);
                    EXPECT_EQ(sem_getvalue(&timer->stopped, &value), 0);
                    EXPECT_EQ(value, 0);
                    TMR_Delete(timer);
                }),
                exited(0));
}

}  // namespace
