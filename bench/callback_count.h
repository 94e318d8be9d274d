// What the callbacks of the measured state machines do.
#pragma once

#include <cstdint>

/// Keeps the compiler from looking into a function and from merging the work of several.
#if defined(__clang__)
#define BENCH_OPAQUE [[gnu::noinline]]
#else
#define BENCH_OPAQUE [[gnu::noipa]]
#endif

namespace bench {

/// How many callbacks were called.
inline std::uint64_t callback_count;

/// A callback where it is no function of its own.
BENCH_OPAQUE inline void called()
{
    ++callback_count;
}

/// The same for one that declines.
BENCH_OPAQUE inline bool called_in_vain()
{
    ++callback_count;
    return false;
}

}  // namespace bench
