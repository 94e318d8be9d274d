// A real-time clock that a test holds and moves. A test program gets it by having held_clock.cpp
// among its sources; it defines what the library calls.
#pragma once

#include <chrono>
#include <cstdint>

namespace harness {

/// Holds the real-time clock of this process at a time since the epoch.
void hold_clock_at(std::int64_t seconds, std::int32_t nanoseconds = 0);

/// Moves a held clock, forwards or backwards.
void move_clock(std::chrono::milliseconds distance);

}  // namespace harness
