// Tells now and then how far a scan is.
#pragma once

#include <cstdint>

#include "scan.h"
#include "timer.h"

namespace scanner {

/// While running, logs the totals at an interval, and shows them in a line of the terminal if
/// standard error is one.
class Progress {
public:
    /// @param interval_ms 0 for no progress at all.
    Progress(const Totals& totals, std::uint32_t interval_ms);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void start();
    void stop();

private:
    static void tell(void* progress);

    const Totals& totals_;
    std::uint32_t interval_ms_;
    bool on_terminal_;
    TMR* timer_;
    std::atomic<bool> running_{false};
};

}  // namespace scanner
