// Two services under one watchdog: one is tickled in time, the other one hangs.
#include <stdio.h>

#include <common/common_log_macros.h>
#include <common/common_monitor.h>
#include <common/common_wdm.h>

COMMON_LOG_ZONE("SUPERVISOR");

typedef struct Service {
    const char* name;
    COMMON_wdm_Subscriber* watch;
    uint32_t missed;  // guarded by the monitor
} Service;

static COMMON_Monitor monitor;

/** Started in a thread of its own when a service was not tickled in time. */
static void* on_missed(void* argument)
{
    Service* const service = argument;
    COMMON_LOG_ERROR("%s hangs", service->name);
    COMMON_Monitor_Lock(&monitor);
    service->missed = 1;
    COMMON_Monitor_NotifyAll(&monitor);
    COMMON_Monitor_Unlock(&monitor);
    return NULL;
}

static void watch(COMMON_wdm* watchdog, Service* service, uint32_t timeout_s)
{
    service->watch = COMMON_wdm_Create_Subscriber(on_missed, service);
    COMMON_wdm_Subscribe(watchdog, service->watch, timeout_s);
}

int main(void)
{
    Service decoder = {"decoder", NULL, 0};
    Service tuner = {"tuner", NULL, 0};
    COMMON_Monitor_Initialize(&monitor, NULL);
    COMMON_wdm* const watchdog = COMMON_wdm_Init();
    if (watchdog == NULL) {
        return 1;
    }
    watch(watchdog, &decoder, 60);
    watch(watchdog, &tuner, 1);

    for (int packet = 0; packet < 3; ++packet) {
        COMMON_wdm_Tickle(decoder.watch, 60);  // "I am alive": no lock, no system call
    }

    COMMON_Monitor_Lock(&monitor);
    while (tuner.missed == 0) {
        // A deadline that passed while the whole process was stopped is not made up for.
        if (COMMON_Monitor_WaitTimed(&monitor, 5000000000U) == 1) {
            COMMON_wdm_Tickle(tuner.watch, 2);
        }
    }
    printf("%s: %s\n", decoder.name, decoder.missed ? "missed" : "in time");
    printf("%s: %s\n", tuner.name, tuner.missed ? "missed" : "in time");
    COMMON_Monitor_Unlock(&monitor);

    COMMON_wdm_Unsubscribe(decoder.watch);  // gives them away: not to be used any more
    COMMON_wdm_Unsubscribe(tuner.watch);
    COMMON_wdm_Destroy(watchdog);
    return 0;
}
