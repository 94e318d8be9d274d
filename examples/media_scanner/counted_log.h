// Records of the scanner, and how many of each level were wanted.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>

#include "common_log_macros.h"

namespace scanner {

/// The answers that one level got.
struct LevelCount {
    std::atomic<std::uint64_t> accepted{0};
    std::atomic<std::uint64_t> rejected{0};
};

/// One row per level.
using LevelCounts = std::array<LevelCount, COMMON_LogLevelVerbose + 1>;

/// The counts of this process so far.
const LevelCounts& level_counts() noexcept;

/// Asks whether records of a level are wanted now, and counts the answer:
/// COMMON_LOG_AT(counted(COMMON_LogLevelNote), "...").
/// @return the level, or one that never is wanted, so that what was counted is what happens.
COMMON_LogLevel_t counted(COMMON_LogLevel_t level) noexcept;

/// The parts of the scanner, each of which logs under a module name of its own.
struct Zones {
    std::uint32_t scanner = LOG_ModuleIdAssignDynamic("SCANNER");
    std::uint32_t finder = LOG_ModuleIdAssignDynamic("FINDER");
    std::uint32_t examiner = LOG_ModuleIdAssignDynamic("EXAMINER");
};

const Zones& zones();

}  // namespace scanner
