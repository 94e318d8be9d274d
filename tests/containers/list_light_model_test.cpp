// The light list and the map against plain models: vectors.
#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

#include "list_light_support.h"
#include "map.h"
#include "model_seeds.h"

namespace {

constexpr std::size_t kOperations = 20'000;
constexpr std::size_t kMost = 40;

using Words = std::vector<void*>;

Words::iterator place(Words& model, std::size_t index)
{
    return model.begin() + static_cast<std::ptrdiff_t>(index);
}

/// Removes, or inserts before, the node with an index; `uncounted` follows what was erased.
void step_at(Choices& choices, const LightList& list, Words& model, std::uint32_t& uncounted)
{
    const std::size_t index = choices.below(model.size() + 1);
    const bool at_end = index == model.size();
    ListLight_Iterator it = list.at(index);
    switch (choices.below(model.size() < kMost ? 6 : 2)) {
    case 0:
        EXPECT_EQ(ListLight_Extract(list, &it), at_end ? nullptr : model[index]);
        break;
    case 1:
        ListLight_EraseEntry(list, &it, nullptr);
        uncounted += at_end ? 0 : 1;
        break;
    default: {
        void* const data = word(choices.below(50));
        const bool refused = index == 0 && !at_end;
        EXPECT_EQ(ListLight_Insert(list, &it, data), refused ? 0U : 1U);
        if (!refused) {
            model.insert(place(model, index), data);
            EXPECT_EQ(ListLight_GetEntryData(list, &it), data);
        }
        return;
    }
    }
    if (!at_end) {
        model.erase(place(model, index));
        ListLight_Next(list, &it);
        EXPECT_EQ(ListLight_GetEntryData(list, &it),
                  index == model.size() ? nullptr : model[index]);
    }
}

void step(Choices& choices, const LightList& list, Words& model, std::uint32_t& uncounted)
{
    void* const data = word(choices.below(50));
    switch (choices.below(model.size() < kMost ? 10 : 6)) {
    case 0:
        EXPECT_EQ(ListLight_PopFront(list), model.empty() ? nullptr : model.front());
        model.erase(model.begin(), place(model, model.empty() ? 0 : 1));
        break;
    case 1:
        EXPECT_EQ(ListLight_PopBack(list), model.empty() ? nullptr : model.back());
        model.erase(place(model, model.empty() ? 0 : model.size() - 1), model.end());
        break;
    case 2:
        ListLight_Sort(list, by_address);
        model.resize(model.size() + uncounted);
        uncounted = 0;
        std::sort(model.begin(), model.end());
        break;
    case 3: {
        ListLight* const copy = ListLight_Copy(list);
        EXPECT_EQ(data_of(*copy), model);
        EXPECT_EQ(ListLight_Size(copy), model.size());
        ListLight_Delete(copy, nullptr);
        break;
    }
    case 4:
    case 5:
        step_at(choices, list, model, uncounted);
        break;
    case 6:
        ListLight_PushFront(list, data);
        model.insert(model.begin(), data);
        break;
    case 7:
        if (choices.below(50) == 0) {
            ListLight_Clear(list, nullptr);
            model.clear();
            uncounted = 0;
        }
        break;
    default:
        ListLight_PushBack(list, data);
        model.push_back(data);
        break;
    }
}

void run_list(std::uint32_t seed)
{
    Choices choices(seed);
    LightList list;
    Words model;
    std::uint32_t uncounted = 0;
    for (std::size_t i = 0; i < kOperations && !testing::Test::HasFailure(); ++i) {
        SCOPED_TRACE("operation " + std::to_string(i));
        step(choices, list, model, uncounted);
        ASSERT_EQ(list.data(), model);
        ASSERT_EQ(ListLight_Size(list), model.size() + uncounted);
        ASSERT_EQ(ListLight_Front(list), model.empty() ? nullptr : model.front());
        ASSERT_EQ(ListLight_Back(list), model.empty() ? nullptr : model.back());
    }
}

TEST(ListLightModel, FixedSeed)
{
    run_list(kFixedSeed);
}

TEST(ListLightModel, SeedOfThisRun)
{
    run_list(seed_of_this_run());
}

// ----------------------------------------------------------------------------------------- map

using Pairs = std::vector<std::pair<void*, void*>>;

/// Two keys match when their addresses differ by a multiple of 16 bytes.
int by_remainder(const void* key, const void* stored)
{
    return static_cast<int>((static_cast<const char*>(key) - static_cast<const char*>(stored)) %
                            16);
}

void step(Choices& choices, Map* map, Pairs& model)
{
    void* const key = word(1 + choices.below(60));
    const auto found = std::find_if(model.begin(), model.end(), [&](const auto& pair) {
        return map->compare == nullptr ? pair.first == key : map->compare(key, pair.first) == 0;
    });
    switch (choices.below(model.size() < kMost ? 8 : 4)) {
    case 0:
        Map_Remove(map, key);
        break;
    case 1: {
        Map_Iterator* const it = Map_Locate(map, key);
        EXPECT_EQ(Map_End(map, it), found == model.end() ? 1U : 0U);
        EXPECT_EQ(Map_GetKey(map, it), found == model.end() ? nullptr : found->first);
        Map_Erase(map, it);
        break;
    }
    case 2:
    case 3:
        EXPECT_EQ(Map_Find(map, key), found == model.end() ? nullptr : found->second);
        return;
    default: {
        void* const value = word(1 + choices.below(1'000));
        Map_Add(map, key, value);
        model.emplace_back(key, value);
        return;
    }
    }
    if (found != model.end()) {
        model.erase(found);
    }
}

void run_map(std::uint32_t seed, Map_Compare_t compare)
{
    Choices choices(seed);
    Map* const map = Map_New(compare);
    Pairs model;
    for (std::size_t i = 0; i < kOperations / 4 && !testing::Test::HasFailure(); ++i) {
        SCOPED_TRACE("operation " + std::to_string(i));
        step(choices, map, model);
        Pairs content;
        Map_Iterator it{};
        for (Map_Begin(map, &it); Map_End(map, &it) == 0; Map_Next(map, &it)) {
            content.emplace_back(Map_GetKey(map, &it), Map_GetValue(map, &it));
        }
        EXPECT_EQ(content, model);
        EXPECT_EQ(Map_Size(map), model.size());
    }
    Map_Delete(map);
}

TEST(MapModel, FixedSeed)
{
    run_map(kFixedSeed, nullptr);
    run_map(kFixedSeed, by_remainder);
}

TEST(MapModel, SeedOfThisRun)
{
    run_map(seed_of_this_run(), nullptr);
    run_map(seed_of_this_run(), by_remainder);
}

}  // namespace
