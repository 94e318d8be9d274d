// The light list and its iterators.
#include "list_light.h"

#include <cstdint>
#include <cstdlib>
#include <vector>

#include <gmock/gmock.h>

#include "fault.h"
#include "fresh_process.h"
#include "list_light_support.h"
#include "mem_malloc.h"

using namespace harness;

namespace {

std::vector<void*> freed;

void note_free(void* data)
{
    freed.push_back(data);
}

/// The list that is being changed, for functions that look at it, and a place in it.
ListLight* changed;
ListLight_Iterator place;

TEST(ListLight, NewListIsEmpty)
{
    LightList list;
    EXPECT_EQ(list->head, nullptr);
    EXPECT_EQ(list->tail, nullptr);
    EXPECT_EQ(ListLight_Size(list), 0U);
    EXPECT_EQ(ListLight_Empty(list), 1U);
    EXPECT_EQ(ListLight_Front(list), nullptr);
    EXPECT_EQ(ListLight_Back(list), nullptr);
    EXPECT_EQ(ListLight_PopFront(list), nullptr);
    EXPECT_EQ(ListLight_PopBack(list), nullptr);
    EXPECT_EQ(ListLight_Size(list), 0U);
}

TEST(ListLight, PushesAtBothEnds)
{
    LightList list;
    ListLight_PushFront(list, word(2));
    EXPECT_EQ(list->tail, list->head);
    ListLight_PushBack(list, word(3));
    ListLight_PushFront(list, word(1));
    EXPECT_EQ(list.data(), words({1, 2, 3}));
    EXPECT_EQ(ListLight_Size(list), 3U);
    EXPECT_EQ(ListLight_Empty(list), 0U);
    EXPECT_EQ(ListLight_Front(list), word(1));
    EXPECT_EQ(ListLight_Back(list), word(3));
}

TEST(ListLight, DataMayBeNull)
{
    LightList list;
    ListLight_PushBack(list, nullptr);
    ListLight_PushBack(list, word(1));
    EXPECT_EQ(list.data(), (std::vector<void*>{nullptr, word(1)}));
    EXPECT_EQ(ListLight_PopFront(list), nullptr);
    EXPECT_EQ(ListLight_Size(list), 1U);
}

TEST(ListLight, PopsAtBothEnds)
{
    LightList list{1, 2, 3, 4};
    EXPECT_EQ(ListLight_PopBack(list), word(4));
    EXPECT_EQ(ListLight_PopFront(list), word(1));
    EXPECT_EQ(list.data(), words({2, 3}));
    EXPECT_EQ(ListLight_Size(list), 2U);
}

TEST(ListLight, PopBackOfOneLeavesNothing)
{
    LightList list{1};
    EXPECT_EQ(ListLight_PopBack(list), word(1));
    EXPECT_EQ(list->head, nullptr);
    EXPECT_EQ(list->tail, nullptr);
    EXPECT_EQ(ListLight_Size(list), 0U);
    ListLight_PushBack(list, word(2));
    EXPECT_EQ(ListLight_PopFront(list), word(2));
    EXPECT_EQ(list->tail, nullptr);
}

TEST(ListLight, ClearFreesEachDataOnceFrontFirst)
{
    freed.clear();
    LightList list{3, 1, 2};
    ListLight_Clear(list, note_free);
    EXPECT_EQ(freed, words({3, 1, 2}));
    EXPECT_EQ(list.data(), words({}));
    EXPECT_EQ(ListLight_Size(list), 0U);
    ListLight_PushBack(list, word(1));
    ListLight_Clear(list, nullptr);
    EXPECT_EQ(freed.size(), 3U);
}

TEST(ListLight, ClearCountsDownAtItsEnd)
{
    static std::vector<std::uint32_t> sizes;
    sizes.clear();
    LightList list{1, 2, 3};
    changed = list;
    ListLight_Clear(list, [](void*) { sizes.push_back(ListLight_Size(changed)); });
    EXPECT_EQ(sizes, (std::vector<std::uint32_t>{3, 3, 3}));
    EXPECT_EQ(ListLight_Size(list), 0U);
}

TEST(ListLight, DeleteFreesTheData)
{
    freed.clear();
    ListLight* const list = ListLight_New();
    ListLight_PushBack(list, word(1));
    ListLight_Delete(list, note_free);
    EXPECT_EQ(freed, words({1}));
}

// AddressSanitizer notices what is not freed.
FRESH_TEST(ListLight, ReadyMadeFunctionsFree)
{
    const long before = fault::outstanding_blocks();
    ListLight* const list = ListLight_New();
    ListLight_PushBack(list, MEM_Malloc(8));
    ListLight_PushBack(list, nullptr);
    ListLight_Clear(list, ListLight_entry_data_memfree_callback);
    ListLight_PushBack(list, MEM_Malloc(8));
    ListLight_PushBack(list, nullptr);
    ListLight_Delete(list, ListLight_entry_data_free_callback);
    EXPECT_EQ(fault::outstanding_blocks(), before);
}

FRESH_TEST(ListLight, NullIsIgnored)
{
    ListLight_Iterator it{};
    ListLight_Clear(nullptr, note_free);
    ListLight_Delete(nullptr, note_free);
    EXPECT_EQ(ListLight_Size(nullptr), 0U);
    EXPECT_EQ(ListLight_Empty(nullptr), 1U);
    ListLight_PushBack(nullptr, word(1));
    ListLight_PushFront(nullptr, word(1));
    EXPECT_EQ(ListLight_Front(nullptr), nullptr);
    EXPECT_EQ(ListLight_Back(nullptr), nullptr);
    EXPECT_EQ(ListLight_PopFront(nullptr), nullptr);
    EXPECT_EQ(ListLight_PopBack(nullptr), nullptr);
    ListLight_DeleteIterator(nullptr);
    EXPECT_EQ(ListLight_Insert(nullptr, &it, word(1)), 0U);
    EXPECT_EQ(ListLight_Insert(nullptr, nullptr, word(1)), 0U);
    ListLight_Sort(nullptr, by_address);
    ListLight_entry_data_free_callback(nullptr);
    ListLight_entry_data_memfree_callback(nullptr);

    LightList list{1};
    ListLight_Begin(list, nullptr);
    EXPECT_EQ(ListLight_End(list, nullptr), 1U);
    ListLight_Next(list, nullptr);
    EXPECT_EQ(ListLight_GetEntryData(list, nullptr), nullptr);
    EXPECT_EQ(ListLight_Extract(list, nullptr), nullptr);
    ListLight_EraseEntry(list, nullptr, note_free);

    it = list.at(0);
    const ListLight_Iterator before = it;
    ListLight_Begin(nullptr, &it);
    EXPECT_EQ(it.current, before.current);
    EXPECT_EQ(ListLight_End(nullptr, &it), 1U);
    EXPECT_EQ(ListLight_Extract(nullptr, &it), nullptr);
    ListLight_EraseEntry(nullptr, &it, note_free);
    EXPECT_EQ(ListLight_GetEntryData(nullptr, &it), word(1)) << "the list is not used";
    ListLight_Next(nullptr, &it);
    EXPECT_EQ(it.previous, before.current);
    EXPECT_EQ(list.data(), words({1}));
}

// ----------------------------------------------------------------------------------- iterators

TEST(ListLight, NewIteratorIsAtTheEnd)
{
    LightList list{1};
    ListLight_Iterator* const it = ListLight_NewIterator();
    EXPECT_EQ(it->current, nullptr);
    EXPECT_EQ(it->next, nullptr);
    EXPECT_EQ(it->previous, nullptr);
    EXPECT_EQ(ListLight_End(list, it), 1U);
    EXPECT_EQ(ListLight_GetEntryData(list, it), nullptr);
    ListLight_DeleteIterator(it);
}

FRESH_TEST(ListLight, ErasedEntryIsFreed)
{
    LightList list{1, 2};
    ListLight_Iterator it;
    ListLight_Begin(list, &it);
    const long before = fault::outstanding_blocks();
    ListLight_EraseEntry(list, &it, nullptr);
    EXPECT_EQ(fault::outstanding_blocks(), before - 1);
}

FRESH_TEST(ListLight, DeletedIteratorIsFreed)
{
    const long before = fault::outstanding_blocks();
    ListLight_Iterator* const it = ListLight_NewIterator();
    EXPECT_EQ(fault::outstanding_blocks(), before + 1);
    ListLight_DeleteIterator(it);
    EXPECT_EQ(fault::outstanding_blocks(), before);
}

TEST(ListLight, IteratorWalksTheList)
{
    LightList list{1, 2, 3};
    ListLight_Iterator it{};
    std::vector<void*> seen;
    for (ListLight_Begin(list, &it); ListLight_End(list, &it) == 0; ListLight_Next(list, &it)) {
        EXPECT_EQ(it.next, it.current->next);
        EXPECT_EQ(it.previous == nullptr, seen.empty());
        if (it.previous != nullptr) {
            EXPECT_EQ(it.previous->data, seen.back());
        }
        seen.push_back(ListLight_GetEntryData(list, &it));
    }
    EXPECT_EQ(seen, words({1, 2, 3}));
    EXPECT_EQ(it.previous, list->tail);
    ListLight_Next(list, &it);
    EXPECT_EQ(ListLight_End(list, &it), 1U);
    EXPECT_EQ(it.previous, nullptr);
}

TEST(ListLight, BeginOfAnEmptyListIsTheEnd)
{
    LightList filled{1};
    ListLight_Iterator it = filled.at(0);
    LightList list;
    ListLight_Begin(list, &it);
    EXPECT_EQ(ListLight_End(list, &it), 1U);
    EXPECT_EQ(it.next, nullptr);
}

// ------------------------------------------------------------------------------------- removing

TEST(ListLight, ExtractOfTheHeadThenNextIsOnTheFormerSecond)
{
    LightList list{1, 2, 3};
    ListLight_Iterator it = list.at(0);
    EXPECT_EQ(ListLight_Extract(list, &it), word(1));
    EXPECT_EQ(ListLight_End(list, &it), 1U) << "until it is moved";
    EXPECT_EQ(ListLight_Extract(list, &it), nullptr);
    ListLight_Next(list, &it);
    EXPECT_EQ(ListLight_GetEntryData(list, &it), word(2));
    EXPECT_EQ(it.current, list->head);
    EXPECT_EQ(list.data(), words({2, 3}));
    EXPECT_EQ(ListLight_Size(list), 2U);
}

TEST(ListLight, ExtractRestsOnTheNodeBefore)
{
    LightList list{1, 2, 3};
    ListLight_Iterator it = list.at(1);
    EXPECT_EQ(ListLight_Extract(list, &it), word(2));
    EXPECT_EQ(it.current, list->head);
    ListLight_Next(list, &it);
    EXPECT_EQ(ListLight_GetEntryData(list, &it), word(3));
    EXPECT_EQ(ListLight_Extract(list, &it), word(3));
    EXPECT_EQ(list->tail, list->head);
    EXPECT_EQ(list.data(), words({1}));
    ListLight_Next(list, &it);
    EXPECT_EQ(ListLight_End(list, &it), 1U);
}

FRESH_TEST(ListLight, ExtractFreesTheNode)
{
    LightList list{1, 2};
    const long before = fault::outstanding_blocks();
    EXPECT_EQ(ListLight_PopFront(list), word(1));
    EXPECT_EQ(fault::outstanding_blocks(), before - 1);
}

TEST(ListLight, ExtractWhileIteratingCanRemoveAll)
{
    LightList list{1, 2, 3, 4};
    std::vector<void*> seen;
    ListLight_Iterator it = list.at(0);
    while (ListLight_End(list, &it) == 0) {
        seen.push_back(ListLight_Extract(list, &it));
        ListLight_Next(list, &it);
    }
    EXPECT_EQ(seen, words({1, 2, 3, 4}));
    EXPECT_EQ(list.data(), words({}));
    EXPECT_EQ(ListLight_Size(list), 0U);
}

TEST(ListLight, EraseEntryDoesNotCountDown)
{
    for (const std::size_t index : {0U, 1U, 2U}) {
        freed.clear();
        LightList list{1, 2, 3};
        ListLight_Iterator it = list.at(index);
        ListLight_Node* const before = it.previous;
        ListLight_EraseEntry(list, &it, note_free);
        EXPECT_EQ(ListLight_Size(list), 3U);
        EXPECT_EQ(freed, words({index + 1}));
        std::vector<void*> expected = words({1, 2, 3});
        expected.erase(expected.begin() + static_cast<std::ptrdiff_t>(index));
        EXPECT_EQ(list.data(), expected);
        EXPECT_EQ(it.current, before);
        ListLight_Next(list, &it);
        EXPECT_EQ(ListLight_GetEntryData(list, &it), index == 2 ? nullptr : word(index + 2));
    }
}

TEST(ListLight, EraseEntryHandsTheDataOverWhileTheNodeIsThere)
{
    for (const std::size_t index : {0U, 1U, 2U}) {
        freed.clear();
        LightList list{1, 2, 3};
        changed = list;
        place = list.at(index);
        ListLight_EraseEntry(list, &place, [](void* data) {
            note_free(data);
            EXPECT_EQ(data_of(*changed), words({1, 2, 3}));
            EXPECT_EQ(ListLight_Size(changed), 3U);
            EXPECT_EQ(ListLight_GetEntryData(changed, &place), data);
        });
        EXPECT_EQ(freed, words({index + 1}));
    }
}

TEST(ListLight, EraseEntryWithoutAFunctionLeavesTheData)
{
    LightList list{1};
    ListLight_Iterator it = list.at(0);
    ListLight_EraseEntry(list, &it, nullptr);
    EXPECT_EQ(list.data(), words({}));
    EXPECT_EQ(ListLight_Size(list), 1U);
    EXPECT_EQ(ListLight_Empty(list), 0U);
    EXPECT_EQ(ListLight_PopFront(list), nullptr);
    ListLight_EraseEntry(list, &it, note_free);
    EXPECT_EQ(ListLight_Size(list), 1U);
}

// ------------------------------------------------------------------------------------ inserting

TEST(ListLight, InsertBeforeTheFirstNodeFails)
{
    LightList list{1, 2};
    ListLight_Iterator it = list.at(0);
    const ListLight_Iterator before = it;
    EXPECT_EQ(ListLight_Insert(list, &it, word(3)), 0U);
    EXPECT_EQ(list.data(), words({1, 2}));
    EXPECT_EQ(ListLight_Size(list), 2U);
    EXPECT_EQ(it.current, before.current);
    EXPECT_EQ(it.next, before.next);
    EXPECT_EQ(it.previous, before.previous);
}

TEST(ListLight, InsertRestsOnTheNewNode)
{
    LightList list{1, 2};
    ListLight_Iterator it = list.at(1);
    ListLight_Node* const old = it.current;
    EXPECT_EQ(ListLight_Insert(list, &it, word(3)), 1U);
    EXPECT_EQ(list.data(), words({1, 3, 2}));
    EXPECT_EQ(ListLight_Size(list), 3U);
    EXPECT_EQ(it.current->data, word(3));
    EXPECT_EQ(it.next, old);
    EXPECT_EQ(it.previous, list->head);
    EXPECT_EQ(ListLight_Insert(list, &it, word(4)), 1U);
    EXPECT_EQ(list.data(), words({1, 4, 3, 2}));
    ListLight_Next(list, &it);
    EXPECT_EQ(ListLight_GetEntryData(list, &it), word(3));
}

TEST(ListLight, InsertAtTheEndAppendsAndRestsThere)
{
    LightList list{1};
    ListLight_Iterator it = list.at(1);
    EXPECT_EQ(ListLight_Insert(list, &it, word(2)), 1U);
    EXPECT_EQ(list.data(), words({1, 2}));
    EXPECT_EQ(it.current, list->tail);
    EXPECT_EQ(it.next, nullptr);
    EXPECT_EQ(it.previous, list->head);
    EXPECT_EQ(ListLight_Size(list), 2U);
}

TEST(ListLight, InsertIntoAnEmptyListAppends)
{
    LightList list;
    ListLight_Iterator it = list.at(0);
    EXPECT_EQ(ListLight_Insert(list, &it, word(1)), 1U);
    EXPECT_EQ(list.data(), words({1}));
    EXPECT_EQ(it.current, list->head);
    EXPECT_EQ(it.previous, nullptr);
}

TEST(ListLight, InsertWithoutAnIteratorAppends)
{
    LightList list{1};
    EXPECT_EQ(ListLight_Insert(list, nullptr, word(2)), 1U);
    EXPECT_EQ(list.data(), words({1, 2}));
}

// An iterator can rest on a node that is not, or no longer, in the list.
TEST(ListLight, InsertBeforeAStrangersNodeIsTheOnlyNodeOfAnEmptyList)
{
    LightList list;
    ListLight_Node stranger{word(9), nullptr};
    ListLight_Iterator it{&stranger, nullptr, nullptr};
    EXPECT_EQ(ListLight_Insert(list, &it, word(1)), 1U);
    EXPECT_EQ(list->head, it.current);
    EXPECT_EQ(list->tail, it.current);
    EXPECT_EQ(it.next, &stranger);
    EXPECT_EQ(it.current->next, &stranger);
    EXPECT_EQ(ListLight_Size(list), 1U);
    it.current->next = nullptr;
}

TEST(ListLight, InsertBeforeAStrangersNodeOfAListWithNothingButATailFails)
{
    LightList list;
    ListLight_Node stranger{word(9), nullptr};
    ListLight_Iterator it{&stranger, nullptr, nullptr};
    list->tail = &stranger;
    EXPECT_EQ(ListLight_Insert(list, &it, word(1)), 0U);
    EXPECT_EQ(list->head, nullptr);
    EXPECT_EQ(it.current, &stranger);
    list->tail = nullptr;
}

// --------------------------------------------------------------------------------- copy and sort

TEST(ListLight, CopyHasTheSameData)
{
    LightList list{2, 1, 2};
    ListLight* const copy = ListLight_Copy(list);
    EXPECT_EQ(data_of(*copy), words({2, 1, 2}));
    EXPECT_EQ(ListLight_Size(copy), 3U);
    EXPECT_NE(copy->head, list->head);
    EXPECT_EQ(list.data(), words({2, 1, 2}));
    ListLight_Delete(copy, nullptr);
}

TEST(ListLight, CopyOfNothingIsEmpty)
{
    LightList list;
    for (ListLight* const source :
         {static_cast<ListLight*>(list), static_cast<ListLight*>(nullptr)}) {
        ListLight* const copy = ListLight_Copy(source);
        ASSERT_NE(copy, nullptr);
        EXPECT_EQ(ListLight_Size(copy), 0U);
        ListLight_Delete(copy, nullptr);
    }
}

TEST(ListLight, CopyCountsItsOwnNodes)
{
    LightList list{1, 2};
    ListLight_Iterator it = list.at(0);
    ListLight_EraseEntry(list, &it, nullptr);
    ListLight* const copy = ListLight_Copy(list);
    EXPECT_EQ(ListLight_Size(copy), 1U);
    ListLight_Delete(copy, nullptr);
}

TEST(ListLight, SortOrdersTheData)
{
    LightList list{3, 1, 2, 1};
    ListLight_Sort(list, by_address);
    EXPECT_EQ(list.data(), words({1, 1, 2, 3}));
    EXPECT_EQ(ListLight_Size(list), 4U);
}

FRESH_TEST(ListLight, SortWithNothingToSortOrByDoesNothing)
{
    LightList list{2, 1};
    LightList empty;
    fault::reset();
    ListLight_Sort(list, nullptr);
    ListLight_Sort(empty, by_address);
    EXPECT_EQ(fault::calls(fault::Call::malloc), 0);
    EXPECT_EQ(list.data(), words({2, 1}));
}

FRESH_TEST(ListLight, SortKeepsNoMemory)
{
    LightList list{2, 1, 3};
    const long before = fault::outstanding_blocks();
    ListLight_Sort(list, by_address);
    EXPECT_EQ(fault::outstanding_blocks(), before);
}

TEST(ListLight, SortComparesWhileTheListIsEmpty)
{
    static int comparisons;
    comparisons = 0;
    LightList list{3, 1, 2};
    changed = list;
    ListLight_Sort(list, [](const void* first, const void* second) {
        ++comparisons;
        EXPECT_EQ(data_of(*changed), words({}));
        EXPECT_EQ(ListLight_Size(changed), 0U);
        return by_address(first, second);
    });
    EXPECT_GT(comparisons, 1);
    EXPECT_EQ(list.data(), words({1, 2, 3}));
}

// What the size counts and the list does not have is sorted in as null.
TEST(ListLight, SortFillsUpToTheSize)
{
    LightList list{3, 2, 1};
    ListLight_Iterator it = list.at(1);
    ListLight_EraseEntry(list, &it, nullptr);
    ListLight_Sort(list, by_address);
    EXPECT_EQ(list.data(), (std::vector<void*>{nullptr, word(1), word(3)}));
    EXPECT_EQ(ListLight_Size(list), 3U);
}

TEST(ListLight, SortOfAnAbsurdSizeDoesNothing)
{
    LightList list{2, 1};
    list->size = UINT32_MAX;
    ListLight_Sort(list, by_address);
    EXPECT_EQ(list.data(), words({2, 1}));
    EXPECT_EQ(ListLight_Size(list), UINT32_MAX);
}

}  // namespace
