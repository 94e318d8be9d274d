// Locks a mutex with a limit of time.
#pragma once

#include <pthread.h>

#include <ctime>

#if defined(__SANITIZE_THREAD__)
#include <sanitizer/tsan_interface.h>
#endif

namespace common {

/// Waits for a mutex until a time of the monotonic clock at most: 0, or the error number.
inline int lock_until(pthread_mutex_t& mutex, const timespec& deadline) noexcept
{
#if defined(__SANITIZE_THREAD__)
    // It does not know of this way to lock, so it is told.
    __tsan_mutex_pre_lock(&mutex, __tsan_mutex_try_lock);
    const int error = pthread_mutex_clocklock(&mutex, CLOCK_MONOTONIC, &deadline);
    __tsan_mutex_post_lock(
        &mutex, __tsan_mutex_try_lock | (error == 0 ? 0U : __tsan_mutex_try_lock_failed), 0);
    return error;
#else
    return pthread_mutex_clocklock(&mutex, CLOCK_MONOTONIC, &deadline);
#endif
}

}  // namespace common
