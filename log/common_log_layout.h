// The record layouts of the built-in handler.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "common_log.h"

/// X(name, layout): the layouts. The public constant and the text of the setting are made of the
/// name; the layout is a function that composes a record (log/common_log_layout.cpp). A new one is
/// a row here, that function, and a constant in include/common_log.h.
#define COMMON_LOG_LAYOUTS(X) \
    X(Legacy, legacy)         \
    X(All, all)               \
    X(Columns, columns)       \
    X(Syslogng, syslogng)     \
    X(Syslogngext, syslogngext)

namespace common::log {

/// The longest message, with its terminating zero.
inline constexpr std::size_t kMessageSize = 1024;

/// The working buffer in which one record is assembled.
struct COMMON_LogRecord {
    std::uint8_t busy;
    std::uint64_t time;
    std::uint32_t processId;
    std::uint32_t threadId;
    std::int32_t line;
    /// What is sent, unless it is longer: what the layout has in front of the message, and the
    /// message, which is formatted there.
    char text[2304];
};

static_assert(offsetof(COMMON_LogRecord, busy) == 0);
static_assert(offsetof(COMMON_LogRecord, time) == (alignof(COMMON_LogRecord) == 4 ? 4 : 8));
static_assert(offsetof(COMMON_LogRecord, processId) == offsetof(COMMON_LogRecord, time) + 8);
static_assert(offsetof(COMMON_LogRecord, threadId) == offsetof(COMMON_LogRecord, time) + 12);
static_assert(offsetof(COMMON_LogRecord, line) == offsetof(COMMON_LogRecord, time) + 16);
static_assert(offsetof(COMMON_LogRecord, text) == offsetof(COMMON_LogRecord, time) + 20);

/// The layouts by the texts of the setting.
inline constexpr struct {
    COMMON_LogFormat_t layout;
    char text[12];
} kLayouts[] = {
#define ROW(name, layout) {COMMON_LogFormat##name, #name},
    COMMON_LOG_LAYOUTS(ROW)
#undef ROW
};

/// The fields of a record as they are shown, but for the message: that is the last one in each
/// layout, and formatted where it is sent from.
struct RecordFields {
    /// Day since the epoch and local time: "DDD.HH:MM:SS".
    std::string_view stamp;
    /// The local time alone.
    std::string_view time_of_day;
    std::uint32_t nanoseconds;
    std::uint32_t process_id;
    std::uint32_t thread_id;
    /// "process id, process name, thread id", the numbers signed: made once for a thread.
    std::string_view identity;
    std::string_view process_name;
    std::string_view level;
    std::string_view zone;
    std::string_view file;
    std::string_view function;
    std::int32_t line;
};

/// Bytes for the numbers, the layouts' own characters and what columns are filled up with; enough
/// for each layout, or it does not compile.
inline constexpr std::size_t kBesidesTexts = 256;

/// Bytes that these fields take at most in any layout, with a terminating zero.
constexpr std::size_t prefix_capacity(const RecordFields& fields) noexcept
{
    return kBesidesTexts + fields.stamp.size() + fields.identity.size() +
           fields.process_name.size() + fields.level.size() + fields.zone.size() +
           fields.file.size() + fields.function.size();
}

/// Writes what a layout has in front of the message; a number that is none is All. Composed by
/// hand: this is what every record costs, and the printf family takes several times as long.
/// @param text room for prefix_capacity().
/// @return where the message goes. Nothing is terminated there.
char* compose_prefix(COMMON_LogFormat_t layout, const RecordFields& fields, char* text) noexcept;

}  // namespace common::log
