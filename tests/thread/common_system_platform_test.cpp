// What the clocks and sleeps ask of the platform, and what becomes of its answers. The platform is
// played by the functions below, which the library finds before those of the C library.
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <ctime>
#include <functional>
#include <vector>

#include <gmock/gmock.h>
#include <sys/syscall.h>
#include <sys/times.h>
#include <unistd.h>

#include "common_system.h"
#include "fresh_process.h"
#include "log_expect.h"

using namespace harness;
using testing::IsEmpty;

namespace {

/// A clock that does not exist, or the real-time clock while that is played.
constexpr clockid_t kPlayed = 4711;
clockid_t played_clock = kPlayed;

timespec time_of_clock{};
timespec resolution_of_clock{};
clock_t tick_count = 0;
bool ticks_are_played = false;
std::vector<timespec> sleeps;
bool sleeps_are_played = false;
int sleep_error = 0;

#if defined(__LP64__)
constexpr long kGetTime = SYS_clock_gettime;
constexpr long kGetResolution = SYS_clock_getres;
#else
constexpr long kGetTime = SYS_clock_gettime64;
constexpr long kGetResolution = SYS_clock_getres_time64;
#endif

}  // namespace

extern "C" {

int clock_gettime(clockid_t clock, timespec* time) noexcept
{
    if (clock == played_clock) {
        *time = time_of_clock;
        return 0;
    }
    return static_cast<int>(syscall(kGetTime, clock, time));
}

int clock_getres(clockid_t clock, timespec* time) noexcept
{
    if (clock == played_clock) {
        *time = resolution_of_clock;
        return 0;
    }
    return static_cast<int>(syscall(kGetResolution, clock, time));
}

int nanosleep(const timespec* time, timespec* left)
{
    if (!sleeps_are_played) {
        return clock_nanosleep(CLOCK_REALTIME, 0, time, left) == 0 ? 0 : -1;
    }
    sleeps.push_back(*time);
    if (sleep_error != 0) {
        if (left != nullptr) {
            *left = *time;
        }
        errno = sleep_error;
        return -1;
    }
    return 0;
}

clock_t times(tms* unused) noexcept
{
    return ticks_are_played ? tick_count : static_cast<clock_t>(syscall(SYS_times, unused));
}

}  // extern "C"

