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

#include <common/common_monitor.h>
#include <common/common_mutex.h>

#include "detail.hpp"

namespace commonpp {

/** A mutex, among the threads of this process. */
class mutex {
public:
    /** @param type what locking again does. One that is refused is reported, and left out. */
    explicit mutex(COMMON_MutexType_t type = COMMON_MutexTypeDefault) noexcept
    {
        COMMON_Mutex_Initialize(&record_);
        COMMON_Mutex_SetType(&record_, type);
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
    /**
     * The C record, still this object's. While nobody else knows it, it gets other attributes by
     * COMMON_Mutex_Destroy(), the setters and COMMON_Mutex_Commit().
     */
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
     * @param limit 0 or less only looks; of any length.
     * @param condition called with the lock held.
     * @return what the condition gave last.
     */
    template <class Rep, class Period, class Condition>
    [[nodiscard]] bool wait_for(const std::chrono::duration<Rep, Period>& limit,
                                Condition condition)
    {
        const std::chrono::nanoseconds now = std::chrono::steady_clock::now().time_since_epoch();
        const auto end = static_cast<std::uint64_t>((now + detail::bounded(limit)).count());
        while (!condition()) {
            if (COMMON_Monitor_WaitAbsolute(&record_, end) != 0) {
                return condition();
            }
        }
        return true;
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
