// What is lost in each round is noticed, wherever the C library had it from.
#include "heap.h"

#include <cstdlib>

#include <gtest/gtest-spi.h>

namespace {

/// What is lost, which a compiler must not see.
void* volatile lost;

void lose(std::size_t size)
{
    lost = std::malloc(size);
}

TEST(Heap, NoticesASmallBlockThatIsLost)
{
    EXPECT_NONFATAL_FAILURE(harness::expect_no_leak([] { lose(100); }), "a block is lost");
}

TEST(Heap, NoticesABlockWithAMappingOfItsOwnThatIsLost)
{
    EXPECT_NONFATAL_FAILURE(harness::expect_no_leak([] { lose(1 << 20); }), "a block is lost");
}

TEST(Heap, IsContentWithBlocksThatAreFreed)
{
    harness::expect_no_leak([] {
        for (const std::size_t size : {100U, 1U << 20}) {
            lose(size);
            std::free(lost);
        }
    });
}

}  // namespace
