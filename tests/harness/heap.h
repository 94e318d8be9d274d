// Whether a piece of code gives back the memory that it takes. The sanitizers find what is lost by
// themselves; this is for builds without one.
#pragma once

#include <cstdint>
#include <functional>
#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include <gtest/gtest.h>

#include "sanitizer.h"

namespace harness {

/// The bytes of all blocks of the process that are in use, also of those that have a mapping of
/// their own; 0 where nobody knows.
inline std::int64_t heap_bytes()
{
#if defined(__GLIBC__) && !defined(HARNESS_ADDRESS_SANITIZER) && !defined(HARNESS_THREAD_SANITIZER)
    const struct mallinfo2 info = mallinfo2();
    return static_cast<std::int64_t>(info.uordblks + info.hblkhd);
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
    const std::int64_t before = heap_bytes();
    for (int round = 0; round < kRounds; ++round) {
        body();
    }
    EXPECT_EQ(heap_bytes(), before) << "a block is lost in each of " << kRounds << " rounds";
}

}  // namespace harness
