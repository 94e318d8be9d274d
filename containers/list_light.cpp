#include "list_light.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "mem_malloc.h"

// Components on other compilers and in other languages lay these records out themselves.
static_assert(offsetof(ListLight_Node, data) == 0);
static_assert(offsetof(ListLight_Node, next) == sizeof(void*));
static_assert(sizeof(ListLight_Node) == 2 * sizeof(void*));
static_assert(offsetof(ListLight, head) == 0);
static_assert(offsetof(ListLight, tail) == sizeof(void*));
static_assert(offsetof(ListLight, size) == 2 * sizeof(void*));
static_assert(sizeof(ListLight) == 3 * sizeof(void*));
static_assert(offsetof(ListLight_Iterator, current) == 0);
static_assert(offsetof(ListLight_Iterator, next) == sizeof(void*));
static_assert(offsetof(ListLight_Iterator, previous) == 2 * sizeof(void*));
static_assert(sizeof(ListLight_Iterator) == 3 * sizeof(void*));

namespace common::light_list {
namespace {

/// Null for no memory, which only a replaced allocator gives.
ListLight_Node* new_node(void* data, ListLight_Node* next) noexcept
{
    auto* const node = static_cast<ListLight_Node*>(MEM_Malloc(sizeof(ListLight_Node)));
    if (node != nullptr) [[likely]] {
        *node = {data, next};
    }
    return node;
}

ListLight_Node* next_of(const ListLight_Node* node) noexcept
{
    return node == nullptr ? nullptr : node->next;
}

/// Closes the ring of nodes around the one under the iterator, which is gone, and steps back.
void bridge(ListLight& list, ListLight_Iterator& it) noexcept
{
    it.current = it.previous;
    (it.previous == nullptr ? list.head : it.previous->next) = it.next;
    if (it.next == nullptr) {
        list.tail = it.current;
    }
}

}  // namespace
}  // namespace common::light_list

using namespace common::light_list;

