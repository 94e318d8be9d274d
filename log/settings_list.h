// The settings of the log facility: the one list that their names, their readers and the status
// reports are made of. A new setting is a row here and a field of Logger (log/logger.h); what
// callers see of it is in include/common_log_settings.h.
#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace common::log {

/// When a setting counts: also when the files are read again, or only at the start of the process.
enum class Counts : bool { Always, AtStart };

/// How the status reports show a setting: by a line that says True or False (the list of them is
/// below), in a line that each report words for itself, or not at all.
enum class Shown : unsigned char { AsSwitch, InWords, Never };

}  // namespace common::log

/// X(setting, variable, counts, shown, reader), in the order in which a shortened name is compared
/// with the variables. A reader takes the text `value` in, or returns false
/// (log/common_log_parser.cpp).
#define COMMON_LOG_SETTINGS(X)                                                                  \
    X(Cache, "COMMON_LOG_CACHE", Always, AsSwitch, read_cache(value))                           \
    X(Color, "COMMON_LOG_COLOR", Always, AsSwitch, read_boolean(logger.color, value))           \
    X(Enable, "COMMON_LOG_ENABLE", Always, AsSwitch, read_boolean(logger.enable, value))        \
    X(Format, "COMMON_LOG_FORMAT", AtStart, Never, read_layout(value))                          \
    X(Legacy, "COMMON_LOG_LEGACY", AtStart, AsSwitch, read_boolean(logger.legacy, value))       \
    X(Level, "COMMON_LOG_LEVEL", Always, InWords, read_level(logger.levelAtPeakloadOff, value)) \
    X(LevelPeakload, "COMMON_LOG_LEVEL_PEAKLOAD", Always, InWords,                              \
      read_level(logger.levelAtPeakloadOn, value))                                              \
    X(PeakloadControl, "COMMON_LOG_PEAKLOAD_CONTROL", Always, InWords, read_control(value))     \
    X(PeakloadGranularity, "COMMON_LOG_PEAKLOAD_GRANULARITY", Always, InWords,                  \
      read_granularity(value))                                                                  \
    X(Strip, "COMMON_LOG_STRIP", Always, AsSwitch, read_boolean(logger.strip, value))

/// X(line, field): the lines with which both status reports begin, in their order.
#define COMMON_LOG_SWITCHES(X) \
    X("cache:    %s", cache)   \
    X("color:    %s", color)   \
    X("debug:    %s", debug)   \
    X("enable:   %s", enable)  \
    X("strip:    %s", strip)   \
    X("legacy:   %s", legacy)

namespace common::log {

#define IS_SWITCH(setting, variable, counts, shown, reader) (Shown::shown == Shown::AsSwitch),
#define LENGTH(line, field) sizeof(line),
static_assert(
    [] {
        constexpr bool is_switch[] = {COMMON_LOG_SETTINGS(IS_SWITCH)};
        constexpr std::size_t lengths[] = {COMMON_LOG_SWITCHES(LENGTH)};
        return std::ssize(lengths) ==
               std::count(std::begin(is_switch), std::end(is_switch), true) + 1;
    }(),
    "each setting shown as a switch has its line, and so has debug, which is read elsewhere");
#undef IS_SWITCH
#undef LENGTH

}  // namespace common::log
