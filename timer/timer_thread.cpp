#include "timer/timer_thread.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <limits>

#include "log/report.h"
#include "platform/uncancelled_scope.h"
#include "timer/detached_thread.h"

namespace common {

namespace {

constexpr timespec kNever{std::numeric_limits<std::time_t>::max(), 0};

constexpr bool is_later(const timespec& time, const timespec& than) noexcept
{
    return time.tv_sec != than.tv_sec ? time.tv_sec > than.tv_sec : time.tv_nsec > than.tv_nsec;
}

/// The time `interval_ms` from now; false when the clock cannot be read, and it counts from its
/// origin.
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

/// What goes wrong in a thread is reported in its name, whichever function notices.
#define REPORT_OF_THREAD(level, ...) \
    report(kTimerSource, COMMON_LogLevel##level, "TimerHandler", __LINE__, __VA_ARGS__)

void wait_for(sem_t& semaphore) noexcept
{
    while (sem_wait(&semaphore) != 0) {  // a signal handler ran
    }
}

bool is_parked(const TMR_Thread& thread) noexcept
{
    return thread.claimed && !thread.armed && !thread.calling && !thread.lost;
}

TMR_Thread* parked_thread(TMR& timer, const TMR_Thread* but = nullptr) noexcept
{
    TMR_Thread* thread = timer.threads;
    while (thread != nullptr && (thread == but || !is_parked(*thread))) {
        thread = thread->next;
    }
    return thread;
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
    thread.armed = false;
    update_in_use(timer);
}

void unlink_locked(TMR& timer, const TMR_Thread& thread) noexcept
{
    TMR_Thread** link = &timer.threads;
    while (*link != &thread) {
        link = &(*link)->next;
    }
    *link = thread.next;
}

/// Creates a thread that computes its deadline itself.
ArmResult launch_locked(TMR& timer) noexcept
{
    auto* const thread = static_cast<TMR_Thread*>(std::malloc(sizeof(TMR_Thread)));
    if (thread == nullptr) {
        return ArmResult::NoThread;
    }
    *thread = TMR_Thread{&timer, timer.threads, timer.callback, timer.argument, timer.interval,
                         kNever, kNever,        pthread_t{},    false,          true,
                         false,  false,         false};
    // Others see it only with the mutex, so not before it is known to run.
    timer.threads = thread;
    const ThreadStart start = start_detached(TimerHandler, thread);
    if (start == ThreadStart::Started) {
        ++timer.starting;
        return ArmResult::Launched;
    }
    unlink_locked(timer, *thread);
    std::free(thread);
    switch (start) {
    case ThreadStart::NoAttributes:
        return ArmResult::NoAttributes;
    case ThreadStart::NoProperties:
        return ArmResult::NoProperties;
    default:
        return ArmResult::NoThread;
    }
}

ArmResult hand_over_locked(TMR& timer, TMR_Thread& thread, bool& clock_failed) noexcept
{
    thread.callback = timer.callback;
    thread.argument = timer.argument;
    thread.interval_ms = timer.interval;
    clock_failed = !deadline_after(timer.interval, thread.deadline);
    thread.armed = true;
    // Otherwise it wakes in time, finds the new deadline and goes on waiting.
    if (is_later(thread.wakes, thread.deadline) && !wake_all_locked(timer)) {
        thread.armed = false;
        return ArmResult::NoSignal;
    }
    return ArmResult::Armed;
}

/// Ends a thread that cannot take the mutex. Its entry stays in the list until somebody who has the
/// mutex takes it out. The timer may be gone afterwards.
void lose(TMR_Thread& self) noexcept
{
    TMR& timer = *self.timer;
    const bool was_in_place = self.claimed;
    self.lost = true;
    std::atomic_ref(timer.lostThreads).fetch_add(1, std::memory_order_release);
    if (!was_in_place) {
        sem_post(&timer.started);
    }
    sem_post(&timer.stopped);
}

/// Whether a timer that was deleted by its own callback has to be released now.
bool nobody_left_locked(const TMR& timer) noexcept
{
    return timer.orphaned != 0 && timer.threads == nullptr && timer.starting == 0;
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
    if (unlock(timer) != 0) {
        REPORT_OF_THREAD(Error, "Could not unlock mutex");
    }
    if (ending && !orphaned) {
        sem_post(&timer.stopped);
    } else if (last) {
        destroy(&timer);
    }
}

/// Takes the mutex again after a callback; false when that fails, and the thread is lost.
bool relock(TMR_Thread& self) noexcept
{
    const int error = pthread_mutex_lock(&self.timer->mutex);
    if (error != 0) {
        REPORT_OF_THREAD(Error, "Could not lock mutex: %d", error);
        lose(self);
        return false;
    }
    self.calling = false;
    return true;
}

/// The clean-up of a callback that ends its thread.
void leave_after_exit(void* argument) noexcept
{
    auto* const self = static_cast<TMR_Thread*>(argument);
    if (relock(*self)) {
        leave_locked(*self->timer, self);
    }
}

void call_back(TMR_Thread& self, TMR_Callback_t callback, void* argument)
{
    int ignored = 0;
    pthread_cleanup_push(leave_after_exit, &self);
    pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &ignored);
    callback(argument);
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &ignored);
    pthread_cleanup_pop(0);
}

/// The deadline has passed: calls back without the mutex. False when the thread is lost.
bool expire_locked(TMR& timer, TMR_Thread& self)
{
    const TMR_Callback_t callback = self.callback;
    void* const argument = self.argument;
    self.calling = true;
    disarm_locked(timer, self);
    if (unlock(timer) != 0) {
        REPORT_OF_THREAD(Error, "Could not unlock mutex");
    }
    call_back(self, callback, argument);
    return relock(self);
}

/// Ends a thread whose wait failed. It stays in the list while it reports, so that nobody deletes
/// the timer and then still finds the thread at work.
void report_and_leave_locked(TMR& timer, TMR_Thread& self) noexcept
{
    self.calling = true;
    if (unlock(timer) != 0) {
        REPORT_OF_THREAD(Error, "Could not unlock mutex");
    }
    REPORT_OF_THREAD(Error, "Error waiting");
    if (relock(self)) {
        leave_locked(timer, &self);
    }
}

/// Waits for the deadline or, parked, for the next start: what the platform's wait gives.
int wait_locked(TMR& timer, TMR_Thread& self) noexcept
{
    self.told = false;
    if (self.armed) {
        self.wakes = self.deadline;
        return pthread_cond_timedwait(&timer.condition, &timer.mutex, &self.wakes);
    }
    self.wakes = kNever;
    return pthread_cond_wait(&timer.condition, &timer.mutex);
}

/// Waits once and does what is to be done then. False when the thread has left its timer.
bool serve_locked(TMR& timer, TMR_Thread& self)
{
    const int error = timer.ending != 0 ? 0 : wait_locked(timer, self);
    if (timer.ending != 0) {
        leave_locked(timer, &self);
        return false;
    }
    const bool failed = error != 0 && error != ETIMEDOUT;
    if (self.armed && timer.stopRequested == 0 && !failed) {
        if (error == ETIMEDOUT) {
            // A wait that was begun for an earlier deadline, since stopped, is of no account.
            if (!is_later(self.deadline, self.wakes) && !expire_locked(timer, self)) {
                return false;
            }
        } else if (!self.told && timer.threads == &self && self.next == nullptr) {
            // Woken by somebody else, who has the record's condition: treated like a stop, as
            // callers know it. With several threads it may have been meant for another one.
            disarm_locked(timer, self);
        }
    } else if (self.armed) {
        disarm_locked(timer, self);  // by a stop that could not wake it, or the wait failed
    }
    if (failed) {
        report_and_leave_locked(timer, self);
        return false;
    }
    if (!self.armed && timer.ending == 0 && parked_thread(timer, &self) != nullptr) {
        leave_locked(timer, &self);
        return false;
    }
    return true;
}

/// Takes lost threads out of the list: how many of them never got into place.
unsigned reap_locked(TMR& timer) noexcept
{
    unsigned never_in_place = 0;
    if (std::atomic_ref(timer.lostThreads).load(std::memory_order_acquire) == 0) {
        return 0;
    }
    TMR_Thread** link = &timer.threads;
    while (TMR_Thread* const thread = *link) {
        if (!thread->lost) {
            link = &thread->next;
            continue;
        }
        *link = thread->next;
        never_in_place += thread->claimed ? 0 : 1;
        wait_for(timer.stopped);
        std::free(thread);
        std::atomic_ref(timer.lostThreads).fetch_sub(1, std::memory_order_relaxed);
    }
    update_in_use(timer);
    return never_in_place;
}

}  // namespace

