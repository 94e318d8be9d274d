// Local time as text, shared by log records and debug rows.
#pragma once

#include <cstddef>
#include <cstdint>

namespace common {

inline constexpr std::uint64_t kNanosecondsPerSecond = 1'000'000'000;
inline constexpr std::uint64_t kSecondsPerDay = 86'400;

/// Longest local time text, with its terminating zero.
inline constexpr std::size_t kLocalTimeCapacity = 61;

/// Writes the local time of day, HH:MM:SS, in the time zone that is in force now; in a child that
/// cannot ask the C library (log/process_locks.h), in the one that was last seen. False when it
/// cannot be computed.
bool local_time_text(std::uint64_t seconds, char (&text)[kLocalTimeCapacity]) noexcept;

}  // namespace common
