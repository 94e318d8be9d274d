// Random operations against a model: once with a fixed seed, once with another one every time.
#pragma once

#include <chrono>
#include <cstdio>
#include <random>
#include <string>

#include <gtest/gtest.h>

/// The choices of one run. Tells its seed when the run fails, and to who reads the output.
class Choices {
public:
    explicit Choices(std::uint32_t seed)
        : trace_(__FILE__, __LINE__, "seed " + std::to_string(seed)), generator_(seed)
    {
        std::printf("seed %u\n", seed);
    }

    /// One of the numbers from 0 to `count` - 1.
    std::size_t below(std::size_t count) { return generator_() % count; }

private:
    testing::ScopedTrace trace_;
    std::mt19937 generator_;
};

inline constexpr std::uint32_t kFixedSeed = 20260101;

/// A seed that no other run is likely to have.
inline std::uint32_t seed_of_this_run()
{
    return static_cast<std::uint32_t>(std::chrono::system_clock::now().time_since_epoch().count() /
                                      1'000);
}
