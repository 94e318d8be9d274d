// Calls of the logging macros that stand in several files, in C and C++.
#pragma once

#include "common_log_macros.h"

#ifdef __cplusplus
extern "C" {
#endif

/// Writes with each macro, as C11.
void macros_in_c(void);

/// Each calls call_of_header() in a file of its own.
void from_file_in_c(void);
void from_second_file(void);

#ifdef __cplusplus
}

namespace of_header {

COMMON_LOG_ZONE("HEADER");

/// One place, whichever files it is called from.
inline void call_of_header(const char* from)
{
    COMMON_LOG_ONCE(WARN, "first from %s", from);
}

}  // namespace of_header
#endif
