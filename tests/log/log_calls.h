// What the tests of the log facility have in common: calls, and the records and rows they cause.
#pragma once

#include <cstdarg>
#include <cstdio>
#include <functional>
#include <map>
#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common_log.h"
#include "common_log_settings.h"
#include "debug_rows.h"
#include "fresh_process.h"
#include "log_expect.h"
#include "log_layout.h"

namespace harness {

inline constexpr std::uint32_t kZoneNumber = 4095;

// The levels and the peakload controls for short.
inline constexpr COMMON_LogLevel_t kFatal = COMMON_LogLevelFatal;
inline constexpr COMMON_LogLevel_t kCritical = COMMON_LogLevelCritical;
inline constexpr COMMON_LogLevel_t kError = COMMON_LogLevelError;
inline constexpr COMMON_LogLevel_t kWarn = COMMON_LogLevelWarn;
inline constexpr COMMON_LogLevel_t kNote = COMMON_LogLevelNote;
inline constexpr COMMON_LogLevel_t kInfo = COMMON_LogLevelInfo;
inline constexpr COMMON_LogLevel_t kDebug = COMMON_LogLevelDebug;
inline constexpr COMMON_LogLevel_t kVerbose = COMMON_LogLevelVerbose;
inline constexpr COMMON_LogPeakloadControl_t kNone = COMMON_LogPeakloadControlNone;
inline constexpr COMMON_LogPeakloadControl_t kOff = COMMON_LogPeakloadControlOff;
inline constexpr COMMON_LogPeakloadControl_t kOn = COMMON_LogPeakloadControlOn;

/// Turns debug output on.
inline const std::map<std::string, std::string> kDebugOn{{"COMMON_DEBUG_ENABLE", "True"}};

/// COMMON_Log_Write() without what lets the compiler check the format: it refuses a null one, and
/// "%m", which the C library knows.
using UncheckedWrite = void (*)(COMMON_LogLevel_t, std::uint32_t, const char*, const char*,
                                const char*, std::int32_t, const char*, ...);

/// Writes a record of which only the level and the message matter.
COMMON_PRINTF(2, 3)
inline void log_message(COMMON_LogLevel_t level, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    COMMON_Log_WriteV(level, kZoneNumber, "ZONE", "file.c", "function", 7, format, args);
    va_end(args);
}

/// What log_message() says.
inline Report said(COMMON_LogLevel_t level, const std::string& message)
{
    return said(level, "ZONE", "file.c", "function", message);
}

/// What the facility says about itself.
inline Report said(COMMON_LogLevel_t level, const std::string& function, const std::string& message)
{
    return said(level, "", "common_log", function, message);
}

/// The row that the facility writes about itself.
inline RowText log_row(std::string stream, std::string function, std::string message)
{
    return {std::move(stream), "common_log", std::move(function), std::move(message)};
}

/// Takes a record of the default layout apart.
inline LayoutFields fields_of(const LogRecord& record)
{
    const auto fields = parse_syslogngext(record.text);
    EXPECT_TRUE(fields.has_value()) << "not in the default layout: " << record;
    return fields.value_or(LayoutFields{});
}

/// What a body leaves behind that writes one record and ends well.
struct Single {
    LogRecord record;
    LayoutFields fields;
    Report report;
};

inline Single single_record(const FreshSetup& setup, const std::function<void()>& body)
{
    const Outcome outcome = well(setup, body);
    EXPECT_THAT(outcome.log, testing::SizeIs(1));
    if (outcome.log.size() != 1) {
        return {};
    }
    return {outcome.log[0], fields_of(outcome.log[0]), reports(outcome)[0]};
}

inline Single single_record(const std::function<void()>& body)
{
    return single_record({}, body);
}

}  // namespace harness
