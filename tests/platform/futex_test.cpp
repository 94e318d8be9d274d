// Waiting for a word to change: what ends it.
#include "platform/futex.h"

#include <atomic>
#include <ctime>
#include <pthread.h>

#include <gmock/gmock.h>

#include "fresh_process.h"

using namespace harness;

namespace {

constexpr timespec kForever{1'000'000, 0};

std::int64_t now_ns()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

FRESH_TEST(Futex, AWordThatHoldsSomethingElseIsNotWaitedFor)
{
    const std::uint32_t word = 1;
    common::futex_wait(&word, 0, kForever);
}

FRESH_TEST(Futex, TheWaitEndsWhenItsTimeIsOver)
{
    const std::uint32_t word = 0;
    const std::int64_t before = now_ns();
    common::futex_wait(&word, 0, timespec{0, 20'000'000});
    EXPECT_GE(now_ns() - before, 20'000'000);
}

/// A thread that waits, again and again, until the word has changed.
FRESH_TEST(Futex, OneThatWaitsIsWoken)
{
    static std::atomic<std::uint32_t> word{0};
    const auto wait = [](void*) -> void* {
        while (word.load() == 0) {
            common::futex_wait(reinterpret_cast<const std::uint32_t*>(&word), 0, kForever);
        }
        return nullptr;
    };
    pthread_t thread{};
    ASSERT_EQ(pthread_create(&thread, nullptr, wait, nullptr), 0);
    word.store(1);
    common::futex_wake_one(reinterpret_cast<const std::uint32_t*>(&word));
    EXPECT_EQ(pthread_join(thread, nullptr), 0);
}

}  // namespace
