// The fast paths that the headers bring into optimised callers do what the exported functions do.
#include <atomic>
#include <cerrno>
#include <csignal>
#include <pthread.h>
#include <semaphore.h>
#include <thread>

namespace {

/** What the next calls of the platform that a fast path makes give; 0: they do their work. */
struct Forced {
    int mutex_error = 0;
    bool sem_wait_fails = false;
    bool sem_getvalue_fails = false;
    bool sem_post_fails = false;
    int error_number = 0;
};
Forced forced;
std::atomic<int> calls{0};

int fail_once(bool& fails)
{
    if (fails) {
        fails = false;
        errno = forced.error_number;
        return -1;
    }
    return 0;
}

int forced_mutex_lock(pthread_mutex_t* mutex)
{
    ++calls;
    return forced.mutex_error != 0 ? forced.mutex_error : pthread_mutex_lock(mutex);
}

int forced_mutex_unlock(pthread_mutex_t* mutex)
{
    ++calls;
    return forced.mutex_error != 0 ? forced.mutex_error : pthread_mutex_unlock(mutex);
}

int forced_sem_wait(sem_t* semaphore)
{
    ++calls;
    return fail_once(forced.sem_wait_fails) != 0 ? -1 : sem_wait(semaphore);
}

int forced_sem_getvalue(sem_t* semaphore, int* value)
{
    ++calls;
    return fail_once(forced.sem_getvalue_fails) != 0 ? -1 : sem_getvalue(semaphore, value);
}

int forced_sem_post(sem_t* semaphore)
{
    ++calls;
    return fail_once(forced.sem_post_fails) != 0 ? -1 : sem_post(semaphore);
}

}  // namespace

// Only the fast paths see these names.
#define pthread_mutex_lock forced_mutex_lock
#define pthread_mutex_unlock forced_mutex_unlock
#define sem_wait forced_sem_wait
#define sem_getvalue forced_sem_getvalue
#define sem_post forced_sem_post
#include "common_mutex.h"
#include "common_sync.h"
#undef pthread_mutex_lock
#undef pthread_mutex_unlock
#undef sem_wait
#undef sem_getvalue
#undef sem_post

#include <gmock/gmock.h>

#include "built_mutex.h"

using namespace bench;
using testing::ElementsAre;

