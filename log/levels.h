// The levels of records: the one list that their texts and their priorities are made of.
#pragma once

#include <iterator>

#include "common_log.h"

/// X(level, priority), in the order of the public constants: a new level is a row here, a constant
/// and a text in include/common_log.h, and a macro in include/common_log_macros.h.
#define COMMON_LOG_LEVELS(X) \
    X(Fatal, LOG_EMERG)      \
    X(Critical, LOG_CRIT)    \
    X(Error, LOG_ERR)        \
    X(Warn, LOG_WARNING)     \
    X(Note, LOG_NOTICE)      \
    X(Info, LOG_INFO)        \
    X(Debug, LOG_DEBUG)      \
    X(Verbose, LOG_DEBUG)

namespace common::log {

/// The type of the public constants, which is what lets the compiler count them in a switch.
using LevelConstant = decltype(COMMON_LogLevelFatal);

#define CONSTANT(level, priority) COMMON_LogLevel##level,
inline constexpr LevelConstant kLevels[] = {COMMON_LOG_LEVELS(CONSTANT)};
#undef CONSTANT
inline constexpr COMMON_LogLevel_t kLevelCount = std::size(kLevels);

// The interface has no level that the list has not.
static_assert([](LevelConstant level) {
    switch (level) {
#define LISTED(level, priority) case COMMON_LogLevel##level:
        COMMON_LOG_LEVELS(LISTED)
#undef LISTED
        return true;
    }
    return false;
}(COMMON_LogLevelFatal));

constexpr bool is_level(COMMON_LogLevel_t level) noexcept
{
    return level < kLevelCount;
}

}  // namespace common::log
