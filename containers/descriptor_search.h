// Searches in a table of descriptors: distinct positive numbers in ascending order.
#pragma once

#include <cstdint>

namespace common::client {

/// The lowest positive number that is not among the `count` ones of the table; its place is the one
/// before that number.
std::int32_t lowest_gap(const std::int32_t* table, std::int32_t count) noexcept;

}  // namespace common::client
