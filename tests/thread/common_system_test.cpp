// The clocks, the environment, commands and sleep, as this machine has them.
#include "common_system.h"

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include <gmock/gmock.h>
#include <sys/time.h>
#include <sys/times.h>
#include <sys/wait.h>
#include <unistd.h>

#include "debug_rows.h"
#include "fresh_process.h"
#include "log_expect.h"

using namespace harness;
using testing::ElementsAre;

namespace {

std::uint64_t platform_time(clockid_t clock)
{
    timespec time{};
    EXPECT_EQ(clock_gettime(clock, &time), 0);
    return static_cast<std::uint64_t>(time.tv_sec) * 1'000'000'000 +
           static_cast<std::uint64_t>(time.tv_nsec);
}

TEST(CommonSystem, TwoClocksHaveNames)
{
    static_assert(CLOCK_REALTIME == 0 && CLOCK_MONOTONIC == 1);
    EXPECT_STREQ(COMMON_System_ClockId_ToString(0), "CLOCK_REALTIME");
    EXPECT_STREQ(COMMON_System_ClockId_ToString(1), "CLOCK_MONOTONIC");
    for (const std::int32_t clock : {2, 3, 7, 256, 257, -1, INT32_MAX, INT32_MIN}) {
        EXPECT_STREQ(COMMON_System_ClockId_ToString(clock), "unknown clock") << clock;
    }
}

TEST(CommonSystem, ClocksAreThoseOfThePlatform)
{
    for (const clockid_t clock :
         {CLOCK_REALTIME, CLOCK_MONOTONIC, CLOCK_BOOTTIME, CLOCK_PROCESS_CPUTIME_ID}) {
        const std::uint64_t before = platform_time(clock);
        const std::uint64_t time = COMMON_System_GetTimeByClockId(clock);
        const std::uint64_t after = platform_time(clock);
        EXPECT_LE(before, time) << clock;
        EXPECT_LE(time, after) << clock;
    }
}

TEST(CommonSystem, TimeIsTheRealTimeClock)
{
    const std::uint64_t before = platform_time(CLOCK_REALTIME);
    const std::uint64_t time = COMMON_System_Time();
    const std::uint64_t after = platform_time(CLOCK_REALTIME);
    EXPECT_LE(before, time);
    EXPECT_LE(time, after);
}

TEST(CommonSystem, ResolutionIsThatOfThePlatform)
{
    for (const clockid_t clock : {CLOCK_REALTIME, CLOCK_MONOTONIC, CLOCK_MONOTONIC_COARSE}) {
        timespec resolution{};
        ASSERT_EQ(clock_getres(clock, &resolution), 0);
        ASSERT_EQ(resolution.tv_sec, 0);
        EXPECT_EQ(COMMON_System_GetTimeResByClockId(clock),
                  static_cast<std::uint32_t>(resolution.tv_nsec));
        EXPECT_EQ(COMMON_System_GetCyclesPerSecondByClockId(clock),
                  1'000'000'000U / static_cast<std::uint64_t>(resolution.tv_nsec));
    }
}

TEST(CommonSystem, CyclesAreTheRealTimeClockInItsResolution)
{
    timespec resolution{};
    ASSERT_EQ(clock_getres(CLOCK_REALTIME, &resolution), 0);
    const auto unit = static_cast<std::uint64_t>(resolution.tv_nsec);
    const std::uint64_t before = platform_time(CLOCK_REALTIME) / unit;
    const std::uint64_t cycles = COMMON_System_Cycles();
    const std::uint64_t after = platform_time(CLOCK_REALTIME) / unit;
    EXPECT_LE(before, cycles);
    EXPECT_LE(cycles, after);
}

TEST(CommonSystem, UnknownClockIsReportedAndGivesZero)
{
    const Outcome outcome = well([] {
        EXPECT_EQ(COMMON_System_GetTimeByClockId(9999), 0U);
        EXPECT_EQ(COMMON_System_GetTimeResByClockId(9999), 0U);
    });
    EXPECT_THAT(
        outcome.log,
        ElementsAre(
            said(COMMON_LogLevelFatal, "", "common_system", "COMMON_System_GetTimeByClockId",
                 "Failed to get the unknown clock time with error: Invalid argument "
                 "(22)"),
            said(COMMON_LogLevelFatal, "", "common_system", "COMMON_System_GetTimeResByClockId",
                 "Failed to get the unknown clock resolution with error: Invalid "
                 "argument (22)")));
    EXPECT_EQ(outcome.err, "");
}

TEST(CommonSystem, UnknownClockIsEchoedWhileDebugOutputIsOn)
{
    const Outcome outcome = well({.env = {{"COMMON_DEBUG_ENABLE", "True"}}},
                                 [] { COMMON_System_GetTimeByClockId(9999); });
    EXPECT_THAT(
        row_texts(outcome.err),
        testing::Contains(RowText{"stderr", "common_system", "COMMON_System_GetTimeByClockId",
                                  "Failed to get the unknown clock time with error: "
                                  "Invalid argument (22)"}));
}

// Division by zero is trapped by the processor or, on 32-bit ARM, by the function that divides;
// arm64 gives 0.
#if !defined(__aarch64__)
TEST(CommonSystem, ResolutionOfAnUnknownClockDividesByZero)
{
    const Outcome outcome = run_fresh([] {
        std::signal(SIGFPE, SIG_DFL);  // also where a sanitizer would catch it
        COMMON_System_GetCyclesPerSecondByClockId(9999);
    });
    EXPECT_THAT(outcome, killed_by(SIGFPE));
    EXPECT_THAT(outcome.log,
                ElementsAre(said(COMMON_LogLevelFatal, "", "common_system",
                                 "COMMON_System_GetTimeResByClockId",
                                 "Failed to get the unknown clock resolution with error: "
                                 "Invalid argument (22)")));
}
#endif

TEST(CommonSystem, EnvironmentIsTheProcesss)
{
    well({.env = {{"CHOSEN", "one=two"}, {"EMPTY", ""}}}, [] {
        EXPECT_EQ(COMMON_System_Environment(), environ);
        EXPECT_STREQ(COMMON_System_Variable("CHOSEN"), "one=two");
        EXPECT_STREQ(COMMON_System_Variable("EMPTY"), "");
        EXPECT_EQ(COMMON_System_Variable("ABSENT"), nullptr);
        EXPECT_EQ(COMMON_System_Variable("CHOSE"), nullptr);
        setenv("ABSENT", "no more", 1);
        EXPECT_STREQ(COMMON_System_Variable("ABSENT"), "no more");
        EXPECT_EQ(COMMON_System_Environment(), environ);
    });
}

TEST(CommonSystem, ExecGivesTheResultOfTheShellUnchanged)
{
    const Outcome outcome = well([] {
        EXPECT_EQ(COMMON_System_Exec("true"), 0);
        EXPECT_EQ(COMMON_System_Exec("exit 7"), 7 << 8);
        EXPECT_EQ(COMMON_System_Exec("kill -TERM $$"), SIGTERM);
        EXPECT_EQ(COMMON_System_Exec("/no/such/command 2>/dev/null"), 127 << 8);
        EXPECT_NE(COMMON_System_Exec(nullptr), 0);
        EXPECT_EQ(COMMON_System_Exec("echo from the shell"), 0);
    });
    EXPECT_EQ(outcome.out, "from the shell\n");
}

TEST(CommonSystem, ExitRunsHandlersAndHasTheStatus)
{
    for (const std::int32_t status : {0, 1, 42, 255}) {
        const Outcome outcome = run_fresh([&] {
            std::atexit([] { std::fputs("handler", stdout); });
            COMMON_System_Exit(status);
        });
        EXPECT_THAT(outcome, exited(status));
        EXPECT_EQ(outcome.out, "handler");
    }
}

TEST(CommonSystem, SystemTimeIsThatOfTheProcessTimesClock)
{
    const auto now = [] {
        tms unused{};
        const auto ticks = static_cast<unsigned long>(times(&unused));
        return std::uint64_t{ticks} * 1000 / static_cast<std::uint64_t>(sysconf(_SC_CLK_TCK));
    };
    const std::uint64_t before = now();
    const std::uint64_t time = GetSystemTime();
    EXPECT_LE(before, time);
    EXPECT_LE(time, now());
}

TEST(CommonSystem, SleepLastsAtLeastItsTime)
{
    const std::uint64_t before = platform_time(CLOCK_MONOTONIC);
    OS_Sleep(25);
    const std::uint64_t slept = platform_time(CLOCK_MONOTONIC) - before;
    EXPECT_GE(slept, 25'000'000U);
    EXPECT_LT(slept, 5'000'000'000U);
}

// Were it resumed, the process would run into its time limit.
FRESH_TEST(CommonSystem, SleepEndsWithASignal)
{
    struct sigaction action {};
    action.sa_handler = [](int) {};
    ASSERT_EQ(sigaction(SIGALRM, &action, nullptr), 0);
    const itimerval soon{{0, 10'000}, {0, 10'000}};
    ASSERT_EQ(setitimer(ITIMER_REAL, &soon, nullptr), 0);
    OS_Sleep(600'000);
    const itimerval never{};
    ASSERT_EQ(setitimer(ITIMER_REAL, &never, nullptr), 0);
}

}  // namespace
