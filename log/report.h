// The one way in which the library reports its failures.
#pragma once

#include "common_log.h"
#include "foundation/source.h"

namespace common {

/// The zone number that every record of the library carries by convention.
inline constexpr std::uint32_t kZone = 4095;

/// Writes a record to the log if its level is acceptable. Keeps errno.
void report(Source source, COMMON_LogLevel_t level, const char* function, std::int32_t line,
            const char* format, ...) noexcept COMMON_PRINTF(5, 6);

}  // namespace common

/// Reports a failure from the function that it stands in: COMMON_REPORT(kSource, Error, "...",
/// ...).
#define COMMON_REPORT(source, level, ...) \
    ::common::report(source, COMMON_LogLevel##level, __func__, __LINE__, __VA_ARGS__)
