// Names of character sets: every number, against the list that the table is made from.
#include "charset.h"

#include <cstdint>
#include <fstream>
#include <map>
#include <set>
#include <string>

#include <gtest/gtest.h>

namespace {

/// The names of the list by number.
std::map<std::uint32_t, std::string> listed()
{
    std::map<std::uint32_t, std::string> names;
    std::ifstream file(CHARSET_LIST);
    for (std::string line; std::getline(file, line);) {
        const auto tab = line.find('\t');
        if (!line.empty() && line.front() != '#' && tab != std::string::npos) {
            names[static_cast<std::uint32_t>(std::stoul(line))] = line.substr(tab + 1);
        }
    }
    return names;
}

TEST(Charset, WellKnownNumbers)
{
    const struct {
        std::uint32_t number;
        const char* name;
    } kCases[] = {
        {0, "Reserved"},
        {1, "Reserved"},
        {2, "Reserved"},
        {3, "ANSI_X3.4-1968"},
        {4, "ISO_8859-1:1987"},
        {17, "Shift_JIS"},
        {106, "UTF-8"},
        {107, "Invalid"},
        {108, "Invalid"},
        {109, "ISO-8859-13"},
        {119, "KZ-1048"},
        {120, "Invalid"},
        {999, "Invalid"},
        {1000, "ISO-10646-UCS-2"},
        {1020, "BOCU-1"},
        {1021, "Invalid"},
        {1999, "Invalid"},
        {2000, "ISO-8859-1-Windows-3.0-Latin-1"},
        {2107, "TSCII"},
        {2108, "Invalid"},
        {2249, "Invalid"},
        {2250, "windows-1250"},
        {2252, "windows-1252"},
        {2258, "windows-1258"},
        {2259, "TIS-620"},
        {2260, "Invalid"},
        {0x10000 + 106, "Invalid"},
        {0x80000000U + 106, "Invalid"},
        {INT32_MAX, "Invalid"},
        {UINT32_MAX, "Invalid"},
    };
    for (const auto& each : kCases) {
        EXPECT_STREQ(CHARSET_GetName(each.number), each.name) << each.number;
    }
}

TEST(Charset, EveryNumberOfTheListAndNoOther)
{
    auto names = listed();
    ASSERT_EQ(names.size(), 254U);
    for (const std::uint32_t reserved : {0U, 1U, 2U}) {
        names[reserved] = "Reserved";
    }
    for (std::uint32_t number = 0; number < 0x20000; ++number) {
        const auto found = names.find(number);
        EXPECT_EQ(CHARSET_GetName(number), found == names.end() ? "Invalid" : found->second)
            << number;
    }
}

TEST(Charset, NamesAreConstant)
{
    EXPECT_EQ(CHARSET_GetName(106), CHARSET_GetName(106));
    EXPECT_EQ(CHARSET_GetName(107), CHARSET_GetName(UINT32_MAX));
}

}  // namespace
