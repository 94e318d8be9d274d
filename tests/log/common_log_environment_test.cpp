// Settings variables in the environment: names, values, order, and complaints about bad values.
#include <algorithm>

#include "settings_files.h"
#include "settings_seen.h"

namespace {

using namespace harness;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

using Variables = std::vector<std::string>;

/// What the facility says about a bad value.
RowText complaint(const std::string& name, const std::string& value)
{
    return log_row("stderr", "parseVariable", "Invalid " + name + ": " + value);
}

/// Complaints among the rows on standard error.
std::vector<RowText> complaints(const Outcome& outcome)
{
    std::vector<RowText> all;
    for (const RowText& row : row_texts(outcome.err)) {
        if (row.function == "parseVariable") {
            all.push_back(row);
        }
    }
    return all;
}

/// Starts a process with these variables, in this order, and compares what it then sees. The
/// variables may be good or bad: with debug output on the complaints are compared as well.
void expect_settings(const Variables& variables, const Settings& expected,
                     const std::vector<RowText>& expected_complaints = {})
{
    const auto compare = [&] {
        add_to_environment(variables);
        EXPECT_EQ(settings(), expected);
    };
    SCOPED_TRACE(testing::PrintToString(variables));
    run_silently(compare);
    const Outcome outcome = well({.env = kDebugOn}, compare);
    EXPECT_EQ(complaints(outcome), expected_complaints);
}

/// Ways to write a value: compared without regard to case.
Variables cases_of(const std::string& value)
{
    std::string upper = value;
    std::string lower = value;
    std::string mixed = value;
    for (std::size_t i = 0; i < value.size(); ++i) {
        upper[i] = static_cast<char>(std::toupper(value[i]));
        lower[i] = static_cast<char>(std::tolower(value[i]));
        mixed[i] = i % 2 == 0 ? lower[i] : upper[i];
    }
    return {value, upper, lower, mixed};
}

/// A variable, an accepted value and what that does.
struct Accepted {
    const char* name;
    const char* value;
    Settings expected;
};

TEST(CommonLogEnvironment, EveryAcceptedValueInAnyCase)
{
    const Accepted kAccepted[] = {
        {"COMMON_LOG_CACHE", "True", {}},
        {"COMMON_LOG_CACHE", "False", {.cache = 0}},
        {"COMMON_LOG_COLOR", "True", {.color = 1}},
        {"COMMON_LOG_COLOR", "False", {}},
        {"COMMON_LOG_ENABLE", "True", {}},
        {"COMMON_LOG_ENABLE", "False", {.enable = 0}},
        {"COMMON_LOG_FORMAT", "Legacy", {.format = COMMON_LogFormatLegacy}},
        {"COMMON_LOG_FORMAT", "All", {.format = COMMON_LogFormatAll}},
        {"COMMON_LOG_FORMAT", "Columns", {.format = COMMON_LogFormatColumns}},
        {"COMMON_LOG_FORMAT", "Syslogng", {.format = COMMON_LogFormatSyslogng}},
        {"COMMON_LOG_FORMAT", "Syslogngext", {.format = COMMON_LogFormatSyslogngext}},
        {"COMMON_LOG_LEGACY", "True", {}},
        // There is no handler library: the built-in handler stays.
        {"COMMON_LOG_LEGACY", "False", {}},
        {"COMMON_LOG_LEVEL", "Fatal", {.level = kFatal, .off = kFatal}},
        {"COMMON_LOG_LEVEL", "Critical", {.level = kCritical, .off = kCritical}},
        {"COMMON_LOG_LEVEL", "Error", {.level = kError, .off = kError}},
        {"COMMON_LOG_LEVEL", "Warn", {.level = kWarn, .off = kWarn}},
        {"COMMON_LOG_LEVEL", "Note", {.level = kNote, .off = kNote}},
        {"COMMON_LOG_LEVEL", "Info", {}},
        {"COMMON_LOG_LEVEL", "Default", {}},
        {"COMMON_LOG_LEVEL", "Debug", {.level = kDebug, .off = kDebug}},
        {"COMMON_LOG_LEVEL", "Verbose", {.level = kVerbose, .off = kVerbose}},
        {"COMMON_LOG_LEVEL_PEAKLOAD", "Fatal", {.on = kFatal}},
        {"COMMON_LOG_LEVEL_PEAKLOAD", "Critical", {.on = kCritical}},
        {"COMMON_LOG_LEVEL_PEAKLOAD", "Error", {.on = kError}},
        {"COMMON_LOG_LEVEL_PEAKLOAD", "Warn", {.on = kWarn}},
        {"COMMON_LOG_LEVEL_PEAKLOAD", "Note", {.on = kNote}},
        {"COMMON_LOG_LEVEL_PEAKLOAD", "Info", {}},
        {"COMMON_LOG_LEVEL_PEAKLOAD", "Default", {}},
        {"COMMON_LOG_LEVEL_PEAKLOAD", "Debug", {.on = kDebug}},
        {"COMMON_LOG_LEVEL_PEAKLOAD", "Verbose", {.on = kVerbose}},
        {"COMMON_LOG_PEAKLOAD_CONTROL", "None", {}},
        {"COMMON_LOG_PEAKLOAD_CONTROL", "Off", {.control = kOff}},
        {"COMMON_LOG_PEAKLOAD_CONTROL", "On", {.control = kOn}},
        {"COMMON_LOG_STRIP", "True", {}},
        {"COMMON_LOG_STRIP", "False", {.strip = 0}},
    };
    for (const Accepted& one : kAccepted) {
        for (const std::string& value : cases_of(one.value)) {
            expect_settings({std::string(one.name) + "=" + value}, one.expected);
        }
    }
}

TEST(CommonLogEnvironment, DefaultsAreReachedFromOtherValues)
{
    expect_settings({"COMMON_LOG_CACHE=False", "COMMON_LOG_CACHE=True", "COMMON_LOG_COLOR=True",
                     "COMMON_LOG_COLOR=False", "COMMON_LOG_ENABLE=False", "COMMON_LOG_ENABLE=True",
                     "COMMON_LOG_FORMAT=All", "COMMON_LOG_FORMAT=Syslogngext",
                     "COMMON_LOG_LEVEL=Fatal", "COMMON_LOG_LEVEL=Info",
                     "COMMON_LOG_LEVEL_PEAKLOAD=Fatal", "COMMON_LOG_LEVEL_PEAKLOAD=Default",
                     "COMMON_LOG_PEAKLOAD_CONTROL=On", "COMMON_LOG_PEAKLOAD_CONTROL=None",
                     "COMMON_LOG_STRIP=False", "COMMON_LOG_STRIP=True"},
                    {});
    expect_settings({"COMMON_LOG_LEVEL=Verbose", "COMMON_LOG_LEVEL=Default"}, {});
}

TEST(CommonLogEnvironment, LegacyIsHonoured)
{
    const auto not_loaded = log_row("stderr", "legacySet", "liboxa.so library was not loaded");
    const auto rows_with = [](const char* value) {
        auto env = kDebugOn;
        env["COMMON_LOG_LEGACY"] = value;
        const Outcome outcome = well({.env = env}, [] { COMMON_Log_LevelGet(); });
        return row_texts(outcome.err);
    };
    for (const std::string& value : cases_of("False")) {
        EXPECT_THAT(rows_with(value.c_str()), Contains(not_loaded).Times(1)) << value;
    }
    EXPECT_THAT(rows_with("True"), Not(Contains(not_loaded)));
    EXPECT_THAT(rows_with("Falsee"), Not(Contains(not_loaded)));
}

TEST(CommonLogEnvironment, BadValuesChangeNothingAndAreToldWhileDebugOutputIsOn)
{
    const std::vector<std::pair<std::string, Variables>> kBad{
        {"COMMON_LOG_CACHE", {"", "0", "1", "yes", "Tru", "Truee", "True ", " True", "False\r"}},
        {"COMMON_LOG_COLOR", {"", "0", "1", "on", "Fals", "FalseTrue"}},
        {"COMMON_LOG_ENABLE", {"", "0", "2", "off", "t"}},
        {"COMMON_LOG_FORMAT", {"", "4", "Syslog", "Syslogngex", "Syslogngext2", "Default", "=All"}},
        {"COMMON_LOG_LEGACY", {"", "0", "1", "none"}},
        {"COMMON_LOG_LEVEL", {"", "3", "Inf", "Information", "Invalid", "Warning", "None", "%s"}},
        {"COMMON_LOG_LEVEL_PEAKLOAD", {"", "7", "Debugg", "Errors", "Off"}},
        {"COMMON_LOG_PEAKLOAD_CONTROL", {"", "0", "1", "Offf", "True", "Invalid"}},
        {"COMMON_LOG_PEAKLOAD_GRANULARITY", {"", "-5", "+5", " 5", "x10", "True"}},
        {"COMMON_LOG_STRIP", {"", "1", "FALSE.", "no"}},
    };
    for (const auto& [name, values] : kBad) {
        for (const std::string& value : values) {
            expect_settings({name + "=" + value}, {}, {complaint(name, value)});
        }
    }
}

TEST(CommonLogEnvironment, ShortenedNamesAreTheFirstThatBeginsWithThem)
{
    const struct {
        const char* variable;
        Settings expected;
    } kShortened[] = {
        {"COMMON_LOG_=False", {.cache = 0}},
        {"COMMON_LOG_C=False", {.cache = 0}},
        {"COMMON_LOG_CACH=False", {.cache = 0}},
        {"COMMON_LOG_CO=True", {.color = 1}},
        {"COMMON_LOG_E=False", {.enable = 0}},
        {"COMMON_LOG_F=All", {.format = COMMON_LogFormatAll}},
        {"COMMON_LOG_LEV=Debug", {.level = kDebug, .off = kDebug}},
        {"COMMON_LOG_LEVEL_=Debug", {.level = kDebug, .off = kDebug}},
        {"COMMON_LOG_LEVEL_PEAK=Debug", {.level = kDebug, .off = kDebug}},
        {"COMMON_LOG_LEVEL_PEAKLOA=Debug", {.level = kDebug, .off = kDebug}},
        {"COMMON_LOG_LEVEL_PEAKLOAD=Debug", {.on = kDebug}},
        {"COMMON_LOG_P=On", {.control = kOn}},
        {"COMMON_LOG_PEAK=Off", {.control = kOff}},
        {"COMMON_LOG_PEAKLOAD_=Off", {.control = kOff}},
        {"COMMON_LOG_S=False", {.strip = 0}},
    };
    for (const auto& one : kShortened) {
        expect_settings({one.variable}, one.expected);
    }
}

TEST(CommonLogEnvironment, ComplaintsNameTheWholeVariable)
{
    const struct {
        const char* variable;
        RowText row;
    } kShortened[] = {
        {"COMMON_LOG_=x", complaint("COMMON_LOG_CACHE", "x")},
        {"COMMON_LOG_F=x", complaint("COMMON_LOG_FORMAT", "x")},
        // LEGACY comes before LEVEL.
        {"COMMON_LOG_L=Debug", complaint("COMMON_LOG_LEGACY", "Debug")},
        {"COMMON_LOG_LE=Debug", complaint("COMMON_LOG_LEGACY", "Debug")},
        {"COMMON_LOG_LEV=x", complaint("COMMON_LOG_LEVEL", "x")},
        {"COMMON_LOG_LEVEL_PEAK=x", complaint("COMMON_LOG_LEVEL", "x")},
        {"COMMON_LOG_LEVEL_PEAKLOAD=x", complaint("COMMON_LOG_LEVEL_PEAKLOAD", "x")},
        {"COMMON_LOG_PEAKLOAD_=5", complaint("COMMON_LOG_PEAKLOAD_CONTROL", "5")},
        {"COMMON_LOG_PEAKLOAD_G=On", complaint("COMMON_LOG_PEAKLOAD_GRANULARITY", "On")},
        {"COMMON_LOG_ST=x=y", complaint("COMMON_LOG_STRIP", "x=y")},
    };
    for (const auto& one : kShortened) {
        expect_settings({one.variable}, {}, {one.row});
    }
}

TEST(CommonLogEnvironment, OtherNamesAreIgnored)
{
    for (const char* variable : {"COMMON_LOG_CACHES=False",
                                 "COMMON_LOG_COLORS=True",
                                 "COMMON_LOG_ENABLED=False",
                                 "COMMON_LOG_FORMATS=All",
                                 "COMMON_LOG_LEGACY_=False",
                                 "COMMON_LOG_LEVELS=Debug",
                                 "COMMON_LOG_LEVEL_PEAKLOADS=Debug",
                                 "COMMON_LOG_PEAKLOAD_CONTROLS=On",
                                 "COMMON_LOG_PEAKLOAD_GRANULARITY_=0",
                                 "COMMON_LOG_STRIPES=False",
                                 "COMMON_LOG_X=True",
                                 "COMMON_LOG_CACHE =False",
                                 "common_log_cache=False",
                                 "Common_Log_Level=Debug",
                                 "COMMON_LOG=False",
                                 "COMMON_LO=False",
                                 "=False",
                                 "=COMMON_LOG_CACHE=False",
                                 " COMMON_LOG_CACHE=False",
                                 "XCOMMON_LOG_LEVEL=Debug",
                                 "LEVEL=Debug",
                                 "LOG_LEVEL=Debug",
                                 "COMMON_LOG_LEVEL",
                                 "COMMON_LOG_",
                                 ""}) {
        expect_settings({variable}, {});
    }
}

TEST(CommonLogEnvironment, LevelsFollowTheControlInTheOrderOfTheVariables)
{
    const std::string level = "COMMON_LOG_LEVEL=Debug";
    const std::string peak = "COMMON_LOG_LEVEL_PEAKLOAD=Error";
    const std::string none = "COMMON_LOG_PEAKLOAD_CONTROL=None";
    const std::string off = "COMMON_LOG_PEAKLOAD_CONTROL=Off";
    const std::string on = "COMMON_LOG_PEAKLOAD_CONTROL=On";
    const struct {
        Variables variables;
        Settings expected;
    } kSequences[] = {
        {{level, peak}, {.level = kDebug, .off = kDebug, .on = kError}},
        {{level, peak, none}, {.level = kDebug, .off = kDebug, .on = kDebug}},
        {{none, level, peak}, {.level = kDebug, .off = kDebug, .on = kError}},
        {{level, peak, off}, {.control = kOff, .level = kDebug, .off = kDebug, .on = kError}},
        {{level, peak, on}, {.control = kOn, .level = kError, .off = kDebug, .on = kError}},
        {{on, level}, {.control = kOn, .level = kInfo, .off = kDebug, .on = kInfo}},
        {{on, peak}, {.control = kOn, .level = kError, .off = kInfo, .on = kError}},
        {{on, level, peak}, {.control = kOn, .level = kError, .off = kDebug, .on = kError}},
        {{off, peak}, {.control = kOff, .level = kInfo, .off = kInfo, .on = kError}},
        {{off, level}, {.control = kOff, .level = kDebug, .off = kDebug, .on = kInfo}},
        {{on, peak, none}, {.level = kInfo, .off = kInfo, .on = kInfo}},
        {{on, peak, off, level}, {.control = kOff, .level = kDebug, .off = kDebug, .on = kError}},
    };
    for (const auto& one : kSequences) {
        expect_settings(one.variables, one.expected);
    }
}

TEST(CommonLogEnvironment, LaterVariablesOverrideEarlierOnes)
{
    expect_settings({"COMMON_LOG_STRIP=False", "COMMON_LOG_STRIP=True"}, {});
    expect_settings({"COMMON_LOG_STRIP=True", "COMMON_LOG_S=False"}, {.strip = 0});
    expect_settings({"COMMON_LOG_FORMAT=All", "COMMON_LOG_FORMAT=Columns"},
                    {.format = COMMON_LogFormatColumns});
    expect_settings({"COMMON_LOG_LEVEL=Debug", "COMMON_LOG_LEVEL=bad"},
                    {.level = kDebug, .off = kDebug}, {complaint("COMMON_LOG_LEVEL", "bad")});
    expect_settings({"COMMON_LOG_CACHE=a", "COMMON_LOG_COLOR=b", "COMMON_LOG_CACHE=c"}, {},
                    {complaint("COMMON_LOG_CACHE", "a"), complaint("COMMON_LOG_COLOR", "b"),
                     complaint("COMMON_LOG_CACHE", "c")});
}

TEST(CommonLogEnvironment, GranularityInDecimalHexAndOctal)
{
    const std::pair<const char*, const char*> kGranularities[] = {
        {"1", "1"},
        {"250", "250"},
        {"0", "0"},
        {"0x10", "16"},
        {"0XfF", "255"},
        {"010", "8"},
        {"08", "0"},
        {"0x", "0"},
        {"12ms", "12"},
        {"7 8", "7"},
        {"2147483647", "2147483647"},
        {"2147483648", "2147483647"},
        {"99999999999999999999", "2147483647"},
    };
    for (const auto& [value, number] : kGranularities) {
        auto env = kDebugOn;
        env["COMMON_LOG_PEAKLOAD_GRANULARITY"] = value;
        SCOPED_TRACE(value);
        const Outcome outcome = well({.env = env}, [] { EXPECT_EQ(settings(), Settings{}); });
        EXPECT_EQ(reported_peakload(outcome),
                  std::string("peakload: None (0) //GranularityPeakloadProcessing:") + number);
        EXPECT_THAT(complaints(outcome), IsEmpty());
    }
}

TEST(CommonLogEnvironment, ABadGranularityKeepsTheDefault)
{
    for (const char* value : {"", "-5", "+5", " 5", "x10", ".5", "/", ":"}) {
        auto env = kDebugOn;
        env["COMMON_LOG_PEAKLOAD_GRANULARITY"] = value;
        SCOPED_TRACE(value);
        const Outcome outcome = well({.env = env}, [] { COMMON_Log_LevelGet(); });
        EXPECT_EQ(reported_peakload(outcome),
                  "peakload: None (0) //GranularityPeakloadProcessing:1000");
        EXPECT_THAT(complaints(outcome),
                    ElementsAre(complaint("COMMON_LOG_PEAKLOAD_GRANULARITY", value)));
    }
}

TEST(CommonLogEnvironment, ThatIsNotThereHasNoSettings)
{
    const FreshSetup setup{.files = {{kConfiguredFile, "COMMON_LOG_LEVEL=Debug\n"}},
                           .prepare = [] { clearenv(); }};
    well(setup, [] { EXPECT_EQ(settings(), (Settings{.level = kDebug, .off = kDebug})); });
}

TEST(CommonLogEnvironment, OverridesTheFiles)
{
    for (const std::string& path : {kConfiguredFile, kSharedFile}) {
        const FreshSetup setup{
            .env = {{"COMMON_LOG_LEVEL", "Error"}},
            .files = {{path, "COMMON_LOG_LEVEL=Debug\nCOMMON_LOG_COLOR=True\n"}}};
        SCOPED_TRACE(path);
        well(setup,
             [] { EXPECT_EQ(settings(), (Settings{.color = 1, .level = kError, .off = kError})); });
    }
}

FRESH_TEST(CommonLogEnvironment, ChangesAfterTheStartHaveNoEffect)
{
    EXPECT_EQ(settings(), Settings{});
    add_to_environment({"COMMON_LOG_LEVEL=Debug", "COMMON_LOG_COLOR=True"});
    EXPECT_EQ(settings(), Settings{});
}

TEST(CommonLogEnvironment, LongValuesAreToldWhole)
{
    const std::string value(3000, 'v');
    expect_settings({"COMMON_LOG_LEVEL=" + value}, {}, {complaint("COMMON_LOG_LEVEL", value)});
}

}  // namespace
