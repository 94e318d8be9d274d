// Locks, signals and waits of a timer that fail.
#include <cerrno>
#include <string>

#include <gmock/gmock.h>

#include "cancelled.h"
#include "common_log_settings.h"
#include "fault.h"
#include "fault_sweep.h"
#include "forked.h"
#include "fresh_process.h"
#include "log_expect.h"
#include "shot.h"
#include "timer_faults.h"

using namespace harness;
using fault::Call;
using testing::ElementsAre;

namespace {

// Locking.

TEST(TimerLock, MutexThatCannotBeLockedFailsEachCall)
{
    const Outcome outcome = well([] {
        TMR* const timer = TMR_New();
        Shot shot;
        fault::fail(Call::pthread_mutex_lock, 1, EINVAL);
        EXPECT_EQ(shot.start(timer, 5), 0U);
        fault::fail(Call::pthread_mutex_lock, 1, EAGAIN);
        EXPECT_EQ(TMR_Stop(timer), TMR_ReturnFailed);
        fault::fail(Call::pthread_mutex_lock, 1, EPERM);
        EXPECT_EQ(TMR_Restart(timer), TMR_ReturnFailed) << "the stop";
        EXPECT_EQ(shot.start(timer, kLong_ms), 1U);
        fault::fail(Call::pthread_mutex_lock, 2, EINVAL);
        EXPECT_EQ(TMR_Restart(timer), TMR_ReturnFailed);
        EXPECT_EQ(TMR_InUse(timer), 0U);
        fault::fail(Call::pthread_mutex_lock, 2, EINVAL);
        TMR_Delete(timer);
        TMR_Delete(timer);  // it was kept
        EXPECT_EQ(shot.calls, 0);
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("TMR_Start", "Could not lock mutex: 22"),
                                         said("TMR_Stop", "Could not lock mutex: 11"),
                                         said("TMR_Stop", "Could not lock mutex: 1"),
                                         said("TMR_Restart", "Could not lock mutex: 22"),
                                         said("TMR_Delete", "Could not lock mutex: 22")));
}

TEST(TimerLock, TimerWithoutThreadsIsDeletedAlsoWhenItsMutexFails)
{
    const Outcome outcome = well([] {
        const long blocks = settled_blocks();
        TMR* const timer = TMR_New();
        fault::fail_always(Call::pthread_mutex_lock, EINVAL);
        TMR_Delete(timer);
        fault::reset();
        EXPECT_LE(fault::outstanding_blocks(), blocks + 1) << "the log's record of this thread";
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("TMR_Stop", "Could not lock mutex: 22")));
}

TEST(TimerLock, ThreadThatCannotLockTheMutexFailsItsStart)
{
    const Outcome outcome = well([] {
        const int threads = thread_count();
        TMR* const timer = TMR_New();
        Shot shot;
        fault::fail(Call::pthread_mutex_lock, 2, EINVAL);
        EXPECT_EQ(shot.start(timer, 5), 0U);
        EXPECT_EQ(TMR_InUse(timer), 0U);
        EXPECT_TRUE(has_threads(threads));
        EXPECT_EQ(shot.start(timer, 5), 1U);
        EXPECT_TRUE(shot.called.wait());
        TMR_Delete(timer);
        EXPECT_EQ(shot.calls, 1);
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("TimerHandler", "Could not lock mutex: 22"),
                                         said("TMR_Start", "Could not start timer")));
}

FRESH_TEST(TimerLock, StartThatCannotLockTheMutexAgainHasStartedAllTheSame)
{
    TMR* const timer = TMR_New();
    Shot shot;
    // Behind its own and the thread's, which takes it once more when the time is over.
    fault::fail(Call::pthread_mutex_lock, 3, EINVAL);
    EXPECT_EQ(shot.start(timer, kLong_ms), 1U);
    EXPECT_EQ(fault::fired(), 1);
    EXPECT_EQ(TMR_InUse(timer), 1U);
    EXPECT_EQ(TMR_Stop(timer), TMR_ReturnSuccess);
    EXPECT_EQ(shot.start(timer, 5), 1U);
    EXPECT_TRUE(shot.called.wait());
    TMR_Delete(timer);
}

/// Its thread cannot lock the mutex behind it. The start, which also locks, is over by then.
struct ShotBeforeAFailure {
    Event started;
    Event called;

