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

/// X(setting, its default, how a caller sees it).
#define SETTINGS_SEEN(X)                                                                   \
    X(cache, 1, COMMON_Log_CacheGet())                                                     \
    X(color, 0, COMMON_Log_ColorGet())                                                     \
    X(enable, 1, COMMON_Log_EnableGet())                                                   \
    X(strip, 1, COMMON_Log_StripGet())                                                     \
    X(legacy, 1, COMMON_Log_LegacyGet())                                                   \
    X(format, COMMON_LogFormatSyslogngext, COMMON_Log_FormatGet())                         \
    X(control, COMMON_LogPeakloadControlNone, COMMON_Log_PeakloadControlGet())             \
    X(level, COMMON_LogLevelInfo, COMMON_Log_LevelGet())                                   \
    X(off, COMMON_LogLevelInfo, COMMON_Log_LevelGetExtended(COMMON_LogPeakloadControlOff)) \
    X(on, COMMON_LogLevelInfo, COMMON_Log_LevelGetExtended(COMMON_LogPeakloadControlOn))

/// The settings that have a getter, as the calling process sees them.
struct Settings {
#define FIELD(setting, by_default, getter) std::uint32_t setting = (by_default);
    SETTINGS_SEEN(FIELD)
#undef FIELD

    bool operator==(const Settings&) const = default;
};

inline Settings settings()
{
#define SEEN(setting, by_default, getter) .setting = (getter),
    return {SETTINGS_SEEN(SEEN)};
#undef SEEN
}

inline std::ostream& operator<<(std::ostream& stream, const Settings& settings)
{
#define SHOW(setting, by_default, getter) << " " #setting "=" << settings.setting
    return stream << "{" SETTINGS_SEEN(SHOW) << " }";
#undef SHOW
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
