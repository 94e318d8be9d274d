/* A handler library that uses the log while it is being loaded. */
#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>

#include "common_debug.h"
#include "common_log.h"
#include "common_log_settings.h"

void COMMON_Log_writev(int32_t level, const char* zoneName, const char* file, const char* function,
                       int32_t line, const char* format, va_list args)
    __attribute__((__format__(__printf__, 6, 0)));

void COMMON_Log_writev(int32_t level, const char* zoneName, const char* file, const char* function,
                       int32_t line, const char* format, va_list args)
{
    (void)level, (void)zoneName, (void)file, (void)function, (void)line;
    vprintf(format, args);
    fflush(stdout);
}

__attribute__((constructor)) static void log_something(void)
{
    COMMON_Debug_Write(stderr, "liboxa", "constructor", 1, "a row");
    if (COMMON_Log_Acceptable(COMMON_LogLevelInfo) != 0 && COMMON_Log_LegacyGet() == 1) {
        COMMON_Log_Write(COMMON_LogLevelInfo, 4095, "LIBRARY", "liboxa.c", "constructor", 1,
                         "from the constructor");
    }
    COMMON_Log_LevelSet(COMMON_LogLevelDebug);
}
