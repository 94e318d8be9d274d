/**
 * @file data.h
 * Counted byte arrays, hexadecimal text, single bits and nibbles, and the text of a boolean.
 *
 * An array is a record and a storage block, both from MEM_Malloc(). Whoever holds the record owns
 * both and releases them with DATA_ArrayDelete(). Callers may read and write the fields; length
 * never exceeds capacity. Texts that a function makes are blocks of the caller's: MEM_Free() them.
 *
 * What fails is reported at Error under the module "COMMON", source "data"; a wrong argument is
 * never more than that, and the result is then null or 0. Running out of memory ends the process
 * (mem_malloc.h). A result that would need 4 GiB or more is refused as "Failed allocating memory.".
 *
 * The functions keep no state and never block: any thread may call them, but threads that share an
 * array serialise its use.
 */
#ifndef COMMON_DATA_H
#define COMMON_DATA_H

#include "common_api.h"

COMMON_BEGIN_DECLS

/** A counted array of bytes. */
typedef struct DATA_Array {
    uint8_t* data;     /**< the storage */
    uint32_t length;   /**< bytes in use */
    uint32_t capacity; /**< bytes of storage */
} DATA_Array;

/**
 * Makes an empty array.
 * @param capacity bytes of storage, filled with zeros; 0 asks for a block of size 0.
 * @return the array, of length 0. Null, after "Failed allocating memory.", only where memory may be
 *         refused without an end of the process.
 */
COMMON_MUST_USE DATA_Array* DATA_ArrayNew(uint32_t capacity);

/**
 * Makes an array that holds a copy of bytes.
 * @param capacity bytes of storage; what is not in use is zero.
 * @param bytes at least `length` bytes.
 * @param length at most `capacity`.
 * @return the array. Null when bytes is null or length exceeds capacity ("Bad arguments."), or when
 *         there is no array to be had ("DATA_ArrayNew() failed.").
 */
COMMON_MUST_USE DATA_Array* DATA_ArrayNewWithDataLength(uint32_t capacity, const void* bytes,
                                                        uint32_t length);

/**
 * Makes an array that a copy of bytes fills.
 * @param capacity bytes of storage, and of `bytes`.
 * @param bytes at least `capacity` bytes.
 * @return as for DATA_ArrayNewWithDataLength(), whose reports it makes.
 */
COMMON_MUST_USE DATA_Array* DATA_ArrayNewWithData(uint32_t capacity, const void* bytes);

/**
 * Changes the storage's size; it may move. Bytes that are added are not set, and a length above the
 * new capacity is cut to it.
 * @param array null is reported ("Bad arguments.").
 * @param capacity bytes. 0 frees the storage, which counts as a failure.
 * @return the storage. After a failure ("Failed reallocating memory.") the result means nothing:
 *         look at the array's data, which is null then; length and capacity are left as they were.
 */
void* DATA_ArrayResize(DATA_Array* array, uint32_t capacity);

/**
 * Frees an array and its storage.
 * @param array its data may be null. A null array is reported at Warn ("array is NULL.").
 */
void DATA_ArrayDelete(DATA_Array* array);

/**
 * Reads hexadecimal text.
 * @param text pairs of digits in either case, the high one first, and nothing else.
 * @return a new array whose length and capacity are half of the text's length; it is empty for an
 *         empty text. Null, after a report, for a null text ("Bad arguments."), an odd number of
 *         characters ("The ASCII string contains an odd length: 3") and for characters that are
 *         no hexadecimal digits: each has a report of its own, in order, with its index, itself
 *         and its signed code ("ascii[1] contains an invalid character: g (103)").
 */
COMMON_MUST_USE DATA_Array* DATA_AsciiToHex(const char* text);

/**
 * Writes bytes as hexadecimal text.
 * @param bytes at least `length` bytes; null is reported ("Bad arguments.").
 * @param length bytes, at most 2147483647.
 * @return a new text of two upper-case digits for each byte; null after a report.
 */
COMMON_MUST_USE char* DATA_HexToAscii(const void* bytes, uint32_t length) COMMON_NEW_MEMORY;

/**
 * Writes an array's bytes in use as hexadecimal text.
 * @param array null is reported ("Bad arguments.").
 * @return as for DATA_HexToAscii(), whose reports it makes.
 */
COMMON_MUST_USE char* DATA_HexToAsciiFromArray(const DATA_Array* array) COMMON_NEW_MEMORY;

/**
 * Writes bytes as hexadecimal text with a blank after each.
 * @param bytes at least `length` bytes; null is reported ("Bad arguments.").
 * @param length bytes, at most 1431655764.
 * @return a new text such as "00 7F "; null after a report.
 */
COMMON_MUST_USE char* DATA_HexDump(const void* bytes, uint32_t length) COMMON_NEW_MEMORY;

/**
 * Writes bytes as a table of 16 to a line of 80 characters: the address of the line's first byte
 * (its low 32 bits) as "0x%08X:", the bytes as " %02X", four blanks, the bytes as characters with
 * "." for what isprint(3) refuses, and a line feed. The text ends right after the last character
 * of a line that is not full, without a line feed.
 * @param bytes at least `length` bytes; null is reported ("Bad arguments.").
 * @param length bytes, at most 858993456.
 * @return a new text, empty when length is 0; null after a report.
 */
COMMON_MUST_USE char* DATA_HexDumpPretty(const void* bytes, uint32_t length) COMMON_NEW_MEMORY;

/**
 * Sets a bit.
 * @param value any value.
 * @param bit 0 (the least significant) to 31.
 * @return value with the bit set; 0 for another bit ("Bad arguments. Invalid bit: 32").
 */
COMMON_MUST_USE uint32_t DATA_BitSet(uint32_t value, uint32_t bit);

/**
 * Clears a bit.
 * @param value any value.
 * @param bit 0 (the least significant) to 31.
 * @return value with the bit cleared; 0 for another bit ("Bad arguments. Invalid bit: 32").
 */
COMMON_MUST_USE uint32_t DATA_BitClear(uint32_t value, uint32_t bit);

/**
 * Tells whether a bit is set.
 * @param value any value.
 * @param bit 0 (the least significant) to 31.
 * @return 1 or 0; 0 for another bit ("Bad arguments. Invalid bit: 32").
 */
uint32_t DATA_BitIsSet(uint32_t value, uint32_t bit);

/**
 * Tells whether a bit is clear.
 * @param value any value.
 * @param bit 0 (the least significant) to 31.
 * @return 1 or 0; 1 for another bit, after the report of DATA_BitIsSet().
 */
uint32_t DATA_BitIsClear(uint32_t value, uint32_t bit);

/**
 * Gives what is above the low nibble.
 * @param value a byte; of a larger value all the upper bits are kept.
 * @return value shifted right by 4.
 */
uint32_t DATA_NibbleHigh(uint32_t value);

/** Gives the low nibble. @param value any value. @return its lowest 4 bits. */
uint32_t DATA_NibbleLow(uint32_t value);

/**
 * Exchanges the nibbles of a byte.
 * @param value a byte. In a larger value the bits above the byte come in: 0x1A2 gives 0x3A.
 * @return a byte: DATA_NibbleHigh() or 16 times DATA_NibbleLow().
 */
COMMON_MUST_USE uint32_t DATA_NibbleSwap(uint32_t value);

/**
 * Gives the text of a boolean. Safe everywhere.
 * @param value any value.
 * @return "False" for 0, "True" for 1, "Invalid" for anything else; a constant text.
 */
const char* DATA_BoolToString(uint32_t value);

COMMON_END_DECLS

#endif
