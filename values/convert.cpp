#include "convert.h"

#include <cctype>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <limits>

#include "foundation/hex_text.h"
#include "log/report.h"

namespace {

constexpr common::Source kSource{"convert", common::Module::Common};

/// Converts text that has nothing but digits, not more than the number holds: false for any other
/// text.
template <typename Number>
bool convert_plain(const char* text, Number& value) noexcept
{
    constexpr unsigned kMostDigits = 2 * sizeof(Number);
    Number number = 0;
    // Unrolled, each digit has a branch of its own, which the processor learns to foresee.
#pragma GCC unroll 8
    for (unsigned count = 0; count < kMostDigits; ++count) {
        const auto character = static_cast<unsigned char>(text[count]);
        const std::uint8_t digit = common::hex_digit_value[character];
        if (digit > 15) {
            value = number;
            return character == '\0' && count != 0;
        }
        number = static_cast<Number>(number << 4 | digit);
    }
    value = number;
    return text[kMostDigits] == '\0';
}

bool is_negative(const char* text) noexcept
{
    while (std::isspace(static_cast<unsigned char>(*text)) != 0) {
        ++text;
    }
    return *text == '-';
}

/// Converts any text as the C library's conversion for a number of this width does, which a long
/// has on some platforms only. errno tells a failure, and is set for no other reason.
template <typename Number>
Number convert_any(const char* text) noexcept
{
    const unsigned long long number = std::strtoull(text, nullptr, 16);
    const unsigned long long size = is_negative(text) ? 0 - number : number;
    if (size > std::numeric_limits<Number>::max()) {
        errno = ERANGE;
    }
    return static_cast<Number>(number);
}

STATUS refuse(const char* reason, common::Here here) noexcept
{
    common::report(kSource, COMMON_LogLevelWarn, here, "%s", reason);
    return STATUS_INVALID_PARAM;
}

/// Everything but the conversion of plain digits. Never inlined, so that these cost no more than
/// they need.
template <typename Number>
[[gnu::noinline]] STATUS convert_carefully(const char* text, Number* value_out,
                                           common::Here here) noexcept
{
    if (text == nullptr) {
        return refuse("String Value is NULL", here);
    }
    if (value_out == nullptr) {
        return refuse("Destination Pointer is NULL", here);
    }
    const Number value = convert_any<Number>(text);
    // Oddity: errno is not cleared before, so an earlier failure of the thread makes any text
    // invalid. Callers rely on that. Test: Convert.EarlierErrorNumberMakesEveryTextInvalid.
    if (errno != 0) {
        return refuse("Invalid String Value", here);
    }
    *value_out = value;
    return STATUS_SUCCESS;
}

template <typename Number>
STATUS convert(const char* text, Number* value_out,
               common::Here here = common::Here::now()) noexcept
{
    Number value = 0;
    if (text == nullptr || value_out == nullptr || !convert_plain(text, value) || errno != 0) {
        return convert_carefully(text, value_out, here);
    }
    *value_out = value;
    return STATUS_SUCCESS;
}

}  // namespace

extern "C" {

STATUS CONVERT_HexStrToU32(const char* text, uint32_t* valueOut)
{
    return convert(text, valueOut);
}

STATUS CONVERT_HexStrToU64(const char* text, uint64_t* valueOut)
{
    return convert(text, valueOut);
}

}  // extern "C"
