// Where the threads of a scan wait while it is paused.
#pragma once

#include "common_monitor.h"

namespace scanner {

class Gate {
public:
    Gate() { COMMON_Monitor_Initialize(&monitor_, nullptr); }
    ~Gate() { COMMON_Monitor_Destroy(&monitor_); }
    Gate(const Gate&) = delete;
    Gate& operator=(const Gate&) = delete;

    void set_open(bool open)
    {
        COMMON_Monitor_Lock(&monitor_);
        open_ = open;
        COMMON_Monitor_NotifyAll(&monitor_);
        COMMON_Monitor_Unlock(&monitor_);
    }

    /// Waits until the gate is open. @param still_waiting called at the start and about once a
    /// second, to show that this is no standstill.
    template <typename Function>
    void pass(Function still_waiting)
    {
        constexpr std::uint64_t kSecond_ns = 1'000'000'000;
        COMMON_Monitor_Lock(&monitor_);
        still_waiting();
        while (!open_) {
            COMMON_Monitor_WaitTimed(&monitor_, kSecond_ns);
            still_waiting();
        }
        COMMON_Monitor_Unlock(&monitor_);
    }

private:
    COMMON_Monitor monitor_;
    bool open_ = false;  // guarded by monitor_
};

}  // namespace scanner
