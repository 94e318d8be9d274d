// Hex dumps of memory areas.
#include "common_debug.h"

#include <cctype>
#include <cstring>

#include "log_calls.h"
#include "memory_end.h"

namespace {

using namespace harness;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::size_t kAreaSize = 600;

/// An area at an address that the whole program knows, also a forked process of it.
alignas(16) std::uint8_t area[kAreaSize];

void fill_area()
{
    for (std::size_t i = 0; i < kAreaSize; ++i) {
        area[i] = static_cast<std::uint8_t>(i * 7 + i / 256);
    }
}

/// The text of a dump: what must follow the line with its title.
std::string dump_of(const std::uint8_t* bytes, std::size_t length, std::size_t row_length)
{
    std::string text;
    for (std::size_t row = 0; row < length; row += row_length) {
        char number[16];
        const auto address = reinterpret_cast<std::uintptr_t>(bytes + row);
        std::snprintf(number, sizeof number, "0x%08X:", static_cast<unsigned>(address));
        text += number;
        std::string characters;
        for (std::size_t i = row; i < row + row_length; ++i) {
            if (i < length) {
                std::snprintf(number, sizeof number, " %02X", bytes[i]);
                text += number;
                const bool printable = bytes[i] >= 0x20 && bytes[i] <= 0x7E;
                characters += printable ? static_cast<char>(bytes[i]) : '.';
            } else {
                text += "   ";
            }
        }
        text += "    " + characters + (row + row_length <= length ? "\n" : "");
    }
    return text;
}

/// Dumps an area in a process with that row length.
Outcome dump(const void* address, std::uint32_t length, const std::string& row_length)
{
    auto env = kDebugOn;
    env["COMMON_DEBUG_ROW_LENGTH"] = row_length;
    Outcome outcome = well({.env = env}, [&] {
        COMMON_Debug_HexDump("file.c", "function", 77, "area", address, length);
    });
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(outcome.log, IsEmpty());
    return outcome;
}

/// Compares the output of a dump: a row with the title, the dump, and the row's newline.
void expect_dump(const Outcome& outcome, std::uint32_t length, const std::string& text)
{
    const auto at = outcome.out.find('\n', kDebugHeader.size());
    ASSERT_NE(at, std::string::npos) << outcome;
    const auto rows = debug_rows(outcome.out.substr(0, at + 1));
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].stream, "stdout");
    EXPECT_EQ(rows[0].file, "file.c");
    EXPECT_EQ(rows[0].function, "function");
    EXPECT_EQ(rows[0].line, 77u);
    EXPECT_EQ(rows[0].message, std::to_string(length) + " byte(s) at: \"area\"");
    EXPECT_EQ(outcome.out.substr(at + 1), text + "\n");
}

TEST(CommonDebugHexDump, AShortDumpWrittenOut)
{
    static const char kText[] = "AZ az09~\x7F\x80\xFF\0\n";
    const std::uint32_t length = sizeof kText - 1;
    ASSERT_EQ(length, 13u);
    char first[16];
    std::snprintf(first, sizeof first,
                  "0x%08X:", static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(kText)));
    char second[16];
    std::snprintf(second, sizeof second,
                  "0x%08X:", static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(kText + 8)));
    expect_dump(dump(kText, length, "8"), length,
                std::string(first) + " 41 5A 20 61 7A 30 39 7E    AZ az09~\n" + second +
                    " 7F 80 FF 00 0A             .....");
}

TEST(CommonDebugHexDump, FortyBytesInRowsOfSixteen)
{
    fill_area();
    const Outcome outcome = dump(area, 40, "16");
    expect_dump(outcome, 40, dump_of(area, 40, 16));

    const std::string lines = outcome.out.substr(outcome.out.find("\"area\"\n") + 7);
    const auto last = lines.substr(lines.rfind("0x"));
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 3)
        << "two full rows, and the newline of the debug row";
    // The address, eight bytes, blanks for the eight that are missing, four blanks, characters.
    EXPECT_EQ(last.substr(11 + 8 * 3, 24 + 4), std::string(24 + 4, ' '));
    EXPECT_EQ(last.size(), 11u + 16 * 3 + 4 + 8 + 1);
}

TEST(CommonDebugHexDump, AFullLastRowIsFollowedByAnEmptyLine)
{
    fill_area();
    const Outcome outcome = dump(area, 32, "16");
    expect_dump(outcome, 32, dump_of(area, 32, 16));
    EXPECT_TRUE(outcome.out.ends_with("\n\n"));
}

TEST(CommonDebugHexDump, EveryLengthAroundARow)
{
    fill_area();
    const std::uint32_t kRowLengths[] = {4, 8, 12, 16, 32, 124, 128};
    for (const std::uint32_t row_length : kRowLengths) {
        for (const std::uint32_t length :
             {1u, 2u, row_length - 1, row_length, row_length + 1, 2 * row_length - 1,
              2 * row_length, 4 * row_length + 3}) {
            SCOPED_TRACE(std::to_string(length) + " in rows of " + std::to_string(row_length));
            expect_dump(dump(area, length, std::to_string(row_length)), length,
                        dump_of(area, length, row_length));
        }
    }
}

