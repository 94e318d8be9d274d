/**
 * @file mem_malloc.h
 * Checked memory: allocation that never returns without memory, and checked copy and compare.
 *
 * Running out of memory is not an error that callers handle. An allocation that fails logs the
 * process name, the process id and a message at Critical under the module "MALLOC" and ends the
 * process with exit(1), so that exit handlers run. A returned block therefore needs no test.
 *
 * Blocks come from malloc(3) and belong to the caller until MEM_Free(). All sizes and lengths are
 * bytes. The functions keep no state and are as thread-safe as malloc(3). A null pointer where an
 * area is required ends the process by an assertion; a length of 0 is reported at Warn
 * ("length is zero") and the areas are left alone.
 */
#ifndef COMMON_MEM_MALLOC_H
#define COMMON_MEM_MALLOC_H

#include "common_api.h"

COMMON_BEGIN_DECLS

/** Result of MEM_Compare(). */
typedef uint32_t MEM_CompareResult;

/** Values of MEM_CompareResult. */
enum {
    MEM_CompareEqual = 1,  /**< all bytes are the same */
    MEM_CompareLess = 2,   /**< the first one that differs is less in the first block */
    MEM_CompareGreater = 3 /**< the first one that differs is greater in the first block */
};

/**
 * Allocates a block; its content is undefined.
 * @param size bytes; 0 asks malloc(3) for a block of size 0.
 * @return the block, never null: without memory the process ends ("Could not allocate memory.").
 */
COMMON_MUST_USE void* MEM_Malloc(uint32_t size) COMMON_NEW_MEMORY COMMON_SIZE_BY(1);

/**
 * Allocates a block filled with zero bytes.
 * @param size bytes, as for MEM_Malloc().
 * @return the block, never null.
 */
COMMON_MUST_USE void* MEM_Salloc(uint32_t size) COMMON_NEW_MEMORY COMMON_SIZE_BY(1);

/**
 * Changes the size of a block, which may move it.
 * @param block from this family, or null to allocate a new one. Freed when the result differs.
 * @param size bytes. 0 with a null block does nothing; 0 with a block frees it and returns what
 *        realloc(3) returns, which may be null.
 * @return the block; never null when size is not 0: without memory the process ends
 *         ("Could not reallocate memory.").
 */
COMMON_MUST_USE void* MEM_Realloc(void* block, uint32_t size) COMMON_SIZE_BY(2);

/**
 * Frees a block.
 * @param block from this family or null, which is ignored.
 */
void MEM_Free(void* block);

/**
 * Copies a text to the heap. The one allocation that does not end the process.
 * @param text may be null.
 * @return a copy that the caller releases with MEM_Free(); null for a null text or without memory.
 */
COMMON_MUST_USE char* MEM_StrDup(const char* text) COMMON_NEW_MEMORY;

/**
 * Copies an area to a new block.
 * @param size bytes; 0 is reported at Warn.
 * @param source at least `size` bytes; null ends the process.
 * @return the block, which the caller releases with MEM_Free(); null only when size is 0.
 */
COMMON_MUST_USE void* MEM_Clone(uint32_t size, const void* source) COMMON_SIZE_BY(1);

/**
 * Copies between areas that do not overlap.
 * @param destination at least `length` bytes; null ends the process.
 * @param source at least `length` bytes; null ends the process.
 * @param length bytes; 0 is reported at Warn and copies nothing.
 * @return destination.
 */
void* MEM_Copy(void* destination, const void* source, uint32_t length);

/**
 * Copies between areas that may overlap.
 * @param destination at least `length` bytes; null ends the process.
 * @param source at least `length` bytes; null ends the process.
 * @param length bytes; 0 is reported at Warn and copies nothing.
 * @return destination.
 */
void* MEM_Move(void* destination, const void* source, uint32_t length);

/**
 * Fills an area.
 * @param destination at least `length` bytes; null ends the process.
 * @param value the fill byte: only the low 8 bits count.
 * @param length bytes; 0 is reported at Warn and fills nothing.
 * @return destination.
 */
void* MEM_Set(void* destination, uint32_t value, uint32_t length);

/**
 * Compares two areas byte by byte, as unsigned numbers.
 * @param first at least `length` bytes; null ends the process.
 * @param second at least `length` bytes; null ends the process.
 * @param length bytes. 0 ends the process ("0 < length"), unless both addresses are the same.
 * @return MEM_CompareEqual, or which of both the first is: MEM_CompareLess or MEM_CompareGreater.
 *         The same address twice is MEM_CompareEqual whatever the length.
 */
COMMON_MUST_USE MEM_CompareResult MEM_Compare(const void* first, const void* second,
                                              uint32_t length);

COMMON_END_DECLS

#endif
