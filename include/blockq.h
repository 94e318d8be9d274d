/**
 * @file blockq.h
 * A queue of bytes between threads. Adding never waits: what does not fit is dropped. Removing
 * waits until there is something.
 *
 * The caller owns the record and the storage, and initialises the queue before others know it. Any
 * number of threads may add and remove; the bytes of one add stay together and in order. Failures
 * of the platform's mutexes are neither reported nor given back.
 *
 * Every add that is stored whole wakes one waiting thread. One that is stored in part wakes nobody:
 * producers that must not lose a thread's turn look at BlockQ_FreeSpace() first. A reader that
 * takes less than there is wakes nobody either, nor does one that peeks: what it leaves lies there,
 * with others asleep, until the next add. And it may get a part of an add, or the end of one and
 * the beginning of the next; so several readers share a queue well when each takes all that it
 * finds.
 */
#ifndef COMMON_BLOCKQ_H
#define COMMON_BLOCKQ_H

#include <pthread.h>

#include "common_api.h"
#include "ring_buffer.h"

COMMON_BEGIN_DECLS

/** A queue. */
typedef struct BlockQ {
    /* Private: the functions below read and write them. */
    RingBuf ring;                /**< the bytes; first, so that a queue is a ring buffer, too */
    pthread_mutex_t queueMutex;  /**< serialises who adds and removes; taken first */
    pthread_cond_t condition;    /**< waited for with queueMutex */
    pthread_mutex_t bufferMutex; /**< guards the ring; never held during a wait */
} BlockQ;

/**
 * Sets up an empty queue.
 * @param q whatever it held is overwritten, so it must not be a queue in use.
 * @param storage `capacity` bytes, which stay the caller's and must outlive the queue.
 * @param capacity bytes.
 * @return 0; -1 when q is null.
 */
int32_t BlockQ_Init(BlockQ* q, void* storage, uint32_t capacity);

/**
 * Empties the queue and gives its platform objects up. Waits for those that are still inside
 * another function; nobody may be waiting for bytes or come anew. The storage and the record may be
 * freed afterwards.
 * @return 0; -1 when q is null.
 */
int32_t BlockQ_Destroy(BlockQ* q);

/**
 * Adds bytes, without waiting for space.
 * @param q the queue.
 * @param data at least `len` bytes.
 * @param len bytes; 0 stores nothing and wakes a waiting thread, which goes on waiting.
 * @return how many were stored: `len`, or the free space if that is less; 0 when q is null.
 */
COMMON_MUST_USE uint32_t BlockQ_Add(BlockQ* q, const void* data, uint32_t len);

/**
 * Takes bytes out, oldest first; waits, without a limit, until there is at least one. A
 * cancellation point while it waits, where no lock of the queue is kept.
 * @param q the queue.
 * @param dst room for `len` bytes.
 * @param len bytes at most. 0 never returns, whatever is added: none is ever read.
 * @return how many were taken: from 1 to `len`, without waiting for more; 0 when q is null.
 */
COMMON_MUST_USE uint32_t BlockQ_Remove(BlockQ* q, void* dst, uint32_t len);

/** Like BlockQ_Remove(), but the bytes stay. */
COMMON_MUST_USE uint32_t BlockQ_Peek(BlockQ* q, void* dst, uint32_t len);

/** Drops everything. @param q not null. @return result of unlocking a mutex: 0. */
int32_t BlockQ_Flush(BlockQ* q);

/** Gives the capacity. @param q not null. @return bytes. */
uint32_t BlockQ_Size(BlockQ* q);
/** Gives the free space. @param q not null. @return bytes. */
uint32_t BlockQ_FreeSpace(BlockQ* q);
/** Gives what is held. @param q not null. @return bytes. */
uint32_t BlockQ_Len(BlockQ* q);

COMMON_END_DECLS

#endif