TEST(CommonDebugHexDump, NothingBehindTheEndIsRead)
{
    fill_area();
    for (const std::uint32_t length : {1u, 15u, 16u, 17u, 33u}) {
        MemoryEnd memory;
        const std::uint8_t* const bytes = memory.put(area, length);
        expect_dump(dump(bytes, length, "16"), length, dump_of(bytes, length, 16));
    }
}

TEST(CommonDebugHexDump, EveryByteIsPrintedOrADot)
{
    std::uint8_t bytes[256] = {};
    for (std::size_t i = 0; i < sizeof bytes; ++i) {
        bytes[i] = static_cast<std::uint8_t>(i);
    }
    std::memcpy(area, bytes, sizeof bytes);
    expect_dump(dump(area, sizeof bytes, "64"), sizeof bytes, dump_of(area, sizeof bytes, 64));
}

TEST(CommonDebugHexDump, AnyAddressWillDo)
{
    fill_area();
    for (std::size_t offset = 1; offset < 4; ++offset) {
        expect_dump(dump(area + offset, 21, "8"), 21, dump_of(area + offset, 21, 8));
    }
}

TEST(CommonDebugHexDump, RowsOf32ByDefault)
{
    fill_area();
    const Outcome outcome = well({.env = kDebugOn}, [] {
        COMMON_Debug_HexDump("file.c", "function", 77, "area", area, 70);
    });
    expect_dump(outcome, 70, dump_of(area, 70, 32));
}

TEST(CommonDebugHexDump, UnusableRowLengthsFallBackTo32)
{
    fill_area();
    for (const char* row_length : {"-8", "-128", "-2147483648"}) {
        SCOPED_TRACE(row_length);
        expect_dump(dump(area, 70, row_length), 70, dump_of(area, 70, 32));
    }
    // Rounding -1 gives 0.
    auto env = kDebugOn;
    env["COMMON_DEBUG_ROW_LENGTH"] = "-1";
    const Outcome outcome = well(
        {.env = env}, [] { COMMON_Debug_HexDump("file.c", "function", 77, "area", area, 70); });
    EXPECT_TRUE(outcome.out.ends_with("\"area\"\n" + dump_of(area, 70, 32) + "\n"));
}

TEST(CommonDebugHexDump, NoAddressOrNoLength)
{
    const RowText null{"stdout", "file.c", "function", "area is NULL"};
    const RowText empty{"stdout", "file.c", "function", "area has zero length"};
    EXPECT_THAT(row_texts(dump(nullptr, 5, "16").out), ElementsAre(null));
    EXPECT_THAT(row_texts(dump(nullptr, 0, "16").out), ElementsAre(null, empty));
    EXPECT_THAT(row_texts(dump(area, 0, "16").out), ElementsAre(empty));
    EXPECT_EQ(debug_rows(dump(area, 0, "16").out)[0].line, 77u);
}

TEST(CommonDebugHexDump, TheNameIsNotAFormat)
{
    const Outcome outcome = well({.env = kDebugOn}, [] {
        COMMON_Debug_HexDump("f", "g", 1, "%s%n", nullptr, 0);
        COMMON_Debug_HexDump("f", "g", 1, "%s%n", "%n%s", 4);
    });
    EXPECT_THAT(outcome.out, testing::HasSubstr("  %s%n is NULL\n"));
    EXPECT_THAT(outcome.out, testing::HasSubstr("  %s%n has zero length\n"));
    EXPECT_THAT(outcome.out, testing::HasSubstr("  4 byte(s) at: \"%s%n\"\n"));
    EXPECT_TRUE(outcome.out.ends_with("    %n%s\n"));
}

TEST(CommonDebugHexDump, ManyRows)
{
    std::vector<std::uint8_t> bytes(64 * 1024 + 5);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<std::uint8_t>(i * 131);
    }
    const auto length = static_cast<std::uint32_t>(bytes.size());
    expect_dump(dump(bytes.data(), length, "16"), length, dump_of(bytes.data(), length, 16));
}

TEST(CommonDebugHexDump, NullArgumentsEndTheProcessAlsoWhileOff)
{
    static const struct {
        const char* file;
        const char* function;
        const char* variable;
        const char* condition;
    } kCases[] = {
        {nullptr, "g", "v", "((void *)0) != file"},
        {"f", nullptr, "v", "((void *)0) != function"},
        {"f", "g", nullptr, "((void *)0) != variable"},
        {nullptr, nullptr, nullptr, "((void *)0) != file"},
        {"f", nullptr, nullptr, "((void *)0) != function"},
    };
    for (const auto& one : kCases) {
        for (const auto& env : {kDebugOn, std::map<std::string, std::string>{}}) {
            const Outcome outcome = run_fresh({.env = env}, [&] {
                COMMON_Debug_HexDump(one.file, one.function, 1, one.variable, area, 4);
            });
            EXPECT_THAT(outcome, killed_by(SIGABRT));
            EXPECT_THAT(outcome.err,
                        assertion_text("common_debug", "COMMON_Debug_HexDump", one.condition));
            EXPECT_EQ(outcome.out, "");
            EXPECT_THAT(outcome.log, IsEmpty());
        }
    }
}

}  // namespace
