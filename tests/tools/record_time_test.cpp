// The times of records: of the machine's time zone, without a year, around the change of clocks.
#include "records/time_reader.h"

#include <cstdlib>
#include <ctime>
#include <string>

#include <gmock/gmock.h>

#include "fresh_process.h"
#include "records/parser.h"

using namespace harness;
using commonctl::kNoTime;
using commonctl::kSecond;
using commonctl::Parser;
using commonctl::Record;
using commonctl::TimeReader;

namespace {

/// The seconds of 2026-11-22T03:04:05Z.
constexpr std::int64_t kMoment = ((std::int64_t{20779} * 24 + 3) * 60 + 4) * 60 + 5;

std::int64_t time_of(const std::string& line)
{
    Parser parser;
    Record record;
    parser.parse_line(line, record);
    return record.time_ns;
}

TEST(RecordTime, TimesAreTakenAsThisMachines)
{
    setenv("TZ", "EST5EDT,M3.2.0,M11.1.0", 1);
    // 22:04:05 on the day before, by the clock on the wall; the day counts by UTC.
    EXPECT_EQ(time_of("[20779.22:04:05.000000042], Z, 1, p, 1, Info, f, g 1, m"),
              kMoment * kSecond + 42);
    // In July it is an hour less from UTC.
    EXPECT_EQ(time_of("[20650.20:00:00.000000000], Z, 1, p, 1, Info, f, g 1, m"),
              20650 * std::int64_t{86400} * kSecond);
    EXPECT_EQ(time_of("2026-11-22T03:04:05.5Z h p: 22:04:05, Z, 1, Info, f, g 1, m"),
              kMoment * kSecond + kSecond / 2);
    // Of whichever year.
    EXPECT_EQ(time_of("Nov 21 22:04:05 h p: 22:04:03, Z, 1, Info, f, g 1, m"),
              time_of("Nov 21 22:04:05 h p: m") - 2 * kSecond);
    EXPECT_EQ(time_of("Nov 21 22:04:05 h p: m") / kSecond % 86400, kMoment % 86400);
    setenv("TZ", "UTC", 1);
}

TEST(RecordTime, NothingWasLoggedBeforeTheEpoch)
{
    setenv("TZ", "UTC", 1);
    EXPECT_EQ(time_of("1970-01-01T00:00:00Z host p: m"), 0);
    EXPECT_EQ(time_of("1970-01-01T00:00:00+00:01 host p: m"), kNoTime);
    EXPECT_EQ(time_of("1970-01-01T00:00:00Z host p: 23:59:59, Z, 1, Info, f, g 1, m"), kNoTime);
}

TEST(RecordTime, SyslogngTakesTheDayThatIsNearest)
{
    setenv("TZ", "UTC", 1);
    const std::int64_t midnight = 20779 * std::int64_t{86400};
    EXPECT_EQ(time_of("2026-11-22T00:00:01Z h p: 23:59:59, Z, 1, Info, f, g 1, m"),
              (midnight - 1) * kSecond);
    EXPECT_EQ(time_of("2026-11-21T23:59:59Z h p: 00:00:01, Z, 1, Info, f, g 1, m"),
              (midnight + 1) * kSecond);
}

TEST(RecordTime, DatesWithoutAYearAreOfThePast)
{
    setenv("TZ", "UTC", 1);
    const std::time_t now = std::time(nullptr);
    for (const int days : {0, -1, -30, 5, 30}) {
        const std::time_t then = now + days * std::time_t{86400};
        char text[40];
        tm parts{};
        gmtime_r(&then, &parts);
        std::strftime(text, sizeof text, "%b %e %H:%M:%S", &parts);
        const std::int64_t time_ns = time_of(std::string(text) + " host p: m");
        ASSERT_NE(time_ns, kNoTime) << text;
        const std::time_t read = time_ns / kSecond;
        EXPECT_LE(read, now + 86400) << text;
        EXPECT_GT(read, now - 366 * std::int64_t{86400}) << text;
        char again[40];
        gmtime_r(&read, &parts);
        std::strftime(again, sizeof again, "%b %e %H:%M:%S", &parts);
        EXPECT_STREQ(again, text);
    }
    const std::int64_t leap_ns = time_of("Feb 29 00:00:00 host p: m");
    const std::time_t leap = leap_ns / kSecond;
    tm parts{};
    gmtime_r(&leap, &parts);
    EXPECT_EQ(parts.tm_mon, 1);
    EXPECT_EQ(parts.tm_mday, 29);
    for (const char* text : {"Feb 30 00:00:00", "Foo  1 00:00:00", "anF  1 00:00:00",
                             "Jan  0 00:00:00", "Jan xx 00:00:00"}) {
        EXPECT_EQ(time_of(std::string(text) + " host p: m"), kNoTime) << text;
    }
    for (const char* text :
         {"", "Jan 20", "Jan 20 00:00:000", "Jan+20 00:00:00", "Jan 20+00:00:00"}) {
        EXPECT_EQ(TimeReader().of_traditional(text), kNoTime) << text;
    }
}

TEST(RecordTime, CalendarAgreesWithTheCLibrarys)
{
    for (std::time_t day = 0; day < std::time_t{292} * 365; ++day) {
        const std::time_t second = day * 86400;
        tm parts{};
        gmtime_r(&second, &parts);
        ASSERT_EQ(
            commonctl::days_since_epoch(parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday),
            day);
        ASSERT_TRUE(commonctl::is_date(parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday));
    }
    EXPECT_FALSE(commonctl::is_date(2025, 2, 29));
    EXPECT_FALSE(commonctl::is_date(2025, 4, 31));
    EXPECT_FALSE(commonctl::is_date(2025, 0, 1));
    EXPECT_FALSE(commonctl::is_date(2025, 13, 1));
    EXPECT_FALSE(commonctl::is_date(2025, 1, 0));
}

TEST(RecordTime, ClocksThatAreSetForwardAndBack)
{
    setenv("TZ", "EST5EDT,M3.2.0,M11.1.0", 1);
    TimeReader times;
    // Every quarter of an hour around both days of 2026, told by day and local time, forward and
    // backward.
    for (const std::int64_t around : {1772953200, 1793512800}) {
        for (std::int64_t step = -200; step <= 200; ++step) {
            for (const std::int64_t second : {around + step * 900, around - step * 900}) {
                const auto time = static_cast<std::time_t>(second);
                tm parts{};
                localtime_r(&time, &parts);
                const int of_day = (parts.tm_hour * 60 + parts.tm_min) * 60 + parts.tm_sec;
                const std::int64_t read = times.instant(second / 86400, of_day);
                const auto again = static_cast<std::time_t>(read);
                tm shown{};
                localtime_r(&again, &shown);
                ASSERT_EQ(read / 86400, second / 86400);
                ASSERT_EQ((shown.tm_hour * 60 + shown.tm_min) * 60 + shown.tm_sec, of_day);
            }
        }
    }
    setenv("TZ", "UTC", 1);
}

}  // namespace
