// Whether a piece of code gives back the memory that it takes. The sanitizers find what is lost by
// themselves; this is for builds without one.
#pragma once

#include <cstddef>
#include <functional>
#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include <gtest/gtest.h>

#include "sanitizer.h"

namespace harness {

/// The bytes of all blocks that are in use, of this process with one thread; 0 where nobody knows.
inline std::size_t heap_in_use()
{
#if defined(__GLIBC__) && !defined(HARNESS_ADDRESS_SANITIZER) && !defined(HARNESS_THREAD_SANITIZER)
    return mallinfo2().uordblks;
#else
    return 0;
#endif
}

/// Expects that a body leaves no block behind. It runs many times: the first ones may fill what is
/// kept for ever, such as a thread's record and the C library's free lists.
inline void expect_no_leak(const std::function<void()>& body)
{
    constexpr int kRounds = 16;
    for (int round = 0; round < kRounds; ++round) {
        body();
    }
    const std::size_t before = heap_in_use();
    for (int round = 0; round < kRounds; ++round) {
        body();
    }
    EXPECT_EQ(heap_in_use(), before) << "a block is lost in each of " << kRounds << " rounds";
}

}  // namespace harness
