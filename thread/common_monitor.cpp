#include "common_monitor.h"

#include <cerrno>
#include <cstddef>
#include <ctime>

#include "common_system.h"
#include "mem_malloc.h"
#include "platform/assertion.h"
#include "platform/no_exceptions.h"
#include "thread/clock.h"
#include "thread/monitor_handler.h"

static_assert(offsetof(COMMON_Monitor, condition) == 0);
static_assert(offsetof(COMMON_Monitor, mutex) == sizeof(pthread_cond_t));
static_assert(offsetof(COMMON_Monitor, clockId) == sizeof(pthread_cond_t) + sizeof(COMMON_Mutex));
static_assert(sizeof(void*) != 4 ||
              sizeof(COMMON_Monitor) == sizeof(pthread_cond_t) + sizeof(COMMON_Mutex) + 4);

using namespace common::monitor;

#define ASSERT_MONITOR() COMMON_ASSERT(kSource, monitor != nullptr, "((void *)0) != monitor")

extern "C" {

COMMON_Monitor* COMMON_Monitor_New(void)
{
    auto* const monitor = static_cast<COMMON_Monitor*>(MEM_Salloc(sizeof(COMMON_Monitor)));
    COMMON_Monitor_Initialize(monitor, nullptr);
    return monitor;
}

void COMMON_Monitor_Initialize(COMMON_Monitor* monitor, const int32_t* clockId)
{
    ASSERT_MONITOR();
    pthread_condattr_t attributes{};
    report_if_failed(pthread_condattr_init(&attributes),
                     "Failed to initialize the condition variable attributes");
    monitor->clockId = clockId == nullptr ? CLOCK_MONOTONIC : *clockId;
    report_if_failed(pthread_condattr_setclock(&attributes, monitor->clockId),
                     "Failed to set clock for the condition variable attribute");
    report_if_failed(pthread_cond_init(&monitor->condition, &attributes),
                     "Failed to initialize the condition variable");
    report_if_failed(pthread_condattr_destroy(&attributes),
                     "Failed to destroy the condition variable attributes");
    COMMON_Mutex_Initialize(&monitor->mutex);
    COMMON_Mutex_SetRecursive(&monitor->mutex, 0);
    COMMON_Mutex_Commit(&monitor->mutex);
}

void COMMON_Monitor_Lock(COMMON_Monitor* monitor)
{
    ASSERT_MONITOR();
    COMMON_Mutex_Lock(&monitor->mutex);
}

void COMMON_Monitor_Unlock(COMMON_Monitor* monitor)
{
    ASSERT_MONITOR();
    COMMON_Mutex_Unlock(&monitor->mutex);
}

void COMMON_Monitor_Wait(COMMON_Monitor* monitor)
{
    ASSERT_MONITOR();
    report_if_failed(pthread_cond_wait(&monitor->condition, &monitor->mutex.mutex),
                     "Failed to wait on the monitor");
}

uint32_t COMMON_Monitor_WaitAbsolute(COMMON_Monitor* monitor, uint64_t deadline)
{
    ASSERT_MONITOR();
    const timespec time{
        .tv_sec = static_cast<std::time_t>(deadline / common::kNanosecondsPerSecond),
        .tv_nsec = static_cast<long>(deadline % common::kNanosecondsPerSecond),
    };
    const int error = pthread_cond_timedwait(&monitor->condition, &monitor->mutex.mutex, &time);
    if (error == ETIMEDOUT) {
        return 1;
    }
    report_if_failed(error, "Failed to wait on the monitor");
    return 0;
}

uint32_t COMMON_Monitor_WaitTimed(COMMON_Monitor* monitor, uint64_t interval)
{
    ASSERT_MONITOR();
    // Oddity: the sum is not checked: an interval that overflows it has passed.
    // Test: CommonMonitor.IntervalThatOverflowsTimesOut.
    return COMMON_Monitor_WaitAbsolute(monitor,
                                       COMMON_System_GetTimeByClockId(monitor->clockId) + interval);
}

void COMMON_Monitor_Notify(COMMON_Monitor* monitor)
{
    ASSERT_MONITOR();
    common_monitorHandler(monitor, pthread_cond_signal);
}

void COMMON_Monitor_NotifyAll(COMMON_Monitor* monitor)
{
    ASSERT_MONITOR();
    common_monitorHandler(monitor, pthread_cond_broadcast);
}

void COMMON_Monitor_Destroy(COMMON_Monitor* monitor)
{
    ASSERT_MONITOR();
    // Oddity: the missing letter is in the text that log filters look for.
    // Test: CommonMonitorFault.DestroyReportsBothPartsAndDeleteFreesThem.
    report_if_failed(pthread_cond_destroy(&monitor->condition),
                     "Failed to destroy the condition variabe");
    COMMON_Mutex_Destroy(&monitor->mutex);
}

void COMMON_Monitor_Delete(COMMON_Monitor* monitor)
{
    ASSERT_MONITOR();
    COMMON_Monitor_Destroy(monitor);
    MEM_Free(monitor);
}

}  // extern "C"
