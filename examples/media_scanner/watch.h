// Tells of a scan that stands still.
#pragma once

#include <cstdint>

#include "common_wdm.h"

namespace scanner {

/// Logs once when nobody has called alive() for ten seconds.
class Watch {
public:
    Watch();
    ~Watch();
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    /// The scan goes on. From any thread.
    void alive() { COMMON_wdm_Tickle(subscriber_, kStandstill_s); }

private:
    static constexpr std::uint32_t kStandstill_s = 10;
    static void* report(void* watch);

    COMMON_wdm* watchdog_;
    COMMON_wdm_Subscriber* subscriber_;
};

}  // namespace scanner
