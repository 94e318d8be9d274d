// The logging macros as C11.
#include <errno.h>

#include "common_log_macros_calls.h"

// Programs have macros of these names.
#define DEBUG 1
#define ERROR
#define WARN 3

COMMON_LOG_ZONE("C_FILE");

void macros_in_c(void)
{
    COMMON_LOG_FATAL("level %d", 0);
    COMMON_LOG_CRITICAL("level %d", 1);
    COMMON_LOG_ERROR("level %d", 2);
    COMMON_LOG_WARN("level %d", 3);
    COMMON_LOG_NOTE("level %d", 4);
    COMMON_LOG_INFO("level %d", 5);
    COMMON_LOG_DEBUG("level %d", 6);
    COMMON_LOG_VERBOSE("level %d", 7);
    errno = ENOENT;
    if (errno == ENOENT)
        COMMON_LOG_WARN("%m");
    else
        COMMON_LOG_WARN("no error");
    COMMON_LOG_AT(COMMON_LogLevelNote, "at run time");
    for (int i = 0; i < 3; ++i)
        COMMON_LOG_ONCE(WARN, "once");
    for (int i = 0; i < 4; ++i)
        COMMON_LOG_EVERY_N(WARN, 2, "every %d", i);
    COMMON_LOG_PER_SECOND(WARN, 1, "per second");
}

/// A place that each file in C has for itself, with its zone.
static inline void call_of_file(void)
{
    COMMON_LOG_ONCE(DEBUG, "rejected at first");
}

void from_file_in_c(void)
{
    call_of_file();
    call_of_file();
}
