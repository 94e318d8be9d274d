#include "common_system.h"

#include <sys/times.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "foundation/thread_state.h"
#include "log/process_locks.h"
#include "log/report.h"
#include "thread/clock.h"

namespace {

constexpr common::Source kSource{"common_system"};

constexpr std::uint64_t to_nanoseconds(const timespec& time) noexcept
{
    // Oddity: seconds are a signed number of 32 bits, as callers know them.
    // Test: CommonSystemPlatform.SecondsAreASigned32BitNumber.
    const auto seconds = static_cast<std::int32_t>(time.tv_sec);
    return static_cast<std::uint64_t>(std::int64_t{seconds}) * common::kNanosecondsPerSecond +
           static_cast<std::uint64_t>(time.tv_nsec);
}

void report_failed_clock(std::int32_t clock, const char* what, int error,
                         common::Here here = common::Here::now()) noexcept
{
    common::report_failure(kSource, COMMON_LogLevelFatal, here, error, "Failed to get the %s %s",
                           COMMON_System_ClockId_ToString(clock), what);
}

/// Oddity: divides without a guard, so that callers get the machine's own answer to a resolution of
/// 0. Test: CommonSystem.ResolutionOfAnUnknownClockDividesByZero.
__attribute__((no_sanitize("integer-divide-by-zero"))) std::uint64_t
ticks(std::uint64_t nanoseconds, std::uint32_t resolution) noexcept
{
    return nanoseconds / resolution;
}

}  // namespace

namespace common {
namespace {

/// Seconds that local time was ahead of UTC when it was last asked for.
constinit std::atomic<std::int32_t> ahead_of_utc{0};

/// The local time of day by what was last known, without the C library.
void write_remembered_local_time(std::uint64_t seconds, char (&text)[kLocalTimeCapacity]) noexcept
{
    const auto local = static_cast<std::int64_t>(seconds) + ahead_of_utc.load();
    const auto second = static_cast<unsigned>(static_cast<std::uint64_t>(local) % kSecondsPerDay);
    std::snprintf(text, sizeof text, "%02u:%02u:%02u", second / 3600, second / 60 % 60,
                  second % 60);
}

}  // namespace

bool local_time_text(std::uint64_t seconds, char (&text)[kLocalTimeCapacity]) noexcept
{
    if (is_lost(ProcessLock::LocalTime)) {
        write_remembered_local_time(seconds, text);
        return true;
    }
    const auto time = static_cast<std::time_t>(seconds);
    std::tm local{};
    bool known = false;
    {
        const ProcessLockScope lock(ProcessLock::LocalTime);
        tzset();  // localtime_r() alone need not notice a changed time zone
        known = localtime_r(&time, &local) != nullptr;
    }
    if (known) {
        ahead_of_utc.store(static_cast<std::int32_t>(local.tm_gmtoff));
    }
    if (known && std::strftime(text, sizeof text, "%T", &local) == 0) {
        text[0] = '\0';
    }
    return known;
}

}  // namespace common

extern "C" {

const char* COMMON_System_ClockId_ToString(int32_t clockId)
{
    switch (clockId) {
    case 0:
        return "CLOCK_REALTIME";
    case 1:
        return "CLOCK_MONOTONIC";
    default:
        return "unknown clock";
    }
}

uint64_t COMMON_System_GetTimeByClockId(int32_t clockId)
{
    timespec now{};
    if (clock_gettime(clockId, &now) == 0) {
        return to_nanoseconds(now);
    }
    const int error = errno;
    // The record of this failure is itself stamped with the time: it must not report once more.
    if (!common::thread_state.reporting_clock) {
        const common::StateScope scope(common::thread_state.reporting_clock, true);
        report_failed_clock(clockId, "time", error);
    }
    return 0;
}

uint64_t COMMON_System_Time(void)
{
    return COMMON_System_GetTimeByClockId(CLOCK_REALTIME);
}

uint32_t COMMON_System_GetTimeResByClockId(int32_t clockId)
{
    timespec resolution{};
    if (clock_getres(clockId, &resolution) != 0) {
        report_failed_clock(clockId, "resolution", errno);
        return 0;
    }
    // Oddity: whole seconds are dropped.
    // Test: CommonSystemPlatform.WholeSecondsOfAResolutionAreDropped.
    return static_cast<std::uint32_t>(resolution.tv_nsec);
}

uint64_t COMMON_System_GetCyclesPerSecondByClockId(int32_t clockId)
{
    return ticks(common::kNanosecondsPerSecond, COMMON_System_GetTimeResByClockId(clockId));
}

uint64_t COMMON_System_Cycles(void)
{
    const std::uint64_t now = COMMON_System_Time();
    return now == 0 ? 0 : ticks(now, COMMON_System_GetTimeResByClockId(CLOCK_REALTIME));
}

char** COMMON_System_Environment(void)
{
    return environ;
}

char* COMMON_System_Variable(const char* name)
{
    return std::getenv(name);
}

int32_t COMMON_System_Exec(const char* command)
{
    return std::system(command);
}

void COMMON_System_Exit(int32_t status)
{
    std::exit(status);
}

void OS_Sleep(int32_t milliseconds)
{
    if (milliseconds > 0) {
        const timespec duration{milliseconds / 1000, (milliseconds % 1000) * 1'000'000L};
        nanosleep(&duration, nullptr);
    }
}

uint64_t GetSystemTime(void)
{
    tms unused{};
    // By way of the unsigned type: where clock_t is 32 bits wide it may have wrapped.
    const auto count = static_cast<unsigned long>(times(&unused));
    return std::uint64_t{count} * 1000 / static_cast<std::uint64_t>(sysconf(_SC_CLK_TCK));
}

}  // extern "C"
