// DATA_AsciiToHex() with any text, against a conversion character by character.
#include <cctype>

#include "data.h"
#include "mem_malloc.h"
#include "support/input.h"

namespace {

unsigned value_of(char digit)
{
    return digit <= '9' ? static_cast<unsigned>(digit - '0')
                        : static_cast<unsigned>(std::toupper(digit) - 55);
}

bool is_valid(const fuzz::Text& text)
{
    for (std::size_t i = 0; i < text.length(); ++i) {
        if (std::isxdigit(static_cast<unsigned char>(text.get()[i])) == 0) {
            return false;
        }
    }
    return text.length() % 2 == 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const fuzz::Text text(data, size);
    const std::size_t length = text.length();
    DATA_Array* const array = DATA_AsciiToHex(text.get());
    FUZZ_CHECK((array != nullptr) == is_valid(text));
    if (array == nullptr) {
        return 0;
    }
    FUZZ_CHECK(array->length == length / 2 && array->capacity == length / 2);
    char* const back = DATA_HexToAsciiFromArray(array);
    FUZZ_CHECK(std::strlen(back) == length);
    for (std::size_t i = 0; i < length; ++i) {
        const char digit = text.get()[i];
        const unsigned byte = array->data[i / 2];
        FUZZ_CHECK(value_of(digit) == (i % 2 == 0 ? byte >> 4 : byte & 15));
        FUZZ_CHECK(back[i] == std::toupper(digit));
    }
    MEM_Free(back);
    DATA_ArrayDelete(array);
    return 0;
}
