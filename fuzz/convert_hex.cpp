// The conversions of hexadecimal text with any text, against one that is written down plainly.
#include <cctype>
#include <cerrno>

#include "convert.h"
#include "support/input.h"

namespace {

/// A number by sign and size; a size that needs more than 64 bits is too large.
struct Number {
    bool negative = false;
    bool too_large = false;
    std::uint64_t size = 0;
};

bool is_digit(char character)
{
    return std::isxdigit(static_cast<unsigned char>(character)) != 0;
}

Number read(const char* text)
{
    Number number;
    while (std::isspace(static_cast<unsigned char>(*text)) != 0) {
        ++text;
    }
    if (*text == '+' || *text == '-') {
        number.negative = *text++ == '-';
    }
    if (text[0] == '0' && (text[1] == 'x' || text[1] == 'X') && is_digit(text[2])) {
        text += 2;
    }
    for (; is_digit(*text); ++text) {
        number.too_large |= number.size >> 60 != 0;
        const int digit = *text <= '9' ? *text - '0' : std::toupper(*text) - 'A' + 10;
        number.size = number.size << 4 | static_cast<unsigned>(digit);
    }
    return number;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const fuzz::Text text(data, size);
    const Number number = read(text.get());
    const std::uint64_t signed_size = number.negative ? 0 - number.size : number.size;

    errno = 0;
    std::uint64_t wide = 4711;
    const bool wide_good = CONVERT_HexStrToU64(text.get(), &wide) == STATUS_SUCCESS;
    FUZZ_CHECK(wide_good == !number.too_large);
    FUZZ_CHECK(wide == (wide_good ? signed_size : 4711));
    FUZZ_CHECK(errno == (wide_good ? 0 : ERANGE));

    errno = 0;
    std::uint32_t narrow = 4711;
    const bool narrow_good = CONVERT_HexStrToU32(text.get(), &narrow) == STATUS_SUCCESS;
    FUZZ_CHECK(narrow_good == (!number.too_large && number.size <= UINT32_MAX));
    FUZZ_CHECK(narrow == (narrow_good ? static_cast<std::uint32_t>(signed_size) : 4711));
    FUZZ_CHECK(errno == (narrow_good ? 0 : ERANGE));
    return 0;
}
