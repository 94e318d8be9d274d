/**
 * @file ring_buffer.h
 * A ring of bytes over storage of the caller.
 *
 * Nothing is checked, locked, allocated or reported: the caller serialises, and gives records and
 * areas that are there. What does not fit is not stored; a byte that is held is never overwritten.
 * Blocking queues made of this are in blockq.h and common_blockQEx.h.
 */
#ifndef COMMON_RING_BUFFER_H
#define COMMON_RING_BUFFER_H

#include "common_api.h"

COMMON_BEGIN_DECLS

/** A ring buffer. It is full when `count` is the capacity; both positions are the same then, too.
 */
typedef struct RingBuf {
    /* Private: the functions below read and write them. */
    uint8_t* start; /**< first byte of the storage */
    uint8_t* end;   /**< one behind its last byte */
    uint8_t* read;  /**< next byte to read */
    uint8_t* write; /**< next byte to write */
    uint32_t count; /**< bytes held */
} RingBuf;

/**
 * Sets up an empty ring.
 * @param rb the ring.
 * @param storage `capacity` bytes, which stay the caller's and must outlive the ring's use.
 * @param capacity bytes.
 */
void ringBufInit(RingBuf* rb, void* storage, uint32_t capacity);

/** Drops everything. */
void ringBufFlush(RingBuf* rb);

/**
 * Stores as many bytes as fit.
 * @param rb the ring.
 * @param src at least `len` bytes.
 * @param len bytes.
 * @return how many were stored: `len`, or the free space if that is less.
 */
COMMON_MUST_USE uint32_t ringWriteData(RingBuf* rb, const void* src, uint32_t len);

/**
 * Takes bytes out, oldest first.
 * @param rb the ring.
 * @param dst room for `len` bytes.
 * @param len bytes.
 * @return how many were taken: `len`, or those held if that is less.
 */
COMMON_MUST_USE uint32_t ringReadData(RingBuf* rb, void* dst, uint32_t len);

/** Like ringReadData(), but the bytes stay. */
COMMON_MUST_USE uint32_t ringPeekData(const RingBuf* rb, void* dst, uint32_t len);

/**
 * Shows the oldest bytes where they are. Use ringBufDelete() when they are done with.
 * @param rb the ring.
 * @param out_ptr gets the address of the oldest byte.
 * @param in_out_len in: how many bytes are wanted; out: how many can be read from there on, which
 *        ends where the storage does, even when more bytes are held.
 */
void ringGetDataPtr(const RingBuf* rb, uint8_t** out_ptr, uint32_t* in_out_len);

/** Drops the oldest bytes. @param rb the ring. @param n how many; all when fewer are held. Frees
 * nothing. */
void ringBufDelete(RingBuf* rb, uint32_t n);

COMMON_END_DECLS

#endif
