#include "timer/timer_thread.h"

#include <cerrno>
#include <cstdlib>

#include "log/process_locks.h"
#include "platform/thread_name.h"
#include "platform/uncancelled_scope.h"

namespace common::timer {

namespace {

/// What goes wrong in a thread is reported in its name, whichever function notices.
constexpr char kThread[] = "TimerHandler";

void enter(TMR_Thread& self, Phase phase) noexcept
{
    self.phase.store(phase, std::memory_order_relaxed);
}

/// Ends a thread that cannot take the mutex. Its entry stays in the list until somebody who has the
/// mutex takes it out. The timer may be gone afterwards.
void lose(TMR_Thread& self) noexcept
{
    TMR& timer = *self.timer;
    const bool was_in_place = phase_of(self) != Phase::Starting;
    enter(self, was_in_place ? Phase::Lost : Phase::NeverInPlace);
    std::atomic_ref(timer.lostThreads).fetch_add(1, std::memory_order_release);
    if (!was_in_place) {
        sem_post(&timer.started);
    }
    sem_post(&timer.stopped);
}

void unlock_in_thread(TMR& timer) noexcept
{
    if (unlock(timer) != 0) {
        COMMON_REPORT_AS(kThread, kSource, Error, "Could not unlock mutex");
    }
}

/// Takes the calling thread off its timer and unlocks. The timer may be gone afterwards: whoever
/// waits for the thread, or the thread itself, if nobody does, releases it.
void leave_locked(TMR& timer, TMR_Thread* self) noexcept
{
    unlink_locked(timer, *self);
    std::free(self);
    const bool ending = timer.ending != 0;
    const bool orphaned = timer.orphaned != 0;
    const bool last = nobody_left_locked(timer);
    unlock_in_thread(timer);
    if (ending && !orphaned) {
        sem_post(&timer.stopped);
    } else if (last) {
        destroy(&timer);
    }
}

/// Takes the mutex again after a callback; false when that fails, and the thread is lost.
bool relock(TMR_Thread& self) noexcept
{
    if (!lock(*self.timer, Here::now(kThread))) {
        lose(self);
        return false;
    }
    enter(self, Phase::Waiting);
    return true;
}

/// A callback at work. A child that it forks has a copy of the thread, but there the thread is no
/// timer's any more: its entry may be gone, as whoever uses the timer first forgets all threads.
struct Call {
    TMR_Thread& self;
    const std::uint32_t forks = fork_count.load(std::memory_order_relaxed);

    bool in_child() const noexcept { return forks != fork_count.load(std::memory_order_relaxed); }
};

/// The clean-up of a callback that ends its thread.
void leave_after_exit(void* argument) noexcept
{
    const Call& call = *static_cast<const Call*>(argument);
    if (!call.in_child() && relock(call.self)) {
        leave_locked(*call.self.timer, &call.self);
    }
}

/// Calls back, and takes the mutex again. False when the thread is the timer's no more.
bool call_back(TMR_Thread& self, TMR_Callback_t callback, void* argument)
{
    Call call{self};
    int ignored = 0;
    pthread_cleanup_push(leave_after_exit, &call);
    pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &ignored);
    callback(argument);
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &ignored);
    pthread_cleanup_pop(0);
    return !call.in_child() && relock(self);
}

/// The deadline has passed: calls back without the mutex. False when the thread is the timer's no
/// more.
bool expire_locked(TMR& timer, TMR_Thread& self)
{
    const TMR_Callback_t callback = self.callback;
    void* const argument = self.argument;
    enter(self, Phase::Calling);
    disarm_locked(timer, self);
    unlock_in_thread(timer);
    if (!call_back(self, callback, argument)) {
        return false;
    }
    disarm_locked(timer, self);
    return true;
}

/// Ends a thread whose wait failed. It stays in the list while it reports, so that nobody deletes
/// the timer and then still finds the thread at work.
void report_and_leave_locked(TMR& timer, TMR_Thread& self) noexcept
{
    enter(self, Phase::Calling);
    unlock_in_thread(timer);
    COMMON_REPORT_AS(kThread, kSource, Error, "Error waiting");
    if (relock(self)) {
        leave_locked(timer, &self);
    }
}

/// Whether a wake-up by the timer is on its way to a thread.
bool is_anybody_told(const TMR& timer) noexcept
{
    const TMR_Thread* thread = timer.threads;
    while (thread != nullptr && !thread->told) {
        thread = thread->next;
    }
    return thread != nullptr;
}

/// Whether the wake-up that has ended a wait, or came too late for it, is the timer's.
bool take_told_locked(TMR& timer, TMR_Thread& self, int error) noexcept
{
    // One that comes as a wait times out is given to another thread that waits, by the C library.
    const bool told = self.told || (error == 0 && is_anybody_told(timer));
    if (self.told && error == ETIMEDOUT) {
        tell_waiting_locked(timer);
    }
    self.told = false;
    return told;
}