namespace {

struct ClockCase {
    time_t seconds;
    long nanoseconds;
    std::uint64_t time;
};

TEST(CommonSystemPlatform, SecondsAreASigned32BitNumber)
{
    constexpr std::uint64_t kSecond = 1'000'000'000;
    const ClockCase cases[] = {
        {0, 0, 0},
        {0, 1, 1},
        {1, 0, kSecond},
        {4, 294'967'296, 4'294'967'296},
        {5, 999'999'999, 5'999'999'999},
        {INT32_MAX, 999'999'999, std::uint64_t{INT32_MAX} * kSecond + 999'999'999},
        {time_t{INT32_MAX} + 1, 0, std::uint64_t{0} - std::uint64_t{1U << 31} * kSecond},
        {time_t{UINT32_MAX}, 5, std::uint64_t{0} - kSecond + 5},
        {time_t{UINT32_MAX} + 1, 7, 7},
        {time_t{UINT32_MAX} + 3, 7, 2 * kSecond + 7},
        {-1, 0, std::uint64_t{0} - kSecond},
    };
    for (const auto& example : cases) {
        time_of_clock = {example.seconds, example.nanoseconds};
        EXPECT_EQ(COMMON_System_GetTimeByClockId(kPlayed), example.time)
            << example.seconds << "." << example.nanoseconds;
    }
}

FRESH_TEST(CommonSystemPlatform, WholeSecondsOfAResolutionAreDropped)
{
    resolution_of_clock = {0, 999'999'999};
    EXPECT_EQ(COMMON_System_GetTimeResByClockId(kPlayed), 999'999'999U);
    resolution_of_clock = {3, 250};
    EXPECT_EQ(COMMON_System_GetTimeResByClockId(kPlayed), 250U);
    resolution_of_clock = {1, 0};
    EXPECT_EQ(COMMON_System_GetTimeResByClockId(kPlayed), 0U);
}

TEST(CommonSystemPlatform, CyclesPerSecondAreTheInverseOfTheResolution)
{
    struct {
        long resolution;
        std::uint64_t cycles;
    } constexpr kCases[] = {{1, 1'000'000'000}, {2, 500'000'000}, {3, 333'333'333},
                            {4'000'000, 250},   {600'000'000, 1}, {999'999'999, 1}};
    for (const auto& example : kCases) {
        resolution_of_clock = {0, example.resolution};
        EXPECT_EQ(COMMON_System_GetCyclesPerSecondByClockId(kPlayed), example.cycles)
            << example.resolution;
    }
}

TEST(CommonSystemPlatform, CyclesAreTheRealTimeClockDividedByItsResolution)
{
    played_clock = CLOCK_REALTIME;
    time_of_clock = {2'000'000'000, 999};
    struct {
        long resolution;
        std::uint64_t cycles;
    } constexpr kCases[] = {{1, 2'000'000'000'000'000'999},
                            {1000, 2'000'000'000'000'000},
                            {4'000'000, 500'000'000'000},
                            {7, 285'714'285'714'285'857}};
    for (const auto& example : kCases) {
        resolution_of_clock = {0, example.resolution};
        EXPECT_EQ(COMMON_System_Cycles(), example.cycles) << example.resolution;
    }
    played_clock = kPlayed;
}

#if !defined(__aarch64__)
TEST(CommonSystemPlatform, ResolutionOfAWholeSecondDividesByZero)
{
    const auto dies = [](const std::function<void()>& call) {
        const Outcome outcome = run_fresh([&] {
            std::signal(SIGFPE, SIG_DFL);  // also where a sanitizer would catch it
            resolution_of_clock = {1, 0};
            time_of_clock = {1, 0};
            call();
        });
        EXPECT_THAT(outcome, killed_by(SIGFPE));
        EXPECT_THAT(outcome.log, IsEmpty());
    };
    dies([] { COMMON_System_GetCyclesPerSecondByClockId(kPlayed); });
    dies([] {
        played_clock = CLOCK_REALTIME;
        COMMON_System_Cycles();
    });
}
#endif

void expect_sleep(std::int32_t milliseconds, time_t seconds, long nanoseconds)
{
    sleeps.clear();
    OS_Sleep(milliseconds);
    ASSERT_EQ(sleeps.size(), 1U) << milliseconds;
    EXPECT_EQ(sleeps[0].tv_sec, seconds) << milliseconds;
    EXPECT_EQ(sleeps[0].tv_nsec, nanoseconds) << milliseconds;
}

TEST(CommonSystemPlatform, SleepIsSecondsAndNanoseconds)
{
    sleeps_are_played = true;
    expect_sleep(1, 0, 1'000'000);
    expect_sleep(999, 0, 999'000'000);
    expect_sleep(1000, 1, 0);
    expect_sleep(1500, 1, 500'000'000);
    expect_sleep(60'001, 60, 1'000'000);
    expect_sleep(INT32_MAX, 2'147'483, 647'000'000);
    sleeps_are_played = false;
}

TEST(CommonSystemPlatform, NothingIsSleptForZeroOrLess)
{
    sleeps_are_played = true;
    sleeps.clear();
    for (const std::int32_t milliseconds : {0, -1, -5, -1500, INT32_MIN}) {
        OS_Sleep(milliseconds);
    }
    EXPECT_THAT(sleeps, IsEmpty());
    sleeps_are_played = false;
}

FRESH_TEST(CommonSystemPlatform, InterruptedSleepIsNeitherResumedNorReported)
{
    sleeps_are_played = true;
    for (const int error : {EINTR, EINVAL}) {
        sleep_error = error;
        expect_sleep(1500, 1, 500'000'000);
    }
}

TEST(CommonSystemPlatform, TicksBecomeMilliseconds)
{
    const auto per_second = static_cast<std::uint64_t>(sysconf(_SC_CLK_TCK));
    ticks_are_played = true;
    for (const clock_t ticks : {clock_t{0}, clock_t{1}, clock_t{99}, clock_t{12'345},
                                clock_t{2'000'000'000}, clock_t{INT32_MAX}}) {
        tick_count = ticks;
        EXPECT_EQ(GetSystemTime(), static_cast<std::uint64_t>(ticks) * 1000 / per_second) << ticks;
    }
    ticks_are_played = false;
}

}  // namespace
