// What the tests of timers with forced failures share.
#pragma once

#include <string>

#include <gmock/gmock.h>

#include "common_log.h"
#include "fault.h"
#include "log_expect.h"
#include "timer.h"

namespace harness {

inline Report said(const char* function, const std::string& message)
{
    return said(COMMON_LogLevelError, "TIMER", "timer", function, message);
}

/// Lets the library make what it keeps for the process and the thread, and starts counting.
inline long settled_blocks()
{
    COMMON_Log_Write(COMMON_LogLevelDebug, 0, "", "", "", 0, " ");
    TMR_Delete(TMR_New());
    fault::reset();
    return fault::outstanding_blocks();
}

}  // namespace harness
