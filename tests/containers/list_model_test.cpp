// The list against a plain model: a vector.
#include "list_by_abstractset.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include "common_log_settings.h"
#include "list_support.h"
#include "model_seeds.h"

namespace {

constexpr std::size_t kOperations = 20'000;
constexpr std::size_t kMost = 40;

/// One operation on both; the model is never popped when it is empty.
void step(Choices& choices, const LocalList& list, std::vector<void*>& model)
{
    void* const pushed = value(choices.below(60));
    const std::size_t index = model.empty() ? 0 : choices.below(model.size());
    const auto place = model.begin() + static_cast<std::ptrdiff_t>(index);
    const auto number = static_cast<std::int32_t>(index);
    const std::size_t operation = choices.below(model.size() < kMost ? 10 : 6);
    if (model.empty() && operation < 4) {
        return;
    }
    switch (operation) {
    case 0:
        EXPECT_EQ(LIST_PopFront(list), model.front());
        model.erase(model.begin());
        break;
    case 1:
        EXPECT_EQ(LIST_PopBack(list), model.back());
        model.pop_back();
        break;
    case 2:
        EXPECT_EQ(LIST_PopIndex(list, number), *place);
        model.erase(place);
        break;
    case 3:
        EXPECT_EQ(LIST_GetIndex(list, number), *place);
        break;
    case 4: {
        EXPECT_EQ(LIST_PopValue(list, pushed), 1U);
        const auto found = std::find(model.begin(), model.end(), pushed);
        if (found != model.end()) {
            model.erase(found);
        }
        break;
    }
    case 5:
        EXPECT_EQ(sort_and_free(list, by_address), model.empty() ? 0U : 1U);
        std::sort(model.begin(), model.end());
        break;
    case 6:
        EXPECT_EQ(LIST_PushFront(list, pushed), 1U);
        model.insert(model.begin(), pushed);
        break;
    case 7:
        EXPECT_EQ(LIST_PushIndex(list, pushed, number), 1U);
        model.insert(place, pushed);
        break;
    default:
        EXPECT_EQ(LIST_PushBack(list, pushed), 1U);
        model.push_back(pushed);
        break;
    }
}

void run(std::uint32_t seed)
{
    COMMON_Log_EnableSet(0);
    Choices choices(seed);
    LocalList list;
    std::vector<void*> model;
    for (std::size_t i = 0; i < kOperations && !testing::Test::HasFailure(); ++i) {
        SCOPED_TRACE("operation " + std::to_string(i));
        step(choices, list, model);
        ASSERT_EQ(list.ring(), model);
        ASSERT_EQ(LIST_Size(list), model.size());
        ASSERT_EQ(LIST_GetFront(list), model.empty() ? nullptr : model.front());
        ASSERT_EQ(LIST_GetBack(list), model.empty() ? nullptr : model.back());
    }
}

TEST(ListModel, FixedSeed)
{
    run(kFixedSeed);
}

TEST(ListModel, SeedOfThisRun)
{
    run(seed_of_this_run());
}

}  // namespace
