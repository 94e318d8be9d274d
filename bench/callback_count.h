/**
 * @file callback_count.h
 * What the callbacks of the measured state machines do.
 */
#ifndef BENCH_CALLBACK_COUNT_H
#define BENCH_CALLBACK_COUNT_H

#include <cstdint>

namespace bench {

/** How many callbacks were called. */
inline std::uint64_t callback_count;

/** A callback where it is no function of its own: the compiler shall not merge the work of several.
 */
[[gnu::noipa]] inline void called()
{
    ++callback_count;
}

/** The same for one that declines. */
[[gnu::noipa]] inline bool called_in_vain()
{
    ++callback_count;
    return false;
}

}  // namespace bench

#endif