    static void call(void* argument)
    {
        auto* const shot = static_cast<ShotBeforeAFailure*>(argument);
        EXPECT_TRUE(shot->started.wait());
        fault::fail(Call::pthread_mutex_lock, 1, EINVAL);
        shot->called.set();
    }

    void run(TMR* timer, TMR_Callback_t callback)
    {
        EXPECT_EQ(TMR_Start(timer, callback, this, 5), 1U);
        started.set();
    }
};

TEST(TimerLock, ThreadThatCannotLockTheMutexAfterItsCallbackEnds)
{
    const Outcome outcome = well([] {
        COMMON_Log_LevelGet();
        const int threads = thread_count();
        const long blocks = fault::outstanding_blocks();
        TMR* const timer = TMR_New();
        ShotBeforeAFailure shot;
        shot.run(timer, ShotBeforeAFailure::call);
        EXPECT_TRUE(shot.called.wait());
        EXPECT_TRUE(has_threads(threads));
        Shot second;
        EXPECT_EQ(second.start(timer, 5), 1U);
        EXPECT_TRUE(second.called.wait());
        EXPECT_EQ(timer->lostThreads, 0U) << "it was taken out";
        TMR_Delete(timer);
        EXPECT_TRUE(has_threads(threads));
        EXPECT_EQ(fault::outstanding_blocks(), blocks);
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("TimerHandler", "Could not lock mutex: 22")));
}

TEST(TimerLock, ThreadThatCannotLockTheMutexAfterItsCallbackEndedItIsLost)
{
    const Outcome outcome = well([] {
        const int threads = thread_count();
        TMR* const timer = TMR_New();
        ShotBeforeAFailure shot;
        shot.run(timer, [](void* argument) {
            ShotBeforeAFailure::call(argument);
            pthread_exit(nullptr);
        });
        EXPECT_TRUE(shot.called.wait());
        EXPECT_TRUE(has_threads(threads));
        EXPECT_EQ(timer->mutex.__data.__nusers, 0U) << "it unlocked what it did not have";
        TMR_Delete(timer);
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("TimerHandler", "Could not lock mutex: 22")));
}

TEST(TimerLock, DeleteReleasesAThreadThatWasLost)
{
    const Outcome outcome = well([] {
        COMMON_Log_LevelGet();
        const int threads = thread_count();
        const long blocks = fault::outstanding_blocks();
        TMR* const timer = TMR_New();
        ShotBeforeAFailure shot;
        shot.run(timer, ShotBeforeAFailure::call);
        EXPECT_TRUE(shot.called.wait());
        EXPECT_TRUE(has_threads(threads));
        TMR_Delete(timer);
        EXPECT_EQ(fault::outstanding_blocks(), blocks);
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("TimerHandler", "Could not lock mutex: 22")));
}

// Unlocking.

TEST(TimerLock, MutexThatCannotBeUnlockedIsReported)
{
    const Outcome outcome = well([] {
        TMR* const timer = TMR_New();
        Shot shot;
        fault::fail(Call::pthread_mutex_unlock, 1, EPERM);
        EXPECT_EQ(TMR_Stop(timer), TMR_ReturnNotSet);
        EXPECT_EQ(shot.start(timer, kLong_ms), 1U);
        fault::fail(Call::pthread_mutex_unlock, 1, EINVAL);
        EXPECT_EQ(TMR_Stop(timer), TMR_ReturnSuccess);
        EXPECT_EQ(TMR_InUse(timer), 0U);
        EXPECT_EQ(shot.start(timer, 5), 1U) << "it is not left locked";
        EXPECT_TRUE(shot.called.wait());
        TMR_Delete(timer);
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("TMR_Stop", "Could not unlock mutex: 1"),
                                         said("TMR_Stop", "Could not unlock mutex: 22")));
}

// Left locked it would hang all that comes after.
TEST(TimerLock, MutexThatCannotBeUnlockedIsUnlockedOnceMoreBeforeItIsReported)
{
    const Outcome outcome = well([] {
        TMR* const timer = TMR_New();
        COMMON_Log_LevelGet();
        fault::reset();
        fault::fail(Call::pthread_mutex_unlock, 1, EPERM);
        int unlocks = 0;
        fault::on_call(Call::clock_gettime, 1,  // the time of the record
                       [&] { unlocks = fault::calls(Call::pthread_mutex_unlock); });
        EXPECT_EQ(TMR_Stop(timer), TMR_ReturnNotSet);
        EXPECT_EQ(unlocks, 2);
        TMR_Delete(timer);
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("TMR_Stop", "Could not unlock mutex: 1")));
}

TEST(TimerLock, ThreadThatCannotUnlockTheMutexReportsItAndCallsBack)
{
    const Outcome outcome = well([] {
        until_idle_thread_was_met([] {
            TMR* const timer = TMR_New();
            EXPECT_TRUE(has_idle_thread(timer));
            // The first unlock is that of the start, the wait unlocks by itself.
            Shot shot;
            fault::fail(Call::pthread_mutex_unlock, 2, EPERM);
            EXPECT_EQ(shot.start(timer, 5), 1U);
            EXPECT_TRUE(shot.called.wait());
            TMR_Delete(timer);
            EXPECT_EQ(shot.calls, 1);
            return fault::calls(Call::pthread_create) == 1;
        });
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("TimerHandler", "Could not unlock mutex")));
}

TEST(TimerLock, TimerIsOutOfUseBeforeItsMutexIsLeftForTheCallback)
{
    well([] {
        until_idle_thread_was_met([] {
            TMR* const timer = TMR_New();
            EXPECT_TRUE(has_idle_thread(timer));
            Shot shot;
            std::atomic<std::uint32_t> in_use{7};
            fault::on_call(Call::pthread_mutex_unlock, 2, [&] { in_use = TMR_InUse(timer); });
            EXPECT_EQ(shot.start(timer, 5), 1U);
            EXPECT_TRUE(shot.called.wait());
            TMR_Delete(timer);
            const bool met = fault::calls(Call::pthread_create) == 1;
            EXPECT_TRUE(!met || in_use == 0);
            return met;
        });
    });
}

TEST(TimerLock, ThreadOfADeletedTimerDoesNotWaitOnceMore)
{
    well([] {
        struct {
            TMR* timer = TMR_New();
            std::atomic<int> waits{0};
        } deletion;
        const auto delete_it = [](void* argument) {
            auto& mine = *static_cast<decltype(deletion)*>(argument);
            mine.waits = fault::calls(Call::pthread_cond_timedwait);
            TMR_Delete(mine.timer);
        };
        const int threads = thread_count();
        EXPECT_EQ(TMR_Start(deletion.timer, delete_it, &deletion, 5), 1U);
        EXPECT_TRUE(wait_until([&] { return deletion.waits != 0; }));
        EXPECT_TRUE(has_threads(threads));
        EXPECT_EQ(fault::calls(Call::pthread_cond_timedwait), deletion.waits);
    });
}

// Signalling.

TEST(TimerLock, StopThatCannotSignalFailsButNothingCallsBack)
{
    const Outcome outcome = well([] {
        TMR* const timer = TMR_New();
        Shot shot;
        EXPECT_EQ(shot.start(timer, kLong_ms), 1U);
        EXPECT_EQ(shot.start(timer, kLong_ms), 1U);
        fault::fail_always(Call::pthread_cond_signal);
        EXPECT_EQ(TMR_Stop(timer), TMR_ReturnFailed);
        EXPECT_EQ(timer->stopRequested, 1U);
        EXPECT_EQ(TMR_InUse(timer), 0U);
        EXPECT_EQ(TMR_Stop(timer), TMR_ReturnNotSet);
        EXPECT_EQ(shot.start(timer, 5), 0U) << "nor can the thread be told of another deadline";
        fault::reset();
        Shot later;
        EXPECT_EQ(later.start(timer, 5), 1U);
        EXPECT_TRUE(later.called.wait()) << "it was not taken for woken";
        EXPECT_EQ(shot.calls, 0);
        EXPECT_EQ(TMR_InUse(timer), 0U);
        TMR_Delete(timer);
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("TMR_Stop", "Could not signal timer"),
                                         said("TMR_Start", "Could not start timer")));
}

TEST(TimerLock, StopThatCannotSignalForEachThreadFails)
{
    const Outcome outcome = well([] {
        TMR* const timer = TMR_New();
        Shot shot;
        EXPECT_EQ(shot.start(timer, kLong_ms), 1U);
        EXPECT_EQ(shot.start(timer, kLong_ms), 1U);
        fault::fail(Call::pthread_cond_signal);
        EXPECT_EQ(TMR_Stop(timer), TMR_ReturnFailed);
        EXPECT_EQ(fault::calls(Call::pthread_cond_signal), 2) << "the other one is tried, too";
        EXPECT_EQ(TMR_InUse(timer), 0U);
        TMR_Delete(timer);
        EXPECT_EQ(shot.calls, 0);
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("TMR_Stop", "Could not signal timer")));
}

TEST(TimerLock, DeleteThatCannotSignalLeavesTheTimerToItsThread)
{
    const Outcome outcome = well([] {
        const int threads = thread_count();
        const long blocks = settled_blocks();
        until_idle_thread_was_met([] {
            TMR* const timer = TMR_New();
            EXPECT_TRUE(has_idle_thread(timer));
            fault::fail(Call::pthread_cond_signal);
            TMR_Delete(timer);
            return fault::fired() == 1;
        });
        EXPECT_TRUE(has_threads(threads)) << "it leaves when it wakes";
        EXPECT_LE(fault::outstanding_blocks(), blocks + 1) << "the log's record of this thread";
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("TMR_Delete", "Could not signal timer")));
}

// Waiting.

TEST(TimerLock, WaitThatFailsEndsTheThread)
{
    const Outcome outcome = well([] {
        const int threads = thread_count();
        TMR* const timer = TMR_New();
        Shot shot;
        fault::fail(Call::pthread_cond_timedwait, 1, EINVAL);
        EXPECT_EQ(shot.start(timer, 5), 1U);
        EXPECT_TRUE(wait_until([&] { return TMR_InUse(timer) == 0; }));
        EXPECT_TRUE(has_threads(threads));
        EXPECT_EQ(shot.calls, 0);
        EXPECT_EQ(TMR_Stop(timer), TMR_ReturnNotSet);
        EXPECT_EQ(shot.start(timer, 5), 1U);
        EXPECT_TRUE(shot.called.wait());
        TMR_Delete(timer);
        EXPECT_EQ(shot.calls, 1);
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("TimerHandler", "Error waiting")));
}

TEST(TimerLock, ThreadWhoseWaitFailedServesNoStartWhileItReports)
{
    const Outcome outcome = well([] {
        TMR* const timer = TMR_New();
        Shot shot;
        Shot second;
        // The report asks for the time, in the thread and without the mutex.
        fault::on_call(Call::pthread_cond_timedwait, 1, [&] {
            fault::on_call(Call::pthread_mutex_unlock, 1, [&] {
                fault::on_call(Call::clock_gettime, 1,
                               [&] { EXPECT_EQ(second.start(timer, 5), 1U); });
            });
        });
        fault::fail(Call::pthread_cond_timedwait, 1, EINVAL);
        EXPECT_EQ(shot.start(timer, 5), 1U);
        EXPECT_TRUE(second.called.wait());
        TMR_Delete(timer);
        EXPECT_EQ(shot.calls, 0);
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("TimerHandler", "Error waiting")));
}

TEST(TimerLock, IdleThreadWhoseWaitFailsEnds)
{
    const Outcome outcome = well([] {
        const int threads = thread_count();
        TMR* const timer = TMR_New();
        Shot shot;
        fault::fail(Call::pthread_cond_timedwait, 2, EPERM);
        EXPECT_EQ(shot.start(timer, 5), 1U);
        EXPECT_TRUE(shot.called.wait());
        EXPECT_TRUE(has_threads(threads));
        TMR_Delete(timer);
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("TimerHandler", "Error waiting")));
}

TEST(TimerLock, ThreadWhoseWaitFailsAndThatCannotLockTheMutexThenIsLost)
{
    const Outcome outcome = well([] {
        COMMON_Log_Acceptable(COMMON_LogLevelInfo);  // which takes locks at first
        const int threads = thread_count();
        TMR* const timer = TMR_New();
        Shot shot;
        fault::fail(Call::pthread_cond_timedwait, 2, EPERM);
        fault::on_call(Call::pthread_cond_timedwait, 2,
                       [] { fault::fail_always(Call::pthread_mutex_lock, EINVAL); });
        EXPECT_EQ(shot.start(timer, 5), 1U);
        EXPECT_TRUE(shot.called.wait());
        EXPECT_TRUE(has_threads(threads));
        fault::reset();
        TMR_Delete(timer);
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("TimerHandler", "Error waiting"),
                                         said("TimerHandler", "Could not lock mutex: 22")));
}

FRESH_TEST(TimerLock, InterruptedWaitsForAThreadAreResumed)
{
    const int threads = thread_count();
    TMR* const timer = TMR_New();
    Shot shot;
    fault::fail(Call::sem_wait, 1, EINTR);
    EXPECT_EQ(shot.start(timer, kLong_ms), 1U);
    EXPECT_GE(fault::calls(Call::sem_wait), 2);
    fault::fail(Call::sem_wait, 1, EINTR);
    TMR_Delete(timer);
    EXPECT_TRUE(has_threads(threads));
}

FRESH_TEST(TimerLock, StartIsNotCancelledWhileItWaitsForItsThread)
{
    TMR* const timer = TMR_New();
    Shot shot;
    std::uint32_t started = 0;
    fault::on_call(Call::sem_wait, 1, cancel_oneself);
    run_until_cancelled([&] {
        started = shot.start(timer, 5);
        pthread_testcancel();
    });
    EXPECT_EQ(started, 1U);
    EXPECT_TRUE(shot.called.wait());
    TMR_Delete(timer);
}

// Fork.

TEST(TimerLock, ChildThatCannotMakeTheTimerAnewCanStillDeleteIt)
{
    const Outcome outcome = well([] {
        TMR* const timer = TMR_New();
        Shot shot;
        EXPECT_EQ(shot.start(timer, kLong_ms), 1U);
        in_child([&] {
            fault::fail(Call::pthread_cond_init);
            EXPECT_EQ(shot.start(timer, 5), 0U);
            fault::fail(Call::pthread_mutex_init);
            EXPECT_EQ(TMR_Stop(timer), TMR_ReturnNotSet);
            fault::fail(Call::sem_init);
            const long blocks = fault::outstanding_blocks();
            TMR_Delete(timer);
            EXPECT_EQ(fault::outstanding_blocks(), blocks - 1);
        });
        TMR_Delete(timer);
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("TMR_Start", "Could not start timer")));
}

// Every failure in turn.

/// Not swept are the mutex and the signal, whose failure can leave a timer undeleted (above), and
/// the post of a semaphore, which cannot fail.
TEST(TimerLock, EveryFailureIsSurvived)
{
    constexpr Call kCalls[] = {Call::malloc,
                               Call::clock_gettime,
                               Call::sem_init,
                               Call::sem_wait,
                               Call::sem_destroy,
                               Call::pthread_create,
                               Call::pthread_attr_init,
                               Call::pthread_attr_setdetachstate,
                               Call::pthread_cond_timedwait,
                               Call::pthread_cond_init};
    for (const Call call : kCalls) {
        const int count = sweep({},
                                [] {
                                    TMR* const timer = TMR_New();
                                    if (timer == nullptr) {
                                        return;
                                    }
                                    const auto nothing = [](void*) {};
                                    if (TMR_Start(timer, nothing, nullptr, 10) == 1) {
                                        TMR_Restart(timer);
                                    }
                                    TMR_Start(timer, nothing, nullptr, 100);
                                    TMR_Stop(timer);
                                    TMR_Delete(timer);
                                },
                                survives, {.only = call})
                              .failures;
        EXPECT_GT(count, 0) << fault::name(call);
    }
}

}  // namespace
