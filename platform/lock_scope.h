// Holds a lock over a scope.
#pragma once

#include <pthread.h>

namespace common {

/// Locks a mutex for a scope that has no cancellation point. Should locking fail, the scope runs
/// without the lock: the library's locks guard nothing that is worth more than going on.
class LockScope {
public:
    explicit LockScope(pthread_mutex_t& mutex) noexcept
        : mutex_(pthread_mutex_lock(&mutex) == 0 ? &mutex : nullptr)
    {
    }
    LockScope(const LockScope&) = delete;
    LockScope& operator=(const LockScope&) = delete;
    ~LockScope()
    {
        if (mutex_ != nullptr) {
            pthread_mutex_unlock(mutex_);
        }
    }

private:
    pthread_mutex_t* mutex_;
};

}  // namespace common
