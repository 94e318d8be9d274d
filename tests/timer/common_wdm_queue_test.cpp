// The queue of a watchdog, without a monitor: appending, collecting garbage, and who frees what.
#include <algorithm>
#include <atomic>
#include <bit>
#include <cstdlib>
#include <deque>
#include <memory>
#include <random>
#include <set>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "fresh_process.h"
#include "platform/futex.h"
#include "unmonitored_queue.h"
#include "watched.h"

namespace wdm = common::wdm;
using namespace harness;
using testing::ElementsAre;

namespace {

/// What malloc(3) gives first, in this order, and free(3) only counts. Not to be touched.
std::deque<void*> scripted_blocks;
void* scripted_block = nullptr;
int freed_scripted_blocks = 0;

struct Queue : UnmonitoredQueue {
    Queue() = default;
    Queue(const Queue&) = delete;
    Queue& operator=(const Queue&) = delete;
    ~Queue() { clear(); }

    /// The subscribers from head to tail; null for the anchor.
    std::vector<COMMON_wdm_Subscriber*> order() const
    {
        std::vector<COMMON_wdm_Subscriber*> all;
        for (const COMMON_wdm_Node* const node : nodes()) {
            all.push_back(node->subscriber);
        }
        EXPECT_EQ(nodes().back(), watchdog.tail);
        return all;
    }
};

class CommonWdmQueue : public testing::Test {
protected:
    ~CommonWdmQueue() override
    {
        queue.reset();
        for (auto* const subscriber : owned) {
            COMMON_wdm_Unsubscribe(subscriber);
        }
    }

    /// A subscriber in the queue.
    COMMON_wdm_Subscriber* subscribed()
    {
        auto* const subscriber = COMMON_wdm_Create_Subscriber(nullptr, nullptr);
        COMMON_wdm_Subscribe(&queue->watchdog, subscriber, kLong_s);
        owned.insert(subscriber);
        return subscriber;
    }

    void unsubscribe(COMMON_wdm_Subscriber* subscriber)
    {
        owned.erase(subscriber);
        COMMON_wdm_Unsubscribe(subscriber);
    }

    void collect() { wdm::collect_garbage(queue->watchdog); }

    std::vector<COMMON_wdm_Subscriber*> order() const { return queue->order(); }

