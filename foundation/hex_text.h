// Hexadecimal digits, and rows of dumps that are made of them.
#pragma once

#include <array>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstring>

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

/// Writes " 4A" for each byte, blanks up to the column of the characters, and the bytes as
/// characters, a dot for those that cannot be printed.
/// @return the end of what was written.
inline char* write_dump_bytes(char* text, std::size_t column, const std::uint8_t* bytes,
                              std::uint32_t count) noexcept
{
    std::memset(text, ' ', column);
    for (std::size_t i = 0; i < count; ++i) {
        std::memcpy(text + 3 * i + 1, hex_pair[bytes[i]].data(), 2);
        text[column + i] = std::isprint(bytes[i]) != 0 ? static_cast<char>(bytes[i]) : '.';
    }
    return text + column + count;
}

/// The characters of a whole row below, with its line feed.
constexpr std::uint32_t dump_row_width(std::uint32_t row_length) noexcept
{
    return (row_length + 4) * 4;
}

/// Writes a row of a dump of `row_length` bytes each: the address's lowest 32 bits, the bytes and
/// the characters.
// Oddity: a short last row ends right after its last character: readers find its end by that.
// Test: DataHexDumpPretty.ShortLineEndsAfterItsLastCharacter.
inline void write_dump_row(char* text, std::uint32_t row_length, const std::uint8_t* bytes,
                           std::uint32_t count) noexcept
{
    const auto address = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(bytes));
    *text++ = '0';
    *text++ = 'x';
    for (unsigned shift = 32; shift != 0; text += 2) {
        shift -= 8;
        std::memcpy(text, hex_pair[address >> shift & 0xFF].data(), 2);
    }
    *text++ = ':';
    char* const end = write_dump_bytes(text, std::size_t{row_length} * 3 + 4, bytes, count);
    if (count == row_length) {
        *end = '\n';
    }
}

}  // namespace common
