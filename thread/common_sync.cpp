#include "common_sync.h"

#include <atomic>
#include <cerrno>
#include <cstddef>

#include "platform/no_exceptions.h"
#include "platform/own_thread.h"
#include "platform/short_look.h"

static_assert(offsetof(COMMON_sync, owner) == 0);
static_assert(offsetof(COMMON_sync, lock) == sizeof(pthread_t));
static_assert(offsetof(COMMON_sync, signal) == sizeof(pthread_t) + sizeof(sem_t));
static_assert(offsetof(COMMON_sync, flags) == sizeof(pthread_t) + 2 * sizeof(sem_t));
static_assert(sizeof(COMMON_sync) == (sizeof(void*) == 4 ? 40 : 80));

namespace {

constexpr auto kNobody = static_cast<pthread_t>(-1);

// The owner only tells a thread whether it holds the lock itself, and a thread sees its own latest
// store of it or a later one of others, which has another id. No order with other memory is needed:
// that comes from the semaphores.
void set_owner(COMMON_sync& sync, pthread_t owner) noexcept
{
    std::atomic_ref(sync.owner).store(owner, std::memory_order_relaxed);
}

bool is_owner(COMMON_sync& sync, pthread_t thread) noexcept
{
    return std::atomic_ref(sync.owner).load(std::memory_order_relaxed) == thread;
}

/// The error number of a semaphore call that failed may be 0: then it counts as done.
int error_of(int result) noexcept
{
    return result == 0 ? 0 : errno;
}

/// For a thread that is cancelled as it waits for a semaphore. It may be the one that a post woke,
/// and as nobody posts a semaphore that is above 0, the next one would sleep on beside it.
void wake_next(void* argument) noexcept
{
    auto* const semaphore = static_cast<sem_t*>(argument);
    if (sem_trywait(semaphore) == 0) {
        sem_post(semaphore);
    }
}

/// Waits for a semaphore, without an end if there is no deadline, and again after EINTR if the
/// flags say so.
[[gnu::cold]] int wait_for(const COMMON_sync& sync, sem_t& semaphore,
                           const timespec* deadline) noexcept
{
    int error = 0;
    pthread_cleanup_push(wake_next, &semaphore);
    do {
        error = error_of(deadline == nullptr ? sem_wait(&semaphore)
                                             : sem_timedwait(&semaphore, deadline));
    } while (error == EINTR && (sync.flags & COMMON_SyncRetryInterrupted) != 0);
    pthread_cleanup_pop(0);
    return error;
}

/// The value of a semaphore; below 0 if it cannot be read.
int value_of(sem_t& semaphore) noexcept
{
    int value = 0;
    return sem_getvalue(&semaphore, &value) == 0 ? value : -1;
}

/// Tries to take a semaphore that was seen above 0. A wait that has no time left is a try that is a
/// cancellation point, as every wait is, also where there is nothing to wait for. In vain it makes
/// others call the kernel, which is why it is looked at first.
bool is_had(sem_t& semaphore) noexcept
{
    static constexpr timespec kPassed{.tv_sec = -1, .tv_nsec = 0};  // the kernel is not asked
    return sem_timedwait(&semaphore, &kPassed) == 0;
}

bool is_seen_and_had(void* argument) noexcept
{
    auto& semaphore = *static_cast<sem_t*>(argument);
    return value_of(semaphore) > 0 && is_had(semaphore);
}

/// Takes a semaphore that could not be had at once. First it is given a moment to rise, which
/// spares both sides the kernel when it does, and is tried then, as what is only seen is often lost
/// to another thread.
[[gnu::cold]] int take_later(const COMMON_sync& sync, sem_t& semaphore, const timespec* deadline,
                             bool looks, int errno_before) noexcept
{
    const bool has_it = looks && common::comes_true_shortly(is_seen_and_had, &semaphore);
    errno = errno_before;
    return has_it ? 0 : wait_for(sync, semaphore, deadline);
}

/// Takes a semaphore, without the price of a wait where there is nothing to wait for. One that
/// cannot be read is left to the wait.
[[gnu::always_inline]] inline int take(const COMMON_sync& sync, sem_t& semaphore,
                                       const timespec* deadline) noexcept
{
    const int errno_before = errno;
    const int value = value_of(semaphore);
    if (value > 0 && is_had(semaphore)) [[likely]] {
        return 0;
    }
    return take_later(sync, semaphore, deadline, value >= 0, errno_before);
}

/// Whether a semaphore call takes it for a time at all.
bool is_time(const timespec& time) noexcept
{
    return time.tv_nsec >= 0 && time.tv_nsec < 1'000'000'000;
}

[[gnu::always_inline]] inline int lock(COMMON_sync& sync, const timespec* deadline) noexcept
{
    const pthread_t own = common::own_thread();
    if (is_owner(sync, own)) {
        return EACCES;
    }
    // What is no time is refused also when the lock is free.
    const int error = deadline == nullptr || is_time(*deadline)
                          ? take(sync, sync.lock, deadline)
                          : wait_for(sync, sync.lock, deadline);
    if (error == 0) {
        set_owner(sync, own);
    }
    return error;
}

/// Posts a semaphore unless it is above 0. Two threads that do so at once may both post: whoever
/// waits looks again anyway.
[[gnu::always_inline]] inline int post_once(sem_t& semaphore) noexcept
{
    int value = 0;
    const int error = error_of(sem_getvalue(&semaphore, &value));
    if (error != 0 || value != 0) {
        return error;
    }
    return error_of(sem_post(&semaphore));
}

[[gnu::always_inline]] inline int unlock(COMMON_sync* sync) noexcept
{
    if (sync == nullptr) {
        return EINVAL;
    }
    if (!is_owner(*sync, common::own_thread())) {
        return EACCES;
    }
    set_owner(*sync, kNobody);
    return post_once(sync->lock);
}

void signal_again(void* sync) noexcept
{
    COMMON_sync_signal(static_cast<COMMON_sync*>(sync));
}

[[gnu::cold]] int lock_again_later(COMMON_sync* sync, bool has_signal) noexcept
{
    int error = 0;
    pthread_cleanup_push(signal_again, has_signal ? sync : nullptr);
    error = COMMON_sync_lock(sync);
    pthread_cleanup_pop(0);
    return error;
}

/// Locks at the end of a wait. A thread that is cancelled here does not need the signal, if it has
/// got it: others may.
[[gnu::always_inline]] inline int lock_again(COMMON_sync* sync, bool has_signal) noexcept
{
    const int errno_before = errno;
    if (sem_trywait(&sync->lock) == 0) {  // no cancellation point, so that there is no clean-up
        set_owner(*sync, common::own_thread());
        return 0;
    }
    errno = errno_before;
    return lock_again_later(sync, has_signal);
}

}  // namespace

