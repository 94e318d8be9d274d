// Sync objects whose semaphores fail, call by call.
#include "common_sync.h"

#include <cerrno>
#include <functional>
#include <pthread.h>
#include <string_view>
#include <thread>

#include <gmock/gmock.h>

#include "built_mutex.h"
#include "cancelled.h"
#include "fault.h"

using namespace harness;
using fault::Call;
using fault::kNoError;

namespace {

constexpr auto kNobody = static_cast<pthread_t>(-1);
constexpr timespec kFuture{4'102'444'800, 0};

/// A sync object that is set up and, perhaps, locked.
struct Sync : COMMON_sync {
    explicit Sync(bool locked = false, std::uint32_t chosen = 0)
    {
        EXPECT_EQ(COMMON_sync_init(this, 0), 0);
        flags = chosen;
        if (locked) {
            EXPECT_EQ(COMMON_sync_lock(this), 0);
        }
        fault::reset();
    }

    bool is_locked()
    {
        int value = -1;
        EXPECT_EQ(sem_getvalue(&lock, &value), 0);
        EXPECT_EQ(owner == pthread_self(), value == 0) << "owner and semaphore disagree";
        return value == 0;
    }

    int pending()
    {
        int value = -1;
        EXPECT_EQ(sem_getvalue(&signal, &value), 0);
        return value;
    }
};

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
        fault::fail(Call::sem_wait, 1, error);
        EXPECT_EQ(COMMON_sync_lock(&sync), error);
        EXPECT_EQ(fault::calls(Call::sem_wait), 1);
        EXPECT_EQ(sync.owner, kNobody);
        fault::fail(Call::sem_timedwait, 1, error);
        EXPECT_EQ(COMMON_sync_timedlock(&sync, &kFuture), error);
        EXPECT_EQ(fault::calls(Call::sem_timedwait), 1);
        EXPECT_FALSE(sync.is_locked());
    }
}

FRESH_TEST(CommonSyncFault, LockIsTriedAgainAfterAnInterruptionIfTheFlagIsSet)
{
    for (const std::uint32_t flags : {1U, 3U, UINT32_MAX}) {
        Sync sync(false, flags);
        fault::fail(Call::sem_wait, 1, EINTR);
        EXPECT_EQ(COMMON_sync_lock(&sync), 0);
        EXPECT_EQ(fault::calls(Call::sem_wait), 2);
        EXPECT_TRUE(sync.is_locked());
        EXPECT_EQ(COMMON_sync_unlock(&sync), 0);
        fault::fail(Call::sem_timedwait, 1, EINTR);
        EXPECT_EQ(COMMON_sync_timedlock(&sync, &kFuture), 0);
        EXPECT_EQ(fault::calls(Call::sem_timedwait), 2);
        EXPECT_TRUE(sync.is_locked());
    }
}

FRESH_TEST(CommonSyncFault, OtherErrorsAndOtherFlagsEndTheLock)
{
    Sync with_flag(false, COMMON_SyncRetryInterrupted);
    fault::fail(Call::sem_wait, 1, EINVAL);
    EXPECT_EQ(COMMON_sync_lock(&with_flag), EINVAL);
    fault::fail(Call::sem_timedwait, 1, ETIMEDOUT);
    EXPECT_EQ(COMMON_sync_timedlock(&with_flag, &kFuture), ETIMEDOUT);
    Sync with_other_flag(false, COMMON_SyncShared);
    fault::fail(Call::sem_wait, 1, EINTR);
    EXPECT_EQ(COMMON_sync_lock(&with_other_flag), EINTR);
}

FRESH_TEST(CommonSyncFault, LockThatFailsWithoutAnErrorIsHeld)
{
    Sync sync;
    fault::fail(Call::sem_wait, 1, kNoError);
    EXPECT_EQ(COMMON_sync_lock(&sync), 0);
    EXPECT_EQ(sync.owner, pthread_self());
    Sync other;
    fault::fail(Call::sem_timedwait, 1, kNoError);
    EXPECT_EQ(COMMON_sync_timedlock(&other, &kFuture), 0);
    EXPECT_EQ(other.owner, pthread_self());
}

// The look at the lock before it is waited for.

