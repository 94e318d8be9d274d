/**
 * @file timer.h
 * One-shot timers: after a number of milliseconds a function is called with an argument, unless the
 * timer is stopped first.
 *
 * A timer waits for its deadlines, on the monotonic clock, in threads of its own: detached, with
 * the platform's default attributes. A start launches one. When its deadline has been met or taken
 * back, the thread stays for two seconds: a start in that time uses it, so that arming and stopping
 * again costs no thread. Then it ends, and so do all of them with TMR_Delete(). A timer is idle, or
 * armed from a start until its deadline or a stop; a periodic one is made by starting it from its
 * callback.
 *
 * - The callback runs in the timer's thread with no lock held. It may start, stop, restart and
 *   query its own timer, also when it blocks for long: a start that meets no idle thread (the
 *   callback is running, or another start is still waiting for its deadline) launches one more, so
 *   that a deadline never waits for a callback.
 * - The callback's thread is like one that the starting thread has made itself: it has its
 *   scheduling policy and priority, its nice value and its signal mask. Therefore an idle thread
 *   serves only starts by the thread that had it launched, and by the callbacks of such threads.
 *   What a thread changes of these things between its starts, an idle one does not know; and a
 *   callback that changes them for its own thread puts them back.
 * - Each armed timer takes the addresses of a default stack (usually 8 MiB, of which only the pages
 *   that were touched take memory): with 32-bit addresses a few hundred at a time. The default is
 *   the soft limit RLIMIT_STACK (ulimit -s) at the start of the program.
 * - Starting a timer that is armed adds a deadline; it does not replace the first one. Each of the
 *   starts calls back, at its own deadline and with its own function and argument. The timer is in
 *   use until the last of them, and a stop takes them all back.
 * - A thread that is woken through the record's condition by anybody but the timer gives up its
 *   deadline, as after a stop; but not while wake-ups by the timer are on their way to its threads.
 * - All functions but TMR_New() and TMR_Delete() may be called for one timer from several threads
 *   at once. Whoever takes the timer's mutex first wins: a stop that comes after the deadline gives
 *   TMR_ReturnNotSet, and the callback may be running or about to run.
 * - A child of fork() has none of the timers' threads. There every timer is idle, whatever it was
 *   in the parent, and may be started, stopped, queried and deleted as usual; one thread makes the
 *   first call for a timer. A callback may fork, too: in the child it runs in a thread that is the
 *   timer's no more, and when it returns there, that thread ends, and the child with it (exit
 *   status 0) unless it has other threads, such as those of timers that it started.
 * - A timer's threads are named `common-timer`, where tools show threads by name. A thread that a
 *   callback starts inherits that, as Linux has it, until it is named itself. A child that one of
 *   these forks has the name of the process: it is found by that name as ever.
 * - A callback may end its thread (pthread_exit(3)); a cancellation takes effect in the callback.
 *
 * Failures are reported under the module TIMER at Error.
 */
#ifndef COMMON_TIMER_H
#define COMMON_TIMER_H

#include <pthread.h>
#include <semaphore.h>

#include "common_api.h"

COMMON_BEGIN_DECLS

/** What a timer calls at its deadline. */
typedef void (*TMR_Callback_t)(void* argument);

/** Result of TMR_Stop() and TMR_Restart(): one of the TMR_Return values. */
typedef uint32_t TMR_Return_t;

/** Values of TMR_Return_t. */
enum {
    TMR_ReturnSuccess = 0,  /**< done */
    TMR_ReturnFailed = 1,   /**< a call of the platform failed */
    TMR_ReturnNotSet = 2,   /**< the timer was not running */
    TMR_ReturnNullTimer = 3 /**< null timer; it has no text */
};

/** A timer. Use the functions below rather than the fields. */
typedef struct TMR {
    TMR_Callback_t callback;  /**< of the latest start */
    void* argument;           /**< of the latest start */
    uint32_t interval;        /**< milliseconds, of the latest start */
    pthread_mutex_t mutex;    /**< guards all of it */
    pthread_cond_t condition; /**< on the monotonic clock */
    sem_t started;            /**< posted by a launched thread that holds the mutex */
    sem_t stopped;            /**< posted by a thread that leaves a timer that is being deleted */
    uint32_t inUse;           /**< 1 while a deadline is awaited */
    uint32_t stopRequested;   /**< 1 from a stop to the next start */
    /* private */
    struct TMR_Thread* threads; /**< all that have not left, with what each of them awaits */
    uint32_t starting;          /**< starts that wait for a launched thread */
    uint32_t lostThreads;       /**< threads that ended without the mutex and are still listed */
    uint32_t ending;            /**< 1 once the timer is being deleted: all threads leave */
    uint32_t orphaned;          /**< 1 when the last thread to leave releases the timer */
    uint32_t forks;             /**< tells a forked child from the process that made the timer */
} TMR;

