// The map: what is found, what is hidden, what is freed.
#include "map.h"

#include <cstring>
#include <vector>

#include <gmock/gmock.h>

#include "fault.h"
#include "fresh_process.h"
#include "list_light_support.h"
#include "mem_malloc.h"

using namespace harness;
using testing::ElementsAre;

namespace {

int by_text(const void* key, const void* stored)
{
    return std::strcmp(static_cast<const char*>(key), static_cast<const char*>(stored));
}

class LocalMap {
public:
    explicit LocalMap(Map_Compare_t compare = nullptr) : map_(Map_New(compare)) {}
    LocalMap(const LocalMap&) = delete;
    LocalMap& operator=(const LocalMap&) = delete;
    ~LocalMap() { Map_Delete(map_); }

    operator Map*() const { return map_; }
    Map* operator->() const { return map_; }

    /// Keys and values in turn, oldest pair first.
    std::vector<void*> content() const
    {
        std::vector<void*> all;
        Map_Iterator it{};
        for (Map_Begin(map_, &it); Map_End(map_, &it) == 0; Map_Next(map_, &it)) {
            all.push_back(Map_GetKey(map_, &it));
            all.push_back(Map_GetValue(map_, &it));
        }
        return all;
    }

private:
    Map* map_;
};

TEST(Map, NewMapIsEmpty)
{
    LocalMap map(by_text);
    EXPECT_EQ(map->compare, by_text);
    ASSERT_NE(map->list, nullptr);
    EXPECT_EQ(Map_Size(map), 0U);
    EXPECT_EQ(Map_Find(map, "key"), nullptr);
}

TEST(Map, WithoutAFunctionKeysAreWords)
{
    LocalMap map;
    char first[] = "key";
    char second[] = "key";
    Map_Add(map, first, word(1));
    Map_Add(map, second, word(2));
    EXPECT_EQ(Map_Find(map, first), word(1));
    EXPECT_EQ(Map_Find(map, second), word(2));
    EXPECT_EQ(Map_Find(map, "key"), nullptr);
    EXPECT_EQ(Map_Size(map), 2U);
}

TEST(Map, FunctionComparesTheKeyWithTheStoredOnes)
{
    static const void* asked;
    static std::vector<const void*> compared;
    compared.clear();
    LocalMap map([](const void* key, const void* stored) {
        asked = key;
        compared.push_back(stored);
        return stored == word(2) ? 0 : -1;
    });
    Map_Add(map, word(1), word(11));
    Map_Add(map, word(2), word(12));
    Map_Add(map, word(3), word(13));
    EXPECT_EQ(Map_Find(map, word(9)), word(12));
    EXPECT_EQ(asked, word(9));
    EXPECT_EQ(compared, (std::vector<const void*>{word(1), word(2)})) << "no further than needed";
}

// What follows a pair is settled before the pair is compared, as it is for an iterator.
TEST(Map, FunctionMayRemoveThePairThatItCompares)
{
    static Map* changed;
    static bool removes;
    LocalMap map([](const void* key, const void* stored) {
        if (removes && stored == word(2)) {
            removes = false;
            Map_Remove(changed, word(2));
            return -1;
        }
        return stored == key ? 0 : -1;
    });
    changed = map;
    for (const std::size_t number : {1U, 2U, 3U}) {
        Map_Add(map, word(number), word(10 + number));
    }
    removes = true;
    EXPECT_EQ(Map_Find(map, word(3)), word(13));
    EXPECT_FALSE(removes);
    EXPECT_THAT(map.content(), ElementsAre(word(1), word(11), word(3), word(13)));
}

TEST(Map, PairThatIsAddedWhileTheLastIsComparedIsNotFoundYet)
{
    static Map* changed;
    static int additions;
    LocalMap map([](const void* key, const void* stored) {
        if (stored != word(9)) {
            ++additions;
            Map_Add(changed, word(9), word(19));
        }
        return stored == key ? 0 : -1;
    });
    changed = map;
    additions = 0;
    Map_Add(map, word(1), word(11));
    EXPECT_EQ(Map_Find(map, word(9)), nullptr);
    EXPECT_EQ(additions, 1);
    EXPECT_EQ(Map_Find(map, word(9)), word(19));
}

TEST(Map, FirstOfEqualKeysIsFoundUntilItIsRemoved)
{
    for (const Map_Compare_t compare : {static_cast<Map_Compare_t>(nullptr), by_text}) {
        LocalMap map(compare);
        const char* const key = "key";
        Map_Add(map, key, word(1));
        Map_Add(map, key, word(2));
        EXPECT_EQ(Map_Size(map), 2U);
        EXPECT_EQ(Map_Find(map, key), word(1));
        Map_Remove(map, key);
        EXPECT_EQ(Map_Find(map, key), word(2));
        EXPECT_EQ(Map_Size(map), 1U);
        Map_Remove(map, key);
        EXPECT_EQ(Map_Find(map, key), nullptr);
        EXPECT_EQ(Map_Size(map), 0U);
        Map_Remove(map, key);
        EXPECT_EQ(Map_Size(map), 0U);
    }
}

TEST(Map, NullKeyOrValueAddsNothing)
{
    LocalMap map;
    Map_Add(map, nullptr, word(1));
    Map_Add(map, word(1), nullptr);
    EXPECT_EQ(Map_Size(map), 0U);
}

TEST(Map, RemoveTakesOnePairOut)
{
    LocalMap map;
    for (const std::size_t i : {1U, 2U, 3U}) {
        Map_Add(map, word(i), word(i + 10));
    }
    Map_Remove(map, word(2));
    EXPECT_EQ(map.content(), words({1, 11, 3, 13}));
    Map_Remove(map, word(3));
    Map_Add(map, word(4), word(14));
    EXPECT_EQ(map.content(), words({1, 11, 4, 14}));
}

TEST(Map, LocateGivesAnIteratorOnThePair)
{
    LocalMap map(by_text);
    Map_Add(map, "a", word(1));
    Map_Add(map, "b", word(2));
    Map_Add(map, "b", word(3));
    Map_Iterator* const it = Map_Locate(map, "b");
    ASSERT_NE(it, nullptr);
    EXPECT_EQ(Map_GetValue(map, it), word(2));
    EXPECT_STREQ(static_cast<char*>(Map_GetKey(map, it)), "b");
    Map_Next(map, it);
    EXPECT_EQ(Map_GetValue(map, it), word(3));
    Map_DeleteIterator(it);
}

TEST(Map, LocateOfAnAbsentKeyIsTheEnd)
{
    LocalMap map;
    Map_Add(map, word(1), word(2));
    Map_Iterator* const it = Map_Locate(map, word(3));
    ASSERT_NE(it, nullptr);
    EXPECT_EQ(Map_End(map, it), 1U);
    EXPECT_EQ(Map_GetKey(map, it), nullptr);
    EXPECT_EQ(Map_GetValue(map, it), nullptr);
    Map_DeleteIterator(it);
}

// AddressSanitizer notices an iterator or a pair that is kept.
TEST(Map, EraseRemovesThePairAndTheIterator)
{
    LocalMap map;
    for (const std::size_t i : {1U, 2U, 3U}) {
        Map_Add(map, word(i), word(i + 10));
    }
    Map_Erase(map, Map_Locate(map, word(2)));
    EXPECT_EQ(map.content(), words({1, 11, 3, 13}));
    EXPECT_EQ(Map_Size(map), 2U);
    Map_Erase(map, Map_Locate(map, word(9)));
    Map_Erase(map, Map_NewIterator());
    EXPECT_EQ(Map_Size(map), 2U);
}

FRESH_TEST(Map, IteratorsAreFreed)
{
    LocalMap map;
    const long before = fault::outstanding_blocks();
    Map_DeleteIterator(Map_NewIterator());
    EXPECT_EQ(fault::outstanding_blocks(), before);
    Map_Add(map, word(1), word(2));
    Map_Erase(map, Map_Locate(map, word(1)));
    EXPECT_EQ(fault::outstanding_blocks(), before);
}

// Callers may still read pairs that they kept: only Map_Delete() and the removals free them.
FRESH_TEST(Map, ClearAbandonsThePairsAndDeleteFreesThem)
{
    const long before = fault::outstanding_blocks();
    Map* const map = Map_New(nullptr);
    const long empty = fault::outstanding_blocks();
    Map_Add(map, word(1), word(2));
    Map_Add(map, word(3), word(4));
    EXPECT_EQ(fault::outstanding_blocks(), empty + 4) << "nodes and pairs";
    auto* const first = static_cast<Map_Pair*>(map->list->head->data);
    auto* const second = static_cast<Map_Pair*>(map->list->tail->data);

    Map_Clear(map);
    EXPECT_EQ(Map_Size(map), 0U);
    EXPECT_EQ(fault::outstanding_blocks(), empty + 2) << "the pairs are left";
    EXPECT_EQ(first->key, word(1));
    EXPECT_EQ(second->value, word(4));
    MEM_Free(first);
    MEM_Free(second);

    Map_Add(map, word(5), word(6));
    Map_Delete(map);
    EXPECT_EQ(fault::outstanding_blocks(), before);
}

FRESH_TEST(Map, KeysAndValuesAreTheCallers)
{
    Map* const map = Map_New(by_text);
    char* const key = MEM_StrDup("key");
    char* const text = MEM_StrDup("value");
    Map_Add(map, key, text);
    Map_Remove(map, "key");
    Map_Add(map, key, text);
    Map_Erase(map, Map_Locate(map, "key"));
    Map_Add(map, key, text);
    Map_Delete(map);
    EXPECT_STREQ(key, "key");
    EXPECT_STREQ(text, "value");
    MEM_Free(key);
    MEM_Free(text);
}

// The map's list can hold a node without a pair: callers may put one in.
TEST(Map, NodeWithoutAPairIsPassed)
{
    for (const Map_Compare_t compare : {static_cast<Map_Compare_t>(nullptr), by_text}) {
        LocalMap map(compare);
        ListLight_PushBack(map->list, nullptr);
        Map_Add(map, "key", word(1));
        const void* const key = static_cast<Map_Pair*>(map->list->tail->data)->key;
        EXPECT_EQ(Map_Find(map, key), word(1));
        Map_Iterator* const it = Map_Locate(map, key);
        EXPECT_EQ(Map_GetValue(map, it), word(1));
        Map_Begin(map, it);
        EXPECT_EQ(Map_End(map, it), 0U);
        EXPECT_EQ(Map_GetKey(map, it), nullptr);
        EXPECT_EQ(Map_GetValue(map, it), nullptr);
        Map_DeleteIterator(it);
        Map_Remove(map, key);
        EXPECT_EQ(Map_Size(map), 1U);
    }
}

FRESH_TEST(Map, NullIsIgnored)
{
    LocalMap map;
    Map_Iterator it{};
    Map_Add(nullptr, word(1), word(2));
    EXPECT_EQ(Map_Find(nullptr, word(1)), nullptr);
    EXPECT_EQ(Map_Find(map, nullptr), nullptr);
    EXPECT_EQ(Map_Locate(nullptr, word(1)), nullptr);
    EXPECT_EQ(Map_Locate(map, nullptr), nullptr);
    Map_Remove(nullptr, word(1));
    Map_Remove(map, nullptr);
    Map_Erase(nullptr, &it);
    Map_Erase(map, nullptr);
    Map_Clear(nullptr);
    Map_Delete(nullptr);
    EXPECT_EQ(Map_Size(nullptr), 0U);
    Map_DeleteIterator(nullptr);
    Map_Begin(map, nullptr);
    Map_Next(map, nullptr);
    EXPECT_EQ(Map_End(map, nullptr), 1U);
    EXPECT_EQ(Map_GetKey(map, nullptr), nullptr);
    EXPECT_EQ(Map_GetValue(map, nullptr), nullptr);

    Map_Add(map, word(1), word(2));
    Map_Begin(map, &it);
    ListLight_Node* const node = it.current;
    ASSERT_NE(node, nullptr);
    Map_Begin(nullptr, &it);
    Map_Next(nullptr, &it);
    EXPECT_EQ(it.current, node);
    EXPECT_EQ(Map_End(nullptr, &it), 1U);
    EXPECT_EQ(Map_GetKey(nullptr, &it), nullptr);
    EXPECT_EQ(Map_GetValue(nullptr, &it), nullptr);
}

}  // namespace
