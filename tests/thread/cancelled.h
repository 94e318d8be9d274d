// Threads that are cancelled by a hook.
#pragma once

#include <functional>

#include <gtest/gtest.h>
#include <pthread.h>

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

}  // namespace harness
