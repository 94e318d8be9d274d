/**
 * @file common_sync.h
 * An object that is a lock and a signal in one, made of two semaphores.
 *
 * The lock has an owner: whoever holds it cannot take it again, and nobody else can give it back.
 * The signal is a flag: signalling twice while nobody waits leaves one signal. Waiting lets the
 * lock go and takes it again:
 *
 *     COMMON_sync_lock(&sync);
 *     while (!ready) {
 *         COMMON_sync_wait(&sync);
 *     }
 *     COMMON_sync_unlock(&sync);
 *
 * Whoever waits next takes the signal, also the thread that gave it. As signals do not add up, two
 * of them in quick succession may wake only one of two threads that wait: what is waited for is
 * looked at before each wait.
 *
 * The caller owns the record and initialises it before others know it. Every function gives a
 * platform error number back and reports nothing: 0; EINVAL for a null argument; EACCES for a lock
 * that is already held by the caller or an unlock by somebody else; or the error of the semaphore.
 * A signal handler that interrupts a wait ends it with EINTR, unless COMMON_SyncRetryInterrupted is
 * set. Locking and waiting are cancellation points, also where the lock or the signal is there at
 * once: whoever was cancelled before ends there, without the lock, and leaves both to others. A
 * signal or a lock that a cancelled thread was woken for goes to the next one that waits.
 *
 * A thread looks for some microseconds whether it gets what it waits for, before it sleeps; not on
 * a machine with one processor.
 *
 * Deadlines are absolute times of the real-time clock, so they move when that clock is set.
 */
#ifndef COMMON_SYNC_H
#define COMMON_SYNC_H

#include <errno.h>
#include <pthread.h>
#include <semaphore.h>
#include <time.h>

#include "common_api.h"

COMMON_BEGIN_DECLS

/** Bits of COMMON_sync.flags. */
enum {
    /** A wait that a signal handler interrupted goes on. To be set after COMMON_sync_init(). */
    COMMON_SyncRetryInterrupted = 1,
    /** The signal is for several processes. Without effect: COMMON_sync_init() clears all flags. */
    COMMON_SyncShared = 2
};

/** A sync object. */
typedef struct COMMON_sync {
    /* Private: the functions below read and write them. */
    pthread_t owner; /**< who holds the lock; all ones: nobody */
    sem_t lock;      /**< 1 while nobody holds it */
    sem_t signal;    /**< 1 while a signal is pending */
    /* public */
    /** The caller's: bits of the above, not to be changed while others use the object. */
    uint32_t flags;
} COMMON_sync;

/**
 * Sets up a caller's record: free, no signal pending, no flag set.
 * @param sync whatever it held is overwritten.
 * @param ignored has no effect.
 * @return 0, EINVAL or the error of the semaphore.
 */
int32_t COMMON_sync_init(COMMON_sync* sync, uint32_t ignored);

/**
 * Gives up both semaphores. Nobody may wait; the caller may hold the lock.
 * @return 0, EINVAL or the first error of a semaphore.
 */
int32_t COMMON_sync_destroy(COMMON_sync* sync);

/**
 * Locks, waiting for the owner to let go.
 * @return 0; EINVAL; EACCES, at once, when the caller is the owner; EINTR.
 */
int32_t COMMON_sync_lock(COMMON_sync* sync);

/**
 * Unlocks.
 * @return 0; EINVAL; EACCES when the caller is not the owner, and nothing changed; the error of the
 *         semaphore.
 */
int32_t COMMON_sync_unlock(COMMON_sync* sync);

/**
 * Signals: wakes one waiter, or lets the next wait return at once. With or without the lock.
 * @return 0, EINVAL or the error of the semaphore.
 */
int32_t COMMON_sync_signal(COMMON_sync* sync);

/**
 * Lets the lock go, waits for a signal and locks again.
 * @return 0; EINVAL; EACCES, at once, when the caller is not the owner; the error of the wait
 * (EINTR), and then the lock is not held; or that of locking again.
 */
int32_t COMMON_sync_wait(COMMON_sync* sync);

/**
 * Locks, waiting until a deadline at most.
 * @param sync the object.
 * @param deadline real-time clock, absolute.
 * @return 0; EINVAL, also for a null deadline; EACCES, at once, when the caller is the owner;
 *         ETIMEDOUT; EINTR.
 */
COMMON_MUST_USE COMMON_64_BIT_TIMES int32_t COMMON_sync_timedlock(COMMON_sync* sync,
                                                                  const struct timespec* deadline);

/**
 * Lets the lock go, waits for a signal until a deadline at most and locks again, however long that
 * takes and whatever ended the wait.
 * @param sync the object.
 * @param deadline real-time clock, absolute.
 * @return 0; EINVAL, also for a null deadline; EACCES, at once, when the caller is not the owner;
 * the error of locking again, without the lock; or how the wait ended: ETIMEDOUT or EINTR.
 */
COMMON_MUST_USE COMMON_64_BIT_TIMES int32_t COMMON_sync_timedwait(COMMON_sync* sync,
                                                                  const struct timespec* deadline);

COMMON_END_DECLS

#endif
