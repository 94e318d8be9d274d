// What a callback may do with its own timer, and timers that are started more than once.
#include <pthread.h>

#include <gmock/gmock.h>

#include "fresh_process.h"
#include "shot.h"

using namespace harness;

namespace {

// The callback's own timer.

FRESH_TEST(TimerCallback, StartsItsOwnTimer)
{
    TMR* const timer = TMR_New();
    Periodic periodic{.timer = timer, .wanted = 50};
    periodic.run();
    TMR_Delete(timer);
    EXPECT_EQ(periodic.calls, 50);
}

FRESH_TEST(TimerCallback, StartsStopsAndRestartsItsOwnTimer)
{
    struct Record {
        TMR* timer;
        Shot shot;
        Event done;
    } record{TMR_New(), {}, {}};
    const auto call = [](void* argument) {
        auto* const self = static_cast<Record*>(argument);
        EXPECT_EQ(self->shot.start(self->timer, kLong_ms), 1U);
        EXPECT_EQ(TMR_InUse(self->timer), 1U);
        EXPECT_EQ(TMR_Restart(self->timer), TMR_ReturnSuccess);
        EXPECT_EQ(TMR_Stop(self->timer), TMR_ReturnSuccess);
        EXPECT_EQ(TMR_Stop(self->timer), TMR_ReturnNotSet);
        EXPECT_EQ(TMR_Restart(self->timer), TMR_ReturnNotSet);
        self->done.set();
    };
    EXPECT_EQ(TMR_Start(record.timer, call, &record, 5), 1U);
    ASSERT_TRUE(record.done.wait());
    TMR_Delete(record.timer);
    EXPECT_EQ(record.shot.calls, 0);
}

FRESH_TEST(TimerCallback, ThatBlocksDelaysNoLaterStart)
{
    TMR* const timer = TMR_New();
    BlockingShot blocking;
    Shot shot;
    EXPECT_EQ(TMR_Start(timer, BlockingShot::call, &blocking, 5), 1U);
    ASSERT_TRUE(blocking.called.wait());
    EXPECT_EQ(TMR_InUse(timer), 0U);
    EXPECT_EQ(TMR_Stop(timer), TMR_ReturnNotSet) << "while the callback runs";
    EXPECT_EQ(shot.start(timer, 5), 1U);
    EXPECT_TRUE(shot.called.wait());
    EXPECT_FALSE(blocking.left.is_set());
    blocking.go.set();
    TMR_Delete(timer);
    EXPECT_EQ(blocking.calls, 1);
}

FRESH_TEST(TimerCallback, IsWaitedForByDelete)
{
    TMR* const timer = TMR_New();
    BlockingShot blocking;
    EXPECT_EQ(TMR_Start(timer, BlockingShot::call, &blocking, 5), 1U);
    ASSERT_TRUE(blocking.called.wait());
    TMR* const helper = TMR_New();
    const auto let_go = [](void* argument) { static_cast<BlockingShot*>(argument)->go.set(); };
    EXPECT_EQ(TMR_Start(helper, let_go, &blocking, 50), 1U);
    TMR_Delete(timer);
    EXPECT_TRUE(blocking.left.is_set());
    TMR_Delete(helper);
}

FRESH_TEST(TimerCallback, DeletesItsOwnTimer)
{
    const int threads = thread_count();
    struct Record {
        TMR* timer;
        Shot shot;
        std::atomic<bool> done{false};
    } record{TMR_New(), {}, {}};
    const auto call = [](void* argument) {
        auto* const self = static_cast<Record*>(argument);
        // A second thread, which waits.
        EXPECT_EQ(self->shot.start(self->timer, kLong_ms), 1U);
        TMR_Delete(self->timer);
        self->done = true;
    };
    EXPECT_EQ(TMR_Start(record.timer, call, &record, 5), 1U);
    ASSERT_TRUE(wait_until([&] { return record.done.load(); }));
    EXPECT_TRUE(has_threads(threads));
    EXPECT_EQ(record.shot.calls, 0);
}

/// A periodic timer's callback starts its timer also when another thread deletes it meanwhile.
FRESH_TEST(TimerCallback, MayStartItsTimerWhileADeletionWaitsForIt)
{
    struct Record {
        TMR* timer;
        Shot next;
        Event entered, deleted;
        std::atomic<bool> ends{false};
    } record{TMR_New(), {}, {}, {}, {}};
    const auto call = [](void* argument) {
        auto* const self = static_cast<Record*>(argument);
        self->entered.set();
        EXPECT_TRUE(wait_until([self] {
            pthread_mutex_lock(&self->timer->mutex);
            const bool ending = self->timer->ending != 0;
            pthread_mutex_unlock(&self->timer->mutex);
            return ending;
        }));
        EXPECT_EQ(self->next.start(self->timer, 1), 1U);
        constexpr std::chrono::milliseconds kChance{200};
        EXPECT_FALSE(self->deleted.wait(kChance));
        self->ends = true;
    };
    EXPECT_EQ(TMR_Start(record.timer, call, &record, 1), 1U);
    ASSERT_TRUE(record.entered.wait());
    TMR_Delete(record.timer);
    EXPECT_TRUE(record.ends);
    record.deleted.set();
    EXPECT_EQ(record.next.calls, 0);
}

FRESH_TEST(TimerCallback, DeletesItsOwnTimerWhileAnOlderStartWaits)
{
    const int threads = thread_count();
    TMR* timer = TMR_New();
    Shot older;
    EXPECT_EQ(older.start(timer, kLong_ms), 1U);
    const auto call = [](void* argument) { TMR_Delete(*static_cast<TMR**>(argument)); };
    EXPECT_EQ(TMR_Start(timer, call, &timer, 5), 1U);
    EXPECT_TRUE(has_threads(threads));
    EXPECT_EQ(older.calls, 0);
}

FRESH_TEST(TimerCallback, MayEndItsThread)
{
    const int threads = thread_count();
    TMR* const timer = TMR_New();
    Event called;
    const auto call = [](void* argument) {
        static_cast<Event*>(argument)->set();
        pthread_exit(nullptr);
    };
    EXPECT_EQ(TMR_Start(timer, call, &called, 5), 1U);
    ASSERT_TRUE(called.wait());
    EXPECT_TRUE(has_threads(threads));
    Shot shot;
    EXPECT_EQ(shot.start(timer, 5), 1U);
    EXPECT_TRUE(shot.called.wait());
    TMR_Delete(timer);
}

FRESH_TEST(TimerCallback, HasTheDefaultStack)
{
    struct Seen {
        std::atomic<std::size_t> stack_bytes{0};
        Event done;
    } seen;
    const auto look = [](void* argument) {
        auto* const self = static_cast<Seen*>(argument);
        pthread_attr_t attributes;
        EXPECT_EQ(pthread_getattr_np(pthread_self(), &attributes), 0);
        std::size_t bytes = 0;
        EXPECT_EQ(pthread_attr_getstacksize(&attributes, &bytes), 0);
        pthread_attr_destroy(&attributes);
        self->stack_bytes = bytes;
        self->done.set();
    };
    TMR* const timer = TMR_New();
    EXPECT_EQ(TMR_Start(timer, look, &seen, 5), 1U);
    ASSERT_TRUE(seen.done.wait());
    pthread_attr_t attributes;
    std::size_t default_bytes = 0;
    EXPECT_EQ(pthread_getattr_default_np(&attributes), 0);
    EXPECT_EQ(pthread_attr_getstacksize(&attributes, &default_bytes), 0);
    pthread_attr_destroy(&attributes);
    EXPECT_GE(seen.stack_bytes, default_bytes);
    TMR_Delete(timer);
}

// Started while armed.

FRESH_TEST(TimerTwice, BothStartsCallBackEachAtItsTimeAndWithItsArgument)
{
    TMR* const timer = TMR_New();
    Shot first;
    Shot second;
    const std::int64_t before = now_ms();
    EXPECT_EQ(second.start(timer, 150), 1U);
    EXPECT_EQ(first.start(timer, 20), 1U);
    ASSERT_TRUE(first.called.wait());
    ASSERT_TRUE(second.called.wait());
    EXPECT_GE(first.called_ms - before, 20);
    EXPECT_GE(second.called_ms - before, 150);
    EXPECT_EQ(TMR_InUse(timer), 0U);
    TMR_Delete(timer);
    EXPECT_EQ(first.calls, 1);
    EXPECT_EQ(second.calls, 1);
}

FRESH_TEST(TimerTwice, IsInUseUntilTheLastDeadline)
{
    TMR* const timer = TMR_New();
    Shot first;
    Shot second;
    EXPECT_EQ(second.start(timer, kLong_ms), 1U);
    EXPECT_EQ(first.start(timer, 5), 1U);
    ASSERT_TRUE(first.called.wait());
    EXPECT_EQ(TMR_InUse(timer), 1U);
    EXPECT_EQ(TMR_Stop(timer), TMR_ReturnSuccess);
    EXPECT_EQ(TMR_InUse(timer), 0U);
    TMR_Delete(timer);
    EXPECT_EQ(second.calls, 0);
}

FRESH_TEST(TimerTwice, StopTakesAllDeadlinesBack)
{
    const int threads = thread_count();
    TMR* const timer = TMR_New();
    Shot shot;
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(shot.start(timer, kLong_ms), 1U);
    }
    EXPECT_EQ(thread_count(), threads + 5);
    EXPECT_EQ(TMR_Stop(timer), TMR_ReturnSuccess);
    EXPECT_EQ(TMR_Stop(timer), TMR_ReturnNotSet);
    EXPECT_TRUE(has_threads(threads)) << "idle threads leave after a while";
    EXPECT_EQ(shot.start(timer, 5), 1U);
    ASSERT_TRUE(shot.called.wait());
    EXPECT_TRUE(has_threads(threads)) << "also one that has called back";
    TMR_Delete(timer);
    EXPECT_EQ(shot.calls, 1);
}

// The record's condition is there for others to signal.

FRESH_TEST(TimerCondition, WakeUpThatNoStopAskedForIsTreatedLikeAStop)
{
    TMR* const timer = TMR_New();
    Shot shot;
    EXPECT_EQ(shot.start(timer, kLong_ms), 1U);
    pthread_mutex_lock(&timer->mutex);  // the thread waits, then
    pthread_cond_signal(&timer->condition);
    pthread_mutex_unlock(&timer->mutex);
    EXPECT_TRUE(wait_until([&] { return TMR_InUse(timer) == 0; }));
    EXPECT_EQ(TMR_Stop(timer), TMR_ReturnNotSet);
    EXPECT_EQ(shot.start(timer, 5), 1U);
    ASSERT_TRUE(shot.called.wait());
    TMR_Delete(timer);
    EXPECT_EQ(shot.calls, 1);
}

}  // namespace
