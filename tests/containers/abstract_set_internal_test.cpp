// Failures of steps that never fail by themselves: the steps are replaced by the linker.
#include "abstract_set.h"

#include <cstdint>
#include <string_view>

#include <gmock/gmock.h>

#include "abstract_set_support.h"
#include "common_log_settings.h"
#include "containers/absset.h"
#include "fresh_process.h"
#include "heap.h"
#include "mem_malloc.h"
#include "replaced.h"

using namespace harness;
using testing::ElementsAre;

REPLACED(std::uint32_t, AbsSET_Initialize, (AbsSET * set));
REPLACED(std::uint32_t, AbsSET_Clear, (AbsSET * set));
REPLACED(std::uint32_t, AbsSET_IndexBegin, (AbsSET * set));
REPLACED(std::uint32_t, AbsSET_IndexNext, (AbsSET * set));
REPLACED(AbsSET_Entry*, AbsSET_EntryGet, (AbsSET * set));
REPLACED(void*, MEM_Malloc, (std::uint32_t size));

namespace {

/// The step that fails in this process; empty for none.
std::string_view failing;

}  // namespace

std::uint32_t wrap_AbsSET_Initialize(AbsSET* set)
{
    return failing == "Initialize" ? 7 : real_AbsSET_Initialize(set);
}

std::uint32_t wrap_AbsSET_Clear(AbsSET* set)
{
    return failing == "Clear" ? 7 : real_AbsSET_Clear(set);
}

std::uint32_t wrap_AbsSET_IndexBegin(AbsSET* set)
{
    return failing == "IndexBegin" ? 7 : real_AbsSET_IndexBegin(set);
}

std::uint32_t wrap_AbsSET_IndexNext(AbsSET* set)
{
    return failing == "IndexNext" ? 7 : real_AbsSET_IndexNext(set);
}

AbsSET_Entry* wrap_AbsSET_EntryGet(AbsSET* set)
{
    return failing == "EntryGet" ? nullptr : real_AbsSET_EntryGet(set);
}

void* wrap_MEM_Malloc(std::uint32_t size)
{
    return failing == "Malloc" ? nullptr : real_MEM_Malloc(size);
}

