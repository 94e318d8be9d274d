// The search for the lowest descriptor that is free, and what happens when there is none.
#include "containers/descriptor_search.h"

#include <cstdint>
#include <vector>

#include <gmock/gmock.h>

#include "client_descriptor.h"
#include "fresh_process.h"
#include "log_expect.h"

namespace {

/// What the search says instead of what it finds; 0 for nothing.
std::int32_t pretended_gap = 0;

}  // namespace

// The linker calls __wrap_NAME instead of a wrapped function, which is then __real_NAME; the name
// is that of common::client::lowest_gap().
extern "C" std::int32_t
real_gap(const std::int32_t* table,
         std::int32_t count) __asm__("__real__ZN6common6client10lowest_gapEPKii");
extern "C" std::int32_t
gap_or_pretended(const std::int32_t* table,
                 std::int32_t count) __asm__("__wrap__ZN6common6client10lowest_gapEPKii");

std::int32_t gap_or_pretended(const std::int32_t* table, std::int32_t count)
{
    return pretended_gap != 0 ? pretended_gap : real_gap(table, count);
}

namespace {

using namespace harness;
using testing::ElementsAre;

// All tables of some of the numbers 1 to 12.
TEST(DescriptorSearch, FindsTheLowestGap)
{
    for (unsigned members = 0; members < 1U << 12; ++members) {
        std::vector<std::int32_t> table;
        std::int32_t expected = 0;
        for (std::int32_t number = 1; number <= 13; ++number) {
            if ((members >> (number - 1) & 1U) != 0) {
                table.push_back(number);
            } else if (expected == 0) {
                expected = number;
            }
        }
        EXPECT_EQ(common::client::lowest_gap(table.data(), static_cast<std::int32_t>(table.size())),
                  expected);
    }
    EXPECT_EQ(common::client::lowest_gap(nullptr, 0), 1);
}

// A table of two billion descriptors is more than a test should have.
TEST(DescriptorSearch, NoNumberLeftIsAPanic)
{
    const Outcome outcome = run_fresh([] {
        EXPECT_EQ(Allocate_Descriptor(), 1);
        pretended_gap = INT32_MAX;
        (void)Allocate_Descriptor();
    });
    EXPECT_THAT(outcome, exited(1));
    EXPECT_THAT(outcome.log,
                ElementsAre(said(COMMON_LogLevelError, "CLDES", "client_descriptor",
                                 "Allocate_Descriptor", "Out of descriptors"),
                            said(COMMON_LogLevelCritical, "CLDES", "client_descriptor",
                                 "CommonPanic", "*** Common Panic: critical failure ***")));
}

}  // namespace
