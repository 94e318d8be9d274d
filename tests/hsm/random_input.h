// Random inputs for the models of machines.
#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "chosen_chart.h"

namespace chart {

/// Calls `compare` with the choices of some hundreds of random inputs, until a comparison fails:
/// from a fixed seed, and from one of this moment that failures show.
template <typename Compare>
void for_random_inputs(Compare&& compare)
{
    const char* const wanted = std::getenv("COMMON_TEST_SEED");
    const std::uint64_t now = wanted != nullptr ? std::strtoull(wanted, nullptr, 10)
                                                : static_cast<std::uint64_t>(std::time(nullptr));
    for (const std::uint64_t seed : {std::uint64_t{20'260'101}, now}) {
        SCOPED_TRACE("COMMON_TEST_SEED=" + std::to_string(seed));
        std::printf("seed %llu\n", static_cast<unsigned long long>(seed));
        std::mt19937_64 random(seed);
        for (int inputs = 0; inputs < 400 && !testing::Test::HasFailure(); ++inputs) {
            std::array<std::uint8_t, kLongestInput> input;
            for (std::uint8_t& byte : input) {
                byte = static_cast<std::uint8_t>(random());
            }
            compare(fuzz::Choices(input.data(), input.size()));
        }
    }
}

}  // namespace chart
