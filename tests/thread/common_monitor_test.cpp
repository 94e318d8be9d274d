// Monitors: notifications, time limits and clocks, with real threads.
#include "common_monitor.h"

#include <chrono>
#include <cstdint>
#include <ctime>
#include <functional>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "built_mutex.h"
#include "common_system.h"
#include "wait_until.h"

using namespace harness;

namespace {

constexpr std::int32_t kRealTime = CLOCK_REALTIME;
constexpr std::int32_t kMonotonic = CLOCK_MONOTONIC;
constexpr std::uint64_t kMillisecond = 1'000'000;
constexpr std::uint64_t kHour = 3'600'000 * kMillisecond;

/// A monitor that is initialised and, at the end, destroyed.
struct Monitor : COMMON_Monitor {
    explicit Monitor(const std::int32_t* clock = nullptr)
    {
        COMMON_Monitor_Initialize(this, clock);
    }
    Monitor(const Monitor&) = delete;
    Monitor& operator=(const Monitor&) = delete;
    ~Monitor() { COMMON_Monitor_Destroy(this); }
};

/// Holds a monitor's lock over a scope.
class Locked {
public:
    explicit Locked(COMMON_Monitor& monitor) : monitor_(monitor) { COMMON_Monitor_Lock(&monitor_); }
    Locked(const Locked&) = delete;
    Locked& operator=(const Locked&) = delete;
    ~Locked() { COMMON_Monitor_Unlock(&monitor_); }

private:
    COMMON_Monitor& monitor_;
};

// The record.

FRESH_TEST(CommonMonitor, ClockIsTheMonotonicOneUnlessChosen)
{
    EXPECT_EQ(Monitor().clockId, 1);
    EXPECT_EQ(Monitor(&kRealTime).clockId, 0);
    EXPECT_EQ(Monitor(&kMonotonic).clockId, 1);
    COMMON_Monitor* const monitor = COMMON_Monitor_New();
    EXPECT_EQ(monitor->clockId, 1);
    COMMON_Monitor_Lock(monitor);
    EXPECT_FALSE(is_free(monitor->mutex));
    COMMON_Monitor_Unlock(monitor);
    COMMON_Monitor_Delete(monitor);
}

FRESH_TEST(CommonMonitor, MutexHasTheDefaultsAndIsNotRecursive)
{
    Monitor monitor;
    EXPECT_EQ(COMMON_Mutex_GetType(&monitor.mutex), COMMON_MutexTypeDefault);
    EXPECT_EQ(COMMON_Mutex_GetRecursive(&monitor.mutex), 0U);
    EXPECT_EQ(COMMON_Mutex_GetShared(&monitor.mutex), 0U);
    EXPECT_EQ(relocking_by_holder(monitor.mutex), EBUSY);
}

// Notifications.

FRESH_TEST(CommonMonitor, ThreadsTakeTurns)
{
    Monitor monitor;
    int turn = 0;
    const auto play = [&](int own) {
        const Locked lock(monitor);
        for (int i = 0; i < 500; ++i) {
            while (turn % 2 != own) {
                COMMON_Monitor_Wait(&monitor);
            }
            ++turn;
            COMMON_Monitor_Notify(&monitor);
        }
    };
    std::thread first(play, 0);
    std::thread second(play, 1);
    first.join();
    second.join();
    EXPECT_EQ(turn, 1'000);
}

FRESH_TEST(CommonMonitor, WaitLetsTheLockGoAndHoldsItAfterwards)
{
    Monitor monitor;
    bool waits = false;
    bool notified = false;
    std::thread waiting([&] {
        const Locked lock(monitor);
        waits = true;
        while (!notified) {
            COMMON_Monitor_Wait(&monitor);
            EXPECT_FALSE(is_free(monitor.mutex));
        }
    });
    EXPECT_TRUE(wait_until([&] {
        const Locked lock(monitor);
        return waits;
    }));
    {
        const Locked lock(monitor);
        notified = true;
    }
    COMMON_Monitor_Notify(&monitor);
    waiting.join();
}

FRESH_TEST(CommonMonitor, NotifyAllWakesEveryThread)
{
    constexpr int kThreads = 5;
    Monitor monitor;
    int waiting = 0;
    bool go = false;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            const Locked lock(monitor);
            ++waiting;
            while (!go) {
                COMMON_Monitor_Wait(&monitor);
            }
        });
    }
    EXPECT_TRUE(wait_until([&] {
        const Locked lock(monitor);
        return waiting == kThreads;
    }));
    {
        const Locked lock(monitor);
        go = true;
        COMMON_Monitor_NotifyAll(&monitor);
    }
    for (auto& thread : threads) {
        thread.join();
    }
}

