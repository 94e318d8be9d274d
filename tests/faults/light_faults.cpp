// Scenarios of the fault sweep: the light list and the map.
#include <cstdlib>

#include "scenario.h"

using namespace faults;

namespace {

int numbers[4];

/// A light list of the first three numbers.
class List {
public:
    List()
    {
        for (int* const number : {numbers, numbers + 1, numbers + 2}) {
            ListLight_PushBack(list_, number);
        }
    }
    ~List() { ListLight_Delete(list_, nullptr); }
    List(const List&) = delete;
    List& operator=(const List&) = delete;

    operator ListLight*() const { return list_; }

private:
    ListLight* list_ = ListLight_New();
};

int backwards(const void* first, const void* second)
{
    return *static_cast<int* const*>(first) < *static_cast<int* const*>(second) ? 1 : -1;
}

SCENARIO(ListLight_New, gives("set"), out_of_memory_ends())
{
    ListLight* const list = CALL(ListLight_New);
    ListLight_PushBack(list, numbers);
    EXPECT_EQ(ListLight_PopFront(list), numbers);
    ListLight_Delete(list, nullptr);
}

SCENARIO(ListLight_PushBack, out_of_memory_ends())
{
    const List list;
    CALL(ListLight_PushBack, list, numbers + 3);
    EXPECT_EQ(ListLight_Back(list), numbers + 3);
}

SCENARIO(ListLight_PushFront, out_of_memory_ends())
{
    const List list;
    CALL(ListLight_PushFront, list, numbers + 3);
    EXPECT_EQ(ListLight_Front(list), numbers + 3);
}

SCENARIO(ListLight_Insert, gives("1"), out_of_memory_ends())
{
    const List list;
    ListLight_Iterator it;
    ListLight_Begin(list, &it);
    ListLight_Next(list, &it);
    CALL(ListLight_Insert, list, &it, numbers + 3);
    EXPECT_EQ(ListLight_GetEntryData(list, &it), numbers + 3);
}

SCENARIO(ListLight_Copy, gives("set"), out_of_memory_ends())
{
    const List list;
    ListLight* const copy = CALL(ListLight_Copy, list);
    EXPECT_EQ(ListLight_Size(copy), 3U);
    EXPECT_EQ(ListLight_Back(copy), numbers + 2);
    ListLight_Delete(copy, nullptr);
}

SCENARIO(ListLight_Sort, out_of_memory_ends())
{
    const List list;
    CALL(ListLight_Sort, list, backwards);
    EXPECT_EQ(ListLight_Front(list), numbers + 2);
    EXPECT_EQ(ListLight_Size(list), 3U);
}

SCENARIO(ListLight_NewIterator, gives("set"), out_of_memory_ends())
{
    const List list;
    ListLight_Iterator* const it = CALL(ListLight_NewIterator);
    ListLight_Begin(list, it);
    EXPECT_EQ(ListLight_GetEntryData(list, it), numbers);
    ListLight_DeleteIterator(it);
}

SCENARIO(LightListIsLookedAt)
{
    const List list;
    EXPECT_EQ(CALL(ListLight_Size, list), 3U);
    EXPECT_EQ(CALL(ListLight_Empty, list), 0U);
    EXPECT_EQ(CALL(ListLight_Front, list), numbers);
    EXPECT_EQ(CALL(ListLight_Back, list), numbers + 2);
    ListLight_Iterator it;
    CALL(ListLight_Begin, list, &it);
    CALL(ListLight_Next, list, &it);
    EXPECT_EQ(CALL(ListLight_End, list, &it), 0U);
    EXPECT_EQ(CALL(ListLight_GetEntryData, list, &it), numbers + 1);
}

SCENARIO(LightListIsEmptied)
{
    ListLight* const list = ListLight_New();
    for (int i = 0; i < 6; ++i) {
        ListLight_PushBack(list, MEM_Malloc(1));
    }
    for (void* const data : {CALL(ListLight_PopFront, list), CALL(ListLight_PopBack, list)}) {
        CALL(ListLight_entry_data_memfree_callback, data);
    }
    ListLight_Iterator* const it = ListLight_NewIterator();
    ListLight_Begin(list, it);
    void* const extracted = CALL(ListLight_Extract, list, it);
    CALL(ListLight_entry_data_free_callback, extracted);
    ListLight_Begin(list, it);
    CALL(ListLight_EraseEntry, list, it, MEM_Free);
    CALL(ListLight_DeleteIterator, it);
    EXPECT_EQ(ListLight_Size(list), 3U) << "an erased entry still counts";
    CALL(ListLight_Clear, list, MEM_Free);
    EXPECT_EQ(ListLight_Size(list), 0U);
    CALL(ListLight_Delete, list, MEM_Free);
}

/// A map of the first two numbers, each to the next one.
class Pairs {
public:
    Pairs()
    {
        Map_Add(map_, numbers, numbers + 1);
        Map_Add(map_, numbers + 1, numbers + 2);
    }
    ~Pairs() { Map_Delete(map_); }
    Pairs(const Pairs&) = delete;
    Pairs& operator=(const Pairs&) = delete;

    operator Map*() const { return map_; }

private:
    Map* map_ = Map_New(nullptr);
};

SCENARIO(Map_New, gives("set"), out_of_memory_ends())
{
    Map* const map = CALL(Map_New, nullptr);
    Map_Add(map, numbers, numbers + 1);
    EXPECT_EQ(Map_Find(map, numbers), numbers + 1);
    Map_Delete(map);
}

SCENARIO(Map_Add, out_of_memory_ends())
{
    const Pairs map;
    CALL(Map_Add, map, numbers + 2, numbers + 3);
    EXPECT_EQ(Map_Find(map, numbers + 2), numbers + 3);
}

SCENARIO(Map_Locate, gives("set"), out_of_memory_ends())
{
    const Pairs map;
    Map_Iterator* const it = CALL(Map_Locate, map, numbers + 1);
    EXPECT_EQ(Map_GetValue(map, it), numbers + 2);
    Map_DeleteIterator(it);
}

SCENARIO(Map_NewIterator, gives("set"), out_of_memory_ends())
{
    const Pairs map;
    Map_Iterator* const it = CALL(Map_NewIterator);
    Map_Begin(map, it);
    EXPECT_EQ(Map_GetKey(map, it), numbers);
    Map_DeleteIterator(it);
}

SCENARIO(MapIsLookedAt)
{
    const Pairs map;
    EXPECT_EQ(CALL(Map_Size, map), 2U);
    EXPECT_EQ(CALL(Map_Find, map, numbers + 1), numbers + 2);
    Map_Iterator it;
    CALL(Map_Begin, map, &it);
    CALL(Map_Next, map, &it);
    EXPECT_EQ(CALL(Map_End, map, &it), 0U);
    EXPECT_EQ(CALL(Map_GetKey, map, &it), numbers + 1);
    EXPECT_EQ(CALL(Map_GetValue, map, &it), numbers + 2);
}

SCENARIO(MapIsEmptied)
{
    Map* const map = Map_New(nullptr);
    for (int* const key : {numbers, numbers + 1}) {
        Map_Add(map, key, numbers + 3);
    }
    CALL(Map_Remove, map, numbers);
    Map_Iterator* const unused = Map_NewIterator();
    CALL(Map_DeleteIterator, unused);
    Map_Iterator* const second = Map_Locate(map, numbers + 1);
    CALL(Map_Erase, map, second);
    EXPECT_EQ(Map_Size(map), 0U);
    CALL(Map_Clear, map);
    CALL(Map_Delete, map);
}

}  // namespace
