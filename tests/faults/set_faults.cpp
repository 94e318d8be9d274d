// Scenarios of the fault sweep: the abstract set.
#include "scenario.h"

using namespace faults;

namespace {

int numbers[4];

/// A set of the first three numbers, which are not released; the cursor is on the first.
struct OfThree : AbsSET {
    OfThree()
    {
        AbsSET_InitializeEx(this, [](void* /*value*/) {});
        for (int* const number : {numbers, numbers + 1, numbers + 2}) {
            AbsSET_PushBack(this, nullptr, number);
        }
        AbsSET_IndexBegin(this);
    }
    ~OfThree() { AbsSET_Clear(this); }
    OfThree(const OfThree&) = delete;
    OfThree& operator=(const OfThree&) = delete;
};

SCENARIO(AbsSET_New, gives("set"), out_of_memory_ends())
{
    AbsSET* const set = CALL(AbsSET_New);
    EXPECT_EQ(AbsSET_PushBack(set, nullptr, MEM_Malloc(1)), AbsSET_Success);
    EXPECT_EQ(AbsSET_Delete(set), AbsSET_Success);
}

SCENARIO(AbsSET_Push, gives("0"), out_of_memory_ends())
{
    OfThree set;
    CALL(AbsSET_Push, &set, nullptr, numbers + 3);
    EXPECT_EQ(AbsSET_ValueGetIndex(&set, 1), numbers + 3);
}

SCENARIO(AbsSET_PushBack, gives("0"), out_of_memory_ends())
{
    OfThree set;
    CALL(AbsSET_PushBack, &set, nullptr, numbers + 3);
    EXPECT_EQ(AbsSET_ValueGetBack(&set), numbers + 3);
}

SCENARIO(AbsSET_PushFront, gives("0"), out_of_memory_ends())
{
    OfThree set;
    CALL(AbsSET_PushFront, &set, nullptr, numbers + 3);
    EXPECT_EQ(AbsSET_ValueGetFront(&set), numbers + 3);
}

SCENARIO(AbsSET_PushIndex, gives("0"), out_of_memory_ends())
{
    OfThree set;
    CALL(AbsSET_PushIndex, &set, nullptr, numbers + 3, 2);
    EXPECT_EQ(AbsSET_ValueGetIndex(&set, 2), numbers + 3);
}

SCENARIO(AbsSET_Info, gives("0"), Flag::Talks, logging_goes_on())
{
    OfThree set;
    CALL(AbsSET_Info, &set);
    EXPECT_EQ(AbsSET_IsEnd(&set), 1U);
}

SCENARIO(SetIsMade)
{
    AbsSET set;
    EXPECT_EQ(CALL(AbsSET_Initialize, &set), AbsSET_Success);
    EXPECT_EQ(CALL(AbsSET_InitializeEx, &set, MEM_Free), AbsSET_Success);
    AbsSET_Entry entry;
    EXPECT_EQ(CALL(AbsSET_InitializeEntry, &entry, &set.sentinel, &set.sentinel, numbers),
              AbsSET_Success);
    EXPECT_EQ(AbsSET_EntryGetFront(&set), &entry);
}

SCENARIO(SetIsLookedAt)
{
    OfThree set;
    EXPECT_EQ(CALL(AbsSET_Size, &set), 3U);
    EXPECT_EQ(CALL(AbsSET_IsEmpty, &set), 0U);
    EXPECT_EQ(CALL(AbsSET_ValueGet, &set), numbers);
    EXPECT_EQ(CALL(AbsSET_ValueGetFront, &set), numbers);
    EXPECT_EQ(CALL(AbsSET_ValueGetBack, &set), numbers + 2);
    EXPECT_EQ(CALL(AbsSET_ValueGetIndex, &set, 1), numbers + 1);
    EXPECT_EQ(CALL(AbsSET_EntryGet, &set)->value, numbers);
    EXPECT_EQ(CALL(AbsSET_EntryGetFront, &set)->value, numbers);
    EXPECT_EQ(CALL(AbsSET_EntryGetBack, &set)->value, numbers + 2);
    EXPECT_EQ(CALL(AbsSET_EntryGetIndex, &set, 1)->value, numbers + 1);
}

SCENARIO(SetIsWalked)
{
    OfThree set;
    EXPECT_EQ(CALL(AbsSET_IndexBegin, &set), AbsSET_Success);
    EXPECT_EQ(CALL(AbsSET_IndexNext, &set), AbsSET_Success);
    EXPECT_EQ(CALL(AbsSET_IndexLast, &set), AbsSET_Success);
    EXPECT_EQ(CALL(AbsSET_IndexPrevious, &set), AbsSET_Success);
    EXPECT_EQ(CALL(AbsSET_IsEnd, &set), 0U);
    EXPECT_EQ(AbsSET_ValueGet(&set), numbers + 1);
}

SCENARIO(SetGivesEntries)
{
    OfThree set;
    AbsSET_Entry own;
    AbsSET_PushBack(&set, &own, numbers + 3);
    AbsSET_Entry* const popped[] = {CALL(AbsSET_EntryPop, &set),
                                    CALL(AbsSET_EntryPopIndex, &set, 1)};
    EXPECT_EQ(CALL(AbsSET_EntryPopBack, &set), &own);
    AbsSET_Entry* const last = CALL(AbsSET_EntryPopFront, &set);
    EXPECT_EQ(AbsSET_Size(&set), 0U);
    AbsSET_PushBack(&set, &own, numbers);
    EXPECT_EQ(CALL(AbsSET_PopEntry, &set, &own), AbsSET_Success);
    EXPECT_EQ(AbsSET_Size(&set), 0U);
    for (AbsSET_Entry* const entry : {popped[0], popped[1], last}) {
        MEM_Free(entry);
    }
}

SCENARIO(SetGivesValues)
{
    OfThree set;
    AbsSET_PushBack(&set, nullptr, numbers + 3);
    AbsSET_PushBack(&set, nullptr, numbers);
    EXPECT_EQ(CALL(AbsSET_ValuePop, &set), numbers);
    EXPECT_EQ(CALL(AbsSET_ValuePopFront, &set), numbers + 1);
    EXPECT_EQ(CALL(AbsSET_ValuePopBack, &set), numbers);
    EXPECT_EQ(CALL(AbsSET_ValuePopIndex, &set, 1), numbers + 3);
    EXPECT_EQ(CALL(AbsSET_PopValue, &set, numbers + 2), AbsSET_Success);
    EXPECT_EQ(AbsSET_Size(&set), 0U);
}

SCENARIO(SetIsEnded)
{
    AbsSET* const set = AbsSET_New();
    AbsSET_PushBack(set, nullptr, MEM_Malloc(1));
    EXPECT_EQ(CALL(AbsSET_Clear, set), AbsSET_Success);
    EXPECT_EQ(AbsSET_Size(set), 0U);
    AbsSET_PushBack(set, nullptr, MEM_Malloc(1));
    EXPECT_EQ(CALL(AbsSET_Delete, set), AbsSET_Success);
}

}  // namespace
