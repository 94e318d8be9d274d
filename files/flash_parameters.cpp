#include <glob.h>

#include <cstdlib>
#include <iterator>

#include "files/flash_device.h"
#include "log/report.h"
#include "platform/uncancelled_scope.h"

namespace common {

constinit std::uint32_t haveFlashParams = 0;
constinit const char* flashsafe_NorDriverName = nullptr;
constinit const char* flashsafe_NorDriverOptions = nullptr;
constinit PartitionInfo partitionInfo[kPartitionCount]{
    {"/", 0, 0}, {"/config-mfg", 0, 0}, {"/config", 0, 0}, {"/log", 0, 0}};
constinit std::uint32_t hasNandParams = 0;
constinit const char* flashsafe_NandDriverName = nullptr;
constinit const char* flashsafe_NandDriverOptions = nullptr;

namespace {

std::int32_t kilobytes(const char* text) noexcept
{
    return static_cast<std::int32_t>(std::strtol(text, nullptr, 0));
}

/// Adds as the machine does: sizes beyond all devices must not be undefined behaviour.
std::int32_t wrapping_sum(std::int32_t a, std::int32_t b) noexcept
{
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}

/// Reads all variables, also after a missing one, so that one look at the log shows them all.
template <std::size_t Count>
bool read_variables(const char* const (&names)[Count], const char* (&values)[Count]) noexcept
{
    bool complete = true;
    for (std::size_t i = 0; i < Count; ++i) {
        values[i] = flashsafe_GetEnvVarPtr(names[i]);
        complete = complete && values[i] != nullptr;
    }
    return complete;
}

/// Lays the partitions out back to back behind the boot area.
void lay_out_partitions(std::int32_t boot_size, const char* const* sizes) noexcept
{
    std::int32_t offset = boot_size;
    for (PartitionInfo& partition : partitionInfo) {
        partition.offset = offset;
        partition.size = kilobytes(*sizes++);
        offset = wrapping_sum(offset, partition.size);
    }
}

std::uint32_t some_path_fits(const char* pattern) noexcept
{
    const UncancelledScope uncancelled;
    glob_t paths{};
    const bool found = glob(pattern, GLOB_NOSORT, nullptr, &paths) == 0 && paths.gl_pathc > 0;
    globfree(&paths);
    return found ? 1 : 0;
}

}  // namespace

const char* flashsafe_GetEnvVarPtr(const char* name) noexcept
{
    const char* const value = std::getenv(name);
    if (value == nullptr) {
        COMMON_REPORT(kFlashSafety, Error,
                      "getenv(\"%s\") returned NULL for the required driver parameter!", name);
    }
    return value;
}

std::uint32_t flashsafe_GetNorParams() noexcept
{
    if (haveFlashParams != 0) {
        return 1;
    }
    static constexpr const char* kNames[] = {
        "FLASH_START_DRIVER_NAME", "FLASH_START_DRIVER_OPTIONS",  "FLASH_START_BOOT_SIZE",
        "FLASH_START_ROOT_SIZE",   "FLASH_START_CONFIG_MFG_SIZE", "FLASH_START_CONFIG_SIZE",
        "FLASH_START_LOG_SIZE"};
    const char* values[std::size(kNames)];
    if (!read_variables(kNames, values)) {
        COMMON_REPORT(kFlashSafety, Error,
                      "Cannot get flash driver parameters from the environment!");
        return 0;
    }
    flashsafe_NorDriverName = values[0];
    flashsafe_NorDriverOptions = values[1];
    const std::int32_t boot_size = kilobytes(values[2]);
    lay_out_partitions(boot_size, values + 3);
    COMMON_REPORT(kFlashSafety, Info, "NOR flash driver: \"%s %s\"", flashsafe_NorDriverName,
                  flashsafe_NorDriverOptions);
    const auto& [root, config_mfg, config, log] = partitionInfo;
    COMMON_REPORT(kFlashSafety, Info,
                  "NOR flash partitions: b=[%d,%d] r=[%d,%d] m=[%d,%d] c=[%d,%d] l=[%d,%d]", 0,
                  boot_size, root.offset, root.size, config_mfg.offset, config_mfg.size,
                  config.offset, config.size, log.offset, log.size);
    haveFlashParams = 1;
    return 1;
}

std::uint32_t flashsafe_GetNandParams() noexcept
{
    if (hasNandParams != 0) {
        return 1;
    }
    static constexpr const char* kNames[] = {"NAND_DRIVER_NAME", "NAND_DRIVER_OPTIONS"};
    const char* values[std::size(kNames)];
    if (!read_variables(kNames, values)) {
        COMMON_REPORT(kFlashSafety, Error,
                      "Cannot get NAND driver parameters from the environment!");
        return 0;
    }
    flashsafe_NandDriverName = values[0];
    flashsafe_NandDriverOptions = values[1];
    COMMON_REPORT(kFlashSafety, Info, "NAND flash driver: \"%s %s\"", flashsafe_NandDriverName,
                  flashsafe_NandDriverOptions);
    hasNandParams = 1;
    return 1;
}

std::uint32_t flashsafe_CheckNorPartitions() noexcept
{
    return some_path_fits("/dev/fs0*");
}

std::uint32_t flashsafe_CheckNandPartitions() noexcept
{
    return some_path_fits("/dev/etfs*");
}

}  // namespace common
