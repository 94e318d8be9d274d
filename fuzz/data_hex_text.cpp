// The hexadecimal texts of any bytes, against printf.
#include <cctype>
#include <string>

#include "data.h"
#include "mem_malloc.h"
#include "support/input.h"

namespace {

std::string pretty_line(const std::uint8_t* bytes, std::size_t count)
{
    char piece[16];
    std::snprintf(piece, sizeof piece,
                  "0x%08X:", static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(bytes)));
    std::string line = piece;
    std::string characters;
    for (std::size_t i = 0; i < count; ++i) {
        std::snprintf(piece, sizeof piece, " %02X", bytes[i]);
        line += piece;
        characters += std::isprint(bytes[i]) != 0 ? static_cast<char>(bytes[i]) : '.';
    }
    line.resize(63, ' ');
    return line + characters + (count == 16 ? "\n" : "");
}

void check_and_free(char* text, const std::string& expected)
{
    FUZZ_CHECK(text != nullptr && text == expected);
    MEM_Free(text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::uint8_t nothing = 0;
    const std::uint8_t* const bytes = size == 0 ? &nothing : data;
    std::string plain;
    std::string dump;
    std::string pretty;
    for (std::size_t i = 0; i < size; ++i) {
        char piece[8];
        std::snprintf(piece, sizeof piece, "%02X", bytes[i]);
        plain += piece;
        dump += std::string(piece) + " ";
        if (i % 16 == 0) {
            pretty += pretty_line(bytes + i, size - i < 16 ? size - i : 16);
        }
    }
    const auto length = static_cast<std::uint32_t>(size);
    check_and_free(DATA_HexToAscii(bytes, length), plain);
    check_and_free(DATA_HexDump(bytes, length), dump);
    check_and_free(DATA_HexDumpPretty(bytes, length), pretty);
    return 0;
}
