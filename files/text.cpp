#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "common.h"

namespace {

constexpr std::uint32_t kLineBytes = 16;

bool is_space(char byte) noexcept
{
    return std::isspace(static_cast<unsigned char>(byte)) != 0;
}

/// Prints a line of a dump after a line feed.
void print_line(const std::uint8_t* bytes, std::uint32_t count) noexcept
{
    char hex[3 * kLineBytes + 1];
    char characters[kLineBytes + 1];
    std::memset(hex, ' ', sizeof hex - 1);
    hex[sizeof hex - 1] = '\0';
    for (std::uint32_t index = 0; index < count; ++index) {
        constexpr char kDigits[] = "0123456789ABCDEF";
        const std::uint8_t byte = bytes[index];
        hex[3 * index + 1] = kDigits[byte >> 4];
        hex[3 * index + 2] = kDigits[byte & 0xF];
        characters[index] = std::isprint(byte) != 0 ? static_cast<char>(byte) : '.';
    }
    characters[count] = '\0';
    std::printf("\n%p:%s  %s", static_cast<const void*>(bytes), hex, characters);
}

}  // namespace

extern "C" {

void UTIL_StripSpace(char* text)
{
    if (text == nullptr) {
        return;
    }
    char* begin = text;
    while (is_space(*begin)) {
        ++begin;
    }
    char* end = begin + std::strlen(begin);
    while (end != begin && is_space(end[-1])) {
        --end;
    }
    *std::copy(begin, end, text) = '\0';
}

void UTIL_Squash(char* text)
{
    if (text == nullptr) {
        return;
    }
    char* const end = text + std::strlen(text);
    *std::remove_if(text, end, is_space) = '\0';
}

void UTIL_HexDump(const void* address, uint32_t length)
{
    if (address == nullptr) {
        std::puts("ERROR! address == NULL");
        return;
    }
    const auto* const bytes = static_cast<const std::uint8_t*>(address);
    for (std::uint32_t done = 0; done < length; done += std::min(kLineBytes, length - done)) {
        print_line(bytes + done, std::min(kLineBytes, length - done));
    }
    std::puts("\n");
}

}  // extern "C"
