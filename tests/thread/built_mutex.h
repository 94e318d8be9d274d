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

namespace harness {

/// What a record of the mutexes or, by its function, of the monitors says.
inline Report said(const std::string& function, const std::string& message)
{
    const bool of_monitor = function.find("onitor") != std::string::npos;
    return said(COMMON_LogLevelFatal, "", of_monitor ? "common_monitor" : "common_mutex", function,
                message);
}

}  // namespace harness

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
