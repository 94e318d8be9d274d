// Conversions of hexadecimal text in the large steps of AVX2, for data_hex.cpp.
#pragma once

#include <cstddef>
#include <cstdint>

#if defined(__x86_64__) || defined(__i386__)
#define COMMON_HEX_BY_AVX2 1
#else
#define COMMON_HEX_BY_AVX2 0
#endif

namespace common::data {

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

#if COMMON_HEX_BY_AVX2

/// Whether this processor has AVX2. The answer is kept.
bool has_avx2() noexcept;

/// Whether a conversion of so many characters goes by AVX2: below, the steps of 16 are as fast.
inline bool uses_avx2(std::size_t characters) noexcept
{
    constexpr std::size_t kMinimum = 64;
    return characters >= kMinimum && has_avx2();
}

/// Each takes as many whole steps as there are and says how many bytes that were: steps of 16 bytes
/// to text, of 32 bytes from text.
namespace avx2 {

std::size_t encode(const std::uint8_t* bytes, std::size_t count, char* digits) noexcept;
std::size_t dump(const std::uint8_t* bytes, std::size_t count, char* text) noexcept;
std::size_t decode(const char* digits, std::size_t count, std::uint8_t* bytes) noexcept;

/// The same in characters, steps of 32: none if any of them is no digit.
std::size_t valid(const char* text, std::size_t count) noexcept;

}  // namespace avx2
#endif

}  // namespace common::data
