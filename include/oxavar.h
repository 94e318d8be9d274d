/**
 * @file oxavar.h
 * Variants: values that say what they are, their flat form for another process, and their text.
 *
 * A COMMON_OXAVar holds nothing, a 32-bit integer, a 32-bit float, a text, an opaque pointer or an
 * array of variants, nested as deep as the stack has room for (5000 arrays inside one another take
 * less than 1 MiB of it). It lives on the heap (COMMON_OXAVarAlloc() to COMMON_OXAVarFree()) or
 * inside a record of the caller's, zeroed at first (all zero is the empty variant) and ended with
 * COMMON_OXAVarClear(). A variant owns its text or its block of elements and, through the block,
 * all that the elements own; it never owns what a pointer points to. Elements are embedded: they
 * are set and cleared like any variant, never freed.
 *
 * A null variant makes every function do nothing and return null (or 0, as stated). Unknown types
 * are never made here, but all functions tolerate them. Nothing is logged: failures are results
 * only. Memory comes from MEM_Malloc(), so running out of it ends the process. Only a block of
 * 4 GiB or more cannot be had in another way: the variant then stays an empty array, or a text that
 * is null.
 *
 * Variants have no lock: callers see to it that one thread at a time uses a variant and what is in
 * it. No function blocks.
 *
 * Serialised form, the same bytes from 32-bit and 64-bit builds: words of 32 bits in the byte order
 * of the machine, without alignment or terminator.
 *
 *     type            bytes
 *     integer         1, the integer
 *     float           2, the bits of the float
 *     text            3, its length without terminator, the text, zero bytes up to a multiple of 4
 *     pointer         4, the pointer (of a 64-bit one the low 32 bits only)
 *     array           5, the number of elements, the elements back to back
 *     empty, unknown  0
 *
 * A text whose length is a multiple of 4 has no zero byte behind it: the reader goes by the length.
 */
#ifndef COMMON_OXAVAR_H
#define COMMON_OXAVAR_H

#include "common_api.h"
#include "status.h"

COMMON_BEGIN_DECLS

/** What a variant holds. */
enum {
    OXAVAR_TYPE_NONE = 0,   /**< nothing */
    OXAVAR_TYPE_INT = 1,    /**< an integer of 32 bits */
    OXAVAR_TYPE_FLOAT = 2,  /**< a float of 32 bits */
    OXAVAR_TYPE_STRING = 3, /**< a text */
    OXAVAR_TYPE_PVOID = 4,  /**< an opaque pointer */
    OXAVAR_TYPE_ARRAY = 5   /**< an array of variants */
};

/** Arrays inside one another that COMMON_OXAVarDeserializeBounded() accepts, the outermost one
 * counted. */
enum {
    OXAVAR_DEPTH_MAX = 64 /**< arrays */
};

/** Size of the text that COMMON_OXAVarToString() gives, with its terminator. */
enum {
    OXAVAR_TEXT_SIZE = 1024 /**< bytes */
};

/** A variant: three words, of which the last is as wide as a pointer. All zero is empty. */
typedef struct COMMON_OXAVar {
    uint32_t type;  /**< one of OXAVAR_TYPE_ */
    uint32_t count; /**< elements of an array, 0 for anything else */
    union {
        uintptr_t word;                 /**< the whole word, first so that {0} clears all of it */
        int32_t integer;                /**< OXAVAR_TYPE_INT */
        float real;                     /**< OXAVAR_TYPE_FLOAT */
        char* text;                     /**< OXAVAR_TYPE_STRING: owned, may be null */
        void* pointer;                  /**< OXAVAR_TYPE_PVOID: not owned */
        struct COMMON_OXAVar* elements; /**< OXAVAR_TYPE_ARRAY: owned, null when count is 0 */
    } value;                            /**< what it holds */
} COMMON_OXAVar;

