// A timer produces numbers, a thread adds them up, and all of it ends in good order.
#include <pthread.h>
#include <stdio.h>

#include <common/blockq.h>
#include <common/common_log_macros.h>
#include <common/common_monitor.h>
#include <common/common_thread.h>
#include <common/timer.h>

COMMON_LOG_ZONE("WORKERS");

enum { kTicks = 3, kInterval_ms = 10 };

static const uint32_t end = 0;
static BlockQ queue;
static COMMON_Monitor monitor;  // guards `ticks`, and tells when there is one more
static uint32_t ticks;
static TMR* timer;

/** The timer's callback. A timer runs once; a periodic one starts itself again. */
static void tick(void* unused)
{
    COMMON_Monitor_Lock(&monitor);
    const uint32_t number = ++ticks;
    if (BlockQ_Add(&queue, &number, sizeof number) != sizeof number) {
        COMMON_LOG_WARN("the queue is full, and %u is lost", number);
    }
    COMMON_Monitor_Notify(&monitor);
    COMMON_Monitor_Unlock(&monitor);
    if (number < kTicks) {
        TMR_Start(timer, tick, unused, kInterval_ms);
    }
}

static void* add_up(void* sum)
{
    uint32_t number = 0;
    while (BlockQ_Remove(&queue, &number, sizeof number) == sizeof number && number != end) {
        *(uint32_t*)sum += number;
    }
    COMMON_LOG_INFO("ends with %u", *(uint32_t*)sum);
    return NULL;
}

int main(void)
{
    static uint8_t storage[64];
    uint32_t sum = 0;
    COMMON_Thread adder;
    COMMON_Monitor_Initialize(&monitor, NULL);
    BlockQ_Init(&queue, storage, sizeof storage);
    COMMON_Thread_Initialize(&adder, add_up, &sum);
    timer = TMR_New();
    if (timer == NULL || COMMON_Thread_Start(&adder) != STATUS_SUCCESS) {
        return 1;
    }
    const pthread_t id = COMMON_Thread_GetId(&adder);  // it runs until it is told to end

    TMR_Start(timer, tick, NULL, kInterval_ms);
    COMMON_Monitor_Lock(&monitor);
    while (ticks < kTicks) {
        COMMON_Monitor_Wait(&monitor);
    }
    COMMON_Monitor_Unlock(&monitor);
    TMR_Delete(timer);  // waits for a callback that still runs: nobody adds any more

    if (BlockQ_Add(&queue, &end, sizeof end) == sizeof end) {
        pthread_join(id, NULL);
    }
    BlockQ_Destroy(&queue);
    COMMON_Monitor_Destroy(&monitor);
    printf("%u ticks, %u in all\n", ticks, sum);
    return 0;
}
