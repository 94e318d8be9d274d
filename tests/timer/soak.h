// Races that run for a while: briefly in the suite, for long with "./dev soak".
#pragma once

#include <chrono>
#include <cstdlib>
#include <functional>
#include <thread>
#include <vector>

#include "fresh_process.h"

/// How long each race runs: COMMON_TEST_SOAK_SECONDS, half a second when unset.
inline std::chrono::milliseconds soak_time()
{
    const char* const text = std::getenv("COMMON_TEST_SOAK_SECONDS");
    return text == nullptr ? std::chrono::milliseconds(500)
                           : std::chrono::milliseconds(1000 * std::strtol(text, nullptr, 10));
}

/// Runs the steps of a race again and again, each in a thread of its own, until its time is over.
inline void race(std::chrono::milliseconds time, const std::vector<std::function<void()>>& steps)
{
    const auto end = std::chrono::steady_clock::now() + time;
    std::vector<std::thread> threads;
    for (const auto& step : steps) {
        threads.emplace_back([&step, end] {
            while (std::chrono::steady_clock::now() < end) {
                step();
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
}

/// Runs a race in a fresh process that must end well and hold nothing more in the end.
inline void run_race(const std::function<void(std::chrono::milliseconds)>& body)
{
    const auto time = soak_time();
    harness::well({.time_limit = 2 * time + harness::kTimeLimit}, [&] { body(time); });
}
