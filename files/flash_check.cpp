// Checking a partition, and formatting it anew.
#include <sys/stat.h>

#include <cstdio>

#include "common_system.h"
#include "files/flash_device.h"
#include "flash_safety.h"
#include "log/report.h"
#include "platform/uncancelled_scope.h"

namespace common::flash {
namespace {

constexpr std::uint32_t kDeep = 1;
constexpr std::uint32_t kRecover = 1;

/// How long the drivers may take to end, and to come up again, after a partition was formatted.
constexpr std::uint32_t kRestartTime_ms = 10'000;

bool is_sound(const char* mount_point, std::uint32_t mode) noexcept
{
    if (mode == kDeep) {
        return tree_is_sound(mount_point);
    }
    struct stat status;
    return stat(mount_point, &status) == 0;
}

void execute(const char* command, Here here = Here::now()) noexcept
{
    report(kSource, COMMON_LogLevelInfo, here, "Executing: %s", command);
    COMMON_System_Exec(command);
}

}  // namespace
}  // namespace common::flash

using namespace common::flash;

extern "C" uint32_t FLASHSAFE_CheckPartition(uint32_t index, uint32_t mode, uint32_t recover,
                                             uint32_t* corrupt)
{
    if (corrupt == nullptr || index >= kPartitionCount) {
        return 0;
    }
    *corrupt = 0;
    if (!flashsafe_GetNorParams()) {
        return 0;
    }
    const char* const mount_point = kPartitions[index].mount_point;
    const auto& [offset, size] = extents[index];
    if (is_sound(mount_point, mode)) {
        COMMON_REPORT(kSource, Info, "%s partition is OK", mount_point);
        return 1;
    }
    *corrupt = 1;
    COMMON_REPORT(kSource, Warn, "%s partition is corrupt", mount_point);
    if (recover != kRecover) {
        COMMON_REPORT(kSource, Warn, "skipping recovery of flash partition %s", mount_point);
        return 1;
    }

    // Cancelled half way, the partition would stay erased and the drivers down.
    const common::UncancelledScope uncancelled;
    char command[kCommandSize];
    std::snprintf(command, sizeof command, "flashctl -o%dK -l%dK -p/dev/fs0 -vv -e", offset, size);
    execute(command);
    std::snprintf(command, sizeof command, "flashctl -o%dK -l%dK -p/dev/fs0p0 -f -n%s -F", offset,
                  size, mount_point);
    execute(command);
    COMMON_REPORT(kSource, Info, "partition %s format complete", mount_point);

    const std::uint32_t stopped = FLASHSAFE_ShutdownDriver(kRestartTime_ms, kForce);
    return stopped != 1 ? stopped : FLASHSAFE_StartDriver(kRestartTime_ms);
}
