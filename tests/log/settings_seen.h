// What the tests of the log settings have in common: all settings at a glance, and records and rows
// that tell them.
#pragma once

#include <ostream>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

#include "common_log_settings.h"
#include "log_calls.h"

namespace harness {

/// The settings that have a getter, which the calling process sees.
struct Settings {
    std::uint32_t cache = 1;
    std::uint32_t color = 0;
    std::uint32_t enable = 1;
    std::uint32_t strip = 1;
    std::uint32_t legacy = 1;
    COMMON_LogFormat_t format = COMMON_LogFormatSyslogngext;
    COMMON_LogPeakloadControl_t control = COMMON_LogPeakloadControlNone;
    COMMON_LogLevel_t level = COMMON_LogLevelInfo;
    COMMON_LogLevel_t off = COMMON_LogLevelInfo;
    COMMON_LogLevel_t on = COMMON_LogLevelInfo;

    bool operator==(const Settings&) const = default;
};

inline Settings settings()
{
    return {.cache = COMMON_Log_CacheGet(),
            .color = COMMON_Log_ColorGet(),
            .enable = COMMON_Log_EnableGet(),
            .strip = COMMON_Log_StripGet(),
            .legacy = COMMON_Log_LegacyGet(),
            .format = COMMON_Log_FormatGet(),
            .control = COMMON_Log_PeakloadControlGet(),
            .level = COMMON_Log_LevelGet(),
            .off = COMMON_Log_LevelGetExtended(COMMON_LogPeakloadControlOff),
            .on = COMMON_Log_LevelGetExtended(COMMON_LogPeakloadControlOn)};
}

inline std::ostream& operator<<(std::ostream& stream, const Settings& settings)
{
    return stream << "{cache=" << settings.cache << " color=" << settings.color
                  << " enable=" << settings.enable << " strip=" << settings.strip
                  << " legacy=" << settings.legacy << " format=" << settings.format
                  << " control=" << settings.control << " level=" << settings.level
                  << " off=" << settings.off << " on=" << settings.on << "}";
}

/// The three levels, and the control that one of them goes with.
struct Levels {
    COMMON_LogPeakloadControl_t control = COMMON_LogPeakloadControlNone;
    COMMON_LogLevel_t level = COMMON_LogLevelInfo;
    COMMON_LogLevel_t off = COMMON_LogLevelInfo;
    COMMON_LogLevel_t on = COMMON_LogLevelInfo;

    bool operator==(const Levels&) const = default;
};

inline Levels levels()
{
    const Settings now = settings();
    return {now.control, now.level, now.off, now.on};
}

inline std::ostream& operator<<(std::ostream& stream, const Levels& levels)
{
    return stream << "{control=" << levels.control << " level=" << levels.level
                  << " off=" << levels.off << " on=" << levels.on << "}";
}

/// What is accepted must be what the settings say, once nobody changes them any more.
inline void compare_accepted_with_settings()
{
    std::uint32_t answers[9];
    for (COMMON_LogLevel_t level = 0; level < 9; ++level) {
        answers[level] = COMMON_Log_Acceptable(level);
    }
    for (COMMON_LogLevel_t level = 0; level < 9; ++level) {
        const bool accepted = COMMON_Log_EnableGet() == 1 && level <= COMMON_Log_LevelGet();
        EXPECT_EQ(answers[level], accepted ? 1u : 0u) << settings();
    }
}

/// Adds variables to the environment of the calling process, in this order and as they are, also
/// twice the same name or without a value. Kept for the rest of the process.
inline void add_to_environment(const std::vector<std::string>& variables)
{
    static std::vector<std::string> texts;
    static std::vector<char*> pointers;
    texts = variables;
    pointers.clear();
    for (char** variable = environ; *variable != nullptr; ++variable) {
        pointers.push_back(*variable);
    }
    for (auto& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    environ = pointers.data();
}

/// What the start-up report on standard output says about the peakload control.
inline std::string reported_peakload(const Outcome& outcome)
{
    for (const RowText& row : row_texts(outcome.out)) {
        if (row.message.starts_with("peakload: ")) {
            return row.message;
        }
    }
    return "nothing";
}

}  // namespace harness
