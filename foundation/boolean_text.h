// Texts of booleans, for the group's own reports.
#pragma once

#include <cstdint>

namespace common {

/// "False" for 0, "True" for 1, "Invalid" for anything else.
constexpr const char* boolean_text(std::uint32_t value) noexcept
{
    return value == 0 ? "False" : value == 1 ? "True" : "Invalid";
}

}  // namespace common
