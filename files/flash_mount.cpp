// Remounting partitions.
#include <cstdio>

#include "common_system.h"
#include "files/flash_device.h"
#include "flash_safety.h"
#include "log/report.h"

namespace common::flash {
namespace {

bool remount(std::uint32_t index, Access access, const char* word, Here here = Here::now()) noexcept
{
    if (index >= kPartitionCount || !flashsafe_GetNorParams()) {
        return false;
    }
    const char* const mount_point = kPartitions[index].mount_point;
    char command[kCommandSize];
    std::snprintf(command, sizeof command, "mount -u -%c %s", static_cast<char>(access),
                  mount_point);
    const std::int32_t result = COMMON_System_Exec(command);
    if (command_succeeded(result)) {
        return true;
    }
    report(kSource, COMMON_LogLevelError, here,
           "Cannot mount %s as %s, cmdResult = %d, exit status = %d", mount_point, word, result,
           exit_status(result));
    return false;
}

}  // namespace
}  // namespace common::flash

using namespace common::flash;

extern "C" uint32_t FLASHSAFE_MountWritable(uint32_t index)
{
    return remount(index, Access::Writable, "writable") ? 1 : 0;
}

extern "C" uint32_t FLASHSAFE_MountReadOnly(uint32_t index)
{
    return remount(index, Access::ReadOnly, "read-only") ? 1 : 0;
}