namespace {

/// Runs a body that finds a step failing, and must end well.
Outcome well_with(const char* step, void (*body)(LocalSet&))
{
    return well([=] {
        LocalSet set{1, 2};
        failing = step;
        body(set);
        failing = {};
    });
}

TEST(AbstractSetInternal, NewWithoutMemoryIsNull)
{
    const Outcome outcome =
        well_with("Malloc", [](LocalSet& /*set*/) { EXPECT_EQ(AbsSET_New(), nullptr); });
    EXPECT_THAT(outcome.log, ElementsAre(said("AbsSET_New", "Failed to allocate memory.")));
}

TEST(AbstractSetInternal, NewThatCannotBeInitialisedIsNull)
{
    const Outcome outcome =
        well_with("Initialize", [](LocalSet& /*set*/) { EXPECT_EQ(AbsSET_New(), nullptr); });
    EXPECT_THAT(outcome.log, ElementsAre(said("AbsSET_New", "AbsSET_Initialize() failed - 7")));
}

FRESH_TEST(AbstractSetInternal, NewThatCannotBeInitialisedKeepsNoMemory)
{
    COMMON_Log_EnableSet(0);
    failing = "Initialize";
    expect_no_leak([] { EXPECT_EQ(AbsSET_New(), nullptr); });
}

TEST(AbstractSetInternal, PushWithoutMemoryLeavesTheSet)
{
    const Outcome outcome = well_with("Malloc", [](LocalSet& set) {
        EXPECT_EQ(AbsSET_PushFront(&set, nullptr, value(3)), AbsSET_BadArguments);
        EXPECT_EQ(set.ring(), values({1, 2}));
        EXPECT_EQ(AbsSET_Size(&set), 2U);
    });
    EXPECT_THAT(outcome.log,
                ElementsAre(said("AbsSET_InitializeEntry", "Bad arguments."),
                            said("absset_EntryPush", "AbsSET_InitializeEntry() failed - 1")));
}

TEST(AbstractSetInternal, DeleteThatCannotClearKeepsTheHeader)
{
    const Outcome outcome = well_with("Clear", [](LocalSet& set) {
        EXPECT_EQ(AbsSET_Delete(&set), 7U);
        EXPECT_EQ(set.ring(), values({1, 2}));
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("AbsSET_Delete", "AbsSET_Clear() failed - 7")));
}

TEST(AbstractSetInternal, SearchesTellWhichStepFailed)
{
    const Outcome first = well_with("IndexBegin", [](LocalSet& set) {
        EXPECT_EQ(AbsSET_PopValue(&set, value(2)), 7U);
        EXPECT_EQ(AbsSET_PopEntry(&set, set.sentinel.blink), 7U);
        EXPECT_EQ(set.ring(), values({1, 2}));
    });
    EXPECT_THAT(first.log, ElementsAre(said("AbsSET_PopValue", "AbsSET_IndexBegin() failed - 7."),
                                       said("AbsSET_PopEntry", "AbsSET_IndexBegin() failed - 7.")));

    const Outcome second = well_with("IndexNext", [](LocalSet& set) {
        EXPECT_EQ(AbsSET_PopValue(&set, value(2)), 7U);
        EXPECT_EQ(AbsSET_PopEntry(&set, set.sentinel.blink), 7U);
        EXPECT_EQ(set.ring(), values({1, 2}));
    });
    EXPECT_THAT(second.log, ElementsAre(said("AbsSET_PopValue", "AbsSET_IndexNext() failed - 7."),
                                        said("AbsSET_PopEntry", "AbsSET_IndexNext() failed - 7.")));
}

TEST(AbstractSetInternal, DumpStopsAtAFailedStep)
{
    const Outcome outcome =
        well_with("IndexNext", [](LocalSet& set) { EXPECT_EQ(AbsSET_Info(&set), 7U); });
    ASSERT_EQ(outcome.log.size(), 12U) << "size, title, sentinel, title, entry, error";
    EXPECT_THAT(outcome.log.back(), said("AbsSET_Info", "AbsSET_IndexNext() failed - 7."));
}

TEST(AbstractSetInternal, DumpStopsAtAMissingEntry)
{
    const Outcome outcome = well_with(
        "EntryGet", [](LocalSet& set) { EXPECT_EQ(AbsSET_Info(&set), AbsSET_BadArguments); });
    ASSERT_EQ(outcome.log.size(), 9U) << "size, title, sentinel, title, two errors";
    EXPECT_THAT(outcome.log[7], said("absset_EntryInfo", "Bad arguments."));
    EXPECT_THAT(outcome.log[8], said("AbsSET_Info", "absset_EntryInfo() failed - 1"));
}

// The interface has a quicker way towards the back.
TEST(AbstractSetInternal, MovesGoOneStep)
{
    LocalSet set{1, 2, 3};
    set.go_to(1);
    EXPECT_EQ(common::set::absset_SetIndex(&set, common::set::kNext), AbsSET_Success);
    EXPECT_EQ(set.at_cursor(), value(3));
    EXPECT_EQ(common::set::absset_SetIndex(&set, common::set::kPrevious), AbsSET_Success);
    EXPECT_EQ(set.at_cursor(), value(2));
}

TEST(AbstractSetInternal, UnknownMovementIsReported)
{
    const Outcome outcome = well([] {
        LocalSet set{1, 2};
        set.go_to(1);
        for (const common::set::Position position : {-6, common::set::kCursor, 0, 1}) {
            EXPECT_EQ(common::set::absset_SetIndex(&set, position), AbsSET_UnknownPosition);
        }
        EXPECT_EQ(set.at_cursor(), value(2));
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("absset_SetIndex", "Unknown index: -6"),
                                         said("absset_SetIndex", "Unknown index: -5"),
                                         said("absset_SetIndex", "Unknown index: 0"),
                                         said("absset_SetIndex", "Unknown index: 1")));
}

}  // namespace
