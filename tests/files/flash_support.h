// What the tests of flash safety share: its records, and the simulated target that it works on.
#pragma once

#include <algorithm>
#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "../../files/flash_partitions.h"
#include "fresh_process.h"
#include "held_resources.h"
#include "log_expect.h"
#include "simulated_target.h"

namespace harness {

inline Report said(COMMON_LogLevel_t level, const std::string& function, const std::string& message)
{
    return said(level, "COMMON", "flash_safety", function, message);
}

static_assert(std::ranges::equal(common::flash::kPartitions, kTargetPartitions,
                                 [](const auto& ours, const auto& target) {
                                     return std::string_view(ours.mount_point) ==
                                                target.mount_point &&
                                            std::string_view(ours.size_variable) ==
                                                target.size_variable;
                                 }),
              "the simulated target has the partitions of the library");
static_assert(std::size(kTargetPartitions) == 4, "kMountPoints, kRemounts and nor_parameters()");

inline const std::vector<std::string> kMountPoints{"/", "/config-mfg", "/config", "/log"};

/// How the start of the driver mounts them.
inline const std::vector<std::string> kRemounts{"mount -u -r /", "mount -u -r /config-mfg",
                                                "mount -u -w /config", "mount -u -w /log"};

/// The records of flash safety, without those that the log facility writes about itself.
inline std::vector<Report> flash_reports(const Outcome& outcome)
{
    std::vector<Report> found;
    for (const Report& report : reports(outcome)) {
        if (report.file != "common_log" && report.file != "common_log_settings") {
            found.push_back(report);
        }
    }
    return found;
}

/// The two records of the usual NOR parameters.
inline std::vector<Report> nor_parameters()
{
    return {said(COMMON_LogLevelInfo, "flashsafe_GetNorParams",
                 "NOR flash driver: \"nor-driver -s0x40000000,12M\""),
            said(COMMON_LogLevelInfo, "flashsafe_GetNorParams",
                 "NOR flash partitions: b=[0,256] r=[256,8192] m=[8448,512] c=[8960,1024] "
                 "l=[9984,2048]")};
}

/// The record of the usual NAND parameters.
inline Report nand_parameters()
{
    return said(COMMON_LogLevelInfo, "flashsafe_GetNandParams",
                "NAND flash driver: \"nand-driver -c 4\"");
}

inline Report missing(const std::string& variable)
{
    return said(COMMON_LogLevelError, "flashsafe_GetEnvVarPtr",
                "getenv(\"" + variable + "\") returned NULL for the required driver parameter!");
}

// What is said of the usual drivers.
inline const Report kGettingNor = said(COMMON_LogLevelDebug, "flashsafe_ShutdownNorDriver",
                                       "Getting pid for NOR flash driver \"nor-driver\"");
inline const Report kGettingNand = said(COMMON_LogLevelDebug, "flashsafe_ShutdownNandDriver",
                                        "Getting pid for NAND flash driver \"nand-driver\"");
inline const Report kStartingNor =
    said(COMMON_LogLevelDebug, "flashsafe_StartNorDriver",
         "Starting NOR flash driver \"nor-driver -s0x40000000,12M\"");
inline const Report kStartingNand = said(COMMON_LogLevelDebug, "flashsafe_StartNandDriver",
                                         "Starting NAND flash driver \"nand-driver -c 4\"");

inline Report terminating_nor(const std::string& pid)
{
    return said(COMMON_LogLevelDebug, "flashsafe_ShutdownNorDriver",
                "Terminating NOR flash driver \"nor-driver\" (pid " + pid + ")");
}

inline Report terminating_nand(const std::string& pid)
{
    return said(COMMON_LogLevelDebug, "flashsafe_ShutdownNandDriver",
                "Terminating NAND flash driver \"nand-driver\" (pid=" + pid + ")");
}

/// What every call reports that stops or starts drivers where there is no NAND device.
inline std::vector<Report> no_nand()
{
    return {missing("NAND_DRIVER_NAME"), missing("NAND_DRIVER_OPTIONS"),
            said(COMMON_LogLevelError, "flashsafe_GetNandParams",
                 "Cannot get NAND driver parameters from the environment!")};
}

/// A target without a NAND device.
inline TargetSetup nor_only()
{
    return {.env = {{"NAND_DRIVER_NAME", std::nullopt}, {"NAND_DRIVER_OPTIONS", std::nullopt}}};
}

using Reports = std::vector<Report>;

/// Joins lists of records.
inline Reports joined(const std::vector<Reports>& lists)
{
    Reports all;
    for (const Reports& list : lists) {
        all.insert(all.end(), list.begin(), list.end());
    }
    return all;
}

/// A level at which all records are written.
inline FreshSetup with_debug_records()
{
    return {.env = {{"COMMON_LOG_LEVEL", "Debug"}}};
}

/// Runs a body on a simulated target, with all records. It must end well and leave nothing behind.
inline Outcome on_target(const TargetSetup& target, const std::function<void()>& body,
                         const char* file = __builtin_FILE(), int line = __builtin_LINE())
{
    const testing::ScopedTrace caller(file, line, "on a target");
    return well(with_debug_records(), [&] {
        const int status = run_on_target(target, [&] {
            const HeldResources before = held_resources();
            body();
            EXPECT_EQ(differences_from(before), "");
            return 0;
        });
        EXPECT_EQ(status, 0);
    });
}

/// Runs a body, which must end well, in a fresh process whose environment has the usual parameters;
/// nothing else of a target is there.
inline Outcome with_parameters(const std::function<void()>& body,
                               std::chrono::milliseconds time_limit = kTimeLimit,
                               const char* file = __builtin_FILE(), int line = __builtin_LINE())
{
    const testing::ScopedTrace caller(file, line, "with the usual parameters");
    FreshSetup setup;
    setup.time_limit = time_limit;
    setup.env = usual_target_environment();
    setup.env["COMMON_LOG_LEVEL"] = "Debug";
    return well(setup, body);
}

}  // namespace harness
