#include "data.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "containers/data_hex.h"
#include "foundation/boolean_text.h"
#include "foundation/hex_text.h"
#include "log/report.h"
#include "mem_malloc.h"

namespace common::data {
namespace {

constexpr Source kSource{"data", Module::Common};
constexpr char kNoMemory[] = "Failed allocating memory.";

static_assert(offsetof(DATA_Array, data) == 0);
static_assert(offsetof(DATA_Array, length) == sizeof(void*));
static_assert(offsetof(DATA_Array, capacity) == sizeof(void*) + 4);
static_assert(sizeof(DATA_Array) == sizeof(void*) + 8);

/// A failure of DATA_ArrayNew(), for whoever reads it, also when others make the array.
[[gnu::cold, gnu::noinline]] DATA_Array* no_array(DATA_Array* without_storage) noexcept
{
    MEM_Free(without_storage);
    COMMON_REPORT_AS("DATA_ArrayNew", kSource, Error, kNoMemory);
    return nullptr;
}

/// Makes an array whose storage is not set.
DATA_Array* new_array(std::uint32_t capacity) noexcept
{
    auto* const array = static_cast<DATA_Array*>(MEM_Malloc(sizeof(DATA_Array)));
    if (array == nullptr) {
        return no_array(nullptr);
    }
    auto* const data = static_cast<std::uint8_t*>(MEM_Malloc(capacity));
    if (data == nullptr) {
        return no_array(array);
    }
    *array = {data, 0, capacity};
    return array;
}

/// Whether arguments are bad, which is reported: to refuse them is one statement.
bool refused(bool bad, Here here = Here::now()) noexcept
{
    if (bad) {
        report(kSource, COMMON_LogLevelError, here, "Bad arguments.");
    }
    return bad;
}

/// Kept out of the conversion, which needs fewer registers then.
[[gnu::cold, gnu::noinline]] void report_invalid_digits(const char* text,
                                                        std::size_t length) noexcept
{
    for (std::size_t i = 0; i < length; ++i) {
        const char character = text[i];
        if (hex_digit_value[static_cast<unsigned char>(character)] == kNoHexDigit) {
            COMMON_REPORT_AS("DATA_AsciiToHex", kSource, Error,
                             "ascii[%u] contains an invalid character: %c (%d)",
                             static_cast<unsigned>(i), character,
                             static_cast<int>(static_cast<signed char>(character)));
        }
    }
}

/// A text of count * width characters that is to be filled, and its terminator: null when there is
/// none to be had, or when its size cannot be asked for, which is reported.
char* new_text(std::uint32_t count, std::uint32_t width, void* (*allocate)(std::uint32_t),
               Here here = Here::now()) noexcept
{
    const std::uint64_t length = std::uint64_t{count} * width;
    void* const block =
        length < UINT32_MAX ? allocate(static_cast<std::uint32_t>(length) + 1) : nullptr;
    auto* const text = static_cast<char*>(block);
    if (text == nullptr) {
        report(kSource, COMMON_LogLevelError, here, kNoMemory);
        return nullptr;
    }
    text[length] = '\0';
    return text;
}

/// The bytes and the characters of a line of a pretty dump.
constexpr std::uint32_t kLineBytes = 16;
constexpr std::uint32_t kLineWidth = dump_row_width(kLineBytes);

bool is_bit(std::uint32_t bit, Here here = Here::now()) noexcept
{
    if (bit < 32) [[likely]] {
        return true;
    }
    report(kSource, COMMON_LogLevelError, here, "Bad arguments. Invalid bit: %u", bit);
    return false;
}

}  // namespace
}  // namespace common::data

using namespace common::data;

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
    if (refused(bytes == nullptr || length > capacity)) {
        return nullptr;
    }
    DATA_Array* const array = new_array(capacity);
    if (array == nullptr) {
        COMMON_REPORT(kSource, Error, "DATA_ArrayNew() failed.");
        return nullptr;
    }
    std::uint8_t* const data = array->data;
    array->length = length;
    std::memcpy(data, bytes, length);
    if (length != capacity) {
        std::memset(data + length, 0, capacity - length);
    }
    return array;
}

DATA_Array* DATA_ArrayNewWithData(uint32_t capacity, const void* bytes)
{
    return DATA_ArrayNewWithDataLength(capacity, bytes, capacity);
}

void* DATA_ArrayResize(DATA_Array* array, uint32_t capacity)
{
    if (refused(array == nullptr)) {
        return nullptr;
    }
    // Oddity: stored also when it is null: callers test the field, not the result.
    // Test: DataArray.ResizeToZeroLosesTheStorageAndFails.
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
    if (refused(text == nullptr)) {
        return nullptr;
    }
    const std::size_t length = std::strlen(text);
    if (length % 2 != 0) {
        COMMON_REPORT(kSource, Error, "The ASCII string contains an odd length: %d",
                      static_cast<int>(length));
        return nullptr;
    }
    if (!hex_is_valid(text, length)) {
        report_invalid_digits(text, length);
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
    hex_decode(text, array->length, array->data);
    return array;
}

char* DATA_HexToAscii(const void* bytes, uint32_t length)
{
    if (refused(bytes == nullptr)) {
        return nullptr;
    }
    char* const text = new_text(length, 2, MEM_Malloc);
    if (text == nullptr) {
        return nullptr;
    }
    hex_encode(static_cast<const std::uint8_t*>(bytes), length, text);
    return text;
}

char* DATA_HexToAsciiFromArray(const DATA_Array* array)
{
    if (refused(array == nullptr)) {
        return nullptr;
    }
    return DATA_HexToAscii(array->data, array->length);
}

char* DATA_HexDump(const void* bytes, uint32_t length)
{
    if (refused(bytes == nullptr)) {
        return nullptr;
    }
    char* const text = new_text(length, 3, MEM_Malloc);
    if (text == nullptr) {
        return nullptr;
    }
    hex_dump(static_cast<const std::uint8_t*>(bytes), length, text);
    return text;
}

char* DATA_HexDumpPretty(const void* bytes, uint32_t length)
{
    if (refused(bytes == nullptr)) {
        return nullptr;
    }
    const std::uint32_t lines = length / kLineBytes + (length % kLineBytes != 0 ? 1 : 0);
    char* const text = new_text(lines, kLineWidth, MEM_Salloc);
    if (text == nullptr) {
        return nullptr;
    }
    const auto* const first = static_cast<const std::uint8_t*>(bytes);
    for (std::uint32_t line = 0; line < lines; ++line) {
        const std::uint32_t offset = line * kLineBytes;
        common::write_dump_row(text + std::size_t{line} * kLineWidth, kLineBytes, first + offset,
                               std::min(kLineBytes, length - offset));
    }
    return text;
}

uint32_t DATA_BitSet(uint32_t value, uint32_t bit)
{
    return is_bit(bit) ? value | 1U << bit : 0;
}

uint32_t DATA_BitClear(uint32_t value, uint32_t bit)
{
    return is_bit(bit) ? value & ~(1U << bit) : 0;
}

uint32_t DATA_BitIsSet(uint32_t value, uint32_t bit)
{
    return is_bit(bit) ? value >> bit & 1U : 0;
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
    // Oddity: the high part is not masked first: bits above the byte come in, as callers know it.
    // Test: DataNibbles.SwapLetsUpperBitsIn.
    return (DATA_NibbleHigh(value) | DATA_NibbleLow(value) << 4) & 0xFFU;
}

const char* DATA_BoolToString(uint32_t value)
{
    return common::boolean_text(value);
}

}  // extern "C"
