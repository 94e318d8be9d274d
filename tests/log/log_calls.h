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
#include "debug_rows.h"
#include "fresh_process.h"
#include "log_expect.h"
#include "log_layout.h"

namespace bench {

inline constexpr std::uint32_t kZoneNumber = 4095;

/// Turns debug output on.
inline const std::map<std::string, std::string> kDebugOn{{"COMMON_DEBUG_ENABLE", "True"}};

/// What a record of a level says.
inline Report report(COMMON_LogLevel_t level, std::string zone, std::string file,
                     std::string function, std::string message)
{
    static constexpr struct {
        int priority;
        const char* text;
    } kLevels[] = {{LOG_EMERG, "Fatal"},  {LOG_CRIT, "Critical"}, {LOG_ERR, "Error"},
                   {LOG_WARNING, "Warn"}, {LOG_NOTICE, "Note"},   {LOG_INFO, "Info"},
                   {LOG_DEBUG, "Debug"},  {LOG_DEBUG, "Verbose"}, {LOG_ERR, "Invalid"}};
    const auto& [priority, text] = kLevels[std::min<COMMON_LogLevel_t>(level, 8)];
    return {priority,          text, std::move(zone), std::move(file), std::move(function),
            std::move(message)};
}

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
inline Report written(COMMON_LogLevel_t level, std::string message)
{
    return report(level, "ZONE", "file.c", "function", std::move(message));
}

/// What the facility says about itself.
inline Report said_by_log(COMMON_LogLevel_t level, std::string function, std::string message)
{
    return report(level, "", "common_log", std::move(function), std::move(message));
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
    const Outcome outcome = run_fresh(setup, body);
    EXPECT_THAT(outcome, exited(0));
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

/// Matches the text of an assertion that failed: "program: file:line: function: Assertion
/// `condition' failed."
inline testing::Matcher<const std::string&>
assertion_text(const std::string& file, const std::string& function, const std::string& condition)
{
    return testing::AllOf(
        testing::ContainsRegex(": " + file + ":[0-9]+: " + function + ": Assertion `"),
        testing::HasSubstr(": " + function + ": Assertion `" + condition + "' failed.\n"));
}

}  // namespace bench
