// Loads, and what headers promise under them: brief in the suite, full with "./dev limits".
//
//     TEST(MapLimits, ...)
//     {
//         const int pairs = load(1'000, 100'000);
//         ...
//         promise("100,000 pairs", "each is found", counted(found, pairs), found == pairs);
//     }
//
// docs/limits.md has a row for each promise, which ./dev limits --renew writes.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "fresh_process.h"
#include "heap.h"

namespace harness {

/// Whether the loads are full: COMMON_TEST_LIMITS is "full".
bool is_full();

/// How large a load is.
template <typename Number>
Number load(Number brief, Number full)
{
    return is_full() ? full : brief;
}

/// Puts a promise to the test: a check fails when it does not hold. COMMON_TEST_LIMITS_ROWS names
/// the file that gets it as a row; bodies in fresh processes write theirs, too.
/// @param loaded the full load, as the table has it.
/// @param promised what the header says.
/// @param measured as a ratio or a count: a time alone tells more of the machine.
void promise(const std::string& loaded, const std::string& promised, const std::string& measured,
             bool holds, const char* file = __builtin_FILE(), int line = __builtin_LINE());

/// The same, of memory that is given back, but for the little that the test itself may keep.
/// @param before, in_use what heap_bytes() gave.
void promise_given_back(const std::string& loaded, const std::string& promised, std::int64_t before,
                        std::int64_t in_use, const char* file = __builtin_FILE(),
                        int line = __builtin_LINE());

/// A number with commas.
std::string number(std::int64_t value);

/// "9,999 of 10,000".
std::string counted(std::int64_t count, std::int64_t of);

/// A quotient: "1.3 times".
std::string times(double ratio);

/// Bytes in the unit that suits.
std::string bytes(double count);

/// What a fresh process needs for a load: a time limit for hours, as a full one takes minutes.
FreshSetup load_setup();

/// Memory of the process that is in use now.
std::int64_t resident_bytes();

/// Processor time of the calling thread for some work, the least of three times in nanoseconds: it
/// does not count what other processes take.
double processor_ns(const std::function<void()>& work);

/// Stack that some work touches, in a thread of its own.
double stack_bytes(const std::function<void()>& work);

}  // namespace harness
