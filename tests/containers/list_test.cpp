// The list as it is used, its copy and its sort.
#include "list_by_abstractset.h"

#include <cstdint>
#include <vector>

#include <gmock/gmock.h>

#include "fault.h"
#include "list_support.h"
#include "mem_malloc.h"

using namespace harness;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::vector<void*> released;

void note_release(void* released_value)
{
    released.push_back(released_value);
}

TEST(List, PushesAndPopsEverywhere)
{
    LocalList list;
    EXPECT_EQ(LIST_IsEmpty(list), 1U);
    EXPECT_EQ(LIST_Push(list, value(1)), 1U);
    EXPECT_EQ(LIST_Push(list, value(2)), 1U) << "at the end: the new front";
    EXPECT_EQ(LIST_PushBack(list, value(3)), 1U);
    EXPECT_EQ(LIST_PushFront(list, value(4)), 1U);
    EXPECT_EQ(LIST_PushIndex(list, value(5), 1), 1U);
    EXPECT_EQ(list.ring(), values({4, 5, 2, 1, 3}));
    EXPECT_EQ(LIST_Size(list), 5U);
    EXPECT_EQ(LIST_IsEmpty(list), 0U);

    EXPECT_EQ(LIST_IndexBegin(list), 1U);
    EXPECT_EQ(LIST_IndexNext(list), 1U);
    EXPECT_EQ(LIST_Push(list, value(6)), 1U);
    EXPECT_EQ(list.ring(), values({4, 5, 6, 2, 1, 3}));
    EXPECT_EQ(LIST_Get(list), value(5));
    EXPECT_EQ(LIST_GetFront(list), value(4));
    EXPECT_EQ(LIST_GetBack(list), value(3));
    EXPECT_EQ(LIST_GetIndex(list, 2), value(6));

    EXPECT_EQ(LIST_Pop(list), value(5));
    EXPECT_EQ(LIST_Get(list), value(6)) << "behind what was popped";
    EXPECT_EQ(LIST_PopFront(list), value(4));
    EXPECT_EQ(LIST_PopBack(list), value(3));
    EXPECT_EQ(LIST_PopIndex(list, 1), value(2));
    EXPECT_EQ(LIST_PopValue(list, value(6)), 1U);
    EXPECT_EQ(LIST_PopValue(list, value(7)), 1U) << "not found is no failure";
    EXPECT_EQ(list.ring(), values({1}));
}

TEST(List, CursorWalksBothWays)
{
    LocalList list{1, 2, 3};
    std::vector<void*> seen;
    EXPECT_EQ(LIST_IndexBegin(list), 1U);
    for (; LIST_IsEnd(list) == 0; LIST_IndexNext(list)) {
        seen.push_back(LIST_Get(list));
    }
    EXPECT_EQ(LIST_IndexLast(list), 1U);
    for (; LIST_IsEnd(list) == 0; LIST_IndexPrevious(list)) {
        seen.push_back(LIST_Get(list));
    }
    EXPECT_EQ(seen, values({1, 2, 3, 3, 2, 1}));
}

TEST(List, PopOfAnEmptyListWrapsTheSize)
{
    LocalList list;
    EXPECT_EQ(LIST_PopFront(list), nullptr);
    EXPECT_EQ(LIST_Size(list), 4294967295U);
}

// AddressSanitizer notices what is not freed.
TEST(List, NewListFreesItsValues)
{
    LIST list = LIST_New();
    EXPECT_EQ(list->release, nullptr);
    EXPECT_EQ(LIST_PushBack(list, MEM_Malloc(8)), 1U);
    EXPECT_EQ(LIST_Clear(list), 1U);
    EXPECT_EQ(LIST_Size(list), 0U);
    EXPECT_EQ(LIST_PushBack(list, MEM_Malloc(8)), 1U);
    EXPECT_EQ(LIST_Delete(list), 1U);
}

