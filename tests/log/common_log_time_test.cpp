// The time stamp of a record: the clock's own days, the local time of day.
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <string>

#include "common_log_settings.h"
#include "fault.h"
#include "log_calls.h"
#include "wait_until.h"

namespace {

using namespace harness;
using fault::Call;
using testing::AnyOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

std::string local_time(std::time_t seconds)
{
    char text[16];
    std::tm local{};
    std::strftime(text, sizeof text, "%H:%M:%S", localtime_r(&seconds, &local));
    return text;
}

/// Writes a record whose message says between which moments it was written.
void log_moment()
{
    static std::string line;
    const std::time_t before = std::time(nullptr);
    log_message(kInfo, "m");
    const std::time_t after = std::time(nullptr);
    std::printf("%lld %lld %s %s\n", static_cast<long long>(before), static_cast<long long>(after),
                local_time(before).c_str(), local_time(after).c_str());
}

struct Moment {
    long long before = 0;
    long long after = 0;
    char local_before[16] = "";
    char local_after[16] = "";
};

Moment parse_moment(const std::string& line)
{
    Moment moment;
    EXPECT_EQ(std::sscanf(line.c_str(), "%lld %lld %15s %15s", &moment.before, &moment.after,
                          moment.local_before, moment.local_after),
              4)
        << line;
    return moment;
}

class TimeZones : public testing::TestWithParam<const char*> {};
// With 14 hours east and 12 hours west one of the two local days is never that of the clock.
INSTANTIATE_TEST_SUITE_P(All, TimeZones,
                         testing::Values("UTC", "EAST-14", "WEST12", "HALF-5:30:15",
                                         "CET-1CEST,M3.5.0,M10.5.0/3"));

TEST_P(TimeZones, DayIsTheClocksAndTimeIsLocal)
{
    const Outcome outcome = well({.env = {{"TZ", GetParam()}}}, log_moment);
    ASSERT_THAT(outcome.log, SizeIs(1));
    const Moment moment = parse_moment(outcome.out);
    const LayoutFields fields = fields_of(outcome.log[0]);
    EXPECT_THAT(fields.day, AnyOf(moment.before / 86400, moment.after / 86400));
    EXPECT_THAT(fields.time,
                AnyOf(std::string(moment.local_before), std::string(moment.local_after)));
}

TEST(CommonLogTime, FollowsAChangeOfTheTimeZone)
{
    const Outcome outcome = well([] {
        log_moment();
        setenv("TZ", "EAST-3:07", 1);
        // What was made for this second may be shown until it is over.
        const std::time_t second = std::time(nullptr);
        EXPECT_TRUE(wait_until([second] { return std::time(nullptr) != second; }));
        log_moment();
    });
    ASSERT_THAT(outcome.log, SizeIs(2));
    const Moment moment = parse_moment(outcome.out.substr(outcome.out.find('\n') + 1));
    EXPECT_THAT(fields_of(outcome.log[1]).time,
                AnyOf(std::string(moment.local_before), std::string(moment.local_after)));
    EXPECT_EQ(std::string(moment.local_after), run_fresh([&] {
                                                   const std::time_t shifted =
                                                       moment.after + 3 * 3600L + 7 * 60L;
                                                   std::printf("%s", local_time(shifted).c_str());
                                               }).out);
}

TEST(CommonLogTime, EveryRecordHasItsOwn)
{
    const Outcome outcome = well([] {
        const std::time_t start = std::time(nullptr);
        EXPECT_TRUE(wait_until([start] {
            log_message(kInfo, "m");
            return std::time(nullptr) > start + 1;
        }));
        log_message(kInfo, "last");
    });
    ASSERT_GT(outcome.log.size(), 2u);
    const auto nanoseconds_of = [](const LogRecord& record) {
        const LayoutFields fields = fields_of(record);
        int hour = 0;
        int minute = 0;
        int second = 0;
        EXPECT_EQ(std::sscanf(fields.time.c_str(), "%d:%d:%d", &hour, &minute, &second), 3);
        const std::int64_t seconds = fields.day * 86400 + hour * 3600L + minute * 60L + second;
        return seconds * 1'000'000'000 + fields.nanoseconds;
    };
    for (std::size_t i = 1; i < outcome.log.size(); ++i) {
        ASSERT_LT(nanoseconds_of(outcome.log[i - 1]), nanoseconds_of(outcome.log[i]));
    }
}

TEST(CommonLogTime, OneLayoutShowsTheTimeOfDayWithoutTheDay)
{
    const Outcome outcome = well({.env = {{"COMMON_LOG_FORMAT", "Syslogng"}}}, [] {
        for (int i = 0; i < 2; ++i) {  // the second one by the stamp of the first
            log_message(kInfo, "m");
        }
    });
    ASSERT_THAT(outcome.log, SizeIs(2));
    for (const auto& record : outcome.log) {
        EXPECT_THAT(record.text,
                    testing::MatchesRegex("[0-2][0-9]:[0-5][0-9]:[0-5][0-9], ZONE, .*"));
    }
}

TEST(CommonLogTime, LocalTimeIsAskedForOnceASecond)
{
    const Outcome outcome = well([] {
        fault::settle();
        for (int i = 0; i < 3; ++i) {
            log_message(kInfo, "m");
        }
        EXPECT_EQ(fault::calls(Call::localtime_r), 1);
    });
    EXPECT_THAT(outcome.log, SizeIs(3));
}

TEST(CommonLogTime, LocalTimeThatCannotBeComputedStopsTheProcess)
{
    const Outcome outcome = run_fresh([] {
        COMMON_Log_LevelGet();
        fault::fail_always(Call::localtime_r);
        log_message(kInfo, "m");
    });
    EXPECT_THAT(outcome, killed_by(SIGABRT));
    EXPECT_THAT(outcome.err, assertion_text("common_log", "logWrite", "((void *)0) != ptm"));
    EXPECT_THAT(outcome.log, IsEmpty());
}

TEST(CommonLogTime, FailingClockIsReportedOnceAndShownAsTheEpoch)
{
    const Outcome outcome = well([] {
        COMMON_Log_LevelGet();
        fault::fail_always(Call::clock_gettime, EINVAL);
        log_message(kInfo, "m");
    });
    EXPECT_THAT(outcome.log,
                ElementsAre(said(kFatal, "", "common_system", "COMMON_System_GetTimeByClockId",
                                 "Failed to get the CLOCK_REALTIME time with error: "
                                 "Invalid argument (22)"),
                            said(kInfo, "m")));
    ASSERT_THAT(outcome.log, SizeIs(2));
    for (const auto& record : outcome.log) {
        const LayoutFields fields = fields_of(record);
        EXPECT_EQ(fields.day, 0);
        EXPECT_EQ(fields.time, "00:00:00");
        EXPECT_EQ(fields.nanoseconds, 0);
    }
}

}  // namespace
