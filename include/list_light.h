/**
 * @file list_light.h
 * A minimal singly linked list of data words, with iterators beside it.
 *
 * The list owns its nodes, never the data: who ends a list with data to release passes a function
 * for it. A data word may be null. Iterators are records of their own, also on the caller's stack;
 * one that rests on a node, or in front of it, stays good until another one, or the list, changes
 * that place.
 *
 * Nothing is reported. Invalid arguments are ignored and give 0, null or "the end". Without memory
 * the process ends (mem_malloc.h). There is no lock: callers serialise access to one list.
 */
#ifndef COMMON_LIST_LIGHT_H
#define COMMON_LIST_LIGHT_H

#include "common_api.h"

COMMON_BEGIN_DECLS

/** A node: one data word in its place. */
typedef struct ListLight_Node {
    void* data;                  /**< not owned */
    struct ListLight_Node* next; /**< null behind the last one */
} ListLight_Node;

/** A list. */
typedef struct ListLight {
    ListLight_Node* head; /**< null when there is no node */
    ListLight_Node* tail; /**< null when there is no node */
    uint32_t size;        /**< nodes, and one more for each ListLight_EraseEntry() */
} ListLight;

/** A place in a list. */
typedef struct ListLight_Iterator {
    ListLight_Node* current;  /**< null at the end */
    ListLight_Node* next;     /**< what followed `current` when the iterator came there */
    ListLight_Node* previous; /**< null at the front */
} ListLight_Iterator;

/** Releases a data word. */
typedef void (*ListLight_Free_t)(void* data);

/**
 * Compares two data words for ListLight_Sort(), as for qsort(3).
 * @param first, second point to where the words stand: void* const*.
 * @return negative, 0 or positive.
 */
typedef int (*ListLight_Compare_t)(const void* first, const void* second);

/** Makes an empty list. @return the list, which the caller ends with ListLight_Delete(). */
COMMON_MUST_USE ListLight* ListLight_New(void);

/**
 * Removes all nodes, front first, and sets the size to 0.
 * @param list may be null.
 * @param free_data called with each data word, and not to use the list but for its size, which
 * stays until the end; null to leave the data alone.
 */
void ListLight_Clear(ListLight* list, ListLight_Free_t free_data);

/** Clears the list and frees it. @param list may be null. @param free_data as for
 * ListLight_Clear(). */
void ListLight_Delete(ListLight* list, ListLight_Free_t free_data);

/** Gives the size. @param list may be null. @return the size; 0 for null. */
uint32_t ListLight_Size(const ListLight* list);

/** Tells whether the size is 0. @param list may be null. @return 1 or 0; 1 for null. */
uint32_t ListLight_Empty(const ListLight* list);

/** Appends a data word. @param list null drops the word. @param data any word. */
void ListLight_PushBack(ListLight* list, void* data);

/** Prepends a data word. @param list null drops the word. @param data any word. */
void ListLight_PushFront(ListLight* list, void* data);

/** Gives the first data word. @param list may be null. @return it; null when there is no node. */
void* ListLight_Front(const ListLight* list);

/** Gives the last data word. @param list may be null. @return it; null when there is no node. */
void* ListLight_Back(const ListLight* list);

/** Removes the first node. @param list may be null. @return its data; null when there is none. */
void* ListLight_PopFront(ListLight* list);

/** Removes the last node; walks to it. @param list may be null. @return its data; null when there
 * is none. */
void* ListLight_PopBack(ListLight* list);

/** Makes an iterator, at the end. @return the iterator, which the caller releases with
 * ListLight_DeleteIterator(). */
COMMON_MUST_USE ListLight_Iterator* ListLight_NewIterator(void);

/** Frees an iterator. @param it from ListLight_NewIterator(), or null. */
void ListLight_DeleteIterator(ListLight_Iterator* it);

/** Puts an iterator on the first node; to the end when there is none. @param list null: the
 * iterator stays as it is. @param it may be null. */
void ListLight_Begin(const ListLight* list, ListLight_Iterator* it);

/** Tells whether an iterator is on no node. @param list the list. @param it the iterator. @return 1
 * or 0; 1 when either is null. */
uint32_t ListLight_End(const ListLight* list, const ListLight_Iterator* it);

/** Moves an iterator to the node that followed when it came to its place. @param list not used.
 * @param it may be null. */
void ListLight_Next(const ListLight* list, ListLight_Iterator* it);

/** Gives the data under an iterator. @param list not used. @param it may be null. @return it; null
 * at the end. */
void* ListLight_GetEntryData(const ListLight* list, const ListLight_Iterator* it);

/**
 * Removes the node under an iterator, which then rests on the node before it, so that
 * ListLight_Next() leads to the node that followed. Behind the first node that was removed, the
 * iterator is at the end until then. Move it before the next removal or insertion.
 * @param list the list.
 * @param it an iterator of this list.
 * @return the node's data; null when an argument is, and at the end.
 */
void* ListLight_Extract(ListLight* list, ListLight_Iterator* it);

/**
 * Removes the node under an iterator like ListLight_Extract(), but does not count it: the size
 * stays one too high, which callers that keep count of all they ever stored rely on.
 * @param list the list.
 * @param it an iterator of this list; nothing is done at the end.
 * @param free_data called with the node's data while the node is still there, and not to change the
 *        list; null to leave the data alone.
 */
void ListLight_EraseEntry(ListLight* list, ListLight_Iterator* it, ListLight_Free_t free_data);

/**
 * Inserts a data word before the node under an iterator, which then rests on the new node. Before
 * the first node it always fails: ListLight_PushFront() is for that. At the end it appends.
 * @param list the list.
 * @param it an iterator of this list; null appends.
 * @param data any word.
 * @return 1; 0 for a null list and before the first node.
 */
uint32_t ListLight_Insert(ListLight* list, ListLight_Iterator* it, void* data);

/** Copies the data words to a new list. @param list may be null, which gives an empty list.
 * @return the copy, which the caller ends with ListLight_Delete(). */
COMMON_MUST_USE ListLight* ListLight_Copy(const ListLight* list);

/**
 * Sorts the data words with qsort(3); equal ones are ordered as it leaves them. All nodes are new
 * then. A size that is too high (ListLight_EraseEntry()) counts here: for each node missing, a null
 * word is sorted in.
 * @param list null or empty: nothing is done.
 * @param compare gives the order, and finds the list empty; null: nothing is done.
 */
void ListLight_Sort(ListLight* list, ListLight_Compare_t compare);

/** Releases data with free(3), for the functions above. @param data may be null. */
void ListLight_entry_data_free_callback(void* data);

/** Releases data with MEM_Free(), for the functions above. @param data may be null. */
void ListLight_entry_data_memfree_callback(void* data);

COMMON_END_DECLS

#endif