namespace {

constexpr auto kNobody = static_cast<pthread_t>(-1);

// Mutexes.

TEST(FastPath, MutexIsLockedAndUnlocked)
{
    run_silently([] {
        Built mutex;
        COMMON_Mutex_Lock(&mutex);
        EXPECT_FALSE(is_free(mutex));
        COMMON_Mutex_Unlock(&mutex);
        EXPECT_TRUE(is_free(mutex));
        EXPECT_EQ(calls, 2) << "the fast paths are not in use";
    });
}

TEST(FastPath, FailureOfAMutexIsReportedOnceByTheLibrary)
{
    const Outcome outcome = run_fresh([] {
        Built mutex([](COMMON_Mutex* record) {
            COMMON_Mutex_SetType(record, COMMON_MutexTypeErrorChecking);
        });
        COMMON_Mutex_Unlock(&mutex);
        COMMON_Mutex_Lock(&mutex);
        COMMON_Mutex_Lock(&mutex);
        COMMON_Mutex_Unlock(&mutex);
        EXPECT_EQ(calls, 4);
    });
    EXPECT_THAT(outcome, exited(0));
    EXPECT_THAT(outcome.log, ElementsAre(mutex_operation_failed("Operation not permitted (1)"),
                                         mutex_operation_failed("Resource deadlock avoided (35)")));
}

TEST(FastPath, FailureThatPassesIsNone)
{
    run_silently([] {
        Built mutex;
        forced.mutex_error = EAGAIN;
        COMMON_Mutex_Lock(&mutex);
        EXPECT_FALSE(is_free(mutex));
        COMMON_Mutex_Unlock(&mutex);
        EXPECT_TRUE(is_free(mutex));
    });
}

TEST(FastPath, NullMutexEndsTheProcess)
{
    const Outcome locked = run_fresh([] { COMMON_Mutex_Lock(nullptr); });
    EXPECT_THAT(locked, killed_by(SIGABRT));
    EXPECT_THAT(locked.err,
                assertion_text("common_mutex", "COMMON_Mutex_Lock", "((void *)0) != mutex"));
    const Outcome unlocked = run_fresh([] { COMMON_Mutex_Unlock(nullptr); });
    EXPECT_THAT(unlocked, killed_by(SIGABRT));
    EXPECT_THAT(unlocked.err,
                assertion_text("common_mutex", "COMMON_Mutex_Unlock", "((void *)0) != mutex"));
}

// Sync objects.

struct Sync : COMMON_sync {
    explicit Sync(std::uint32_t chosen = 0)
    {
        EXPECT_EQ(COMMON_sync_init(this, 0), 0);
        flags = chosen;
        forced = Forced{};
        calls = 0;
    }
    int value()
    {
        int value = -1;
        EXPECT_EQ(sem_getvalue(&lock, &value), 0);
        return value;
    }
};

TEST(FastPath, SyncIsLockedAndUnlocked)
{
    Sync sync;
    EXPECT_EQ(COMMON_sync_lock(&sync), 0);
    EXPECT_EQ(sync.owner, pthread_self());
    EXPECT_EQ(sync.value(), 0);
    EXPECT_EQ(COMMON_sync_lock(&sync), EACCES);
    std::thread([&] { EXPECT_EQ(COMMON_sync_unlock(&sync), EACCES); }).join();
    EXPECT_EQ(COMMON_sync_unlock(&sync), 0);
    EXPECT_EQ(sync.owner, kNobody);
    EXPECT_EQ(sync.value(), 1);
    EXPECT_EQ(COMMON_sync_unlock(&sync), EACCES);
    EXPECT_EQ(calls, 3) << "the fast paths are not in use";
    EXPECT_EQ(COMMON_sync_lock(nullptr), EINVAL);
    EXPECT_EQ(COMMON_sync_unlock(nullptr), EINVAL);
}

TEST(FastPath, SyncIsLockedByOneThreadAtATime)
{
    Sync sync;
    int count = 0;
    const auto add = [&] {
        for (int i = 0; i < 5'000; ++i) {
            COMMON_sync_lock(&sync);
            ++count;
            COMMON_sync_unlock(&sync);
        }
    };
    std::thread first(add);
    std::thread second(add);
    first.join();
    second.join();
    EXPECT_EQ(count, 10'000);
}

TEST(FastPath, SyncThatFailsToLockHasNoOwner)
{
    for (const int error : {EINTR, EINVAL}) {
        Sync sync;
        forced.sem_wait_fails = true;
        forced.error_number = error;
        EXPECT_EQ(COMMON_sync_lock(&sync), error);
        EXPECT_EQ(sync.owner, kNobody);
        EXPECT_EQ(sync.value(), 1);
    }
    Sync with_flag(COMMON_SyncRetryInterrupted);
    forced.sem_wait_fails = true;
    forced.error_number = EINVAL;
    EXPECT_EQ(COMMON_sync_lock(&with_flag), EINVAL);
}

TEST(FastPath, InterruptedSyncIsLockedIfTheFlagIsSet)
{
    Sync sync(COMMON_SyncRetryInterrupted);
    forced.sem_wait_fails = true;
    forced.error_number = EINTR;
    EXPECT_EQ(COMMON_sync_lock(&sync), 0);
    EXPECT_EQ(sync.owner, pthread_self());
    EXPECT_EQ(sync.value(), 0);
}

TEST(FastPath, SyncThatFailsWithoutAnErrorIsHeld)
{
    Sync sync;
    forced.sem_wait_fails = true;
    EXPECT_EQ(COMMON_sync_lock(&sync), 0);
    EXPECT_EQ(sync.owner, pthread_self());
}

TEST(FastPath, SyncThatFailsToUnlockHasNoOwner)
{
    Sync sync;
    COMMON_sync_lock(&sync);
    forced.sem_getvalue_fails = true;
    forced.error_number = EINVAL;
    EXPECT_EQ(COMMON_sync_unlock(&sync), EINVAL);
    EXPECT_EQ(sync.owner, kNobody);
    EXPECT_EQ(sync.value(), 0) << "posted all the same";
    Sync other;
    COMMON_sync_lock(&other);
    forced.sem_post_fails = true;
    forced.error_number = EOVERFLOW;
    EXPECT_EQ(COMMON_sync_unlock(&other), EOVERFLOW);
    EXPECT_EQ(other.owner, kNobody);
}

TEST(FastPath, SyncIsNotRaisedAboveOne)
{
    Sync sync;
    COMMON_sync_lock(&sync);
    sem_post(&sync.lock);
    EXPECT_EQ(COMMON_sync_unlock(&sync), 0);
    EXPECT_EQ(sync.value(), 1);
}

}  // namespace
