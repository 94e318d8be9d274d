// Waiting for a word of memory to change.
#pragma once

#include <cstdint>
#include <ctime>

namespace common {

/// Sleeps while the word holds `expected`, for a time at most. Returns early when it is woken, when
/// the word holds something else, when a signal handler ran, or after some milliseconds where the
/// kernel refuses such a wait: the caller looks for itself. The word is not shared with other
/// processes.
void futex_wait(const std::uint32_t* word, std::uint32_t expected,
                const timespec& at_most) noexcept;

/// Wakes one thread that sleeps on the word. Only the address counts: the memory is not touched and
/// may have been freed.
void futex_wake_one(const std::uint32_t* word) noexcept;

}  // namespace common