extern "C" {

// Oddity: the second argument is not taken for the flags: callers pass all kinds of values, and a
// wait that an interruption ends is what they know.
// Test: CommonSync.InitSetsTheRecordUpWhateverTheSecondArgument.
int32_t COMMON_sync_init(COMMON_sync* sync, uint32_t)
{
    if (sync == nullptr) {
        return EINVAL;
    }
    set_owner(*sync, kNobody);
    sync->flags = 0;
    const int error = error_of(sem_init(&sync->lock, 0, 1));
    if (error != 0) {
        return error;
    }
    // COMMON_SyncShared cannot be set by now, so the signal is always for one process.
    return error_of(sem_init(&sync->signal, 0, 0));
}

int32_t COMMON_sync_destroy(COMMON_sync* sync)
{
    if (sync == nullptr) {
        return EINVAL;
    }
    set_owner(*sync, kNobody);
    const int error_of_lock = error_of(sem_destroy(&sync->lock));
    const int error_of_signal = error_of(sem_destroy(&sync->signal));
    return error_of_lock != 0 ? error_of_lock : error_of_signal;
}

int32_t COMMON_sync_lock(COMMON_sync* sync)
{
    if (sync == nullptr) {
        return EINVAL;
    }
    return lock(*sync, nullptr);
}

int32_t COMMON_sync_timedlock(COMMON_sync* sync, const struct timespec* deadline)
{
    if (sync == nullptr || deadline == nullptr) {
        return EINVAL;
    }
    return lock(*sync, deadline);
}

int32_t COMMON_sync_unlock(COMMON_sync* sync)
{
    return unlock(sync);
}

int32_t COMMON_sync_signal(COMMON_sync* sync)
{
    return sync == nullptr ? EINVAL : post_once(sync->signal);
}

int32_t COMMON_sync_wait(COMMON_sync* sync)
{
    const int not_unlocked = unlock(sync);
    if (not_unlocked != 0) {
        return not_unlocked;
    }
    // Oddity: a wait that fails does not lock again, unlike one with a deadline: callers know that.
    // Test: CommonSyncFault.WaitThatFailsDoesNotLockAgain.
    const int error = take(*sync, sync->signal, nullptr);
    return error != 0 ? error : lock_again(sync, true);
}

int32_t COMMON_sync_timedwait(COMMON_sync* sync, const struct timespec* deadline)
{
    if (deadline == nullptr) {
        return EINVAL;
    }
    const int not_unlocked = COMMON_sync_unlock(sync);
    if (not_unlocked != 0) {
        return not_unlocked;
    }
    const int error = wait_for(*sync, sync->signal, deadline);
    const int not_locked = lock_again(sync, error == 0);
    return not_locked != 0 ? not_locked : error;
}

}  // extern "C"
