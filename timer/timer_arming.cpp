// What starts, stops and deletions do to the threads of a timer.
#include <cstdlib>
#include <new>

#include "platform/uncancelled_scope.h"
#include "timer/detached_thread.h"
#include "timer/timer_thread.h"

namespace common::timer {

namespace {

/// The last number that was given to a thread.
constinit std::atomic<std::uint32_t> last_origin{0};

std::uint32_t current_origin() noexcept
{
    while (thread_origin == 0) {
        thread_origin = last_origin.fetch_add(1, std::memory_order_relaxed) + 1;
    }
    return thread_origin;
}

void wait_for(sem_t& semaphore) noexcept
{
    while (sem_wait(&semaphore) != 0) {  // a signal handler ran
    }
}

/// An idle thread that serves the starts of the calling thread; null when there is none.
TMR_Thread* idle_thread(TMR& timer) noexcept
{
    TMR_Thread* thread = timer.threads;
    while (thread != nullptr && (phase_of(*thread) != Phase::Waiting || thread->armed ||
                                 thread->origin != current_origin())) {
        thread = thread->next;
    }
    return thread;
}

/// Wakes all threads that wait; false when the platform refuses.
bool wake_all_locked(TMR& timer) noexcept
{
    bool woken = true;
    tell_waiting_locked(timer);
    // As many signals as there are threads that may be waiting: each reaches one of them.
    for (TMR_Thread* thread = timer.threads; thread != nullptr; thread = thread->next) {
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

/// What a restart reports of a thread that did not start.
const char* failure_of(ThreadStart start) noexcept
{
    switch (start) {  // GCOVR_EXCL_BR_LINE can't happen: no other ends
    // GCOVR_EXCL_START can't happen: it is asked when the thread did not start
    case ThreadStart::Started:
        return nullptr;
    // GCOVR_EXCL_STOP
    case ThreadStart::NoAttributes:
        return "The thread initialization failed!";
    case ThreadStart::NoProperties:
        return "The timer thread properties cannot be set";
    case ThreadStart::NoThread:
        break;
    }
    return kCannotLaunch;
}

/// Creates a thread that computes its deadline itself.
Arming launch_locked(TMR& timer) noexcept
{
    void* const memory = std::malloc(sizeof(TMR_Thread));
    if (memory == nullptr) {
        return {.failure = kCannotLaunch};
    }
    // Others see it only with the mutex, so not before it is known to run.
    timer.threads = ::new (memory) TMR_Thread{.timer = &timer,
                                              .next = timer.threads,
                                              .callback = timer.callback,
                                              .argument = timer.argument,
                                              .interval_ms = timer.interval,
                                              .origin = current_origin()};
    TMR_Thread& thread = *timer.threads;
    const ThreadStart start = start_detached(TimerHandler, &thread);
    if (start != ThreadStart::Started) {
        unlink_locked(timer, thread);
        std::free(&thread);
        return {.failure = failure_of(start)};
    }
    ++timer.starting;
    return {.launched = true};
}

Arming hand_over_locked(TMR& timer, TMR_Thread& thread) noexcept
{
    thread.callback = timer.callback;
    thread.argument = timer.argument;
    thread.interval_ms = timer.interval;
    const bool clock_failed = !deadline_after(timer.interval, thread.until);
    thread.armed = true;
    // Otherwise it wakes in time, finds the new deadline and goes on waiting.
    if (oversleeps(thread) && !wake_all_locked(timer)) {
        disarm_locked(timer, thread);
        return {.failure = kCannotSignal, .clock_failed = clock_failed};
    }
    return {.clock_failed = clock_failed};
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
        const Phase phase = phase_of(*thread);
        if (phase != Phase::Lost && phase != Phase::NeverInPlace) {
            link = &thread->next;
            continue;
        }
        *link = thread->next;
        never_in_place += phase == Phase::NeverInPlace ? 1 : 0;
        wait_for(timer.stopped);
        std::free(thread);
        std::atomic_ref(timer.lostThreads).fetch_sub(1, std::memory_order_relaxed);
    }
    update_in_use(timer);
    return never_in_place;
}

}  // namespace

Arming arm_locked(TMR& timer) noexcept
{
    timer.stopRequested = 0;
    if (timer.ending != 0) {
        // A callback's start: a thread would leave at once, and count as one that the deletion
        // waits for.
        return {};
    }
    TMR_Thread* const idle = idle_thread(timer);
    const Arming arming = idle != nullptr ? hand_over_locked(timer, *idle) : launch_locked(timer);
    update_in_use(timer);
    return arming;
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

bool end_threads(TMR& timer, Here here) noexcept
{
    if (const int error = pthread_mutex_lock(&timer.mutex); error != 0) {
        const bool none = timer.threads == nullptr;
        if (!none) {
            report(kSource, COMMON_LogLevelError, here, kCannotLock, error);
        }
        return none;
    }
    bool own = false;
    unsigned count = 0;
    for (const TMR_Thread* thread = timer.threads; thread != nullptr; thread = thread->next) {
        own = own || (phase_of(*thread) == Phase::Calling &&
                      pthread_equal(thread->id, pthread_self()) != 0);
        ++count;
    }
    timer.ending = 1;
    const bool woken = wake_all_locked(timer);
    timer.orphaned = own || !woken ? 1 : 0;
    unlock(timer);
    if (!woken) {
        report(kSource, COMMON_LogLevelError, here, "%s", kCannotSignal);
    }
    if (own || !woken) {
        return false;
    }
    const UncancelledScope uncancelled;
    for (; count > 0; --count) {
        wait_for(timer.stopped);
    }
    forget_threads(timer);  // the lost ones
    return true;
}

void forget_threads(TMR& timer) noexcept
{
    while (TMR_Thread* const thread = timer.threads) {
        timer.threads = thread->next;
        std::free(thread);
    }
    timer.lostThreads = 0;
}

bool in_use(TMR& timer) noexcept
{
    return std::atomic_ref(timer.inUse).load(std::memory_order_acquire) != 0;
}

}  // namespace common::timer
