#include "timer.h"

#include <cstddef>
#include <cstdlib>
#include <ctime>

#include "log/process_locks.h"
#include "log/report.h"
#include "timer/timer_thread.h"

namespace {

/// Where a field begins that follows one.
constexpr std::size_t after(std::size_t offset, std::size_t size_bytes, std::size_t alignment)
{
    return (offset + size_bytes + alignment - 1) / alignment * alignment;
}

static_assert(offsetof(TMR, callback) == 0);
static_assert(offsetof(TMR, argument) == sizeof(void*));
static_assert(offsetof(TMR, interval) == 2 * sizeof(void*));
static_assert(offsetof(TMR, mutex) == (sizeof(void*) == 4 ? 12 : 24));
// A condition is aligned to 8 bytes on 32-bit ARM, to 4 on x86.
static_assert(offsetof(TMR, condition) ==
              after(offsetof(TMR, mutex), sizeof(pthread_mutex_t), alignof(pthread_cond_t)));
static_assert(offsetof(TMR, started) == offsetof(TMR, condition) + sizeof(pthread_cond_t));
static_assert(offsetof(TMR, stopped) == offsetof(TMR, started) + sizeof(sem_t));
static_assert(offsetof(TMR, inUse) == offsetof(TMR, stopped) + sizeof(sem_t));
static_assert(offsetof(TMR, stopRequested) == offsetof(TMR, inUse) + 4);
static_assert(sizeof(void*) != 4 ||
              offsetof(TMR, stopRequested) == (alignof(pthread_cond_t) == 4 ? 120 : 124));

using namespace common::timer;

constexpr char kCannotStart[] = "Could not start timer";

/// Makes the parts of a timer.
bool initialise(TMR& timer) noexcept
{
    pthread_mutexattr_t mutex_attributes;
    pthread_condattr_t condition_attributes;
    const bool made = pthread_mutexattr_init(&mutex_attributes) == 0 &&
                      pthread_mutexattr_settype(&mutex_attributes, PTHREAD_MUTEX_RECURSIVE) == 0 &&
                      // Oddity: not with these attributes. The mutex is not recursive, only its
                      // attributes have to be there; neither kind of attributes is destroyed.
                      // Test: TimerInternal.MutexIsNotRecursiveAndTheConditionIsMonotonic.
                      pthread_mutex_init(&timer.mutex, nullptr) == 0 &&
                      pthread_condattr_init(&condition_attributes) == 0 &&
                      pthread_condattr_setclock(&condition_attributes, CLOCK_MONOTONIC) == 0 &&
                      pthread_cond_init(&timer.condition, &condition_attributes) == 0 &&
                      sem_init(&timer.started, 0, 0) == 0 && sem_init(&timer.stopped, 0, 0) == 0;
    timer.inUse = 0;
    timer.stopRequested = 0;
    timer.threads = nullptr;
    timer.starting = 0;
    timer.lostThreads = 0;
    timer.ending = 0;
    timer.orphaned = 0;
    timer.forks = common::fork_count.load(std::memory_order_relaxed);
    return made;
}

bool is_from_parent(const TMR& timer) noexcept
{
    return timer.forks != common::fork_count.load(std::memory_order_relaxed);
}

/// Makes a timer that came with a fork usable: its threads stayed behind, and its mutex may have
/// been taken. False when its parts cannot be made anew.
bool settle_after_fork(TMR& timer) noexcept
{
    if (!is_from_parent(timer)) {
        return true;
    }
    forget_threads(timer);
    const std::uint32_t forks = timer.forks;
    if (initialise(timer)) {
        return true;
    }
    timer.forks = forks;
    return false;
}

void unlock_and_report(TMR& timer, common::Here here) noexcept
{
    const int error = unlock(timer);
    if (error != 0) {
        common::report(kSource, COMMON_LogLevelError, here, "Could not unlock mutex: %d", error);
    }
}

/// Gives the locked timer's deadline to a thread, unlocks and waits until the thread is in place.
/// What a restart reports; null when it went well.
const char* arm_and_unlock(TMR& timer, common::Here here = common::Here::now()) noexcept
{
    const Arming arming = arm_locked(timer);
    unlock_and_report(timer, here);
    if (arming.clock_failed) {
        report_clock();
    }
    return arming.launched && !await_launched(timer) ? kCannotLaunch : arming.failure;
}

bool is_null(const TMR* timer, common::Here here = common::Here::now()) noexcept
{
    if (timer == nullptr) {
        common::report(kSource, COMMON_LogLevelError, here, "%s",
                       "Invalid input parameter 'tmrPtr' = NULL!");
    }
    return timer == nullptr;
}

}  // namespace