extern "C" {

ListLight* ListLight_New(void)
{
    return static_cast<ListLight*>(MEM_Salloc(sizeof(ListLight)));
}

void ListLight_Clear(ListLight* list, ListLight_Free_t free_data)
{
    if (list == nullptr) {
        return;
    }
    for (ListLight_Node* node = list->head; node != nullptr;) {
        ListLight_Node* const next = node->next;
        if (free_data != nullptr) {
            free_data(node->data);
        }
        node->data = nullptr;
        MEM_Free(node);
        node = next;
    }
    *list = {};
}

void ListLight_Delete(ListLight* list, ListLight_Free_t free_data)
{
    ListLight_Clear(list, free_data);
    MEM_Free(list);
}

uint32_t ListLight_Size(const ListLight* list)
{
    return list == nullptr ? 0 : list->size;
}

uint32_t ListLight_Empty(const ListLight* list)
{
    return ListLight_Size(list) == 0 ? 1 : 0;
}

void ListLight_PushBack(ListLight* list, void* data)
{
    if (list == nullptr) {
        return;
    }
    ListLight_Node* const node = new_node(data, nullptr);
    if (node == nullptr) {
        return;
    }
    (list->tail == nullptr ? list->head : list->tail->next) = node;
    list->tail = node;
    ++list->size;
}

void ListLight_PushFront(ListLight* list, void* data)
{
    if (list == nullptr) {
        return;
    }
    ListLight_Node* const node = new_node(data, list->head);
    if (node == nullptr) {
        return;
    }
    list->head = node;
    if (list->tail == nullptr) {
        list->tail = node;
    }
    ++list->size;
}

void* ListLight_Front(const ListLight* list)
{
    return list == nullptr || list->head == nullptr ? nullptr : list->head->data;
}

void* ListLight_Back(const ListLight* list)
{
    return list == nullptr || list->tail == nullptr ? nullptr : list->tail->data;
}

void* ListLight_PopFront(ListLight* list)
{
    ListLight_Iterator it{};
    ListLight_Begin(list, &it);
    return ListLight_Extract(list, &it);
}

void* ListLight_PopBack(ListLight* list)
{
    ListLight_Iterator it{};
    ListLight_Begin(list, &it);
    while (it.next != nullptr) {
        ListLight_Next(list, &it);
    }
    return ListLight_Extract(list, &it);
}

ListLight_Iterator* ListLight_NewIterator(void)
{
    return static_cast<ListLight_Iterator*>(MEM_Salloc(sizeof(ListLight_Iterator)));
}

void ListLight_DeleteIterator(ListLight_Iterator* it)
{
    MEM_Free(it);
}

void ListLight_Begin(const ListLight* list, ListLight_Iterator* it)
{
    if (list != nullptr && it != nullptr) {
        *it = {list->head, next_of(list->head), nullptr};
    }
}

uint32_t ListLight_End(const ListLight* list, const ListLight_Iterator* it)
{
    return list == nullptr || it == nullptr || it->current == nullptr ? 1 : 0;
}

void ListLight_Next(const ListLight* /*list*/, ListLight_Iterator* it)
{
    if (it != nullptr) {
        *it = {it->next, next_of(it->next), it->current};
    }
}

void* ListLight_GetEntryData(const ListLight* /*list*/, const ListLight_Iterator* it)
{
    return it == nullptr || it->current == nullptr ? nullptr : it->current->data;
}

void* ListLight_Extract(ListLight* list, ListLight_Iterator* it)
{
    if (ListLight_End(list, it) != 0) {
        return nullptr;
    }
    ListLight_Node* const node = it->current;
    void* const data = node->data;
    bridge(*list, *it);
    --list->size;
    MEM_Free(node);  // last: less to keep over the call
    return data;
}

void ListLight_EraseEntry(ListLight* list, ListLight_Iterator* it, ListLight_Free_t free_data)
{
    if (ListLight_End(list, it) != 0) {
        return;
    }
    if (free_data != nullptr) {
        free_data(it->current->data);
    }
    it->current->data = nullptr;
    MEM_Free(it->current);
    bridge(*list, *it);
    // Oddity: the size stays: callers rely on it counting what was erased, too.
    // Test: ListLight.EraseEntryDoesNotCountDown.
}

uint32_t ListLight_Insert(ListLight* list, ListLight_Iterator* it, void* data)
{
    if (list == nullptr) {
        return 0;
    }
    if (it == nullptr) {
        ListLight_PushBack(list, data);
        return 1;
    }
    if (it->current == nullptr) {
        ListLight_Node* const last = list->tail;
        ListLight_PushBack(list, data);
        *it = {list->tail, nullptr, last};
        return 1;
    }
    // Oddity: callers rely on this failing before the first node: they then use
    // ListLight_PushFront(). Test: ListLight.InsertBeforeTheFirstNodeFails.
    if (it->previous == nullptr && (list->head != nullptr || list->tail != nullptr)) {
        return 0;
    }
    ListLight_Node* const node = new_node(data, it->current);
    if (node == nullptr) {
        return 0;
    }
    if (it->previous == nullptr) {
        list->head = node;
        list->tail = node;
    } else {
        it->previous->next = node;
    }
    it->next = it->current;
    it->current = node;
    ++list->size;
    return 1;
}

ListLight* ListLight_Copy(const ListLight* list)
{
    ListLight* const copy = ListLight_New();
    ListLight_Iterator it{};
    for (ListLight_Begin(list, &it); ListLight_End(list, &it) == 0; ListLight_Next(list, &it)) {
        ListLight_PushBack(copy, it.current->data);
    }
    return copy;
}

void ListLight_Sort(ListLight* list, ListLight_Compare_t compare)
{
    const std::uint32_t count = ListLight_Size(list);
    // An array that is too large to be asked for is one that there is no memory for.
    if (count == 0 || compare == nullptr || count > UINT32_MAX / sizeof(void*)) {
        return;
    }
    auto* const words =
        static_cast<void**>(MEM_Salloc(static_cast<std::uint32_t>(count * sizeof(void*))));
    if (words == nullptr) {
        return;
    }
    // Oddity: what an erased entry left in the size is sorted in as null.
    // Test: ListLight.SortFillsUpToTheSize.
    ListLight_Iterator it{};
    ListLight_Begin(list, &it);
    for (std::uint32_t i = 0; i < count && it.current != nullptr; ++i) {
        words[i] = it.current->data;
        ListLight_Next(list, &it);
    }
    ListLight_Clear(list, nullptr);
    std::qsort(words, count, sizeof(void*), compare);
    for (std::uint32_t i = 0; i < count; ++i) {
        ListLight_PushBack(list, words[i]);
    }
    MEM_Free(words);
}

void ListLight_entry_data_free_callback(void* data)
{
    std::free(data);
}

void ListLight_entry_data_memfree_callback(void* data)
{
    MEM_Free(data);
}

}  // extern "C"
