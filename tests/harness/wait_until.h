// Waiting for a state with a deadline, instead of sleeping and hoping.
#pragma once

#include <chrono>
#include <functional>

namespace harness {

/// Stretches a time limit for a slow machine or an instrumented program: times the environment
/// variable COMMON_TEST_TIME_FACTOR, a number above 0, which is 1 when unset.
std::chrono::milliseconds stretched(std::chrono::milliseconds limit);

/// Time after which a wait gives up, before it is stretched.
inline constexpr std::chrono::milliseconds kPatience{30'000};

/// Waits until a condition holds, asking every millisecond.
/// @param condition called in the waiting thread; it must not block.
/// @param limit is stretched.
/// @return whether the condition held in time.
[[nodiscard]] bool wait_until(const std::function<bool()>& condition,
                              std::chrono::milliseconds limit = kPatience);

/// Tells whether a thread of the calling process sleeps in the kernel: it waits for a lock, say.
bool is_blocked(int thread);

/// A flag that one thread or process sets and others wait for. One made before a fork is shared
/// with the child. Setting it is safe in a signal handler and inside a forced failure's hook.
class Event {
public:
    Event();
    ~Event();
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;

    /// Sets the flag, for good.
    void set();

    /// Waits for the flag. @param limit is stretched. @return whether it was set in time.
    [[nodiscard]] bool wait(std::chrono::milliseconds limit = kPatience) const;

    /// Tells whether the flag is set, without waiting.
    bool is_set() const;

private:
    int fd_;
};

}  // namespace harness
