/* A handler library that tells on standard output what it gets. */
#include <errno.h>
#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

void COMMON_Log_writev(int32_t level, const char* zoneName, const char* file, const char* function,
                       int32_t line, const char* format, va_list args)
    __attribute__((__format__(__printf__, 6, 0)));

static const char* shown(const char* text)
{
    return text == NULL ? "NULL" : text;
}

void COMMON_Log_writev(int32_t level, const char* zoneName, const char* file, const char* function,
                       int32_t line, const char* format, va_list args)
{
    char message[4096] = "";
    if (format != NULL && *format == '\0' && strcmp(shown(function), "LOG_BufferWrite") == 0) {
        snprintf(message, sizeof message, "%s", va_arg(args, const char*));
    } else if (format != NULL) {
        vsnprintf(message, sizeof message, format, args);
    }
    printf("handled %d|%s|%s|%s|%d|%s|%s\n", level, shown(zoneName), shown(file), shown(function),
           line, shown(format), message);
    fflush(stdout);
    errno = EIO;
}
