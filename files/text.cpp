#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "common.h"
#include "foundation/hex_text.h"

namespace {

constexpr std::uint32_t kLineBytes = 16;

bool is_space(char byte) noexcept
{
    return std::isspace(static_cast<unsigned char>(byte)) != 0;
}

/// Prints a line of a dump after a line feed.
void print_line(const std::uint8_t* bytes, std::uint32_t count) noexcept
{
    char text[4 * kLineBytes + 3];
    *common::write_dump_bytes(text, 3 * kLineBytes + 2, bytes, count) = '\0';
    std::printf("\n%p:%s", static_cast<const void*>(bytes), text);
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
