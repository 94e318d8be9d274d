#include "watch.h"

#include "counted_log.h"

namespace scanner {

COMMON_LOG_MODULE(zones().scanner);

Watch::Watch()
    : watchdog_{COMMON_wdm_Init()}, subscriber_{COMMON_wdm_Create_Subscriber(report, nullptr)}
{
    if (watchdog_ != nullptr && subscriber_ != nullptr) {
        COMMON_wdm_Subscribe(watchdog_, subscriber_, kStandstill_s);
    }
}

Watch::~Watch()
{
    // Its record goes with the watchdog, which frees what is not subscribed any more.
    COMMON_wdm_Unsubscribe(subscriber_);
    if (watchdog_ != nullptr) {
        COMMON_wdm_Destroy(watchdog_);
    }
}

void* Watch::report(void* /*unused*/)
{
    COMMON_LOG_AT(counted(COMMON_LogLevelCritical), "The scan stands still");
    return nullptr;
}

}  // namespace scanner
