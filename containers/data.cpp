#include "data.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstring>

#include "containers/data_hex.h"
#include "foundation/boolean_text.h"
#include "log/report.h"
#include "mem_malloc.h"

namespace {

constexpr common::Source kSource{"data", common::Module::Common};

static_assert(offsetof(DATA_Array, data) == 0);
static_assert(offsetof(DATA_Array, length) == sizeof(void*));
static_assert(offsetof(DATA_Array, capacity) == sizeof(void*) + 4);
static_assert(sizeof(DATA_Array) == sizeof(void*) + 8);

/// Makes an array whose storage is not set. A failure is DATA_ArrayNew()'s for whoever reads it.
DATA_Array* new_array(std::uint32_t capacity) noexcept
{
    auto* const array = static_cast<DATA_Array*>(MEM_Malloc(sizeof(DATA_Array)));
    if (array != nullptr) {
        array->data = static_cast<std::uint8_t*>(MEM_Malloc(capacity));
        array->length = 0;
        array->capacity = capacity;
        if (array->data != nullptr) {
            return array;
        }
        MEM_Free(array);
    }
    common::report(kSource, COMMON_LogLevelError, {"DATA_ArrayNew", __LINE__},
                   "Failed allocating memory.");
    return nullptr;
}

/// A text of count * width characters that is to be filled, and its terminator: null when there is
/// none to be had, or when its size cannot be asked for.
char* new_text(std::uint32_t count, std::uint32_t width, void* (*allocate)(std::uint32_t)) noexcept
{
    const std::uint64_t length = std::uint64_t{count} * width;
    if (length >= UINT32_MAX) {
        return nullptr;
    }
    auto* const text = static_cast<char*>(allocate(static_cast<std::uint32_t>(length) + 1));
    if (text != nullptr) {
        text[length] = '\0';
    }
    return text;
}

/// The lines of a pretty dump.
constexpr std::uint32_t kLineBytes = 16;
constexpr std::uint32_t kLineWidth = 80;
constexpr std::uint32_t kHexColumn = 11;
constexpr std::uint32_t kTextColumn = 63;

void write_line(char* line, const std::uint8_t* bytes, std::uint32_t count) noexcept
{
    const auto address = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(bytes));
    std::memset(line, ' ', kTextColumn);
    line[0] = '0';
    line[1] = 'x';
    for (unsigned i = 0; i < 4; ++i) {
        const std::uint32_t byte = address >> (24 - 8 * i) & 0xFF;
        std::memcpy(line + 2 + std::size_t{2} * i, common::hex_pair[byte].data(), 2);
    }
    line[kHexColumn - 1] = ':';
    for (std::uint32_t i = 0; i < count; ++i) {
        std::memcpy(line + kHexColumn + 1 + std::size_t{3} * i, common::hex_pair[bytes[i]].data(),
                    2);
        line[kTextColumn + i] = std::isprint(bytes[i]) != 0 ? static_cast<char>(bytes[i]) : '.';
    }
    // What is left of a short line stays zero: readers find its end by that.
    if (count == kLineBytes) {
        line[kLineWidth - 1] = '\n';
    }
}

bool is_bit(std::uint32_t bit, const char* function, std::int32_t line) noexcept
{
    if (bit < 32) {
        return true;
    }
    common::report(kSource, COMMON_LogLevelError, {function, line},
                   "Bad arguments. Invalid bit: %u", bit);
    return false;
}

}  // namespace