    std::unique_ptr<Queue> queue = std::make_unique<Queue>();
    std::set<COMMON_wdm_Subscriber*> owned;
};

// Times.

TEST_F(CommonWdmQueue, RemainingTimeOfNobodyIsTheLargestSignedNumber)
{
    EXPECT_EQ(wdm::seconds_left(nullptr, 0), 2'147'483'647U);
    EXPECT_EQ(wdm::seconds_left(nullptr, 1000), 2'147'483'647U);
}

TEST_F(CommonWdmQueue, RemainingTimeCountsDownAndWraps)
{
    auto* const subscriber = subscribed();
    subscriber->deadline = 1100;
    EXPECT_EQ(wdm::seconds_left(subscriber, 1000), 100U);
    EXPECT_EQ(wdm::seconds_left(subscriber, 1100), 0U);
    EXPECT_EQ(wdm::seconds_left(subscriber, 1105), UINT32_MAX - 4);
}

TEST_F(CommonWdmQueue, TickleMovesTheDeadline)
{
    auto* const subscriber = subscribed();
    const std::uint32_t before = now_s();
    COMMON_wdm_Tickle(subscriber, 7200);
    EXPECT_GE(subscriber->deadline, before + 7200);
    EXPECT_LE(subscriber->deadline, now_s() + 7200);
    EXPECT_THAT(order(), ElementsAre(nullptr, subscriber));
}

// Appending.

TEST_F(CommonWdmQueue, HoldsTheAnchorAloneAtFirst)
{
    EXPECT_THAT(order(), ElementsAre(nullptr));
}

TEST_F(CommonWdmQueue, SubscribersAreAppended)
{
    auto* const first = subscribed();
    auto* const second = subscribed();
    EXPECT_THAT(order(), ElementsAre(nullptr, first, second));
    EXPECT_EQ(queue->wakes(), 0) << "nobody sleeps";
}

TEST_F(CommonWdmQueue, AppendingWakesAMonitorThatSleepsForWantOfSubscribers)
{
    queue->watchdog.anchor.next = wdm::kAsleep;
    auto* const subscriber = subscribed();
    EXPECT_EQ(queue->wakes(), 1);
    EXPECT_THAT(order(), ElementsAre(nullptr, subscriber));
}

TEST_F(CommonWdmQueue, AppendingWakesAMonitorThatWaitsAtTheTail)
{
    std::atomic<bool> woken{false};
    queue->watchdog.waiting = 1;
    std::thread monitor([&] {
        // Also when the append comes first, as the word has changed then.
        common::futex_wait(wdm::futex_word(queue->watchdog.anchor), 0, timespec{600, 0});
        woken = true;
    });
    subscribed();
    EXPECT_TRUE(wait_until([&] { return woken.load(); }));
    monitor.join();
}

TEST_F(CommonWdmQueue, LinksAreSeenByTheirLowHalf)
{
    COMMON_wdm_Node node{1, nullptr};
    EXPECT_EQ(*wdm::futex_word(node), 1U);
    node.next = wdm::kAsleep;
    EXPECT_EQ(*wdm::futex_word(node), UINT32_MAX);
}

TEST_F(CommonWdmQueue, AddressThatLooksNullToAFutexIsNoLink)
{
    EXPECT_TRUE(wdm::is_linkable(0x1000, 16));
    EXPECT_FALSE(wdm::is_linkable(0, 16));
    EXPECT_TRUE(wdm::is_linkable(0xFFFF'FF00U, 0x100));
#if UINTPTR_MAX > UINT32_MAX
    EXPECT_FALSE(wdm::is_linkable(0x7F00'0000'0000, 16));
    EXPECT_FALSE(wdm::is_linkable(0x7EFF'FFFF'FFF0, 32)) << "one within the block";
    EXPECT_TRUE(wdm::is_linkable(0x7EFF'FFFF'FFF0, 16));
    EXPECT_TRUE(wdm::is_linkable(0x7F00'0000'0010, 16));
#endif
}

TEST_F(CommonWdmQueue, BlockWithSuchAnAddressIsKeptUntilThereIsAnother)
{
    // Twice, as the allocator might hand out.
    const std::uintptr_t low_half_is_zero =
        sizeof(void*) == 4 ? UINTPTR_MAX - 7 : UINTPTR_MAX & ~std::uintptr_t{UINT32_MAX};
    void* const unfit = std::bit_cast<void*>(low_half_is_zero);
    scripted_blocks = {unfit, unfit};
    void* const block = wdm::allocate_linkable(16);
    EXPECT_NE(block, unfit);
    EXPECT_TRUE(scripted_blocks.empty());
    EXPECT_EQ(freed_scripted_blocks, 2);
    std::free(block);
    scripted_blocks = {unfit, nullptr};
    EXPECT_EQ(wdm::allocate_linkable(16), nullptr) << "without memory for another";
    EXPECT_EQ(freed_scripted_blocks, 3);
}

// Garbage.

TEST_F(CommonWdmQueue, WatchedSubscribersStay)
{
    auto* const first = subscribed();
    auto* const second = subscribed();
    collect();
    EXPECT_THAT(order(), ElementsAre(nullptr, first, second));
}

TEST_F(CommonWdmQueue, FiredOneInTheMiddleIsTakenOutAndStaysItsClients)
{
    auto* const first = subscribed();
    auto* const fired = subscribed();
    auto* const last = subscribed();
    fired->fired = 1;
    collect();
    EXPECT_THAT(order(), ElementsAre(nullptr, first, last));
    EXPECT_EQ(fired->holders, wdm::kClientHold);
}

TEST_F(CommonWdmQueue, LastOneIsTakenOutWithTheFirstNodeMovedBehindIt)
{
    auto* const first = subscribed();
    auto* const second = subscribed();
    unsubscribe(subscribed());
    collect();
    EXPECT_THAT(order(), ElementsAre(first, second, nullptr));
    unsubscribe(second);
    collect();
    EXPECT_THAT(order(), ElementsAre(first, nullptr));
}

TEST_F(CommonWdmQueue, LastOneWhoseForerunnerIsMovedIsTakenOutAtTheHead)
{
    unsubscribe(subscribed());
    collect();
    EXPECT_THAT(order(), ElementsAre(nullptr));
    auto* const subscriber = subscribed();
    EXPECT_THAT(order(), ElementsAre(nullptr, subscriber)) << "and the queue is whole";
}

TEST_F(CommonWdmQueue, HeadIsTakenOut)
{
    auto* const head = subscribed();
    auto* const second = subscribed();
    unsubscribe(subscribed());
    collect();
    ASSERT_THAT(order(), ElementsAre(head, second, nullptr));
    unsubscribe(head);
    collect();
    EXPECT_THAT(order(), ElementsAre(second, nullptr));
}

TEST_F(CommonWdmQueue, AllAreTakenOutAtOnce)
{
    for (int i = 0; i < 100; ++i) {
        unsubscribe(subscribed());
    }
    collect();
    EXPECT_THAT(order(), ElementsAre(nullptr));
}

/// A client has exchanged the tail but not yet set the link when the monitor takes the tail out.
TEST_F(CommonWdmQueue, NodeWhoseLinkIsStillMissingIsWaitedFor)
{
    auto* const first = subscribed();
    auto* const fired = subscribed();
    fired->fired = 1;
    auto* const late = COMMON_wdm_Create_Subscriber(nullptr, nullptr);
    owned.insert(late);
    ++late->holders;
    auto* const node = static_cast<COMMON_wdm_Node*>(std::malloc(sizeof(COMMON_wdm_Node)));
    *node = {0, late};
    auto* const before = std::atomic_ref(queue->watchdog.tail).exchange(node);
    ASSERT_EQ(before->subscriber, fired);

    std::thread monitor([&] { collect(); });
    EXPECT_TRUE(wait_until([&] { return wdm::next_of(*node) == &queue->watchdog.anchor; }));
    wdm::link(*before).exchange(reinterpret_cast<std::uintptr_t>(node));
    common::futex_wake_one(wdm::futex_word(*before));
    monitor.join();
    EXPECT_THAT(order(), ElementsAre(first, late, nullptr));
}

/// The same of the first node: the anchor was moved behind the node of that client.
TEST_F(CommonWdmQueue, FirstNodeWhoseLinkIsStillMissingIsWaitedFor)
{
    auto* const fired = subscribed();
    auto* const late = subscribed();
    fired->fired = 1;
    auto* const anchor = queue->watchdog.head;
    auto* const first = wdm::next_of(*anchor);
    auto* const behind = wdm::next_of(*first);
    queue->watchdog.head = first;
    first->next = anchor->next = 0;
    behind->next = reinterpret_cast<std::uintptr_t>(anchor);
    queue->watchdog.tail = anchor;

    std::thread monitor([&] { collect(); });
    EXPECT_TRUE(wait_until([&] { return sleeps_at_the_tail(queue->watchdog); }));
    wdm::link(*first).exchange(reinterpret_cast<std::uintptr_t>(behind));
    common::futex_wake_one(wdm::futex_word(*first));
    monitor.join();
    EXPECT_THAT(order(), ElementsAre(late, nullptr));
}

// More than one node of a subscriber.

TEST_F(CommonWdmQueue, AllNodesOfAFiredSubscriberGo)
{
    auto* const twice = subscribed();
    auto* const other = subscribed();
    COMMON_wdm_Subscribe(&queue->watchdog, twice, 1);
    ASSERT_THAT(order(), ElementsAre(nullptr, twice, other, twice));
    twice->fired = 1;
    collect();
    EXPECT_THAT(order(), ElementsAre(other, nullptr));
    EXPECT_EQ(twice->holders, wdm::kClientHold);
}

TEST_F(CommonWdmQueue, RecordWithTwoNodesIsFreedWithTheLastOfThem)
{
    auto* const twice = subscribed();
    COMMON_wdm_Subscribe(&queue->watchdog, twice, 1);
    unsubscribe(twice);
    EXPECT_EQ(twice->holders, 2U);
    collect();  // the address sanitizer watches
    EXPECT_THAT(order(), ElementsAre(nullptr));
}

TEST_F(CommonWdmQueue, WatchedSubscriberKeepsItsNodes)
{
    auto* const twice = subscribed();
    auto* const other = subscribed();
    COMMON_wdm_Subscribe(&queue->watchdog, twice, 1);
    collect();
    EXPECT_THAT(order(), ElementsAre(nullptr, twice, other, twice));
    EXPECT_EQ(twice->holders, wdm::kClientHold + 2);
}

TEST_F(CommonWdmQueue, SubscriberOfTwoWatchdogsStaysInBothAndIsFreedByTheLast)
{
    auto another = std::make_unique<Queue>();
    auto* const shared = subscribed();
    COMMON_wdm_Subscribe(&another->watchdog, shared, kLong_s);
    collect();
    wdm::collect_garbage(another->watchdog);
    EXPECT_THAT(order(), ElementsAre(nullptr, shared));
    EXPECT_THAT(another->order(), ElementsAre(nullptr, shared));
    unsubscribe(shared);
    collect();
    EXPECT_THAT(order(), ElementsAre(nullptr));
    EXPECT_EQ(shared->holders, 1U);
    another.reset();
}

TEST_F(CommonWdmQueue, SubscriberThatIsSubscribedAnewWhileItsOldNodeIsThereIsWatched)
{
    auto* const again = subscribed();
    again->fired = 1;
    COMMON_wdm_Subscribe(&queue->watchdog, again, kLong_s);
    EXPECT_EQ(again->fired, 0U);
    collect();
    EXPECT_THAT(order(), ElementsAre(nullptr, again, again));
}

TEST_F(CommonWdmQueue, TickleToAnEarlierTimeAppendsNothing)
{
    auto* const subscriber = subscribed();
    COMMON_wdm_Tickle(subscriber, 5);
    EXPECT_LE(subscriber->deadline, now_s() + 5);
    EXPECT_THAT(order(), ElementsAre(nullptr, subscriber));
    EXPECT_EQ(subscriber->holders, wdm::kClientHold + 1);
}

/// Whatever is done, the queue holds the anchor and each watched subscriber as often as it was
/// subscribed after a collection.
TEST_F(CommonWdmQueue, RandomLifeCyclesKeepTheQueueWhole)
{
    std::mt19937 random(20);
    std::multiset<COMMON_wdm_Subscriber*> watched;
    const auto any = [&] {
        return *std::next(watched.begin(), static_cast<std::ptrdiff_t>(random() % watched.size()));
    };
    for (int i = 0; i < 5'000; ++i) {
        const auto choice = random() % 10;
        if (choice < 4 || watched.empty()) {
            watched.insert(subscribed());
        } else if (choice < 6) {
            auto* const gone = any();
            watched.erase(gone);
            unsubscribe(gone);
        } else if (choice < 7) {
            auto* const fired = any();
            watched.erase(fired);
            fired->fired = 1;
        } else if (choice < 8) {
            auto* const again = any();
            watched.insert(again);
            COMMON_wdm_Subscribe(&queue->watchdog, again, kLong_s);
        } else {
            collect();
            auto all = order();
            EXPECT_EQ(std::erase(all, nullptr), 1U);
            std::sort(all.begin(), all.end());
            ASSERT_EQ(all, std::vector(watched.begin(), watched.end())) << "step " << i;
        }
    }
}

}  // namespace

extern "C" {

void* real_malloc(std::size_t size_bytes) __asm__("__real_malloc");
void* wrap_malloc(std::size_t size_bytes) __asm__("__wrap_malloc");
void* wrap_malloc(std::size_t size_bytes)
{
    if (scripted_blocks.empty()) {
        return real_malloc(size_bytes);
    }
    void* const block = scripted_blocks.front();
    scripted_blocks.pop_front();
    scripted_block = block == nullptr ? scripted_block : block;
    return block;
}

void real_free(void* block) __asm__("__real_free");
void wrap_free(void* block) __asm__("__wrap_free");
void wrap_free(void* block)
{
    if (block != nullptr && block == scripted_block) {
        ++freed_scripted_blocks;
    } else {
        real_free(block);
    }
}

}  // extern "C"
