// How the monitor family calls the platform and reports what fails.
#pragma once

#include <pthread.h>

#include "common_monitor.h"
#include "log/report.h"
#include "platform/assertion.h"

namespace common::monitor {

inline constexpr Source kSource{"common_monitor"};

inline void report_if_failed(int error, const char* what, Here here = Here::now()) noexcept
{
    failed(kSource, COMMON_LogLevelFatal, error, what, here);
}

/// Calls the notification on the record's condition variable and reports its failure.
inline void common_monitorHandler(COMMON_Monitor* monitor, int (*notify)(pthread_cond_t*))
{
    COMMON_ASSERT(kSource, monitor != nullptr, "((void *)0) != monitor");
    COMMON_ASSERT(kSource, notify != nullptr, "((void *)0) != notify");
    report_if_failed(notify(&monitor->condition), "Failed to notify the condition variable");
}

}  // namespace common::monitor