ArmResult arm_locked(TMR& timer, bool& clock_failed) noexcept
{
    if (timer.stopRequested != 0) {
        disarm_all_locked(timer);  // whom a stop could not wake
    }
    timer.stopRequested = 0;
    TMR_Thread* const parked = parked_thread(timer);
    const ArmResult result =
        parked != nullptr ? hand_over_locked(timer, *parked, clock_failed) : launch_locked(timer);
    update_in_use(timer);
    return result;
}

bool await_launched(TMR& timer) noexcept
{
    const UncancelledScope uncancelled;
    wait_for(timer.started);
    if (pthread_mutex_lock(&timer.mutex) != 0) {
        return true;
    }
    const bool in_place = reap_locked(timer) == 0;
    --timer.starting;
    // The callback may already have run and deleted the timer.
    const bool last = nobody_left_locked(timer);
    unlock(timer);
    if (last) {
        destroy(&timer);
    }
    return in_place;
}

void disarm_all_locked(TMR& timer) noexcept
{
    for (TMR_Thread* thread = timer.threads; thread != nullptr; thread = thread->next) {
        thread->armed = false;
    }
    update_in_use(timer);
}

bool has_surplus_locked(const TMR& timer) noexcept
{
    unsigned waiting = 0;
    for (const TMR_Thread* thread = timer.threads; thread != nullptr; thread = thread->next) {
        waiting += thread->calling ? 0 : 1;
    }
    return waiting > 1;
}

