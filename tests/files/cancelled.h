// Functions that must not be left half way by a thread that is cancelled.
#pragma once

#include <functional>
#include <pthread.h>

#include <gmock/gmock.h>

#include "fault.h"

namespace harness {

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
