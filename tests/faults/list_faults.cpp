// Scenarios of the fault sweep: the list.
#include "scenario.h"

using namespace faults;

namespace {

int numbers[4];

void keep(void* /*value*/) {}

/// A list of the first three numbers, which are not released.
class OfThree {
public:
    OfThree()
    {
        for (int* const number : {numbers, numbers + 1, numbers + 2}) {
            LIST_PushBack(list_, number);
        }
        LIST_IndexBegin(list_);
    }
    ~OfThree() { LIST_Delete(list_); }
    OfThree(const OfThree&) = delete;
    OfThree& operator=(const OfThree&) = delete;

    operator LIST() const { return list_; }

private:
    LIST list_ = LIST_NewEx(keep);
};

SCENARIO(LIST_New, gives("set"), out_of_memory_ends())
{
    LIST list = CALL(LIST_New);
    EXPECT_EQ(LIST_PushBack(list, MEM_Malloc(1)), 1U);
    EXPECT_EQ(LIST_Delete(list), 1U);
}

SCENARIO(LIST_NewEx, gives("set"), out_of_memory_ends())
{
    LIST list = CALL(LIST_NewEx, keep);
    EXPECT_EQ(LIST_PushBack(list, numbers), 1U);
    EXPECT_EQ(LIST_Delete(list), 1U);
}

SCENARIO(LIST_Push, gives("1"), out_of_memory_ends())
{
    const OfThree list;
    CALL(LIST_Push, list, numbers + 3);
    EXPECT_EQ(LIST_GetIndex(list, 1), numbers + 3);
}

SCENARIO(LIST_PushBack, gives("1"), out_of_memory_ends())
{
    const OfThree list;
    CALL(LIST_PushBack, list, numbers + 3);
    EXPECT_EQ(LIST_GetBack(list), numbers + 3);
}

SCENARIO(LIST_PushFront, gives("1"), out_of_memory_ends())
{
    const OfThree list;
    CALL(LIST_PushFront, list, numbers + 3);
    EXPECT_EQ(LIST_GetFront(list), numbers + 3);
}

SCENARIO(LIST_PushIndex, gives("1"), out_of_memory_ends())
{
    const OfThree list;
    CALL(LIST_PushIndex, list, numbers + 3, 2);
    EXPECT_EQ(LIST_GetIndex(list, 2), numbers + 3);
}

/// A copy that is complete is not handed out, and has released its values.
SCENARIO(LIST_Copy, gives("null"), out_of_memory_ends())
{
    LIST list = LIST_NewEx(keep);
    LIST_PushBack(list, MEM_Malloc(1));
    EXPECT_EQ(CALL(LIST_Copy, list), nullptr);
    EXPECT_EQ(LIST_Delete(list), 1U);
}

/// What the sort abandons is the caller's.
SCENARIO(LIST_Sort, gives("1"), out_of_memory_ends())
{
    const OfThree list;
    AbsSET_Entry* records[3];
    for (int i = 0; i < 3; ++i) {
        records[i] = AbsSET_EntryGetIndex(list, i);
    }
    CALL(LIST_Sort, list, [](const void* first, const void* second) {
        return *static_cast<int* const*>(first) < *static_cast<int* const*>(second) ? 1 : -1;
    });
    EXPECT_EQ(LIST_GetFront(list), numbers + 2);
    for (AbsSET_Entry* const record : records) {
        MEM_Free(record);
    }
}

SCENARIO(LIST_Info, gives("1"), Flag::Talks, logging_goes_on())
{
    const OfThree list;
    CALL(LIST_Info, list);
    EXPECT_EQ(LIST_IsEnd(list), 1U);
}

SCENARIO(ListIsLookedAt)
{
    const OfThree list;
    EXPECT_EQ(CALL(LIST_Size, list), 3U);
    EXPECT_EQ(CALL(LIST_IsEmpty, list), 0U);
    EXPECT_EQ(CALL(LIST_Get, list), numbers);
    EXPECT_EQ(CALL(LIST_GetFront, list), numbers);
    EXPECT_EQ(CALL(LIST_GetBack, list), numbers + 2);
    EXPECT_EQ(CALL(LIST_GetIndex, list, 1), numbers + 1);
}

SCENARIO(ListIsWalked)
{
    const OfThree list;
    EXPECT_EQ(CALL(LIST_IndexBegin, list), 1U);
    EXPECT_EQ(CALL(LIST_IndexNext, list), 1U);
    EXPECT_EQ(CALL(LIST_IndexLast, list), 1U);
    EXPECT_EQ(CALL(LIST_IndexPrevious, list), 1U);
    EXPECT_EQ(CALL(LIST_IsEnd, list), 0U);
    EXPECT_EQ(LIST_Get(list), numbers + 1);
}

SCENARIO(ListIsEmptied)
{
    LIST list = LIST_NewEx(keep);
    for (const int number : {0, 1, 2, 3, 0, 1}) {
        LIST_PushBack(list, numbers + number);
    }
    LIST_IndexBegin(list);
    EXPECT_EQ(CALL(LIST_Pop, list), numbers);
    EXPECT_EQ(CALL(LIST_PopFront, list), numbers + 1);
    EXPECT_EQ(CALL(LIST_PopBack, list), numbers + 1);
    EXPECT_EQ(CALL(LIST_PopIndex, list, 1), numbers + 3);
    EXPECT_EQ(CALL(LIST_PopValue, list, numbers + 2), 1U);
    EXPECT_EQ(LIST_Size(list), 1U);
    EXPECT_EQ(CALL(LIST_Clear, list), 1U);
    EXPECT_EQ(LIST_Size(list), 0U);
    EXPECT_EQ(CALL(LIST_Delete, list), 1U);
}

}  // namespace
