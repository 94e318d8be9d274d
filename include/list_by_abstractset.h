/**
 * @file list_by_abstractset.h
 * A list of values with a cursor: the abstract set (abstract_set.h) for everyday use.
 *
 * A list handle is a pointer to a set's header. The list allocates its records itself and owns the
 * values from the push on: LIST_Clear() and LIST_Delete() release each value still held with the
 * release function of LIST_NewEx(), or with MEM_Free(). A popped value belongs to the caller. Where
 * the cursor goes, what an index may be and what a pop at the end does to the size is as described
 * in abstract_set.h; test LIST_IsEmpty() or LIST_IsEnd() before a pop.
 *
 * Where a function below returns 1 for success, a failure gives 0 and is reported at Error under
 * the module "COMMON" with the set's function and its code ("AbsSET_Push() failed - %u."), after
 * the set's own report of the cause. The getters, pops and questions report through the set alone.
 * A null list is such a failure.
 *
 * There is no lock: callers serialise access to one list.
 */
#ifndef COMMON_LIST_BY_ABSTRACTSET_H
#define COMMON_LIST_BY_ABSTRACTSET_H

#include "abstract_set.h"
#include "common_api.h"

COMMON_BEGIN_DECLS

/** A list. */
typedef AbsSET* LIST;

/**
 * Compares two values for LIST_Sort(), as for qsort(3).
 * @param first, second point to where the values stand: void* const*.
 * @return negative, 0 or positive.
 */
typedef int (*LIST_Compare_t)(const void* first, const void* second);

/**
 * Makes an empty list whose values are released with MEM_Free().
 * @return the list, which the caller ends with LIST_Delete(); null after a failure.
 */
COMMON_MUST_USE LIST LIST_New(void);

/**
 * Makes an empty list with a release function.
 * @param release called for each value that the list still holds when it is cleared; null for
 *        MEM_Free().
 * @return the list, which the caller ends with LIST_Delete(); null after a failure.
 */
COMMON_MUST_USE LIST LIST_NewEx(AbsSET_Release_t release);

/** Releases all values, front first. @param list the list. @return 1 or 0. */
uint32_t LIST_Clear(LIST list);

/** Releases all values and the list. @param list the list. @return 1; 0: it is still there. */
uint32_t LIST_Delete(LIST list);

/** Gives the value under the cursor. @param list the list. @return it, still the list's; null at
 * the end. */
void* LIST_Get(LIST list);

/** Gives the front value. @param list the list. @return it, still the list's; null if empty. */
void* LIST_GetFront(LIST list);

/** Gives the back value. @param list the list. @return it, still the list's; null if empty. */
void* LIST_GetBack(LIST list);

/**
 * Gives the value with an index. Walks to it from the front.
 * @param list the list.
 * @param index 0 to the size less 1.
 * @return the value, still the list's; null for another index, which is reported.
 */
void* LIST_GetIndex(LIST list, int32_t index);

/** Takes the value under the cursor out. @param list the list. @return it, now the caller's; null
 * at the end, which counts the size down all the same. */
void* LIST_Pop(LIST list);

/** Takes the front value out. @param list the list. @return as LIST_Pop(). */
void* LIST_PopFront(LIST list);

/** Takes the back value out. @param list the list. @return as LIST_Pop(). */
void* LIST_PopBack(LIST list);

/**
 * Takes the value with an index out. Walks to it from the front.
 * @param list the list.
 * @param index 0 to the size less 1.
 * @return the value, now the caller's; null for another index, which is reported.
 */
void* LIST_PopIndex(LIST list, int32_t index);

/**
 * Takes the first of the entries with a value out, if there is one. The value is the caller's then.
 * @param list the list.
 * @param value the value, not null.
 * @return 1, found or not; 0 for a null argument.
 */
uint32_t LIST_PopValue(LIST list, const void* value);

/**
 * Inserts a value behind the cursor's entry; at the end, as the new front.
 * @param list the list.
 * @param value not null.
 * @return 1; 0: the value is still the caller's.
 */
uint32_t LIST_Push(LIST list, void* value);

/** Appends a value. @param list the list. @param value not null. @return as LIST_Push(). */
uint32_t LIST_PushBack(LIST list, void* value);

/** Prepends a value. @param list the list. @param value not null. @return as LIST_Push(). */
uint32_t LIST_PushFront(LIST list, void* value);

/**
 * Inserts a value so that it has an index. Walks to it from the front.
 * @param list the list.
 * @param value not null.
 * @param index 0 to the size.
 * @return as LIST_Push().
 */
uint32_t LIST_PushIndex(LIST list, void* value, int32_t index);

/** Moves the cursor to the front. @param list the list. @return 1 or 0. */
uint32_t LIST_IndexBegin(LIST list);

/** Moves the cursor to the back. @param list the list. @return 1 or 0. */
uint32_t LIST_IndexLast(LIST list);

/** Moves the cursor towards the back. @param list the list. @return 1; 0 from the end, where it
 * stays. */
uint32_t LIST_IndexNext(LIST list);

/** Moves the cursor towards the front. @param list the list. @return as LIST_IndexNext(). */
uint32_t LIST_IndexPrevious(LIST list);

/** Writes the list to the log at Info. Leaves the cursor at the end. @param list the list. @return
 * 1 or 0. */
uint32_t LIST_Info(LIST list);

/** Tells whether the size is 0. @param list the list. @return 1 or 0; 1 for null. */
uint32_t LIST_IsEmpty(LIST list);

/** Tells whether the cursor is at the end. @param list the list. @return 1 or 0; 1 for null. */
uint32_t LIST_IsEnd(LIST list);

/** Gives the number of values. @param list the list. @return the size; 0 for null. */
uint32_t LIST_Size(LIST list);

/**
 * Copies the value words of a list to a new one, and never hands a complete copy out: when the
 * walk through the source comes to its end, the copy is deleted, which frees each value with
 * MEM_Free(), although the source still has them in its entries, whatever its release function.
 * Only a copy that a failure cut short is returned. The source's cursor is at the end then.
 * @param source the list; its values come from MEM_Malloc(). Pop them afterwards, and do not use
 *        or release them.
 * @return null after a complete walk, also of an empty list; else the values copied before the
 *         failure (none for a null source), in a list that the caller ends, without the values.
 */
COMMON_MUST_USE LIST LIST_Copy(LIST source);

/**
 * Sorts the values with qsort(3); equal ones are ordered as it leaves them. Every value gets a new
 * record, and the old records are abandoned: they are never freed, so that record pointers that
 * callers kept (AbsSET_EntryGet()) can still be read. A caller that must not lose memory collects
 * the records before the sort and releases them with MEM_Free() afterwards. The cursor is at the
 * end then; the release function stays.
 * @param list the list, of less than 2^32 bytes of value words.
 * @param compare gives the order, and finds the list as it was, with the cursor at the end. What it
 *        pushes is abandoned, too.
 * @return 1; 0 for a null or empty list, a null function, and when a step fails, such as a list
 *         that has more entries than its size says ("%u out of array boundaries [0..%u] should not
 *         happen"), which is left as it is but for the cursor.
 */
uint32_t LIST_Sort(LIST list, LIST_Compare_t compare);

COMMON_END_DECLS

#endif
