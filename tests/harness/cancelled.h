// Threads that are cancelled in the middle of a call: those that must end there, and those that
// must come to an end first.
#pragma once

#include <functional>
#include <pthread.h>

#include <gmock/gmock.h>

#include "fault.h"

namespace harness {

/// Runs a function in a thread of its own, which must be cancelled before the function returns.
inline void run_until_cancelled(const std::function<void()>& function)
{
    pthread_t thread{};
    void* result = nullptr;
    const auto run = [](void* argument) -> void* {
        (*static_cast<const std::function<void()>*>(argument))();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, nullptr, run, const_cast<std::function<void()>*>(&function)),
              0);
    ASSERT_EQ(pthread_join(thread, &result), 0);
    EXPECT_EQ(result, PTHREAD_CANCELED);
}

inline void cancel_oneself()
{
    EXPECT_EQ(pthread_cancel(pthread_self()), 0);
}

/// Runs a body in a thread that is cancelled in its first call of a function of the C library,
/// which is made a cancellation point if it is none. The body must come to its end all the same,
/// and the thread ends behind it.
inline void expect_uncancelled(fault::Call call, const std::function<void()>& body)
{
    struct Run {
        fault::Call call;
        const std::function<void()>& body;
        bool has_returned = false;
    } run{call, body};
    const auto in_thread = [](void* argument) -> void* {
        auto& its = *static_cast<Run*>(argument);
        fault::on_call(its.call, 1, [] {
            pthread_cancel(pthread_self());
            pthread_testcancel();
        });
        its.body();
        its.has_returned = true;
        pthread_testcancel();
        return nullptr;
    };
    pthread_t thread;
    ASSERT_EQ(pthread_create(&thread, nullptr, in_thread, &run), 0);
    void* result = nullptr;
    EXPECT_EQ(pthread_join(thread, &result), 0);
    EXPECT_TRUE(run.has_returned);
    EXPECT_EQ(result, PTHREAD_CANCELED) << "and can be cancelled again";
}

}  // namespace harness