extern "C" {

DATA_Array* DATA_ArrayNew(uint32_t capacity)
{
    DATA_Array* const array = new_array(capacity);
    if (array != nullptr) {
        std::memset(array->data, 0, capacity);
    }
    return array;
}

DATA_Array* DATA_ArrayNewWithDataLength(uint32_t capacity, const void* bytes, uint32_t length)
{
    if (bytes == nullptr || length > capacity) {
        COMMON_REPORT(kSource, Error, "Bad arguments.");
        return nullptr;
    }
    DATA_Array* const array = DATA_ArrayNew(capacity);
    if (array == nullptr) {
        COMMON_REPORT(kSource, Error, "DATA_ArrayNew() failed.");
        return nullptr;
    }
    std::memcpy(array->data, bytes, length);
    array->length = length;
    return array;
}

DATA_Array* DATA_ArrayNewWithData(uint32_t capacity, const void* bytes)
{
    return DATA_ArrayNewWithDataLength(capacity, bytes, capacity);
}

void* DATA_ArrayResize(DATA_Array* array, uint32_t capacity)
{
    if (array == nullptr) {
        COMMON_REPORT(kSource, Error, "Bad arguments.");
        return nullptr;
    }
    // Stored also when it is null: callers test the field, not the result.
    array->data = static_cast<std::uint8_t*>(MEM_Realloc(array->data, capacity));
    if (array->data == nullptr) {
        COMMON_REPORT(kSource, Error, "Failed reallocating memory.");
        return nullptr;
    }
    array->capacity = capacity;
    array->length = std::min(array->length, capacity);
    return array->data;
}

void DATA_ArrayDelete(DATA_Array* array)
{
    if (array == nullptr) {
        COMMON_REPORT(kSource, Warn, "array is NULL.");
        return;
    }
    MEM_Free(array->data);
    MEM_Free(array);
}

DATA_Array* DATA_AsciiToHex(const char* text)
{
    if (text == nullptr) {
        COMMON_REPORT(kSource, Error, "Bad arguments.");
        return nullptr;
    }
    const std::size_t length = std::strlen(text);
    if (length % 2 != 0) {
        COMMON_REPORT(kSource, Error, "The ASCII string contains an odd length: %d",
                      static_cast<int>(length));
        return nullptr;
    }
    if (!common::hex_is_valid(text, length)) {
        for (std::size_t i = 0; i < length; ++i) {
            const char character = text[i];
            if (common::hex_digit_value[static_cast<unsigned char>(character)] ==
                common::kNoHexDigit) {
                COMMON_REPORT(kSource, Error, "ascii[%u] contains an invalid character: %c (%d)",
                              static_cast<unsigned>(i), character,
                              static_cast<int>(static_cast<signed char>(character)));
            }
        }
        return nullptr;
    }
    // Every byte is written below, so the storage needs no zeros.
    DATA_Array* const array =
        length / 2 <= UINT32_MAX ? new_array(static_cast<std::uint32_t>(length / 2)) : nullptr;
    if (array == nullptr) {
        COMMON_REPORT(kSource, Error, "Failed to create the array.");
        return nullptr;
    }
    array->length = array->capacity;
    common::hex_decode(text, array->length, array->data);
    return array;
}

char* DATA_HexToAscii(const void* bytes, uint32_t length)
{
    if (bytes == nullptr) {
        COMMON_REPORT(kSource, Error, "Bad arguments.");
        return nullptr;
    }
    char* const text = new_text(length, 2, MEM_Malloc);
    if (text == nullptr) {
        COMMON_REPORT(kSource, Error, "Failed allocating memory.");
        return nullptr;
    }
    common::hex_encode(static_cast<const std::uint8_t*>(bytes), length, text);
    return text;
}

char* DATA_HexToAsciiFromArray(const DATA_Array* array)
{
    if (array == nullptr) {
        COMMON_REPORT(kSource, Error, "Bad arguments.");
        return nullptr;
    }
    return DATA_HexToAscii(array->data, array->length);
}

char* DATA_HexDump(const void* bytes, uint32_t length)
{
    if (bytes == nullptr) {
        COMMON_REPORT(kSource, Error, "Bad arguments.");
        return nullptr;
    }
    char* const text = new_text(length, 3, MEM_Malloc);
    if (text == nullptr) {
        COMMON_REPORT(kSource, Error, "Failed allocating memory.");
        return nullptr;
    }
    const auto* const first = static_cast<const std::uint8_t*>(bytes);
    for (std::size_t i = 0; i < length; ++i) {
        std::memcpy(text + 3 * i, common::hex_pair[first[i]].data(), 2);
        text[3 * i + 2] = ' ';
    }
    return text;
}

char* DATA_HexDumpPretty(const void* bytes, uint32_t length)
{
    if (bytes == nullptr) {
        COMMON_REPORT(kSource, Error, "Bad arguments.");
        return nullptr;
    }
    const std::uint32_t lines = length / kLineBytes + (length % kLineBytes != 0 ? 1 : 0);
    char* const text = new_text(lines, kLineWidth, MEM_Salloc);
    if (text == nullptr) {
        COMMON_REPORT(kSource, Error, "Failed allocating memory.");
        return nullptr;
    }
    const auto* const first = static_cast<const std::uint8_t*>(bytes);
    for (std::uint32_t line = 0; line < lines; ++line) {
        const std::uint32_t offset = line * kLineBytes;
        write_line(text + std::size_t{line} * kLineWidth, first + offset,
                   std::min(kLineBytes, length - offset));
    }
    return text;
}

uint32_t DATA_BitSet(uint32_t value, uint32_t bit)
{
    return is_bit(bit, __func__, __LINE__) ? value | 1U << bit : 0;
}

uint32_t DATA_BitClear(uint32_t value, uint32_t bit)
{
    return is_bit(bit, __func__, __LINE__) ? value & ~(1U << bit) : 0;
}

uint32_t DATA_BitIsSet(uint32_t value, uint32_t bit)
{
    return is_bit(bit, __func__, __LINE__) ? value >> bit & 1U : 0;
}

uint32_t DATA_BitIsClear(uint32_t value, uint32_t bit)
{
    return DATA_BitIsSet(value, bit) == 1 ? 0 : 1;
}

uint32_t DATA_NibbleHigh(uint32_t value)
{
    return value >> 4;
}

uint32_t DATA_NibbleLow(uint32_t value)
{
    return value & 15U;
}

uint32_t DATA_NibbleSwap(uint32_t value)
{
    // The high part is not masked first: bits above the byte come in, as callers know it.
    return (DATA_NibbleHigh(value) | DATA_NibbleLow(value) << 4) & 0xFFU;
}

const char* DATA_BoolToString(uint32_t value)
{
    return common::boolean_text(value);
}

}  // extern "C"
