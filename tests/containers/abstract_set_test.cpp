// The abstract set as it is used: pushes, reads, pops, the cursor, what it owns.
#include "abstract_set.h"

#include <cstdint>
#include <vector>

#include <gmock/gmock.h>

#include "abstract_set_support.h"
#include "heap.h"
#include "mem_malloc.h"

using namespace harness;
using testing::IsEmpty;

namespace {

constexpr std::uint32_t kWrapped = 4294967295;

std::vector<void*> released;

void note_release(void* released_value)
{
    released.push_back(released_value);
}

// -------------------------------------------------------------------------------- a set's life

FRESH_TEST(AbstractSet, NewSetIsEmptyAndReportsNothing)
{
    AbsSET* const set = AbsSET_New();
    ASSERT_NE(set, nullptr);
    EXPECT_EQ(AbsSET_Size(set), 0U);
    EXPECT_EQ(AbsSET_IsEmpty(set), 1U);
    EXPECT_EQ(AbsSET_IsEnd(set), 1U);
    EXPECT_EQ(AbsSET_ValueGet(set), nullptr);
    EXPECT_EQ(AbsSET_ValueGetFront(set), nullptr);
    EXPECT_EQ(AbsSET_ValueGetBack(set), nullptr);
    EXPECT_EQ(AbsSET_EntryGet(set), &set->sentinel);
    EXPECT_EQ(AbsSET_EntryGetFront(set), &set->sentinel);
    EXPECT_EQ(AbsSET_EntryGetBack(set), &set->sentinel);
    EXPECT_EQ(set->release, nullptr);
    EXPECT_EQ(AbsSET_Delete(set), AbsSET_Success);
}

FRESH_TEST(AbstractSet, PoppedEntriesAreGivenBack)
{
    expect_no_leak([] {
        AbsSET* const set = AbsSET_New();
        for (const std::uintptr_t number : {1U, 2U, 3U, 4U}) {
            AbsSET_PushBack(set, nullptr, value(number));
        }
        EXPECT_EQ(AbsSET_ValuePopIndex(set, 1), value(2));
        EXPECT_EQ(AbsSET_IndexBegin(set), AbsSET_Success);
        EXPECT_EQ(AbsSET_ValuePop(set), value(1));
        EXPECT_EQ(AbsSET_ValuePopFront(set), value(3));
        EXPECT_EQ(AbsSET_ValuePopBack(set), value(4));
        EXPECT_EQ(AbsSET_Delete(set), AbsSET_Success);
    });
}

TEST(AbstractSet, InitializeWritesEveryField)
{
    AbsSET set;
    AbsSET_Entry other{};
    set = {&other, {&other, &other, &other}, 7, note_release};
    EXPECT_EQ(AbsSET_Initialize(&set), AbsSET_Success);
    EXPECT_EQ(set.cursor, &set.sentinel);
    EXPECT_EQ(set.sentinel.value, nullptr);
    EXPECT_EQ(set.sentinel.flink, &set.sentinel);
    EXPECT_EQ(set.sentinel.blink, &set.sentinel);
    EXPECT_EQ(set.size, 0U);
    EXPECT_EQ(set.release, nullptr);
}

TEST(AbstractSet, InitializeExKeepsTheReleaseFunction)
{
    AbsSET set;
    AbsSET_Entry other{};
    set = {&other, {&other, &other, &other}, 7, nullptr};
    EXPECT_EQ(AbsSET_InitializeEx(&set, note_release), AbsSET_Success);
    EXPECT_EQ(set.cursor, &set.sentinel);
    EXPECT_EQ(ring_of(set), values({}));
    EXPECT_EQ(set.size, 0U);
    EXPECT_EQ(set.release, note_release);
}

// A set set up anew has forgotten its entries.
TEST(AbstractSet, InitializeFreesNothing)
{
    released.clear();
    AbsSET set;
    AbsSET_InitializeEx(&set, note_release);
    AbsSET_PushBack(&set, nullptr, value(1));
    AbsSET_Entry* const forgotten = AbsSET_EntryGetFront(&set);
    AbsSET_InitializeEx(&set, note_release);
    EXPECT_EQ(AbsSET_Clear(&set), AbsSET_Success);
    EXPECT_THAT(released, IsEmpty());
    EXPECT_EQ(forgotten->value, value(1));
    MEM_Free(forgotten);
}

TEST(AbstractSet, ClearReleasesEachValueOnceFrontFirst)
{
    released.clear();
    AbsSET set;
    AbsSET_InitializeEx(&set, note_release);
    for (const std::size_t number : {3U, 1U, 2U, 1U}) {
        AbsSET_PushBack(&set, nullptr, value(number));
    }
    EXPECT_EQ(AbsSET_Clear(&set), AbsSET_Success);
    EXPECT_EQ(released, values({3, 1, 2, 1}));
    EXPECT_EQ(set.size, 0U);
    EXPECT_EQ(ring_of(set), values({}));
    EXPECT_EQ(set.release, note_release) << "the set can be used on";
    EXPECT_EQ(AbsSET_Clear(&set), AbsSET_Success);
    EXPECT_EQ(released.size(), 4U);
}

/// What release functions find and change: the set that is being cleared.
AbsSET* cleared;

TEST(AbstractSet, ReleaseFunctionFindsItsValuePopped)
{
    static std::vector<std::vector<void*>> rings;
    released.clear();
    rings.clear();
    LocalSet set{1, 2, 3};
    cleared = &set;
    set.release = [](void* value) {
        note_release(value);
        rings.push_back(ring_of(*cleared));
        EXPECT_EQ(cleared->size, rings.back().size());
        EXPECT_EQ(cleared->cursor, cleared->sentinel.flink);
    };
    EXPECT_EQ(AbsSET_Clear(&set), AbsSET_Success);
    EXPECT_EQ(released, values({1, 2, 3}));
    EXPECT_THAT(rings, testing::ElementsAre(values({2, 3}), values({3}), values({})));
}

TEST(AbstractSet, ReleaseFunctionMayClearPushAndPop)
{
    released.clear();
    LocalSet set{1, 2, 3, 4, 5};
    cleared = &set;
    set.release = [](void* released_value) {
        note_release(released_value);
        if (released_value == value(1)) {
            EXPECT_EQ(AbsSET_ValuePopBack(cleared), value(5));
            EXPECT_EQ(AbsSET_PushBack(cleared, nullptr, value(6)), AbsSET_Success);
        } else if (released_value == value(2)) {
            EXPECT_EQ(AbsSET_Clear(cleared), AbsSET_Success);
            EXPECT_EQ(released, values({1, 2, 3, 4, 6})) << "the inner one releases the rest";
            EXPECT_EQ(AbsSET_PushFront(cleared, nullptr, value(7)), AbsSET_Success);
        }
    };
    EXPECT_EQ(AbsSET_Clear(&set), AbsSET_Success);
    EXPECT_EQ(released, values({1, 2, 3, 4, 6, 7}));
    EXPECT_EQ(set.size, 0U);
}

TEST(AbstractSet, ReleaseFunctionOfTheMomentIsCalled)
{
    released.clear();
    LocalSet set{1, 2, 3};
    void* const last = MEM_Malloc(8);
    AbsSET_PushBack(&set, nullptr, last);
    cleared = &set;
    set.release = [](void* released_value) {
        cleared->release = [](void* next_value) {
            note_release(next_value);
            if (next_value == value(3)) {
                cleared->release = nullptr;  // MEM_Free() for the last one
            }
        };
        EXPECT_EQ(released_value, value(1));
    };
    EXPECT_EQ(AbsSET_Clear(&set), AbsSET_Success);
    EXPECT_EQ(released, values({2, 3}));
    EXPECT_EQ(set.release, nullptr);
}

// AddressSanitizer notices a value or a record that is kept, or freed twice.
FRESH_TEST(AbstractSet, WithoutAReleaseFunctionValuesAreFreed)
{
    AbsSET* const set = AbsSET_New();
    for (int i = 0; i < 3; ++i) {
        AbsSET_PushFront(set, nullptr, MEM_Malloc(8));
    }
    EXPECT_EQ(AbsSET_Clear(set), AbsSET_Success);
    AbsSET_PushBack(set, nullptr, MEM_Malloc(8));
    EXPECT_EQ(AbsSET_Delete(set), AbsSET_Success);
}

TEST(AbstractSet, DeleteReleasesWhatIsLeft)
{
    released.clear();
    AbsSET* const set = AbsSET_New();
    AbsSET_InitializeEx(set, note_release);
    AbsSET_PushBack(set, nullptr, value(1));
    AbsSET_PushBack(set, nullptr, value(2));
    EXPECT_EQ(AbsSET_ValuePopFront(set), value(1));
    EXPECT_EQ(AbsSET_Delete(set), AbsSET_Success);
    EXPECT_EQ(released, values({2}));
}

// ------------------------------------------------------------------------------------- pushing

TEST(AbstractSet, PushOnAFreshSetGoesToTheFront)
{
    LocalSet set;
    EXPECT_EQ(AbsSET_Push(&set, nullptr, value(1)), AbsSET_Success);
    EXPECT_EQ(AbsSET_Push(&set, nullptr, value(2)), AbsSET_Success);
    EXPECT_EQ(set.ring(), values({2, 1}));
    EXPECT_EQ(AbsSET_IsEnd(&set), 1U);
}

TEST(AbstractSet, PushGoesBehindTheCursorWhichStays)
{
    LocalSet set{1, 2, 3};
    set.go_to(1);
    EXPECT_EQ(AbsSET_Push(&set, nullptr, value(4)), AbsSET_Success);
    EXPECT_EQ(AbsSET_Push(&set, nullptr, value(5)), AbsSET_Success);
    EXPECT_EQ(set.ring(), values({1, 2, 5, 4, 3}));
    EXPECT_EQ(set.at_cursor(), value(2));
    EXPECT_EQ(AbsSET_Size(&set), 5U);
}

TEST(AbstractSet, PushesAtTheEndsLeaveTheCursor)
{
    LocalSet set{1};
    set.go_to(0);
    EXPECT_EQ(AbsSET_PushFront(&set, nullptr, value(2)), AbsSET_Success);
    EXPECT_EQ(AbsSET_PushBack(&set, nullptr, value(3)), AbsSET_Success);
    EXPECT_EQ(AbsSET_PushIndex(&set, nullptr, value(4), 0), AbsSET_Success);
    EXPECT_EQ(set.ring(), values({4, 2, 1, 3}));
    EXPECT_EQ(set.at_cursor(), value(1));
}

TEST(AbstractSet, PushIndexGivesTheIndex)
{
    for (const int index : {0, 1, 2, 3}) {
        LocalSet set{10, 11, 12};
        EXPECT_EQ(AbsSET_PushIndex(&set, nullptr, value(1), index), AbsSET_Success);
        std::vector<void*> expected = values({10, 11, 12});
        expected.insert(expected.begin() + index, value(1));
        EXPECT_EQ(set.ring(), expected) << index;
        EXPECT_EQ(AbsSET_Size(&set), 4U);
    }
}

TEST(AbstractSet, PushIndexTakesTheSelectorsOfFrontBackAndCursor)
{
    LocalSet set{1, 2, 3};
    set.go_to(1);
    EXPECT_EQ(AbsSET_PushIndex(&set, nullptr, value(4), -1), AbsSET_Success);
    EXPECT_EQ(AbsSET_PushIndex(&set, nullptr, value(5), -2), AbsSET_Success);
    EXPECT_EQ(AbsSET_PushIndex(&set, nullptr, value(6), -5), AbsSET_Success);
    EXPECT_EQ(set.ring(), values({4, 1, 2, 6, 3, 5}));
}

TEST(AbstractSet, StorageOfTheCallerIsTheRecord)
{
    LocalSet set{1};
    auto* const front = static_cast<AbsSET_Entry*>(MEM_Malloc(sizeof(AbsSET_Entry)));
    AbsSET_Entry on_the_stack{};
    EXPECT_EQ(AbsSET_PushFront(&set, front, value(2)), AbsSET_Success);
    EXPECT_EQ(AbsSET_PushBack(&set, &on_the_stack, value(3)), AbsSET_Success);
    EXPECT_EQ(set.ring(), values({2, 1, 3}));
    EXPECT_EQ(AbsSET_EntryGetFront(&set), front);
    EXPECT_EQ(AbsSET_EntryPopBack(&set), &on_the_stack);
    EXPECT_EQ(AbsSET_ValuePopFront(&set), value(2)) << "frees the record";
    EXPECT_EQ(set.ring(), values({1}));
}

TEST(AbstractSet, FullSetIsLeftAsItIs)
{
    LocalSet set{1};
    set.size = 0x7FFFFFFE;
    EXPECT_EQ(AbsSET_PushBack(&set, nullptr, value(2)), AbsSET_Success);
    EXPECT_EQ(AbsSET_Size(&set), 0x7FFFFFFFU);
    EXPECT_EQ(AbsSET_PushBack(&set, nullptr, value(3)), AbsSET_BadArguments);
    EXPECT_EQ(set.ring(), values({1, 2}));
    EXPECT_EQ(AbsSET_Size(&set), 0x7FFFFFFFU);
}

// A record linked by hand is in the ring, but the set does not count it.
TEST(AbstractSet, InitializeEntryLinksWithoutCounting)
{
    LocalSet set{1, 2};
    AbsSET_Entry entry{};
    AbsSET_Entry* const front = AbsSET_EntryGetFront(&set);
    EXPECT_EQ(AbsSET_InitializeEntry(&entry, front->flink, front, value(3)), AbsSET_Success);
    EXPECT_EQ(set.ring(), values({1, 3, 2}));
    EXPECT_EQ(AbsSET_Size(&set), 2U);
    // An index counts from the front, whatever the size says is behind it.
    EXPECT_EQ(AbsSET_ValueGetIndex(&set, 1), value(3));
    EXPECT_EQ(AbsSET_ValueGetIndex(&set, 0), value(1));
    EXPECT_EQ(AbsSET_PopEntry(&set, &entry), AbsSET_Success);
    EXPECT_EQ(set.ring(), values({1, 2}));
}

// ------------------------------------------------------------------------------------- reading

TEST(AbstractSet, ReadingMovesAndRemovesNothing)
{
    LocalSet set{1, 2, 3};
    set.go_to(1);
    EXPECT_EQ(AbsSET_ValueGet(&set), value(2));
    EXPECT_EQ(AbsSET_ValueGetFront(&set), value(1));
    EXPECT_EQ(AbsSET_ValueGetBack(&set), value(3));
    EXPECT_EQ(AbsSET_EntryGet(&set)->value, value(2));
    EXPECT_EQ(AbsSET_EntryGetFront(&set)->value, value(1));
    EXPECT_EQ(AbsSET_EntryGetBack(&set)->value, value(3));
    for (const int index : {0, 1, 2}) {
        EXPECT_EQ(AbsSET_ValueGetIndex(&set, index), value(static_cast<std::size_t>(index) + 1));
        EXPECT_EQ(AbsSET_EntryGetIndex(&set, index)->value,
                  value(static_cast<std::size_t>(index) + 1));
    }
    EXPECT_EQ(AbsSET_ValueGetIndex(&set, -1), value(1));
    EXPECT_EQ(AbsSET_ValueGetIndex(&set, -2), value(3));
    EXPECT_EQ(AbsSET_ValueGetIndex(&set, -5), value(2));
    EXPECT_EQ(set.ring(), values({1, 2, 3}));
    EXPECT_EQ(set.at_cursor(), value(2));
}

// ------------------------------------------------------------------------------------- popping

TEST(AbstractSet, ValuePopsMoveTheCursorBehind)
{
    LocalSet set{0, 1, 2, 3, 4, 5};
    set.go_to(2);
    EXPECT_EQ(AbsSET_ValuePop(&set), value(2));
    EXPECT_EQ(set.at_cursor(), value(3));
    EXPECT_EQ(AbsSET_ValuePopFront(&set), value(0));
    EXPECT_EQ(set.at_cursor(), value(1));
    EXPECT_EQ(AbsSET_ValuePopIndex(&set, 2), value(4));
    EXPECT_EQ(set.at_cursor(), value(5));
    EXPECT_EQ(AbsSET_ValuePopBack(&set), value(5));
    EXPECT_EQ(AbsSET_IsEnd(&set), 1U);
    EXPECT_EQ(set.ring(), values({1, 3}));
    EXPECT_EQ(AbsSET_Size(&set), 2U);
}

TEST(AbstractSet, EntryPopsHandTheRecordOut)
{
    LocalSet set{0, 1, 2, 3};
    set.go_to(1);
    AbsSET_Entry* const popped[] = {AbsSET_EntryPop(&set), AbsSET_EntryPopFront(&set),
                                    AbsSET_EntryPopIndex(&set, 1), AbsSET_EntryPopBack(&set)};
    const std::size_t expected[] = {1, 0, 3, 2};
    for (std::size_t i = 0; i < 4; ++i) {
        ASSERT_NE(popped[i], nullptr);
        EXPECT_EQ(popped[i]->value, value(expected[i]));
        MEM_Free(popped[i]);
    }
    EXPECT_EQ(AbsSET_IsEmpty(&set), 1U);
}

TEST(AbstractSet, PopOfAnEmptySetWrapsTheSize)
{
    using Pop = void* (*)(AbsSET*);
    for (const Pop pop : {AbsSET_ValuePop, AbsSET_ValuePopFront, AbsSET_ValuePopBack}) {
        LocalSet set;
        EXPECT_EQ(pop(&set), nullptr);
        EXPECT_EQ(AbsSET_Size(&set), kWrapped);
        EXPECT_EQ(AbsSET_IsEmpty(&set), 0U);
        EXPECT_EQ(AbsSET_IsEnd(&set), 1U);
        EXPECT_EQ(set.ring(), values({}));
    }
    using EntryPop = AbsSET_Entry* (*)(AbsSET*);
    for (const EntryPop pop : {AbsSET_EntryPop, AbsSET_EntryPopFront, AbsSET_EntryPopBack}) {
        LocalSet set;
        EXPECT_EQ(pop(&set), &set.sentinel);
        EXPECT_EQ(AbsSET_Size(&set), kWrapped);
        EXPECT_EQ(set.ring(), values({}));
    }
}

FRESH_TEST(AbstractSet, PopOfAnEmptySetIsNotReported)
{
    LocalSet set;
    EXPECT_EQ(AbsSET_ValuePopFront(&set), nullptr);
}

TEST(AbstractSet, WrappedSizeTakesNoPush)
{
    LocalSet set;
    AbsSET_ValuePopBack(&set);
    EXPECT_EQ(AbsSET_PushBack(&set, nullptr, value(1)), AbsSET_BadArguments);
    EXPECT_EQ(set.ring(), values({}));
    AbsSET_Initialize(&set);
    EXPECT_EQ(AbsSET_PushBack(&set, nullptr, value(1)), AbsSET_Success);
}

// The entries stay as they are and in order; only the count goes down.
TEST(AbstractSet, PopAtTheEndOnlyCountsDown)
{
    LocalSet set{1, 2, 3};
    AbsSET_IndexLast(&set);
    AbsSET_IndexNext(&set);
    EXPECT_EQ(AbsSET_ValuePop(&set), nullptr);
    EXPECT_EQ(AbsSET_Size(&set), 2U);
    EXPECT_EQ(set.ring(), values({1, 2, 3}));
    EXPECT_EQ(set.at_cursor(), value(1)) << "what is behind the end";
    EXPECT_EQ(AbsSET_ValueGetIndex(&set, 0), value(1));
    EXPECT_EQ(AbsSET_ValueGetIndex(&set, 1), value(2)) << "counted from the front";
    EXPECT_EQ(AbsSET_ValueGetIndex(&set, 2), nullptr);
}

TEST(AbstractSet, PopValueTakesTheFirstOfEqualOnes)
{
    LocalSet set{1, 2, 3, 2, 4};
    EXPECT_EQ(AbsSET_PopValue(&set, value(2)), AbsSET_Success);
    EXPECT_EQ(set.ring(), values({1, 3, 2, 4}));
    EXPECT_EQ(set.at_cursor(), value(3));
    EXPECT_EQ(AbsSET_Size(&set), 4U);
    EXPECT_EQ(AbsSET_PopValue(&set, value(4)), AbsSET_Success);
    EXPECT_EQ(AbsSET_IsEnd(&set), 1U);
}

TEST(AbstractSet, PopValueOfAStrangerChangesNothing)
{
    LocalSet set{1, 2};
    set.go_to(0);
    EXPECT_EQ(AbsSET_PopValue(&set, value(9)), AbsSET_Success);
    EXPECT_EQ(set.ring(), values({1, 2}));
    EXPECT_EQ(AbsSET_Size(&set), 2U);
    EXPECT_EQ(AbsSET_IsEnd(&set), 1U);
}

TEST(AbstractSet, PopValueDoesNotReleaseTheValue)
{
    released.clear();
    AbsSET set;
    AbsSET_InitializeEx(&set, note_release);
    AbsSET_PushBack(&set, nullptr, value(1));
    EXPECT_EQ(AbsSET_PopValue(&set, value(1)), AbsSET_Success);
    EXPECT_THAT(released, IsEmpty());
}

TEST(AbstractSet, PopEntryTakesTheRecordAndNoOther)
{
    LocalSet set{1, 2, 2, 3};
    AbsSET_Entry* const second = AbsSET_EntryGetIndex(&set, 2);
    EXPECT_EQ(AbsSET_PopEntry(&set, second), AbsSET_Success);
    EXPECT_EQ(set.ring(), values({1, 2, 3}));
    EXPECT_EQ(set.at_cursor(), value(3));
    EXPECT_EQ(AbsSET_PopEntry(&set, second), AbsSET_Success) << "not in it any more";
    EXPECT_EQ(set.ring(), values({1, 2, 3}));
    EXPECT_EQ(AbsSET_IsEnd(&set), 1U);
    EXPECT_EQ(second->value, value(2));
    MEM_Free(second);
}

// -------------------------------------------------------------------------------------- cursor

TEST(AbstractSet, CursorWalksForwardAndBackward)
{
    LocalSet set{1, 2, 3};
    std::vector<void*> seen;
    EXPECT_EQ(AbsSET_IndexBegin(&set), AbsSET_Success);
    for (; AbsSET_IsEnd(&set) == 0; AbsSET_IndexNext(&set)) {
        seen.push_back(AbsSET_ValueGet(&set));
    }
    EXPECT_EQ(AbsSET_IndexLast(&set), AbsSET_Success);
    for (; AbsSET_IsEnd(&set) == 0; AbsSET_IndexPrevious(&set)) {
        seen.push_back(AbsSET_ValueGet(&set));
    }
    EXPECT_EQ(seen, values({1, 2, 3, 3, 2, 1}));
}

TEST(AbstractSet, CursorOfAnEmptySetIsAtTheEnd)
{
    LocalSet set;
    EXPECT_EQ(AbsSET_IndexBegin(&set), AbsSET_Success);
    EXPECT_EQ(AbsSET_IsEnd(&set), 1U);
    EXPECT_EQ(AbsSET_IndexLast(&set), AbsSET_Success);
    EXPECT_EQ(AbsSET_IsEnd(&set), 1U);
}

TEST(AbstractSet, StepFromTheEndStaysThere)
{
    LocalSet set{1, 2};
    AbsSET_IndexLast(&set);
    EXPECT_EQ(AbsSET_IndexNext(&set), AbsSET_Success);
    EXPECT_EQ(AbsSET_IndexNext(&set), AbsSET_InvalidPosition);
    EXPECT_EQ(AbsSET_IndexPrevious(&set), AbsSET_InvalidPosition);
    EXPECT_EQ(AbsSET_IsEnd(&set), 1U);
    AbsSET_IndexBegin(&set);
    EXPECT_EQ(AbsSET_IndexPrevious(&set), AbsSET_Success);
    EXPECT_EQ(AbsSET_IsEnd(&set), 1U);
}

}  // namespace
