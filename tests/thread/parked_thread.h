// Threads that do what a test tells them.
#pragma once

#include <atomic>
#include <cstdio>
#include <string>

#include <gmock/gmock.h>
#include <pthread.h>

#include "common_thread.h"
#include "log_expect.h"
#include "sanitizer.h"
#include "wait_until.h"

namespace harness {

/// What a record of the threads says.
inline Report said(const std::string& function, const std::string& message,
                   COMMON_LogLevel_t level = COMMON_LogLevelError)
{
    return said(level, "", "common_thread", function, message);
}

}  // namespace harness

/// The id of a thread as records show it.
inline std::string shown_id(pthread_t id)
{
    return std::to_string(static_cast<unsigned>(id));
}

/// Waits until the record knows that its thread has ended.
inline bool has_ended(const COMMON_Thread& thread)
{
    return harness::wait_until([&] { return COMMON_Thread_GetId(&thread) == 0; });
}

/// A record whose thread says when it runs, and ends when it is let go.
class ParkedThread {
public:
    ParkedThread() { COMMON_Thread_Initialize(&record, park, this); }

    /// Starts the thread and waits until it runs.
    void start()
    {
        ASSERT_EQ(COMMON_Thread_Start(&record), STATUS_SUCCESS);
        ASSERT_TRUE(running.wait());
    }

    /// Lets the thread go and takes its resources back; to be called for a joinable one.
    void end()
    {
        go.set();
        void* result = nullptr;
        EXPECT_EQ(pthread_join(self, &result), 0);
        EXPECT_EQ(result, this);
        EXPECT_EQ(COMMON_Thread_GetId(&record), pthread_t{});
    }

    COMMON_Thread record;
    harness::Event running;
    harness::Event go;
    std::atomic<pthread_t> self{};  ///< set when `running` is

private:
    HARNESS_CANCELLED_IN static void* park(void* argument)
    {
        auto* const parked = static_cast<ParkedThread*>(argument);
        parked->self = pthread_self();
        parked->running.set();
        EXPECT_TRUE(parked->go.wait());
        return parked;
    }
};
