// The process-wide locks, and the answer to fork.
#pragma once

#include <pthread.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

#include "foundation/thread_state.h"

namespace common {

/// In the order in which a thread may take them.
enum class ProcessLock : std::uint8_t {
    /// Guards the table of client descriptors (containers/client_descriptor.cpp). Recursive: a
    /// failure is reported while it is held.
    Descriptors,
    /// Guards the reading of the module configuration file.
    ModuleConfig,
    /// Guards the registration of module names.
    ModuleNames,
    /// Guards the replacement of the log handler and the making of the record slot.
    Handler,
    /// Held around the C library's local time, whose own lock would stay taken in a child forked
    /// meanwhile.
    LocalTime,
    /// Held while the C library hands a record over, for the same reason. Nothing is taken under
    /// it.
    SystemLog,
    /// How many there are.
    Count,
};
inline constexpr auto kProcessLockCount = static_cast<std::size_t>(ProcessLock::Count);
static_assert(kProcessLockCount <= 8 * sizeof ThreadState::locks_for_fork, "one bit each");

extern constinit std::array<pthread_mutex_t, kProcessLockCount> process_locks;

constexpr std::uint8_t bit_of(ProcessLock lock) noexcept
{
    return static_cast<std::uint8_t>(1U << static_cast<unsigned>(lock));
}

/// Takes a lock: 0, or the error number. A thread that holds it for its fork has it already: the
/// handlers of that fork which the program registered before it loaded the library run meanwhile.
inline int take(ProcessLock lock) noexcept
{
    return (thread_state.locks_for_fork & bit_of(lock)) != 0
               ? 0
               : pthread_mutex_lock(&process_locks[static_cast<std::size_t>(lock)]);
}

/// Releases a lock that take() gave: 0, or the error number.
inline int release(ProcessLock lock) noexcept
{
    return (thread_state.locks_for_fork & bit_of(lock)) != 0
               ? 0
               : pthread_mutex_unlock(&process_locks[static_cast<std::size_t>(lock)]);
}

/// Holds a lock for a scope that has no cancellation point. Should taking it fail, the scope runs
/// without the lock: nothing that these locks guard is worth more than going on.
class ProcessLockScope {
public:
    explicit ProcessLockScope(ProcessLock lock) noexcept : lock_(lock), taken_(take(lock) == 0) {}
    ProcessLockScope(const ProcessLockScope&) = delete;
    ProcessLockScope& operator=(const ProcessLockScope&) = delete;
    ~ProcessLockScope()
    {
        if (taken_) {
            release(lock_);
        }
    }

private:
    const ProcessLock lock_;
    const bool taken_;
};

/// The locks, one bit each, that could not be had for the fork of this process or of one that it
/// descends from. A thread that is not here was in the middle of what such a lock guards: the table
/// of descriptors may be half changed, and the C library's own locks stay taken for good. What the
/// other locks guard can be used at every moment.
extern constinit std::atomic<std::uint8_t> lost_locks;

inline bool is_lost(ProcessLock lock) noexcept
{
    return (lost_locks.load(std::memory_order_relaxed) & bit_of(lock)) != 0;
}

/// How many forks this process descends from since the library was loaded.
extern constinit std::atomic<std::uint32_t> fork_count;

}  // namespace common
