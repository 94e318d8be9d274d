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

#include "common_log.h"
#include "log_record.h"

namespace bench {

/**
 * Matches a record of the default layout by everything but its time, process, thread and line.
 * The message is a text or a matcher.
 */
testing::Matcher<const LogRecord&> record(COMMON_LogLevel_t level, const std::string& zone,
                                          const std::string& file, const std::string& function,
                                          const testing::Matcher<const std::string&>& message);

/** Matches standard error with nothing but a failed assertion of the library on it. */
testing::Matcher<const std::string&>
assertion_text(const std::string& file, const std::string& function, const std::string& condition);

}  // namespace bench

#endif
