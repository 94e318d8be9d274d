// Scenarios of the fault sweep: the watchdog. Its monitor is thread 1, that of a handler thread 2.
#include <cerrno>

#include "asleep.h"
#include "scenario.h"
#include "wait_until.h"

using namespace faults;
using harness::Event;

namespace {

/// The semaphores of a watchdog are its own, and their values are small: a post cannot be refused.
constexpr Spared kPost{Call::sem_post};

constexpr std::uint32_t kLong_s = 100;

void* set_event(void* event)
{
    static_cast<Event*>(event)->set();
    return nullptr;
}

/// Waits until the monitor is about to wait in this way.
void wait_for_call(Call call, int nth = 1)
{
    EXPECT_TRUE(harness::wait_until([&] { return harness::fault::calls(call) >= nth; }));
}

/// A subscriber is watched and its handler started, as soon as may be.
void expect_that_it_watches(COMMON_wdm* watchdog)
{
    Event expired;
    COMMON_wdm_Subscriber* const subscriber = COMMON_wdm_Create_Subscriber(set_event, &expired);
    COMMON_wdm_Subscribe(watchdog, subscriber, 0);
    EXPECT_TRUE(expired.wait());
    COMMON_wdm_Unsubscribe(subscriber);
}

/// Where the platform refuses the thread, or what it waits with, nothing is watched.
SCENARIO(COMMON_wdm_Init, kPost, Flag::AllStill, gives("set 1"), on(Call::malloc).gives("null"),
         on({Call::sem_init, Call::pthread_attr_init, Call::pthread_attr_setdetachstate,
             Call::pthread_attr_setsigmask_np, Call::pthread_create})
             .gives("set 0"))
{
    const int threads = harness::thread_count();
    COMMON_wdm* watchdog = CALL(COMMON_wdm_Init);
    if (watchdog != nullptr) {
        note_result(std::to_string(watchdog->monitored));
        COMMON_wdm_Subscriber* const subscriber = COMMON_wdm_Create_Subscriber(set_event, nullptr);
        COMMON_wdm_Subscribe(watchdog, subscriber, kLong_s);
        COMMON_wdm_Unsubscribe(subscriber);
        COMMON_wdm_Destroy(watchdog);
    }
    watchdog = COMMON_wdm_Init();
    expect_that_it_watches(watchdog);
    COMMON_wdm_Destroy(watchdog);
    wait_for_threads(threads);
}

/// The handler of somebody who expires at once. What fails in the monitor keeps it from nothing,
/// but for the thread that cannot be made.
SCENARIO(MonitorStartsAHandler, kPost, Flag::AllStill, Flag::OwnThreads, gives("1"),
         on({Call::pthread_attr_init, Call::pthread_attr_setdetachstate,
             Call::pthread_attr_setsigmask_np, Call::pthread_create})
             .in_thread(1)
             .gives("0"))
{
    const int threads = harness::thread_count();
    Event expired;
    COMMON_wdm_Subscriber* const subscriber = COMMON_wdm_Create_Subscriber(set_event, &expired);
    harness::fault::count_own_threads();
    COMMON_wdm* const watchdog = COMMON_wdm_Init();
    wait_for_call(Call::sem_wait);
    COMMON_wdm_Subscribe(watchdog, subscriber, 0);
    EXPECT_TRUE(harness::wait_until([&] { return subscriber->fired == 1; }));
    // It has cleared its queue, and waits again.
    wait_for_call(Call::sem_wait, 2);
    COMMON_wdm_Destroy(watchdog);
    wait_for_threads(threads);
    note_result(shown(expired.is_set()));
    COMMON_wdm_Unsubscribe(subscriber);
}

/// A monitor that waits for somebody, for somebody's deadline, and for its end.
SCENARIO(MonitorWaits, kPost, Flag::AllStill, Flag::OwnThreads)
{
    const int threads = harness::thread_count();
    harness::fault::count_own_threads();
    COMMON_wdm* const watchdog = COMMON_wdm_Init();
    wait_for_call(Call::sem_wait);
    COMMON_wdm_Subscriber* const subscriber = COMMON_wdm_Create_Subscriber(set_event, nullptr);
    COMMON_wdm_Subscribe(watchdog, subscriber, kLong_s);
    wait_for_call(Call::syscall);
    COMMON_wdm_Unsubscribe(subscriber);
    COMMON_wdm_Destroy(watchdog);
    wait_for_threads(threads);
}

SCENARIO(COMMON_wdm_Create_Subscriber, gives("set"), on(Call::malloc).gives("null"))
{
    COMMON_wdm_Subscriber* const subscriber =
        CALL(COMMON_wdm_Create_Subscriber, set_event, nullptr);
    COMMON_wdm_Unsubscribe(subscriber);
}

/// Without memory the subscriber is left as it was. Without a clock its deadline has passed, until
/// it is tickled.
SCENARIO(COMMON_wdm_Subscribe, kPost, Flag::AllStill)
{
    const int threads = harness::thread_count();
    COMMON_wdm* const watchdog = COMMON_wdm_Init();
    Event expired;
    COMMON_wdm_Subscriber* const subscriber = COMMON_wdm_Create_Subscriber(set_event, &expired);
    CALL(COMMON_wdm_Subscribe, watchdog, subscriber, 0);
    if (harness::fault::last_error() == ENOMEM) {
        COMMON_wdm_Subscribe(watchdog, subscriber, 0);
    } else if (failed()) {
        COMMON_wdm_Tickle(subscriber, 0);
    }
    EXPECT_TRUE(expired.wait());
    COMMON_wdm_Unsubscribe(subscriber);
    COMMON_wdm_Destroy(watchdog);
    wait_for_threads(threads);
}

SCENARIO(COMMON_wdm_Tickle)
{
    COMMON_wdm_Subscriber* const subscriber = COMMON_wdm_Create_Subscriber(set_event, nullptr);
    CALL(COMMON_wdm_Tickle, subscriber, 1);
    EXPECT_EQ(subscriber->deadline == 1, failed());
    COMMON_wdm_Unsubscribe(subscriber);
}

SCENARIO(COMMON_wdm_Unsubscribe)
{
    COMMON_wdm_Subscriber* const subscriber = COMMON_wdm_Create_Subscriber(set_event, nullptr);
    CALL(COMMON_wdm_Unsubscribe, subscriber);
}

SCENARIO(COMMON_wdm_Destroy, kPost, Flag::AllStill)
{
    const int threads = harness::thread_count();
    COMMON_wdm* const watchdog = COMMON_wdm_Init();
    COMMON_wdm_Subscriber* const subscriber = COMMON_wdm_Create_Subscriber(set_event, nullptr);
    COMMON_wdm_Subscribe(watchdog, subscriber, kLong_s);
    COMMON_wdm_Unsubscribe(subscriber);
    CALL(COMMON_wdm_Destroy, watchdog);
    wait_for_threads(threads);
}

}  // namespace
