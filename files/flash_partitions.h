// The partitions of the NOR flash device: whatever is particular to one of them stands in its row.
#pragma once

#include <cstdint>
#include <iterator>

namespace common::flash {

/// How a partition is mounted, as the option of mount(1) that says so.
enum class Access : char { ReadOnly = 'r', Writable = 'w' };

struct Partition {
    char mount_point[12];
    char size_variable[28];  ///< the variable of the environment
    char letter;             ///< in the report of the parameters
    Access at_start;         ///< from when the driver has started
};

/// In the order in which they lie on the device, back to back behind the boot area; callers know
/// them by their indexes.
inline constexpr Partition kPartitions[] = {
    {"/", "FLASH_START_ROOT_SIZE", 'r', Access::ReadOnly},
    {"/config-mfg", "FLASH_START_CONFIG_MFG_SIZE", 'm', Access::ReadOnly},
    {"/config", "FLASH_START_CONFIG_SIZE", 'c', Access::Writable},
    {"/log", "FLASH_START_LOG_SIZE", 'l', Access::Writable},
};

inline constexpr std::uint32_t kPartitionCount = std::size(kPartitions);
static_assert(kPartitionCount == 4, "include/flash_safety.h tells callers of each partition");

}  // namespace common::flash