/**
 * Copies a text to the heap.
 * @param text may be null.
 * @return a copy that the caller releases with MEM_Free(); null for a null text.
 */
COMMON_MUST_USE char* COMMON_OXA_strdup(const char* text) COMMON_NEW_MEMORY;

/**
 * Makes an empty variant.
 * @return the variant, which the caller releases with COMMON_OXAVarFree().
 */
COMMON_MUST_USE COMMON_OXAVar* COMMON_OXAVarAlloc(void);

/**
 * Releases what a variant owns and makes it empty. Texts and elements that callers got from it are
 * gone.
 * @param var may be null.
 * @return var.
 */
COMMON_OXAVar* COMMON_OXAVarClear(COMMON_OXAVar* var);

/**
 * Releases a variant and what it owns.
 * @param var from COMMON_OXAVarAlloc() or COMMON_OXAVarArrayAlloc(), or null, which is ignored.
 */
void COMMON_OXAVarFree(COMMON_OXAVar* var);

/**
 * Makes a variant an array of empty elements; what it held is released.
 * @param var null for a new one, which the caller releases with COMMON_OXAVarFree().
 * @param count number of elements, from 0. If no block can be that large, the array has 0.
 * @return the variant.
 */
COMMON_OXAVar* COMMON_OXAVarArrayAllocAt(COMMON_OXAVar* var, uint32_t count);

/** The same as COMMON_OXAVarArrayAllocAt() with null: a new array of `count` empty elements. */
COMMON_MUST_USE COMMON_OXAVar* COMMON_OXAVarArrayAlloc(uint32_t count);

/**
 * Copies a variant with all that it owns; what dst held is released. What a pointer points to is
 * shared. A variant copied onto itself is empty afterwards. One of them may otherwise be inside the
 * other.
 * @param dst null does nothing.
 * @param src null does nothing.
 * @return dst.
 */
COMMON_OXAVar* COMMON_OXAVarCopy(COMMON_OXAVar* dst, const COMMON_OXAVar* src);

/**
 * Changes the number of elements of an array. New ones are empty, dropped ones are released. The
 * block of elements is another one afterwards.
 * @param var anything but an array is left alone.
 * @param count number of elements, from 0. If no block can be that large, the array has 0.
 * @return var.
 */
COMMON_OXAVar* COMMON_OXAVarArrayRealloc(COMMON_OXAVar* var, uint32_t count);

/** Makes a variant an integer; what it held is released. @return var. */
COMMON_OXAVar* COMMON_OXAVarSetInt(COMMON_OXAVar* var, int32_t integer);

/** Makes a variant a float; what it held is released. @return var. */
COMMON_OXAVar* COMMON_OXAVarSetFloat(COMMON_OXAVar* var, float real);

/**
 * Makes a variant a copy of a text; what it held is released.
 * @param var may be null.
 * @param text may be null: the variant is a text then, without one. May be the variant's own.
 * @return var.
 */
COMMON_OXAVar* COMMON_OXAVarSetString(COMMON_OXAVar* var, const char* text);

/**
 * Makes a variant a text of up to `len` characters; what it held is released. The block has len + 1
 * bytes, those behind the text are zero.
 * @param var may be null.
 * @param text ends at its terminator or at `len`, whichever comes first; null as for
 *        COMMON_OXAVarSetString(). May be the variant's own.
 * @param len characters. UINT32_MAX is too long for a block and leaves the text null.
 * @return var.
 */
COMMON_OXAVar* COMMON_OXAVarSetStringN(COMMON_OXAVar* var, const char* text, uint32_t len);

/** Makes a variant an opaque pointer, which is never followed or freed. @return var. */
COMMON_OXAVar* COMMON_OXAVarSetPVoid(COMMON_OXAVar* var, void* pointer);

/** Gives the integer; 0 unless the variant is one. Nothing is converted. */
int32_t COMMON_OXAVarGetInt(const COMMON_OXAVar* var);

