#include "oxa_shims.h"

#include <array>
#include <bit>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/errno_keeper.h"

namespace common::shims {
namespace {

static_assert(std::endian::native == std::endian::little,
              "the conversions and serialised data are those of a little-endian machine");

constexpr std::uint64_t kNanosecondsPerSecond = 1'000'000'000;

/// The arguments of a program, and the null pointer behind them.
constexpr std::size_t kArgumentSlots = 32;

/// WEXITED.
// Oddity: the wait option that callers know, which waitpid() takes on some systems only.
// Test: OxaSpawnCalls.WaitsWithTheOptionAndWhereThatIsRefusedWithout.
constexpr int kWaitForExit = 4;

/// Waits for a child's end and takes its status. Nobody asks how that went.
void wait_for_end(pid_t child) noexcept
{
    int options = kWaitForExit;
    while (waitpid(child, nullptr, options) < 0) {
        if (errno == EINVAL && options != 0) {
            options = 0;
        } else if (errno != EINTR) {
            return;
        }
    }
}

}  // namespace
}  // namespace common::shims

using namespace common::shims;

extern "C" {

std::uint32_t OXA_ENDIAN_LE32(std::uint32_t value)
{
    return value;
}

std::uint16_t OXA_ENDIAN_LE16(std::uint16_t value)
{
    return value;
}

std::uint32_t OXA_ENDIAN_BE32(std::uint32_t value)
{
    return __builtin_bswap32(value);
}

std::uint16_t OXA_ENDIAN_BE16(std::uint16_t value)
{
    return __builtin_bswap16(value);
}

void OXA_ENDIAN_SWAP32(std::uint32_t* pointer)
{
    if (pointer != nullptr) {
        *pointer = __builtin_bswap32(*pointer);
    }
}

void OXA_ENDIAN_SWAP16(std::uint16_t* pointer)
{
    if (pointer != nullptr) {
        *pointer = __builtin_bswap16(*pointer);
    }
}

void OXA_nsec2timespec(timespec* ts, std::uint64_t nsec)
{
    if (ts != nullptr) {
        ts->tv_sec = static_cast<time_t>(nsec / kNanosecondsPerSecond);
        ts->tv_nsec = static_cast<decltype(ts->tv_nsec)>(nsec % kNanosecondsPerSecond);
    }
}

std::int64_t OXA_timespec2nsec(const timespec* ts)
{
    if (ts == nullptr) {
        return 0;
    }
    // Without a sign, so that times out of range wrap instead of being undefined.
    const auto seconds = static_cast<std::uint64_t>(std::int64_t{ts->tv_sec});
    const auto rest = static_cast<std::uint64_t>(std::int64_t{ts->tv_nsec});
    return static_cast<std::int64_t>(seconds * kNanosecondsPerSecond + rest);
}

int OXA_posix_spawnp(int mode, const char* file, const char* arg0, ...)
{
    if (file == nullptr) {
        return -1;
    }
    // The search for the program leaves errors behind, also when it is found.
    const common::ErrnoKeeper keeper;
    std::array<char*, kArgumentSlots> argv{};
    va_list rest;
    va_start(rest, arg0);
    std::size_t count = 0;
    for (const char* argument = arg0; argument != nullptr && count < kArgumentSlots;
         argument = va_arg(rest, const char*)) {
        argv[count++] = const_cast<char*>(argument);
    }
    va_end(rest);
    if (count == kArgumentSlots) {
        return -1;
    }
    pid_t child = 0;
    if (posix_spawnp(&child, file, nullptr, nullptr, argv.data(), nullptr) != 0 || child == 0) {
        return -1;
    }
    // Oddity: -1 although the program runs, as callers of other modes go by it.
    // Test: OxaSpawn.AnyOtherModeStartsTheProgramAndFails.
    if (mode != 0) {
        return -1;
    }
    wait_for_end(child);
    return 0;
}

// Oddity: the order that callers know is the reverse of symlink(2)'s.
// Test: OxaLinks.SymlinksArgumentsAreReversed.
int OXA_symlink(const char* link_path, const char* target)
{
    return symlink(target, link_path);
}

int OXA_unlink(const char* path)
{
    return unlink(path);
}

// Oddity: what this system does not have gives what callers go on with.
// Test: OxaStandIns.DoNothing.

int OXA_procmgr_daemon(...)
{
    return 1;
}

std::uintptr_t OXA_mmap_device_io(...)
{
    return 0;
}

}  // extern "C"
