// Clocks that a test holds and moves. A test program gets it by having held_clock.cpp
// among its sources; it defines what the library calls.
#pragma once

#include <chrono>
#include <cstdint>

namespace harness {

/// Holds the real-time clock of this process at a time since the epoch.
void hold_clock_at(std::int64_t seconds, std::int32_t nanoseconds = 0);

/// Moves a held clock, forwards or backwards.
void move_clock(std::chrono::milliseconds distance);

/// Holds the monotonic clock of this process at a time, or moves it there. Nothing that waits by it
/// ends then.
void hold_monotonic_clock_at(std::int64_t seconds, std::int32_t nanoseconds = 0);

}  // namespace harness
