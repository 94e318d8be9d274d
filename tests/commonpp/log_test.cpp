// log: the records of a zone.
#include <cerrno>
#include <string>

#include <gmock/gmock.h>

#include <common/oxa_logger.h>
#include <commonpp/log.hpp>

#include "fresh_process.h"
#include "log_expect.h"

using namespace harness;
using testing::ElementsAre;

namespace {

constexpr commonpp::zone kZone{"TUNER"};

void write_all(const commonpp::zone& zone)
{
    zone.fatal()("%d", 0);
    zone.critical()("%d", 1);
    zone.error()("%d", 2);
    zone.warn()("%d", 3);
    zone.note()("%d", 4);
    zone.info()("%d", 5);
    zone.debug()("%d", 6);
    zone.verbose()("%d", 7);
}

TEST(CommonppLogRecords, EachLevelHasAFunction)
{
    const Outcome outcome =
        well({.env = {{"COMMON_LOG_LEVEL", "Verbose"}}}, [] { write_all(kZone); });
    ASSERT_EQ(outcome.log.size(), 8U);
    for (COMMON_LogLevel_t level = 0; level < 8; ++level) {
        EXPECT_THAT(outcome.log[level],
                    said(level, "TUNER", "log_test.cpp", "write_all", std::to_string(level)));
    }
    EXPECT_EQ(well([] { write_all(kZone); }).log.size(), 6U) << "up to Info";
}

constexpr int kPlainLine = __LINE__ + 3;
void write_two()
{
    kZone.warn()("plain");
    COMMONPP_LOG(kZone.warn(), "macro");
}

TEST(CommonppLogRecords, SayWhereTheyWereWritten)
{
    const Outcome outcome = well({.env = {{"COMMON_LOG_FORMAT", "Legacy"}}}, write_two);
    const auto place = [](int line, const char* text) {
        return testing::HasSubstr("(file=log_test.cpp,func=write_two,line=" + std::to_string(line) +
                                  ") " + text);
    };
    ASSERT_EQ(outcome.log.size(), 2U);
    EXPECT_THAT(reports(outcome)[0].message, place(kPlainLine, "plain"));
    EXPECT_THAT(reports(outcome)[1].message, place(kPlainLine + 1, "macro"));
}

void write_one(const commonpp::zone& zone)
{
    errno = ENOENT;
    COMMONPP_LOG(zone.error(), "cannot read %s: %d", "path", errno);
}

TEST(CommonppLogRecords, CarryTheZoneAndTheErrno)
{
    const Outcome outcome = well([] {
        write_one(kZone);
        write_one(commonpp::zone(LOG_GetModuleName(LOG_MODULE_TIMER)));
        write_one(commonpp::zone(nullptr));
    });
    const std::string text = "cannot read path: " + std::to_string(ENOENT);
    const auto from = [&](const char* zone) {
        return said(COMMON_LogLevelError, zone, "log_test.cpp", "write_one", text);
    };
    EXPECT_THAT(outcome.log, ElementsAre(from("TUNER"), from("TIMER"), from("")));
}

}  // namespace
