// What the logging group knows about the calling thread.
#pragma once

#include <cstdint>

#include "platform/thread_name.h"

namespace common {

/// The once-initialisations of the logging group, innermost first: the log facility's runs the
/// other two, the process record's may write debug rows.
enum class InitRank : std::uint8_t { None, Debug, Process, Log };

/// What the logging group knows about the calling thread. A few bytes, so that they fit into the
/// static thread-local block also when the library is loaded late.
struct ThreadState {
    /// The innermost initialisation that this thread is running.
    InitRank initialising = InitRank::None;
    /// A failing clock is being reported, which itself needs the time.
    bool reporting_clock = false;
    /// The settings files are being read again, which itself may write rows.
    bool rereading = false;
    /// The thread is ending and its log record is gone.
    bool record_released = false;
    /// The process-wide locks, one bit each, that this thread holds for its fork.
    std::uint8_t locks_for_fork = 0;
    /// The name that the child of this thread's fork is to have; empty for the thread's own.
    char name_of_child[kThreadNameSize] = {};
};

extern constinit thread_local ThreadState thread_state;

/// Gives a word of the calling thread's state another value for a scope.
template <typename T>
class StateScope {
public:
    StateScope(T& state, T value) noexcept : state_(state), before_(state) { state_ = value; }
    StateScope(const StateScope&) = delete;
    StateScope& operator=(const StateScope&) = delete;
    ~StateScope() { state_ = before_; }

private:
    T& state_;
    const T before_;
};

}  // namespace common
