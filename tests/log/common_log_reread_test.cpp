// Settings files that change while the process runs.
#include <chrono>

#include "held_clock.h"
#include "settings_files.h"
#include "settings_seen.h"

namespace {

using namespace harness;
using namespace std::chrono_literals;

/// When the tests take place, and when their first files were written.
constexpr std::int64_t kNow = 1'700'000'000;
constexpr std::int64_t kWritten = 1'600'000'000;

constexpr auto kGranularity = 1000ms;

const char* const kDebugLevel = "COMMON_LOG_LEVEL=Debug\n";
const char* const kErrorLevel = "COMMON_LOG_LEVEL=Error\n";
const char* const kNoteLevel = "COMMON_LOG_LEVEL=Note\n";

/// Runs a body under peakload control, with the clock held, right after a look for files.
void run_held(const std::map<std::string, std::string>& env, const std::function<void()>& body)
{
    FreshSetup setup{.env = env};
    setup.env.emplace("COMMON_LOG_PEAKLOAD_CONTROL", "Off");
    const Outcome outcome = well(setup, [&] {
        hold_clock_at(kNow, 500'000'000);
        COMMON_Log_LevelGet();
        body();
    });
    EXPECT_EQ(outcome.out + outcome.err, "");
}

void run_held(const std::function<void()>& body)
{
    run_held({}, body);
}

/// The current level after the granularity has passed.
COMMON_LogLevel_t level_after_granularity()
{
    move_clock(kGranularity);
    return COMMON_Log_LevelGet();
}

TEST(CommonLogReread, NothingIsReadAgainWithoutPeakloadControl)
{
    run_held({{"COMMON_LOG_PEAKLOAD_CONTROL", "None"}}, [] {
        put_file(kSharedFile, kDebugLevel, kWritten);
        put_file(own_file(), kErrorLevel, kWritten);
        move_clock(24h);
        EXPECT_EQ(settings(), Settings{});
    });
}

TEST(CommonLogReread, NothingIsReadAgainWithGranularityZero)
{
    for (const char* control : {"Off", "On"}) {
        run_held(
            {{"COMMON_LOG_PEAKLOAD_CONTROL", control}, {"COMMON_LOG_PEAKLOAD_GRANULARITY", "0"}},
            [] {
                put_file(kSharedFile, kDebugLevel, kWritten);
                move_clock(24h);
                EXPECT_EQ(COMMON_Log_LevelGetExtended(kOff), kInfo);
            });
    }
}

TEST(CommonLogReread, PeakloadControlOffAndOnReadAgain)
{
    for (const char* control : {"Off", "On"}) {
        run_held({{"COMMON_LOG_PEAKLOAD_CONTROL", control}}, [] {
            put_file(kSharedFile, kDebugLevel, kWritten);
            move_clock(kGranularity);
            EXPECT_EQ(COMMON_Log_LevelGetExtended(kOff), kDebug);
        });
    }
}

TEST(CommonLogReread, PeakloadControlSetLaterReadsAgain)
{
    run_held({{"COMMON_LOG_PEAKLOAD_CONTROL", "None"}}, [] {
        put_file(kSharedFile, kDebugLevel, kWritten);
        EXPECT_EQ(level_after_granularity(), 5u);
        COMMON_Log_PeakloadControlSet(kOff);
        EXPECT_EQ(level_after_granularity(), 6u);
        COMMON_Log_PeakloadControlSet(kNone);
        put_file(kSharedFile, kErrorLevel, kWritten + 1);
        EXPECT_EQ(level_after_granularity(), 6u);
    });
}

TEST(CommonLogReread, OnlyWhenTheGranularityHasPassed)
{
    run_held([] {
        put_file(kSharedFile, kDebugLevel, kWritten);
        move_clock(kGranularity - 1ms);
        EXPECT_EQ(COMMON_Log_LevelGet(), kInfo);
        move_clock(1ms);
        EXPECT_EQ(COMMON_Log_LevelGet(), kDebug);
        put_file(kSharedFile, kErrorLevel, kWritten + 1);
        move_clock(kGranularity - 1ms);
        EXPECT_EQ(COMMON_Log_LevelGet(), kDebug);
        move_clock(1ms);
        EXPECT_EQ(COMMON_Log_LevelGet(), kError);
    });
}

TEST(CommonLogReread, TheGranularityIsInMilliseconds)
{
    const std::pair<const char*, std::chrono::milliseconds> kGranularities[] = {
        {"1", 1ms}, {"2", 2ms}, {"1500", 1500ms}, {"2147483647", 2147483647ms}};
    for (const auto& [text, granularity] : kGranularities) {
        run_held({{"COMMON_LOG_PEAKLOAD_GRANULARITY", text}}, [granularity = granularity] {
            put_file(kSharedFile, kDebugLevel, kWritten);
            move_clock(granularity - 1ms);
            EXPECT_EQ(COMMON_Log_LevelGet(), kInfo);
            move_clock(1ms);
            EXPECT_EQ(COMMON_Log_LevelGet(), kDebug);
        });
    }
}

TEST(CommonLogReread, EveryCallOfTheFacilityLooks)
{
    static const std::pair<const char*, void (*)()> kCalls[] = {
        {"Acceptable", [] { COMMON_Log_Acceptable(kFatal); }},
        {"Acceptable of a dropped level", [] { COMMON_Log_Acceptable(kVerbose); }},
        {"Acceptable of no level", [] { COMMON_Log_Acceptable(UINT32_MAX); }},
        {"Write", [] { log_message(kVerbose, "dropped"); }},
        {"CacheGet", [] { COMMON_Log_CacheGet(); }},
        {"CacheSet", [] { COMMON_Log_CacheSet(1); }},
        {"ColorGet", [] { COMMON_Log_ColorGet(); }},
        {"ColorSet", [] { COMMON_Log_ColorSet(0); }},
        {"EnableGet", [] { COMMON_Log_EnableGet(); }},
        {"EnableSet", [] { COMMON_Log_EnableSet(1); }},
        {"FormatGet", [] { COMMON_Log_FormatGet(); }},
        {"FormatSet", [] { COMMON_Log_FormatSet(COMMON_LogFormatSyslogngext); }},
        {"LegacyGet", [] { COMMON_Log_LegacyGet(); }},
        {"LegacySet", [] { COMMON_Log_LegacySet(1); }},
        {"PeakloadControlGet", [] { COMMON_Log_PeakloadControlGet(); }},
        {"PeakloadControlSet", [] { COMMON_Log_PeakloadControlSet(9); }},
        {"StripGet", [] { COMMON_Log_StripGet(); }},
        {"StripSet", [] { COMMON_Log_StripSet(1); }},
        {"LevelGet", [] { COMMON_Log_LevelGet(); }},
        {"LevelSet", [] { COMMON_Log_LevelSet(9); }},
        {"LevelGetExtended", [] { COMMON_Log_LevelGetExtended(kNone); }},
        {"LevelSetExtended", [] { COMMON_Log_LevelSetExtended(9, kNone); }},
        {"Dump", [] { COMMON_LogDumpLoggerStatus(""); }},
    };
    for (const auto& [name, call] : kCalls) {
        run_held([call = call, name = name] {
            put_file(kSharedFile, kErrorLevel, kWritten);
            move_clock(kGranularity);
            call();
            // The same moment: nobody looks again.
            remove_file(kSharedFile);
            EXPECT_EQ(COMMON_Log_LevelGet(), kError) << name;
        });
    }
}

TEST(CommonLogReread, OnlyAChangedTimeOfModificationCounts)
{
    run_held([] {
        put_file(kSharedFile, kDebugLevel, kWritten);
        EXPECT_EQ(level_after_granularity(), 6u);
        put_file(kSharedFile, kErrorLevel, kWritten);
        EXPECT_EQ(level_after_granularity(), 6u) << "the same second";
        touch(kSharedFile, kWritten, 999'999'999);
        EXPECT_EQ(level_after_granularity(), 6u) << "still the same second";
        touch(kSharedFile, kWritten + 1);
        EXPECT_EQ(level_after_granularity(), 2u) << "a later second";
        put_file(kSharedFile, kNoteLevel, kWritten - 1000);
        EXPECT_EQ(level_after_granularity(), 4u) << "an earlier second";
    });
}

TEST(CommonLogReread, TouchingAFileReadsItAgain)
{
    for (const bool own : {false, true}) {
        run_held([=] {
            const std::string path = own ? own_file() : kSharedFile;
            put_file(path, kDebugLevel, kWritten);
            EXPECT_EQ(level_after_granularity(), 6u);
            COMMON_Log_LevelSet(kWarn);
            EXPECT_EQ(level_after_granularity(), 3u) << "not changed: read once only";
            touch(path, kWritten + 1);
            EXPECT_EQ(COMMON_Log_LevelGet(), kWarn) << "not due yet";
            EXPECT_EQ(level_after_granularity(), 6u);
        });
    }
}

TEST(CommonLogReread, AFileReadAtTheStartIsNotReadAgain)
{
    const FreshSetup setup{.env = {{"COMMON_LOG_PEAKLOAD_CONTROL", "Off"}},
                           .prepare = [] { put_file(kSharedFile, kDebugLevel, kWritten); }};
    well(setup, [] {
        hold_clock_at(kNow);
        EXPECT_EQ(COMMON_Log_LevelGet(), kDebug);
        COMMON_Log_LevelSet(kWarn);
        EXPECT_EQ(level_after_granularity(), 3u);
        touch(kSharedFile, kWritten + 1);
        EXPECT_EQ(level_after_granularity(), 6u);
    });
}

TEST(CommonLogReread, TheEnvironmentKeepsOverridingAFileThatDoesNotChange)
{
    const FreshSetup setup{
        .env = {{"COMMON_LOG_PEAKLOAD_CONTROL", "Off"}, {"COMMON_LOG_LEVEL", "Error"}},
        .prepare = [] { put_file(kSharedFile, kDebugLevel, kWritten); }};
    well(setup, [] {
        hold_clock_at(kNow);
        EXPECT_EQ(COMMON_Log_LevelGet(), kError) << "the file was read before the environment";
        EXPECT_EQ(level_after_granularity(), 2u);
    });
}

TEST(CommonLogReread, TheConfiguredFileIsNotLookedAtAgain)
{
    run_held([] {
        put_file(kConfiguredFile, kDebugLevel, kWritten);
        EXPECT_EQ(level_after_granularity(), 5u);
    });
}

TEST(CommonLogReread, TheFileOfTheProcessIsPreferredWhileItExists)
{
    run_held([] {
        put_file(own_file(), kDebugLevel, kWritten);
        put_file(kSharedFile, kErrorLevel, kWritten);
        EXPECT_EQ(level_after_granularity(), 6u);
        touch(kSharedFile, kWritten + 1);
        EXPECT_EQ(level_after_granularity(), 6u) << "the shared file is not looked at";
        remove_file(own_file());
        EXPECT_EQ(level_after_granularity(), 2u) << "now it is";
        put_file(own_file(), kDebugLevel, kWritten);
        EXPECT_EQ(level_after_granularity(), 6u) << "the time of the first file is forgotten";
    });
}

TEST(CommonLogReread, AnUnchangedSharedFileStaysUnreadWhenTheOtherGoes)
{
    run_held([] {
        put_file(kSharedFile, kErrorLevel, kWritten);
        EXPECT_EQ(level_after_granularity(), 2u);
        put_file(own_file(), kDebugLevel, kWritten);
        EXPECT_EQ(level_after_granularity(), 6u);
        remove_file(own_file());
        EXPECT_EQ(level_after_granularity(), 6u);
    });
}

TEST(CommonLogReread, ASharedFileThatWasGoneIsReadAgain)
{
    run_held([] {
        put_file(kSharedFile, kDebugLevel, kWritten);
        EXPECT_EQ(level_after_granularity(), 6u);
        remove_file(kSharedFile);
        EXPECT_EQ(level_after_granularity(), 6u) << "what was set stays";
        put_file(kSharedFile, kErrorLevel, kWritten);
        EXPECT_EQ(level_after_granularity(), 2u) << "with the time of before";
    });
}

TEST(CommonLogReread, AFileOfAnotherProcessIsIgnored)
{
    run_held([] {
        put_file("/tmp/common/log/settings_" + std::to_string(getpid() + 1) + ".txt", kDebugLevel,
                 kWritten);
        EXPECT_EQ(level_after_granularity(), 5u);
    });
}

TEST(CommonLogReread, EverySettingButFormatAndLegacyCounts)
{
    run_held([] {
        put_file(kSharedFile,
                 "COMMON_LOG_CACHE=False\nCOMMON_LOG_COLOR=True\nCOMMON_LOG_ENABLE=False\n"
                 "COMMON_LOG_FORMAT=Legacy\nCOMMON_LOG_LEGACY=False\nCOMMON_LOG_LEVEL=Debug\n"
                 "COMMON_LOG_LEVEL_PEAKLOAD=Error\nCOMMON_LOG_PEAKLOAD_CONTROL=On\n"
                 "COMMON_LOG_STRIP=False",
                 kWritten);
        move_clock(kGranularity);
        EXPECT_EQ(settings(), (Settings{.cache = 0,
                                        .color = 1,
                                        .enable = 0,
                                        .strip = 0,
                                        .control = kOn,
                                        .level = kError,
                                        .off = kDebug,
                                        .on = kError}));
    });
}

TEST(CommonLogReread, NamesShortenedToFormatOrLegacyAreLaterNames)
{
    const std::pair<const char*, Settings> kLines[] = {
        {"COMMON_LOG_LE=debug", {.control = kOff, .level = kDebug, .off = kDebug}},
        {"COMMON_LOG_L=debug", {.control = kOff, .level = kDebug, .off = kDebug}},
        {"COMMON_LOG_LEGACY=debug", {.control = kOff}},
        {"COMMON_LOG_LEG=debug", {.control = kOff}},
        {"COMMON_LOG_F=All", {.control = kOff}},
        {"COMMON_LOG_FORMAT=bad", {.control = kOff}},
        {"COMMON_LOG_=False", {.cache = 0, .control = kOff}},
    };
    for (const auto& [line, expected] : kLines) {
        run_held([line = line, expected = expected] {
            put_file(kSharedFile, line, kWritten);
            move_clock(kGranularity);
            EXPECT_EQ(settings(), expected) << line;
        });
    }
}

TEST(CommonLogReread, EnableIsSeenByTheQuestionAlone)
{
    run_held([] {
        put_file(kSharedFile, "COMMON_LOG_ENABLE=False", kWritten);
        EXPECT_EQ(COMMON_Log_Acceptable(kFatal), 1u);
        move_clock(kGranularity);
        EXPECT_EQ(COMMON_Log_Acceptable(kFatal), 0u);
        put_file(kSharedFile, "COMMON_LOG_ENABLE=True\nCOMMON_LOG_LEVEL=Debug", kWritten + 1);
        EXPECT_EQ(COMMON_Log_Acceptable(kFatal), 0u);
        move_clock(kGranularity);
        EXPECT_EQ(COMMON_Log_Acceptable(kDebug), 1u);
        EXPECT_EQ(COMMON_Log_Acceptable(kVerbose), 0u);
    });
}

TEST(CommonLogReread, AFileCanEndTheReading)
{
    run_held([] {
        put_file(kSharedFile, "COMMON_LOG_LEVEL=Error\nCOMMON_LOG_PEAKLOAD_CONTROL=None", kWritten);
        EXPECT_EQ(level_after_granularity(), 2u);
        EXPECT_EQ(COMMON_Log_Acceptable(kError), 1u);
        EXPECT_EQ(COMMON_Log_Acceptable(kWarn), 0u);
        put_file(kSharedFile, kDebugLevel, kWritten + 1);
        EXPECT_EQ(level_after_granularity(), 2u);
    });
    run_held([] {
        put_file(kSharedFile, "COMMON_LOG_PEAKLOAD_GRANULARITY=0", kWritten);
        EXPECT_EQ(level_after_granularity(), 5u);
        put_file(kSharedFile, kDebugLevel, kWritten + 1);
        EXPECT_EQ(level_after_granularity(), 5u);
    });
}

TEST(CommonLogReread, AFileCanChangeTheGranularity)
{
    run_held([] {
        put_file(kSharedFile, "COMMON_LOG_PEAKLOAD_GRANULARITY=5000", kWritten);
        EXPECT_EQ(level_after_granularity(), 5u);
        put_file(kSharedFile, kDebugLevel, kWritten + 1);
        move_clock(4999ms);
        EXPECT_EQ(COMMON_Log_LevelGet(), kInfo);
        move_clock(1ms);
        EXPECT_EQ(COMMON_Log_LevelGet(), kDebug);
    });
}

TEST(CommonLogReread, TheCacheCanBeTurnedOn)
{
    const FreshSetup setup{
        .env = {{"COMMON_LOG_CACHE", "False"}, {"COMMON_LOG_PEAKLOAD_CONTROL", "Off"}}};
    const Outcome outcome = well(setup, [] {
        hold_clock_at(kNow);
        EXPECT_EQ(COMMON_Log_CacheGet(), 0u);
        put_file(kSharedFile, "COMMON_LOG_CACHE=True", kWritten);
        move_clock(kGranularity);
        log_message(kInfo, "cached");
        EXPECT_EQ(COMMON_Log_CacheGet(), 1u);
    });
    EXPECT_THAT(outcome.log, testing::ElementsAre(said(kInfo, "cached")));
}

}  // namespace
