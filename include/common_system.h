/**
 * @file common_system.h
 * Clocks, the environment, commands and sleep.
 *
 * Times are unsigned 64-bit nanoseconds, made of the clock's seconds taken as a signed 32-bit
 * number and its nanoseconds. A clock that cannot be read is reported at Fatal under the empty zone
 * name and gives 0. The functions keep no state and may be called from any thread.
 */
#ifndef COMMON_SYSTEM_H
#define COMMON_SYSTEM_H

#include "common_api.h"

COMMON_BEGIN_DECLS

/**
 * Gives the name of a clock.
 * @param clockId the platform's clock id.
 * @return "CLOCK_REALTIME" for 0, "CLOCK_MONOTONIC" for 1, else "unknown clock".
 */
const char* COMMON_System_ClockId_ToString(int32_t clockId);

/**
 * Reads a clock.
 * @param clockId the platform's clock id.
 * @return nanoseconds; 0 on failure.
 */
uint64_t COMMON_System_GetTimeByClockId(int32_t clockId);

/** Reads the real-time clock. @return nanoseconds since the epoch; 0 on failure. */
uint64_t COMMON_System_Time(void);

/**
 * Gives the resolution of a clock.
 * @param clockId the platform's clock id.
 * @return nanoseconds below the second (whole seconds are dropped); 0 on failure.
 */
uint32_t COMMON_System_GetTimeResByClockId(int32_t clockId);

/**
 * Gives the ticks of a clock in a second: 1,000,000,000 divided by the resolution. A resolution of
 * 0 is not guarded against: the division by zero ends the process with SIGFPE where the machine
 * traps it.
 * @param clockId the platform's clock id.
 * @return ticks a second.
 */
uint64_t COMMON_System_GetCyclesPerSecondByClockId(int32_t clockId);

/**
 * Counts the real-time clock in ticks of its resolution.
 * @return ticks; 0 when the clock cannot be read. A resolution of 0 is not guarded against.
 */
uint64_t COMMON_System_Cycles(void);

/** Gives the environment of the process. @return environ(7), not a copy. */
char** COMMON_System_Environment(void);

/** Gives the value of an environment variable. @param name its name. @return as getenv(3). */
char* COMMON_System_Variable(const char* name);

/**
 * Runs a shell command and waits for it. In a child of fork() it may wait for ever if another
 * thread of the parent was in it, or in system(3), at the fork: the C library keeps a lock of its
 * own.
 * @param command as for system(3).
 * @return as system(3).
 */
int32_t COMMON_System_Exec(const char* command);

/** Ends the process with exit(3). @param status the exit status. */
COMMON_NORETURN void COMMON_System_Exit(int32_t status);

/**
 * Sleeps. A sleep that a signal interrupts is not resumed, and nothing is reported.
 * @param milliseconds 0 or less returns at once.
 */
void OS_Sleep(int32_t milliseconds);

/** Gives the time of times(2), whose origin is arbitrary. @return milliseconds. */
uint64_t GetSystemTime(void);

COMMON_END_DECLS

#endif
