// Steps of 16 of the conversions of hexadecimal text, in vectors that the compiler knows by itself:
// one source for SSE2 and NEON. Places in a vector are those in memory, whatever the byte order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#if (defined(__SSE2__) || defined(__ARM_NEON)) && __has_builtin(__builtin_shufflevector)
#define COMMON_HEX_BY_STEPS 1

namespace common::data {

constexpr std::size_t kStep = 16;

using Bytes = std::uint8_t __attribute__((vector_size(kStep)));
/// Signed, as SSE2 compares nothing else, and only for greater or equal.
using Characters = std::int8_t __attribute__((vector_size(kStep)));

/// The digits of 16 bytes.
struct Digits {
    Characters first;
    Characters second;
};

template <class Vector>
[[gnu::always_inline]] inline Vector load(const void* address) noexcept
{
    Vector vector;
    std::memcpy(&vector, address, sizeof vector);
    return vector;
}

template <class Vector>
[[gnu::always_inline]] inline void store(void* address, Vector vector) noexcept
{
    std::memcpy(address, &vector, sizeof vector);
}

[[gnu::always_inline]] inline Characters digits_of(Bytes nibbles) noexcept
{
    const auto values = (Characters)nibbles;
    return values + '0' + ((values > 9) & ('A' - '9' - 1));
}

[[gnu::always_inline]] inline Digits digits_of_16(const std::uint8_t* bytes) noexcept
{
    const Bytes both = load<Bytes>(bytes);
    const Characters high = digits_of(both >> 4);
    const Characters low = digits_of(both & 15);
    return {
        __builtin_shufflevector(high, low, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23),
        __builtin_shufflevector(high, low, 8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15,
                                31)};
}

/// Sets the places of 16 characters that are no digit to 0, the others to -1.
[[gnu::always_inline]] inline Characters valid_places(const char* text) noexcept
{
    const auto characters = load<Characters>(text);
    const Characters lower = characters | 0x20;
    return ((characters > '0' - 1) & (characters < '9' + 1)) |
           ((lower > 'a' - 1) & (lower < 'f' + 1));
}

[[gnu::always_inline]] inline bool is_set(Characters places) noexcept
{
    const auto halves = (std::int64_t __attribute__((vector_size(kStep))))places;
    return (halves[0] & halves[1]) == -1;
}

[[gnu::always_inline]] inline Bytes values_of(const char* digits) noexcept
{
    const auto characters = load<Characters>(digits);
    // The low nibble of a letter lacks 9.
    return (Bytes)((characters & 15) + ((characters > '9') & 9));
}

[[gnu::always_inline]] inline Bytes bytes_of_32(const char* digits) noexcept
{
    const Bytes first = values_of(digits);
    const Bytes second = values_of(digits + kStep);
    const Bytes high = __builtin_shufflevector(first, second, 0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20,
                                               22, 24, 26, 28, 30);
    const Bytes low = __builtin_shufflevector(first, second, 1, 3, 5, 7, 9, 11, 13, 15, 17, 19, 21,
                                              23, 25, 27, 29, 31);
    return high << 4 | low;
}

/// Writes the digits of 16 bytes with a blank behind each pair. Only where one instruction puts the
/// places of a vector in any order, which SSE2 has not.
[[gnu::always_inline]] inline void write_dump_of_16(Digits digits, char* text) noexcept
{
    constexpr int _ = 16;  // a blank
    const Characters blanks = Characters{} + ' ';
    const Characters middle = __builtin_shufflevector(digits.first, digits.second, 8, 9, 10, 11, 12,
                                                      13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23);
    store(text, __builtin_shufflevector(digits.first, blanks, 0, 1, _, 2, 3, _, 4, 5, _, 6, 7, _, 8,
                                        9, _, 10));
    store(text + kStep, __builtin_shufflevector(middle, blanks, 3, _, 4, 5, _, 6, 7, _, 8, 9, _, 10,
                                                11, _, 12, 13));
    store(text + 2 * kStep, __builtin_shufflevector(digits.second, blanks, _, 6, 7, _, 8, 9, _, 10,
                                                    11, _, 12, 13, _, 14, 15, _));
}

}  // namespace common::data

#else
#define COMMON_HEX_BY_STEPS 0
#endif
