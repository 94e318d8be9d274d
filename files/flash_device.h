// What the pieces of flash safety share: the parameters of the flash devices, whether a driver is
// up, and how commands end. Functions that report have the names that records show.
#pragma once

#include <sys/wait.h>

#include <cstddef>
#include <cstdint>

#include "files/flash_partitions.h"
#include "foundation/source.h"

namespace common::flash {

inline constexpr Source kSource{"flash_safety", Module::Common};

/// Room for a shell command. A longer one is cut.
inline constexpr std::size_t kCommandSize = 256;

/// The argument of callers that has a process killed.
inline constexpr std::uint32_t kForce = 1;

/// The driver of a flash device.
struct Driver {
    char word[5];      ///< as records call the device
    char devices[11];  ///< what a path fits when the driver is up
    bool is_known = false;
    const char* name = nullptr;
    const char* options = nullptr;
};

/// Where a partition lies on the NOR device, in kilobytes.
struct Extent {
    std::int32_t offset;
    std::int32_t size;
};

// The parameters, the texts of which are the environment's own. They are written once, at their
// first successful reading, and without a lock: callers do not use flash safety from several
// threads at once. A child of fork() has what its parent had.
extern Driver nor_driver;
extern Driver nand_driver;
extern Extent extents[kPartitionCount];

/// Make the parameters of a device available; that they are not is reported.
bool flashsafe_GetNorParams() noexcept;
bool flashsafe_GetNandParams() noexcept;

bool is_up(const Driver& driver) noexcept;

/// Examines everything below a mount point, an absolute path.
bool tree_is_sound(const char* mount_point) noexcept;

/// How long is slept between two looks at a driver that is to come up.
inline constexpr std::uint32_t kDriverStep_ms = 100;

/// How often is slept until a time is over.
constexpr std::uint32_t sleeps_within(std::uint32_t timeout_ms) noexcept
{
    return timeout_ms / kDriverStep_ms + (timeout_ms % kDriverStep_ms != 0 ? 1 : 0);
}

/// The exit status in what system(3) gave; that there was no command at all gives 255.
// Oddity: a command that a signal killed has exited with 0, as callers take a driver that ended so
// for one that was started.
// Test: FlashStart.ACommandThatASignalKilledDidNotFail.
constexpr std::int32_t exit_status(std::int32_t result) noexcept
{
    return WEXITSTATUS(result);
}

constexpr bool command_succeeded(std::int32_t result) noexcept
{
    return result != -1 && exit_status(result) == 0;
}

}  // namespace common::flash
