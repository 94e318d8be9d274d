/**
 * @file common_blockQEx.h
 * A queue of bytes between threads, built on the sync object (common_sync.h). Adding never waits:
 * what does not fit is dropped. Removing waits until there is something.
 *
 * The caller owns the record and the storage, and initialises the queue before others know it. Any
 * number of threads may add and remove; the bytes of one add stay together and in order.
 *
 * An add that is stored whole signals; one that is stored in part does not. Signals do not add up:
 * after two adds in quick succession only one of several waiting threads may wake, so a consumer
 * that shares its queue with others takes all that it finds. blockq.h has a queue that wakes one
 * thread for each add.
 *
 * Operations that find the lock refused, or interrupted by a signal handler, do nothing and give 0;
 * a wait that a signal handler interrupts goes on. Every operation is a cancellation point, where
 * it locks or waits: the lock is not held then, nothing was added or taken, and bytes that a
 * cancelled reader was woken for are another one's. Failures are reported at Error under the module
 * "COMMON" where the functions say so.
 */
#ifndef COMMON_BLOCKQEX_H
#define COMMON_BLOCKQEX_H

#include "common_api.h"
#include "common_sync.h"
#include "ring_buffer.h"

COMMON_BEGIN_DECLS

/** A queue. */
typedef struct COMMON_BlockQEx {
    /* Private: the functions below read and write them. */
    RingBuf ring;     /**< the bytes; first, so that a queue is a ring buffer, too */
    COMMON_sync sync; /**< guards the ring; signalled for an add */
} COMMON_BlockQEx;

/**
 * Sets up an empty queue.
 * @param q whatever it held is overwritten, so it must not be a queue in use.
 * @param storage `capacity` bytes, which stay the caller's and must outlive the queue.
 * @param capacity bytes.
 * @return 0; -1 when q is null, or when the sync object cannot be set up, which is reported with
 * its error number.
 */
int32_t COMMON_BlockQEx_Init(COMMON_BlockQEx* q, void* storage, uint32_t capacity);

/**
 * Empties the queue and gives its sync object up, locked. Waits for who holds the lock; nobody may
 * be waiting for bytes or come anew.
 * @return 0; -1 when q is null.
 */
int32_t COMMON_BlockQEx_Destroy(COMMON_BlockQEx* q);

/**
 * Adds bytes, without waiting for space. A signal that fails is reported; the bytes are stored.
 * @param q the queue.
 * @param data at least `len` bytes.
 * @param len bytes; 0 stores nothing and signals.
 * @return how many were stored: `len`, or the free space if that is less; 0 when q is null or the
 *         lock fails.
 */
COMMON_MUST_USE uint32_t COMMON_BlockQEx_Add(COMMON_BlockQEx* q, const void* data, uint32_t len);

/**
 * Takes bytes out, oldest first; waits, without a limit, until there is at least one. What is left
 * behind, because `len` is less, wakes nobody else.
 * @param q the queue.
 * @param dst room for `len` bytes.
 * @param len bytes at most. 0 never returns, whatever is added: none is ever read.
 * @return how many were taken: from 1 to `len`, without waiting for more; 0 when q is null or the
 *         lock or the wait fails.
 */
COMMON_MUST_USE uint32_t COMMON_BlockQEx_Remove(COMMON_BlockQEx* q, void* dst, uint32_t len);

/** Drops everything. @param q may be null. Does nothing when the lock fails. */
void COMMON_BlockQEx_Flush(COMMON_BlockQEx* q);

/** Gives the capacity. @return bytes; 0 when q is null or the lock fails. */
uint32_t COMMON_BlockQEx_Size(COMMON_BlockQEx* q);
/** Gives the free space. @return bytes; 0 when q is null or the lock fails. */
uint32_t COMMON_BlockQEx_FreeSpace(COMMON_BlockQEx* q);
/** Gives what is held. @return bytes; 0 when q is null or the lock fails. */
uint32_t COMMON_BlockQEx_Len(COMMON_BlockQEx* q);

COMMON_END_DECLS

#endif
