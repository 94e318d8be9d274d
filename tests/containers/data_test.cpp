// Byte arrays, hexadecimal text, bits, nibbles and the texts of booleans.
#include "data.h"

#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "fresh_process.h"
#include "heap.h"
#include "log_expect.h"
#include "mem_malloc.h"

namespace {

using namespace harness;
using harness::said;
using testing::ElementsAre;

using Bytes = std::vector<std::uint8_t>;

Report said(const char* function, const std::string& message)
{
    return said(COMMON_LogLevelError, "COMMON", "data", function, message);
}

/// What a call that must return normally reports.
std::vector<Report> reports_of(const std::function<void()>& body)
{
    const Outcome outcome = well(body);
    EXPECT_EQ(outcome.err, "");
    return reports(outcome);
}

/// Takes over a text that the library made.
std::string taken(char* text)
{
    EXPECT_NE(text, nullptr);
    std::string result = text == nullptr ? "null" : text;
    MEM_Free(text);
    return result;
}

/// Takes over an array: its bytes in use.
Bytes taken(DATA_Array* array)
{
    EXPECT_NE(array, nullptr);
    if (array == nullptr) {
        return {};
    }
    EXPECT_LE(array->length, array->capacity);
    Bytes bytes(array->data, array->data + array->length);
    DATA_ArrayDelete(array);
    return bytes;
}

Bytes random_bytes(std::size_t count)
{
    std::mt19937 random(4711);
    Bytes bytes(count);
    for (auto& byte : bytes) {
        byte = static_cast<std::uint8_t>(random());
    }
    return bytes;
}

std::string upper(const Bytes& bytes, const char* after = "")
{
    std::string text;
    for (const std::uint8_t byte : bytes) {
        char piece[8];
        std::snprintf(piece, sizeof piece, "%02X%s", byte, after);
        text += piece;
    }
    return text;
}

std::string lower(const Bytes& bytes)
{
    std::string text = upper(bytes);
    for (char& digit : text) {
        digit = static_cast<char>(std::tolower(digit));
    }
    return text;
}

// ---------------------------------------------------------------------------------------- arrays

FRESH_TEST(DataArray, NewIsEmptyAndZero)
{
    for (const std::uint32_t capacity : {0U, 1U, 16U, 5000U}) {
        // Freed bytes that are not zero are likely to be handed out again.
        void* const dirty = MEM_Malloc(capacity);
        std::memset(dirty, 0xA5, capacity);
        MEM_Free(dirty);
        DATA_Array* const array = DATA_ArrayNew(capacity);
        ASSERT_NE(array, nullptr);
        ASSERT_NE(array->data, nullptr);
        EXPECT_EQ(array->length, 0U);
        EXPECT_EQ(array->capacity, capacity);
        EXPECT_EQ(Bytes(array->data, array->data + capacity), Bytes(capacity, 0));
        DATA_ArrayDelete(array);
    }
}

FRESH_TEST(DataArray, NewWithDataLengthCopiesAndFillsUpWithZeros)
{
    const Bytes bytes{1, 2, 3, 4};
    DATA_Array* const array = DATA_ArrayNewWithDataLength(6, bytes.data(), 4);
    ASSERT_NE(array, nullptr);
    EXPECT_NE(array->data, bytes.data());
    EXPECT_EQ(array->length, 4U);
    EXPECT_EQ(array->capacity, 6U);
    EXPECT_EQ(Bytes(array->data, array->data + 6), (Bytes{1, 2, 3, 4, 0, 0}));
    DATA_ArrayDelete(array);
    EXPECT_EQ(taken(DATA_ArrayNewWithDataLength(4, bytes.data(), 4)), bytes);
    EXPECT_EQ(taken(DATA_ArrayNewWithDataLength(4, bytes.data(), 0)), Bytes{});
}

FRESH_TEST(DataArray, NewWithDataIsFull)
{
    const Bytes bytes{9, 8, 7};
    DATA_Array* const array = DATA_ArrayNewWithData(3, bytes.data());
    ASSERT_NE(array, nullptr);
    EXPECT_EQ(array->length, 3U);
    EXPECT_EQ(array->capacity, 3U);
    EXPECT_EQ(taken(array), bytes);
    EXPECT_EQ(taken(DATA_ArrayNewWithData(0, bytes.data())), Bytes{});
}

TEST(DataArray, BytesThatAreNotThereOrDoNotFitAreRefused)
{
    constexpr char kFunction[] = "DATA_ArrayNewWithDataLength";
    const auto log = reports_of([] {
        EXPECT_EQ(DATA_ArrayNewWithDataLength(4, nullptr, 4), nullptr);
        EXPECT_EQ(DATA_ArrayNewWithDataLength(4, nullptr, 0), nullptr);
        EXPECT_EQ(DATA_ArrayNewWithDataLength(4, "abcde", 5), nullptr);
        EXPECT_EQ(DATA_ArrayNewWithData(4, nullptr), nullptr);
    });
    EXPECT_THAT(log,
                ElementsAre(said(kFunction, "Bad arguments."), said(kFunction, "Bad arguments."),
                            said(kFunction, "Bad arguments."), said(kFunction, "Bad arguments.")));
}

FRESH_TEST(DataArray, ResizeKeepsWhatFits)
{
    DATA_Array* const array = DATA_ArrayNewWithData(4, "abcd");
    EXPECT_EQ(DATA_ArrayResize(array, 100'000), array->data);
    EXPECT_EQ(array->capacity, 100'000U);
    EXPECT_EQ(array->length, 4U);
    std::memset(array->data + 4, 0xA5, 100'000 - 4);
    EXPECT_EQ(DATA_ArrayResize(array, 4), array->data);
    EXPECT_EQ(array->length, 4U);
    EXPECT_EQ(DATA_ArrayResize(array, 3), array->data);
    EXPECT_EQ(array->capacity, 3U);
    EXPECT_EQ(array->length, 3U) << "cut to the new capacity";
    EXPECT_EQ(taken(array), (Bytes{'a', 'b', 'c'}));
}

TEST(DataArray, ResizeOfNothingIsReported)
{
    const auto log = reports_of([] { DATA_ArrayResize(nullptr, 4); });
    EXPECT_THAT(log, ElementsAre(said("DATA_ArrayResize", "Bad arguments.")));
}

TEST(DataArray, ResizeToZeroLosesTheStorageAndFails)
{
    const auto log = reports_of([] {
        DATA_Array* const array = DATA_ArrayNewWithData(4, "abcd");
        DATA_ArrayResize(array, 0);
        EXPECT_EQ(array->data, nullptr) << "what callers test";
        EXPECT_EQ(array->length, 4U);
        EXPECT_EQ(array->capacity, 4U);
        DATA_ArrayDelete(array);
    });
    EXPECT_THAT(log, ElementsAre(said("DATA_ArrayResize", "Failed reallocating memory.")));
}

TEST(DataArray, ResizeOfAnArrayWithoutStorageAllocates)
{
    DATA_Array array{nullptr, 0, 0};
    EXPECT_EQ(DATA_ArrayResize(&array, 8), array.data);
    ASSERT_NE(array.data, nullptr);
    EXPECT_EQ(array.capacity, 8U);
    std::memset(array.data, 1, 8);
    MEM_Free(array.data);
}

FRESH_TEST(DataArray, EverythingIsGivenBack)
{
    expect_no_leak([] {
        DATA_ArrayDelete(DATA_ArrayNew(100));
        DATA_ArrayDelete(DATA_ArrayNewWithData(4, "abcd"));
        DATA_Array* const array = DATA_AsciiToHex("00FF");
        DATA_ArrayResize(array, 1000);
        DATA_ArrayDelete(array);
    });
}

TEST(DataArray, DeleteOfNothingIsAWarning)
{
    const auto log = reports_of([] { DATA_ArrayDelete(nullptr); });
    EXPECT_THAT(log, ElementsAre(said(COMMON_LogLevelWarn, "COMMON", "data", "DATA_ArrayDelete",
                                      "array is NULL.")));
}

// --------------------------------------------------------------------------------- text to bytes

FRESH_TEST(DataAsciiToHex, BothCasesHighNibbleFirst)
{
    DATA_Array* const array = DATA_AsciiToHex("0aFf");
    ASSERT_NE(array, nullptr);
    EXPECT_EQ(array->length, 2U);
    EXPECT_EQ(array->capacity, 2U);
    EXPECT_EQ(taken(array), (Bytes{0x0A, 0xFF}));
    EXPECT_EQ(taken(DATA_AsciiToHex("1234567890abcdefABCDEF")),
              (Bytes{0x12, 0x34, 0x56, 0x78, 0x90, 0xAB, 0xCD, 0xEF, 0xAB, 0xCD, 0xEF}));
}

FRESH_TEST(DataAsciiToHex, EmptyTextIsAnEmptyArray)
{
    DATA_Array* const array = DATA_AsciiToHex("");
    ASSERT_NE(array, nullptr);
    EXPECT_EQ(array->length, 0U);
    EXPECT_EQ(array->capacity, 0U);
    DATA_ArrayDelete(array);
}

TEST(DataAsciiToHex, EveryByteAtEveryLength)
{
    for (std::size_t length = 0; length <= 200; ++length) {
        const Bytes bytes = random_bytes(length);
        EXPECT_EQ(taken(DATA_AsciiToHex(lower(bytes).c_str())), bytes) << length;
        EXPECT_EQ(taken(DATA_AsciiToHex(upper(bytes).c_str())), bytes) << length;
    }
    const Bytes many = random_bytes(65'537);
    EXPECT_EQ(taken(DATA_AsciiToHex(lower(many).c_str())), many);
}

TEST(DataAsciiToHex, NullIsReported)
{
    const auto log = reports_of([] { EXPECT_EQ(DATA_AsciiToHex(nullptr), nullptr); });
    EXPECT_THAT(log, ElementsAre(said("DATA_AsciiToHex", "Bad arguments.")));
}

TEST(DataAsciiToHex, OddLengthIsReportedBeforeTheCharacters)
{
    const auto log = reports_of([] {
        EXPECT_EQ(DATA_AsciiToHex("abc"), nullptr);
        EXPECT_EQ(DATA_AsciiToHex("x"), nullptr);
    });
    EXPECT_THAT(log,
                ElementsAre(said("DATA_AsciiToHex", "The ASCII string contains an odd length: 3"),
                            said("DATA_AsciiToHex", "The ASCII string contains an odd length: 1")));
}

TEST(DataAsciiToHex, EveryInvalidCharacterIsReportedInOrder)
{
    const auto log = reports_of([] { EXPECT_EQ(DATA_AsciiToHex("0g1z"), nullptr); });
    EXPECT_THAT(
        log,
        ElementsAre(said("DATA_AsciiToHex", "ascii[1] contains an invalid character: g (103)"),
                    said("DATA_AsciiToHex", "ascii[3] contains an invalid character: z (122)")));
}

TEST(DataAsciiToHex, CodesAreSigned)
{
    const Outcome outcome = well([] {
        EXPECT_EQ(DATA_AsciiToHex("\xE4"
                                  "0"),
                  nullptr);
    });
    EXPECT_THAT(
        outcome.log,
        ElementsAre(said("DATA_AsciiToHex", "ascii[0] contains an invalid character: \xE4 (-28)")));
}

// Every character, at every place of a text that is long enough for several steps.
TEST(DataAsciiToHex, ExactlyTheHexadecimalDigitsAreAccepted)
{
    const Outcome outcome = well({.env = {{"COMMON_LOG_LEVEL", "Fatal"}}}, [] {
        for (int character = 1; character < 256; ++character) {
            for (std::size_t place = 0; place < 160; ++place) {
                std::string text(160, '5');
                text[place] = static_cast<char>(character);
                DATA_Array* const array = DATA_AsciiToHex(text.c_str());
                EXPECT_EQ(array != nullptr, std::isxdigit(character) != 0) << character << place;
                if (array != nullptr) {
                    DATA_ArrayDelete(array);
                }
            }
            const char pair[] = {static_cast<char>(character), '0', '\0'};
            DATA_Array* const array = DATA_AsciiToHex(pair);
            EXPECT_EQ(array != nullptr, std::isxdigit(character) != 0) << character;
            if (array != nullptr) {
                DATA_ArrayDelete(array);
            }
        }
    });
}

// --------------------------------------------------------------------------------- bytes to text

FRESH_TEST(DataHexToAscii, UpperCaseWithoutSeparators)
{
    const Bytes bytes{0x00, 0xAB};
    EXPECT_EQ(taken(DATA_HexToAscii(bytes.data(), 2)), "00AB");
    EXPECT_EQ(taken(DATA_HexToAscii(bytes.data(), 0)), "");
}

TEST(DataHexToAscii, EveryByteAtEveryLength)
{
    Bytes all(256);
    for (std::size_t i = 0; i < all.size(); ++i) {
        all[i] = static_cast<std::uint8_t>(i);
        EXPECT_EQ(taken(DATA_HexToAscii(&all[i], 1)), upper({all[i]}));
    }
    EXPECT_EQ(taken(DATA_HexToAscii(all.data(), 256)), upper(all));
    for (std::size_t length = 0; length <= 200; ++length) {
        const Bytes bytes = random_bytes(length + 1);
        const Bytes used(bytes.begin(), bytes.end() - 1);
        EXPECT_EQ(taken(DATA_HexToAscii(bytes.data(), static_cast<std::uint32_t>(length))),
                  upper(used));
    }
}

TEST(DataHexToAscii, WholeArrayOrNothing)
{
    const auto log = reports_of([] {
        DATA_Array* const array = DATA_ArrayNewWithDataLength(8, "JKL", 3);
        EXPECT_EQ(taken(DATA_HexToAsciiFromArray(array)), "4A4B4C");
        DATA_ArrayDelete(array);
        EXPECT_EQ(DATA_HexToAsciiFromArray(nullptr), nullptr);
        const DATA_Array lost{nullptr, 3, 3};
        EXPECT_EQ(DATA_HexToAsciiFromArray(&lost), nullptr);
    });
    EXPECT_THAT(log, ElementsAre(said("DATA_HexToAsciiFromArray", "Bad arguments."),
                                 said("DATA_HexToAscii", "Bad arguments.")));
}

FRESH_TEST(DataHexDump, EveryByteWithABlankAfterIt)
{
    EXPECT_EQ(taken(DATA_HexDump("\x7F", 1)), "7F ");
    EXPECT_EQ(taken(DATA_HexDump("\x7F", 0)), "");
    const Bytes bytes = random_bytes(1000);
    EXPECT_EQ(taken(DATA_HexDump(bytes.data(), 1000)), upper(bytes, " "));
}

/// One line of a pretty dump, by printf.
std::string pretty_line(const std::uint8_t* bytes, std::size_t count)
{
    char address[16];
    std::snprintf(address, sizeof address,
                  "0x%08X:", static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(bytes)));
    std::string line = address;
    std::string characters;
    for (std::size_t i = 0; i < count; ++i) {
        char piece[8];
        std::snprintf(piece, sizeof piece, " %02X", bytes[i]);
        line += piece;
        characters += std::isprint(bytes[i]) != 0 ? static_cast<char>(bytes[i]) : '.';
    }
    line.resize(63, ' ');
    return line + characters + (count == 16 ? "\n" : "");
}

FRESH_TEST(DataHexDumpPretty, SixteenBytesAreALineOf80)
{
    const char bytes[] = "ABC\n\t ~\x7F\xE4"
                         "0123456789";
    const auto* const first = reinterpret_cast<const std::uint8_t*>(bytes);
    const std::string text = taken(DATA_HexDumpPretty(bytes, 16));
    EXPECT_EQ(text.size(), 80U);
    EXPECT_EQ(text.back(), '\n');
    EXPECT_EQ(text, pretty_line(first, 16));
    EXPECT_EQ(text.substr(10), ": 41 42 43 0A 09 20 7E 7F E4 30 31 32 33 34 35 36    "
                               "ABC.. ~..0123456\n");
}

TEST(DataHexDumpPretty, ShortLineEndsAfterItsLastCharacter)
{
    const Bytes bytes = random_bytes(100);
    for (std::uint32_t length = 0; length <= 100; ++length) {
        std::string expected;
        for (std::uint32_t first = 0; first < length; first += 16) {
            expected += pretty_line(bytes.data() + first, std::min(16U, length - first));
        }
        EXPECT_EQ(taken(DATA_HexDumpPretty(bytes.data(), length)), expected) << length;
    }
    const std::string seventeen = taken(DATA_HexDumpPretty("0123456789abcdefG", 17));
    EXPECT_EQ(seventeen.size(), 80U + 64U);
    EXPECT_EQ(seventeen[80 + 63], 'G');
}

// The characters of a short line are followed by zeros up to the end of its 80 columns.
TEST(DataHexDumpPretty, RestOfTheBufferIsZero)
{
    char* const text = DATA_HexDumpPretty("0123456789abcdefG", 17);
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(std::string(text + 80 + 64, 160 + 1 - 144), std::string(17, '\0'));
    MEM_Free(text);
}

TEST(DataHexDumps, NullIsReported)
{
    const auto log = reports_of([] {
        EXPECT_EQ(DATA_HexToAscii(nullptr, 1), nullptr);
        EXPECT_EQ(DATA_HexToAscii(nullptr, 0), nullptr);
        EXPECT_EQ(DATA_HexDump(nullptr, 1), nullptr);
        EXPECT_EQ(DATA_HexDumpPretty(nullptr, 0), nullptr);
    });
    EXPECT_THAT(log, ElementsAre(said("DATA_HexToAscii", "Bad arguments."),
                                 said("DATA_HexToAscii", "Bad arguments."),
                                 said("DATA_HexDump", "Bad arguments."),
                                 said("DATA_HexDumpPretty", "Bad arguments.")));
}

// The texts of these would be longer than a block can be; nothing is read or allocated.
TEST(DataHexDumps, TextsOfFourGigabytesAreRefused)
{
    const auto log = reports_of([] {
        EXPECT_EQ(DATA_HexToAscii("x", 0x80000000U), nullptr);
        EXPECT_EQ(DATA_HexDump("x", 1'431'655'765U), nullptr);
        EXPECT_EQ(DATA_HexDumpPretty("x", 858'993'457U), nullptr);
        EXPECT_EQ(DATA_HexDumpPretty("x", UINT32_MAX), nullptr);
    });
    EXPECT_THAT(log, ElementsAre(said("DATA_HexToAscii", "Failed allocating memory."),
                                 said("DATA_HexDump", "Failed allocating memory."),
                                 said("DATA_HexDumpPretty", "Failed allocating memory."),
                                 said("DATA_HexDumpPretty", "Failed allocating memory.")));
}

TEST(DataHex, RoundTrip)
{
    for (std::uint32_t length = 0; length <= 300; ++length) {
        const Bytes bytes = random_bytes(length + 1);
        char* const text = DATA_HexToAscii(bytes.data(), length);
        EXPECT_EQ(taken(DATA_AsciiToHex(text)), Bytes(bytes.begin(), bytes.end() - 1));
        MEM_Free(text);
    }
}

// ------------------------------------------------------------------------------ bits and nibbles

FRESH_TEST(DataBits, SetClearAndTested)
{
    for (std::uint32_t bit = 0; bit < 32; ++bit) {
        const std::uint32_t one = std::uint32_t{1} << bit;
        for (const std::uint32_t value : {0U, 0xA5A5A5A5U, UINT32_MAX}) {
            EXPECT_EQ(DATA_BitSet(value, bit), value | one);
            EXPECT_EQ(DATA_BitClear(value, bit), value & ~one);
            EXPECT_EQ(DATA_BitIsSet(value, bit), (value & one) != 0 ? 1U : 0U);
            EXPECT_EQ(DATA_BitIsClear(value, bit), (value & one) != 0 ? 0U : 1U);
        }
    }
    EXPECT_EQ(DATA_BitSet(0, 31), 0x80000000U);
}

TEST(DataBits, ThereIsNoBit32)
{
    const auto invalid = [](const char* function, const char* bit) {
        return said(function, std::string("Bad arguments. Invalid bit: ") + bit);
    };
    const auto log = reports_of([] {
        EXPECT_EQ(DATA_BitSet(0, 32), 0U);
        EXPECT_EQ(DATA_BitSet(7, UINT32_MAX), 0U);
        EXPECT_EQ(DATA_BitClear(7, 32), 0U);
        EXPECT_EQ(DATA_BitIsSet(UINT32_MAX, 33), 0U);
        EXPECT_EQ(DATA_BitIsClear(UINT32_MAX, 32), 1U);
    });
    EXPECT_THAT(log, ElementsAre(invalid("DATA_BitSet", "32"), invalid("DATA_BitSet", "4294967295"),
                                 invalid("DATA_BitClear", "32"), invalid("DATA_BitIsSet", "33"),
                                 invalid("DATA_BitIsSet", "32")));
}

TEST(DataNibbles, HighIsNotMasked)
{
    EXPECT_EQ(DATA_NibbleHigh(0xA5), 0xAU);
    EXPECT_EQ(DATA_NibbleHigh(0x1A2), 0x1AU);
    EXPECT_EQ(DATA_NibbleHigh(UINT32_MAX), 0x0FFFFFFFU);
    EXPECT_EQ(DATA_NibbleLow(0xA5), 5U);
    EXPECT_EQ(DATA_NibbleLow(UINT32_MAX), 15U);
}

TEST(DataNibbles, SwapLetsUpperBitsIn)
{
    EXPECT_EQ(DATA_NibbleSwap(0xA5), 0x5AU);
    EXPECT_EQ(DATA_NibbleSwap(0x1A2), 0x3AU);
    for (std::uint32_t value = 0; value < 256; ++value) {
        EXPECT_EQ(DATA_NibbleSwap(value), (value >> 4) + 16 * (value & 15));
    }
}

// -------------------------------------------------------------------------------------- booleans

TEST(Data, BooleansHaveTexts)
{
    EXPECT_STREQ(DATA_BoolToString(0), "False");
    EXPECT_STREQ(DATA_BoolToString(1), "True");
}

TEST(Data, AnythingElseIsNoBoolean)
{
    for (const std::uint32_t value :
         {2U, 3U, 255U, 256U, 257U, 0x10000U, 0x10001U, 0x80000000U, 0x80000001U, UINT32_MAX}) {
        EXPECT_STREQ(DATA_BoolToString(value), "Invalid") << value;
    }
}

TEST(Data, BooleanTextsStayValid)
{
    const char* const texts[] = {DATA_BoolToString(0), DATA_BoolToString(1), DATA_BoolToString(2)};
    EXPECT_STREQ(texts[0], "False");
    EXPECT_STREQ(texts[1], "True");
    EXPECT_STREQ(texts[2], "Invalid");
}

}  // namespace
