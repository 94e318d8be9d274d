// What the pieces of flash safety share: the parameters of the flash devices, whether a driver is
// up, and how commands end. The functions have the names that records show.
#pragma once

#include <sys/wait.h>

#include <cstddef>
#include <cstdint>

#include "foundation/source.h"

namespace common {

inline constexpr Source kFlashSafety{"flash_safety", Module::Common};

/// Room for a shell command. A longer one is cut.
inline constexpr std::size_t kFlashCommandSize = 256;

inline constexpr std::uint32_t kPartitionCount = 4;

struct PartitionInfo {
    const char* mount_point;
    std::int32_t offset;  ///< in kilobytes, from the start of the NOR device
    std::int32_t size;    ///< in kilobytes
};

// The parameters, the texts of which are the environment's own. They are written once, at their
// first successful reading, and without a lock: callers do not use flash safety from several
// threads at once. A child of fork() has what its parent had.
extern std::uint32_t haveFlashParams;
extern const char* flashsafe_NorDriverName;
extern const char* flashsafe_NorDriverOptions;
extern PartitionInfo partitionInfo[kPartitionCount];
extern std::uint32_t hasNandParams;
extern const char* flashsafe_NandDriverName;
extern const char* flashsafe_NandDriverOptions;

/// Gives a variable of the environment; null, which is reported, when it is missing.
const char* flashsafe_GetEnvVarPtr(const char* name) noexcept;

/// Make the parameters of a device available: 1, or 0 after a report.
std::uint32_t flashsafe_GetNorParams() noexcept;
std::uint32_t flashsafe_GetNandParams() noexcept;

/// Tell whether the driver of a device is up: 1 or 0.
std::uint32_t flashsafe_CheckNorPartitions() noexcept;
std::uint32_t flashsafe_CheckNandPartitions() noexcept;

/// Examines everything below a mount point, an absolute path: 1 when it is sound, 0 when corrupt.
std::uint32_t tree_is_sound(const char* mount_point) noexcept;

/// How long is slept between two looks at a driver that is to come up.
inline constexpr std::uint32_t kDriverStep_ms = 100;

/// How often is slept until a time is over.
constexpr std::uint32_t driver_sleeps_within(std::uint32_t timeout_ms) noexcept
{
    return timeout_ms / kDriverStep_ms + (timeout_ms % kDriverStep_ms != 0 ? 1 : 0);
}

/// The exit status in what system(3) gave. A command that a signal killed has exited with 0 to
/// those who only look here, as callers do; that there was no command at all gives 255.
constexpr std::int32_t exit_status(std::int32_t result) noexcept
{
    return WEXITSTATUS(result);
}

constexpr bool command_succeeded(std::int32_t result) noexcept
{
    return result != -1 && exit_status(result) == 0;
}

}  // namespace common
