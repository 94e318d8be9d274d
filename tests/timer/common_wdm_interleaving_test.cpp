// Clients of a watchdog and its monitor, each interrupted by the others at any atomic operation:
// the queue stays whole, nobody sleeps on for good, and all memory is released once and not used
// after.
#include <algorithm>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "interleaving.h"
#include "stepped_platform.h"
#include "unmonitored_queue.h"

namespace wdm = common::wdm;
namespace interleaving = harness::interleaving;
using harness::SteppedPlatform;

namespace {

constexpr std::uint32_t kLong_s = 600;

/// The platform's own steps make some hundred orders at most; the others are of the library's.
void explore(unsigned preemptions, const std::function<void()>& body)
{
    const std::uint64_t orders = interleaving::explore(preemptions, body);
    std::printf("%" PRIu64 " orders\n", orders);
    EXPECT_GT(orders, 800U);
}

// The queue alone: the test is the monitor.

/// A queue, and threads that do something with it.
class Queue : SteppedPlatform, public harness::UnmonitoredQueue {
public:
    void thread(std::function<void()> does)
    {
        ++threads_;
        interleaving::start([this, does = std::move(does)] {
            does();
            --threads_;
        });
    }

    /// Appends a subscriber that is watched, of which the client knows no more.
    void append_watched()
    {
        auto* const subscriber = COMMON_wdm_Create_Subscriber(nullptr, nullptr);
        subscriber->holders = 0;
        COMMON_wdm_Subscribe(&watchdog, subscriber, kLong_s);
    }

    void append_garbage()
    {
        auto* const subscriber = COMMON_wdm_Create_Subscriber(nullptr, nullptr);
        COMMON_wdm_Subscribe(&watchdog, subscriber, kLong_s);
        COMMON_wdm_Unsubscribe(subscriber);
    }

    /// Waits for the threads, and takes the queue apart: how many subscribers it had.
    std::size_t end()
    {
        interleaving::wait_until([this] { return threads_ == 0; });
        const std::vector<COMMON_wdm_Node*> all = nodes();
        EXPECT_EQ(std::count(all.begin(), all.end(), &watchdog.anchor), 1);
        EXPECT_EQ(all.back(), watchdog.tail);
        clear();
        return all.size() - 1;
    }

private:
    int threads_ = 0;
};

TEST(CommonWdmInterleaving, AppendsOfTwoClientsAreBothInTheQueue)
{
    constexpr unsigned kAll = 1000;
    explore(kAll, [] {
        Queue queue;
        for (int i = 0; i < 2; ++i) {
            queue.thread([&] { queue.append_watched(); });
        }
        EXPECT_EQ(queue.end(), 2U);
    });
}

/// Wherever the garbage is: in front of the tail, at the tail, or both.
TEST(CommonWdmInterleaving, GarbageIsTakenOutWhileClientsAppend)
{
    for (const unsigned garbage : {1U, 2U, 3U}) {
        explore(2, [garbage] {
            Queue queue;
            std::size_t stay = 2;
            for (unsigned place = 0; place < 2; ++place) {
                if ((garbage >> place & 1U) != 0) {
                    queue.append_garbage();
                } else {
                    queue.append_watched();
                    ++stay;
                }
            }
            queue.thread([&] { wdm::collect_garbage(queue.watchdog); });
            for (int i = 0; i < 2; ++i) {
                queue.thread([&] { queue.append_watched(); });
            }
            EXPECT_EQ(queue.end(), stay);
        });
    }
}

/// A node that was just appended is garbage at once.
TEST(CommonWdmInterleaving, GarbageIsTakenOutAsItComes)
{
    explore(2, [] {
        Queue queue;
        queue.append_garbage();
        queue.thread([&] { wdm::collect_garbage(queue.watchdog); });
        for (int i = 0; i < 2; ++i) {
            queue.thread([&] { queue.append_garbage(); });
        }
        EXPECT_LE(queue.end(), 2U);
    });
}

// With the monitor.

/// A watchdog, what its clients do at once, and how often its handlers have started.
class Story {
public:
    Story() : watchdog(COMMON_wdm_Init()) {}
    Story(const Story&) = delete;
    Story& operator=(const Story&) = delete;

    void client(std::function<void()> does)
    {
        ++clients_;
        interleaving::start([this, does = std::move(does)] {
            does();
            --clients_;
        });
    }

    /// A subscriber whose handler counts, and then does something.
    COMMON_wdm_Subscriber* subscriber(std::function<void()> handler = [] {})
    {
        handler_ = std::move(handler);
        return COMMON_wdm_Create_Subscriber(
            [](void* story) -> void* {
                auto& its = *static_cast<Story*>(story);
                ++its.starts;
                its.handler_();
                return nullptr;
            },
            this);
    }

