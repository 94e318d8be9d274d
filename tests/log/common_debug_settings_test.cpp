// Settings of debug output, from the file and from the environment.
#include "common_debug.h"

#include <unistd.h>

#include "settings_seen.h"

namespace {

using namespace harness;

const std::string kFile = "/config/common/debug/settings.txt";
constexpr std::size_t kPiece = 255;

/// The number of bytes in the first row of the dump on an output, which must begin with `before`.
std::size_t row_length_in(const std::string& out, const std::string& before)
{
    const auto header = out.find(kDebugHeader);
    EXPECT_EQ(out.substr(0, header), before);
    const auto title_end = out.find("\"area\"\n");
    if (header == std::string::npos || title_end == std::string::npos) {
        return 0;
    }
    const auto begin = title_end + sizeof "\"area\"\n" - 1;
    const auto line = out.substr(begin, out.find('\n', begin) - begin);
    // The address and its colon, three characters a byte, four blanks, one character a byte.
    EXPECT_EQ((line.size() - 15) % 4, 0u) << line;
    return (line.size() - 15) / 4;
}

/// Dumps an area longer than any row.
void dump_area()
{
    static const char kArea[512] = {};
    COMMON_Debug_HexDump("f", "g", 1, "area", kArea, sizeof kArea);
}

TEST(CommonDebugSettings, EnableIsABooleanInAnyCase)
{
    for (const char* value : {"True", "true", "TRUE", "tRuE"}) {
        for (const FreshSetup& setup :
             {FreshSetup{.env = {{"COMMON_DEBUG_ENABLE", value}}},
              FreshSetup{.files = {{kFile, std::string("COMMON_DEBUG_ENABLE=") + value}}}}) {
            SCOPED_TRACE(value);
            const Outcome outcome = well(setup, [] {
                EXPECT_EQ(COMMON_Debug_GetEnable(), 1u);
                COMMON_Debug_Write(stdout, "f", "g", 1, "row");
            });
            EXPECT_EQ(debug_rows(outcome.out).size(), 1u);
        }
    }
    for (const char* value : {"False", "false", "FALSE", "fAlSe"}) {
        SCOPED_TRACE(value);
        const Outcome outcome = well({.env = {{"COMMON_DEBUG_ENABLE", value}},
                                      .files = {{kFile, "COMMON_DEBUG_ENABLE=True\n"}}},
                                     [] { EXPECT_EQ(COMMON_Debug_GetEnable(), 0u); });
        EXPECT_EQ(outcome.out + outcome.err, "");
    }
}

TEST(CommonDebugSettings, OtherValuesOfEnableAreToldUnderTheNameThatIntegratorsKnow)
{
    for (const std::string value :
         {"", "1", "0", "yes", "on", "Truee", "Tru", " True", "True ", "%s%n", "a=b"}) {
        const Outcome outcome = well({.env = {{"COMMON_DEBUG_ENABLE", value}}},
                                     [] { EXPECT_EQ(COMMON_Debug_GetEnable(), 0u); });
        EXPECT_EQ(outcome.out, "Invalid COMMON_LOG_ENABLED: " + value + "\n");
        EXPECT_EQ(outcome.err, "");
        // It changes nothing, so what was set before stays.
        well({.env = {{"COMMON_DEBUG_ENABLE", value}},
              .files = {{kFile, "COMMON_DEBUG_ENABLE=True\n"}}},
             [] { EXPECT_EQ(COMMON_Debug_GetEnable(), 1u); });
    }
}

TEST(CommonDebugSettings, TheEnvironmentOverridesTheFile)
{
    well({.env = {{"COMMON_DEBUG_ENABLE", "True"}},
          .files = {{kFile, "COMMON_DEBUG_ENABLE=False\n"}}},
         [] { EXPECT_EQ(COMMON_Debug_GetEnable(), 1u); });
    const Outcome outcome = well({.env = {{"COMMON_DEBUG_ROW_LENGTH", "8"}},
                                  .files = {{kFile, "COMMON_DEBUG_ROW_LENGTH=64\n"
                                                    "COMMON_DEBUG_ENABLE=True\n"}}},
                                 dump_area);
    EXPECT_EQ(row_length_in(outcome.out, ""), 8u);
}

TEST(CommonDebugSettings, ShortenedAndOtherNames)
{
    const std::pair<const char*, std::uint32_t> kNames[] = {
        {"COMMON_DEBUG_=True", 1},
        {"COMMON_DEBUG_E=True", 1},
        {"COMMON_DEBUG_ENABL=True", 1},
        {"COMMON_DEBUG_ENABLE=True", 1},
        {"COMMON_DEBUG_ENABLED=True", 0},
        {"COMMON_DEBUG_X=True", 0},
        {"COMMON_DEBUG=True", 0},
        {"common_debug_enable=True", 0},
        {" COMMON_DEBUG_ENABLE=True", 0},
        {"COMMON_DEBUG_ENABLE =True", 0},
        {"COMMON_DEBUG_ENABLE", 0},
        {"ENABLE=True", 0},
        {"=True", 0},
        {"", 0},
    };
    for (const auto& [variable, enable] : kNames) {
        SCOPED_TRACE(variable);
        const Outcome outcome = well([variable = variable, enable = enable] {
            add_to_environment({variable});
            EXPECT_EQ(COMMON_Debug_GetEnable(), enable) << variable;
        });
        EXPECT_EQ(outcome.out + outcome.err, "");
        const Outcome from_file = well({.files = {{kFile, variable}}}, [enable = enable] {
            EXPECT_EQ(COMMON_Debug_GetEnable(), enable);
        });
        EXPECT_EQ(from_file.out + from_file.err, "");
    }
}

TEST(CommonDebugSettings, ShortenedRowLength)
{
    for (const char* name : {"COMMON_DEBUG_R", "COMMON_DEBUG_ROW", "COMMON_DEBUG_ROW_LENGTH"}) {
        auto env = kDebugOn;
        env[name] = "16";
        const Outcome outcome = well({.env = env}, dump_area);
        EXPECT_EQ(row_length_in(outcome.out, ""), 16u) << name;
    }
    auto env = kDebugOn;
    env["COMMON_DEBUG_ROW_LENGTHS"] = "16";
    EXPECT_EQ(row_length_in(run_fresh({.env = env}, dump_area).out, ""), 32u);
}

TEST(CommonDebugSettings, LaterVariablesOverrideEarlierOnes)
{
    well([] {
        add_to_environment({"COMMON_DEBUG_ENABLE=True", "COMMON_DEBUG_E=False"});
        EXPECT_EQ(COMMON_Debug_GetEnable(), 0u);
    });
    well([] {
        add_to_environment({"COMMON_DEBUG_E=False", "COMMON_DEBUG_ENABLE=True"});
        EXPECT_EQ(COMMON_Debug_GetEnable(), 1u);
    });
}

TEST(CommonDebugSettings, RowLengths)
{
    const auto minimum = [](const char* value) {
        return std::string("Using minimum row length '4' due to invalid value: ") + value + "\n";
    };
    const auto maximum = [](const char* value) {
        return std::string("Using maximum row length '128' due to invalid value: ") + value + "\n";
    };
    const auto aligned = [](const char* length, const char* value) {
        return std::string("Using address aligned row length '") + length +
               "' due to invalid value: " + value + "\n";
    };
    const auto invalid = [](const char* value) {
        return std::string("Invalid COMMON_DEBUG_ROW_LENGTH value: ") + value + "\n";
    };
    const struct {
        const char* value;
        std::size_t length;
        std::string message;
    } kLengths[] = {
        {"0", 4, minimum("0")},
        {"1", 4, minimum("1")},
        {"2", 4, minimum("2")},
        {"3", 4, minimum("3")},
        {"4", 4, ""},
        {"5", 8, aligned("8", "5")},
        {"7", 8, aligned("8", "7")},
        {"8", 8, ""},
        {"10", 12, aligned("12", "10")},
        {"16", 16, ""},
        {"016", 16, ""},
        {"32", 32, ""},
        {"124", 124, ""},
        {"125", 128, aligned("128", "125")},
        {"127", 128, aligned("128", "127")},
        {"128", 128, ""},
        {"129", 128, maximum("129")},
        {"200", 128, maximum("200")},
        {"2147483647", 128, maximum("2147483647")},
        {"99999999999999999999", 128, maximum("2147483647")},
        {"", 4, minimum("0")},
        {"-", 4, minimum("0")},
        {"-0", 4, minimum("0")},
        // Negative numbers pass both bounds; a dump then has rows of the usual length.
        {"-8", 32, ""},
        {"-4", 32, ""},
        {"-6", 32, aligned("4294967292", "-6")},
        {"-1", 32, aligned("0", "-1")},
        {"-2147483648", 32, ""},
        {"-99999999999999999999", 32, ""},
        {"1x", 32, invalid("1x")},
        {"x1", 32, invalid("x1")},
        {"0x10", 32, invalid("0x10")},
        {"+8", 32, invalid("+8")},
        {" 8", 32, invalid(" 8")},
        {"8 ", 32, invalid("8 ")},
        {"--8", 32, invalid("--8")},
        {"8-", 32, invalid("8-")},
        {"%d", 32, invalid("%d")},
    };
    for (const auto& one : kLengths) {
        auto env = kDebugOn;
        env["COMMON_DEBUG_ROW_LENGTH"] = one.value;
        SCOPED_TRACE(one.value);
        const Outcome outcome = well({.env = env}, dump_area);
        EXPECT_EQ(row_length_in(outcome.out, one.message), one.length);
        EXPECT_EQ(outcome.err, "");
    }
}

TEST(CommonDebugSettings, AnInvalidRowLengthKeepsTheOneBefore)
{
    auto env = kDebugOn;
    env["COMMON_DEBUG_ROW_LENGTH"] = "1x";
    const Outcome outcome =
        well({.env = env, .files = {{kFile, "COMMON_DEBUG_ROW_LENGTH=8"}}}, dump_area);
    EXPECT_EQ(row_length_in(outcome.out, "Invalid COMMON_DEBUG_ROW_LENGTH value: 1x\n"), 8u);
}

TEST(CommonDebugSettings, RowLengthMessagesAreFlushedAndEnableMessagesAreNot)
{
    const auto output = [](const char* name, const char* value) {
        return run_fresh({.env = {{name, value}}},
                         [] {
                             COMMON_Debug_GetEnable();
                             _exit(0);
                         })
            .out;
    };
    EXPECT_EQ(output("COMMON_DEBUG_ENABLE", "bad"), "");
    EXPECT_EQ(output("COMMON_DEBUG_ROW_LENGTH", "bad"),
              "Invalid COMMON_DEBUG_ROW_LENGTH value: bad\n");
    EXPECT_EQ(output("COMMON_DEBUG_ROW_LENGTH", "2"),
              "Using minimum row length '4' due to invalid value: 2\n");
    EXPECT_EQ(output("COMMON_DEBUG_ROW_LENGTH", "200"),
              "Using maximum row length '128' due to invalid value: 200\n");
    EXPECT_EQ(output("COMMON_DEBUG_ROW_LENGTH", "10"),
              "Using address aligned row length '12' due to invalid value: 10\n");
}

TEST(CommonDebugSettings, TheFileIsReadInPieces)
{
    const std::string setting = "COMMON_DEBUG_ENABLE=True";
    const std::pair<std::string, std::uint32_t> kContents[] = {
        {setting, 1},
        {setting + "\n", 1},
        {"\n\n" + setting + "\n", 1},
        {"COMMON_DEBUG_ENABLE=False\n" + setting, 1},
        {setting + "\nCOMMON_DEBUG_ENABLE=False\n", 0},
        {std::string(kPiece, 'x') + setting, 1},
        {std::string(kPiece - 1, 'x') + setting, 0},
        {std::string(kPiece + 1, 'x') + setting, 0},
        {std::string(kPiece, 'x') + "\n" + setting, 1},
        {std::string(kPiece - 1, 'x') + "\n" + setting, 1},
        {"# " + setting, 0},
        {"", 0},
    };
    for (const auto& [content, enable] : kContents) {
        SCOPED_TRACE(testing::PrintToString(content));
        const Outcome outcome = well({.files = {{kFile, content}}}, [enable = enable] {
            EXPECT_EQ(COMMON_Debug_GetEnable(), enable);
        });
        EXPECT_EQ(outcome.out + outcome.err, "");
    }
}

TEST(CommonDebugSettings, ThereIsNoReadingAgain)
{
    const Outcome outcome = well([] {
        EXPECT_EQ(COMMON_Debug_GetEnable(), 0u);
        setenv("COMMON_DEBUG_ENABLE", "True", 1);
        EXPECT_EQ(COMMON_Debug_GetEnable(), 0u);
        COMMON_Debug_Write(stdout, "f", "g", 1, "row");
    });
    EXPECT_EQ(outcome.out, "");
}

TEST(CommonDebugSettings, EveryFunctionInitialises)
{
    static const std::pair<const char*, void (*)()> kCalls[] = {
        {"GetEnable", [] { COMMON_Debug_GetEnable(); }},
        {"Write", [] { COMMON_Debug_Write(stdout, "f", "g", 1, "row"); }},
        {"HexDump", [] { COMMON_Debug_HexDump("f", "g", 1, "x", nullptr, 0); }},
    };
    for (const auto& [name, call] : kCalls) {
        SCOPED_TRACE(name);
        const Outcome outcome = well({.env = {{"COMMON_DEBUG_ROW_LENGTH", "bad"}}}, [call = call] {
            call();
            call();
        });
        EXPECT_EQ(outcome.out, "Invalid COMMON_DEBUG_ROW_LENGTH value: bad\n");
    }
}

}  // namespace
