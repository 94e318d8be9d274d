/**
 * @file common.h
 * File, folder and process utilities.
 */
#ifndef COMMON_COMMON_H
#define COMMON_COMMON_H

#include "common_api.h"

COMMON_BEGIN_DECLS

/**
 * @name Processes
 *
 * A process is looked up in the process file system. Its name is what the first line "Name: <name>"
 * of "/proc/<pid>/status" has, up to its first blank: the kernel's short name, of at most 15
 * characters, so that a longer one is never found. These functions report nothing; their results
 * say enough.
 * @{
 */

/**
 * Gives the short name of a process. Allocates nothing, so that it works when memory is exhausted.
 * @param pid the process id.
 * @param destination gets the name. The rest of it is filled with zero bytes; a name that fills it
 *        has no terminating zero.
 * @param size bytes of the destination.
 * @return 1 if the name was found, else 0 and the destination is left alone.
 */
uint32_t UTIL_GetProcessName(uint32_t pid, char* destination, uint32_t size);

/**
 * Finds a process by its short name: the first one in the order of "/proc". Of each process that it
 * passes, the status file is read once, up to the name.
 * @param name compared whole and with regard to case; null is never found.
 * @param pid gets the process id; null finds nothing.
 * @return 1 if there is such a process, else 0 and the id is left alone.
 */
uint32_t UTIL_GetPidFromProcessName(const char* name, uint32_t* pid);

/**
 * Tells whether a process exists. One that has ended but has not been waited for by its parent
 * still does.
 * @param pid the process id.
 * @return 1 or 0; 0 also when its status file cannot be opened for another reason.
 */
uint32_t UTIL_FindPid(uint32_t pid);

/**
 * Ends a process: sends one signal, then looks every 100 ms whether the process is gone. Blocks so
 * long; a signal handler that runs in the calling thread makes a wait of 100 ms shorter. The signal
 * is neither repeated nor followed by a stronger one. A child of the caller is gone only when
 * somebody has waited for it.
 * @param pid the process id. 0 and numbers above 2147483647 are no ids of a process: nothing is
 *        sent.
 * @param timeout_ms milliseconds after which to give up, rounded up to a multiple of 100; 0 is
 *        taken as 100.
 * @param force 1 sends SIGKILL, anything else SIGTERM.
 * @return 1 when the process is gone; 0 when the signal could not be sent (so also when there was
 *         no such process) or the process still exists after the time.
 */
uint32_t UTIL_TerminatePid(uint32_t pid, uint32_t timeout_ms, uint32_t force);

/** @} */

COMMON_END_DECLS

#endif
