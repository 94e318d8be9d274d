// Stopping and starting the flash drivers.
#include <glob.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "common.h"
#include "common_system.h"
#include "files/flash_device.h"
#include "flash_safety.h"
#include "log/report.h"
#include "platform/uncancelled_scope.h"

namespace common::flash {

bool is_up(const Driver& driver) noexcept
{
    const UncancelledScope uncancelled;
    glob_t paths{};
    const bool found = glob(driver.devices, GLOB_NOSORT, nullptr, &paths) == 0;
    globfree(&paths);
    return found;
}

namespace {

/// The most that the NAND driver gets to end.
// Oddity: no more, whatever time callers allow; they rely on it.
// Test: FlashShutdown.TheNandDriverGetsNoMoreThan200Milliseconds.
constexpr std::uint32_t kNandEndTime_ms = 200;

/// Whether a driver whose parameters are known has to be brought up, or down.
bool has_work(const Driver& driver, bool wanted_up) noexcept
{
    return *driver.name != '\0' && is_up(driver) != wanted_up;
}

void report_failed_call(const char* function, const char* argument, int error, Here here) noexcept
{
    report(kSource, COMMON_LogLevelError, here, "%s(\"%s\") failed errno=%d: %s", function,
           argument, error, std::strerror(error));
}

bool find_process(const Driver& driver, std::uint32_t& pid, Here here = Here::now()) noexcept
{
    report(kSource, COMMON_LogLevelDebug, here, "Getting pid for %s flash driver \"%s\"",
           driver.word, driver.name);
    if (UTIL_GetPidFromProcessName(driver.name, &pid) != 0) {
        return true;
    }
    report_failed_call("UTIL_GetPidFromProcessName", driver.name, errno, here);
    return false;
}

bool run_command(const Driver& driver, Here here = Here::now()) noexcept
{
    report(kSource, COMMON_LogLevelDebug, here, "Starting %s flash driver \"%s %s\"", driver.word,
           driver.name, driver.options);
    char command[kCommandSize];
    std::snprintf(command, sizeof command, "%s %s", driver.name, driver.options);
    if (command_succeeded(COMMON_System_Exec(command))) {
        return true;
    }
    report_failed_call("system", command, errno, here);
    return false;
}

/// Waits for a driver. It is looked for at once and after each step, the last one included.
bool comes_up(const Driver& driver, std::uint32_t timeout_ms) noexcept
{
    for (std::uint32_t sleeps = sleeps_within(timeout_ms); !is_up(driver); --sleeps) {
        if (sleeps == 0) {
            return false;
        }
        OS_Sleep(kDriverStep_ms);
    }
    return true;
}

bool flashsafe_ShutdownNorDriver(std::uint32_t timeout_ms, std::uint32_t force) noexcept
{
    if (!flashsafe_GetNorParams() || !has_work(nor_driver, false)) {
        return true;
    }
    std::uint32_t pid = 0;
    if (!find_process(nor_driver, pid)) {
        return false;
    }
    const char* const name = nor_driver.name;
    COMMON_REPORT(kSource, Debug, "Terminating NOR flash driver \"%s\" (pid %u)", name, pid);
    if (UTIL_TerminatePid(pid, timeout_ms, 0) != 0) {
        return true;
    }
    if (force != kForce) {
        return false;
    }
    COMMON_REPORT(kSource, Warn, "Forcing Kill of NOR flash driver \"%s\" (pid %u)", name, pid);
    return UTIL_TerminatePid(pid, 0, kForce) != 0;
}

// Oddity: the NAND driver is never killed, whatever callers ask for.
// Test: FlashShutdown.TheNandDriverIsNeverKilled.
bool flashsafe_ShutdownNandDriver(std::uint32_t timeout_ms) noexcept
{
    if (!flashsafe_GetNandParams() || !has_work(nand_driver, false)) {
        return true;
    }
    std::uint32_t pid = 0;
    if (!find_process(nand_driver, pid)) {
        return false;
    }
    // Oddity: "pid=" here and "pid " above, as both are looked for.
    // Test: FlashShutdown.BothDriversAreEnded.
    COMMON_REPORT(kSource, Debug, "Terminating NAND flash driver \"%s\" (pid=%u)", nand_driver.name,
                  pid);
    return UTIL_TerminatePid(pid, std::min(timeout_ms, kNandEndTime_ms), 0) != 0;
}

bool flashsafe_StartNorDriver(std::uint32_t timeout_ms) noexcept
{
    if (!flashsafe_GetNorParams() || !has_work(nor_driver, true)) {
        return true;
    }
    if (!run_command(nor_driver) || !comes_up(nor_driver, timeout_ms)) {
        return false;
    }
    // A partition that cannot be remounted is usable as it is: the driver has started all the same.
    for (std::uint32_t index = 0; index < kPartitionCount; ++index) {
        switch (kPartitions[index].at_start) {  // GCOVR_EXCL_BR_LINE can't happen: two ways
        case Access::ReadOnly:
            FLASHSAFE_MountReadOnly(index);
            break;
        case Access::Writable:
            FLASHSAFE_MountWritable(index);
            break;
        }
    }
    return true;
}

bool flashsafe_StartNandDriver(std::uint32_t timeout_ms) noexcept
{
    if (!flashsafe_GetNandParams() || !has_work(nand_driver, true)) {
        return true;
    }
    return run_command(nand_driver) && comes_up(nand_driver, timeout_ms);
}

}  // namespace
}  // namespace common::flash

extern "C" {

// Each half is gone through whatever became of the other.

uint32_t FLASHSAFE_ShutdownDriver(uint32_t timeout_ms, uint32_t force)
{
    const bool nor_ended = common::flash::flashsafe_ShutdownNorDriver(timeout_ms, force);
    return common::flash::flashsafe_ShutdownNandDriver(timeout_ms) && nor_ended ? 1 : 0;
}

uint32_t FLASHSAFE_StartDriver(uint32_t timeout_ms)
{
    const bool nor_started = common::flash::flashsafe_StartNorDriver(timeout_ms);
    return common::flash::flashsafe_StartNandDriver(timeout_ms) && nor_started ? 1 : 0;
}

}  // extern "C"