/// Waits once and does what is to be done then. False when the thread has left its timer.
bool serve_locked(TMR& timer, TMR_Thread& self)
{
    int error = 0;
    const timespec end = self.until;
    if (timer.ending == 0) {
        self.wakes = end;
        // With the slack that the thread inherits: a finer one is for its process to choose.
        error = pthread_cond_timedwait(&timer.condition, &timer.mutex, &end);
    }
    const bool told = take_told_locked(timer, self, error);
    if (timer.ending != 0) {
        leave_locked(timer, &self);
        return false;
    }
    if (error == 0) {
        if (self.armed && !told) {
            // Oddity: woken by somebody else, who has the record's condition, it is treated as
            // stopped. Test: TimerCondition.WakeUpThatNoStopAskedForIsTreatedLikeAStop.
            disarm_locked(timer, self);
        }
        return true;
    }
    if (error != ETIMEDOUT) {
        disarm_locked(timer, self);
        report_and_leave_locked(timer, self);
        return false;
    }
    if (is_later(self.until, end)) {
        return true;  // it has got another deadline meanwhile
    }
    if (self.armed) {
        return expire_locked(timer, self);
    }
    leave_locked(timer, &self);
    return false;
}

}  // namespace

constinit thread_local std::uint32_t thread_origin = 0;

bool deadline_after(std::uint32_t interval_ms, timespec& deadline) noexcept
{
    deadline = {};
    const bool read = clock_gettime(CLOCK_MONOTONIC, &deadline) == 0;
    deadline.tv_sec += static_cast<std::time_t>(interval_ms / 1000);
    deadline.tv_nsec += static_cast<long>(interval_ms % 1000) * 1'000'000;
    if (deadline.tv_nsec > 999'999'999) {
        deadline.tv_nsec -= 1'000'000'000;
        ++deadline.tv_sec;
    }
    return read;
}

void update_in_use(TMR& timer) noexcept
{
    bool armed = false;
    for (const TMR_Thread* thread = timer.threads; thread != nullptr; thread = thread->next) {
        armed = armed || thread->armed;
    }
    std::atomic_ref(timer.inUse).store(armed ? 1 : 0, std::memory_order_release);
}

void disarm_locked(TMR& timer, TMR_Thread& thread) noexcept
{
    constexpr std::uint32_t kIdle_ms = 2'000;  // how long an idle thread stays for the next start
    thread.armed = false;
    deadline_after(kIdle_ms, thread.until);
    update_in_use(timer);
}

void tell_waiting_locked(TMR& timer) noexcept
{
    for (TMR_Thread* thread = timer.threads; thread != nullptr; thread = thread->next) {
        thread->told = phase_of(*thread) == Phase::Waiting;
    }
}

void unlink_locked(TMR& timer, const TMR_Thread& thread) noexcept
{
    TMR_Thread** link = &timer.threads;
    while (*link != &thread) {
        link = &(*link)->next;
    }
    *link = thread.next;
}

bool nobody_left_locked(const TMR& timer) noexcept
{
    return timer.orphaned != 0 && timer.threads == nullptr && timer.starting == 0;
}

bool lock(TMR& timer, Here here) noexcept
{
    const int error = pthread_mutex_lock(&timer.mutex);
    if (error != 0) {
        report(kSource, COMMON_LogLevelError, here, kCannotLock, error);
    }
    return error == 0;
}

int unlock(TMR& timer) noexcept
{
    const int error = pthread_mutex_unlock(&timer.mutex);
    if (error != 0) {
        // Left locked it would hang all that comes after.
        pthread_mutex_unlock(&timer.mutex);
    }
    return error;
}

void destroy(TMR* timer) noexcept
{
    sem_destroy(&timer->started);
    sem_destroy(&timer->stopped);
    pthread_cond_destroy(&timer->condition);
    pthread_mutex_destroy(&timer->mutex);
    std::free(timer);
}

void report_clock() noexcept
{
    COMMON_REPORT_AS(kThread, kSource, Critical, "Error getting current time");
}

void* TimerHandler(void* argument)
{
    auto* const self = static_cast<TMR_Thread*>(argument);
    if (self == nullptr) {
        return nullptr;
    }
    const UncancelledScope uncancelled;
    name_own_thread(kTimerThreadName);
    thread_origin = self->origin;
    TMR& timer = *self->timer;
    timespec deadline{};
    if (!deadline_after(self->interval_ms, deadline)) {
        report_clock();
    }
    if (!lock(timer)) {
        lose(*self);
        return nullptr;
    }
    self->id = pthread_self();
    enter(*self, Phase::Waiting);
    if (self->armed) {
        self->until = deadline;
    }
    // Whoever started the timer goes on once this thread waits and the mutex is free again.
    sem_post(&timer.started);
    while (serve_locked(timer, *self)) {
    }
    return nullptr;
}

}  // namespace common::timer
