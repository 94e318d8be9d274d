#include "codes/variant_words.h"

#include <bit>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <system_error>

namespace commonctl {
namespace {

template <typename Number>
std::string shortest(Number number)
{
    char digits[64];
    const auto made = std::to_chars(digits, digits + sizeof digits, number);
    std::string text(digits, static_cast<std::size_t>(made.ptr - digits));
    // Without either it would be an integer to readers of JSON, which have no negative zero.
    if (text.find_first_of(".e") == std::string::npos) {
        text += ".0";
    }
    return text;
}

}  // namespace

std::string float_text(std::uint32_t bits)
{
    const auto value = std::bit_cast<float>(bits);
    // Readers of JSON take a number for a double first. Rounded twice, it might be a neighbour.
    const std::string text = shortest(value);
    const auto again = static_cast<float>(std::strtod(text.c_str(), nullptr));
    return std::bit_cast<std::uint32_t>(again) == bits ? text
                                                       : shortest(static_cast<double>(value));
}

std::string word_text(std::uint32_t bits)
{
    char text[12];
    std::snprintf(text, sizeof text, "0x%08x", static_cast<unsigned>(bits));
    return text;
}

}  // namespace commonctl
