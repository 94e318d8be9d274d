// Where zeroed blocks are asked for: this program stands between the library and the C library.
#include <cstddef>

#include <gmock/gmock.h>

#include "foundation/allocation.h"
#include "mem_malloc.h"

// The linker calls __wrap_calloc instead of calloc(), which is then __real_calloc.
extern "C" void* real_calloc(std::size_t count, std::size_t size) __asm__("__real_calloc");
extern "C" void* counted_calloc(std::size_t count, std::size_t size) __asm__("__wrap_calloc");

namespace {

int calls = 0;

int calls_for(void* (*allocate)(std::size_t), std::size_t size)
{
    calls = 0;
    MEM_Free(allocate(size));
    return calls;
}

void* salloc(std::size_t size)
{
    return MEM_Salloc(static_cast<std::uint32_t>(size));
}

}  // namespace

void* counted_calloc(std::size_t count, std::size_t size)
{
    ++calls;
    return real_calloc(count, size);
}

namespace {

TEST(MemMallocInternal, SmallZeroedBlocksComeFromTheThreadsOwn)
{
    for (const std::size_t size : {0U, 1U, 16U, 128U, 1024U, 4096U}) {
        EXPECT_EQ(calls_for(salloc, size), 0) << size;
        EXPECT_EQ(calls_for(common::try_allocate_zeroed, size), 0) << size;
    }
}

TEST(MemMallocInternal, FreshPagesOfLargeZeroedBlocksAreLeftAlone)
{
    for (const std::size_t size : {4097U, 1'000'000U}) {
        EXPECT_EQ(calls_for(salloc, size), 1) << size;
        EXPECT_EQ(calls_for(common::try_allocate_zeroed, size), 1) << size;
    }
}

}  // namespace