/** Gives the float; 0 unless the variant is one. Nothing is converted. */
float COMMON_OXAVarGetFloat(const COMMON_OXAVar* var);

/**
 * Gives the text; null unless the variant is one.
 * @return the variant's own text, valid until the variant is set or cleared.
 */
char* COMMON_OXAVarGetString(const COMMON_OXAVar* var);

/** Gives the pointer; null unless the variant is one. */
void* COMMON_OXAVarGetPVoid(const COMMON_OXAVar* var);

/**
 * Gives the length of the serialised form.
 * @return bytes, at least 4; 0 for a null variant; UINT32_MAX when it is longer than can be told.
 */
uint32_t COMMON_OXAVarGetSerializedSize(const COMMON_OXAVar* var);

/**
 * Writes the serialised form.
 * @param buffer of any alignment.
 * @param var what to write. An array that counts elements but has no block (none is made here) is
 *        written with its count and without elements: no reader can make sense of that.
 * @param size bytes of the buffer.
 * @return bytes written; 0, with nothing written, for a null argument or when they do not fit.
 */
COMMON_MUST_USE uint32_t COMMON_OXAVarSerialize(void* buffer, const COMMON_OXAVar* var,
                                                uint32_t size);

/**
 * Reads a serialised form that is known to be whole and right: there is no length and no check.
 * What comes from elsewhere is for COMMON_OXAVarDeserializeBounded().
 * @param buffer of any alignment; null only clears the variant.
 * @param var what it held is released. A text ends at the first zero byte in it.
 * @return bytes read; 0 for a null argument. For an array of which no block can be large enough 8:
 *         it is empty, and its elements are not read.
 */
uint32_t COMMON_OXAVarDeserialize(const void* buffer, COMMON_OXAVar* var);

/**
 * Reads a serialised form from bytes that may be anything. Reads no byte behind them, takes not
 * more memory than a small multiple of their number and not more stack than OXAVAR_DEPTH_MAX
 * arrays inside one another need. What is accepted gives the same variant and the same number of
 * bytes as with COMMON_OXAVarDeserialize(); as there, an unknown type is an empty variant of
 * 4 bytes, and a pointer is whatever the sender wrote: never follow it.
 * @param buffer of any alignment.
 * @param size bytes of the buffer. There may be more of them than the value has.
 * @param var what it held is released. Empty unless the result is STATUS_SUCCESS.
 * @param consumed gets the bytes read, 0 unless the result is STATUS_SUCCESS. May be null.
 * @return STATUS_SUCCESS;
 *         STATUS_INVALID_PARAM for a null buffer or variant;
 *         STATUS_FAILED when the bytes end too early: a word, a text with its padding, or as many
 *         elements as are announced are not there;
 *         STATUS_NOT_SUPPORTED for more than OXAVAR_DEPTH_MAX arrays inside one another;
 *         STATUS_NO_RESOURCES for an array of which no block can be large enough.
 */
COMMON_MUST_USE STATUS COMMON_OXAVarDeserializeBounded(const void* buffer, uint32_t size,
                                                       COMMON_OXAVar* var, uint32_t* consumed);

/**
 * Gives a text for traces: 12, 0.500000, "text", the pointer as "%p" prints it, {1, {}, "two"}, or
 * unknown (type=0) for what is empty or unknown.
 *
 * The text is cut to 1023 characters. A text of 1021 characters or more has no quotes; one of 1021
 * or 1022 characters has two blanks or one in front of it. Of an array, the elements for which
 * there is no room (their text and ten characters) are left out, and the next ones are tried.
 * @param var a text in it should not be null; it is printed as (null).
 * @return a block of OXAVAR_TEXT_SIZE bytes that the caller releases with MEM_Free(); null for a
 *         null variant.
 */
COMMON_MUST_USE char* COMMON_OXAVarToString(const COMMON_OXAVar* var) COMMON_NEW_MEMORY;

COMMON_END_DECLS

#endif
