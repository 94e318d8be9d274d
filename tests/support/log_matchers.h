/**
 * @file log_matchers.h
 * Matchers for a single record of the system log and for the text of an assertion:
 *
 *     EXPECT_THAT(outcome.log, ElementsAre(record(COMMON_LogLevelError, "COMMON", "data",
 *                                                 "DATA_ArrayNew", "Bad arguments.")));
 */
#ifndef BENCH_LOG_MATCHERS_H
#define BENCH_LOG_MATCHERS_H

#include <string>

#include <gmock/gmock.h>
#include <syslog.h>

#include "common_log.h"
#include "log_layout.h"
#include "log_record.h"

namespace bench {

/** How a level is shown: its text and its priority of syslog(3). */
struct ShownLevel {
    const char* text;
    int priority;
};

inline ShownLevel shown(COMMON_LogLevel_t level)
{
    constexpr ShownLevel kLevels[] = {
        {"Fatal", LOG_EMERG}, {"Critical", LOG_CRIT}, {"Error", LOG_ERR},   {"Warn", LOG_WARNING},
        {"Note", LOG_NOTICE}, {"Info", LOG_INFO},     {"Debug", LOG_DEBUG}, {"Verbose", LOG_DEBUG}};
    return level <= COMMON_LogLevelVerbose ? kLevels[level] : ShownLevel{"Invalid", LOG_ERR};
}

/**
 * Matches a record of the default layout by everything but its time, process, thread and line.
 * The message is a text or a matcher.
 */
MATCHER_P5(record, level, zone, file, function, message,
           std::string(negation ? "is not a " : "is a ") + shown(level).text + " record of zone '" +
               std::string(zone) + "', file " + std::string(file) + ", function " +
               std::string(function) + " whose message " +
               testing::DescribeMatcher<std::string>(message))
{
    const auto fields = parse_syslogngext(arg.text);
    return fields && arg.facility == LOG_USER && arg.priority == shown(level).priority &&
           fields->level == shown(level).text && fields->zone == zone && fields->file == file &&
           fields->function == function &&
           testing::ExplainMatchResult(testing::SafeMatcherCast<const std::string&>(message),
                                       fields->message, result_listener);
}

/** Matches standard error with nothing but a failed assertion of the library on it. */
inline testing::Matcher<const std::string&>
assertion_text(const std::string& file, const std::string& function, const std::string& condition)
{
    // "program: file:line: function: Assertion `condition' failed."
    return testing::AllOf(
        testing::MatchesRegex("[^:\n]+: " + file + ":[0-9]+: " + function + ": Assertion `.*\n"),
        testing::EndsWith(": " + function + ": Assertion `" + condition + "' failed.\n"));
}

}  // namespace bench

#endif
