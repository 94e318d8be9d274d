// What a record must say is compared whole, and the text of an assertion, too.
#include "log_expect.h"

#include <string>
#include <syslog.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common_log.h"

using namespace harness;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {

LogRecord sent(int priority, const std::string& text)
{
    return support::parse_datagram("<" + std::to_string(priority) +
                                   ">Jan  2 03:04:05 program: " + text);
}

const LogRecord kRecord =
    sent(LOG_USER | LOG_WARNING, "[123.03:04:05.000000007], ZONE, 1, program, 2, Warn, file, "
                                 "function 3, message");

TEST(LogExpect, RecordSaysAllThatIsExpected)
{
    EXPECT_EQ(kRecord, said(COMMON_LogLevelWarn, "ZONE", "file", "function", "message"));
    EXPECT_THAT(std::vector<LogRecord>{kRecord},
                ElementsAre(said(COMMON_LogLevelWarn, "ZONE", "file", "function", "message")));
}

TEST(LogExpect, EachFieldCounts)
{
    const Report whole = said(COMMON_LogLevelWarn, "ZONE", "file", "function", "message");
    for (std::string Report::*field :
         {&Report::level, &Report::zone, &Report::file, &Report::function, &Report::message}) {
        Report other = whole;
        other.*field += "x";
        EXPECT_FALSE(kRecord == other) << other;
    }
    Report other = whole;
    other.priority = LOG_ERR;
    EXPECT_FALSE(kRecord == other);
}

TEST(LogExpect, MessageMayBeMatched)
{
    EXPECT_THAT(kRecord, said(COMMON_LogLevelWarn, "ZONE", "file", "function", HasSubstr("essag")));
    EXPECT_THAT(kRecord,
                Not(said(COMMON_LogLevelWarn, "ZONE", "file", "function", HasSubstr("x"))));
    EXPECT_THAT(kRecord,
                Not(said(COMMON_LogLevelError, "ZONE", "file", "function", HasSubstr("essag"))));
    EXPECT_THAT(kRecord,
                Not(said(COMMON_LogLevelWarn, "zone", "file", "function", HasSubstr("essag"))));
    EXPECT_THAT(kRecord,
                Not(said(COMMON_LogLevelWarn, "ZONE", "File", "function", HasSubstr("essag"))));
    EXPECT_THAT(kRecord,
                Not(said(COMMON_LogLevelWarn, "ZONE", "file", "Function", HasSubstr("essag"))));
}

TEST(LogExpect, EveryLevelHasItsPriority)
{
    const std::vector<int> priorities{LOG_EMERG, LOG_CRIT,  LOG_ERR,   LOG_WARNING, LOG_NOTICE,
                                      LOG_INFO,  LOG_DEBUG, LOG_DEBUG, LOG_ERR};
    std::vector<int> given;
    for (COMMON_LogLevel_t level = 0; level < priorities.size(); ++level) {
        given.push_back(said(level, "", "", "", "").priority);
    }
    EXPECT_EQ(given, priorities);
}

TEST(LogExpect, OtherLayoutsAndFacilitiesAreOnlyBytes)
{
    EXPECT_EQ(report_of(sent(LOG_USER | LOG_ERR, "text")).priority, -1);
    const LogRecord daemons = sent(LOG_DAEMON | LOG_WARNING, kRecord.text);
    EXPECT_EQ(report_of(daemons).message, daemons.raw);
}

TEST(LogExpect, AssertionTextIsWhole)
{
    const auto expected = assertion_text("file", "function", "0 == retval");
    EXPECT_THAT("program: file:12: function: Assertion `0 == retval' failed.\n", expected);
    EXPECT_THAT("row\nprogram: file:12: function: Assertion `0 == retval' failed.\n",
                Not(expected));
    EXPECT_THAT("program: file:12: function: Assertion `0 == retval' failed.\nmore\n",
                Not(expected));
    EXPECT_THAT("program: file:12: other: Assertion `0 == retval' failed.\n", Not(expected));
    EXPECT_THAT("program: file:12: function: Assertion `1 == retval' failed.\n", Not(expected));
}

}  // namespace
