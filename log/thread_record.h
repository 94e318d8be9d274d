// The record of a thread, which the built-in handler keeps from one write to the next.
#pragma once

#include <cstdint>

#include "log/common_log_layout.h"
#include "log/logger.h"
#include "thread/clock.h"

namespace common::log {

/// A record and what goes with it from one write of a thread to the next.
struct ThreadRecord {
    /// The forks that this process descends from, when the record was initialised.
    std::uint32_t fork_count;
    std::uint32_t identity_length;
    /// The second that the stamp shows, plus one; 0 when it shows none.
    std::uint64_t stamp_second;
    /// "DDD.HH:MM:SS", and its length with and without the time of day.
    std::uint32_t stamp_length;
    std::uint32_t day_length;
    char stamp[12 + kLocalTimeCapacity];
    /// "process id, process name, thread id"
    char identity[300];
    /// What is sent, unless it is longer.
    char text[2304];
    COMMON_LogRecord record;
};

/// Makes a record that of the calling thread.
void initialise_record(ThreadRecord& own) noexcept;

/// Makes the calling thread's record: null when that fails, which is reported in the name of the
/// function that wants it.
ThreadRecord* new_thread_record(const char* reporting_function) noexcept;

/// The name of the process, once it is captured; empty before.
inline const char* captured_process_name() noexcept
{
    return logger.captured.load(std::memory_order_acquire) ? logger.process.name : "";
}

}  // namespace common::log
