// The dump of the log settings into the log.
#include "settings_seen.h"

namespace {

using namespace harness;
using testing::ElementsAreArray;
using testing::IsEmpty;

using Messages = std::vector<std::string>;

const Messages kDefaults{
    "cache:    True",
    "color:    False",
    "debug:    False",
    "enable:   True",
    "strip:    True",
    "legacy:   True",
    "level:    Info (5) Current",
    "level:    Info (5) atPeakloadOff",
    "level:    Info (5) atPeakloadOn",
    "peakload: None (0)",
    "granularityPeakloadProcessing: 1000",
};

std::vector<Report> dumped(COMMON_LogLevel_t level, const std::string& zone,
                           const Messages& messages)
{
    std::vector<Report> all;
    for (const std::string& message : messages) {
        all.push_back(said(level, zone, "common_log", "COMMON_LogDumpLoggerStatus", message));
    }
    return all;
}

TEST(CommonLogStatus, ElevenRecordsInOrder)
{
    const Outcome outcome = well([] { COMMON_LogDumpLoggerStatus("STATUS"); });
    EXPECT_THAT(outcome.log, ElementsAreArray(dumped(kInfo, "STATUS", kDefaults)));
}

TEST(CommonLogStatus, EveryRecordIsAtTheCurrentLevel)
{
    for (COMMON_LogLevel_t level = kFatal; level <= kVerbose; ++level) {
        const Outcome outcome = well([&] {
            COMMON_Log_LevelSet(level);
            COMMON_LogDumpLoggerStatus("");
        });
        Messages expected = kDefaults;
        const std::string text =
            std::string(COMMON_LogLevel_ToString(level)) + " (" + std::to_string(level) + ") ";
        expected[6] = "level:    " + text + "Current";
        expected[7] = "level:    " + text + "atPeakloadOff";
        expected[8] = "level:    " + text + "atPeakloadOn";
        EXPECT_THAT(outcome.log, ElementsAreArray(dumped(level, "", expected)));
    }
}

TEST(CommonLogStatus, ShowsEverySettingOfItsOwn)
{
    const FreshSetup setup{
        .env = {{"COMMON_DEBUG_ENABLE", "True"}, {"COMMON_LOG_PEAKLOAD_GRANULARITY", "250"}}};
    const Outcome outcome = well(setup, [] {
        COMMON_Log_CacheSet(0);
        COMMON_Log_ColorSet(1);
        COMMON_Log_StripSet(0);
        COMMON_Log_PeakloadControlSet(kOff);
        COMMON_Log_LevelSetExtended(kNote, kNone);
        COMMON_Log_LevelSetExtended(kError, kOff);
        COMMON_Log_LevelSetExtended(kVerbose, kOn);
        COMMON_LogDumpLoggerStatus("Z");
    });
    const Messages expected{
        "cache:    False",
        "color:    True",
        "debug:    True",
        "enable:   True",
        "strip:    False",
        "legacy:   True",
        "level:    Note (4) Current",
        "level:    Error (2) atPeakloadOff",
        "level:    Verbose (7) atPeakloadOn",
        "peakload: Off (1)",
        "granularityPeakloadProcessing: 250",
    };
    EXPECT_THAT(outcome.log, ElementsAreArray(dumped(kNote, "Z", expected)));
}

TEST(CommonLogStatus, OtherBooleansAreInvalid)
{
    const Outcome outcome = well([] {
        COMMON_Log_CacheSet(2);
        COMMON_Log_ColorSet(UINT32_MAX);
        COMMON_Log_StripSet(7);
        COMMON_Log_PeakloadControlSet(kOn);
        COMMON_LogDumpLoggerStatus("Z");
    });
    Messages expected = kDefaults;
    expected[0] = "cache:    Invalid";
    expected[1] = "color:    Invalid";
    expected[4] = "strip:    Invalid";
    expected[9] = "peakload: On (2)";
    EXPECT_THAT(outcome.log, ElementsAreArray(dumped(kInfo, "Z", expected)));
}

TEST(CommonLogStatus, NothingWhileLoggingIsDisabled)
{
    const Outcome outcome = well([] {
        COMMON_Log_EnableSet(2);
        COMMON_LogDumpLoggerStatus("Z");
    });
    EXPECT_THAT(outcome.log, IsEmpty());
}

TEST(CommonLogStatus, NoZoneIsAnEmptyZone)
{
    const Outcome outcome = well([] { COMMON_LogDumpLoggerStatus(nullptr); });
    EXPECT_THAT(outcome.log, ElementsAreArray(dumped(kInfo, "", kDefaults)));
}

}  // namespace