TEST(List, NewExKeepsTheReleaseFunction)
{
    released.clear();
    LIST list = LIST_NewEx(note_release);
    LIST_PushBack(list, value(2));
    LIST_PushBack(list, value(1));
    EXPECT_EQ(LIST_Clear(list), 1U);
    EXPECT_EQ(released, values({2, 1}));
    LIST_PushBack(list, value(3));
    EXPECT_EQ(LIST_Delete(list), 1U);
    EXPECT_EQ(released, values({2, 1, 3}));
}

// ---------------------------------------------------------------------------------------- copy

TEST(List, CopyOfAnEmptyListIsNull)
{
    LocalList list;
    EXPECT_EQ(LIST_Copy(list), nullptr);
    EXPECT_EQ(list.ring(), values({}));
}

FRESH_TEST(List, CopyIsNeverHandedOutAndFreesTheValues)
{
    released.clear();
    LIST list = LIST_NewEx(note_release);
    const long before = fault::outstanding_blocks();
    void* const first = MEM_Malloc(8);
    void* const second = MEM_Malloc(8);
    LIST_PushBack(list, first);
    LIST_PushBack(list, second);
    ASSERT_EQ(fault::outstanding_blocks(), before + 4) << "two values, two records";

    EXPECT_EQ(LIST_Copy(list), nullptr);
    EXPECT_EQ(fault::outstanding_blocks(), before + 2) << "the values are freed";
    EXPECT_THAT(released, IsEmpty()) << "but not by the source's function";
    EXPECT_EQ(LIST_IsEnd(list), 1U);
    EXPECT_EQ(LIST_Size(list), 2U);
    EXPECT_EQ(LIST_PopFront(list), first) << "the source still leads to them";
    EXPECT_EQ(LIST_PopFront(list), second);
    LIST_Delete(list);
}

TEST(List, CopyThatFailsToBeginIsEmpty)
{
    const Outcome outcome = well([] {
        LIST copy = LIST_Copy(nullptr);
        ASSERT_NE(copy, nullptr);
        EXPECT_EQ(LIST_Size(copy), 0U);
        LIST_Delete(copy);
    });
    EXPECT_THAT(outcome.log,
                ElementsAre(said("absset_SetIndex", "Bad arguments."),
                            said("LIST_IndexBegin", "AbsSET_IndexBegin() failed - 1.")));
}

TEST(List, CopyIsWhatWasCopiedBeforeAFailure)
{
    const Outcome outcome = well([] {
        LocalList list{1, 2, 3};
        list.records()[2]->value = nullptr;
        LIST copy = LIST_Copy(list);
        ASSERT_NE(copy, nullptr);
        EXPECT_EQ(ring_of(*copy), values({1, 2}));
        EXPECT_EQ(LIST_PopFront(copy), value(1));
        EXPECT_EQ(LIST_PopFront(copy), value(2));
        LIST_Delete(copy);
        EXPECT_EQ(list->cursor, list.records()[2]);
        list.records()[2]->value = value(3);
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("absset_EntryPush", "Bad arguments."),
                                         said("LIST_PushBack", "AbsSET_PushBack() failed - 1.")));
}

// ---------------------------------------------------------------------------------------- sort

TEST(List, SortOrdersTheValues)
{
    LocalList list{3, 1, 2, 1};
    EXPECT_EQ(sort_and_free(list, by_address), 1U);
    EXPECT_EQ(list.ring(), values({1, 1, 2, 3}));
    EXPECT_EQ(LIST_Size(list), 4U);
    EXPECT_EQ(LIST_IsEnd(list), 1U);
}

TEST(List, SortOfOneKeepsIt)
{
    LocalList list{5};
    LIST_IndexBegin(list);
    EXPECT_EQ(sort_and_free(list, by_address), 1U);
    EXPECT_EQ(list.ring(), values({5}));
    EXPECT_EQ(LIST_IsEnd(list), 1U);
}

FRESH_TEST(List, SortWithNothingToSortOrByFails)
{
    LocalList list;
    EXPECT_EQ(LIST_Sort(list, by_address), 0U);
    LIST_PushBack(list, value(1));
    EXPECT_EQ(LIST_Sort(list, nullptr), 0U);
    EXPECT_EQ(list.ring(), values({1}));
}

