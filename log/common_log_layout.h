// The record layouts of the built-in handler.
#pragma once

#include <cstddef>
#include <cstdint>

#include "common_log.h"
#include "thread/clock.h"

namespace common {

/// The working buffer in which one record is assembled.
struct COMMON_LogRecord {
    std::uint8_t busy;
    std::uint64_t time;
    std::uint32_t processId;
    std::uint32_t threadId;
    std::int32_t line;
    char message[1024];
};

static_assert(offsetof(COMMON_LogRecord, busy) == 0);
static_assert(offsetof(COMMON_LogRecord, time) == (alignof(COMMON_LogRecord) == 4 ? 4 : 8));
static_assert(offsetof(COMMON_LogRecord, processId) == offsetof(COMMON_LogRecord, time) + 8);
static_assert(offsetof(COMMON_LogRecord, threadId) == offsetof(COMMON_LogRecord, time) + 12);
static_assert(offsetof(COMMON_LogRecord, line) == offsetof(COMMON_LogRecord, time) + 16);
static_assert(offsetof(COMMON_LogRecord, message) == offsetof(COMMON_LogRecord, time) + 20);
static_assert(sizeof(COMMON_LogRecord) == (alignof(COMMON_LogRecord) == 4 ? 1048 : 1056));

/// The fields of a record beside those in COMMON_LogRecord. No text is null.
struct RecordFields {
    /// Day since the epoch and local time: "DDD.HH:MM:SS".
    const char* stamp;
    /// Where the local time begins in it.
    const char* time_of_day;
    std::uint32_t nanoseconds;
    const char* level;
    const char* process_name;
    const char* zone;
    const char* file;
    const char* function;
};

/// Writes a record in a layout, as snprintf(3) does: cut to the capacity, always terminated.
/// Composed by hand: this is what each record costs, and the printf family takes several times as
/// long.
/// @return the length of the whole text in bytes.
std::size_t compose_record(COMMON_LogFormat_t format, const COMMON_LogRecord& record,
                           const RecordFields& fields, char* text, std::size_t capacity) noexcept;

}  // namespace common
