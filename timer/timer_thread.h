// The threads of a timer: how a start gets one, what they wait for, and how they leave.
#pragma once

#include <pthread.h>

#include <cstdint>
#include <ctime>

#include "foundation/source.h"
#include "timer.h"

/// A thread of a timer, in the list of its timer. Guarded by the timer's mutex but for what is set
/// before the thread is created.
struct TMR_Thread {
    TMR* timer;
    TMR_Thread* next;
    /// The deadline that is awaited: what it calls.
    TMR_Callback_t callback;
    void* argument;
    std::uint32_t interval_ms;
    std::uint32_t origin;  ///< whose starts it serves
    timespec until;        ///< its deadline or, while it is idle, when it leaves
    timespec wakes;        ///< when its wait ends by itself; 0 when it does not wait or was woken
    pthread_t id;
    bool claimed;  ///< the thread runs and has been in place
    bool armed;    ///< it awaits the deadline
    bool calling;  ///< it runs a callback, or reports
    bool told;     ///< it was woken by the timer, not by anybody else
    bool lost;     ///< it has ended without the mutex
};

namespace common {

inline constexpr Source kTimerSource{"timer", Module::Timer};

enum class ArmResult : std::uint8_t {
    Armed,         ///< an idle thread has got the deadline
    Launched,      ///< a new thread has got it, and will post the started semaphore
    NoAttributes,  ///< the rest are failures
    NoProperties,
    NoThread,
    NoSignal
};

/// Gives the timer's stored callback, argument and interval to a thread. `clock_failed` tells that
/// the clock could not be read, which is to be reported without the mutex.
ArmResult arm_locked(TMR& timer, bool& clock_failed) noexcept;

/// Waits until a launched thread is in place; false when one has ended instead.
bool await_launched(TMR& timer) noexcept;

/// Takes back all deadlines; false when a thread that has to be woken for that cannot be.
bool disarm_all_locked(TMR& timer) noexcept;

/// What became of a timer's threads.
enum class ThreadsEnd : std::uint8_t {
    Gone,     ///< none is left, and the record is the caller's
    Left,     ///< the last of them releases the record
    NoLock,   ///< nothing was done: the mutex cannot be taken
    NoSignal  ///< they cannot be woken: the last of them releases the record
};

/// Ends the threads of a stopped timer. `error` is that of the mutex.
ThreadsEnd end_threads(TMR& timer, int& error) noexcept;

/// Forgets the threads, in a forked child, where there are none.
void forget_threads(TMR& timer) noexcept;

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

}  // namespace common
