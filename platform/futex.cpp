#include "platform/futex.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>

namespace common {

namespace {

/// The kernel's time, which is not the C library's where that has 64 bits and longs have 32. Times
/// are relative here, so longs do.
#ifdef SYS_futex
constexpr long kFutex = SYS_futex;
struct KernelTime {
    long seconds;
    long nanoseconds;
};
#else
constexpr long kFutex = SYS_futex_time64;
struct KernelTime {
    std::int64_t seconds;
    std::int64_t nanoseconds;
};
#endif

}  // namespace

void futex_wait(const std::uint32_t* word, std::uint32_t expected, const timespec& at_most) noexcept
{
    const KernelTime time{static_cast<decltype(KernelTime::seconds)>(at_most.tv_sec),
                          static_cast<decltype(KernelTime::nanoseconds)>(at_most.tv_nsec)};
    if (syscall(kFutex, word, FUTEX_WAIT_PRIVATE, expected, &time, nullptr, 0) != 0 &&
        errno != EAGAIN && errno != EINTR && errno != ETIMEDOUT) {
        // Refused, by a filter of system calls, say. The caller's looks must not take a processor.
        constexpr timespec kPause{0, 5'000'000};
        nanosleep(&kPause, nullptr);
    }
}

void futex_wake_one(const std::uint32_t* word) noexcept
{
    syscall(kFutex, word, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

}  // namespace common
