/**
 * @file common_thread.h
 * Named threads with wanted attributes, and one-time initialisation.
 *
 * The caller owns a COMMON_Thread record: initialise it with an entry function, set attributes,
 * start it. The record must outlive its thread. Its id is 0 before the start and again as soon as
 * the thread's function has returned or the thread was cancelled. Attributes take effect at the
 * next start.
 *
 * A joinable thread whose end comes before COMMON_Thread_Join() is called can no longer be joined
 * through its record, and its stack and what else the platform keeps of it stay until the process
 * ends: each such thread costs memory and, after some thousands (with 32-bit addresses, hundreds),
 * the next start. So start a thread detached (COMMON_Thread_SetDetachState()) when nobody waits for
 * its end or it may end by itself at any time; to know that it has ended, let it say so. Otherwise
 * let it run until it is about to be joined, or keep what COMMON_Thread_Self() gives in the thread
 * and hand that to pthread_join(3), which also gives its result.
 *
 * Failures are reported at Error under the empty zone name; every null argument where one is
 * needed with "One or more input parameters are invalid!". The record is not locked: its functions
 * may be called from any thread, the setters by one thread at a time and not during a start.
 */
#ifndef COMMON_THREAD_H
#define COMMON_THREAD_H

#include <pthread.h>

#include "common_api.h"
#include "status.h"

COMMON_BEGIN_DECLS

/** Scheduling policy, with the numbers of the platform. */
typedef uint32_t COMMON_ThreadSchedule_t;

/** Values of COMMON_ThreadSchedule_t. */
enum {
    COMMON_ThreadScheduleOther = 0,     /**< SCHED_OTHER: the platform's ordinary one */
    COMMON_ThreadScheduleFifo = 1,      /**< SCHED_FIFO */
    COMMON_ThreadScheduleRoundRobin = 2 /**< SCHED_RR */
};

/** Whether a thread can be joined. */
typedef uint32_t COMMON_ThreadDetach_t;

/** Values of COMMON_ThreadDetach_t. */
enum {
    COMMON_ThreadDetachJoinable = 0, /**< whoever joins it gets its result and its resources */
    COMMON_ThreadDetachDetached = 1  /**< releases its resources when it ends */
};

/** Attribute values of a new record. They are also what the getters give for a null record. */
enum {
    /** No priority set: the thread inherits scheduling from its creator. */
    COMMON_ThreadPriorityDefault = 10,
    /** No stack size set: the platform's default. */
    COMMON_ThreadStackSizeDefault = 65535,
    /** Round robin, once a priority is set. */
    COMMON_ThreadScheduleDefault = COMMON_ThreadScheduleRoundRobin,
    /** Longest name kept, without its terminating zero. */
    COMMON_ThreadNameLength = 128
};

/** The function of a thread. */
typedef void* (*COMMON_ThreadEntry_t)(void* argument);

/** A thread. */
typedef struct COMMON_Thread {
    /* Private: the functions below read and write them. */
    pthread_t id;               /**< the platform's; 0 while no thread runs */
    uint32_t schedule;          /**< a COMMON_ThreadSchedule_t, for the next start */
    uint32_t detachState;       /**< a COMMON_ThreadDetach_t, for the next start */
    uint8_t priority;           /**< for the next start; 10: inherited */
    uint32_t stackSize;         /**< bytes, for the next start; 65535: the platform's default */
    COMMON_ThreadEntry_t entry; /**< what the thread runs */
    void* argument;             /**< what the entry is handed */
    char name[COMMON_ThreadNameLength + 1]; /**< zero-terminated */
} COMMON_Thread;

/**
 * Sets up a caller's record with the default attributes. Reports nothing but null arguments.
 * @param thread the record; whatever it held is overwritten.
 * @param entry the function that the thread shall run.
 * @param argument handed to it.
 * @return STATUS_SUCCESS; STATUS_INVALID_PARAM when thread or entry is null.
 */
STATUS COMMON_Thread_Initialize(COMMON_Thread* thread, COMMON_ThreadEntry_t entry, void* argument);

/**
 * Allocates and sets up a record.
 * @param entry the function that the thread shall run.
 * @param argument handed to it.
 * @return the record, which the caller releases with COMMON_Thread_Delete(); null when entry is
 *         null.
 */
COMMON_MUST_USE COMMON_Thread* COMMON_Thread_New(COMMON_ThreadEntry_t entry, void* argument);

/**
 * Builds the platform's attributes from the record and creates the thread. Without a name the
 * record gets the name "Unnamed-<id>" (Unnamed-0 when the thread has already ended). A policy or
 * priority that the platform refuses, such as the default priority with the policy Other, fails.
 * The id is 0 after a failure.
 * @param thread a record whose thread does not run.
 * @return STATUS_SUCCESS; STATUS_FAILED when a step fails, which is reported; no thread was
 *         created then; STATUS_INVALID_PARAM when thread is null.
 */
COMMON_MUST_USE STATUS COMMON_Thread_Start(COMMON_Thread* thread);

/**
 * Allocates, names and starts a thread.
 * @param entry the function that the thread shall run.
 * @param name kept in the record, cut at 128 characters.
 * @param argument handed to the function.
 * @param thread gets the record, before the thread starts. After a failure it holds the address of
 *        a record that was freed again: do not use it.
 * @return STATUS_SUCCESS, STATUS_FAILED, or STATUS_INVALID_PARAM when entry, name or thread is
 *         null.
 */
