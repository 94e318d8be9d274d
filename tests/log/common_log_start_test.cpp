// The report of the log facility's initialisation, and what can fail in it.
#include <algorithm>

#include "fault.h"
#include "oxa_logger.h"
#include "settings_seen.h"

namespace {

using namespace harness;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

using Messages = std::vector<std::string>;

const Messages kDefaults{
    "Initializing",
    "cache:    True",
    "color:    False",
    "debug:    True",
    "enable:   True",
    "strip:    True",
    "legacy:   True",
    "peakload: None (0) //GranularityPeakloadProcessing:1000",
    "level:    Info (5) //AtPeakloadOff:{5:Info} //AtPeakloadOn:{5:Info}",
    "Initialized",
};

const RowText kNotLoaded =
    log_row("stderr", "threadOnce",
            "Failed to load the library with error: /oxa/lib/liboxa.so: cannot open shared object "
            "file: No such file or directory");

std::vector<RowText> started(const Messages& messages)
{
    std::vector<RowText> rows;
    for (const std::string& message : messages) {
        rows.push_back(log_row("stdout", "threadOnce", message));
    }
    return rows;
}

std::map<std::string, std::string> debug_on_and(std::map<std::string, std::string> env)
{
    env.insert(kDebugOn.begin(), kDebugOn.end());
    return env;
}

/// What the rows of both streams say, in the order in which they were written.
Messages in_order(const Outcome& outcome)
{
    auto rows = debug_rows(outcome.out);
    for (const DebugRow& row : debug_rows(outcome.err)) {
        rows.push_back(row);
    }
    std::sort(rows.begin(), rows.end(),
              [](const DebugRow& a, const DebugRow& b) { return a.count < b.count; });
    Messages messages;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(rows[i].count, i + 1) << rows[i].message;
        messages.push_back(rows[i].message);
    }
    return messages;
}

TEST(CommonLogStart, EveryRowInOrder)
{
    const Outcome outcome = well({.env = kDebugOn}, [] { COMMON_Log_LevelGet(); });
    EXPECT_THAT(row_texts(outcome.out), ElementsAreArray(started(kDefaults)));
    EXPECT_THAT(row_texts(outcome.err), ElementsAre(kNotLoaded));
    EXPECT_THAT(outcome.log, IsEmpty());

    Messages expected = kDefaults;
    expected.insert(expected.begin() + 1, kNotLoaded.message);
    EXPECT_THAT(in_order(outcome), ElementsAreArray(expected));
}

TEST(CommonLogStart, NothingWhileDebugOutputIsOff)
{
    for (const char* value : {"False", "True"}) {
        const Outcome outcome =
            well({.env = {{"COMMON_LOG_LEGACY", value}, {"COMMON_LOG_LEVEL", "bad"}}}, [] {
                fault::fail(fault::Call::pthread_key_create);
                COMMON_Log_LevelGet();
                EXPECT_EQ(fault::fired(), 1);
                EXPECT_EQ(COMMON_Log_CacheGet(), 0u);
            });
        EXPECT_EQ(outcome.out + outcome.err, "");
        EXPECT_THAT(outcome.log, IsEmpty());
    }
}

TEST(CommonLogStart, ReportsWhatTheEnvironmentSays)
{
    const Outcome outcome = well({.env = debug_on_and({{"COMMON_LOG_CACHE", "False"},
                                                       {"COMMON_LOG_COLOR", "True"},
                                                       {"COMMON_LOG_ENABLE", "False"},
                                                       {"COMMON_LOG_STRIP", "False"},
                                                       {"COMMON_LOG_LEVEL", "Verbose"},
                                                       {"COMMON_LOG_LEVEL_PEAKLOAD", "Fatal"},
                                                       {"COMMON_LOG_PEAKLOAD_CONTROL", "On"},
                                                       {"COMMON_LOG_PEAKLOAD_GRANULARITY", "20"}})},
                                 [] { COMMON_Log_LevelGet(); });
    EXPECT_THAT(row_texts(outcome.out),
                ElementsAreArray(started({
                    "Initializing",
                    "cache:    False",
                    "color:    True",
                    "debug:    True",
                    "enable:   False",
                    "strip:    False",
                    "legacy:   True",
                    "peakload: On (2) //GranularityPeakloadProcessing:20",
                    "level:    Fatal (0) //AtPeakloadOff:{7:Verbose} //AtPeakloadOn:{0:Fatal}",
                    "Initialized",
                })));
}

TEST(CommonLogStart, FilesThenEnvironmentThenHandler)
{
    const FreshSetup setup{.env = debug_on_and({{"COMMON_LOG_STRIP", "from the environment"},
                                                {"COMMON_LOG_LEGACY", "False"}}),
                           .files = {{"/config/common/log/settings.txt",
                                      "COMMON_LOG_STRIP=from the file\nCOMMON_LOG_LEVEL=Warn\n"}}};
    const Outcome outcome = well(setup, [] { COMMON_Log_LevelGet(); });
    EXPECT_THAT(in_order(outcome),
                ElementsAre("Initializing", kNotLoaded.message,
                            "Invalid COMMON_LOG_STRIP: from the file",
                            "Invalid COMMON_LOG_STRIP: from the environment",
                            "liboxa.so library was not loaded", "cache:    True", "color:    False",
                            "debug:    True", "enable:   True", "strip:    True", "legacy:   True",
                            "peakload: None (0) //GranularityPeakloadProcessing:1000",
                            "level:    Warn (3) //AtPeakloadOff:{3:Warn} //AtPeakloadOn:{5:Info}",
                            "Initialized"));
}

