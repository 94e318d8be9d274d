// The getters and setters of the log settings, and what they say about bad values.
#include "common_log_settings.h"

#include <climits>

#include "settings_seen.h"
#include "status.h"

namespace {

using namespace harness;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

/// Starts from three different levels, so that it shows which one a call changes.
void start_from(const Levels& wanted)
{
    COMMON_Log_PeakloadControlSet(wanted.control);
    COMMON_Log_LevelSetExtended(wanted.off, kOff);
    COMMON_Log_LevelSetExtended(wanted.on, kOn);
    COMMON_Log_LevelSetExtended(wanted.level, kNone);
    ASSERT_EQ(levels(), wanted);
}

FRESH_TEST(CommonLogSettings, DefaultsWithoutFilesAndEnvironment)
{
    EXPECT_EQ(settings(), Settings{});
}

FRESH_TEST(CommonLogSettings, DefaultsAreTheNumbersThatCallersKnow)
{
    EXPECT_EQ(COMMON_Log_CacheGet(), 1u);
    EXPECT_EQ(COMMON_Log_ColorGet(), 0u);
    EXPECT_EQ(COMMON_Log_EnableGet(), 1u);
    EXPECT_EQ(COMMON_Log_StripGet(), 1u);
    EXPECT_EQ(COMMON_Log_LegacyGet(), 1u);
    EXPECT_EQ(COMMON_Log_FormatGet(), 4u);
    EXPECT_EQ(COMMON_Log_PeakloadControlGet(), 0u);
    EXPECT_EQ(COMMON_Log_LevelGet(), 5u);
    EXPECT_EQ(COMMON_Log_LevelGetExtended(0), 5u);
    EXPECT_EQ(COMMON_Log_LevelGetExtended(1), 5u);
    EXPECT_EQ(COMMON_Log_LevelGetExtended(2), 5u);
}

TEST(CommonLogSettings, PlainSettersStoreAnyValueUnchecked)
{
    static const struct {
        const char* name;
        void (*set)(std::uint32_t);
        std::uint32_t Settings::*field;
    } kSetters[] = {
        {"cache", COMMON_Log_CacheSet, &Settings::cache},
        {"color", COMMON_Log_ColorSet, &Settings::color},
        {"enable", COMMON_Log_EnableSet, &Settings::enable},
        {"format", COMMON_Log_FormatSet, &Settings::format},
        {"strip", COMMON_Log_StripSet, &Settings::strip},
    };
    for (const auto& setter : kSetters) {
        SCOPED_TRACE(setter.name);
        run_silently([&] {
            for (const std::uint32_t value : {0u, 1u, 2u, 5u, 256u, 0x80000000u, UINT32_MAX, 1u}) {
                setter.set(value);
                Settings expected;
                expected.*setter.field = value;
                EXPECT_EQ(settings(), expected);
            }
        });
    }
}

TEST(CommonLogSettings, SetterThatIsTheFirstCallPrevailsOverTheEnvironment)
{
    static const struct {
        const char* variable;
        const char* text;
        void (*set)(std::uint32_t);
        std::uint32_t (*get)();
        std::uint32_t value;
    } kSetters[] = {
        {"COMMON_LOG_CACHE", "False", COMMON_Log_CacheSet, COMMON_Log_CacheGet, 1},
        {"COMMON_LOG_COLOR", "True", COMMON_Log_ColorSet, COMMON_Log_ColorGet, 0},
        {"COMMON_LOG_ENABLE", "False", COMMON_Log_EnableSet, COMMON_Log_EnableGet, 1},
        {"COMMON_LOG_FORMAT", "Columns", COMMON_Log_FormatSet, COMMON_Log_FormatGet,
         COMMON_LogFormatAll},
        {"COMMON_LOG_STRIP", "False", COMMON_Log_StripSet, COMMON_Log_StripGet, 1},
    };
    for (const auto& setter : kSetters) {
        SCOPED_TRACE(setter.variable);
        run_silently({.env = {{setter.variable, setter.text}}}, [&] {
            setter.set(setter.value);
            EXPECT_EQ(setter.get(), setter.value);
        });
    }
}

FRESH_TEST(CommonLogSettings, LegacySetGivesTheResultOfTheUnlock)
{
    for (const std::uint32_t value : {0u, 1u, 2u, UINT32_MAX}) {
        EXPECT_EQ(COMMON_Log_LegacySet(value), 0);
        // Without a handler library the built-in handler stays.
        EXPECT_EQ(COMMON_Log_LegacyGet(), 1u);
    }
}

TEST(CommonLogSettings, LevelSetAlsoSetsTheLevelsThatGoWithTheControl)
{
    static const struct {
        Levels before;
        COMMON_LogLevel_t level;
        Levels after;
    } kCases[] = {
        {{kNone, 5, 4, 6}, 0, {kNone, 0, 0, 0}}, {{kNone, 5, 4, 6}, 7, {kNone, 7, 7, 7}},
        {{kOff, 5, 4, 6}, 0, {kOff, 0, 0, 6}},   {{kOff, 5, 4, 6}, 7, {kOff, 7, 7, 6}},
        {{kOn, 5, 4, 6}, 0, {kOn, 0, 4, 0}},     {{kOn, 5, 4, 6}, 7, {kOn, 7, 4, 7}},
    };
    const Outcome outcome = well([] {
        for (const auto& one : kCases) {
            start_from(one.before);
            COMMON_Log_LevelSet(one.level);
            EXPECT_EQ(levels(), one.after) << "from " << one.before;
        }
    });
    EXPECT_THAT(outcome.log, IsEmpty());
}

TEST(CommonLogSettings, LevelSetRefusesInvalidLevels)
{
    const Outcome outcome = well([] {
        for (const auto control : {kNone, kOff, kOn}) {
            const auto number = static_cast<COMMON_LogPeakloadControl_t>(control);
            start_from({number, 5, 4, 6});
            for (const COMMON_LogLevel_t level : {8u, 255u, 256u, UINT32_MAX}) {
                COMMON_Log_LevelSet(level);
                EXPECT_EQ(levels(), (Levels{number, kInfo, kNote, kDebug}));
            }
        }
    });
    std::vector<Report> expected;
    for (int control = 0; control < 3; ++control) {
        for (const char* number : {"8", "255", "256", "-1"}) {
            expected.push_back(
                said(kWarn, "COMMON_Log_LevelSet",
                     std::string("No change due to invalid level: Invalid (") + number + ")"));
        }
    }
    EXPECT_THAT(outcome.log, ElementsAreArray(expected));
}

TEST(CommonLogSettings, LevelSetExtendedSetsOneLevelWhateverTheControl)
{
    const Outcome outcome = well([] {
        for (const auto control : {kNone, kOff, kOn}) {
            const auto number = static_cast<COMMON_LogPeakloadControl_t>(control);
            for (const COMMON_LogLevel_t level : {0u, 7u}) {
                start_from({number, 5, 4, 6});
                EXPECT_EQ(COMMON_Log_LevelSetExtended(level, kNone), STATUS_SUCCESS);
                EXPECT_EQ(levels(), (Levels{number, level, kNote, kDebug}));
                start_from({number, 5, 4, 6});
                EXPECT_EQ(COMMON_Log_LevelSetExtended(level, kOff), STATUS_SUCCESS);
                EXPECT_EQ(levels(), (Levels{number, kInfo, level, kDebug}));
                start_from({number, 5, 4, 6});
                EXPECT_EQ(COMMON_Log_LevelSetExtended(level, kOn), STATUS_SUCCESS);
                EXPECT_EQ(levels(), (Levels{number, kInfo, kNote, level}));
            }
        }
    });
    EXPECT_THAT(outcome.log, IsEmpty());
}

TEST(CommonLogSettings, LevelSetExtendedRefusesInvalidValues)
{
    const Outcome outcome = well([] {
        start_from({kOff, 5, 4, 6});
        EXPECT_EQ(COMMON_Log_LevelSetExtended(8, kNone), STATUS_INVALID_PARAM);
        EXPECT_EQ(COMMON_Log_LevelSetExtended(UINT32_MAX, kOff), STATUS_INVALID_PARAM);
        EXPECT_EQ(COMMON_Log_LevelSetExtended(9, 3), STATUS_INVALID_PARAM);
        EXPECT_EQ(COMMON_Log_LevelSetExtended(kFatal, 3), STATUS_INVALID_PARAM);
        EXPECT_EQ(COMMON_Log_LevelSetExtended(kVerbose, UINT32_MAX), STATUS_INVALID_PARAM);
        EXPECT_EQ(levels(), (Levels{kOff, kInfo, kNote, kDebug}));
    });
    const auto warning = [](const char* message) {
        return said(kWarn, "COMMON_Log_LevelSetExtended", message);
    };
    EXPECT_THAT(outcome.log,
                ElementsAre(warning("No change due to invalid level: Invalid (8)"),
                            warning("No change due to invalid level: Invalid (-1)"),
                            warning("No change due to invalid level: Invalid (9)"),
                            warning("Invalid (COMMON_LogPeakloadControl_t)option:3"),
                            warning("Invalid (COMMON_LogPeakloadControl_t)option:-1")));
}

TEST(CommonLogSettings, LevelGetExtendedTakesAnUnknownOptionForNone)
{
    const Outcome outcome = well([] {
        start_from({kOn, 5, 4, 6});
        EXPECT_EQ(COMMON_Log_LevelGetExtended(kNone), kInfo);
        EXPECT_EQ(COMMON_Log_LevelGetExtended(kOff), kNote);
        EXPECT_EQ(COMMON_Log_LevelGetExtended(kOn), kDebug);
        EXPECT_EQ(COMMON_Log_LevelGetExtended(3), 5u);
        EXPECT_EQ(COMMON_Log_LevelGetExtended(UINT32_MAX), 5u);
    });
    const auto warning = [](const std::string& option) {
        return said(kWarn, "COMMON_Log_LevelGetExtended",
                    "Invalid (COMMON_LogPeakloadControl_t)option:" + option +
                        "; COMMON_LogPeakloadControlNone(0) assumed");
    };
    EXPECT_THAT(outcome.log, ElementsAre(warning("3"), warning("-1")));
}

TEST(CommonLogSettings, PeakloadControlSetMakesItsLevelTheCurrentOne)
{
    static const struct {
        Levels before;
        COMMON_LogPeakloadControl_t option;
        Levels after;
    } kCases[] = {
        {{kNone, 3, 4, 6}, kNone, {kNone, 4, 4, 4}}, {{kNone, 3, 4, 6}, kOff, {kOff, 4, 4, 6}},
        {{kNone, 3, 4, 6}, kOn, {kOn, 6, 4, 6}},     {{kOff, 3, 4, 6}, kNone, {kNone, 4, 4, 4}},
        {{kOff, 3, 4, 6}, kOff, {kOff, 4, 4, 6}},    {{kOff, 3, 4, 6}, kOn, {kOn, 6, 4, 6}},
        {{kOn, 3, 4, 6}, kNone, {kNone, 4, 4, 4}},   {{kOn, 3, 4, 6}, kOff, {kOff, 4, 4, 6}},
        {{kOn, 3, 4, 6}, kOn, {kOn, 6, 4, 6}},
    };
    const Outcome outcome = well([] {
        for (const auto& one : kCases) {
            start_from(one.before);
            COMMON_Log_PeakloadControlSet(one.option);
            EXPECT_EQ(levels(), one.after) << "from " << one.before;
        }
    });
    EXPECT_THAT(outcome.log, IsEmpty());
}

TEST(CommonLogSettings, PeakloadControlSetRefusesOtherValues)
{
    const Outcome outcome = well([] {
        start_from({kOn, 5, 4, 6});
        COMMON_Log_PeakloadControlSet(3);
        COMMON_Log_PeakloadControlSet(UINT32_MAX);
        EXPECT_EQ(levels(), (Levels{kOn, kInfo, kNote, kDebug}));
    });
    const auto warning = [](const char* message) {
        return said(kWarn, "COMMON_Log_PeakloadControlSet", message);
    };
    EXPECT_THAT(outcome.log, ElementsAre(warning("No change due to invalid parameter: 3"),
                                         warning("No change due to invalid parameter: -1")));
}

FRESH_TEST(CommonLogSettings, APreparedLevelComesIntoForceWithItsControl)
{
    COMMON_Log_PeakloadControlSet(kOff);
    EXPECT_EQ(COMMON_Log_LevelSetExtended(kDebug, kOff), STATUS_SUCCESS);
    EXPECT_EQ(COMMON_Log_LevelGet(), kInfo);
    EXPECT_EQ(COMMON_Log_LevelSetExtended(kError, kOn), STATUS_SUCCESS);
    COMMON_Log_PeakloadControlSet(kOn);
    EXPECT_EQ(COMMON_Log_LevelGet(), kError);
    COMMON_Log_PeakloadControlSet(kOff);
    EXPECT_EQ(COMMON_Log_LevelGet(), kDebug);
}

/// Makes every call that warns.
void provoke_all_warnings()
{
    COMMON_Log_LevelSet(8);
    COMMON_Log_LevelSetExtended(8, kNone);
    COMMON_Log_LevelSetExtended(kFatal, 3);
    COMMON_Log_LevelGetExtended(3);
    COMMON_Log_PeakloadControlSet(3);
}

TEST(CommonLogSettings, WarningsAreSubjectToTheLevel)
{
    const Outcome outcome = well([] {
        COMMON_Log_LevelSet(kError);
        provoke_all_warnings();
        COMMON_Log_LevelSet(kVerbose);
        COMMON_Log_EnableSet(0);
        provoke_all_warnings();
        log_message(kFatal, "dropped, too");
    });
    EXPECT_THAT(outcome.log, IsEmpty());

    const Outcome at_warn = well([] {
        COMMON_Log_LevelSet(kWarn);
        provoke_all_warnings();
    });
    EXPECT_EQ(at_warn.log.size(), 5u);
}

TEST(CommonLogSettings, OnlyEnableOneAcceptsRecords)
{
    const Outcome outcome = well([] {
        for (const std::uint32_t value : {0u, 2u, UINT32_MAX}) {
            COMMON_Log_EnableSet(value);
            for (const COMMON_LogLevel_t level : {0u, 5u, 6u}) {
                EXPECT_EQ(COMMON_Log_Acceptable(level), 0u) << value;
                log_message(level, "while disabled by %u", value);
            }
        }
        COMMON_Log_EnableSet(1);
        log_message(kInfo, "enabled again");
    });
    EXPECT_THAT(outcome.log, ElementsAre(said(kInfo, "enabled again")));
}

TEST(CommonLogSettings, TextsOfThePeakloadControls)
{
    EXPECT_STREQ(COMMON_LogPeakloadControl_ToString(kNone), "None");
    EXPECT_STREQ(COMMON_LogPeakloadControl_ToString(kOff), "Off");
    EXPECT_STREQ(COMMON_LogPeakloadControl_ToString(kOn), "On");
    EXPECT_STREQ(COMMON_LogPeakloadControl_ToString(3), "Invalid");
    EXPECT_STREQ(COMMON_LogPeakloadControl_ToString(0x80000000u), "Invalid");
    EXPECT_STREQ(COMMON_LogPeakloadControl_ToString(UINT32_MAX), "Invalid");
}

}  // namespace
