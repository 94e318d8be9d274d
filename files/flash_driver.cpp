// Stopping and starting the flash drivers.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "common.h"
#include "common_system.h"
#include "files/flash_device.h"
#include "flash_safety.h"
#include "log/report.h"

namespace common {
namespace {

constexpr std::uint32_t kForce = 1;

/// The most that the NAND driver gets to end.
constexpr std::uint32_t kNandEndTime_ms = 200;

void compose_command(char (&command)[kFlashCommandSize], const char* name,
                     const char* options) noexcept
{
    std::snprintf(command, sizeof command, "%s %s", name, options);
}

/// Waits for a driver. It is looked for at once and after each step, the last one included.
bool comes_up(std::uint32_t (*is_up)(), std::uint32_t timeout_ms) noexcept
{
    for (std::uint32_t sleeps = driver_sleeps_within(timeout_ms); is_up() == 0; --sleeps) {
        if (sleeps == 0) {
            return false;
        }
        OS_Sleep(kDriverStep_ms);
    }
    return true;
}

std::uint32_t flashsafe_ShutdownNorDriver(std::uint32_t timeout_ms, std::uint32_t force) noexcept
{
    if (flashsafe_GetNorParams() == 0 || *flashsafe_NorDriverName == '\0' ||
        flashsafe_CheckNorPartitions() == 0) {
        return 1;
    }
    const char* const name = flashsafe_NorDriverName;
    COMMON_REPORT(kFlashSafety, Debug, "Getting pid for NOR flash driver \"%s\"", name);
    std::uint32_t pid = 0;
    if (UTIL_GetPidFromProcessName(name, &pid) == 0) {
        const int error = errno;
        COMMON_REPORT(kFlashSafety, Error, "UTIL_GetPidFromProcessName(\"%s\") failed errno=%d: %s",
                      name, error, std::strerror(error));
        return 0;
    }
    COMMON_REPORT(kFlashSafety, Debug, "Terminating NOR flash driver \"%s\" (pid %u)", name, pid);
    if (UTIL_TerminatePid(pid, timeout_ms, 0) != 0) {
        return 1;
    }
    if (force != kForce) {
        return 0;
    }
    COMMON_REPORT(kFlashSafety, Warn, "Forcing Kill of NOR flash driver \"%s\" (pid %u)", name,
                  pid);
    return UTIL_TerminatePid(pid, 0, kForce);
}

std::uint32_t flashsafe_ShutdownNandDriver(std::uint32_t timeout_ms,
                                           std::uint32_t nor_result) noexcept
{
    if (flashsafe_GetNandParams() == 0 || *flashsafe_NandDriverName == '\0' ||
        flashsafe_CheckNandPartitions() == 0) {
        return nor_result;
    }
    const char* const name = flashsafe_NandDriverName;
    COMMON_REPORT(kFlashSafety, Debug, "Getting pid for NAND flash driver \"%s\"", name);
    std::uint32_t pid = 0;
    if (UTIL_GetPidFromProcessName(name, &pid) == 0) {
        const int error = errno;
        COMMON_REPORT(kFlashSafety, Error, "UTIL_GetPidFromProcessName(\"%s\") failed errno=%d: %s",
                      name, error, std::strerror(error));
        return 0;
    }
    // "pid=" here and "pid " above: both are looked for.
    COMMON_REPORT(kFlashSafety, Debug, "Terminating NAND flash driver \"%s\" (pid=%u)", name, pid);
    // Ended whatever became of the NOR driver.
    const std::uint32_t ended = UTIL_TerminatePid(pid, std::min(timeout_ms, kNandEndTime_ms), 0);
    return nor_result & ended;
}

std::uint32_t flashsafe_StartNorDriver(std::uint32_t timeout_ms) noexcept
{
    if (flashsafe_GetNorParams() == 0 || *flashsafe_NorDriverName == '\0' ||
        flashsafe_CheckNorPartitions() != 0) {
        return 1;
    }
    COMMON_REPORT(kFlashSafety, Debug, "Starting NOR flash driver \"%s %s\"",
                  flashsafe_NorDriverName, flashsafe_NorDriverOptions);
    char command[kFlashCommandSize];
    compose_command(command, flashsafe_NorDriverName, flashsafe_NorDriverOptions);
    const std::int32_t result = COMMON_System_Exec(command);
    const int error = errno;
    if (!command_succeeded(result)) {
        COMMON_REPORT(kFlashSafety, Error, "system(\"%s\") failed errno=%d: %s", command, error,
                      std::strerror(error));
        return 0;
    }
    if (!comes_up(flashsafe_CheckNorPartitions, timeout_ms)) {
        return 0;
    }
    // A partition that cannot be remounted is usable as it is: the driver has started all the same.
    FLASHSAFE_MountReadOnly(0);
    FLASHSAFE_MountReadOnly(1);
    FLASHSAFE_MountWritable(2);
    FLASHSAFE_MountWritable(3);
    return 1;
}

std::uint32_t flashsafe_StartNandDriver(std::uint32_t timeout_ms, std::uint32_t nor_result) noexcept
{
    if (flashsafe_GetNandParams() == 0 || *flashsafe_NandDriverName == '\0' ||
        flashsafe_CheckNandPartitions() != 0) {
        return nor_result;
    }
    COMMON_REPORT(kFlashSafety, Debug, "Starting NAND flash driver \"%s %s\"",
                  flashsafe_NandDriverName, flashsafe_NandDriverOptions);
    char command[kFlashCommandSize];
    compose_command(command, flashsafe_NandDriverName, flashsafe_NandDriverOptions);
    const std::int32_t result = COMMON_System_Exec(command);
    const int error = errno;
    if (!command_succeeded(result)) {
        COMMON_REPORT(kFlashSafety, Error, "system(\"%s\") failed errno=%d: %s", command, error,
                      std::strerror(error));
        return 0;
    }
    return comes_up(flashsafe_CheckNandPartitions, timeout_ms) ? nor_result : 0;
}

}  // namespace
}  // namespace common

extern "C" {

uint32_t FLASHSAFE_ShutdownDriver(uint32_t timeout_ms, uint32_t force)
{
    const std::uint32_t nor_result = common::flashsafe_ShutdownNorDriver(timeout_ms, force);
    return common::flashsafe_ShutdownNandDriver(timeout_ms, nor_result);
}

uint32_t FLASHSAFE_StartDriver(uint32_t timeout_ms)
{
    const std::uint32_t nor_result = common::flashsafe_StartNorDriver(timeout_ms);
    return common::flashsafe_StartNandDriver(timeout_ms, nor_result);
}

}  // extern "C"
