/**
 * @file mutex.hpp
 * Locks and waiting: what std::lock_guard and std::unique_lock take.
 *
 *     commonpp::monitor monitor;
 *     ...
 *     std::unique_lock<commonpp::monitor> held(monitor);
 *     if (!monitor.wait_for(100ms, [&] { return ready; })) { ...
 *
 * The objects are the C records, no byte more, and cannot be copied or moved. Any thread may use
 * them. Failures of the platform are reported as common_mutex.h and common_monitor.h say.
 */
#pragma once

#include <chrono>
#include <cstdint>
#include <utility>

#include <common/common_monitor.h>
#include <common/common_mutex.h>

#include "detail.hpp"

namespace commonpp {

/** The attributes of a mutex: those of COMMON_Mutex, with its defaults. */
struct mutex_options {
    COMMON_MutexType_t type = COMMON_MutexTypeDefault;               /**< what locking again does */
    COMMON_MutexProtocol_t protocol = COMMON_MutexProtocolInherited; /**< the holder's priority */
    std::int32_t priority_ceiling = 0;                               /**< 0: none */
    bool shared = false; /**< by processes; the object is in shared memory then */
};

/** A mutex with chosen attributes. */
class mutex {
public:
    mutex() noexcept : mutex(mutex_options{}) {}
    /** A refused attribute is reported, and there is a mutex without it. */
    explicit mutex(const mutex_options& options) noexcept
    {
        COMMON_Mutex_Initialize(&record_);
        COMMON_Mutex_SetPriorityCeiling(&record_, options.priority_ceiling);
        COMMON_Mutex_SetProtocol(&record_, options.protocol);
        COMMON_Mutex_SetShared(&record_, options.shared ? 1 : 0);
        COMMON_Mutex_SetType(&record_, options.type);
        COMMON_Mutex_Commit(&record_);
    }
    /** Nobody may hold it. */
    ~mutex() { COMMON_Mutex_Destroy(&record_); }
    mutex(const mutex&) = delete;
    mutex& operator=(const mutex&) = delete;

    /** Locks, waiting for the holder. */
    void lock() noexcept { COMMON_Mutex_Lock(&record_); }
    /** Locks if nobody holds it, or the caller a recursive one. @return whether it did. */
    [[nodiscard]] bool try_lock() noexcept { return pthread_mutex_trylock(&record_.mutex) == 0; }
    /** Unlocks. */
    void unlock() noexcept { COMMON_Mutex_Unlock(&record_); }
    /** The C record, still this object's. */
    COMMON_Mutex* native() noexcept { return &record_; }

private:
    COMMON_Mutex record_;
};

/** A mutex with a condition on the monotonic clock. Waits are for whoever has locked it. */
class monitor {
public:
    monitor() noexcept { COMMON_Monitor_Initialize(&record_, nullptr); }
    /** Nobody may wait or hold the lock. */
    ~monitor() { COMMON_Monitor_Destroy(&record_); }
    monitor(const monitor&) = delete;
    monitor& operator=(const monitor&) = delete;

    /** Locks; not recursive. */
    void lock() noexcept { COMMON_Monitor_Lock(&record_); }
    /** Unlocks. */
    void unlock() noexcept { COMMON_Monitor_Unlock(&record_); }

    /** Waits until a condition holds. @param condition called with the lock held. */
    template <class Condition>
    void wait(Condition condition)
    {
        while (!condition()) {
            COMMON_Monitor_Wait(&record_);
        }
    }
    /**
     * Waits until a condition holds, up to a time. The condition is looked at once more when the
     * time is over.
     * @param deadline on the monotonic clock.
     * @param condition called with the lock held.
     * @return what the condition gave last.
     */
    template <class Condition>
    [[nodiscard]] bool wait_until(std::chrono::steady_clock::time_point deadline,
                                  Condition condition)
    {
        const auto end = std::chrono::nanoseconds(deadline.time_since_epoch()).count();
        while (!condition()) {
            if (COMMON_Monitor_WaitAbsolute(&record_, end < 0 ? 0 : std::uint64_t(end)) != 0) {
                return condition();
            }
        }
        return true;
    }
    /** wait_until() a time from now. @param limit 0 or less only looks; of any length. @param
     * condition called with the lock held. */
    template <class Rep, class Period, class Condition>
    [[nodiscard]] bool wait_for(const std::chrono::duration<Rep, Period>& limit,
                                Condition condition)
    {
        return wait_until(detail::deadline_after(limit), std::move(condition));
    }

    /** Wakes one thread that waits. With or without the lock. */
    void notify_one() noexcept { COMMON_Monitor_Notify(&record_); }
    /** Wakes all threads that wait. With or without the lock. */
    void notify_all() noexcept { COMMON_Monitor_NotifyAll(&record_); }
    /** The C record, still this object's. */
    COMMON_Monitor* native() noexcept { return &record_; }

private:
    COMMON_Monitor record_;
};

}  // namespace commonpp
