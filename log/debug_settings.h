// The settings of the debug output, and how they are read.
#pragma once

#include <cstdint>

namespace common::debug {

/// Bytes in a row of a hex dump.
inline constexpr std::uint32_t kMinimumRowLength = 4;
inline constexpr std::uint32_t kDefaultRowLength = 32;
inline constexpr std::uint32_t kMaximumRowLength = 128;

/// The settings. Written once, under the once-initialisation of the debug output.
struct Settings {
    std::uint32_t enable;
    std::uint32_t rowLength;
};
extern constinit Settings settings;

/// Takes in one NAME=value; anything else is passed over.
void parse_variable(const char* variable) noexcept;

}  // namespace common::debug
