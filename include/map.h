/**
 * @file map.h
 * Pairs of a key and a value, looked up one after the other: for a few dozen pairs.
 *
 * The map owns its pairs, never the keys or values. Keys and values are words that are not null; a
 * key matches when the comparison function gives 0 or, without one, when the words are equal. Of
 * pairs with equal keys the oldest is found. The pairs are kept in a ListLight (list_light.h) in
 * the order in which they were added, and iterators are those of that list.
 *
 * Nothing is reported. Invalid arguments are ignored and give null or "the end". Without memory the
 * process ends (mem_malloc.h). There is no lock: callers serialise access to one map.
 */
#ifndef COMMON_MAP_H
#define COMMON_MAP_H

#include "common_api.h"
#include "list_light.h"

COMMON_BEGIN_DECLS

/**
 * Compares a key with that of a pair. What follows the pair is settled by then: while Map_Find()
 * calls it, the function may remove that pair, unless it says that it matches, and a pair that it
 * adds is not found if the last one was being compared. Otherwise it leaves the map as it is.
 * @param key the key that is looked for.
 * @param stored the key of a pair.
 * @return 0 when they match.
 */
typedef int (*Map_Compare_t)(const void* key, const void* stored);

/** A map. */
typedef struct Map {
    ListLight* list;       /**< its data are Map_Pair records */
    Map_Compare_t compare; /**< null: keys match when the words are equal */
} Map;

/** A key and its value. */
typedef struct Map_Pair {
    void* key;   /**< not owned */
    void* value; /**< not owned */
} Map_Pair;

/** A place in a map. */
typedef ListLight_Iterator Map_Iterator;

/** Makes an empty map. @param compare compares keys; null for equal words. @return the map, which
 * the caller ends with Map_Delete(). */
COMMON_MUST_USE Map* Map_New(Map_Compare_t compare);

/**
 * Appends a pair, also when the key is there already: the new pair stays hidden behind the older
 * one until that is removed.
 * @param map null: nothing is done.
 * @param key null: nothing is done. It must stay readable as long as the pair is there.
 * @param value null: nothing is done.
 */
void Map_Add(Map* map, const void* key, void* value);

/** Looks a key up. @param map may be null. @param key may be null. @return the value of the first
 * pair that matches; null when there is none. */
void* Map_Find(const Map* map, const void* key);

/**
 * Looks the place of a key up.
 * @param map the map.
 * @param key the key.
 * @return a new iterator on the first pair that matches, or at the end; the caller releases it with
 *         Map_DeleteIterator() or Map_Erase(). Null when map or key is.
 */
COMMON_MUST_USE Map_Iterator* Map_Locate(const Map* map, const void* key);

/** Removes the first pair that matches, if there is one. @param map may be null. @param key may be
 * null. */
void Map_Remove(Map* map, const void* key);

/**
 * Removes the pair under an iterator, if there is one, and frees the iterator.
 * @param map null: nothing is done.
 * @param it from Map_Locate() or Map_NewIterator(); null: nothing is done.
 */
void Map_Erase(Map* map, Map_Iterator* it);

/**
 * Empties the map, but abandons the pair records: only Map_Delete() and the removals free theirs.
 * Pointers to pairs that callers keep can therefore still be read, and a caller that must not lose
 * memory removes the pairs one by one instead.
 * @param map may be null.
 */
void Map_Clear(Map* map);

/** Frees the pairs and the map. @param map may be null. */
void Map_Delete(Map* map);

/** Gives the number of pairs. @param map may be null. @return the number; 0 for null. */
uint32_t Map_Size(const Map* map);

/** Makes an iterator, at the end. @return the iterator, which the caller releases with
 * Map_DeleteIterator() or Map_Erase(). */
COMMON_MUST_USE Map_Iterator* Map_NewIterator(void);

/** Frees an iterator. @param it may be null. */
void Map_DeleteIterator(Map_Iterator* it);

/** Puts an iterator on the oldest pair; to the end when there is none. @param map null: the
 * iterator stays as it is. @param it may be null. */
void Map_Begin(const Map* map, Map_Iterator* it);

/** Tells whether an iterator is on no pair. @param map the map. @param it the iterator. @return 1
 * or 0; 1 when either is null. */
uint32_t Map_End(const Map* map, const Map_Iterator* it);

/** Moves an iterator to the next pair. @param map null: the iterator stays. @param it may be null.
 */
void Map_Next(const Map* map, Map_Iterator* it);

/** Gives the key under an iterator. @param map may be null. @param it may be null. @return it; null
 * at the end. */
void* Map_GetKey(const Map* map, const Map_Iterator* it);

/** Gives the value under an iterator. @param map may be null. @param it may be null. @return it;
 * null at the end. */
void* Map_GetValue(const Map* map, const Map_Iterator* it);

COMMON_END_DECLS

#endif
