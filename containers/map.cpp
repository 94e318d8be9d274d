#include "map.h"

#include <cstddef>

#include "mem_malloc.h"

// Components on other compilers and in other languages lay these records out themselves.
static_assert(offsetof(Map, list) == 0);
static_assert(offsetof(Map, compare) == sizeof(void*));
static_assert(sizeof(Map) == 2 * sizeof(void*));
static_assert(offsetof(Map_Pair, key) == 0);
static_assert(offsetof(Map_Pair, value) == sizeof(void*));
static_assert(sizeof(Map_Pair) == 2 * sizeof(void*));

namespace common::map {
namespace {

/// Null for a node without a pair.
const Map_Pair* pair_of(const ListLight_Node* node) noexcept
{
    return static_cast<const Map_Pair*>(node->data);
}

/// Puts an iterator on the first pair that matches, or to the end. A node without a pair is passed.
template <typename Matches>
void locate(const ListLight* list, Map_Iterator& it, Matches matches) noexcept
{
    for (ListLight_Begin(list, &it); it.current != nullptr; ListLight_Next(list, &it)) {
        const Map_Pair* const pair = pair_of(it.current);
        if (pair != nullptr && matches(pair->key)) {
            return;
        }
    }
}

Map_Iterator locate(const Map& map, const void* key) noexcept
{
    Map_Iterator it{};
    if (map.compare == nullptr) {
        locate(map.list, it, [=](const void* stored) { return stored == key; });
    } else {
        locate(map.list, it, [&](const void* stored) { return map.compare(key, stored) == 0; });
    }
    return it;
}

/// A chase through the pairs, each of which a caller may hold, change or walk by the list: an index
/// beside them would have to be kept by those, too.
void* find_word(const ListLight_Node* node, const void* key) noexcept
{
    while (node != nullptr) {
        // Ahead of the comparison: the way to the next node is what a lookup waits for.
        const ListLight_Node* const next = node->next;
        const Map_Pair* const pair = pair_of(node);
        if (pair != nullptr) [[likely]] {
            if (pair->key == key) [[unlikely]] {
                return pair->value;
            }
        }
        node = next;
    }
    return nullptr;
}

/// Apart from the lookup of words, which needs no registers saved.
[[gnu::noinline]] void* find_compared(const Map& map, const void* key) noexcept
{
    const Map_Compare_t compare = map.compare;
    for (const ListLight_Node* node = map.list->head; node != nullptr;) {
        // Settled before the function is called, which may change the map: as for an iterator.
        const ListLight_Node* const next = node->next;
        const Map_Pair* const pair = pair_of(node);
        if (pair != nullptr && compare(key, pair->key) == 0) {
            return pair->value;
        }
        node = next;
    }
    return nullptr;
}

}  // namespace
}  // namespace common::map

using namespace common::map;

extern "C" {

Map* Map_New(Map_Compare_t compare)
{
    auto* const map = static_cast<Map*>(MEM_Malloc(sizeof(Map)));
    if (map == nullptr) {
        return nullptr;
    }
    *map = {ListLight_New(), compare};
    if (map->list == nullptr) {
        MEM_Free(map);
        return nullptr;
    }
    return map;
}

void Map_Add(Map* map, const void* key, void* value)
{
    if (map == nullptr || key == nullptr || value == nullptr) {
        return;
    }
    auto* const pair = static_cast<Map_Pair*>(MEM_Malloc(sizeof(Map_Pair)));
    if (pair == nullptr) {
        return;
    }
    *pair = {const_cast<void*>(key), value};
    ListLight_PushBack(map->list, pair);
}

void* Map_Find(const Map* map, const void* key)
{
    if (map == nullptr || key == nullptr) {
        return nullptr;
    }
    return map->compare == nullptr ? find_word(map->list->head, key) : find_compared(*map, key);
}

Map_Iterator* Map_Locate(const Map* map, const void* key)
{
    if (map == nullptr || key == nullptr) {
        return nullptr;
    }
    Map_Iterator* const it = ListLight_NewIterator();
    if (it != nullptr) {
        *it = locate(*map, key);
    }
    return it;
}

void Map_Remove(Map* map, const void* key)
{
    if (map == nullptr || key == nullptr) {
        return;
    }
    Map_Iterator it = locate(*map, key);
    MEM_Free(ListLight_Extract(map->list, &it));
}

void Map_Erase(Map* map, Map_Iterator* it)
{
    if (map == nullptr || it == nullptr) {
        return;
    }
    MEM_Free(ListLight_Extract(map->list, it));
    ListLight_DeleteIterator(it);
}

void Map_Clear(Map* map)
{
    if (map != nullptr) {
        // Oddity: the pairs are not freed: callers keep pointers to them over a clear.
        // Test: Map.ClearAbandonsThePairsAndDeleteFreesThem.
        ListLight_Clear(map->list, nullptr);
    }
}

void Map_Delete(Map* map)
{
    if (map != nullptr) {
        ListLight_Delete(map->list, MEM_Free);
        MEM_Free(map);
    }
}

uint32_t Map_Size(const Map* map)
{
    return map == nullptr ? 0 : ListLight_Size(map->list);
}

Map_Iterator* Map_NewIterator(void)
{
    return ListLight_NewIterator();
}

void Map_DeleteIterator(Map_Iterator* it)
{
    ListLight_DeleteIterator(it);
}

void Map_Begin(const Map* map, Map_Iterator* it)
{
    if (map != nullptr) {
        ListLight_Begin(map->list, it);
    }
}

uint32_t Map_End(const Map* map, const Map_Iterator* it)
{
    return map == nullptr ? 1 : ListLight_End(map->list, it);
}

void Map_Next(const Map* map, Map_Iterator* it)
{
    if (map != nullptr) {
        ListLight_Next(map->list, it);
    }
}

void* Map_GetKey(const Map* map, const Map_Iterator* it)
{
    const Map_Pair* const pair = Map_End(map, it) != 0 ? nullptr : pair_of(it->current);
    return pair == nullptr ? nullptr : pair->key;
}

void* Map_GetValue(const Map* map, const Map_Iterator* it)
{
    const Map_Pair* const pair = Map_End(map, it) != 0 ? nullptr : pair_of(it->current);
    return pair == nullptr ? nullptr : pair->value;
}

}  // extern "C"
