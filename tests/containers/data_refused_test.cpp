// What is seen of byte arrays and texts from inside only. Where memory is refused and the process
// goes on: the library's own allocation never does that, so this program puts itself between the
// two. And how much is zeroed.
#include "data.h"

#include <cstdint>
#include <cstring>
#include <string>
#include <utility>

#include <gmock/gmock.h>

#include "fresh_process.h"
#include "heap.h"
#include "log_expect.h"
#include "mem_malloc.h"

namespace {

/// The calls that still get memory.
int granted = 0;

/// The next call gets none, whatever those after it get.
bool next_is_refused = false;

/// The bytes set by memset(), all calls together.
std::size_t bytes_set = 0;

bool is_granted()
{
    return !std::exchange(next_is_refused, false) && granted-- > 0;
}

}  // namespace

// The linker calls __wrap_NAME instead of a wrapped function, which is then __real_NAME.
extern "C" void* real_malloc(uint32_t size) __asm__("__real_MEM_Malloc");
extern "C" void* real_salloc(uint32_t size) __asm__("__real_MEM_Salloc");
extern "C" void* malloc_if_granted(uint32_t size) __asm__("__wrap_MEM_Malloc");
extern "C" void* salloc_if_granted(uint32_t size) __asm__("__wrap_MEM_Salloc");

void* malloc_if_granted(uint32_t size)
{
    return is_granted() ? real_malloc(size) : nullptr;
}

void* salloc_if_granted(uint32_t size)
{
    return is_granted() ? real_salloc(size) : nullptr;
}

extern "C" void* real_memset(void* area, int value, std::size_t length) __asm__("__real_memset");
extern "C" void* counted_memset(void* area, int value, std::size_t length) __asm__("__wrap_memset");

void* counted_memset(void* area, int value, std::size_t length)
{
    bytes_set += length;
    return real_memset(area, value, length);
}

namespace {

using namespace harness;
using testing::ElementsAre;

Report said(const char* function, const char* message)
{
    return harness::said(COMMON_LogLevelError, "COMMON", "data", function, message);
}

constexpr char kNoMemory[] = "Failed allocating memory.";

/// A body in which the first `count` allocations succeed, and that ends well.
Outcome well_granted(int count, const std::function<void()>& body)
{
    return well([&] {
        granted = count;
        body();
    });
}

TEST(DataRefused, NoRecordOrNoStorage)
{
    for (const int count : {0, 1}) {
        const Outcome outcome = well_granted(count, [] { EXPECT_EQ(DATA_ArrayNew(16), nullptr); });
        // The record is freed, or the leak is found.
        EXPECT_THAT(outcome.log, ElementsAre(said("DATA_ArrayNew", kNoMemory)));
    }
}

TEST(DataRefused, StorageIsNotAskedForWithoutARecord)
{
    const Outcome outcome = well_granted(1, [] {
        next_is_refused = true;
        EXPECT_EQ(DATA_ArrayNew(16), nullptr);
        EXPECT_EQ(granted, 1);
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("DATA_ArrayNew", kNoMemory)));
}

TEST(DataRefused, NothingIsKeptOfWhatIsRefused)
{
    run_silently({.env = {{"COMMON_LOG_LEVEL", "Fatal"}}}, [] {
        expect_no_leak([] {
            granted = 1;
            EXPECT_EQ(DATA_ArrayNew(16), nullptr);
            granted = 1;
            EXPECT_EQ(DATA_ArrayNewWithData(4, "abcd"), nullptr);
            granted = 1;
            EXPECT_EQ(DATA_AsciiToHex("00"), nullptr);
        });
    });
}

TEST(DataRefused, NoArrayForBytes)
{
    for (const int count : {0, 1}) {
        const Outcome outcome = well_granted(count, [] {
            EXPECT_EQ(DATA_ArrayNewWithDataLength(4, "abcd", 2), nullptr);
            granted = 0;
            EXPECT_EQ(DATA_ArrayNewWithData(4, "abcd"), nullptr);
        });
        EXPECT_THAT(outcome.log,
                    ElementsAre(said("DATA_ArrayNew", kNoMemory),
                                said("DATA_ArrayNewWithDataLength", "DATA_ArrayNew() failed."),
                                said("DATA_ArrayNew", kNoMemory),
                                said("DATA_ArrayNewWithDataLength", "DATA_ArrayNew() failed.")));
    }
}

TEST(DataRefused, NoArrayForText)
{
    const Outcome outcome = well_granted(1, [] { EXPECT_EQ(DATA_AsciiToHex("00"), nullptr); });
    EXPECT_THAT(outcome.log, ElementsAre(said("DATA_ArrayNew", kNoMemory),
                                         said("DATA_AsciiToHex", "Failed to create the array.")));
}

// Callers get the reports of what is wrong with a text before memory is asked for.
TEST(DataRefused, TextIsJudgedBeforeMemoryIsAskedFor)
{
    const Outcome outcome = well_granted(0, [] { EXPECT_EQ(DATA_AsciiToHex("0x"), nullptr); });
    EXPECT_THAT(outcome.log, ElementsAre(said("DATA_AsciiToHex",
                                              "ascii[1] contains an invalid character: x (120)")));
}

TEST(DataRefused, NoText)
{
    const Outcome outcome = well_granted(0, [] {
        EXPECT_EQ(DATA_HexToAscii("a", 1), nullptr);
        EXPECT_EQ(DATA_HexDump("a", 1), nullptr);
        EXPECT_EQ(DATA_HexDumpPretty("a", 1), nullptr);
    });
    EXPECT_THAT(outcome.log,
                ElementsAre(said("DATA_HexToAscii", kNoMemory), said("DATA_HexDump", kNoMemory),
                            said("DATA_HexDumpPretty", kNoMemory)));
}

// Zeroes.

FRESH_TEST(DataInternal, OnlyWhatIsNotCopiedOverIsZeroed)
{
    const std::string bytes(3000, 'x');
    const auto set_for = [&](std::uint32_t length) {
        granted = 2;
        bytes_set = 0;
        DATA_Array* const array = DATA_ArrayNewWithDataLength(3000, bytes.data(), length);
        const std::size_t set = bytes_set;
        DATA_ArrayDelete(array);
        return set;
    };
    EXPECT_EQ(set_for(2000), 1000U);
    EXPECT_EQ(set_for(3000), 0U);
    EXPECT_EQ(set_for(0), 3000U);
}

}  // namespace
