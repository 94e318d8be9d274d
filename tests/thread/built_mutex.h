// Mutexes for tests: built, looked at, and what is reported about them.
#pragma once

#include <cerrno>
#include <functional>
#include <string>
#include <thread>

#include <gmock/gmock.h>

#include "common_mutex.h"
#include "fresh_process.h"
#include "log_expect.h"

/// Matches a record of the mutexes.
inline harness::Report mutex_fatal(const char* function, const std::string& message)
{
    return harness::said(COMMON_LogLevelFatal, "", "common_mutex", function, message);
}

/// Matches the record of a lock or an unlock that failed.
inline harness::Report mutex_operation_failed(const std::string& error)
{
    return mutex_fatal("common_mutexHandler", "The mutex operation failed with error: " + error);
}

/// A mutex that is built as a function wants it.
struct Built : COMMON_Mutex {
    explicit Built(const std::function<void(COMMON_Mutex*)>& set = [](COMMON_Mutex*) {})
    {
        COMMON_Mutex_Initialize(this);
        set(this);
        COMMON_Mutex_Commit(this);
    }
    Built(const Built&) = delete;
    Built& operator=(const Built&) = delete;
    ~Built() { COMMON_Mutex_Destroy(this); }
};

/// Whether another thread can lock the mutex.
inline bool is_free(COMMON_Mutex& mutex)
{
    bool free = false;
    std::thread([&] {
        free = pthread_mutex_trylock(&mutex.mutex) == 0;
        if (free) {
            pthread_mutex_unlock(&mutex.mutex);
        }
    }).join();
    return free;
}

/// What happens when the holder tries to lock again: 0, or the platform's error number.
inline int relocking_by_holder(COMMON_Mutex& mutex)
{
    pthread_mutex_lock(&mutex.mutex);
    const int error = pthread_mutex_trylock(&mutex.mutex);
    if (error == 0) {
        pthread_mutex_unlock(&mutex.mutex);
    }
    pthread_mutex_unlock(&mutex.mutex);
    return error;
}
