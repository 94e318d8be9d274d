// How the value words of variants are written as text: the same in all forms.
#pragma once

#include <cstdint>
#include <string>

namespace commonctl {

/// Whether the bits are a float that a decimal number can tell: no infinity, and not "no number".
constexpr bool is_finite_float(std::uint32_t bits)
{
    return (bits & 0x7f800000) != 0x7f800000;
}

/// The shortest decimal number that is read back as the same float, with a point or an exponent.
/// @param bits of a finite float.
std::string float_text(std::uint32_t bits);

/// "0x" and eight digits.
std::string word_text(std::uint32_t bits);

}  // namespace commonctl
