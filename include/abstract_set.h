/**
 * @file abstract_set.h
 * A sequence of values with a cursor: a circular, doubly linked ring of entries.
 *
 * Who owns what: the set owns its entry records and, from the push on, the values. AbsSET_Clear()
 * and AbsSET_Delete() release each value still held with the set's release function, or with
 * MEM_Free() when there is none. A popped value belongs to the caller, and so does a popped entry
 * record. Records come from MEM_Malloc(), also those that the caller hands to a push: popping a
 * value frees its record with MEM_Free().
 *
 * The cursor rests on an entry or at the end, which is the sentinel inside the header. Pushes leave
 * it where it is; every pop moves it behind what was popped. Indices count from the front, from 0;
 * the functions that take one understand -1 as the front, -2 as the back and -5 as the cursor's
 * entry, too.
 *
 * A pop that finds no entry (of an empty set, or at a cursor that is at the end) gives no value and
 * leaves the ring alone, but still counts the size down: that of an empty set becomes 4294967295.
 * Test AbsSET_IsEmpty() or AbsSET_IsEnd() first. A set whose size has wrapped takes no push, and
 * clearing or deleting it counts the size down to 0, which takes 4294967295 pops and hands a null
 * value to the release function for each; AbsSET_Initialize() makes it usable again at once.
 *
 * Results are AbsSET_Success or another of the codes below. Failures are reported at Error under
 * the module "COMMON"; a null set everywhere with "Bad arguments.". The process is never ended but
 * for want of memory (mem_malloc.h). Front, back and cursor are reached in constant time; an index
 * is walked to from the front, because the size may differ from the number of entries (see above,
 * and AbsSET_InitializeEntry()).
 *
 * There is no lock: callers serialise access to one set.
 */
#ifndef COMMON_ABSTRACT_SET_H
#define COMMON_ABSTRACT_SET_H

#include "common_api.h"

COMMON_BEGIN_DECLS

/** Results of the functions below. */
enum {
    AbsSET_Success = 0,      /**< done */
    AbsSET_BadArguments = 1, /**< a null argument, or what the function says */
    /** A cursor movement that there is not; no function of the interface asks for one. */
    AbsSET_UnknownPosition = 3,
    /** An index that the set does not have, or a cursor step from the end. */
    AbsSET_InvalidPosition = 4
};

/** Releases a value. */
typedef void (*AbsSET_Release_t)(void* value);

/** One value in its place. */
typedef struct AbsSET_Entry {
    void* value;                /**< never null, but in the sentinel */
    struct AbsSET_Entry* flink; /**< towards the back; the sentinel behind the last entry */
    struct AbsSET_Entry* blink; /**< towards the front; the sentinel before the first entry */
} AbsSET_Entry;

/** The header of a set. It must not be copied or moved while it is in use. */
typedef struct AbsSET {
    AbsSET_Entry* cursor;     /**< the current entry; the sentinel at the end */
    AbsSET_Entry sentinel;    /**< value null, flink the front, blink the back */
    uint32_t size;            /**< entries, without the sentinel */
    AbsSET_Release_t release; /**< null for MEM_Free() */
} AbsSET;

/**
 * Allocates an empty set.
 * @return the set, which the caller ends with AbsSET_Delete(). Null after a failure, reported with
 *         "Failed to allocate memory." or "AbsSET_Initialize() failed - %u".
 */
COMMON_MUST_USE AbsSET* AbsSET_New(void);

/**
 * Makes a caller's header an empty set without a release function. Entries that it may hold are
 * forgotten: neither they nor their values are freed.
 * @param set the header.
 * @return AbsSET_Success; AbsSET_BadArguments for a null set.
 */
uint32_t AbsSET_Initialize(AbsSET* set);

/**
 * The same with a release function.
 * @param set the header.
 * @param release called for each value that the set still holds when it is cleared; null for
 *        MEM_Free().
 * @return AbsSET_Success; AbsSET_BadArguments for a null set.
 */
uint32_t AbsSET_InitializeEx(AbsSET* set, AbsSET_Release_t release);

/**
 * Writes an entry record and links it between two others that are neighbours. It counts nothing:
 * the size of the set stays.
 * @param entry the record.
 * @param next the record that shall follow.
 * @param prev the record that shall come before.
 * @param value the value.
 * @return AbsSET_Success; AbsSET_BadArguments when any of them is null; nothing is written then.
 */
uint32_t AbsSET_InitializeEntry(AbsSET_Entry* entry, AbsSET_Entry* next, AbsSET_Entry* prev,
                                void* value);

