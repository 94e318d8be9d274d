// Failures of steps that never fail by themselves: the steps are replaced by the linker.
#include "list_by_abstractset.h"

#include <cstdint>
#include <cstdio>
#include <string_view>

#include <gmock/gmock.h>

#include "list_support.h"
#include "mem_malloc.h"
#include "replaced.h"

using namespace harness;
using testing::ElementsAre;
using testing::IsEmpty;

REPLACED(AbsSET*, AbsSET_New, ());
REPLACED(std::uint32_t, AbsSET_Initialize, (AbsSET * set));
REPLACED(std::uint32_t, AbsSET_IndexBegin, (AbsSET * set));
REPLACED(std::uint32_t, AbsSET_Clear, (AbsSET * set));
REPLACED(void*, MEM_Salloc, (std::uint32_t size));

namespace {

/// The step that fails in this process; empty for none.
std::string_view failing;

}  // namespace

AbsSET* wrap_AbsSET_New()
{
    return failing == "New" ? nullptr : real_AbsSET_New();
}

std::uint32_t wrap_AbsSET_Initialize(AbsSET* set)
{
    return failing == "Initialize" ? 7 : real_AbsSET_Initialize(set);
}

std::uint32_t wrap_AbsSET_IndexBegin(AbsSET* set)
{
    return failing == "IndexBegin" ? 7 : real_AbsSET_IndexBegin(set);
}

std::uint32_t wrap_AbsSET_Clear(AbsSET* set)
{
    return failing == "Clear" ? 7 : real_AbsSET_Clear(set);
}

void* wrap_MEM_Salloc(std::uint32_t size)
{
    return failing == "Salloc" ? nullptr : real_MEM_Salloc(size);
}

namespace {

/// Runs a body that finds a step failing, and must end well.
Outcome well_with(const char* step, void (*body)(LocalList&))
{
    return well([=] {
        LocalList list{2, 1};
        failing = step;
        body(list);
        failing = {};
    });
}

TEST(ListInternal, NewThatFailsIsNull)
{
    const Outcome outcome = well_with("New", [](LocalList& list) {
        EXPECT_EQ(LIST_New(), nullptr);
        EXPECT_EQ(LIST_Copy(list), nullptr);
        EXPECT_EQ(LIST_IsEnd(list), 1U) << "the walk has not begun";
    });
    EXPECT_THAT(outcome.log, IsEmpty());
}

TEST(ListInternal, NewExOfNothingIsReportedByTheSet)
{
    const Outcome outcome =
        well_with("New", [](LocalList& /*list*/) { EXPECT_EQ(LIST_NewEx(keep_value), nullptr); });
    EXPECT_THAT(outcome.log, ElementsAre(said("AbsSET_InitializeEx", "Bad arguments.")));
}

TEST(ListInternal, DeleteThatCannotClearKeepsTheList)
{
    const Outcome outcome = well_with("Clear", [](LocalList& list) {
        EXPECT_EQ(LIST_Delete(list), 0U);
        EXPECT_EQ(LIST_Clear(list), 0U);
        EXPECT_EQ(list.ring(), values({2, 1}));
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("AbsSET_Delete", "AbsSET_Clear() failed - 7"),
                                         said("LIST_Delete", "AbsSET_Delete() failed - 7."),
                                         said("LIST_Clear", "AbsSET_Clear() failed - 7.")));
}

TEST(ListInternal, SortWithoutMemoryFailsInSilence)
{
    const Outcome outcome = well_with("Salloc", [](LocalList& list) {
        EXPECT_EQ(LIST_Sort(list, by_address), 0U);
        EXPECT_EQ(list.ring(), values({2, 1}));
    });
    EXPECT_THAT(outcome.log, IsEmpty());
}

// AddressSanitizer notices the array when it is kept.
TEST(ListInternal, SortThatCannotBeginLeavesTheList)
{
    const Outcome outcome = well_with("IndexBegin", [](LocalList& list) {
        EXPECT_EQ(LIST_Sort(list, by_address), 0U);
        EXPECT_EQ(list.ring(), values({2, 1}));
    });
    EXPECT_THAT(outcome.log,
                ElementsAre(said("LIST_IndexBegin", "AbsSET_IndexBegin() failed - 7.")));
}

TEST(ListInternal, SortThatCannotInitializeTellsTheListTwice)
{
    const Outcome outcome = well_with("Initialize", [](LocalList& list) {
        EXPECT_EQ(LIST_Sort(list, by_address), 0U);
        EXPECT_EQ(list->release, keep_value);
        EXPECT_EQ(list.ring(), values({2, 1}));
        const auto* const address = static_cast<void*>(static_cast<LIST>(list));
        std::printf("AbsSET_Initialize({%p:%p}) failed:7", address, address);
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("LIST_Sort", outcome.out)));
}

}  // namespace