FRESH_TEST(CommonSyncFault, LockThatIsTakenIsLookedAtShortlyAndThenWaitedFor)
{
    Sync sync;
    sem_wait(&sync.lock);
    int looks = 0;
    fault::on_call(Call::sem_wait, 1, [&] {
        looks = fault::calls(Call::sem_getvalue);
        sem_post(&sync.lock);
    });
    EXPECT_EQ(COMMON_sync_lock(&sync), 0);
    EXPECT_GT(looks, 1);
    EXPECT_LE(looks, 1'000);
    EXPECT_TRUE(sync.is_locked());
}

FRESH_TEST(CommonSyncFault, LockThatCannotBeLookedAtIsWaitedForAtOnce)
{
    Sync sync;
    fault::fail_always(Call::sem_getvalue, EINVAL);
    EXPECT_EQ(COMMON_sync_lock(&sync), 0);
    EXPECT_EQ(fault::calls(Call::sem_getvalue), 1);
    EXPECT_EQ(fault::calls(Call::sem_wait), 1);
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
    EXPECT_EQ(COMMON_sync_signal(&sync), 0);
    fault::fail(Call::sem_wait, 1, EINTR);
    EXPECT_EQ(COMMON_sync_wait(&sync), 0);
    EXPECT_EQ(fault::calls(Call::sem_wait), 3) << "twice for the signal, once for the lock";
    EXPECT_TRUE(sync.is_locked());
    EXPECT_EQ(COMMON_sync_signal(&sync), 0);
    fault::fail(Call::sem_timedwait, 1, EINTR);
    EXPECT_EQ(COMMON_sync_timedwait(&sync, &kFuture), 0);
    EXPECT_EQ(fault::calls(Call::sem_timedwait), 2);
    EXPECT_TRUE(sync.is_locked());
}

FRESH_TEST(CommonSyncFault, WaitGivesTheErrorOfLockingAgain)
{
    Sync sync(true);
    EXPECT_EQ(COMMON_sync_signal(&sync), 0);
    fault::fail(Call::sem_wait, 2, EINVAL);
    EXPECT_EQ(COMMON_sync_wait(&sync), EINVAL);
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
    fault::fail(Call::sem_wait, 1, EINTR);
    EXPECT_EQ(COMMON_sync_timedwait(&sync, &kFuture), EINTR);
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

/// A wait of an object that the thread locks first, and what the hook does in it.
struct CancelledWait {
    const char* name;
    Call call;
    int nth;
    bool signals;    ///< there is a signal when the thread is cancelled
    bool timed_out;  ///< the wait for the signal has ended without one
    int left;        ///< signals that are pending afterwards
};

FRESH_TEST(CommonSyncFault, CancelledWaitLeavesTheSignalToTheNextOne)
{
    const CancelledWait cases[] = {
        {"woken", Call::sem_wait, 2, true, false, 1},
        {"not woken", Call::sem_wait, 2, false, false, 0},
        {"locks again", Call::sem_wait, 3, true, false, 1},
        {"timed, woken", Call::sem_timedwait, 1, true, false, 1},
        {"timed, not woken", Call::sem_timedwait, 1, false, false, 0},
        {"timed, locks again", Call::sem_wait, 2, true, false, 1},
        {"timed out, locks again", Call::sem_wait, 2, false, true, 0},
    };
    for (const CancelledWait& example : cases) {
        SCOPED_TRACE(example.name);
        const bool timed = std::string_view(example.name).starts_with("timed");
        Sync sync;
        if (example.timed_out) {
            fault::fail(Call::sem_timedwait, 1, ETIMEDOUT);
        }
        const bool in_the_wait = example.nth == 2 - timed;
        if (example.signals && !in_the_wait) {
            sem_post(&sync.signal);
        }
        fault::on_call(example.call, example.nth, [&] {
            EXPECT_EQ(sync.pending(), 0) << "the signal was not taken yet";
            if (example.signals && in_the_wait) {
                sem_post(&sync.signal);
            }
            cancel_oneself();
        });
        run_until_cancelled([&] {
            EXPECT_EQ(COMMON_sync_lock(&sync), 0);
            timed ? COMMON_sync_timedwait(&sync, &kFuture) : COMMON_sync_wait(&sync);
        });
        EXPECT_EQ(sync.pending(), example.left);
        EXPECT_FALSE(sync.is_locked());
        // One to unlock, one for the signal and, where the lock was free as it was waited for,
        // one for the lock.
        EXPECT_EQ(fault::calls(Call::sem_post), 1 + example.left + !in_the_wait);
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
