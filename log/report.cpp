#include "log/report.h"

#include <cstdio>
#include <cstring>

namespace common {
namespace {

const char* zone_of(Source source) noexcept
{
    return source.module == Module::None
               ? COMMON_Log_zoneDefault
               : LOG_GetModuleName(static_cast<std::uint32_t>(source.module));
}

}  // namespace

void report(Source source, COMMON_LogLevel_t level, Here here, const char* format, ...) noexcept
{
    if (COMMON_Log_Acceptable(level) == 0) {
        return;
    }
    va_list args;
    va_start(args, format);
    COMMON_Log_WriteV(level, kZone, zone_of(source), source.name, here.function, here.line, format,
                      args);
    va_end(args);
}

void report_failure(Source source, COMMON_LogLevel_t level, Here here, int error,
                    const char* format, ...) noexcept
{
    if (COMMON_Log_Acceptable(level) == 0) {
        return;
    }
    char what[1024];  // as much as a record has of its message
    va_list args;
    va_start(args, format);
    std::vsnprintf(what, sizeof what, format, args);
    va_end(args);
    report(source, level, here, "%s with error: %s (%d)", what, std::strerror(error), error);
}

}  // namespace common
