// How a mutex operation of the platform is called on a record.
#pragma once

#include <pthread.h>

#include <cstring>

#include "common_mutex.h"
#include "log/report.h"
#include "platform/assertion.h"

namespace common {

inline constexpr Source kMutexSource{"common_mutex"};

/// Calls the operation on the record's mutex and reports its failure. Inlined, so that a lock is
/// one call of the platform and one compare.
[[gnu::always_inline]] inline void common_mutexHandler(COMMON_Mutex* mutex,
                                                       int (*mutexHandler)(pthread_mutex_t*))
{
    COMMON_ASSERT(kMutexSource, mutex != nullptr, "((void *)0) != mutex");
    COMMON_ASSERT(kMutexSource, mutexHandler != nullptr, "((void *)0) != mutexHandler");
    const int error = mutexHandler(&mutex->mutex);
    if (error != 0) [[unlikely]] {
        COMMON_REPORT(kMutexSource, Fatal, "The mutex operation failed with error: %s (%d)",
                      std::strerror(error), error);
    }
}

}  // namespace common
