// How the mutex family calls the platform and reports what fails.
#pragma once

#include <pthread.h>

#include "common_mutex.h"
#include "log/report.h"
#include "platform/assertion.h"

namespace common::mutex {

inline constexpr Source kSource{"common_mutex"};

inline void report_if_failed(int error, const char* what, Here here = Here::now()) noexcept
{
    failed(kSource, COMMON_LogLevelFatal, error, what, here);
}

/// Calls the operation on the record's mutex and reports its failure. Inlined, so that a lock is
/// one call of the platform and one compare.
[[gnu::always_inline]] inline void common_mutexHandler(COMMON_Mutex* mutex,
                                                       int (*mutexHandler)(pthread_mutex_t*))
{
    // GCOVR_EXCL_BR_START guard: both callers have looked at the mutex, and name the handler
    COMMON_ASSERT(kSource, mutex != nullptr, "((void *)0) != mutex");
    COMMON_ASSERT(kSource, mutexHandler != nullptr, "((void *)0) != mutexHandler");
    // GCOVR_EXCL_BR_STOP
    report_if_failed(mutexHandler(&mutex->mutex), "The mutex operation failed");
}

}  // namespace common::mutex
