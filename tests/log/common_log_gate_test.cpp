// What COMMON_Log_Acceptable() answers, compared with the settings, after any sequence of changes.
#include <random>

#include "settings_seen.h"

namespace {

using namespace harness;

/// The rules of the settings that decide what is accepted, as a caller would tell them.
struct Model {
    std::uint32_t enable = 1;
    Levels levels{};

    void set_level(COMMON_LogLevel_t level)
    {
        if (level > kVerbose) {
            return;
        }
        levels.level = level;
        if (levels.control != kOn) {
            levels.off = level;
        }
        if (levels.control != kOff) {
            levels.on = level;
        }
    }

    void set_level_extended(COMMON_LogLevel_t level, COMMON_LogPeakloadControl_t option)
    {
        if (level > kVerbose || option > kOn) {
            return;
        }
        (option == kNone ? levels.level : option == kOff ? levels.off : levels.on) = level;
    }

    void set_control(COMMON_LogPeakloadControl_t option)
    {
        if (option > kOn) {
            return;
        }
        levels.control = option;
        levels.level = option == kOn ? levels.on : levels.off;
        if (option == kNone) {
            levels.on = levels.off;
        }
    }

    bool accepts(COMMON_LogLevel_t level) const { return enable == 1 && level <= levels.level; }
};

using Random = std::mt19937;

std::uint32_t below(std::uint32_t limit, Random& random)
{
    return static_cast<std::uint32_t>(random() % limit);
}

/// Does one thing to the library and to the model. @return what was done.
std::string step(Model& model, Random& random)
{
    const std::uint32_t value = below(10, random);
    const std::uint32_t option = below(4, random);
    const auto done = [&](const char* what) {
        return std::string(what) + " " + std::to_string(value) + " " + std::to_string(option);
    };
    switch (below(7, random)) {
    case 0:
        COMMON_Log_EnableSet(value % 3);
        model.enable = value % 3;
        return done("EnableSet modulo 3");
    case 1:
        COMMON_Log_LevelSet(value);
        model.set_level(value);
        return done("LevelSet");
    case 2:
        COMMON_Log_LevelSetExtended(value, option);
        model.set_level_extended(value, option);
        return done("LevelSetExtended");
    case 3:
        COMMON_Log_PeakloadControlSet(option);
        model.set_control(option);
        return done("PeakloadControlSet, the second of");
    case 4:
        COMMON_Log_FormatSet(COMMON_LogFormatSyslogngext);
        COMMON_Log_StripSet(value);
        return done("StripSet");
    case 5:
        COMMON_Log_CacheSet(value % 2);
        return done("CacheSet modulo 2");
    default:
        COMMON_Log_ColorSet(value);
        return done("ColorSet");
    }
}

/// Compares the answers before anything else is called: a getter may do what the question forgot.
bool agrees(const Model& model)
{
    bool same = true;
    for (const COMMON_LogLevel_t level : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u, 8u, 255u, UINT32_MAX}) {
        const std::uint32_t expected = model.accepts(level) ? 1 : 0;
        EXPECT_EQ(COMMON_Log_Acceptable(level), expected) << "level " << level;
        same = same && COMMON_Log_Acceptable(level) == expected;
    }
    EXPECT_EQ(COMMON_Log_EnableGet(), model.enable);
    EXPECT_EQ(levels(), model.levels);
    return same && COMMON_Log_EnableGet() == model.enable && levels() == model.levels;
}

void random_walk(std::uint32_t seed)
{
    Random random(seed);
    Model model;
    for (int i = 0; i < 400; ++i) {
        const std::string done = step(model, random);
        ASSERT_TRUE(agrees(model)) << "after step " << i << " of seed " << seed << ": " << done;
    }
}

TEST(CommonLogGate, AgreesWithTheSettingsAfterRandomChanges)
{
    for (const std::uint32_t seed : {1u, 2u, 3u, 4u, 5u}) {
        well([=] { random_walk(seed); });
    }
}

TEST(CommonLogGate, StartsWithWhatTheEnvironmentSays)
{
    static const struct {
        std::map<std::string, std::string> env;
        Model model;
    } kCases[] = {
        {{}, {}},
        {{{"COMMON_LOG_LEVEL", "Fatal"}}, {1, {kNone, 0, 0, 5}}},
        {{{"COMMON_LOG_LEVEL", "Verbose"}}, {1, {kNone, 7, 7, 5}}},
        {{{"COMMON_LOG_ENABLE", "False"}}, {0, {}}},
        {{{"COMMON_LOG_LEVEL_PEAKLOAD", "Error"}, {"COMMON_LOG_PEAKLOAD_CONTROL", "On"}},
         {1, {kOn, 2, 5, 2}}},
        {{{"COMMON_LOG_ENABLE", "False"}, {"COMMON_LOG_PEAKLOAD_CONTROL", "Off"}},
         {0, {kOff, 5, 5, 5}}},
    };
    for (const auto& one : kCases) {
        well({.env = one.env}, [&] { agrees(one.model); });
    }
}

TEST(CommonLogGate, WhatIsAcceptedIsWrittenAndNothingElse)
{
    const Outcome outcome = well([] {
        for (COMMON_LogLevel_t current = 0; current <= kVerbose; ++current) {
            COMMON_Log_LevelSet(current);
            for (COMMON_LogLevel_t level = 0; level <= 8; ++level) {
                log_message(level, "%u at %u", level, current);
            }
        }
    });
    std::vector<Report> expected;
    for (COMMON_LogLevel_t current = 0; current <= kVerbose; ++current) {
        for (COMMON_LogLevel_t level = 0; level <= current; ++level) {
            expected.push_back(
                said(level, std::to_string(level) + " at " + std::to_string(current)));
        }
    }
    EXPECT_THAT(outcome.log, testing::ElementsAreArray(expected));
}

}  // namespace
