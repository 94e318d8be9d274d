// White space removed from texts; memory printed.
#include "common.h"

#include <cctype>
#include <clocale>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ostream>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "fresh_process.h"

using namespace harness;
using testing::IsEmpty;

namespace {

struct Text {
    const char* what;
    std::string text;
    std::string stripped;
    std::string squashed;
};

void PrintTo(const Text& text, std::ostream* stream)
{
    *stream << text.what;
}

/// What a function leaves of a text in place; the bytes behind the text must stay as they are.
std::string left_by(void (*function)(char*), const std::string& text)
{
    std::vector<char> buffer(text.begin(), text.end());
    buffer.push_back('\0');
    buffer.insert(buffer.end(), {' ', 'x', ' '});
    function(buffer.data());
    EXPECT_EQ(std::string(buffer.end() - 3, buffer.end()), " x ");
    return buffer.data();
}

class UtilText : public testing::TestWithParam<Text> {};

TEST_P(UtilText, IsStripped)
{
    EXPECT_EQ(left_by(UTIL_StripSpace, GetParam().text), GetParam().stripped);
}

TEST_P(UtilText, IsSquashed)
{
    EXPECT_EQ(left_by(UTIL_Squash, GetParam().text), GetParam().squashed);
}

const Text kTexts[] = {
    {"TwoWords", "  x y  ", "x y", "xy"},
    {"Empty", "", "", ""},
    {"OneBlank", " ", "", ""},
    {"OnlyWhiteSpace", " \t\n\v\f\r ", "", ""},
    {"NoWhiteSpace", "xy", "xy", "xy"},
    {"OneLetter", "x", "x", "x"},
    {"OnlyInFront", " \tx", "x", "x"},
    {"OnlyBehind", "x\r\n", "x", "x"},
    {"RunsBetweenWords", "x  \t y\n\nz", "x  \t y\n\nz", "xyz"},
    {"EveryKind", "\v\fx\ty\nz\r", "x\ty\nz", "xyz"},
    {"BytesAbove127", "  \xA0\xC3\xA4 \x85 ", "\xA0\xC3\xA4 \x85", "\xA0\xC3\xA4\x85"},
    {"Long", " " + std::string(5000, 'a') + " " + std::string(5000, 'b') + " ",
     std::string(5000, 'a') + " " + std::string(5000, 'b'),
     std::string(5000, 'a') + std::string(5000, 'b')},
};

INSTANTIATE_TEST_SUITE_P(Texts, UtilText, testing::ValuesIn(kTexts),
                         [](const auto& test) { return std::string(test.param.what); });

TEST(UtilText, NullIsLeftAlone)
{
    const Outcome outcome = well([] {
        UTIL_StripSpace(nullptr);
        UTIL_Squash(nullptr);
    });
    EXPECT_THAT(outcome.log, IsEmpty());
    EXPECT_EQ(outcome.out + outcome.err, "");
}

// ------------------------------------------------------------------------------------------ dumps

/// A dump as it is described, byte by byte.
std::string expected_dump(const std::uint8_t* bytes, std::uint32_t length)
{
    std::string text;
    std::string characters;
    char piece[40];
    for (std::uint32_t i = 0; i < length; ++i) {
        if (i % 16 == 0) {
            text += i == 0 ? "\n" : "  " + characters + "\n";
            characters.clear();
            std::snprintf(piece, sizeof piece, "%p:", static_cast<const void*>(bytes + i));
            text += piece;
        }
        std::snprintf(piece, sizeof piece, " %02X", bytes[i]);
        text += piece;
        characters += std::isprint(bytes[i]) != 0 ? static_cast<char>(bytes[i]) : '.';
    }
    if (!characters.empty()) {
        text += std::string(48 - 3 * characters.size(), ' ') + "  " + characters;
    }
    return text + "\n\n";
}

std::string dump_of(const void* address, std::uint32_t length)
{
    const Outcome outcome = well([&] { UTIL_HexDump(address, length); });
    EXPECT_THAT(outcome.log, IsEmpty());
    EXPECT_EQ(outcome.err, "");
    return outcome.out;
}

TEST(UtilHexDump, LineOfSixteenAndLineOfTwo)
{
    static const char kBytes[] = "0123456789 ABCDE\x7F~";
    char first[40];
    char second[40];
    std::snprintf(first, sizeof first, "%p", static_cast<const void*>(kBytes));
    std::snprintf(second, sizeof second, "%p", static_cast<const void*>(kBytes + 16));
    EXPECT_EQ(dump_of(kBytes, 18),
              "\n" + std::string(first) +
                  ": 30 31 32 33 34 35 36 37 38 39 20 41 42 43 44 45  0123456789 ABCDE\n" +
                  std::string(second) +
                  ": 7F 7E                                            .~\n\n");
}

TEST(UtilHexDump, EveryByteAndEveryLength)
{
    static std::uint8_t bytes[256];
    for (unsigned i = 0; i < sizeof bytes; ++i) {
        bytes[i] = static_cast<std::uint8_t>(i);
    }
    for (const std::uint32_t length : {1U, 2U, 15U, 16U, 17U, 31U, 32U, 33U, 255U, 256U}) {
        EXPECT_EQ(dump_of(bytes, length), expected_dump(bytes, length)) << length;
    }
}

TEST(UtilHexDump, NothingIsTwoLineFeeds)
{
    EXPECT_EQ(dump_of("x", 0), "\n\n");
}

TEST(UtilHexDump, NullIsToldAndNothingElse)
{
    EXPECT_EQ(dump_of(nullptr, 16), "ERROR! address == NULL\n");
    EXPECT_EQ(dump_of(nullptr, 0), "ERROR! address == NULL\n");
}

}  // namespace
