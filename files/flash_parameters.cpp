// The parameters of the flash devices, read from the environment.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>

#include "files/flash_device.h"
#include "log/report.h"

namespace common::flash {

constinit Driver nor_driver{.word = "NOR", .devices = "/dev/fs0*"};
constinit Driver nand_driver{.word = "NAND", .devices = "/dev/etfs*"};
constinit Extent extents[kPartitionCount]{};

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

/// Gives a variable of the environment; null, which is reported, when it is missing.
const char* flashsafe_GetEnvVarPtr(const char* name) noexcept
{
    const char* const value = std::getenv(name);
    if (value == nullptr) {
        COMMON_REPORT(kSource, Error,
                      "getenv(\"%s\") returned NULL for the required driver parameter!", name);
    }
    return value;
}

void take_driver(Driver& driver, const char* name, const char* options,
                 Here here = Here::now()) noexcept
{
    driver.name = name;
    driver.options = options;
    report(kSource, COMMON_LogLevelInfo, here, "%s flash driver: \"%s %s\"", driver.word, name,
           options);
}

/// Lays the partitions out back to back behind the boot area.
void lay_out_partitions(std::int32_t boot_size,
                        const char* const (&sizes)[kPartitionCount]) noexcept
{
    std::int32_t offset = boot_size;
    for (std::uint32_t index = 0; index < kPartitionCount; ++index) {
        extents[index] = {offset, kilobytes(sizes[index])};
        offset = wrapping_sum(offset, extents[index].size);
    }
}

void report_partitions(std::int32_t boot_size, Here here = Here::now()) noexcept
{
    constexpr std::size_t kLongest = sizeof " b=[-2147483648,-2147483648]" - 1;
    char text[(1 + kPartitionCount) * kLongest + 1];
    char* end = text;
    const auto append = [&end](char letter, const Extent& extent) {
        end += std::snprintf(end, kLongest + 1, " %c=[%d,%d]", letter, extent.offset, extent.size);
    };
    append('b', {0, boot_size});
    for (std::uint32_t index = 0; index < kPartitionCount; ++index) {
        append(kPartitions[index].letter, extents[index]);
    }
    report(kSource, COMMON_LogLevelInfo, here, "NOR flash partitions:%s", text);
}

}  // namespace

// All variables are read, also after a missing one, so that one look at the log shows them all.

bool flashsafe_GetNorParams() noexcept
{
    if (nor_driver.is_known) {
        return true;
    }
    const char* const name = flashsafe_GetEnvVarPtr("FLASH_START_DRIVER_NAME");
    const char* const options = flashsafe_GetEnvVarPtr("FLASH_START_DRIVER_OPTIONS");
    const char* const boot = flashsafe_GetEnvVarPtr("FLASH_START_BOOT_SIZE");
    const char* sizes[kPartitionCount];
    std::transform(std::begin(kPartitions), std::end(kPartitions), sizes,
                   [](const Partition& its) { return flashsafe_GetEnvVarPtr(its.size_variable); });
    if (name == nullptr || options == nullptr || boot == nullptr ||
        std::find(std::begin(sizes), std::end(sizes), nullptr) != std::end(sizes)) {
        COMMON_REPORT(kSource, Error, "Cannot get flash driver parameters from the environment!");
        return false;
    }
    const std::int32_t boot_size = kilobytes(boot);
    lay_out_partitions(boot_size, sizes);
    take_driver(nor_driver, name, options);
    report_partitions(boot_size);
    nor_driver.is_known = true;
    return true;
}

bool flashsafe_GetNandParams() noexcept
{
    if (nand_driver.is_known) {
        return true;
    }
    const char* const name = flashsafe_GetEnvVarPtr("NAND_DRIVER_NAME");
    const char* const options = flashsafe_GetEnvVarPtr("NAND_DRIVER_OPTIONS");
    if (name == nullptr || options == nullptr) {
        COMMON_REPORT(kSource, Error, "Cannot get NAND driver parameters from the environment!");
        return false;
    }
    take_driver(nand_driver, name, options);
    nand_driver.is_known = true;
    return true;
}

}  // namespace common::flash
