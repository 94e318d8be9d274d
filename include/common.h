/**
 * @file common.h
 * File, folder and process utilities.
 */
#ifndef COMMON_COMMON_H
#define COMMON_COMMON_H

#include "common_api.h"

COMMON_BEGIN_DECLS

/**
 * Gives the short name of a process, as "/proc/<pid>/status" has it, up to its first blank. Reports
 * nothing; allocates nothing, so that it works when memory is exhausted. May be called from any
 * thread.
 * @param pid the process id.
 * @param destination gets the name. The rest of it is filled with zero bytes; a name that fills it
 *        has no terminating zero.
 * @param size bytes of the destination.
 * @return 1 if the name was found, else 0 and the destination is left alone.
 */
uint32_t UTIL_GetProcessName(uint32_t pid, char* destination, uint32_t size);

COMMON_END_DECLS

#endif
