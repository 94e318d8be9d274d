// Sync objects whose semaphores fail, call by call.
#include "common_sync.h"

#include <cerrno>
#include <functional>
#include <pthread.h>
#include <thread>

#include <gmock/gmock.h>

#include "built_mutex.h"
#include "cancelled.h"
#include "fault.h"
#include "faulty_sync.h"

using namespace harness;
using fault::Call;
using fault::kNoError;

namespace {

// Init and destroy.

FRESH_TEST(CommonSyncFault, FirstSemaphoreThatFailsEndsTheInit)
{
    COMMON_sync sync;
    fault::fail(Call::sem_init, 1, ENOSPC);
    EXPECT_EQ(COMMON_sync_init(&sync, 0), ENOSPC);
    EXPECT_EQ(fault::calls(Call::sem_init), 1);
}

FRESH_TEST(CommonSyncFault, FirstSemaphoreThatFailsWithoutAnErrorDoesNotEndTheInit)
{
    COMMON_sync sync;
    fault::fail(Call::sem_init, 1, kNoError);
    EXPECT_EQ(COMMON_sync_init(&sync, 0), 0);
    EXPECT_EQ(fault::calls(Call::sem_init), 2);
    fault::reset();
    fault::fail(Call::sem_init, 1, kNoError);
    fault::on_call(Call::sem_init, 2, [] { fault::fail(Call::sem_init, 0, ENOSPC); });
    EXPECT_EQ(COMMON_sync_init(&sync, 0), ENOSPC) << "the second one counts";
}

FRESH_TEST(CommonSyncFault, SecondSemaphoreThatFailsIsTheResult)
{
    COMMON_sync sync;
    fault::fail(Call::sem_init, 2, ENOSPC);
    EXPECT_EQ(COMMON_sync_init(&sync, 0), ENOSPC);
    EXPECT_EQ(sync.owner, kNobody);
    EXPECT_EQ(sync.flags, 0U);
}

FRESH_TEST(CommonSyncFault, DestroyGivesTheFirstErrorAndDestroysBoth)
{
    struct {
        int nth;
        int error;
    } constexpr kCases[] = {{1, EBUSY}, {2, EINVAL}};
    for (const auto& example : kCases) {
        Sync sync;
        fault::fail(Call::sem_destroy, example.nth, example.error);
        EXPECT_EQ(COMMON_sync_destroy(&sync), example.error);
        EXPECT_EQ(fault::calls(Call::sem_destroy), 2);
    }
    Sync sync(true);
    fault::fail(Call::sem_destroy, 1, EBUSY);
    fault::on_call(Call::sem_destroy, 2, [] { fault::fail(Call::sem_destroy, 0, EINVAL); });
    EXPECT_EQ(COMMON_sync_destroy(&sync), EBUSY);
    EXPECT_EQ(fault::fired(), 2);
    EXPECT_EQ(sync.owner, kNobody);
}

// Lock.

FRESH_TEST(CommonSyncFault, LockThatFailsHasNoOwner)
{
    for (const int error : {EINTR, EINVAL}) {
        Sync sync;
        sync.take_away();
        fault::fail(Call::sem_wait, 1, error);
        EXPECT_EQ(COMMON_sync_lock(&sync), error);
        EXPECT_EQ(fault::calls(Call::sem_wait), 1);
        EXPECT_EQ(sync.owner, kNobody);
        fault::fail(Call::sem_timedwait, 1, error);
        EXPECT_EQ(COMMON_sync_timedlock(&sync, &kFuture), error);
        EXPECT_EQ(fault::calls(Call::sem_timedwait), 1);
        sync.give_back();
        EXPECT_FALSE(sync.is_locked());
    }
}

FRESH_TEST(CommonSyncFault, LockIsTriedAgainAfterAnInterruptionIfTheFlagIsSet)
{
    for (const std::uint32_t flags : {1U, 3U, UINT32_MAX}) {
        Sync sync(false, flags);
        sync.take_away();
        fault::fail(Call::sem_wait, 1, EINTR);
        fault::on_call(Call::sem_wait, 2, [&] { sync.give_back(); });
        EXPECT_EQ(COMMON_sync_lock(&sync), 0);
        EXPECT_EQ(fault::calls(Call::sem_wait), 2);
        EXPECT_TRUE(sync.is_locked());
        EXPECT_EQ(COMMON_sync_unlock(&sync), 0);
        sync.take_away();
        fault::reset();
        fault::fail(Call::sem_timedwait, 1, EINTR);
        fault::on_call(Call::sem_timedwait, 2, [&] { sync.give_back(); });
        EXPECT_EQ(COMMON_sync_timedlock(&sync, &kFuture), 0);
        EXPECT_EQ(fault::calls(Call::sem_timedwait), 2);
        EXPECT_TRUE(sync.is_locked());
    }
}

FRESH_TEST(CommonSyncFault, OtherErrorsAndOtherFlagsEndTheLock)
{
    Sync with_flag(false, COMMON_SyncRetryInterrupted);
    with_flag.take_away();
    fault::fail(Call::sem_wait, 1, EINVAL);
    EXPECT_EQ(COMMON_sync_lock(&with_flag), EINVAL);
    fault::fail(Call::sem_timedwait, 1, ETIMEDOUT);
    EXPECT_EQ(COMMON_sync_timedlock(&with_flag, &kFuture), ETIMEDOUT);
    Sync with_other_flag(false, COMMON_SyncShared);
    with_other_flag.take_away();
    fault::fail(Call::sem_wait, 1, EINTR);
    EXPECT_EQ(COMMON_sync_lock(&with_other_flag), EINTR);
}

FRESH_TEST(CommonSyncFault, LockThatFailsWithoutAnErrorIsHeld)
{
    Sync sync;
    sync.take_away();
    fault::fail(Call::sem_wait, 1, kNoError);
    EXPECT_EQ(COMMON_sync_lock(&sync), 0);
    EXPECT_EQ(sync.owner, pthread_self());
    Sync other;
    other.take_away();
    fault::fail(Call::sem_timedwait, 1, kNoError);
    EXPECT_EQ(COMMON_sync_timedlock(&other, &kFuture), 0);
    EXPECT_EQ(other.owner, pthread_self());
}

// Unlock and signal.

FRESH_TEST(CommonSyncFault, UnlockThatCannotReadTheSemaphoreDoesNotPost)
{
    Sync sync(true);
    fault::fail(Call::sem_getvalue, 1, EINVAL);
    EXPECT_EQ(COMMON_sync_unlock(&sync), EINVAL);
    EXPECT_EQ(fault::calls(Call::sem_post), 0);
    EXPECT_EQ(sync.owner, kNobody) << "the owner goes first";
}

FRESH_TEST(CommonSyncFault, UnlockThatCannotPostGivesTheError)
{
    Sync sync(true);
    fault::fail(Call::sem_post, 1, EOVERFLOW);
    EXPECT_EQ(COMMON_sync_unlock(&sync), EOVERFLOW);
    EXPECT_EQ(sync.owner, kNobody);
}

/// Otherwise the next owner, who may have the lock at once, would be forgotten.
FRESH_TEST(CommonSyncFault, UnlockGivesTheOwnerUpBeforeItPosts)
{
    Sync sync(true);
    pthread_t owner = pthread_self();
    fault::on_call(Call::sem_post, 1, [&] { owner = sync.owner; });
    EXPECT_EQ(COMMON_sync_unlock(&sync), 0);
    EXPECT_EQ(owner, kNobody);
}

FRESH_TEST(CommonSyncFault, SignalGivesTheErrorOfTheSemaphore)
{
    Sync sync;
    fault::fail(Call::sem_getvalue, 1, EINVAL);
    EXPECT_EQ(COMMON_sync_signal(&sync), EINVAL);
    EXPECT_EQ(fault::calls(Call::sem_post), 0);
    fault::fail(Call::sem_post, 1, EOVERFLOW);
    EXPECT_EQ(COMMON_sync_signal(&sync), EOVERFLOW);
    EXPECT_EQ(sync.pending(), 0);
    EXPECT_EQ(COMMON_sync_signal(&sync), 0);
    EXPECT_EQ(fault::calls(Call::sem_post), 2);
    EXPECT_EQ(COMMON_sync_signal(&sync), 0);
    EXPECT_EQ(fault::calls(Call::sem_post), 2) << "a pending signal is not posted again";
}

// Reading and posting are two steps: two threads in between post both.
FRESH_TEST(CommonSyncFault, SignalsAtTheSameTimeMayBothBePosted)
{
    Sync sync;
    fault::on_call(Call::sem_post, 1, [&] { EXPECT_EQ(COMMON_sync_signal(&sync), 0); });
    EXPECT_EQ(COMMON_sync_signal(&sync), 0);
    EXPECT_EQ(sync.pending(), 2);
}

// Wait.

FRESH_TEST(CommonSyncFault, WaitThatCannotUnlockDoesNotWait)
{
    Sync sync(true);
    fault::fail(Call::sem_post, 1, EOVERFLOW);
    EXPECT_EQ(COMMON_sync_wait(&sync), EOVERFLOW);
    EXPECT_EQ(fault::calls(Call::sem_wait), 0);
    Sync timed(true);
    fault::fail(Call::sem_getvalue, 1, EINVAL);
    EXPECT_EQ(COMMON_sync_timedwait(&timed, &kFuture), EINVAL);
    EXPECT_EQ(fault::calls(Call::sem_timedwait), 0);
    EXPECT_EQ(fault::calls(Call::sem_wait), 0);
}

FRESH_TEST(CommonSyncFault, WaitThatFailsDoesNotLockAgain)
{
    for (const int error : {EINTR, EINVAL}) {
        Sync sync(true);
        fault::fail(Call::sem_wait, 1, error);
        EXPECT_EQ(COMMON_sync_wait(&sync), error);
        EXPECT_EQ(fault::calls(Call::sem_wait), 1);
        EXPECT_FALSE(sync.is_locked());
    }
}

FRESH_TEST(CommonSyncFault, WaitIsTriedAgainAfterAnInterruptionIfTheFlagIsSet)
{
    Sync sync(true, COMMON_SyncRetryInterrupted);
    fault::fail(Call::sem_wait, 1, EINTR);
    fault::on_call(Call::sem_wait, 2, [&] { EXPECT_EQ(COMMON_sync_signal(&sync), 0); });
    EXPECT_EQ(COMMON_sync_wait(&sync), 0);
    EXPECT_EQ(fault::calls(Call::sem_wait), 2);
    EXPECT_TRUE(sync.is_locked());
    EXPECT_EQ(COMMON_sync_signal(&sync), 0);
    fault::reset();
    fault::fail(Call::sem_timedwait, 1, EINTR);
    EXPECT_EQ(COMMON_sync_timedwait(&sync, &kFuture), 0);
    EXPECT_EQ(fault::calls(Call::sem_timedwait), 2);
    EXPECT_TRUE(sync.is_locked());
}

FRESH_TEST(CommonSyncFault, WaitGivesTheErrorOfLockingAgain)
{
    Sync sync(true);
    EXPECT_EQ(COMMON_sync_signal(&sync), 0);
    fault::on_call(kTry, 1, [&] { sync.take_away(); });
    fault::fail(Call::sem_wait, 1, EINVAL);
    EXPECT_EQ(COMMON_sync_wait(&sync), EINVAL);
    EXPECT_EQ(fault::fired(), 1);
    EXPECT_EQ(sync.owner, kNobody);
}

FRESH_TEST(CommonSyncFault, TimedWaitAlwaysLocksAgain)
{
    for (const int error : {ETIMEDOUT, EINTR, EINVAL}) {
        Sync sync(true);
        fault::fail(Call::sem_timedwait, 1, error);
        EXPECT_EQ(COMMON_sync_timedwait(&sync, &kFuture), error);
        EXPECT_TRUE(sync.is_locked());
    }
}

FRESH_TEST(CommonSyncFault, TimedWaitGivesTheErrorOfLockingAgainFirst)
{
    Sync sync(true);
    fault::fail(Call::sem_timedwait, 1, ETIMEDOUT);
    fault::on_call(Call::sem_timedwait, 1, [&] { sync.take_away(); });
    fault::fail(Call::sem_wait, 1, EINTR);
    EXPECT_EQ(COMMON_sync_timedwait(&sync, &kFuture), EINTR);
    sync.give_back();
    EXPECT_FALSE(sync.is_locked());
}

// Cancellation. Whoever is cancelled in a wait may be the one that a post woke, and then nobody
// else wakes for it.

/// Raises a semaphore and cancels the thread that was about to wait for it.
void wake_and_cancel(sem_t& semaphore)
{
    sem_post(&semaphore);
    cancel_oneself();
}

using Lock = int (*)(COMMON_sync* sync);
constexpr Lock kLocks[] = {COMMON_sync_lock,
                           [](COMMON_sync* sync) { return COMMON_sync_timedlock(sync, &kFuture); }};

FRESH_TEST(CommonSyncFault, CancelledLockWakesTheNextOne)
{
    for (const Lock lock : kLocks) {
        Sync sync;
        sem_wait(&sync.lock);
        for (const Call call : {Call::sem_wait, Call::sem_timedwait}) {
            fault::on_call(call, 1, [&] { wake_and_cancel(sync.lock); });
        }
        run_until_cancelled([&] { lock(&sync); });
        EXPECT_EQ(fault::calls(Call::sem_post), 1);
        EXPECT_EQ(sync.owner, kNobody);
        EXPECT_FALSE(sync.is_locked());
    }
}

FRESH_TEST(CommonSyncFault, CancelledLockThatNobodyGaveBackStaysTaken)
{
    for (const Lock lock : kLocks) {
        Sync sync;
        sem_wait(&sync.lock);
        fault::on_call(Call::sem_wait, 1, cancel_oneself);
        fault::on_call(Call::sem_timedwait, 1, cancel_oneself);
        run_until_cancelled([&] { lock(&sync); });
        EXPECT_EQ(fault::calls(Call::sem_post), 0);
        int value = -1;
        EXPECT_EQ(sem_getvalue(&sync.lock, &value), 0);
        EXPECT_EQ(value, 0);
    }
}

/// A wait of an object that the thread locks first, and how it is cancelled: as it waits for the
/// signal, or afterwards as it waits for the lock, which another thread has taken meanwhile and is
/// about to give back.
struct CancelledWait {
    const char* name;
    bool timed;
    bool locks_again;  ///< is cancelled afterwards
    bool signals;      ///< there is a signal when the thread is cancelled
    int left;          ///< signals that are pending afterwards
};

FRESH_TEST(CommonSyncFault, CancelledWaitLeavesTheSignalToTheNextOne)
{
    constexpr CancelledWait kCases[] = {
        {"woken", false, false, true, 1},
        {"not woken", false, false, false, 0},
        {"locks again", false, true, true, 1},
        {"timed, woken", true, false, true, 1},
        {"timed, not woken", true, false, false, 0},
        {"timed, locks again", true, true, true, 1},
        {"timed out, locks again", true, true, false, 0},
    };
    for (const CancelledWait& example : kCases) {
        SCOPED_TRACE(example.name);
        Sync sync;
        const auto cancel = [&] {
            EXPECT_EQ(sync.pending(), 0) << "the signal was not taken yet";
            if (example.locks_again) {
                sync.give_back();
            } else if (example.signals) {
                sem_post(&sync.signal);
            }
            cancel_oneself();
        };
        run_until_cancelled([&] {
            EXPECT_EQ(COMMON_sync_lock(&sync), 0);
            fault::reset();
            if (example.locks_again) {
                if (example.signals) {
                    sem_post(&sync.signal);
                } else {
                    fault::fail(Call::sem_timedwait, 1, ETIMEDOUT);
                }
                fault::on_call(Call::sem_timedwait, 1, [&] { sync.take_away(); });
                fault::on_call(Call::sem_wait, 1, cancel);
            } else {
                fault::on_call(example.timed ? Call::sem_timedwait : Call::sem_wait, 1, cancel);
            }
            example.timed ? COMMON_sync_timedwait(&sync, &kFuture) : COMMON_sync_wait(&sync);
        });
        EXPECT_EQ(sync.pending(), example.left);
        EXPECT_FALSE(sync.is_locked());
        // One to unlock, one for the signal and, where it was waited for, one for the lock.
        EXPECT_EQ(fault::calls(Call::sem_post), 1 + example.left + example.locks_again);
    }
}

// It acts on a request that came earlier also where there is nothing to wait for, as a wait for a
// semaphore does: a thread that does nothing else can be cancelled.
FRESH_TEST(CommonSyncFault, LockThatIsFreeIsACancellationPoint)
{
    for (const Lock lock : kLocks) {
        Sync sync;
        run_until_cancelled([&] {
            cancel_oneself();
            lock(&sync);
        });
        EXPECT_EQ(sync.owner, kNobody);
        EXPECT_FALSE(sync.is_locked());
    }
}

FRESH_TEST(CommonSyncFault, WaitWithASignalIsACancellationPointWithoutTheLock)
{
    for (const bool timed : {false, true}) {
        Sync sync;
        EXPECT_EQ(COMMON_sync_signal(&sync), 0);
        run_until_cancelled([&] {
            EXPECT_EQ(COMMON_sync_lock(&sync), 0);
            cancel_oneself();
            timed ? COMMON_sync_timedwait(&sync, &kFuture) : COMMON_sync_wait(&sync);
        });
        EXPECT_EQ(sync.pending(), 1);
        EXPECT_FALSE(sync.is_locked());
    }
}

// However late: the deadline is that of the signal only.
FRESH_TEST(CommonSyncFault, TimedWaitWaitsForTheLockAfterItsDeadline)
{
    Sync sync(true);
    std::thread other;
    bool has_let_go = false;
    constexpr timespec kPast{0, 0};
    // The other thread takes the lock during the wait, and lets go while it is wanted back.
    fault::on_call(Call::sem_timedwait, 1, [&] {
        sem_wait(&sync.lock);
        fault::on_call(Call::sem_wait, 1, [&] {
            other = std::thread([&] {
                has_let_go = true;
                sem_post(&sync.lock);
            });
        });
    });
    EXPECT_EQ(COMMON_sync_timedwait(&sync, &kPast), ETIMEDOUT);
    EXPECT_TRUE(has_let_go);
    EXPECT_TRUE(sync.is_locked());
    other.join();
}

}  // namespace
