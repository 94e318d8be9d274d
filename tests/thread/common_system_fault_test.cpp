// Clocks and other calls of the platform that fail.
#include "common_system.h"

#include <cerrno>
#include <csignal>
#include <string>

#include <gmock/gmock.h>

#include "common_log.h"
#include "debug_rows.h"
#include "fault.h"
#include "fresh_process.h"
#include "log_expect.h"
#include "log_layout.h"

using namespace harness;
using fault::Call;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using harness::said;

/// What the record of a clock that failed says; `what` is "time" or "resolution".
Report said(const std::string& clock, const std::string& what, const std::string& error)
{
    return said(COMMON_LogLevelFatal, "", "common_system",
                what == "time" ? "COMMON_System_GetTimeByClockId"
                               : "COMMON_System_GetTimeResByClockId",
                "Failed to get the " + clock + " " + what + " with error: " + error);
}

TEST(CommonSystemFault, ClockThatFailsOnceIsReportedWithTheTime)
{
    struct {
        std::int32_t clock;
        int error;
        const char* name;
        const char* text;
    } constexpr kCases[] = {{0, EINVAL, "CLOCK_REALTIME", "Invalid argument (22)"},
                            {1, EFAULT, "CLOCK_MONOTONIC", "Bad address (14)"},
                            {4, EPERM, "unknown clock", "Operation not permitted (1)"}};
    for (const auto& example : kCases) {
        const Outcome outcome = well([&] {
            fault::fail(Call::clock_gettime, 1, example.error);
            EXPECT_EQ(COMMON_System_GetTimeByClockId(example.clock), 0U);
            EXPECT_EQ(fault::fired(), 1);
            fault::fail(Call::clock_getres, 1, example.error);
            EXPECT_EQ(COMMON_System_GetTimeResByClockId(example.clock), 0U);
        });
        ASSERT_THAT(outcome.log, ElementsAre(said(example.name, "time", example.text),
                                             said(example.name, "resolution", example.text)));
        EXPECT_GT(parse_syslogngext(outcome.log[0].text)->day, 0);
    }
}

TEST(CommonSystemFault, TimeOfDayThatCannotBeFormattedIsEmpty)
{
    const Outcome outcome = well([] {
        fault::fail(Call::strftime);
        COMMON_Log_Write(COMMON_LogLevelInfo, 4095, "zone", "file", "function", 1, "m");
        EXPECT_EQ(fault::fired(), 1);
    });
    ASSERT_THAT(outcome.log, testing::SizeIs(1));
    EXPECT_THAT(outcome.log[0].text, testing::ContainsRegex("^.[0-9]+\\.\\.[0-9]{9}], zone,"));
}

TEST(CommonSystemFault, TimeThatFailsIsZero)
{
    const Outcome outcome = well([] {
        fault::fail(Call::clock_gettime);
        EXPECT_EQ(COMMON_System_Time(), 0U);
        fault::fail(Call::clock_gettime);
        fault::fail(Call::clock_getres);
        EXPECT_EQ(COMMON_System_Cycles(), 0U) << "whatever the resolution";
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("CLOCK_REALTIME", "time", "Invalid argument (22)"),
                                         said("CLOCK_REALTIME", "time", "Invalid argument (22)")));
}

// The record of the failure needs the time itself.
TEST(CommonSystemFault, ClockThatAlwaysFailsIsReportedOnceForEachCall)
{
    const Outcome outcome = well([] {
        fault::fail_always(Call::clock_gettime);
        EXPECT_EQ(COMMON_System_GetTimeByClockId(1), 0U);
        EXPECT_EQ(COMMON_System_Time(), 0U);
    });
    ASSERT_THAT(outcome.log, ElementsAre(said("CLOCK_MONOTONIC", "time", "Invalid argument (22)"),
                                         said("CLOCK_REALTIME", "time", "Invalid argument (22)")));
    for (const auto& sent : outcome.log) {
        EXPECT_THAT(sent.text, testing::StartsWith("[000.00:00:00.000000000], , "));
    }
}

TEST(CommonSystemFault, ClockThatAlwaysFailsLeavesDebugOutputWorking)
{
    const Outcome outcome = well({.env = {{"COMMON_DEBUG_ENABLE", "True"}}}, [] {
        fault::fail_always(Call::clock_gettime);
        EXPECT_EQ(COMMON_System_GetTimeByClockId(1), 0U);
    });
    EXPECT_THAT(outcome.log, Contains(said("CLOCK_MONOTONIC", "time", "Invalid argument (22)")));
    const RowText echo{"stderr", "common_system", "COMMON_System_GetTimeByClockId",
                       "Failed to get the CLOCK_MONOTONIC time with error: Invalid argument (22)"};
    EXPECT_THAT(row_texts(outcome.err), Contains(echo));
    const RowText start{"stdout", "common_log", "threadOnce", "Initialized"};
    EXPECT_THAT(row_texts(outcome.out), Contains(start));
}

TEST(CommonSystemFault, FailureIsNotReportedWhileTheLogIsOff)
{
    const Outcome outcome = well({.env = {{"COMMON_LOG_ENABLE", "False"}}}, [] {
        fault::fail(Call::clock_gettime);
        EXPECT_EQ(COMMON_System_Time(), 0U);
    });
    EXPECT_THAT(outcome.log, IsEmpty());
}

// Division by zero is trapped by the processor or, on 32-bit ARM, by the function that divides;
// arm64 gives 0.
#if !defined(__aarch64__)
TEST(CommonSystemFault, ResolutionThatFailsDividesByZero)
{
    for (void (*const call)() :
         {+[] { COMMON_System_GetCyclesPerSecondByClockId(1); }, +[] { COMMON_System_Cycles(); }}) {
        const Outcome outcome = run_fresh([&] {
            std::signal(SIGFPE, SIG_DFL);  // also where a sanitizer would catch it
            fault::fail(Call::clock_getres);
            call();
        });
        EXPECT_THAT(outcome, killed_by(SIGFPE));
        EXPECT_THAT(outcome.log,
                    ElementsAre(testing::AnyOf(
                        said("CLOCK_MONOTONIC", "resolution", "Invalid argument (22)"),
                        said("CLOCK_REALTIME", "resolution", "Invalid argument (22)"))));
    }
}
#endif

FRESH_TEST(CommonSystemFault, ExecThatFailsIsHandedOn)
{
    fault::fail(Call::system, 1, ENOMEM);
    EXPECT_EQ(COMMON_System_Exec("true"), -1);
    EXPECT_EQ(errno, ENOMEM);
}

FRESH_TEST(CommonSystemFault, SleepOfNothingDoesNotAskThePlatform)
{
    for (const std::int32_t milliseconds : {0, -5}) {
        OS_Sleep(milliseconds);
    }
    EXPECT_EQ(fault::calls(Call::nanosleep), 0);
    fault::fail(Call::nanosleep, 1, EINTR);
    OS_Sleep(60'000);
    EXPECT_EQ(fault::calls(Call::nanosleep), 1);
}

}  // namespace
