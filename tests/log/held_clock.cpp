#include "held_clock.h"

#include <atomic>
#include <ctime>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
constexpr std::int64_t kNotHeld = INT64_MIN;
constinit std::atomic<std::int64_t> held_at_ns{kNotHeld};
constinit std::atomic<std::int64_t> monotonic_held_at_ns{kNotHeld};

}  // namespace

namespace harness {

void hold_clock_at(std::int64_t seconds, std::int32_t nanoseconds)
{
    held_at_ns = seconds * kNanosecondsPerSecond + nanoseconds;
}

void move_clock(std::chrono::milliseconds distance)
{
    held_at_ns += std::chrono::nanoseconds(distance).count();
}

void hold_monotonic_clock_at(std::int64_t seconds, std::int32_t nanoseconds)
{
    monotonic_held_at_ns = seconds * kNanosecondsPerSecond + nanoseconds;
}

}  // namespace harness

// Found before the C library's own, also by the libraries that the program uses.
extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept
{
    const std::int64_t held_ns = clock == CLOCK_REALTIME    ? held_at_ns.load()
                                 : clock == CLOCK_MONOTONIC ? monotonic_held_at_ns.load()
                                                            : kNotHeld;
    if (held_ns != kNotHeld) {
        time->tv_sec = held_ns / kNanosecondsPerSecond;
        time->tv_nsec = static_cast<decltype(time->tv_nsec)>(held_ns % kNanosecondsPerSecond);
        return 0;
    }
#if defined(SYS_clock_gettime64)
    return static_cast<int>(syscall(SYS_clock_gettime64, clock, time));
#else
    return static_cast<int>(syscall(SYS_clock_gettime, clock, time));
#endif
}
