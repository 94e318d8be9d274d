// What other threads do for a scenario, and waiting for their end.
#pragma once

#include <atomic>
#include <functional>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include "held_resources.h"
#include "wait_until.h"

namespace faults {

/// Calls a function in another thread as soon as the thread that makes this sleeps in the kernel.
/// In a run in which it does not, it is called at the end of the object, unless `always` is false.
class OnceAsleep {
public:
    explicit OnceAsleep(std::function<void()> function, bool always = true)
        : function_(std::move(function)), always_(always), thread_([this, own = gettid()] {
              const bool asleep =
                  harness::wait_until([&] { return over_ || harness::is_blocked(own); });
              if ((asleep && !over_) || always_) {
                  function_();
              }
          })
    {
    }
    ~OnceAsleep()
    {
        over_ = true;
        thread_.join();
    }
    OnceAsleep(const OnceAsleep&) = delete;
    OnceAsleep& operator=(const OnceAsleep&) = delete;

private:
    std::function<void()> function_;
    bool always_;
    std::atomic<bool> over_ = false;
    std::thread thread_;
};

/// Waits until only as many threads are left: others end by themselves.
inline void wait_for_threads(int count)
{
    EXPECT_TRUE(harness::wait_until([&] { return harness::thread_count() == count; }));
}

}  // namespace faults
