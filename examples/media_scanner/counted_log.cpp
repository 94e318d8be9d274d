#include "counted_log.h"

namespace scanner {

namespace {

constinit LevelCounts counts;

}  // namespace

const LevelCounts& level_counts() noexcept
{
    return counts;
}

COMMON_LogLevel_t counted(COMMON_LogLevel_t level) noexcept
{
    const bool accepted = COMMON_Log_Acceptable(level) == 1;
    LevelCount& count = counts[level];
    (accepted ? count.accepted : count.rejected).fetch_add(1, std::memory_order_relaxed);
    return accepted ? level : COMMON_LogLevelVerbose + 1;
}

const Zones& zones()
{
    static const Zones all;
    return all;
}

}  // namespace scanner
