// Scenarios of the fault sweep: mutexes and monitors.
#include <cerrno>
#include <ctime>

#include "asleep.h"
#include "scenario.h"

using namespace faults;

namespace {

/// What the platform refuses is reported, and the next step is taken.
Promise reports(Call call, const char* file, const char* function, const std::string& what)
{
    return on(call).logs(
        {said(COMMON_LogLevelFatal, "", file, function, what + " with error: {error}")});
}

Promise commit_reports(Call call, const char* what)
{
    return reports(call, "common_mutex", "COMMON_Mutex_Commit", what);
}

Promise operation_reports(Call call)
{
    return reports(call, "common_mutex", "common_mutexHandler", "The mutex operation failed");
}

/// A mutex that works when it is ended.
class Mutex {
public:
    Mutex() { COMMON_Mutex_Commit(mutex_); }
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    ~Mutex()
    {
        COMMON_Mutex_Lock(mutex_);
        EXPECT_EQ(pthread_mutex_trylock(&mutex_->mutex), EBUSY);
        COMMON_Mutex_Unlock(mutex_);
        COMMON_Mutex_Delete(mutex_);
    }

    operator COMMON_Mutex*() { return mutex_; }

private:
    COMMON_Mutex* mutex_ = COMMON_Mutex_New();
};

SCENARIO(COMMON_Mutex_New, gives("set"), out_of_memory_ends())
{
    COMMON_Mutex* const mutex = CALL(COMMON_Mutex_New);
    COMMON_Mutex_Commit(mutex);
    COMMON_Mutex_Delete(mutex);
}

SCENARIO(
    COMMON_Mutex_Commit,
    commit_reports(Call::pthread_mutexattr_init, "Failed to initialize the mutex attributes"),
    commit_reports(Call::pthread_mutexattr_setprioceiling, "Failed to set the priority ceiling"),
    commit_reports(Call::pthread_mutexattr_setprotocol, "Failed to set the mutexProtocol"),
    commit_reports(Call::pthread_mutexattr_settype, "Failed to set the recursive attribute").nth(1),
    commit_reports(Call::pthread_mutexattr_settype, "Failed to set the type").nth(2),
    commit_reports(Call::pthread_mutexattr_setpshared, "Failed to set the shared attribute"),
    commit_reports(Call::pthread_mutex_init, "Failed to initialize the mutex"))
{
    COMMON_Mutex mutex;
    COMMON_Mutex_Initialize(&mutex);
    COMMON_Mutex_SetPriorityCeiling(&mutex, 1);
    COMMON_Mutex_SetProtocol(&mutex, COMMON_MutexProtocolProtected);
    COMMON_Mutex_SetRecursive(&mutex, 1);
    COMMON_Mutex_SetShared(&mutex, 1);
    COMMON_Mutex_SetType(&mutex, COMMON_MutexTypeRecursive);
    CALL(COMMON_Mutex_Commit, &mutex);
    COMMON_Mutex_Destroy(&mutex);
    COMMON_Mutex_Initialize(&mutex);
    COMMON_Mutex_Commit(&mutex);
    COMMON_Mutex_Lock(&mutex);
    COMMON_Mutex_Unlock(&mutex);
    COMMON_Mutex_Destroy(&mutex);
}

SCENARIO(COMMON_Mutex_Lock, operation_reports(Call::pthread_mutex_lock))
{
    Mutex mutex;
    CALL(COMMON_Mutex_Lock, mutex);
    if (!failed()) {
        COMMON_Mutex_Unlock(mutex);
    }
}

SCENARIO(COMMON_Mutex_Unlock, operation_reports(Call::pthread_mutex_unlock))
{
    Mutex mutex;
    COMMON_Mutex_Lock(mutex);
    CALL(COMMON_Mutex_Unlock, mutex);
}

SCENARIO(COMMON_Mutex_Relock, operation_reports(Call::pthread_mutex_unlock),
         operation_reports(Call::pthread_mutex_lock))
{
    Mutex mutex;
    COMMON_Mutex_Lock(mutex);
    CALL(COMMON_Mutex_Relock, mutex);
    COMMON_Mutex* const record = mutex;
    if (pthread_mutex_trylock(&record->mutex) == EBUSY || !failed()) {
        COMMON_Mutex_Unlock(mutex);
    } else {
        pthread_mutex_unlock(&record->mutex);
    }
}

SCENARIO(COMMON_Mutex_Destroy, reports(Call::pthread_mutex_destroy, "common_mutex",
                                       "COMMON_Mutex_Destroy", "Failed to destroy the mutex"))
{
    COMMON_Mutex mutex;
    COMMON_Mutex_Initialize(&mutex);
    COMMON_Mutex_Commit(&mutex);
    CALL(COMMON_Mutex_Destroy, &mutex);
}

SCENARIO(COMMON_Mutex_Delete, reports(Call::pthread_mutex_destroy, "common_mutex",
                                      "COMMON_Mutex_Destroy", "Failed to destroy the mutex"))
{
    COMMON_Mutex* const mutex = COMMON_Mutex_New();
    COMMON_Mutex_Commit(mutex);
    CALL(COMMON_Mutex_Delete, mutex);
}

SCENARIO(MutexAttributesAreStored)
{
    COMMON_Mutex mutex;
    CALL(COMMON_Mutex_Initialize, &mutex);
    CALL(COMMON_Mutex_SetPriorityCeiling, &mutex, 1);
    CALL(COMMON_Mutex_SetProtocol, &mutex, COMMON_MutexProtocolProtected);
    CALL(COMMON_Mutex_SetRecursive, &mutex, 1);
    CALL(COMMON_Mutex_SetShared, &mutex, 1);
    CALL(COMMON_Mutex_SetType, &mutex, COMMON_MutexTypeRecursive);
    EXPECT_EQ(CALL(COMMON_Mutex_GetPriorityCeiling, &mutex), 1);
    EXPECT_EQ(CALL(COMMON_Mutex_GetProtocol, &mutex), COMMON_MutexProtocolProtected);
    EXPECT_EQ(CALL(COMMON_Mutex_GetRecursive, &mutex), 1U);
    EXPECT_EQ(CALL(COMMON_Mutex_GetShared, &mutex), 1U);
    EXPECT_EQ(CALL(COMMON_Mutex_GetType, &mutex), COMMON_MutexTypeRecursive);
    EXPECT_STREQ(CALL(COMMON_MutexType_ToString, COMMON_MutexTypeRecursive), "Recursive");
    EXPECT_STREQ(CALL(COMMON_MutexProtocol_ToString, COMMON_MutexProtocolProtected), "Protected");
}

/// A monitor that works when it is ended.
class Monitor {
public:
    Monitor() = default;
    Monitor(const Monitor&) = delete;
    Monitor& operator=(const Monitor&) = delete;

