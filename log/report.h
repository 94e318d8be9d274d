// The one way in which the library reports its failures.
#pragma once

#include "common_debug.h"
#include "common_log.h"
#include "foundation/source.h"

namespace common {

/// The zone number that every record of the library carries by convention.
inline constexpr std::uint32_t kZone = 4095;

/// The place that a record or a row names. As a default argument, `Here here = Here::now()`, it is
/// the caller's: a helper reports in the name of the function that uses it.
struct Here {
    const char* function;
    std::int32_t line;

    static constexpr Here now(const char* function = __builtin_FUNCTION(),
                              std::int32_t line = __builtin_LINE()) noexcept
    {
        return {function, line};
    }
};

/// Writes a record to the log if its level is acceptable. Keeps errno.
void report(Source source, COMMON_LogLevel_t level, Here here, const char* format, ...) noexcept
    COMMON_PRINTF(4, 5);

/// The same with the end that tells an error number: "... with error: text (number)".
__attribute__((cold)) void report_failure(Source source, COMMON_LogLevel_t level, Here here,
                                          int error, const char* format, ...) noexcept
    COMMON_PRINTF(5, 6);

/// Whether a call failed, so that to report and to return is one statement: an error number other
/// than 0 is reported as "what with error: text (number)".
inline bool failed(Source source, COMMON_LogLevel_t level, int error, const char* what,
                   Here here = Here::now()) noexcept
{
    if (error == 0) [[likely]] {
        return false;
    }
    report_failure(source, level, here, error, "%s", what);
    return true;
}

}  // namespace common

/// Reports from the function that it stands in: COMMON_REPORT(kSource, Error, "...", ...).
#define COMMON_REPORT(source, level, ...) COMMON_REPORT_AS(__func__, source, level, __VA_ARGS__)

/// The same in the name of another function.
#define COMMON_REPORT_AS(function, source, level, ...) \
    ::common::report(source, COMMON_LogLevel##level, {function, __LINE__}, __VA_ARGS__)

/// Writes a debug row from the function that it stands in: COMMON_ROW(kSource, stderr, "...", ...).
#define COMMON_ROW(source, stream, ...) COMMON_ROW_AS(__func__, source, stream, __VA_ARGS__)

/// The same in the name of another function.
#define COMMON_ROW_AS(function, source, stream, ...) \
    COMMON_Debug_Write(stream, (source).name, function, __LINE__, __VA_ARGS__)
