// Watchdogs at work. Whole seconds have to pass here, so these tests watch several things at once.
#include <cstdlib>
#include <deque>
#include <vector>

#include <gmock/gmock.h>

#include "fresh_process.h"
#include "watched.h"

using namespace bench;
using testing::IsEmpty;

namespace {

/** Waits until a monotonic time, for what must not happen before it. */
bool wait_until_ms(std::int64_t time_ms)
{
    return wait_until([&] { return now_ms() >= time_ms; });
}

// Without waiting.

TEST(CommonWdm, NullIsIgnored)
{
    const Outcome outcome = run_fresh([] {
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
    });
    EXPECT_THAT(outcome, exited(0));
    EXPECT_THAT(outcome.log, IsEmpty());
}

TEST(CommonWdm, NewSubscriberIsNeitherUnsubscribedNorFired)
{
    EXPECT_THAT(run_fresh([] {
                    Watched watched;
                    EXPECT_EQ(watched.subscriber->unsubscribed, 0U);
                    EXPECT_EQ(watched.subscriber->fired, 0U);
                    EXPECT_EQ(watched.subscriber->handler, Watched::handle);
                    EXPECT_EQ(watched.subscriber->argument, &watched);
                    COMMON_wdm_Unsubscribe(watched.subscriber);
                }),
                exited(0));
}

TEST(CommonWdm, DestroyEndsTheMonitorWhereverItSleeps)
{
    EXPECT_THAT(run_fresh([] {
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
                }),
                exited(0));
}

TEST(CommonWdm, SubscribingToAnEmptyOneWakesTheMonitor)
{
    EXPECT_THAT(run_fresh([] {
                    COMMON_wdm* const watchdog = COMMON_wdm_Init();
                    ASSERT_TRUE(wait_until([&] { return sleeps_empty(*watchdog); }));
                    Watched watched;
                    COMMON_wdm_Subscribe(watchdog, watched.subscriber, 0);
                    EXPECT_FALSE(sleeps_empty(*watchdog) && watched.starts == 0);
                    EXPECT_TRUE(watched.has_started());
                    EXPECT_TRUE(wait_until([&] { return sleeps_empty(*watchdog); }))
                        << "and it is taken out";
                    COMMON_wdm_Destroy(watchdog);
                    EXPECT_EQ(watched.starts, 1);
                    COMMON_wdm_Unsubscribe(watched.subscriber);
                }),
                exited(0));
}

TEST(CommonWdm, HandlerThatIsNullStartsNothing)
{
    EXPECT_THAT(run_fresh([] {
                    COMMON_wdm* const watchdog = COMMON_wdm_Init();
                    auto* const subscriber = COMMON_wdm_Create_Subscriber(nullptr, nullptr);
                    COMMON_wdm_Subscribe(watchdog, subscriber, 0);
                    EXPECT_TRUE(wait_until([&] {
                        return std::atomic_ref(subscriber->fired).load() == 1 &&
                               sleeps_empty(*watchdog);
                    }));
                    COMMON_wdm_Destroy(watchdog);
                    COMMON_wdm_Unsubscribe(subscriber);
                }),
                exited(0));
}

TEST(CommonWdm, ExpiredRecordMayBeReleasedByItsHandler)
{
    EXPECT_THAT(run_fresh([] {
                    struct Record {
                        COMMON_wdm_Subscriber* subscriber;
                        std::atomic<bool> done{false};
                    } unsubscribed{nullptr, {}}, freed{nullptr, {}};
                    COMMON_wdm* const watchdog = COMMON_wdm_Init();
                    unsubscribed.subscriber = COMMON_wdm_Create_Subscriber(
                        [](void* argument) -> void* {
                            auto* const self = static_cast<Record*>(argument);
                            COMMON_wdm_Unsubscribe(self->subscriber);
                            self->done = true;
                            return nullptr;
                        },
                        &unsubscribed);
                    freed.subscriber = COMMON_wdm_Create_Subscriber(
                        [](void* argument) -> void* {
                            auto* const self = static_cast<Record*>(argument);
                            std::free(self->subscriber);
                            self->done = true;
                            return nullptr;
                        },
                        &freed);
                    COMMON_wdm_Subscribe(watchdog, unsubscribed.subscriber, 0);
                    COMMON_wdm_Subscribe(watchdog, freed.subscriber, 0);
                    EXPECT_TRUE(wait_until([&] { return unsubscribed.done && freed.done; }));
                    COMMON_wdm_Destroy(watchdog);
                }),
                exited(0));
}

// With seconds that pass.

TEST(CommonWdm, FiresOnceAboutThreeSecondsLaterUnlessTickledOrUnsubscribed)
{
    EXPECT_THAT(run_fresh([] {
                    COMMON_wdm* const watchdog = COMMON_wdm_Init();
                    Watched left_alone;
                    Watched tickled;
                    Watched unsubscribed;
                    Watched brought_forward;
                    const std::int64_t start = now_ms();
                    COMMON_wdm_Subscribe(watchdog, brought_forward.subscriber, kLong_s);
                    COMMON_wdm_Subscribe(watchdog, tickled.subscriber, 3);
                    COMMON_wdm_Subscribe(watchdog, left_alone.subscriber, 3);
                    COMMON_wdm_Subscribe(watchdog, unsubscribed.subscriber, 3);
                    COMMON_wdm_Unsubscribe(unsubscribed.subscriber);
                    COMMON_wdm_Tickle(brought_forward.subscriber, 2);
                    for (int i = 1; i <= 12; ++i) {
                        ASSERT_TRUE(wait_until_ms(start + std::int64_t{500} * i));
                        COMMON_wdm_Tickle(tickled.subscriber, 3);
                    }
                    ASSERT_EQ(left_alone.starts, 1);
                    EXPECT_GT(left_alone.started_ms - start, 2000);
                    EXPECT_LE(left_alone.started_ms - start, 4500);
                    EXPECT_EQ(brought_forward.starts, 1);
                    EXPECT_LE(brought_forward.started_ms - start, 3500);
                    EXPECT_EQ(tickled.starts, 0);
                    EXPECT_EQ(unsubscribed.starts, 0);
                    EXPECT_EQ(left_alone.subscriber->fired, 1U);
                    COMMON_wdm_Destroy(watchdog);
                    for (Watched* const watched : {&left_alone, &tickled, &brought_forward}) {
                        COMMON_wdm_Unsubscribe(watched->subscriber);
                    }
                }),
                exited(0));
}

TEST(CommonWdm, HundredsOfOneSecondAllFireInIt)
{
    EXPECT_THAT(run_fresh([] {
                    constexpr int kCount = 500;
                    COMMON_wdm* const watchdog = COMMON_wdm_Init();
                    std::deque<Watched> all(kCount);
                    for (Watched& watched : all) {
                        COMMON_wdm_Subscribe(watchdog, watched.subscriber, 2);
                    }
                    const std::int64_t subscribed = now_ms();
                    for (std::size_t i = 0; i < kCount; i += 5) {
                        COMMON_wdm_Tickle(all[i].subscriber, kLong_s);
                    }
                    ASSERT_TRUE(wait_until_ms(subscribed + 4000));
                    for (std::size_t i = 0; i < kCount; ++i) {
                        EXPECT_EQ(all[i].starts, i % 5 == 0 ? 0 : 1) << i;
                    }
                    COMMON_wdm_Destroy(watchdog);
                    for (const Watched& watched : all) {
                        COMMON_wdm_Unsubscribe(watched.subscriber);
                    }
                }),
                exited(0));
}

/** A wait of whole seconds that begins at the end of a second would end at the end of another. */
TEST(CommonWdm, DeadlineIsMetWhereverInItsSecondItWasSet)
{
    EXPECT_THAT(run_fresh([] {
                    COMMON_wdm* const watchdog = COMMON_wdm_Init();
                    constexpr int kPhases = 8;
                    std::deque<Watched> all(kPhases);
                    for (int i = 0; i < kPhases; ++i) {
                        const int from = i < 4 ? 995 : 125 * (i - 4);
                        ASSERT_TRUE(wait_until([&] { return now_ms() % 1000 >= from; }));
                        COMMON_wdm_Subscribe(watchdog, all[static_cast<std::size_t>(i)].subscriber,
                                             1);
                        EXPECT_TRUE(all[static_cast<std::size_t>(i)].has_started());
                    }
                    COMMON_wdm_Destroy(watchdog);
                    for (const Watched& watched : all) {
                        EXPECT_EQ(watched.starts, 1);
                        COMMON_wdm_Unsubscribe(watched.subscriber);
                    }
                }),
                exited(0));
}

TEST(CommonWdm, LaterSubscribersDoNotPostponeADeadline)
{
    EXPECT_THAT(run_fresh([] {
                    COMMON_wdm* const watchdog = COMMON_wdm_Init();
                    Watched watched;
                    std::deque<Watched> later;
                    const std::int64_t start = now_ms();
                    COMMON_wdm_Subscribe(watchdog, watched.subscriber, 3);
                    for (int i = 1; i <= 45; ++i) {
                        ASSERT_TRUE(wait_until_ms(start + std::int64_t{100} * i));
                        COMMON_wdm_Subscribe(watchdog, later.emplace_back().subscriber, kLong_s);
                    }
                    EXPECT_EQ(watched.starts, 1);
                    EXPECT_LE(watched.started_ms - start, 4500);
                    COMMON_wdm_Destroy(watchdog);
                    COMMON_wdm_Unsubscribe(watched.subscriber);
                    for (const Watched& one : later) {
                        COMMON_wdm_Unsubscribe(one.subscriber);
                    }
                }),
                exited(0));
}

struct Again {
    COMMON_wdm* watchdog = nullptr;
    COMMON_wdm_Subscriber* subscriber = nullptr;
    std::atomic<int> starts{0};

