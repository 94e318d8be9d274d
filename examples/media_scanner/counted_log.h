// Records of the scanner, and how many of each level were wanted.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>

#include "common_log.h"
#include "oxa_logger.h"

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

/// Asks whether records of a level are wanted now, and counts the answer.
bool wanted(COMMON_LogLevel_t level) noexcept;

/// The parts of the scanner, each of which logs under a module name of its own.
struct Zones {
    std::uint32_t scanner = LOG_ModuleIdAssignDynamic("SCANNER");
    std::uint32_t finder = LOG_ModuleIdAssignDynamic("FINDER");
    std::uint32_t examiner = LOG_ModuleIdAssignDynamic("EXAMINER");
};

const Zones& zones();

}  // namespace scanner

/// Writes a record of a zone. Its values are looked at only when the level is wanted, so that a
/// record that nobody wants costs one comparison. A macro, because it names the place that it
/// stands in.
#define SCANNER_LOG(level, zone, ...)                                                              \
    do {                                                                                           \
        if (scanner::wanted(level)) {                                                              \
            COMMON_Log_Write((level), 4095, LOG_GetModuleName(zone), __FILE__, __func__, __LINE__, \
                             __VA_ARGS__);                                                         \
        }                                                                                          \
    } while (false)
