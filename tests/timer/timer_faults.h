// What the tests of timers with forced failures share.
#pragma once

#include <functional>
#include <string>

#include <gmock/gmock.h>

#include "common_log.h"
#include "fault.h"
#include "log_expect.h"
#include "shot.h"
#include "timer.h"
#include "wait_until.h"

namespace harness {

inline Report said(const char* function, const std::string& message)
{
    return said(COMMON_LogLevelError, "TIMER", "timer", function, message);
}

/// Gives a timer a thread that is idle: it has called back and waits again.
inline bool has_idle_thread(TMR* timer)
{
    Shot shot;
    return shot.start(timer, 5) == 1 && shot.called.wait() &&
           wait_until([] { return fault::calls(fault::Call::pthread_cond_timedwait) >= 2; });
}

/// Attempts something with an idle thread until there was one, which the attempt tells: where the
/// process stands still for two seconds, it has left.
inline void until_idle_thread_was_met(const std::function<bool()>& attempt)
{
    do {
        fault::reset();
    } while (!attempt() && !testing::Test::HasFailure());
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