FRESH_TEST(CommonMonitor, EachNotificationWakesAThread)
{
    constexpr int kThreads = 5;
    Monitor monitor;
    int waiting = 0;
    int tickets = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            const Locked lock(monitor);
            ++waiting;
            while (tickets == 0) {
                COMMON_Monitor_Wait(&monitor);
            }
            --tickets;
            --waiting;
        });
    }
    EXPECT_TRUE(wait_until([&] {
        const Locked lock(monitor);
        return waiting == kThreads;
    }));
    for (int left = kThreads; left > 0; --left) {
        {
            const Locked lock(monitor);
            ++tickets;
        }
        COMMON_Monitor_Notify(&monitor);
        EXPECT_TRUE(wait_until([&] {
            const Locked lock(monitor);
            return waiting == left - 1;
        }));
    }
    for (auto& thread : threads) {
        thread.join();
    }
}

// Time limits.

FRESH_TEST(CommonMonitor, IntervalOfZeroTimesOutAtOnce)
{
    Monitor monitor;
    const Locked lock(monitor);
    EXPECT_EQ(COMMON_Monitor_WaitTimed(&monitor, 0), 1U);
    EXPECT_FALSE(is_free(monitor.mutex)) << "the lock was lost";
}

FRESH_TEST(CommonMonitor, DeadlineInThePastTimesOutAtOnce)
{
    Monitor monitor;
    const Locked lock(monitor);
    for (const std::uint64_t deadline :
         {std::uint64_t{0}, std::uint64_t{1}, COMMON_System_GetTimeByClockId(kMonotonic) - 1}) {
        EXPECT_EQ(COMMON_Monitor_WaitAbsolute(&monitor, deadline), 1U);
    }
    EXPECT_FALSE(is_free(monitor.mutex)) << "the lock was lost";
}

FRESH_TEST(CommonMonitor, TimeLimitsCountOnTheMonitorsClock)
{
    for (const std::int32_t clock : {kRealTime, kMonotonic}) {
        Monitor monitor(&clock);
        const Locked lock(monitor);
        const std::uint64_t begin = COMMON_System_GetTimeByClockId(clock);
        EXPECT_EQ(COMMON_Monitor_WaitTimed(&monitor, 30 * kMillisecond), 1U);
        const std::uint64_t between = COMMON_System_GetTimeByClockId(clock);
        EXPECT_GE(between, begin + 30 * kMillisecond);
        const std::uint64_t deadline = between + 20 * kMillisecond;
        EXPECT_EQ(COMMON_Monitor_WaitAbsolute(&monitor, deadline), 1U);
        const std::uint64_t end = COMMON_System_GetTimeByClockId(clock);
        EXPECT_GE(end, deadline);
        EXPECT_FALSE(is_free(monitor.mutex)) << "the lock was lost";
    }
}

/// Waits until a deadline with another thread that notifies; true when the time was up.
bool times_out_although_notified(COMMON_Monitor& monitor, std::uint64_t deadline)
{
    bool notified = false;
    bool timed_out = false;
    std::thread notifying;
    {
        const Locked lock(monitor);
        notifying = std::thread([&] {
            const Locked own_lock(monitor);
            notified = true;
            COMMON_Monitor_Notify(&monitor);
        });
        while (!notified && !timed_out) {
            timed_out = COMMON_Monitor_WaitAbsolute(&monitor, deadline) != 0;
        }
    }
    notifying.join();
    return timed_out;
}

// The real-time clock is decades ahead of the monotonic one.
FRESH_TEST(CommonMonitor, DeadlinesOfOneClockMeanNothingToTheOther)
{
    Monitor monotonic;
    EXPECT_FALSE(times_out_although_notified(monotonic, COMMON_System_Time()));
    Monitor real_time(&kRealTime);
    const Locked lock(real_time);
    EXPECT_EQ(
        COMMON_Monitor_WaitAbsolute(&real_time, COMMON_System_GetTimeByClockId(kMonotonic) + kHour),
        1U);
}

FRESH_TEST(CommonMonitor, NotificationEndsAWaitBeforeItsDeadline)
{
    Monitor monitor;
    EXPECT_FALSE(
        times_out_although_notified(monitor, COMMON_System_GetTimeByClockId(kMonotonic) + kHour));
    EXPECT_FALSE(times_out_although_notified(monitor, UINT64_MAX));
}

FRESH_TEST(CommonMonitor, NotificationEndsATimedWait)
{
    Monitor monitor;
    bool notified = false;
    COMMON_Monitor_Lock(&monitor);
    std::thread notifying([&] {
        const Locked lock(monitor);
        notified = true;
        COMMON_Monitor_Notify(&monitor);
    });
    while (!notified) {
        EXPECT_EQ(COMMON_Monitor_WaitTimed(&monitor, kHour), 0U);
    }
    COMMON_Monitor_Unlock(&monitor);
    notifying.join();
}

// The sum is not checked, so that this interval leads to the past.
FRESH_TEST(CommonMonitor, IntervalThatOverflowsTimesOut)
{
    Monitor monitor;
    const Locked lock(monitor);
    EXPECT_EQ(COMMON_Monitor_WaitTimed(&monitor, UINT64_MAX), 1U);
}

}  // namespace
