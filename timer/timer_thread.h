// The threads of a timer: how a start gets one, what they wait for, and how they leave.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <ctime>

#include "log/report.h"
#include "timer.h"

namespace common::timer {

/// The life of a timer's thread. Only the thread itself goes from one phase to the next.
enum class Phase : std::uint8_t {
    Starting,     ///< created, but not yet in place
    Waiting,      ///< it awaits its deadline or, while it has none, the next start
    Calling,      ///< it runs a callback, or reports
    Lost,         ///< it has ended without the mutex
    NeverInPlace  ///< the same, and had not come into place
};

}  // namespace common::timer

/// A thread of a timer, in the list of its timer. Guarded by the timer's mutex but for what is set
/// before the thread is created, and for the phases of a thread that cannot take the mutex.
struct TMR_Thread {
    TMR* timer;
    TMR_Thread* next;
    /// The deadline that is awaited: what it calls.
    TMR_Callback_t callback;
    void* argument;
    std::uint32_t interval_ms;
    std::uint32_t origin;  ///< whose starts it serves
    timespec until{};      ///< its deadline or, while it is idle, when it leaves
    timespec wakes{};      ///< when its wait ends by itself; 0 when it does not wait or was woken
    pthread_t id{};
    std::atomic<common::timer::Phase> phase{common::timer::Phase::Starting};
    bool armed = true;  ///< it awaits the deadline
    bool told = false;  ///< a wake-up of its wait may be the timer's
};

namespace common::timer {

inline constexpr Source kSource{"timer", Module::Timer};
inline constexpr char kCannotLock[] = "Could not lock mutex: %d";
inline constexpr char kCannotSignal[] = "Could not signal timer";
inline constexpr char kCannotLaunch[] = "The timer thread cannot be launched";

/// What came of giving a deadline to a thread.
struct Arming {
    const char* failure = nullptr;  ///< what a restart reports; null when a thread has got it
    bool launched = false;      ///< a new thread has got it, and will post the started semaphore
    bool clock_failed = false;  ///< the clock could not be read: to be reported without the mutex
};

/// Gives the timer's stored callback, argument and interval to a thread.
Arming arm_locked(TMR& timer) noexcept;

/// Waits until a launched thread is in place; false when one has ended instead.
bool await_launched(TMR& timer) noexcept;

/// Takes back all deadlines; false when a thread that has to be woken for that cannot be.
bool disarm_all_locked(TMR& timer) noexcept;

/// Ends the threads of a stopped timer. True when none is left, and the record is the caller's.
/// Otherwise the last of them releases it, also when they cannot be woken, or, when the mutex
/// cannot be taken, nothing was done; both are reported.
bool end_threads(TMR& timer, Here here = Here::now()) noexcept;

/// Forgets the threads, in a forked child, where there are none.
void forget_threads(TMR& timer) noexcept;

/// Locks the mutex; false when that fails, which is reported.
bool lock(TMR& timer, Here here = Here::now()) noexcept;

/// Unlocks the mutex: 0 or the error number.
int unlock(TMR& timer) noexcept;

/// Releases the parts of a timer and its record.
void destroy(TMR* timer) noexcept;

/// Reports that the clock cannot be read.
void report_clock() noexcept;

/// The flag as others see it, who do not hold the mutex.
bool in_use(TMR& timer) noexcept;

/// A thread of a timer: awaits one deadline after the other until there are none for a while.
void* TimerHandler(void* argument);

// What the threads and the functions above share.

/// Whose starts the calling thread's are: a number of its own or, in a timer's thread, that of
/// whoever had it launched, whose scheduling and signal mask it inherited.
extern constinit thread_local std::uint32_t thread_origin;

/// The phase needs no order with other memory: whoever looks for a lost thread has seen it counted.
inline Phase phase_of(const TMR_Thread& thread) noexcept
{
    return thread.phase.load(std::memory_order_relaxed);
}

constexpr bool is_later(const timespec& time, const timespec& than) noexcept
{
    return time.tv_sec != than.tv_sec ? time.tv_sec > than.tv_sec : time.tv_nsec > than.tv_nsec;
}

/// The time `interval_ms` from now; false when the clock cannot be read, and it counts from its
/// origin.
bool deadline_after(std::uint32_t interval_ms, timespec& deadline) noexcept;

void update_in_use(TMR& timer) noexcept;

/// From now on the thread is idle.
void disarm_locked(TMR& timer, TMR_Thread& thread) noexcept;

/// A wake-up by the timer may reach any thread that waits now.
void tell_waiting_locked(TMR& timer) noexcept;

void unlink_locked(TMR& timer, const TMR_Thread& thread) noexcept;

/// Whether a timer that was deleted by its own callback has to be released now.
bool nobody_left_locked(const TMR& timer) noexcept;

}  // namespace common::timer
