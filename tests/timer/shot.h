// A callback that tells what happened to it.
#pragma once

#include <atomic>
#include <cstdint>
#include <ctime>
#include <functional>

#include <gmock/gmock.h>
#include <pthread.h>

#include "held_resources.h"
#include "timer.h"
#include "wait_until.h"

/// Longer than any test: a deadline that is never reached.
inline constexpr std::uint32_t kLong_ms = 3'600'000;

/// Monotonic milliseconds, rounded down.
inline std::int64_t now_ms()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
}

using harness::thread_count;

/// Waits until the process has that many threads.
inline bool has_threads(int count)
{
    return harness::wait_until([&] { return thread_count() == count; });
}

/// What a callback saw. Its address is the argument.
struct Shot {
    std::atomic<int> calls{0};
    std::atomic<std::int64_t> called_ms{0};
    std::atomic<pthread_t> thread{};
    harness::Event called;

    static void call(void* argument)
    {
        auto* const shot = static_cast<Shot*>(argument);
        shot->called_ms = now_ms();
        shot->thread = pthread_self();
        ++shot->calls;
        shot->called.set();
    }

    /// Starts a timer that calls this.
    std::uint32_t start(TMR* timer, std::uint32_t interval_ms)
    {
        return TMR_Start(timer, call, this, interval_ms);
    }
};

/// A callback that starts its timer again until it has been called often enough.
struct Periodic {
    TMR* timer;
    int wanted;
    std::function<void()> before_start = [] {};
    std::atomic<int> calls{0};
    harness::Event done{};

    static void call(void* argument)
    {
        auto* const self = static_cast<Periodic*>(argument);
        if (++self->calls == self->wanted) {
            self->done.set();
            return;
        }
        self->before_start();
        EXPECT_EQ(TMR_Start(self->timer, call, self, 1), 1U);
    }

    /// Waits for the last call.
    void run()
    {
        EXPECT_EQ(TMR_Start(timer, call, this, 1), 1U);
        EXPECT_TRUE(done.wait());
    }
};

/// A callback that stays until it is let go.
struct BlockingShot {
    std::atomic<int> calls{0};
    harness::Event called;
    harness::Event go;
    harness::Event left;

    static void call(void* argument)
    {
        auto* const shot = static_cast<BlockingShot*>(argument);
        ++shot->calls;
        shot->called.set();
        EXPECT_TRUE(shot->go.wait());
        shot->left.set();
    }
};