extern "C" {

TMR* TMR_New(void)
{
    auto* const timer = static_cast<TMR*>(std::malloc(sizeof(TMR)));
    if (timer == nullptr) {
        return nullptr;
    }
    timer->callback = nullptr;
    timer->argument = nullptr;
    timer->interval = 0;
    if (!initialise(*timer)) {
        COMMON_REPORT(kSource, Error, "Could not create timer");
        std::free(timer);
        return nullptr;
    }
    return timer;
}

uint32_t TMR_Start(TMR* timer, TMR_Callback_t callback, void* argument, uint32_t interval_ms)
{
    if (timer == nullptr || callback == nullptr || interval_ms == 0) {
        return 0;
    }
    if (!settle_after_fork(*timer)) {
        COMMON_REPORT(kSource, Error, kCannotStart);
        return 0;
    }
    if (!lock(*timer)) {
        return 0;
    }
    timer->callback = callback;
    timer->argument = argument;
    timer->interval = interval_ms;
    if (arm_and_unlock(*timer) != nullptr) {
        COMMON_REPORT(kSource, Error, kCannotStart);
        return 0;
    }
    return 1;
}

TMR_Return_t TMR_Stop(TMR* timer)
{
    // Oddity: this is the one call that does not report a null timer, and callers rely on
    // its silence. Test: Timer.NullIsReportedButNotByStop.
    if (timer == nullptr) {
        return TMR_ReturnNullTimer;
    }
    if (!settle_after_fork(*timer)) {
        return TMR_ReturnNotSet;
    }
    if (!lock(*timer)) {
        return TMR_ReturnFailed;
    }
    TMR_Return_t result = TMR_ReturnNotSet;
    if (in_use(*timer)) {
        timer->stopRequested = 1;
        result = disarm_all_locked(*timer) ? TMR_ReturnSuccess : TMR_ReturnFailed;
    }
    unlock_and_report(*timer, common::Here::now());
    if (result == TMR_ReturnFailed) {
        COMMON_REPORT(kSource, Error, kCannotSignal);
    }
    return result;
}

TMR_Return_t TMR_Restart(TMR* timer)
{
    if (is_null(timer)) {
        return TMR_ReturnNullTimer;
    }
    const TMR_Return_t stopped = TMR_Stop(timer);
    if (stopped != TMR_ReturnSuccess) {
        return stopped;
    }
    if (!lock(*timer)) {
        return TMR_ReturnFailed;
    }
    if (const char* const failure = arm_and_unlock(*timer); failure != nullptr) {
        COMMON_REPORT(kSource, Error, "%s", failure);
        return TMR_ReturnFailed;
    }
    return TMR_ReturnSuccess;
}

void TMR_Delete(TMR* timer)
{
    if (is_null(timer)) {
        return;
    }
    if (!settle_after_fork(*timer)) {
        std::free(timer);
        return;
    }
    TMR_Stop(timer);
    if (end_threads(*timer)) {
        destroy(timer);
    }
}

uint32_t TMR_InUse(TMR* timer)
{
    if (is_null(timer)) {
        return 0;
    }
    return !is_from_parent(*timer) && in_use(*timer) ? 1 : 0;
}

const char* TMR_ReturnToStr(TMR_Return_t code)
{
    switch (code) {
    case TMR_ReturnSuccess:
        return "Success";
    case TMR_ReturnFailed:
        return "Failed";
    case TMR_ReturnNotSet:
        return "Not Set";
    default:
        // Oddity: a null timer has no text of its own; callers know it as "Invalid".
        // Test: Timer.ResultsHaveTexts.
        return "Invalid";
    }
}

}  // extern "C"
