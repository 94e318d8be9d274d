// Remounting partitions.
#include <cstdio>

#include "common_system.h"
#include "files/flash_device.h"
#include "flash_safety.h"
#include "log/report.h"

using namespace common;

namespace {

/// Whether there is such a partition.
bool is_known(std::uint32_t index) noexcept
{
    return index < kPartitionCount && flashsafe_GetNorParams() != 0;
}

std::int32_t remount(const char* mount_point, char access) noexcept
{
    char command[kFlashCommandSize];
    std::snprintf(command, sizeof command, "mount -u -%c %s", access, mount_point);
    return COMMON_System_Exec(command);
}

}  // namespace

extern "C" {

uint32_t FLASHSAFE_MountWritable(uint32_t index)
{
    if (!is_known(index)) {
        return 0;
    }
    const char* const mount_point = partitionInfo[index].mount_point;
    const std::int32_t result = remount(mount_point, 'w');
    if (command_succeeded(result)) {
        return 1;
    }
    COMMON_REPORT(kFlashSafety, Error,
                  "Cannot mount %s as writable, cmdResult = %d, exit status = %d", mount_point,
                  result, exit_status(result));
    return 0;
}

uint32_t FLASHSAFE_MountReadOnly(uint32_t index)
{
    if (!is_known(index)) {
        return 0;
    }
    const char* const mount_point = partitionInfo[index].mount_point;
    const std::int32_t result = remount(mount_point, 'r');
    if (command_succeeded(result)) {
        return 1;
    }
    COMMON_REPORT(kFlashSafety, Error,
                  "Cannot mount %s as read-only, cmdResult = %d, exit status = %d", mount_point,
                  result, exit_status(result));
    return 0;
}

}  // extern "C"