    ~Monitor()
    {
        COMMON_Monitor_Lock(monitor_);
        EXPECT_EQ(COMMON_Monitor_WaitTimed(monitor_, 1), 1U);
        COMMON_Monitor_Unlock(monitor_);
        COMMON_Monitor_Delete(monitor_);
    }

    operator COMMON_Monitor*() { return monitor_; }

    void notify()
    {
        COMMON_Monitor_Lock(monitor_);
        COMMON_Monitor_Notify(monitor_);
        COMMON_Monitor_Unlock(monitor_);
    }

private:
    COMMON_Monitor* monitor_ = COMMON_Monitor_New();
};

Promise initialize_reports(Call call, const char* what)
{
    return reports(call, "common_monitor", "COMMON_Monitor_Initialize", what);
}

/// How a monitor is made, whoever makes it.
std::vector<Promise> steps_of_a_monitor()
{
    return {
        initialize_reports(Call::pthread_condattr_init,
                           "Failed to initialize the condition variable attributes"),
        initialize_reports(Call::pthread_condattr_setclock,
                           "Failed to set clock for the condition variable attribute"),
        initialize_reports(Call::pthread_cond_init, "Failed to initialize the condition variable"),
        initialize_reports(Call::pthread_condattr_destroy,
                           "Failed to destroy the condition variable attributes"),
        commit_reports(Call::pthread_mutexattr_init, "Failed to initialize the mutex attributes"),
        commit_reports(Call::pthread_mutex_init, "Failed to initialize the mutex")};
}

SCENARIO(COMMON_Monitor_New, gives("set"), out_of_memory_ends(), steps_of_a_monitor())
{
    COMMON_Monitor* const monitor = CALL(COMMON_Monitor_New);
    COMMON_Monitor_Lock(monitor);
    COMMON_Monitor_Notify(monitor);
    COMMON_Monitor_Unlock(monitor);
    COMMON_Monitor_Delete(monitor);
}

SCENARIO(COMMON_Monitor_Initialize, steps_of_a_monitor())
{
    COMMON_Monitor monitor{};
    CALL(COMMON_Monitor_Initialize, &monitor, nullptr);
    COMMON_Monitor_Lock(&monitor);
    EXPECT_EQ(COMMON_Monitor_WaitAbsolute(&monitor, 1), 1U);
    COMMON_Monitor_Unlock(&monitor);
    COMMON_Monitor_Destroy(&monitor);
}

SCENARIO(COMMON_Monitor_Lock, operation_reports(Call::pthread_mutex_lock))
{
    Monitor monitor;
    CALL(COMMON_Monitor_Lock, monitor);
    if (!failed()) {
        COMMON_Monitor_Unlock(monitor);
    }
}

SCENARIO(COMMON_Monitor_Unlock, operation_reports(Call::pthread_mutex_unlock))
{
    Monitor monitor;
    COMMON_Monitor_Lock(monitor);
    CALL(COMMON_Monitor_Unlock, monitor);
}

Promise notify_reports(Call call)
{
    return reports(call, "common_monitor", "common_monitorHandler",
                   "Failed to notify the condition variable");
}

SCENARIO(COMMON_Monitor_Notify, notify_reports(Call::pthread_cond_signal))
{
    Monitor monitor;
    CALL(COMMON_Monitor_Notify, monitor);
}

SCENARIO(COMMON_Monitor_NotifyAll, notify_reports(Call::pthread_cond_broadcast))
{
    Monitor monitor;
    CALL(COMMON_Monitor_NotifyAll, monitor);
}

/// Longer than any run.
constexpr std::uint64_t kLong_ns = 3'600'000'000'000;

SCENARIO(COMMON_Monitor_Wait, reports(Call::pthread_cond_wait, "common_monitor",
                                      "COMMON_Monitor_Wait", "Failed to wait on the monitor"))
{
    Monitor monitor;
    const OnceAsleep notifies([&] { monitor.notify(); });
    COMMON_Monitor_Lock(monitor);
    CALL(COMMON_Monitor_Wait, monitor);
    COMMON_Monitor_Unlock(monitor);
}

/// A time-out is a result, and every other error a failure.
std::vector<Promise> end_of_a_timed_wait()
{
    return {on(Call::pthread_cond_timedwait).with({ETIMEDOUT}).gives("1"),
            reports(Call::pthread_cond_timedwait, "common_monitor", "COMMON_Monitor_WaitAbsolute",
                    "Failed to wait on the monitor")};
}

SCENARIO(COMMON_Monitor_WaitAbsolute, gives("0"), end_of_a_timed_wait())
{
    Monitor monitor;
    const OnceAsleep notifies([&] { monitor.notify(); });
    COMMON_Monitor_Lock(monitor);
    const std::uint64_t deadline = COMMON_System_GetTimeByClockId(CLOCK_MONOTONIC) + kLong_ns;
    CALL(COMMON_Monitor_WaitAbsolute, monitor, deadline);
    COMMON_Monitor_Unlock(monitor);
}

SCENARIO(COMMON_Monitor_WaitTimed, gives("0"), end_of_a_timed_wait(), Spared{Call::clock_gettime})
{
    Monitor monitor;
    const OnceAsleep notifies([&] { monitor.notify(); });
    COMMON_Monitor_Lock(monitor);
    CALL(COMMON_Monitor_WaitTimed, monitor, kLong_ns);
    COMMON_Monitor_Unlock(monitor);
}

/// A clock that cannot be read counts as 0: half of the time that the machine has been up has
/// passed then. Whether it passes before the notification otherwise is up to the machine.
SCENARIO(TimedWaitWithoutAClock, Spared{Call::pthread_cond_timedwait},
         reports(Call::clock_gettime, "common_system", "COMMON_System_GetTimeByClockId",
                 "Failed to get the CLOCK_MONOTONIC time")
             .gives("1"))
{
    Monitor monitor;
    const OnceAsleep notifies([&] { monitor.notify(); });
    COMMON_Monitor_Lock(monitor);
    const std::uint64_t passed_ns = COMMON_System_GetTimeByClockId(CLOCK_MONOTONIC) / 2;
    const std::uint32_t timed_out = UNTOLD_CALL(COMMON_Monitor_WaitTimed, monitor, passed_ns);
    if (failed()) {
        note_result(shown(timed_out));
    }
    COMMON_Monitor_Unlock(monitor);
}

std::vector<Promise> end_of_a_monitor()
{
    return {reports(Call::pthread_cond_destroy, "common_monitor", "COMMON_Monitor_Destroy",
                    "Failed to destroy the condition variabe"),
            reports(Call::pthread_mutex_destroy, "common_mutex", "COMMON_Mutex_Destroy",
                    "Failed to destroy the mutex")};
}

SCENARIO(COMMON_Monitor_Destroy, end_of_a_monitor())
{
    COMMON_Monitor monitor{};
    COMMON_Monitor_Initialize(&monitor, nullptr);
    CALL(COMMON_Monitor_Destroy, &monitor);
}

SCENARIO(COMMON_Monitor_Delete, end_of_a_monitor())
{
    COMMON_Monitor* const monitor = COMMON_Monitor_New();
    CALL(COMMON_Monitor_Delete, monitor);
}

}  // namespace