    /// Waits until clients and handlers are done and the monitor sleeps: at the tail, or as there
    /// is nobody.
    void settle()
    {
        interleaving::wait_until([this] {
            const auto& [value, waiting] = own_.semaphores.at(&watchdog->wake);
            return clients_ == 0 && own_.threads == 1 &&
                   (!own_.sleepers.empty() || waiting > value);
        });
        if (!own_.sleepers.empty()) {
            EXPECT_EQ(own_.sleepers.front()->word, wdm::futex_word(*watchdog->tail));
        }
    }

    void pass_time(std::time_t seconds) { own_.pass_time(seconds); }

    void end()
    {
        interleaving::wait_until([this] { return clients_ == 0; });
        COMMON_wdm_Destroy(watchdog);
        interleaving::wait_until([this] { return own_.threads == 0; });
    }

private:
    SteppedPlatform own_{};
    std::function<void()> handler_ = [] {};
    int clients_ = 0;

public:
    COMMON_wdm* watchdog;
    int starts = 0;
};

TEST(CommonWdmInterleaving, MonitorSleepsAtTheTailHoweverClientsAppend)
{
    explore(2, [] {
        Story story;
        COMMON_wdm_Subscriber* subscribers[2];
        for (auto*& subscriber : subscribers) {
            story.client([&] {
                subscriber = story.subscriber();
                COMMON_wdm_Subscribe(story.watchdog, subscriber, kLong_s);
            });
        }
        story.settle();
        for (auto* const subscriber : subscribers) {
            COMMON_wdm_Unsubscribe(subscriber);
        }
        story.end();
        EXPECT_EQ(story.starts, 0);
    });
}

TEST(CommonWdmInterleaving, WatchdogIsDestroyedWhileSubscribersGo)
{
    explore(2, [] {
        Story story;
        for (int i = 0; i < 2; ++i) {
            story.client([&] {
                auto* const subscriber = story.subscriber();
                COMMON_wdm_Subscribe(story.watchdog, subscriber, kLong_s);
                COMMON_wdm_Unsubscribe(subscriber);
            });
        }
        story.end();
        EXPECT_EQ(story.starts, 0);
    });
}

/// It is its client's again, from the start of the handler on.
TEST(CommonWdmInterleaving, HandlerSubscribesAnewOrReleases)
{
    for (const bool anew : {true, false}) {
        explore(1, [anew] {
            Story story;
            COMMON_wdm_Subscriber* due = nullptr;
            due = story.subscriber([&] {
                if (anew) {
                    COMMON_wdm_Subscribe(story.watchdog, due, kLong_s);
                }
                COMMON_wdm_Unsubscribe(due);
            });
            story.client([&] { COMMON_wdm_Subscribe(story.watchdog, due, 0); });
            story.client([&] {
                auto* const other = COMMON_wdm_Create_Subscriber(nullptr, nullptr);
                COMMON_wdm_Subscribe(story.watchdog, other, kLong_s);
                COMMON_wdm_Unsubscribe(other);
            });
            interleaving::wait_until([&] { return story.starts != 0; });
            story.settle();
            story.end();
            EXPECT_EQ(story.starts, 1);
        });
    }
}

/// A tickle against the deadline: the handler starts once, in the old second or the new one.
TEST(CommonWdmInterleaving, TickledSubscriberExpiresOnce)
{
    explore(3, [] {
        Story story;
        auto* const subscriber = story.subscriber();
        COMMON_wdm_Subscribe(story.watchdog, subscriber, 2);
        story.settle();
        story.client([&] { COMMON_wdm_Tickle(subscriber, 4); });
        story.client([&] { story.pass_time(2); });
        for (int second = 0; second < 5; ++second) {
            story.settle();
            story.pass_time(1);
        }
        story.settle();
        EXPECT_EQ(story.starts, 1);
        COMMON_wdm_Unsubscribe(subscriber);
        story.end();
    });
}

/// Of one subscriber, at once: each leaves a node, and all go with the last hold.
TEST(CommonWdmInterleaving, SubscriberIsSubscribedByTwoClients)
{
    explore(2, [] {
        Story story;
        auto* const subscriber = story.subscriber();
        for (int i = 0; i < 2; ++i) {
            story.client([&] { COMMON_wdm_Subscribe(story.watchdog, subscriber, kLong_s); });
        }
        story.settle();
        COMMON_wdm_Unsubscribe(subscriber);
        story.end();
        EXPECT_EQ(story.starts, 0);
    });
}

}  // namespace
