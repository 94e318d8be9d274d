// Bytes to hexadecimal digits and back, many at a time.
#pragma once

#include <cstddef>
#include <cstdint>

namespace common::data {

/// Whether a conversion of so many characters goes by vectors, which this processor then has.
bool hex_uses_vectors(std::size_t characters) noexcept;

/// Whether AVX2 can be used, from what a processor says: register C of CPUID leaf 1, its register
/// XCR0 (0 without OSXSAVE), and register B of leaf 7.
constexpr bool avx2_can_be_used(std::uint32_t leaf_1c, std::uint32_t xcr0,
                                std::uint32_t leaf_7b) noexcept
{
    constexpr std::uint32_t kOsxsaveAndAvx = 1U << 27 | 1U << 28;
    // The kernel keeps the upper halves of the registers over a thread switch.
    constexpr std::uint32_t kXmmAndYmm = 1U << 1 | 1U << 2;
    constexpr std::uint32_t kAvx2 = 1U << 5;
    return (leaf_1c & kOsxsaveAndAvx) == kOsxsaveAndAvx && (xcr0 & kXmmAndYmm) == kXmmAndYmm &&
           (leaf_7b & kAvx2) != 0;
}

/// Writes the 2 * count upper-case digits of `count` bytes.
void hex_encode(const std::uint8_t* bytes, std::size_t count, char* digits) noexcept;

/// Whether all of `count` characters are hexadecimal digits.
bool hex_is_valid(const char* text, std::size_t count) noexcept;

/// Writes the `count` bytes that 2 * count hexadecimal digits stand for.
void hex_decode(const char* digits, std::size_t count, std::uint8_t* bytes) noexcept;

}  // namespace common::data
