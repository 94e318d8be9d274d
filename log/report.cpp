#include "log/report.h"

namespace common {

void report(Source source, COMMON_LogLevel_t level, const char* function, std::int32_t line,
            const char* format, ...) noexcept
{
    if (COMMON_Log_Acceptable(level) == 0) {
        return;
    }
    const char* const zone = source.module == Module::None
                                 ? COMMON_Log_zoneDefault
                                 : LOG_GetModuleName(static_cast<std::uint32_t>(source.module));
    va_list args;
    va_start(args, format);
    COMMON_Log_WriteV(level, kZone, zone, source.name, function, line, format, args);
    va_end(args);
}

}  // namespace common
