// What records of the system log and texts of assertions must say:
//
//     EXPECT_THAT(outcome.log, ElementsAre(said(COMMON_LogLevelError, "COMMON", "data",
//                                               "DATA_ArrayNew", "Bad arguments.")));
//
// A file whose records have much in common has a said() of its own, without what they share.
#pragma once

#include <concepts>
#include <iosfwd>
#include <string>
#include <syslog.h>
#include <vector>

#include <gmock/gmock.h>

#include "common_log.h"
#include "outcome.h"

namespace harness {

/// What a record of the default layout says, without its time, process, thread and line.
struct Report {
    int priority = -1;
    std::string level;
    std::string zone;
    std::string file;
    std::string function;
    std::string message;

    bool operator==(const Report&) const = default;
};

/// What a record says. One that has another layout, or another facility than LOG_USER, only has a
/// message, its raw bytes.
Report report_of(const LogRecord& record);
std::vector<Report> reports(const Outcome& outcome);

/// Whether a record says this: what `ElementsAre(said(...))` compares.
bool operator==(const LogRecord& record, const Report& report);

std::ostream& operator<<(std::ostream& stream, const Report& report);

/// What a record of a level, a zone (the module's name), a file and a function says.
Report said(COMMON_LogLevel_t level, const std::string& zone, const std::string& file,
            const std::string& function, const std::string& message);

/// The same where the message is a matcher.
template <typename Message>
requires(!std::convertible_to<Message, std::string>) testing::Matcher<const LogRecord&> said(
    COMMON_LogLevel_t level, const std::string& zone, const std::string& file,
    const std::string& function, const Message& message)
{
    const Report rest = said(level, zone, file, function, "");
    return testing::ResultOf("what it says", report_of,
                             testing::AllOf(testing::Field(&Report::priority, rest.priority),
                                            testing::Field(&Report::level, rest.level),
                                            testing::Field(&Report::zone, rest.zone),
                                            testing::Field(&Report::file, rest.file),
                                            testing::Field(&Report::function, rest.function),
                                            testing::Field("message", &Report::message, message)));
}

/// Matches standard error with nothing but a failed assertion of the library on it.
testing::Matcher<const std::string&>
assertion_text(const std::string& file, const std::string& function, const std::string& condition);

}  // namespace harness