/**
 * Pops and releases every value, front first. The release function may use the set, which does not
 * have the value any more: what it pushes is released, too, and another release function that it
 * sets is called for the values that follow.
 * @param set the set.
 * @return AbsSET_Success; AbsSET_BadArguments for a null set.
 */
uint32_t AbsSET_Clear(AbsSET* set);

/**
 * Clears the set and frees the header with MEM_Free().
 * @param set from AbsSET_New().
 * @return AbsSET_Success; AbsSET_BadArguments for a null set; the code of a failed AbsSET_Clear(),
 *         reported with "AbsSET_Clear() failed - %u", and the header is kept.
 */
uint32_t AbsSET_Delete(AbsSET* set);

/**
 * Inserts a value behind the cursor's entry; at the end, as the new front.
 * @param set the set, with less than 2147483647 entries.
 * @param entry storage for the record, which the set owns then; null to have it allocated.
 * @param value not null.
 * @return AbsSET_Success; AbsSET_BadArguments for a null set or value or a full set ("Bad
 *         arguments."); AbsSET_InvalidPosition when the cursor is null ("Invalid index."). After a
 *         failure the set is as it was, and the storage is still the caller's.
 */
uint32_t AbsSET_Push(AbsSET* set, AbsSET_Entry* entry, void* value);

/**
 * Inserts a value as the new front.
 * @param set the set, with less than 2147483647 entries.
 * @param entry storage for the record, or null, as for AbsSET_Push().
 * @param value not null.
 * @return AbsSET_Success; AbsSET_BadArguments as for AbsSET_Push().
 */
uint32_t AbsSET_PushFront(AbsSET* set, AbsSET_Entry* entry, void* value);

/**
 * Inserts a value as the new back.
 * @param set the set, with less than 2147483647 entries.
 * @param entry storage for the record, or null, as for AbsSET_Push().
 * @param value not null.
 * @return AbsSET_Success; AbsSET_BadArguments as for AbsSET_Push().
 */
uint32_t AbsSET_PushBack(AbsSET* set, AbsSET_Entry* entry, void* value);

/**
 * Inserts a value so that it has an index. Walks to it from the front.
 * @param set the set, with less than 2147483647 entries.
 * @param entry storage for the record, or null, as for AbsSET_Push().
 * @param value not null.
 * @param index 0 (the new front) to the size (the new back); -1, -2 and -5 as described above.
 * @return AbsSET_Success; AbsSET_BadArguments as for AbsSET_Push() and when the ring is broken;
 *         AbsSET_InvalidPosition for any other index ("Invalid index: %d.", "The index %d exceeds
 *         the size: %u.").
 */
uint32_t AbsSET_PushIndex(AbsSET* set, AbsSET_Entry* entry, void* value, int32_t index);

/**
 * Gives the cursor's entry.
 * @param set the set.
 * @return the entry, still the set's; the sentinel at the end; null for a null set.
 */
AbsSET_Entry* AbsSET_EntryGet(AbsSET* set);

/** Gives the front entry. @param set the set. @return as AbsSET_EntryGet(). */
AbsSET_Entry* AbsSET_EntryGetFront(AbsSET* set);

/** Gives the back entry. @param set the set. @return as AbsSET_EntryGet(). */
AbsSET_Entry* AbsSET_EntryGetBack(AbsSET* set);

/**
 * Gives the entry with an index. Walks to it from the front.
 * @param set the set.
 * @param index 0 to the size less 1; -1, -2 and -5 as described above.
 * @return the entry, still the set's. Null for a null set, another index ("Invalid index: %d", "The
 *         index %d exceeds the size: %u") or a broken ring ("Bad arguments.").
 */
AbsSET_Entry* AbsSET_EntryGetIndex(AbsSET* set, int32_t index);

/**
 * Gives the value under the cursor.
 * @param set the set.
 * @return the value, still the set's; null at the end, which is not reported, and after a failure,
 *         which is reported once more with "absset_EntryGet() failed.".
 */
void* AbsSET_ValueGet(AbsSET* set);

/** Gives the front value. @param set the set. @return as AbsSET_ValueGet(). */
void* AbsSET_ValueGetFront(AbsSET* set);

/** Gives the back value. @param set the set. @return as AbsSET_ValueGet(). */
void* AbsSET_ValueGetBack(AbsSET* set);

/**
 * Gives the value with an index. Walks to it from the front.
 * @param set the set.
 * @param index as for AbsSET_EntryGetIndex().
 * @return as AbsSET_ValueGet().
 */
void* AbsSET_ValueGetIndex(AbsSET* set, int32_t index);

/**
 * Takes the cursor's entry out; the cursor goes to the entry behind it.
 * @param set the set.
 * @return the record with its value, now the caller's; the sentinel, still the set's, at the end;
 *         null after a failure ("Bad arguments.", "absset_EntryGet() failed.").
 */
