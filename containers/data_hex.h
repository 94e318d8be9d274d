// Bytes to hexadecimal digits and back, many at a time.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace common {

/// What hex_digit_value has for a character that is no hexadecimal digit.
inline constexpr std::uint8_t kNoHexDigit = 0xFF;

/// The value of each character as a hexadecimal digit, in either case.
inline constexpr auto hex_digit_value = [] {
    std::array<std::uint8_t, 256> values{};
    values.fill(kNoHexDigit);
    for (std::uint8_t i = 0; i < 10; ++i) {
        values['0' + i] = i;
    }
    for (std::uint8_t i = 0; i < 6; ++i) {
        values['A' + i] = values['a' + i] = static_cast<std::uint8_t>(10 + i);
    }
    return values;
}();

/// The two upper-case digits of each byte.
inline constexpr auto hex_pair = [] {
    std::array<std::array<char, 2>, 256> pairs{};
    for (unsigned byte = 0; byte != 256; ++byte) {
        pairs[byte] = {"0123456789ABCDEF"[byte >> 4], "0123456789ABCDEF"[byte & 15]};
    }
    return pairs;
}();

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

}  // namespace common