bool wake_all_locked(TMR& timer) noexcept
{
    bool woken = true;
    // As many signals as there are threads that may be waiting: each reaches one of them.
    for (TMR_Thread* thread = timer.threads; thread != nullptr; thread = thread->next) {
        thread->told = true;
        woken = pthread_cond_signal(&timer.condition) == 0 && woken;
    }
    return woken;
}

ThreadsEnd end_threads(TMR& timer, int& error) noexcept
{
    error = pthread_mutex_lock(&timer.mutex);
    if (error != 0) {
        return timer.threads == nullptr ? ThreadsEnd::Gone : ThreadsEnd::NoLock;
    }
    bool own = false;
    unsigned count = 0;
    for (const TMR_Thread* thread = timer.threads; thread != nullptr; thread = thread->next) {
        own = own || (thread->calling && pthread_equal(thread->id, pthread_self()) != 0);
        ++count;
    }
    timer.ending = 1;
    const bool woken = wake_all_locked(timer);
    timer.orphaned = own || !woken ? 1 : 0;
    unlock(timer);
    if (own || !woken) {
        return woken ? ThreadsEnd::Left : ThreadsEnd::NoSignal;
    }
    const UncancelledScope uncancelled;
    for (; count > 0; --count) {
        wait_for(timer.stopped);
    }
    forget_threads(timer);  // the lost ones
    return ThreadsEnd::Gone;
}

void forget_threads(TMR& timer) noexcept
{
    while (TMR_Thread* const thread = timer.threads) {
        timer.threads = thread->next;
        std::free(thread);
    }
    timer.lostThreads = 0;
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
    REPORT_OF_THREAD(Critical, "Error getting current time");
}

bool in_use(TMR& timer) noexcept
{
    return std::atomic_ref(timer.inUse).load(std::memory_order_acquire) != 0;
}

void* TimerHandler(void* argument)
{
    auto* const self = static_cast<TMR_Thread*>(argument);
    if (self == nullptr) {
        return nullptr;
    }
    const UncancelledScope uncancelled;
    TMR& timer = *self->timer;
    timespec deadline{};
    if (!deadline_after(self->interval_ms, deadline)) {
        report_clock();
    }
    const int error = pthread_mutex_lock(&timer.mutex);
    if (error != 0) {
        COMMON_REPORT(kTimerSource, Error, "Could not lock mutex: %d", error);
        lose(*self);
        return nullptr;
    }
    self->id = pthread_self();
    self->deadline = deadline;
    self->claimed = true;
    // Whoever started the timer goes on once this thread waits and the mutex is free again.
    sem_post(&timer.started);
    while (serve_locked(timer, *self)) {
    }
    return nullptr;
}

}  // namespace common
