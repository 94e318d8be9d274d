// What the list reports: the set's function and its code, after the set's own report.
#include "list_by_abstractset.h"

#include <cstdint>
#include <ostream>
#include <string>

#include <gmock/gmock.h>

#include "list_support.h"

using namespace harness;
using testing::ElementsAre;

namespace {

/// A call that fails, the two functions that report it, and what they say.
struct Failure {
    const char* name;
    std::uint32_t (*call)();
    const char* set_function;
    const char* set_message;
    const char* list_function;
    const char* list_message;
};

void PrintTo(const Failure& failure, std::ostream* stream)
{
    *stream << failure.name;
}

constexpr const char* kBad = "Bad arguments.";

const Failure kFailures[] = {
    {"ClearNull", [] { return LIST_Clear(nullptr); }, "AbsSET_Clear", kBad, "LIST_Clear",
     "AbsSET_Clear() failed - 1."},
    {"DeleteNull", [] { return LIST_Delete(nullptr); }, "AbsSET_Delete", kBad, "LIST_Delete",
     "AbsSET_Delete() failed - 1."},
    {"PopValueNull", [] { return LIST_PopValue(nullptr, value(1)); }, "AbsSET_PopValue", kBad,
     "LIST_PopValue", "AbsSET_PopValue() failed - 1."},
    {"PopValueOfNull",
     [] {
         LocalList list{1};
         return LIST_PopValue(list, nullptr);
     },
     "AbsSET_PopValue", kBad, "LIST_PopValue", "AbsSET_PopValue() failed - 1."},
    {"PushNull", [] { return LIST_Push(nullptr, value(1)); }, "absset_EntryPush", kBad, "LIST_Push",
     "AbsSET_Push() failed - 1."},
    {"PushOfNull",
     [] {
         LocalList list{1};
         return LIST_Push(list, nullptr);
     },
     "absset_EntryPush", kBad, "LIST_Push", "AbsSET_Push() failed - 1."},
    {"PushBackNull", [] { return LIST_PushBack(nullptr, value(1)); }, "absset_EntryPush", kBad,
     "LIST_PushBack", "AbsSET_PushBack() failed - 1."},
    {"PushBackOfNull",
     [] {
         LocalList list{1};
         return LIST_PushBack(list, nullptr);
     },
     "absset_EntryPush", kBad, "LIST_PushBack", "AbsSET_PushBack() failed - 1."},
    {"PushFrontNull", [] { return LIST_PushFront(nullptr, value(1)); }, "absset_EntryPush", kBad,
     "LIST_PushFront", "AbsSET_PushFront() failed - 1."},
    {"PushFrontOfNull",
     [] {
         LocalList list{1};
         return LIST_PushFront(list, nullptr);
     },
     "absset_EntryPush", kBad, "LIST_PushFront", "AbsSET_PushFront() failed - 1."},
    {"PushIndexNull", [] { return LIST_PushIndex(nullptr, value(1), 0); }, "absset_EntryPush", kBad,
     "LIST_PushIndex", "AbsSET_PushIndex() failed - 1."},
    {"PushIndexBehindTheSize",
     [] {
         LocalList list{1};
         return LIST_PushIndex(list, value(2), 2);
     },
     "absset_EntryPush", "The index 2 exceeds the size: 1.", "LIST_PushIndex",
     "AbsSET_PushIndex() failed - 4."},
    {"IndexBeginNull", [] { return LIST_IndexBegin(nullptr); }, "absset_SetIndex", kBad,
     "LIST_IndexBegin", "AbsSET_IndexBegin() failed - 1."},
    {"IndexLastNull", [] { return LIST_IndexLast(nullptr); }, "absset_SetIndex", kBad,
     "LIST_IndexLast", "AbsSET_IndexLast() failed - 1."},
    {"IndexNextNull", [] { return LIST_IndexNext(nullptr); }, "absset_SetIndex", kBad,
     "LIST_IndexNext", "AbsSET_IndexNext() failed - 1."},
    {"IndexNextAtTheEnd",
     [] {
         LocalList list{1};
         return LIST_IndexNext(list);
     },
     "absset_SetIndex", "Invalid index.", "LIST_IndexNext", "AbsSET_IndexNext() failed - 4."},
    {"IndexPreviousNull", [] { return LIST_IndexPrevious(nullptr); }, "absset_SetIndex", kBad,
     "LIST_IndexPrevious", "AbsSET_IndexPrevious() failed - 1."},
    {"IndexPreviousAtTheEnd",
     [] {
         LocalList list{1};
         return LIST_IndexPrevious(list);
     },
     "absset_SetIndex", "Invalid index.", "LIST_IndexPrevious",
     "AbsSET_IndexPrevious() failed - 4."},
    {"InfoNull", [] { return LIST_Info(nullptr); }, "AbsSET_Info", kBad, "LIST_Info",
     "AbsSET_Info() failed - 1."},
};

class ListFailure : public testing::TestWithParam<Failure> {};

TEST_P(ListFailure, IsReportedByTheSetAndByTheList)
{
    const Failure& failure = GetParam();
    const Outcome outcome = well([&] { EXPECT_EQ(failure.call(), 0U); });
    EXPECT_THAT(outcome.log, ElementsAre(said(failure.set_function, failure.set_message),
                                         said(failure.list_function, failure.list_message)));
}

INSTANTIATE_TEST_SUITE_P(Calls, ListFailure, testing::ValuesIn(kFailures),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(ListReport, GettersPopsAndQuestionsReportThroughTheSetAlone)
{
    const Outcome outcome = well([] {
        LocalList list{1};
        EXPECT_EQ(LIST_GetIndex(list, 1), nullptr);
        EXPECT_EQ(LIST_PopIndex(list, 1), nullptr);
        EXPECT_EQ(LIST_Get(nullptr), nullptr);
        EXPECT_EQ(LIST_PopFront(nullptr), nullptr);
        EXPECT_EQ(LIST_IsEmpty(nullptr), 1U);
        EXPECT_EQ(LIST_IsEnd(nullptr), 1U);
        EXPECT_EQ(LIST_Size(nullptr), 0U);
        EXPECT_EQ(LIST_Sort(nullptr, by_address), 0U);
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("absset_EntryGet", "The index 1 exceeds the size: 1"),
                                         said("absset_ValueGet", "absset_EntryGet() failed."),
                                         said("absset_EntryGet", "The index 1 exceeds the size: 1"),
                                         said("absset_EntryPop", "absset_EntryGet() failed."),
                                         said("absset_ValuePop", "absset_EntryPop() failed."),
                                         said("absset_EntryGet", kBad),
                                         said("absset_ValueGet", "absset_EntryGet() failed."),
                                         said("absset_EntryPop", kBad),
                                         said("absset_ValuePop", "absset_EntryPop() failed."),
                                         said("AbsSET_IsEmpty", kBad), said("AbsSET_IsEnd", kBad),
                                         said("AbsSET_Size", kBad), said("AbsSET_Size", kBad)));
}

TEST(ListReport, NullCursorHasNoValueAndIsAtTheEnd)
{
    const Outcome outcome = well([] {
        LocalList list{1};
        list->cursor = nullptr;
        EXPECT_EQ(LIST_Get(list), nullptr);
        EXPECT_EQ(LIST_IsEnd(list), 1U);
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("absset_ValueGet", "absset_EntryGet() failed."),
                                         said("AbsSET_IsEnd", kBad)));
}

TEST(ListReport, InfoWritesTheSet)
{
    const Outcome outcome = well([] {
        LocalList list{1};
        EXPECT_EQ(LIST_Info(list), 1U);
    });
    ASSERT_EQ(outcome.log.size(), 11U);
    EXPECT_THAT(outcome.log[0],
                said(COMMON_LogLevelInfo, "COMMON", "abstract_set", "AbsSET_Info", "Size: 1"));
}

}  // namespace
