// Checked memory: what it gives, what it warns about, and what ends the process.
#include "mem_malloc.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <numeric>
#include <ostream>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "common_log.h"
#include "fresh_process.h"
#include "log_expect.h"

using namespace harness;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t kSizes[] = {1, 2, 15, 16, 17, 4096, 4097, 1'000'000};

Bytes counting_bytes(std::size_t count)
{
    Bytes bytes(count);
    std::iota(bytes.begin(), bytes.end(), std::uint8_t{1});
    return bytes;
}

Bytes bytes_at(const void* address, std::size_t count)
{
    const auto* const first = static_cast<const std::uint8_t*>(address);
    return {first, first + count};
}

Report length_is_zero(const char* function)
{
    return said(COMMON_LogLevelWarn, "COMMON", "mem_malloc", function, "length is zero");
}

// Normal, boundary.

TEST(MemMalloc, BlockCanBeUsedWhole)
{
    for (const std::uint32_t size : kSizes) {
        void* const block = MEM_Malloc(size);
        ASSERT_NE(block, nullptr) << size;
        std::memset(block, 0xA5, size);
        EXPECT_EQ(bytes_at(block, size), Bytes(size, 0xA5)) << size;
        MEM_Free(block);
    }
}

FRESH_TEST(MemMalloc, SizeZeroGivesABlockThatCanBeFreed)
{
    MEM_Free(MEM_Malloc(0));
    MEM_Free(MEM_Salloc(0));
}

TEST(MemMalloc, SallocFillsWithZeroes)
{
    for (const std::uint32_t size : kSizes) {
        void* const dirty = MEM_Malloc(size);
        std::memset(dirty, 0xA5, size);
        MEM_Free(dirty);
        void* const block = MEM_Salloc(size);
        EXPECT_EQ(bytes_at(block, size), Bytes(size, 0)) << size;
        MEM_Free(block);
    }
}

TEST(MemMalloc, ReallocOfNullAllocates)
{
    void* const block = MEM_Realloc(nullptr, 100);
    ASSERT_NE(block, nullptr);
    std::memset(block, 0xA5, 100);
    MEM_Free(block);
}