    static void* handle(void* argument)
    {
        auto* const self = static_cast<Again*>(argument);
        if (++self->starts < 4) {
            COMMON_wdm_Subscribe(self->watchdog, self->subscriber, 1);
        }
        return nullptr;
    }
};

TEST(CommonWdm, HandlerSubscribesAnewAndIsStartedOnceForEachDeadline)
{
    EXPECT_THAT(run_fresh([] {
                    COMMON_wdm* const watchdog = COMMON_wdm_Init();
                    std::deque<Again> all(20);
                    const std::int64_t start = now_ms();
                    for (Again& again : all) {
                        again.watchdog = watchdog;
                        again.subscriber = COMMON_wdm_Create_Subscriber(Again::handle, &again);
                        COMMON_wdm_Subscribe(watchdog, again.subscriber, 1);
                    }
                    for (const Again& again : all) {
                        EXPECT_TRUE(wait_until([&] { return again.starts >= 4; }));
                    }
                    EXPECT_GT(now_ms() - start, 3000)
                        << "one second for each but a part of the first";
                    EXPECT_TRUE(wait_until([&] { return sleeps_empty(*watchdog); }));
                    COMMON_wdm_Destroy(watchdog);
                    for (const Again& again : all) {
                        EXPECT_EQ(again.starts, 4);
                        COMMON_wdm_Unsubscribe(again.subscriber);
                    }
                }),
                exited(0));
}

TEST(CommonWdm, HandlersThatBlockDelayNobody)
{
    EXPECT_THAT(run_fresh([] {
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
                    for (Blocking& block : blocking) {
                        EXPECT_TRUE(wait_until([&] { return block.begun.load(); }));
                        EXPECT_FALSE(block.left);
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
                }),
                exited(0));
}

}  // namespace