TEST(List, SortKeepsTheReleaseFunction)
{
    LocalList list{2, 1};
    EXPECT_EQ(sort_and_free(list, by_address), 1U);
    EXPECT_EQ(list->release, keep_value);
}

/// The list that is being sorted, for functions that look at it.
LIST sorted;

TEST(List, SortComparesWhileTheListIsAsItWas)
{
    static int comparisons;
    comparisons = 0;
    LocalList list{3, 1, 2};
    sorted = list;
    EXPECT_EQ(sort_and_free(list,
                            [](const void* first, const void* second) {
                                ++comparisons;
                                EXPECT_EQ(ring_of(*sorted), values({3, 1, 2}));
                                EXPECT_EQ(LIST_Size(sorted), 3U);
                                EXPECT_EQ(LIST_IsEnd(sorted), 1U);
                                return by_address(first, second);
                            }),
              1U);
    EXPECT_GT(comparisons, 1);
    EXPECT_EQ(list.ring(), values({1, 2, 3}));
}

TEST(List, ReleaseFunctionThatTheComparisonSetsIsKept)
{
    LocalList list{2, 1};
    sorted = list;
    EXPECT_EQ(sort_and_free(list,
                            [](const void* first, const void* second) {
                                sorted->release = note_release;
                                return by_address(first, second);
                            }),
              1U);
    EXPECT_EQ(list->release, note_release);
}

// Callers may still read records that they kept, so that the sort frees none.
FRESH_TEST(List, SortAbandonsTheOldRecords)
{
    LocalList list{2, 1};
    const std::vector<AbsSET_Entry*> records = list.records();
    const long before = fault::outstanding_blocks();
    EXPECT_EQ(LIST_Sort(list, by_address), 1U);
    EXPECT_EQ(fault::outstanding_blocks(), before + 2);
    EXPECT_EQ(records[0]->value, value(2));
    EXPECT_EQ(records[1]->value, value(1));
    EXPECT_EQ(records[0]->flink, records[1]);
    MEM_Free(records[0]);
    MEM_Free(records[1]);
}

// The size counts one less than there is after a pop at the end.
TEST(List, SortOfMoreThanTheSizeIsReportedAndLeavesTheList)
{
    const Outcome outcome = well([] {
        LocalList list{3, 2, 1};
        LIST_Pop(list);
        EXPECT_EQ(LIST_Size(list), 2U);
        EXPECT_EQ(LIST_Sort(list, by_address), 0U);
        const long before = fault::outstanding_blocks();  // with what the log keeps
        EXPECT_EQ(LIST_Sort(list, by_address), 0U);
        EXPECT_EQ(fault::outstanding_blocks(), before) << "the array is freed";
        EXPECT_EQ(list.ring(), values({3, 2, 1}));
    });
    const auto report = said("LIST_Sort", "2 out of array boundaries [0..1] should not happen");
    EXPECT_THAT(outcome.log, ElementsAre(report, report));
}

// What the size says and the ring does not have is null, which cannot be pushed.
TEST(List, SortStopsAtAPushThatFails)
{
    const Outcome outcome = well([] {
        LocalList list{2, 1};
        list->size = 3;
        EXPECT_EQ(sort_and_free(list, by_address), 0U);
        EXPECT_EQ(list.ring(), values({})) << "null is the lowest";
        EXPECT_EQ(LIST_Size(list), 0U);
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("absset_EntryPush", "Bad arguments."),
                                         said("LIST_PushBack", "AbsSET_PushBack() failed - 1.")));
}

// Its array would be larger than what can be asked for: as if there were no memory for it.
FRESH_TEST(List, SortOfAWrappedSizeFailsInSilence)
{
    LocalList list;
    LIST_PopBack(list);
    EXPECT_EQ(LIST_Sort(list, by_address), 0U);
    EXPECT_EQ(LIST_Size(list), 4294967295U);
}

}  // namespace
