// An allocator that refuses, which the usual one never does, put in its place by the linker.
#include <cstdint>

#include <gmock/gmock.h>

#include "heap.h"
#include "list_light_support.h"
#include "map.h"
#include "mem_malloc.h"
#include "replaced.h"

REPLACED(void*, MEM_Malloc, (std::uint32_t size));
REPLACED(void*, MEM_Salloc, (std::uint32_t size));

namespace {

/// How many allocations are granted before one is refused; negative for all.
int granted = -1;

/// The blocks of zeroes that were asked for.
int zeroed = 0;

bool refused()
{
    return granted >= 0 && granted-- == 0;
}

}  // namespace

void* wrap_MEM_Malloc(std::uint32_t size)
{
    return refused() ? nullptr : real_MEM_Malloc(size);
}

void* wrap_MEM_Salloc(std::uint32_t size)
{
    ++zeroed;
    return refused() ? nullptr : real_MEM_Salloc(size);
}

namespace {

TEST(ListLightInternal, NodesAreWrittenOnceNotZeroedBefore)
{
    LightList list;
    zeroed = 0;
    ListLight_PushBack(list, word(1));
    ListLight_PushBack(list, word(3));
    ListLight_PushFront(list, word(0));
    ListLight_Iterator it = list.at(2);
    ListLight_Insert(list, &it, word(2));
    EXPECT_EQ(zeroed, 0);
    EXPECT_EQ(list.data(), words({0, 1, 2, 3}));
}

TEST(ListLightInternal, WithoutMemoryThereIsNoListAndNoIterator)
{
    granted = 0;
    EXPECT_EQ(ListLight_New(), nullptr);
    granted = 0;
    EXPECT_EQ(ListLight_NewIterator(), nullptr);
    LightList list{1};
    granted = 0;
    EXPECT_EQ(ListLight_Copy(list), nullptr);
}

TEST(ListLightInternal, WithoutMemoryPushesDropTheData)
{
    LightList list{1, 2};
    granted = 0;
    ListLight_PushBack(list, word(3));
    granted = 0;
    ListLight_PushFront(list, word(3));
    EXPECT_EQ(list.data(), words({1, 2}));
    EXPECT_EQ(ListLight_Size(list), 2U);
}

TEST(ListLightInternal, WithoutMemoryInsertFailsButNotAtTheEnd)
{
    LightList list{1, 2};
    ListLight_Iterator it = list.at(1);
    granted = 0;
    EXPECT_EQ(ListLight_Insert(list, &it, word(3)), 0U);
    EXPECT_EQ(it.current->data, word(2));
    ListLight_Iterator end = list.at(2);
    granted = 0;
    EXPECT_EQ(ListLight_Insert(list, &end, word(3)), 1U) << "also when the push failed";
    EXPECT_EQ(end.current, list->tail);
    EXPECT_EQ(end.previous, list->tail);
    EXPECT_EQ(list.data(), words({1, 2}));
}

TEST(ListLightInternal, WithoutMemorySortDoesNothing)
{
    LightList list{2, 1};
    granted = 0;
    ListLight_Sort(list, by_address);
    EXPECT_EQ(list.data(), words({2, 1}));
}

TEST(MapInternal, MapWithoutAListKeepsNoMemory)
{
    harness::expect_no_leak([] {
        granted = 1;
        EXPECT_EQ(Map_New(nullptr), nullptr);
    });
}

TEST(MapInternal, WithoutMemoryThereIsNoMapAndNothingIsAdded)
{
    granted = 0;
    EXPECT_EQ(Map_New(nullptr), nullptr);
    granted = 1;
    EXPECT_EQ(Map_New(nullptr), nullptr) << "without a list";
    Map* const map = Map_New(nullptr);
    granted = 0;
    Map_Add(map, word(1), word(2));
    EXPECT_EQ(Map_Size(map), 0U);
    granted = 0;
    EXPECT_EQ(Map_Locate(map, word(1)), nullptr);
    Map_Delete(map);
}

}  // namespace