AbsSET_Entry* AbsSET_EntryPop(AbsSET* set);

/** Takes the front entry out. @param set the set. @return as AbsSET_EntryPop(). */
AbsSET_Entry* AbsSET_EntryPopFront(AbsSET* set);

/** Takes the back entry out. @param set the set. @return as AbsSET_EntryPop(). */
AbsSET_Entry* AbsSET_EntryPopBack(AbsSET* set);

/**
 * Takes the entry with an index out. Walks to it from the front.
 * @param set the set.
 * @param index as for AbsSET_EntryGetIndex().
 * @return as AbsSET_EntryPop().
 */
AbsSET_Entry* AbsSET_EntryPopIndex(AbsSET* set, int32_t index);

/**
 * Takes the value under the cursor out and frees its record; the cursor goes to the next one.
 * @param set the set.
 * @return the value, now the caller's; null at the end, which is not reported, and after a failure,
 *         which is reported once more with "absset_EntryPop() failed.".
 */
void* AbsSET_ValuePop(AbsSET* set);

/** Takes the front value out. @param set the set. @return as AbsSET_ValuePop(). */
void* AbsSET_ValuePopFront(AbsSET* set);

/** Takes the back value out. @param set the set. @return as AbsSET_ValuePop(). */
void* AbsSET_ValuePopBack(AbsSET* set);

/**
 * Takes the value with an index out. Walks to it from the front.
 * @param set the set.
 * @param index as for AbsSET_EntryGetIndex().
 * @return as AbsSET_ValuePop().
 */
void* AbsSET_ValuePopIndex(AbsSET* set, int32_t index);

/**
 * Takes an entry out, if it is in the set: the record is the caller's then. The cursor goes to the
 * entry behind it, or to the end when it is not found.
 * @param set the set.
 * @param entry the record to look for, front first.
 * @return AbsSET_Success, found or not; AbsSET_BadArguments for a null argument; the code of a
 *         failed cursor step ("AbsSET_IndexBegin() failed - %u.", "AbsSET_IndexNext() failed -
 *         %u.").
 */
uint32_t AbsSET_PopEntry(AbsSET* set, const AbsSET_Entry* entry);

/**
 * Takes the first of the entries with a value out and frees its record; the value is the caller's
 * then. The cursor goes as with AbsSET_PopEntry().
 * @param set the set.
 * @param value the value to look for, front first.
 * @return as AbsSET_PopEntry().
 */
uint32_t AbsSET_PopValue(AbsSET* set, const void* value);

/** Moves the cursor to the front: to the end, if the set is empty.
 * @param set the set.
 * @return AbsSET_Success; AbsSET_BadArguments for a null set. */
uint32_t AbsSET_IndexBegin(AbsSET* set);

/** Moves the cursor to the back: to the end, if the set is empty.
 * @param set the set.
 * @return AbsSET_Success; AbsSET_BadArguments for a null set. */
uint32_t AbsSET_IndexLast(AbsSET* set);

/**
 * Moves the cursor one entry towards the back, from the last one to the end.
 * @param set the set.
 * @return AbsSET_Success; AbsSET_InvalidPosition ("Invalid index.") at the end, where it stays;
 *         AbsSET_BadArguments for a null set.
 */
uint32_t AbsSET_IndexNext(AbsSET* set);

/**
 * Moves the cursor one entry towards the front, from the first one to the end.
 * @param set the set.
 * @return as AbsSET_IndexNext().
 */
uint32_t AbsSET_IndexPrevious(AbsSET* set);

/**
 * Tells whether the cursor is at the end.
 * @param set the set.
 * @return 1 at the end; else 0. 1 for a null set or cursor ("Bad arguments.").
 */
uint32_t AbsSET_IsEnd(const AbsSET* set);

/**
 * Gives the number of entries.
 * @param set the set.
 * @return the size; 0 for a null set.
 */
uint32_t AbsSET_Size(const AbsSET* set);

/**
 * Tells whether the size is 0.
 * @param set the set.
 * @return 1 or 0; 1 for a null set.
 */
uint32_t AbsSET_IsEmpty(const AbsSET* set);

/**
 * Writes the set to the log at Info, a few records for each entry: addresses in hexadecimal, the
 * value as a number, too. Leaves the cursor at the end.
 * @param set the set.
 * @return AbsSET_Success; AbsSET_BadArguments for a null set; the code of a failed step, which is
 *         reported ("absset_EntryInfo() failed - %u", "AbsSET_IndexNext() failed - %u.").
 */
uint32_t AbsSET_Info(AbsSET* set);

COMMON_END_DECLS

#endif
