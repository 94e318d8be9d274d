// A process that really has no memory left, for the library and for the C library alike.
#include "mem_malloc.h"

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <unistd.h>

#include "fake_proc.h"
#include "memory_report.h"

using namespace harness;
using testing::ElementsAre;
using testing::StrEq;

namespace {

/// Lets the process grow by a few megabytes only.
void limit_memory()
{
    std::size_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    const auto bytes = pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) + (4U << 20);
    const rlimit limit{bytes, bytes};
    ASSERT_EQ(setrlimit(RLIMIT_AS, &limit), 0);
}

/// Takes every free block that there is, down to the smallest: those of each size lie apart.
void take_all_memory()
{
    static void* volatile last_block;
    for (std::size_t size = 1U << 20; size != 0; size -= size > 4096 ? size / 2 : 8) {
        do {
            last_block = std::malloc(size);
        } while (last_block != nullptr);
    }
}

/// No process of 32 bits could have it, and the compiler, which warns of that, is not to know.
const volatile std::uint32_t too_large = UINT32_MAX;

TEST(MemMallocExhausted, BlockThatIsTooLargeEndsTheProcess)
{
    const Outcome outcome = run_fresh([] {
        tell_process_id();
        limit_memory();
        MEM_Free(MEM_Malloc(1000));
        (void)MEM_Malloc(too_large);
    });
    EXPECT_THAT(outcome, exited(1));
    EXPECT_THAT(outcome.log, ElementsAre(memory_report(kernel_name() + "/ ", outcome, kNoMemory)));
}

TEST(MemMallocExhausted, BlockThatCannotGrowEndsTheProcess)
{
    const Outcome outcome = run_fresh([] {
        tell_process_id();
        limit_memory();
        (void)MEM_Realloc(MEM_Malloc(1000), too_large);
    });
    EXPECT_THAT(outcome, exited(1));
    EXPECT_THAT(outcome.log,
                ElementsAre(memory_report(kernel_name() + "/ ", outcome, kNoMemoryAgain)));
}

TEST(MemMallocExhausted, FirstUseOfTheLibraryWithoutAnyMemoryIsReported)
{
    const Outcome outcome = run_fresh([] {
        tell_process_id();
        limit_memory();
        take_all_memory();
        (void)MEM_Malloc(64);
    });
    EXPECT_THAT(outcome, exited(1));
    EXPECT_THAT(outcome.log,
                ElementsAre(said(COMMON_LogLevelError, "", "common_log", "handlerLegacy",
                                 "Failed to allocate memory for log data"),
                            memory_report(kernel_name() + "/ ", outcome, kNoMemory)));
    EXPECT_THAT(outcome.err, StrEq(""));
}

TEST(MemMallocExhausted, TextThatCannotBeCopiedIsNull)
{
    const Outcome outcome = well([] {
        limit_memory();
        take_all_memory();
        const char* const copy = MEM_StrDup("some text that is longer than the smallest block");
        _exit(copy == nullptr ? 0 : 2);
    });
    EXPECT_THAT(outcome.log, testing::IsEmpty());
}

}  // namespace
