// Bytes to hexadecimal digits and back, many at a time.
#pragma once

#include <cstddef>
#include <cstdint>

namespace common::data {

/// Each conversion may leave out the first bytes (the first characters), which are done then, and
/// does the rest in steps of 16 where the processor always has vectors, else one by one.
namespace rest {

void encode(const std::uint8_t* bytes, std::size_t count, char* digits, std::size_t done) noexcept;
void dump(const std::uint8_t* bytes, std::size_t count, char* text, std::size_t done) noexcept;
bool is_valid(const char* text, std::size_t count, std::size_t done) noexcept;
void decode(const char* digits, std::size_t count, std::uint8_t* bytes, std::size_t done) noexcept;

}  // namespace rest

/// Writes the 2 * count upper-case digits of `count` bytes.
void hex_encode(const std::uint8_t* bytes, std::size_t count, char* digits) noexcept;

/// Writes the 3 * count characters of the same with a blank behind each byte.
void hex_dump(const std::uint8_t* bytes, std::size_t count, char* text) noexcept;

/// Whether all of `count` characters are hexadecimal digits.
bool hex_is_valid(const char* text, std::size_t count) noexcept;

/// Writes the `count` bytes that 2 * count hexadecimal digits stand for.
void hex_decode(const char* digits, std::size_t count, std::uint8_t* bytes) noexcept;

}  // namespace common::data