TEST(CommonLogStart, WithoutAKeyTheCacheIsOff)
{
    const Outcome outcome = well({.env = kDebugOn}, [] {
        fault::fail(fault::Call::pthread_key_create, 1, EAGAIN);
        EXPECT_EQ(COMMON_Log_CacheGet(), 0u);
        const long blocks = fault::outstanding_blocks();
        log_message(kInfo, "from the stack");
        EXPECT_EQ(fault::outstanding_blocks(), blocks);
    });
    EXPECT_THAT(outcome.log, ElementsAre(said(kInfo, "from the stack")));
    const auto disabled = log_row("stderr", "threadOnce",
                                  "Disabling caching due to failure creating the key with error: "
                                  "Resource temporarily unavailable (11)");
    EXPECT_THAT(row_texts(outcome.err), ElementsAre(kNotLoaded, disabled));
    Messages expected = kDefaults;
    expected[1] = "cache:    False";
    EXPECT_THAT(row_texts(outcome.out), ElementsAreArray(started(expected)));
    const Messages all = in_order(outcome);
    ASSERT_EQ(all.size(), 12u);
    EXPECT_EQ(all[2], disabled.message) << "before the settings are told";
}

TEST(CommonLogStart, NoKeyIsMadeWithTheCacheOff)
{
    well({.env = {{"COMMON_LOG_CACHE", "False"}}}, [] {
        EXPECT_EQ(COMMON_Log_CacheGet(), 0u);
        EXPECT_EQ(fault::calls(fault::Call::pthread_key_create), 0);
    });
}

TEST(CommonLogStart, EveryFunctionOfTheFacilityStartsItOnce)
{
    static const std::pair<const char*, void (*)()> kCalls[] = {
        {"Acceptable", [] { COMMON_Log_Acceptable(kFatal); }},
        {"Acceptable of no level", [] { COMMON_Log_Acceptable(UINT32_MAX); }},
        {"Write", [] { COMMON_Log_Write(7, 0, "", "", "", 0, "dropped"); }},
        {"WriteV", [] { log_message(kVerbose, "dropped"); }},
        {"CacheGet", [] { COMMON_Log_CacheGet(); }},
        {"CacheSet", [] { COMMON_Log_CacheSet(1); }},
        {"ColorGet", [] { COMMON_Log_ColorGet(); }},
        {"ColorSet", [] { COMMON_Log_ColorSet(0); }},
        {"EnableGet", [] { COMMON_Log_EnableGet(); }},
        {"EnableSet", [] { COMMON_Log_EnableSet(1); }},
        {"FormatGet", [] { COMMON_Log_FormatGet(); }},
        {"FormatSet", [] { COMMON_Log_FormatSet(COMMON_LogFormatAll); }},
        {"LegacyGet", [] { COMMON_Log_LegacyGet(); }},
        {"LegacySet", [] { COMMON_Log_LegacySet(1); }},
        {"PeakloadControlGet", [] { COMMON_Log_PeakloadControlGet(); }},
        {"PeakloadControlSet", [] { COMMON_Log_PeakloadControlSet(0); }},
        {"StripGet", [] { COMMON_Log_StripGet(); }},
        {"StripSet", [] { COMMON_Log_StripSet(1); }},
        {"LevelGet", [] { COMMON_Log_LevelGet(); }},
        {"LevelSet", [] { COMMON_Log_LevelSet(kInfo); }},
        {"LevelGetExtended", [] { COMMON_Log_LevelGetExtended(0); }},
        {"LevelSetExtended", [] { COMMON_Log_LevelSetExtended(kInfo, 0); }},
        {"Dump", [] { COMMON_LogDumpLoggerStatus(""); }},
        {"LOG_Write", [] { LOG_Write(0, kVerbose, "", "", 0, "dropped"); }},
        {"LOG_FatalError", [] { LOG_FatalError(0, 0, "", "", 0, "written"); }},
        {"LOG_PrintTime", [] { LOG_PrintTime(0, "", "", "", "", 0); }},
        {"LOG_GetPreFilterLevel", [] { LOG_GetPreFilterLevel(); }},
        {"LOG_SetPreFilterLevel", [] { LOG_SetPreFilterLevel(0); }},
        {"LOG_BufferWrite", [] { LOG_BufferWrite(nullptr); }},
    };
    for (const auto& [name, call] : kCalls) {
        SCOPED_TRACE(name);
        const Outcome outcome = well({.env = kDebugOn}, [call = call] {
            call();
            call();
            COMMON_Log_LevelGet();
        });
        EXPECT_THAT(row_texts(outcome.out), ElementsAreArray(started(kDefaults)));
    }
}

TEST(CommonLogStart, TextsAndModuleNamesDoNotStartIt)
{
    const Outcome outcome = well({.env = kDebugOn}, [] {
        COMMON_LogLevel_ToString(kInfo);
        COMMON_LogPeakloadControl_ToString(kOn);
        LOG_GetModuleName(LOG_MODULE_COMMON);
        LOG_GetNumModules();
        LOG_IsModuleIdValid(0);
        LOG_BufferDestroy(LOG_BufferCreate());
        LOG_BufferFlush(nullptr);
    });
    EXPECT_EQ(outcome.out + outcome.err, "");
}

FRESH_TEST(CommonLogStart, ALoadedProcessThatNeverLogsReadsNothing)
{
    EXPECT_EQ(fault::calls(fault::Call::open), 0);
    EXPECT_EQ(fault::calls(fault::Call::dlopen), 0);
    EXPECT_EQ(fault::calls(fault::Call::pthread_key_create), 0);
}

}  // namespace