/**
 * Makes a timer.
 * @return an idle timer, to be released with TMR_Delete(); null without memory (not reported) or
 *         when one of its parts cannot be made ("Could not create timer").
 */
COMMON_MUST_USE TMR* TMR_New(void);

/**
 * Arms a timer. Returns when its thread is in place: a stop that follows finds it waiting or
 * already at its deadline. Never blocks but for that.
 * @param timer null starts nothing.
 * @param callback called once, with `argument`, when the time has passed; null starts nothing.
 * @param argument handed to the callback; must be valid until the callback has run or a stop has
 *        returned TMR_ReturnSuccess.
 * @param interval_ms milliseconds, 1 to 4294967295; 0 starts nothing.
 * @return 1 when the timer was started and 0 when not: callers rely on it being no TMR_Return_t.
 *         Reported are "Could not lock mutex: %d" and, when no thread can be launched or woken,
 *         "Could not start timer". A clock that cannot be read is reported at Critical in the name
 *         of the timer's thread, TimerHandler ("Error getting current time"); the time then counts
 *         from the clock's origin, which is long past, so that the callback runs at once.
 */
uint32_t TMR_Start(TMR* timer, TMR_Callback_t callback, void* argument, uint32_t interval_ms);

/**
 * Takes back what a timer waits for. When it returns TMR_ReturnSuccess, no callback of an earlier
 * start will begin any more. Does not block, also not when it meets a start half-way.
 * @param timer null is not reported.
 * @return TMR_ReturnSuccess; TMR_ReturnNotSet when nothing is awaited; TMR_ReturnNullTimer;
 *         TMR_ReturnFailed after "Could not lock mutex: %d", and after "Could not signal timer":
 *         nothing calls back then either, only the thread stays until its deadline.
 *         "Could not unlock mutex: %d" is reported without another result.
 */
TMR_Return_t TMR_Stop(TMR* timer);

/**
 * Stops an armed timer and starts it again with its whole interval, callback and argument.
 * @param timer null is reported ("Invalid input parameter 'tmrPtr' = NULL!").
 * @return TMR_ReturnSuccess; what TMR_Stop() gave when that is anything else, in particular
 *         TMR_ReturnNotSet for an idle timer, and nothing is started then. TMR_ReturnFailed when
 *         the start fails, and the timer is idle then. The thread that waited is used again; only
 *         when it is another thread's, or another start has taken it meanwhile, is one launched,
 *         which may fail with "The thread initialization failed!", "The timer thread properties
 *         cannot be set" or "The timer thread cannot be launched".
 */
TMR_Return_t TMR_Restart(TMR* timer);

/**
 * Stops a timer, waits until its threads have left it, and releases it. Nobody else may use the
 * timer any more. A callback that is running should have ended: the function waits for it. Called
 * by the timer's own callback, it returns at once and the timer is released when its callbacks have
 * returned.
 * @param timer null is reported ("Invalid input parameter 'tmrPtr' = NULL!"). When its threads
 *        cannot be woken ("Could not signal timer") or its mutex not be taken ("Could not lock
 *        mutex: %d"), the timer is left to them rather than taken away under them.
 */
void TMR_Delete(TMR* timer);

/**
 * Tells whether a deadline is awaited.
 * @param timer null is reported ("Invalid input parameter 'tmrPtr' = NULL!").
 * @return 1 from a start until its callback is about to be called or the timer is stopped, else 0.
 */
uint32_t TMR_InUse(TMR* timer);

/**
 * Gives the text of a result.
 * @return "Success", "Failed" or "Not Set" for 0, 1 and 2; "Invalid" for any other value, also for
 *         TMR_ReturnNullTimer.
 */
const char* TMR_ReturnToStr(TMR_Return_t code);

COMMON_END_DECLS

#endif
