// Any subscriptions to two watchdogs, whose monitor is the target: what is left after garbage was
// collected is watched, in the order of its subscription if the queue is taken for a ring, and each
// record is freed by the last who holds it, which AddressSanitizer sees. The input is the calls.
#include <algorithm>
#include <array>
#include <deque>
#include <vector>

#include "common_wdm.h"
#include "support/choices.h"
#include "support/input.h"
#include "tests/timer/unmonitored_queue.h"

namespace wdm = common::wdm;

namespace {

/// A subscriber and what must be true of it.
struct Subscriber {
    COMMON_wdm_Subscriber* record;  // null when its client has given it away, and it may be gone
    bool fired = false;
    unsigned nodes = 0;

    bool is_garbage() const { return record == nullptr || fired; }
};

using Place = std::deque<Subscriber>::size_type;
constexpr Place kAnchor = ~Place{0};

struct Queue : harness::UnmonitoredQueue {
    void fall_asleep() { wdm::link(watchdog.anchor).store(wdm::kAsleep); }
    void wake_up()
    {
        if (is_asleep()) {
            wdm::link(watchdog.anchor).store(0);
        }
    }
    bool is_asleep() { return wdm::link(watchdog.anchor) == wdm::kAsleep; }

    std::deque<Place> model{kAnchor};
    int posted = 0;
};

class Target {
public:
    explicit Target(fuzz::Choices choices) : choices_(choices) {}
    Target(const Target&) = delete;
    Target& operator=(const Target&) = delete;
    ~Target()
    {
        for (Queue& queue : queues_) {
            queue.wake_up();
            queue.clear();
        }
        for (const Subscriber& subscriber : subscribers_) {
            COMMON_wdm_Unsubscribe(subscriber.record);
        }
    }

    void run()
    {
        while (!choices_.are_used_up()) {
            const unsigned choice = choices_.below(16);
            Queue& queue = queues_[choices_.below(2)];
            if (choice < 5) {
                subscribers_.push_back({COMMON_wdm_Create_Subscriber(nullptr, nullptr)});
                subscribe(queue, subscribers_.size() - 1);
            } else if (choice < 8) {
                subscribe(queue, any());
            } else if (choice < 10) {
                unsubscribe(any());
            } else if (choice < 12) {
                fire(any());
            } else if (choice < 13) {
                fall_asleep(queue);
            } else {
                collect(queue);
            }
        }
        for (Queue& queue : queues_) {
            collect(queue);
        }
    }

private:
    Place any() { return subscribers_.empty() ? kAnchor : choices_.below(limit()); }
    unsigned limit() const { return static_cast<unsigned>(subscribers_.size()); }

    bool is_client(Place place) const
    {
        return place != kAnchor && subscribers_[place].record != nullptr;
    }

    void subscribe(Queue& queue, Place place)
    {
        if (!is_client(place)) {
            return;
        }
        Subscriber& subscriber = subscribers_[place];
        queue.posted += queue.is_asleep() ? 1 : 0;
        COMMON_wdm_Subscribe(&queue.watchdog, subscriber.record, 3600);
        FUZZ_CHECK(queue.wakes() == queue.posted);
        queue.model.push_back(place);
        ++subscriber.nodes;
        subscriber.fired = false;
        check(subscriber);
    }

    void unsubscribe(Place place)
    {
        if (is_client(place)) {
            COMMON_wdm_Unsubscribe(subscribers_[place].record);
            subscribers_[place].record = nullptr;
        }
    }

    /// As a monitor does whose subscriber was not tickled.
    void fire(Place place)
    {
        if (is_client(place)) {
            subscribers_[place].record->fired = 1;
            subscribers_[place].fired = true;
        }
    }

    /// A monitor with nobody to watch; it is woken by the next who subscribes.
    static void fall_asleep(Queue& queue)
    {
        if (queue.model.size() == 1) {
            queue.fall_asleep();
        }
    }

    void collect(Queue& queue)
    {
        if (queue.is_asleep()) {
            return;  // whoever sleeps collects nothing
        }
        for (const Place place : queue.model) {
            if (place != kAnchor && subscribers_[place].is_garbage()) {
                --subscribers_[place].nodes;
            }
        }
        std::erase_if(queue.model, [&](Place place) {
            return place != kAnchor && subscribers_[place].is_garbage();
        });
        wdm::collect_garbage(queue.watchdog);

        std::vector<const COMMON_wdm_Subscriber*> got;
        COMMON_wdm_Node* last = nullptr;
        for (auto* node = queue.watchdog.head; node != nullptr; node = wdm::next_of(*node)) {
            FUZZ_CHECK(got.size() < queue.model.size());
            got.push_back(node->subscriber);
            last = node;
        }
        FUZZ_CHECK(queue.watchdog.tail == last);
        FUZZ_CHECK(got.size() == queue.model.size());
        // The first ones are moved behind the others when the tail goes.
        std::size_t turns = 0;
        while (!std::equal(got.begin(), got.end(), queue.model.begin(),
                           [&](auto* record, Place place) { return record == record_of(place); })) {
            FUZZ_CHECK(++turns < queue.model.size());
            queue.model.push_back(queue.model.front());
            queue.model.pop_front();
        }
        for (const Subscriber& subscriber : subscribers_) {
            check(subscriber);
        }
    }

    const COMMON_wdm_Subscriber* record_of(Place place) const
    {
        return place == kAnchor ? nullptr : subscribers_[place].record;
    }

    static void check(const Subscriber& subscriber)
    {
        if (subscriber.record != nullptr) {
            FUZZ_CHECK(subscriber.record->holders == wdm::kClientHold + subscriber.nodes);
            FUZZ_CHECK(subscriber.record->fired == (subscriber.fired ? 1U : 0U));
        }
    }

    fuzz::Choices choices_;
    std::array<Queue, 2> queues_;
    std::deque<Subscriber> subscribers_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Target(fuzz::Choices(data, std::min<std::size_t>(size, 256))).run();
    return 0;
}
