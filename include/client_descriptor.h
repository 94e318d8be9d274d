/**
 * @file client_descriptor.h
 * Small positive numbers that tell the clients of a process apart.
 *
 * There is one table of numbers in use in each process. The functions may be called from any
 * thread; they wait for each other only. A forked child goes on with a copy of its parent's table.
 * A fork waits for a thread that is in one of the functions, but for two seconds at most: should
 * that thread be held up for longer, the lock fails in the child.
 *
 * Nothing here returns an error: a lock that fails, no memory, and no number left are reported at
 * Error under the module "CLDES", source "client_descriptor" ("Failed to lock descriptor mutex.",
 * "Failed to unlock descriptor mutex.", "Couldn't reallocate descriptor buffer", "Out of
 * descriptors"), then "*** Common Panic: critical failure ***" at Critical, and end the process by
 * exit(1).
 */
#ifndef COMMON_CLIENT_DESCRIPTOR_H
#define COMMON_CLIENT_DESCRIPTOR_H

#include "common_api.h"

COMMON_BEGIN_DECLS

/**
 * Takes the lowest number that is not in use. Both functions look it up in logarithmic time; what
 * grows with the numbers in use is the move of those above it, which is a copy of 4 bytes for each.
 * @return 1 to 2147483646, the caller's until Deallocate_Descriptor().
 */
COMMON_MUST_USE int32_t Allocate_Descriptor(void);

/**
 * Gives a number back.
 * @param descriptor one that is not in use is ignored.
 * @return 0.
 */
int32_t Deallocate_Descriptor(int32_t descriptor);

COMMON_END_DECLS

#endif
