// The record of a thread, which the built-in handler keeps from one write to the next.
#pragma once

#include <cstdint>
#include <string_view>

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
    COMMON_LogRecord record;
};

/// The calling thread's record: null before its first write, and after its end has begun. The
/// thread-specific slot has it, too, whose destructor frees it; this is read without a call.
extern constinit thread_local ThreadRecord* own_record;

/// Makes a record that of the calling thread.
void initialise_record(ThreadRecord& own) noexcept;

/// Makes the calling thread's record: null when that fails, which is reported in the name of the
/// function that wants it, and when there is no slot for it or the thread is ending.
ThreadRecord* new_thread_record(const char* reporting_function) noexcept;

/// The name of the process, once it is captured; empty before.
inline std::string_view captured_process_name() noexcept
{
    return logger.captured.load(std::memory_order_acquire)
               ? std::string_view(logger.process.name, logger.process.nameLength)
               : std::string_view("");
}

}  // namespace common::log
