// What the abstract set reports about misuse, and its dump.
#include "abstract_set.h"

#include <cstdint>
#include <cstdio>
#include <ostream>
#include <string>

#include <gmock/gmock.h>

#include "abstract_set_support.h"

using namespace harness;
using testing::ElementsAreArray;

namespace {

struct Misuse {
    const char* name;
    /// Makes the call and checks its result.
    void (*call)();
    std::vector<std::pair<const char*, const char*>> reports;
};

void PrintTo(const Misuse& misuse, std::ostream* stream)
{
    *stream << misuse.name;
}

constexpr const char* kBad = "Bad arguments.";

AbsSET_Entry entry_storage;

/// Pushes to a set of three must leave it as it is.
void push_to_three(std::int32_t index, std::uint32_t expected)
{
    LocalSet set{1, 2, 3};
    set.go_to(1);
    EXPECT_EQ(AbsSET_PushIndex(&set, nullptr, value(9), index), expected);
    EXPECT_EQ(set.ring(), values({1, 2, 3}));
    EXPECT_EQ(AbsSET_Size(&set), 3U);
    EXPECT_EQ(set.at_cursor(), value(2));
}

/// A set whose second entry leads nowhere, mended at the end.
class BrokenSet : public LocalSet {
public:
    BrokenSet() : LocalSet{1, 2, 3}, second_(AbsSET_EntryGetIndex(this, 1)), third_(second_->flink)
    {
        second_->flink = nullptr;
    }
    ~BrokenSet() { second_->flink = third_; }

private:
    AbsSET_Entry* second_;
    AbsSET_Entry* third_;
};

const Misuse kMisuses[] = {
    {"InitializeNull",
     [] { EXPECT_EQ(AbsSET_Initialize(nullptr), AbsSET_BadArguments); },
     {{"AbsSET_Initialize", kBad}}},
    {"InitializeExNull",
     [] { EXPECT_EQ(AbsSET_InitializeEx(nullptr, keep_value), AbsSET_BadArguments); },
     {{"AbsSET_InitializeEx", kBad}}},
    {"ClearNull",
     [] { EXPECT_EQ(AbsSET_Clear(nullptr), AbsSET_BadArguments); },
     {{"AbsSET_Clear", kBad}}},
    {"DeleteNull",
     [] { EXPECT_EQ(AbsSET_Delete(nullptr), AbsSET_BadArguments); },
     {{"AbsSET_Delete", kBad}}},
    {"InitializeEntryNullEntry",
     [] {
         AbsSET_Entry a{};
         AbsSET_Entry b{};
         EXPECT_EQ(AbsSET_InitializeEntry(nullptr, &a, &b, value(1)), AbsSET_BadArguments);
         EXPECT_EQ(a.blink, nullptr);
         EXPECT_EQ(b.flink, nullptr);
     },
     {{"AbsSET_InitializeEntry", kBad}}},
    {"InitializeEntryNullNext",
     [] {
         AbsSET_Entry a{};
         AbsSET_Entry b{};
         EXPECT_EQ(AbsSET_InitializeEntry(&a, nullptr, &b, value(1)), AbsSET_BadArguments);
         EXPECT_EQ(a.value, nullptr);
         EXPECT_EQ(b.flink, nullptr);
     },
     {{"AbsSET_InitializeEntry", kBad}}},
    {"InitializeEntryNullPrev",
     [] {
         AbsSET_Entry a{};
         AbsSET_Entry b{};
         EXPECT_EQ(AbsSET_InitializeEntry(&a, &b, nullptr, value(1)), AbsSET_BadArguments);
         EXPECT_EQ(a.value, nullptr);
         EXPECT_EQ(b.blink, nullptr);
     },
     {{"AbsSET_InitializeEntry", kBad}}},
    {"InitializeEntryNullValue",
     [] {
         AbsSET_Entry a{};
         AbsSET_Entry b{};
         EXPECT_EQ(AbsSET_InitializeEntry(&a, &b, &b, nullptr), AbsSET_BadArguments);
         EXPECT_EQ(a.flink, nullptr);
     },
     {{"AbsSET_InitializeEntry", kBad}}},
    {"PushNullSet",
     [] { EXPECT_EQ(AbsSET_Push(nullptr, nullptr, value(1)), AbsSET_BadArguments); },
     {{"absset_EntryPush", kBad}}},
    {"PushFrontNullSet",
     [] { EXPECT_EQ(AbsSET_PushFront(nullptr, nullptr, value(1)), AbsSET_BadArguments); },
     {{"absset_EntryPush", kBad}}},
    {"PushBackNullSet",
     [] { EXPECT_EQ(AbsSET_PushBack(nullptr, nullptr, value(1)), AbsSET_BadArguments); },
     {{"absset_EntryPush", kBad}}},
    {"PushIndexNullSet",
     [] { EXPECT_EQ(AbsSET_PushIndex(nullptr, nullptr, value(1), 0), AbsSET_BadArguments); },
     {{"absset_EntryPush", kBad}}},
    {"PushesOfNull",
     [] {
         LocalSet set{1};
         EXPECT_EQ(AbsSET_Push(&set, nullptr, nullptr), AbsSET_BadArguments);
         EXPECT_EQ(AbsSET_PushFront(&set, nullptr, nullptr), AbsSET_BadArguments);
         EXPECT_EQ(AbsSET_PushBack(&set, &entry_storage, nullptr), AbsSET_BadArguments);
         EXPECT_EQ(AbsSET_PushIndex(&set, nullptr, nullptr, 0), AbsSET_BadArguments);
         EXPECT_EQ(set.ring(), values({1}));
         EXPECT_EQ(AbsSET_Size(&set), 1U);
     },
     {{"absset_EntryPush", kBad},
      {"absset_EntryPush", kBad},
      {"absset_EntryPush", kBad},
      {"absset_EntryPush", kBad}}},
    {"PushToAFullSet",
     [] {
         LocalSet set{1};
         set.size = 0x7FFFFFFF;
         EXPECT_EQ(AbsSET_PushFront(&set, nullptr, value(2)), AbsSET_BadArguments);
         set.size = 0xFFFFFFFF;
         EXPECT_EQ(AbsSET_PushFront(&set, nullptr, value(2)), AbsSET_BadArguments);
     },
     {{"absset_EntryPush", kBad}, {"absset_EntryPush", kBad}}},
    {"PushBehindTheSize",
     [] {
         push_to_three(4, AbsSET_InvalidPosition);
         push_to_three(INT32_MAX, AbsSET_InvalidPosition);
     },
     {{"absset_EntryPush", "The index 4 exceeds the size: 3."},
      {"absset_EntryPush", "The index 2147483647 exceeds the size: 3."}}},
    {"PushBeforeTheFront",
     [] {
         push_to_three(-3, AbsSET_InvalidPosition);
         push_to_three(-4, AbsSET_InvalidPosition);
         push_to_three(-6, AbsSET_InvalidPosition);
         push_to_three(INT32_MIN, AbsSET_InvalidPosition);
     },
     {{"absset_EntryPush", "Invalid index: -3."},
      {"absset_EntryPush", "Invalid index: -4."},
      {"absset_EntryPush", "Invalid index: -6."},
      {"absset_EntryPush", "Invalid index: -2147483648."}}},
    {"PushAtANullCursor",
     [] {
         LocalSet set{1};
         set.cursor = nullptr;
         EXPECT_EQ(AbsSET_Push(&set, nullptr, value(2)), AbsSET_InvalidPosition);
         EXPECT_EQ(set.ring(), values({1}));
     },
     {{"absset_EntryPush", "Invalid index."}}},
    {"PushIntoABrokenRing",
     [] {
         BrokenSet set;
         EXPECT_EQ(AbsSET_PushIndex(&set, nullptr, value(2), 2), AbsSET_BadArguments);
         EXPECT_EQ(AbsSET_PushIndex(&set, nullptr, value(2), 3), AbsSET_BadArguments);
         EXPECT_EQ(AbsSET_Size(&set), 3U);
     },
     {{"absset_EntryPush", kBad}, {"absset_EntryPush", kBad}}},
    // The record that the set allocated for it is freed again.
    {"PushBesideANullLink",
     [] {
         BrokenSet set;
         set.go_to(1);
         EXPECT_EQ(AbsSET_Push(&set, nullptr, value(2)), AbsSET_BadArguments);
         EXPECT_EQ(AbsSET_Size(&set), 3U);
     },
     {{"AbsSET_InitializeEntry", kBad},
      {"absset_EntryPush", "AbsSET_InitializeEntry() failed - 1"}}},
    {"EndsOfASetOfZeros",
     [] {
         AbsSET zeros{};
         EXPECT_EQ(AbsSET_PushFront(&zeros, nullptr, value(1)), AbsSET_BadArguments);
         EXPECT_EQ(AbsSET_PushBack(&zeros, nullptr, value(1)), AbsSET_BadArguments);
         EXPECT_EQ(AbsSET_ValuePopFront(&zeros), nullptr);
         EXPECT_EQ(AbsSET_ValuePopBack(&zeros), nullptr);
         EXPECT_EQ(AbsSET_Size(&zeros), 0U);
     },
     {{"AbsSET_InitializeEntry", kBad},
      {"absset_EntryPush", "AbsSET_InitializeEntry() failed - 1"},
      {"AbsSET_InitializeEntry", kBad},
      {"absset_EntryPush", "AbsSET_InitializeEntry() failed - 1"},
      {"absset_EntryPop", "absset_EntryGet() failed."},
      {"absset_ValuePop", "absset_EntryPop() failed."},
      {"absset_EntryPop", "absset_EntryGet() failed."},
      {"absset_ValuePop", "absset_EntryPop() failed."}}},
    {"EntryGetNullSet",
     [] {
         EXPECT_EQ(AbsSET_EntryGet(nullptr), nullptr);
         EXPECT_EQ(AbsSET_EntryGetFront(nullptr), nullptr);
         EXPECT_EQ(AbsSET_EntryGetBack(nullptr), nullptr);
         EXPECT_EQ(AbsSET_EntryGetIndex(nullptr, 0), nullptr);
     },
     {{"absset_EntryGet", kBad},
      {"absset_EntryGet", kBad},
      {"absset_EntryGet", kBad},
      {"absset_EntryGet", kBad}}},
    {"EntryGetIndexAtTheSize",
     [] {
         LocalSet set{1, 2, 3};
         EXPECT_EQ(AbsSET_EntryGetIndex(&set, 3), nullptr);
     },
     {{"absset_EntryGet", "The index 3 exceeds the size: 3"}}},
    {"EntryGetIndexOfAnEmptySet",
     [] {
         LocalSet set;
         EXPECT_EQ(AbsSET_EntryGetIndex(&set, 0), nullptr);
     },
     {{"absset_EntryGet", "The index 0 exceeds the size: 0"}}},
    {"EntryGetIndexBeforeTheFront",
     [] {
         LocalSet set{1, 2, 3};
         EXPECT_EQ(AbsSET_EntryGetIndex(&set, -3), nullptr);
         EXPECT_EQ(AbsSET_EntryGetIndex(&set, -4), nullptr);
         EXPECT_EQ(AbsSET_EntryGetIndex(&set, -6), nullptr);
     },
     {{"absset_EntryGet", "Invalid index: -3"},
      {"absset_EntryGet", "Invalid index: -4"},
      {"absset_EntryGet", "Invalid index: -6"}}},
    {"EntryGetIndexInABrokenRing",
     [] {
         BrokenSet set;
         EXPECT_EQ(AbsSET_EntryGetIndex(&set, 1)->value, value(2));
         EXPECT_EQ(AbsSET_EntryGetIndex(&set, 2), nullptr);
         set.size = 5;
         EXPECT_EQ(AbsSET_EntryGetIndex(&set, 4), nullptr) << "behind the break";
     },
     {{"absset_EntryGet", kBad}, {"absset_EntryGet", kBad}}},
    {"ValueGetNullSet",
     [] {
         EXPECT_EQ(AbsSET_ValueGet(nullptr), nullptr);
         EXPECT_EQ(AbsSET_ValueGetFront(nullptr), nullptr);
         EXPECT_EQ(AbsSET_ValueGetBack(nullptr), nullptr);
     },
     {{"absset_EntryGet", kBad},
      {"absset_ValueGet", "absset_EntryGet() failed."},
      {"absset_EntryGet", kBad},
      {"absset_ValueGet", "absset_EntryGet() failed."},
      {"absset_EntryGet", kBad},
      {"absset_ValueGet", "absset_EntryGet() failed."}}},
    {"ValueGetIndexBehindTheSize",
     [] {
         LocalSet set{1};
         EXPECT_EQ(AbsSET_ValueGetIndex(&set, 1), nullptr);
     },
     {{"absset_EntryGet", "The index 1 exceeds the size: 1"},
      {"absset_ValueGet", "absset_EntryGet() failed."}}},
    {"EntryPopNullSet",
     [] {
         EXPECT_EQ(AbsSET_EntryPop(nullptr), nullptr);
         EXPECT_EQ(AbsSET_EntryPopFront(nullptr), nullptr);
         EXPECT_EQ(AbsSET_EntryPopBack(nullptr), nullptr);
         EXPECT_EQ(AbsSET_EntryPopIndex(nullptr, 0), nullptr);
     },
     {{"absset_EntryPop", kBad},
      {"absset_EntryPop", kBad},
      {"absset_EntryPop", kBad},
      {"absset_EntryPop", kBad}}},
    {"EntryPopIndexBehindTheSize",
     [] {
         LocalSet set{1, 2};
         EXPECT_EQ(AbsSET_EntryPopIndex(&set, 2), nullptr);
         EXPECT_EQ(AbsSET_Size(&set), 2U);
     },
     {{"absset_EntryGet", "The index 2 exceeds the size: 2"},
      {"absset_EntryPop", "absset_EntryGet() failed."}}},
    {"EntryPopOfABrokenEntry",
     [] {
         BrokenSet set;
         set.go_to(1);
         EXPECT_EQ(AbsSET_EntryPop(&set), nullptr);
         EXPECT_EQ(AbsSET_Size(&set), 3U);
         EXPECT_EQ(AbsSET_EntryGet(&set)->value, value(2));
     },
     {{"absset_EntryPop", "absset_EntryGet() failed."}}},
    {"PopsOfAFrontThatIsLinkedOneWay",
     [] {
         LocalSet set{1, 2};
         AbsSET_Entry& front = *AbsSET_EntryGetFront(&set);
         const AbsSET_Entry whole = front;
         front.blink = nullptr;
         EXPECT_EQ(AbsSET_EntryPopFront(&set), nullptr);
         EXPECT_EQ(AbsSET_ValuePopFront(&set), nullptr);
         front = {whole.value, nullptr, whole.blink};
         EXPECT_EQ(AbsSET_ValuePopFront(&set), nullptr);
         front = whole;
         EXPECT_EQ(AbsSET_Size(&set), 2U);
     },
     {{"absset_EntryPop", "absset_EntryGet() failed."},
      {"absset_EntryPop", "absset_EntryGet() failed."},
      {"absset_ValuePop", "absset_EntryPop() failed."},
      {"absset_EntryPop", "absset_EntryGet() failed."},
      {"absset_ValuePop", "absset_EntryPop() failed."}}},
    {"ValuePopNullSet",
     [] {
         EXPECT_EQ(AbsSET_ValuePop(nullptr), nullptr);
         EXPECT_EQ(AbsSET_ValuePopFront(nullptr), nullptr);
         EXPECT_EQ(AbsSET_ValuePopBack(nullptr), nullptr);
     },
     {{"absset_EntryPop", kBad},
      {"absset_ValuePop", "absset_EntryPop() failed."},
      {"absset_EntryPop", kBad},
      {"absset_ValuePop", "absset_EntryPop() failed."},
      {"absset_EntryPop", kBad},
      {"absset_ValuePop", "absset_EntryPop() failed."}}},
    {"ValuePopIndexBehindTheSize",
     [] {
         LocalSet set{1, 2};
         EXPECT_EQ(AbsSET_ValuePopIndex(&set, 2), nullptr);
     },
     {{"absset_EntryGet", "The index 2 exceeds the size: 2"},
      {"absset_EntryPop", "absset_EntryGet() failed."},
      {"absset_ValuePop", "absset_EntryPop() failed."}}},
    {"PopEntryNull",
     [] {
         LocalSet set{1};
         EXPECT_EQ(AbsSET_PopEntry(nullptr, &entry_storage), AbsSET_BadArguments);
         EXPECT_EQ(AbsSET_PopEntry(&set, nullptr), AbsSET_BadArguments);
     },
     {{"AbsSET_PopEntry", kBad}, {"AbsSET_PopEntry", kBad}}},
    {"PopValueNull",
     [] {
         LocalSet set{1};
         EXPECT_EQ(AbsSET_PopValue(nullptr, value(1)), AbsSET_BadArguments);
         EXPECT_EQ(AbsSET_PopValue(&set, nullptr), AbsSET_BadArguments);
     },
     {{"AbsSET_PopValue", kBad}, {"AbsSET_PopValue", kBad}}},
    {"CursorMovesOfNull",
     [] {
         EXPECT_EQ(AbsSET_IndexBegin(nullptr), AbsSET_BadArguments);
         EXPECT_EQ(AbsSET_IndexLast(nullptr), AbsSET_BadArguments);
         EXPECT_EQ(AbsSET_IndexNext(nullptr), AbsSET_BadArguments);
         EXPECT_EQ(AbsSET_IndexPrevious(nullptr), AbsSET_BadArguments);
     },
     {{"absset_SetIndex", kBad},
      {"absset_SetIndex", kBad},
      {"absset_SetIndex", kBad},
      {"absset_SetIndex", kBad}}},
    {"StepsFromTheEnd",
     [] {
         LocalSet set;
         EXPECT_EQ(AbsSET_IndexNext(&set), AbsSET_InvalidPosition);
         EXPECT_EQ(AbsSET_IndexPrevious(&set), AbsSET_InvalidPosition);
     },
     {{"absset_SetIndex", "Invalid index."}, {"absset_SetIndex", "Invalid index."}}},
    {"NullCursor",
     [] {
         LocalSet set{1};
         set.cursor = nullptr;
         EXPECT_EQ(AbsSET_IsEnd(&set), 1U);
         EXPECT_EQ(AbsSET_IndexNext(&set), AbsSET_InvalidPosition);
     },
     {{"AbsSET_IsEnd", kBad}, {"absset_SetIndex", "Invalid index."}}},
    {"QueriesOfNull",
     [] {
         EXPECT_EQ(AbsSET_IsEnd(nullptr), 1U);
         EXPECT_EQ(AbsSET_Size(nullptr), 0U);
         EXPECT_EQ(AbsSET_IsEmpty(nullptr), 1U);
     },
     {{"AbsSET_IsEnd", kBad}, {"AbsSET_Size", kBad}, {"AbsSET_IsEmpty", kBad}}},
    {"InfoNull",
     [] { EXPECT_EQ(AbsSET_Info(nullptr), AbsSET_BadArguments); },
     {{"AbsSET_Info", kBad}}},
};

class AbstractSetMisuse : public testing::TestWithParam<Misuse> {};

TEST_P(AbstractSetMisuse, IsReported)
{
    const Outcome outcome = well(GetParam().call);
    std::vector<Report> expected;
    for (const auto& [function, message] : GetParam().reports) {
        expected.push_back(said(function, message));
    }
    EXPECT_THAT(outcome.log, ElementsAreArray(expected));
}

INSTANTIATE_TEST_SUITE_P(Calls, AbstractSetMisuse, testing::ValuesIn(kMisuses),
                         [](const auto& test) { return std::string(test.param.name); });

// ---------------------------------------------------------------------------------------- dump

std::string hexadecimal(const void* address)
{
    char text[32];
    std::snprintf(text, sizeof text, "0x%08llX",
                  static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(address)));
    return text;
}

