// Watchdogs at work, in threads and real time. When exactly handlers start is tested in simulated
// time (common_wdm_time_test.cpp).
#include <deque>
#include <vector>

#include <gmock/gmock.h>

#include "fresh_process.h"
#include "watched.h"

using namespace harness;

namespace {

FRESH_TEST(CommonWdm, NullIsIgnored)
{
    COMMON_wdm* const watchdog = COMMON_wdm_Init();
    COMMON_wdm_Tickle(nullptr, 1);
    COMMON_wdm_Unsubscribe(nullptr);
    COMMON_wdm_Subscribe(watchdog, nullptr, 1);
    Watched watched;
    COMMON_wdm_Subscribe(nullptr, watched.subscriber, 1);
    EXPECT_TRUE(wait_until([&] { return sleeps_empty(*watchdog); }));
    COMMON_wdm_Destroy(nullptr);
    COMMON_wdm_Destroy(watchdog);
    COMMON_wdm_Unsubscribe(watched.subscriber);
}

FRESH_TEST(CommonWdm, NewSubscriberIsNeitherUnsubscribedNorFired)
{
    Watched watched;
    EXPECT_EQ(watched.subscriber->unsubscribed, 0U);
    EXPECT_EQ(watched.subscriber->fired, 0U);
    EXPECT_EQ(watched.subscriber->handler, Watched::handle);
    EXPECT_EQ(watched.subscriber->argument, &watched);
    COMMON_wdm_Unsubscribe(watched.subscriber);
}

FRESH_TEST(CommonWdm, DestroyEndsTheMonitorWhereverItSleeps)
{
    const int threads = thread_count();
    for (int round = 0; round < 100; ++round) {
        COMMON_wdm* const watchdog = COMMON_wdm_Init();
        COMMON_wdm_Destroy(watchdog);  // wherever it is

        COMMON_wdm* const empty = COMMON_wdm_Init();
        ASSERT_TRUE(wait_until([&] { return sleeps_empty(*empty); }));
        COMMON_wdm_Destroy(empty);

        COMMON_wdm* const full = COMMON_wdm_Init();
        Watched watched;
        Watched gone;
        COMMON_wdm_Subscribe(full, watched.subscriber, kLong_s);
        COMMON_wdm_Subscribe(full, gone.subscriber, kLong_s);
        COMMON_wdm_Unsubscribe(gone.subscriber);
        COMMON_wdm_Destroy(full);
        COMMON_wdm_Tickle(watched.subscriber, 1);
        EXPECT_EQ(watched.starts, 0);
        COMMON_wdm_Unsubscribe(watched.subscriber);
    }
    EXPECT_TRUE(has_threads(threads));
}

FRESH_TEST(CommonWdm, SubscribingToAnEmptyOneWakesTheMonitor)
{
    COMMON_wdm* const watchdog = COMMON_wdm_Init();
    ASSERT_TRUE(wait_until([&] { return sleeps_empty(*watchdog); }));
    Watched watched;
    COMMON_wdm_Subscribe(watchdog, watched.subscriber, kLong_s);
    EXPECT_TRUE(wait_until([&] { return sleeps_at_the_tail(*watchdog); }));
    COMMON_wdm_Destroy(watchdog);
    EXPECT_EQ(watched.starts, 0);
    COMMON_wdm_Unsubscribe(watched.subscriber);
}

FRESH_TEST(CommonWdm, HandlerThatIsNullStartsNothing)
{
    COMMON_wdm* const watchdog = COMMON_wdm_Init();
    auto* const subscriber = COMMON_wdm_Create_Subscriber(nullptr, nullptr);
    COMMON_wdm_Subscribe(watchdog, subscriber, 0);
    EXPECT_TRUE(wait_for_deadline(*subscriber, [&] {
        return std::atomic_ref(subscriber->fired).load() == 1 && sleeps_empty(*watchdog);
    }));
    COMMON_wdm_Destroy(watchdog);
    COMMON_wdm_Unsubscribe(subscriber);
}

FRESH_TEST(CommonWdm, HandlerStartsOnceInASecondThatIsTheDeadline)
{
    COMMON_wdm* const watchdog = COMMON_wdm_Init();
    Watched watched;
    Watched tickled;
    COMMON_wdm_Subscribe(watchdog, tickled.subscriber, 1);
    COMMON_wdm_Tickle(tickled.subscriber, kLong_s);
    COMMON_wdm_Subscribe(watchdog, watched.subscriber, 1);
    EXPECT_TRUE(watched.has_started());
    EXPECT_GE(watched.started_s, deadline_of(*watched.subscriber));
    EXPECT_TRUE(wait_until([&] { return sleeps_at_the_tail(*watchdog); })) << "for the other one";
    EXPECT_EQ(std::atomic_ref(watched.subscriber->fired).load(), 1U);
    COMMON_wdm_Destroy(watchdog);
    EXPECT_EQ(watched.starts, 1);
    EXPECT_EQ(tickled.starts, 0);
    COMMON_wdm_Unsubscribe(watched.subscriber);
    COMMON_wdm_Unsubscribe(tickled.subscriber);
}

FRESH_TEST(CommonWdm, OneOfTwoWatchdogsGoesOnWhenTheOtherIsDestroyed)
{
    COMMON_wdm* const first = COMMON_wdm_Init();
    COMMON_wdm* const second = COMMON_wdm_Init();
    Watched watched;
    COMMON_wdm_Subscribe(first, watched.subscriber, kLong_s);
    COMMON_wdm_Subscribe(second, watched.subscriber, 1);
    COMMON_wdm_Destroy(first);
    EXPECT_TRUE(watched.has_started());
    COMMON_wdm_Destroy(second);
    EXPECT_EQ(watched.starts, 1);
    COMMON_wdm_Unsubscribe(watched.subscriber);
}

FRESH_TEST(CommonWdm, HandlersThatBlockDelayNobody)
{
    struct Blocking {
        std::atomic<bool> begun{false};
        std::atomic<bool> go{false};
        std::atomic<bool> left{false};
    };
    std::deque<Blocking> blocking(10);
    std::vector<COMMON_wdm_Subscriber*> subscribers;
    COMMON_wdm* const watchdog = COMMON_wdm_Init();
    for (Blocking& block : blocking) {
        subscribers.push_back(COMMON_wdm_Create_Subscriber(
            [](void* argument) -> void* {
                auto* const self = static_cast<Blocking*>(argument);
                self->begun = true;
                EXPECT_TRUE(wait_until([&] { return self->go.load(); }));
                self->left = true;
                return nullptr;
            },
            &block));
        COMMON_wdm_Subscribe(watchdog, subscribers.back(), 0);
    }
    Watched watched;
    COMMON_wdm_Subscribe(watchdog, watched.subscriber, 0);
    EXPECT_TRUE(watched.has_started());
    for (std::size_t i = 0; i < blocking.size(); ++i) {
        EXPECT_TRUE(wait_for_deadline(*subscribers[i], [&] { return blocking[i].begun.load(); }));
        EXPECT_FALSE(blocking[i].left);
    }
    COMMON_wdm_Destroy(watchdog);
    for (Blocking& block : blocking) {
        block.go = true;
        EXPECT_TRUE(wait_until([&] { return block.left.load(); }));
    }
    for (auto* const subscriber : subscribers) {
        COMMON_wdm_Unsubscribe(subscriber);
    }
    COMMON_wdm_Unsubscribe(watched.subscriber);
}

}  // namespace
