#include "platform/short_look.h"

#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <ctime>

#include "platform/errno_keeper.h"
#include "platform/pause.h"

namespace common {

namespace {

constexpr std::uint64_t kLookingTime = 20'000;
/// Each look takes the memory that it is at away from the thread that is about to change it, and
/// one that comes true takes the lock itself: the other thread gets some work done in between.
constexpr std::uint64_t kTimeBetweenLooks = 1'000;

/// How many more looks are left out on a machine with one processor before its processors are
/// counted again, as others may be switched on late; or that there are several. Counting reads a
/// file, so it is not done each time. The answer is the machine's: it holds in a child of fork and
/// after a change of affinity. A process that is confined to one of several processors looks in
/// vain, which costs it the time of the look.
constinit std::atomic<int> left_out{0};
constexpr int kSeveral = -1;
constexpr int kLeftOut = 100;

bool has_several_processors() noexcept
{
    const int left = left_out.load(std::memory_order_relaxed);
    if (left > 0) {
        left_out.store(left - 1, std::memory_order_relaxed);
    }
    if (left != 0) {
        return left == kSeveral;
    }
    const bool has_one = sysconf(_SC_NPROCESSORS_ONLN) == 1;
    left_out.store(has_one ? kLeftOut : kSeveral, std::memory_order_relaxed);
    return !has_one;
}

/// A clock that fails is at the end of all times.
std::uint64_t nanoseconds() noexcept
{
    timespec time;
    if (clock_gettime(CLOCK_MONOTONIC, &time) != 0) {
        return UINT64_MAX;
    }
    return static_cast<std::uint64_t>(time.tv_sec) * 1'000'000'000 +
           static_cast<std::uint64_t>(time.tv_nsec);
}

}  // namespace

bool comes_true_shortly(bool (*condition)(void* argument), void* argument) noexcept
{
    const ErrnoKeeper keeper;
    if (!has_several_processors()) {
        return false;
    }
    // By the clock: a pause is a hundred times as long on one processor as on another.
    std::uint64_t now = nanoseconds();
    for (const std::uint64_t end = now + kLookingTime; now < end;) {
        const std::uint64_t next = now + kTimeBetweenLooks;
        do {
            pause_processor();
            now = nanoseconds();
        } while (now < next);
        if (condition(argument)) {
            return true;
        }
    }
    return false;
}

}  // namespace common
