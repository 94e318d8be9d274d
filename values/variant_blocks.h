// What variants hold in their last word: a value of 32 bits, or a block that they own.
#pragma once

#include <bit>
#include <cstdint>

#include "oxavar.h"

namespace common::variant {

/// The word whose first bytes in memory are the bits of an integer or a float; the rest is zero.
constexpr std::uintptr_t word_of(std::uint32_t bits) noexcept
{
    constexpr unsigned kBehind =
        std::endian::native == std::endian::big ? 8 * (sizeof(std::uintptr_t) - sizeof bits) : 0;
    return std::uintptr_t{bits} << kBehind;
}

/// An array of so many elements in a block from MEM_Salloc() or MEM_Malloc(), which says whether
/// they are empty; of none when no block can be that large.
COMMON_OXAVar new_array(std::uint32_t count, void* (*allocate)(std::uint32_t)) noexcept;

/// A block of length + 1 bytes with a text, filled up with zeroes; null when there can be none, or
/// for no text.
char* copy_of_at_most(const char* text, std::uint32_t length) noexcept;

}  // namespace common::variant
