/**
 * @file common_monitor.h
 * A condition variable with its mutex, and waits with a time limit on a chosen clock.
 *
 *     COMMON_Monitor_Lock(&monitor);
 *     while (!ready) {
 *         COMMON_Monitor_Wait(&monitor);
 *     }
 *     COMMON_Monitor_Unlock(&monitor);
 *
 * A wait lets the mutex go and holds it again when it returns, also after its time is up. It may
 * return without a notification: the caller looks at what it waits for and waits again. Waits are
 * cancellation points; a thread that is cancelled there holds the mutex, as with the platform's
 * condition variables.
 *
 * The caller owns the record and initialises it before others know it. Whatever the platform
 * refuses is reported at Fatal under the empty zone name, with the error's text and number, and the
 * program goes on; what the inner mutex reports carries the names of common_mutex.h. A null record
 * ends the process by an assertion. Times are unsigned 64-bit nanoseconds.
 */
#ifndef COMMON_MONITOR_H
#define COMMON_MONITOR_H

#include <pthread.h>

#include "common_api.h"
#include "common_mutex.h"

COMMON_BEGIN_DECLS

/** A monitor. */
typedef struct COMMON_Monitor {
    /* Private: the functions below read and write them. */
    pthread_cond_t condition; /**< the platform's, with the clock of the deadlines */
    COMMON_Mutex mutex;       /**< with default attributes; let go while a thread waits */
    int32_t clockId;          /**< the clock of the deadlines, as in common_system.h */
} COMMON_Monitor;

/**
 * Allocates and initialises a record with the monotonic clock.
 * @return the record, never null, which the caller releases with COMMON_Monitor_Delete().
 */
COMMON_MUST_USE COMMON_Monitor* COMMON_Monitor_New(void) COMMON_NEVER_NULL;

/**
 * Initialises a caller's record. A step that the platform refuses is reported, and the next ones
 * are still taken; after a refused clock, waits count on the platform's default one.
 * @param monitor whatever it held is overwritten, so it must not be a monitor in use.
 * @param clockId the clock of the deadlines; null: CLOCK_MONOTONIC. The platform knows
 * CLOCK_REALTIME and CLOCK_MONOTONIC for waits.
 */
void COMMON_Monitor_Initialize(COMMON_Monitor* monitor, const int32_t* clockId);

/** Locks the mutex. It is not recursive. */
void COMMON_Monitor_Lock(COMMON_Monitor* monitor);
/** Unlocks the mutex. */
void COMMON_Monitor_Unlock(COMMON_Monitor* monitor);

/** Waits for a notification. @param monitor locked by the caller. */
void COMMON_Monitor_Wait(COMMON_Monitor* monitor);

/**
 * Waits for a notification until a deadline at most.
 * @param monitor locked by the caller.
 * @param deadline nanoseconds on the monitor's clock.
 * @return 1 when the deadline passed; 0 otherwise, also when the wait failed, which is reported.
 */
uint32_t COMMON_Monitor_WaitAbsolute(COMMON_Monitor* monitor, uint64_t deadline);

/**
 * Waits for a notification for an interval at most.
 * @param monitor locked by the caller.
 * @param interval nanoseconds from now; 0 times out at once. Added to the clock without a check, so
 *        that one near UINT64_MAX wraps to the past; a clock that cannot be read counts as 0.
 * @return as COMMON_Monitor_WaitAbsolute().
 */
uint32_t COMMON_Monitor_WaitTimed(COMMON_Monitor* monitor, uint64_t interval);

/** Wakes one thread that waits. With or without the lock. */
void COMMON_Monitor_Notify(COMMON_Monitor* monitor);
/** Wakes all threads that wait. With or without the lock. */
void COMMON_Monitor_NotifyAll(COMMON_Monitor* monitor);

/** Destroys the platform's objects; the record stays. Nobody may wait or hold the lock. */
void COMMON_Monitor_Destroy(COMMON_Monitor* monitor);

/** Destroys and frees a record of COMMON_Monitor_New(). */
void COMMON_Monitor_Delete(COMMON_Monitor* monitor);

COMMON_END_DECLS

#endif
