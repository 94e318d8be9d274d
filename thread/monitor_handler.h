// How a notification of the platform is called on a record.
#pragma once

#include <pthread.h>

#include <cstring>

#include "common_monitor.h"
#include "log/report.h"
#include "platform/assertion.h"

namespace common {

inline constexpr Source kMonitorSource{"common_monitor"};

/// Calls the notification on the record's condition variable and reports its failure.
inline void common_monitorHandler(COMMON_Monitor* monitor, int (*notify)(pthread_cond_t*))
{
    COMMON_ASSERT(kMonitorSource, monitor != nullptr, "((void *)0) != monitor");
    COMMON_ASSERT(kMonitorSource, notify != nullptr, "((void *)0) != notify");
    const int error = notify(&monitor->condition);
    if (error != 0) {
        COMMON_REPORT(kMonitorSource, Fatal,
                      "Failed to notify the condition variable with error: %s (%d)",
                      std::strerror(error), error);
    }
}

}  // namespace common