/// The four messages about a record, separated by line ends.
std::string dump_of(const AbsSET_Entry& entry)
{
    const auto number = std::to_string(reinterpret_cast<std::uintptr_t>(entry.value));
    return "entry: " + hexadecimal(&entry) + "\nvalue: " + hexadecimal(entry.value) + " = " +
           number + "\nflink: " + hexadecimal(entry.flink) +
           "\nblink: " + hexadecimal(entry.blink) + "\n";
}

TEST(AbstractSetInfo, WritesTheSentinelAndEveryEntry)
{
    const Outcome outcome = well([] {
        LocalSet set{1, 2};
        set.go_to(1);
        EXPECT_EQ(AbsSET_Info(&set), AbsSET_Success);
        EXPECT_EQ(AbsSET_IsEnd(&set), 1U);
        std::fputs(("Size: 2\nLast Entry\n" + dump_of(set.sentinel) + "Entry 0\n" +
                    dump_of(*AbsSET_EntryGetIndex(&set, 0)) + "Entry 1\n" +
                    dump_of(*AbsSET_EntryGetIndex(&set, 1)))
                       .c_str(),
                   stdout);
    });
    std::vector<Report> expected;
    for (std::size_t begin = 0; begin < outcome.out.size();) {
        const std::size_t end = outcome.out.find('\n', begin);
        const std::string line = outcome.out.substr(begin, end - begin);
        const bool of_record = line.find(": 0x") != std::string::npos;
        expected.push_back(said(COMMON_LogLevelInfo, "COMMON", "abstract_set",
                                of_record ? "absset_EntryInfo" : "AbsSET_Info", line));
        begin = end + 1;
    }
    EXPECT_EQ(expected.size(), 16U);
    EXPECT_THAT(outcome.log, ElementsAreArray(expected));
}

TEST(AbstractSetInfo, NumbersHaveEightDigitsAtLeast)
{
    const Outcome outcome = well([] {
        LocalSet set;
        AbsSET_Info(&set);
    });
    ASSERT_EQ(outcome.log.size(), 6U);
    EXPECT_THAT(outcome.log[0],
                said(COMMON_LogLevelInfo, "COMMON", "abstract_set", "AbsSET_Info", "Size: 0"));
    EXPECT_THAT(outcome.log[3], said(COMMON_LogLevelInfo, "COMMON", "abstract_set",
                                     "absset_EntryInfo", "value: 0x00000000 = 0"));
}

}  // namespace
