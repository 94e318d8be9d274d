#include "timer/timer_thread.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>

#include "log/process_locks.h"
#include "log/report.h"
#include "platform/uncancelled_scope.h"
#include "timer/detached_thread.h"

namespace common {

namespace {

/// How long an idle thread stays for the next start.
constexpr std::uint32_t kIdle_ms = 2'000;

/// Whose starts the calling thread's are: a number of its own or, in a timer's thread, that of
/// whoever had it launched, whose scheduling and signal mask it inherited.
constinit thread_local std::uint32_t thread_origin = 0;

/// The last number that was given to a thread.
constinit std::atomic<std::uint32_t> last_origin{0};

std::uint32_t current_origin() noexcept
{
    while (thread_origin == 0) {
        thread_origin = last_origin.fetch_add(1, std::memory_order_relaxed) + 1;
    }
    return thread_origin;
}

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
    report(kTimerSource, COMMON_LogLevel##level, {"TimerHandler", __LINE__}, __VA_ARGS__)

void wait_for(sem_t& semaphore) noexcept
{
    while (sem_wait(&semaphore) != 0) {  // a signal handler ran
    }
}

/// An idle thread that serves the starts of the calling thread; null when there is none.
TMR_Thread* idle_thread(TMR& timer) noexcept
{
    TMR_Thread* thread = timer.threads;
    while (thread != nullptr && (!thread->claimed || thread->armed || thread->calling ||
                                 thread->origin != current_origin())) {
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

/// From now on the thread is idle.
void disarm_locked(TMR& timer, TMR_Thread& thread) noexcept
{
    thread.armed = false;
    deadline_after(kIdle_ms, thread.until);
    update_in_use(timer);
}

/// Wakes all threads that wait; false when the platform refuses.
bool wake_all_locked(TMR& timer) noexcept
{
    bool woken = true;
    // As many signals as there are threads that may be waiting: each reaches one of them.
    for (TMR_Thread* thread = timer.threads; thread != nullptr; thread = thread->next) {
        thread->told = true;
        woken = pthread_cond_signal(&timer.condition) == 0 && woken;
    }
    for (TMR_Thread* thread = timer.threads; woken && thread != nullptr; thread = thread->next) {
        thread->wakes = {};
    }
    return woken;
}

/// Whether a thread would sleep for too long.
bool oversleeps(const TMR_Thread& thread) noexcept
{
    return is_later(thread.wakes, thread.until);
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
    *thread = TMR_Thread{};
    thread->timer = &timer;
    thread->next = timer.threads;
    thread->callback = timer.callback;
    thread->argument = timer.argument;
    thread->interval_ms = timer.interval;
    thread->origin = current_origin();
    thread->armed = true;
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
    clock_failed = !deadline_after(timer.interval, thread.until);
    thread.armed = true;
    // Otherwise it wakes in time, finds the new deadline and goes on waiting.
    if (oversleeps(thread) && !wake_all_locked(timer)) {
        disarm_locked(timer, thread);
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
    self.calling = true;
    disarm_locked(timer, self);
    if (unlock(timer) != 0) {
        REPORT_OF_THREAD(Error, "Could not unlock mutex");
    }
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
    self.calling = true;
    if (unlock(timer) != 0) {
        REPORT_OF_THREAD(Error, "Could not unlock mutex");
    }
    REPORT_OF_THREAD(Error, "Error waiting");
    if (relock(self)) {
        leave_locked(timer, &self);
    }
}

/// Waits once and does what is to be done then. False when the thread has left its timer.
bool serve_locked(TMR& timer, TMR_Thread& self)
{
    int error = 0;
    const timespec end = self.until;
    if (timer.ending == 0) {
        self.told = false;
        self.wakes = end;
        error = pthread_cond_timedwait(&timer.condition, &timer.mutex, &end);
    }
    if (timer.ending != 0) {
        leave_locked(timer, &self);
        return false;
    }
    if (error == 0) {
        if (self.armed && !self.told) {
            // Woken by somebody else, who has the record's condition: treated like a stop, as
            // callers know it.
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
    timer.stopRequested = 0;
    TMR_Thread* const idle = idle_thread(timer);
    const ArmResult result =
        idle != nullptr ? hand_over_locked(timer, *idle, clock_failed) : launch_locked(timer);
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

bool disarm_all_locked(TMR& timer) noexcept
{
    bool sleeping = false;
    for (TMR_Thread* thread = timer.threads; thread != nullptr; thread = thread->next) {
        if (thread->armed) {
            disarm_locked(timer, *thread);
            sleeping = sleeping || oversleeps(*thread);
        }
    }
    // A thread that wakes soon sleeps on: it finds that it has nothing to do. One that sleeps for
    // long has to leave in time.
    return !sleeping || wake_all_locked(timer);
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
    thread_origin = self->origin;
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
    self->claimed = true;
    if (self->armed) {
        self->until = deadline;
    }
    // Whoever started the timer goes on once this thread waits and the mutex is free again.
    sem_post(&timer.started);
    while (serve_locked(timer, *self)) {
    }
    return nullptr;
}

}  // namespace common