COMMON_MUST_USE STATUS COMMON_Thread_Create(COMMON_ThreadEntry_t entry, const char* name,
                                            void* argument, COMMON_Thread** thread);

/**
 * Frees a record of COMMON_Thread_New() or COMMON_Thread_Create() whose thread does not run.
 * @return STATUS_SUCCESS; STATUS_INVALID_PARAM, and the record is kept, when it is null or its
 *         thread runs.
 */
STATUS COMMON_Thread_Delete(COMMON_Thread* thread);

/**
 * Waits for the end of a running thread; its result is lost. Of a joinable thread that has ended by
 * then, nothing is given back (see above).
 * @return STATUS_SUCCESS, at once when no thread runs, and also when the thread is not there or is
 *         the calling one (reported at Warn); STATUS_FAILED for any other platform error;
 *         STATUS_INVALID_PARAM when thread is null.
 */
STATUS COMMON_Thread_Join(COMMON_Thread* thread);

/**
 * Lets a running thread release its resources when it ends. A thread that may end at once is better
 * started detached: there is nothing to detach when it has ended.
 * @return STATUS_SUCCESS, STATUS_FAILED (platform error) or STATUS_INVALID_PARAM (null record).
 */
STATUS COMMON_Thread_Detach(COMMON_Thread* thread);

/**
 * Asks a running thread to end at its next cancellation point.
 * @return STATUS_SUCCESS, STATUS_FAILED (platform error) or STATUS_INVALID_PARAM (null record or
 *         no thread runs).
 */
STATUS COMMON_Thread_Cancel(COMMON_Thread* thread);

/**
 * Sends a signal to a thread.
 * @param thread the record.
 * @param signal a signal number; 0 only checks.
 * @return STATUS_SUCCESS, STATUS_FAILED (platform error; also when no thread runs) or
 *         STATUS_INVALID_PARAM (null record).
 */
STATUS COMMON_Thread_Kill(COMMON_Thread* thread, int32_t signal);

/**
 * Ends the calling thread, whichever thread the record belongs to.
 * @param thread only tested for null.
 * @param result the thread's result.
 * @return only when thread is null: STATUS_INVALID_PARAM.
 */
STATUS COMMON_Thread_Exit(COMMON_Thread* thread, void* result);

/** Gives the platform's id of the calling thread. @return pthread_self(). */
pthread_t COMMON_Thread_Self(void);

/**
 * Runs a function once per process. Prints failures on standard output, because the log may not be
 * set up yet.
 * @param control initialised with PTHREAD_ONCE_INIT.
 * @param function what shall run once.
 * @return 0 on success; after a failure (a null argument or a platform error) the result of
 *         flushing standard output, which is 0 too as a rule.
 */
int32_t COMMON_Thread_Once(pthread_once_t* control, void (*function)(void));

/** Gives the platform's id. @return 0 when no thread runs or for a null record (reported). */
pthread_t COMMON_Thread_GetId(const COMMON_Thread* thread);
/** Gives the name. @return the record's own text; null for a null record (reported). */
const char* COMMON_Thread_GetName(const COMMON_Thread* thread);
/** Gives the detach state. @return as stored; 0 for a null record (reported). */
COMMON_ThreadDetach_t COMMON_Thread_GetDetachState(const COMMON_Thread* thread);
/** Gives the priority. @return as stored; 10 for a null record (reported). */
uint32_t COMMON_Thread_GetPriority(const COMMON_Thread* thread);
/** Gives the scheduling policy. @return as stored; 2 for a null record (reported). */
COMMON_ThreadSchedule_t COMMON_Thread_GetSchedule(const COMMON_Thread* thread);
/** Gives the stack size. @return bytes, as stored; 65535 for a null record (reported). */
uint32_t COMMON_Thread_GetStackSize(const COMMON_Thread* thread);

/** Stores the detach state. @param thread null is reported. @param detachState unchecked. */
void COMMON_Thread_SetDetachState(COMMON_Thread* thread, COMMON_ThreadDetach_t detachState);
/** Stores the priority. @param thread null is reported. @param priority only its low 8 bits. */
void COMMON_Thread_SetPriority(COMMON_Thread* thread, uint32_t priority);
/** Stores the policy. @param thread null is reported. @param schedule checked at the start. */
void COMMON_Thread_SetSchedule(COMMON_Thread* thread, COMMON_ThreadSchedule_t schedule);
/** Stores the stack size. @param thread null is reported. @param stackSize bytes. */
void COMMON_Thread_SetStackSize(COMMON_Thread* thread, uint32_t stackSize);

/**
 * Stores the name in the record; the operating system is not told.
 * @param thread the record.
 * @param name cut at 128 characters.
 * @return STATUS_SUCCESS, or STATUS_INVALID_PARAM for a null argument.
 */
STATUS COMMON_Thread_SetName(COMMON_Thread* thread, const char* name);

/**
 * Gives the text of a scheduling policy.
 * @return "Other", "First In, First Out (FIFO)" or "Round Robin"; "Invalid" for any other value.
 */
const char* COMMON_ThreadSchedule_ToString(COMMON_ThreadSchedule_t schedule);

/**
 * Gives the text of a detach state.
 * @return "Joinable" or "Detached"; "Invalid" for any other value.
 */
const char* COMMON_ThreadDetach_StateToString(COMMON_ThreadDetach_t detachState);

COMMON_END_DECLS

#endif
