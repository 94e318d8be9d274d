// The settings of the log facility as a process has them after a file and its environment: the tool
// reads the same list of settings as the library does.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <common/common_log.h>
#include <common/common_log_settings.h>

#include "log/settings_names.h"

namespace commonctl {

using common::log::Setting;

/// The settings, with their defaults. The fields have the library's names, which the list of
/// settings uses.
struct LogSettings {
    std::uint32_t cache = 1;
    std::uint32_t color = 0;
    std::uint32_t enable = 1;
    std::uint32_t strip = 1;
    std::uint32_t legacy = 1;
    COMMON_LogFormat_t format = COMMON_LogFormatSyslogngext;
    COMMON_LogPeakloadControl_t peakloadControl = COMMON_LogPeakloadControlNone;
    std::uint8_t level = COMMON_LogLevelInfo;
    std::uint8_t levelAtPeakloadOff = COMMON_LogLevelInfo;
    std::uint8_t levelAtPeakloadOn = COMMON_LogLevelInfo;
    std::int32_t granularityPeakloadProcessing = 1000;  ///< milliseconds

    bool operator==(const LogSettings&) const = default;

    /// Whether a process with these looks for changed files.
    bool looks() const
    {
        return peakloadControl != COMMON_LogPeakloadControlNone &&
               granularityPeakloadProcessing >= 1;
    }
};

/// When a line is read.
enum class Reading : bool {
    AtStart,  ///< at the first use of the log
    Again     ///< while the process runs
};

/// What a line does.
struct Effect {
    enum class Kind : std::uint8_t {
        Sets,
        NoEquals,     ///< there is no '='
        NoPrefix,     ///< its name is no COMMON_LOG_ variable
        NoSetting,    ///< no setting's name begins so
        AtStartOnly,  ///< it would count at the start
        BadValue
    };

    Kind kind = Kind::NoEquals;
    Setting setting = Setting::Unknown;  ///< what it sets, or would set
    std::string value{};                 ///< what the setting becomes, as it is usually written
    std::string allowed{};               ///< the values that are good

    bool operator==(const Effect&) const = default;
};

/// Takes a line NAME=value in, without its newline, as the library does.
Effect take_in(LogSettings& settings, const std::string& line, Reading reading);

/// The line that gives a setting the value it has; nothing for Setting::Unknown.
std::string line_for(const LogSettings& settings, Setting setting);

/// A part of a settings file that the library takes as one line.
struct Piece {
    std::size_t line = 1;    ///< number of the line in the file, from 1
    std::size_t column = 1;  ///< of its first character, from 1: above 1 in a line that is too long
    std::string_view raw{};  ///< all its bytes, with the newline
    std::string text{};      ///< what the library sees of it

    bool last = false;  ///< whether its line ends with it
};

/// Takes a settings file apart. The pieces refer to the content.
std::vector<Piece> pieces_of(std::string_view content);

/// Takes in all lines of a file.
void take_in_file(LogSettings& settings, std::string_view content, Reading reading);

}  // namespace commonctl