TEST(MemMalloc, ReallocKeepsTheContent)
{
    const Bytes content = counting_bytes(100);
    void* block = MEM_Clone(100, content.data());
    block = MEM_Realloc(block, 100'000);
    EXPECT_EQ(bytes_at(block, 100), content);
    std::memset(block, 0xA5, 100'000);
    std::memcpy(block, content.data(), 100);
    block = MEM_Realloc(block, 10);
    EXPECT_EQ(bytes_at(block, 10), counting_bytes(10));
    MEM_Free(block);
}

TEST(MemMalloc, ReallocOfNullToZeroGivesNull)
{
    EXPECT_EQ(MEM_Realloc(nullptr, 0), nullptr);
}

// With a leak or a second free, AddressSanitizer ends the process.
TEST(MemMalloc, ReallocToZeroFreesAndGoesOn)
{
    const Outcome outcome = well([] {
        void* const block = MEM_Malloc(100);
        void* const result = MEM_Realloc(block, 0);
        EXPECT_EQ(result, nullptr) << "what realloc(3) of this platform gives";
    });
    EXPECT_THAT(outcome.log, IsEmpty());
}

TEST(MemMalloc, FreeOfNullIsIgnored)
{
    const Outcome outcome = well([] { MEM_Free(nullptr); });
    EXPECT_THAT(outcome.log, IsEmpty());
}

TEST(MemMalloc, StrDupCopies)
{
    for (const std::string& text : {std::string(), std::string("text"), std::string(5000, 'x')}) {
        char* const copy = MEM_StrDup(text.c_str());
        ASSERT_NE(copy, nullptr);
        EXPECT_NE(copy, text.c_str());
        EXPECT_EQ(copy, text);
        MEM_Free(copy);
    }
    EXPECT_EQ(MEM_StrDup(nullptr), nullptr);
}

TEST(MemMalloc, CloneCopiesToANewBlock)
{
    for (const std::uint32_t size : {1U, 16U, 5000U}) {
        const Bytes content = counting_bytes(size);
        void* const clone = MEM_Clone(size, content.data());
        ASSERT_NE(clone, nullptr);
        EXPECT_NE(clone, content.data());
        EXPECT_EQ(bytes_at(clone, size), content);
        MEM_Free(clone);
    }
}

TEST(MemMalloc, CopyCopiesExactlyTheLength)
{
    const Bytes source = counting_bytes(8);
    Bytes destination(8, 0xEE);
    EXPECT_EQ(MEM_Copy(destination.data() + 1, source.data(), 4), destination.data() + 1);
    EXPECT_EQ(destination, (Bytes{0xEE, 1, 2, 3, 4, 0xEE, 0xEE, 0xEE}));
}

TEST(MemMalloc, MoveCopiesOverlappingAreas)
{
    Bytes upwards = counting_bytes(8);
    EXPECT_EQ(MEM_Move(upwards.data() + 2, upwards.data(), 5), upwards.data() + 2);
    EXPECT_EQ(upwards, (Bytes{1, 2, 1, 2, 3, 4, 5, 8}));
    Bytes downwards = counting_bytes(8);
    EXPECT_EQ(MEM_Move(downwards.data(), downwards.data() + 2, 5), downwards.data());
    EXPECT_EQ(downwards, (Bytes{3, 4, 5, 6, 7, 6, 7, 8}));
    Bytes large = counting_bytes(100'000);
    const Bytes before = large;
    MEM_Move(large.data() + 1, large.data(), 99'999);
    EXPECT_TRUE(std::equal(large.begin() + 1, large.end(), before.begin()));
}

TEST(MemMalloc, SetFillsWithTheLowByte)
{
    struct {
        std::uint32_t value;
        std::uint8_t byte;
    } constexpr kFills[] = {{0, 0},        {0x41, 0x41},       {0xFF, 0xFF},
                            {0x141, 0x41}, {0xFFFFFF00, 0x00}, {UINT32_MAX, 0xFF}};
    for (const auto& fill : kFills) {
        Bytes area(4, 0xEE);
        EXPECT_EQ(MEM_Set(area.data() + 1, fill.value, 2), area.data() + 1);
        EXPECT_EQ(area, (Bytes{0xEE, fill.byte, fill.byte, 0xEE})) << fill.value;
    }
}

TEST(MemMalloc, CompareIsByUnsignedBytes)
{
    static_assert(MEM_CompareEqual == 1 && MEM_CompareLess == 2 && MEM_CompareGreater == 3);
    struct {
        Bytes first;
        Bytes second;
        std::uint32_t length;
        MEM_CompareResult result;
    } const kCases[] = {
        {{0x01}, {0x01}, 1, 1},       {{0x01}, {0xFF}, 1, 2},       {{0xFF}, {0x01}, 1, 3},
        {{0x7F}, {0x80}, 1, 2},       {{0x80}, {0x7F}, 1, 3},       {{1, 2, 3}, {1, 2, 4}, 3, 2},
        {{1, 2, 4}, {1, 2, 3}, 3, 3}, {{1, 2, 3}, {1, 2, 4}, 2, 1}, {{0, 0, 9}, {0, 0, 8}, 3, 3},
        {{2, 1}, {1, 2}, 2, 3},
    };
    for (const auto& example : kCases) {
        EXPECT_EQ(MEM_Compare(example.first.data(), example.second.data(), example.length),
                  example.result)
            << testing::PrintToString(example.first) << testing::PrintToString(example.second);
    }
}

TEST(MemMalloc, CompareOfAnAddressWithItselfIsEqualWhateverTheLength)
{
    const std::uint8_t byte = 7;
    for (const std::uint32_t length : {0U, 1U, UINT32_MAX}) {
        EXPECT_EQ(MEM_Compare(&byte, &byte, length), 1U) << length;
    }
}

// Zero length.

TEST(MemMalloc, LengthZeroIsReportedAndLeavesTheAreasAlone)
{
    const Outcome outcome = well([] {
        const Bytes source = counting_bytes(4);
        Bytes destination(4, 0xEE);
        EXPECT_EQ(MEM_Clone(0, source.data()), nullptr);
        EXPECT_EQ(MEM_Copy(destination.data(), source.data(), 0), destination.data());
        EXPECT_EQ(MEM_Move(destination.data(), source.data(), 0), destination.data());
        EXPECT_EQ(MEM_Set(destination.data(), 0x41, 0), destination.data());
        EXPECT_EQ(destination, Bytes(4, 0xEE));
    });
    EXPECT_THAT(outcome.log, ElementsAre(length_is_zero("MEM_Clone"), length_is_zero("MEM_Copy"),
                                         length_is_zero("MEM_Move"), length_is_zero("MEM_Set")));
}

TEST(MemMalloc, LengthZeroIsNotReportedBelowTheLevel)
{
    const Outcome outcome = well({.env = {{"COMMON_LOG_LEVEL", "Error"}}}, [] {
        std::uint8_t byte = 0;
        EXPECT_EQ(MEM_Set(&byte, 1, 0), &byte);
    });
    EXPECT_THAT(outcome.log, IsEmpty());
}

TEST(MemMalloc, WhatIsNotZeroIsNotReported)
{
    const Outcome outcome = well([] {
        std::array<char, 2> area{};
        MEM_Free(MEM_Clone(1, area.data()));
        MEM_Copy(&area[0], &area[1], 1);
        MEM_Move(&area[0], &area[1], 1);
        MEM_Set(area.data(), 1, 1);
        (void)MEM_Compare(&area[0], &area[1], 1);
        (void)MEM_Compare(area.data(), area.data(), 0);
        (void)MEM_StrDup(nullptr);
        (void)MEM_Realloc(nullptr, 0);
    });
    EXPECT_THAT(outcome.log, IsEmpty());
}

// Misuse.

struct Misuse {
    const char* function;
    const char* condition;
    const char* what;
    void (*call)();
};

void PrintTo(const Misuse& misuse, std::ostream* stream)
{
    *stream << misuse.function << " " << misuse.what;
}

class MemMallocMisuse : public testing::TestWithParam<Misuse> {};

TEST_P(MemMallocMisuse, EndsTheProcess)
{
    const Outcome outcome = run_fresh(GetParam().call);
    EXPECT_THAT(outcome, killed_by(SIGABRT));
    EXPECT_THAT(outcome.err,
                assertion_text("mem_malloc", GetParam().function, GetParam().condition));
    EXPECT_THAT(outcome.log, IsEmpty());
}

char some[4] = "abc";
char other[4] = "abc";

const Misuse kMisuses[] = {
    {"MEM_Clone", "((void *)0) != src", "NullSource", [] { (void)MEM_Clone(1, nullptr); }},
    {"MEM_Clone", "((void *)0) != src", "NullSourceOfNothing", [] { (void)MEM_Clone(0, nullptr); }},
    {"MEM_Copy", "((void *)0) != dst", "NullDestination", [] { MEM_Copy(nullptr, some, 1); }},
    {"MEM_Copy", "((void *)0) != src", "NullSource", [] { MEM_Copy(some, nullptr, 1); }},
    {"MEM_Copy", "((void *)0) != dst", "BothNull", [] { MEM_Copy(nullptr, nullptr, 1); }},
    {"MEM_Copy", "((void *)0) != dst", "NullDestinationForNothing",
     [] { MEM_Copy(nullptr, some, 0); }},
    {"MEM_Copy", "((void *)0) != src", "NullSourceOfNothing", [] { MEM_Copy(some, nullptr, 0); }},
    {"MEM_Move", "((void *)0) != dst", "NullDestination", [] { MEM_Move(nullptr, some, 1); }},
    {"MEM_Move", "((void *)0) != src", "NullSource", [] { MEM_Move(some, nullptr, 1); }},
    {"MEM_Move", "((void *)0) != dst", "BothNull", [] { MEM_Move(nullptr, nullptr, 1); }},
    {"MEM_Move", "((void *)0) != dst", "NullDestinationForNothing",
     [] { MEM_Move(nullptr, some, 0); }},
    {"MEM_Move", "((void *)0) != src", "NullSourceOfNothing", [] { MEM_Move(some, nullptr, 0); }},
    {"MEM_Set", "((void *)0) != dst", "NullDestination", [] { MEM_Set(nullptr, 0, 1); }},
    {"MEM_Set", "((void *)0) != dst", "NullDestinationForNothing", [] { MEM_Set(nullptr, 0, 0); }},
    {"MEM_Compare", "((void *)0) != address1", "NullFirst",
     [] { (void)MEM_Compare(nullptr, some, 1); }},
    {"MEM_Compare", "((void *)0) != address2", "NullSecond",
     [] { (void)MEM_Compare(some, nullptr, 1); }},
    {"MEM_Compare", "((void *)0) != address1", "BothNull",
     [] { (void)MEM_Compare(nullptr, nullptr, 1); }},
    {"MEM_Compare", "0 < length", "NothingOfTwo", [] { (void)MEM_Compare(some, other, 0); }},
    {"MEM_Compare", "((void *)0) != address2", "NullSecondOfNothing",
     [] { (void)MEM_Compare(some, nullptr, 0); }},
};

INSTANTIATE_TEST_SUITE_P(Calls, MemMallocMisuse, testing::ValuesIn(kMisuses), [](const auto& test) {
    return std::string(test.param.function + 4) + test.param.what;
});

}  // namespace
