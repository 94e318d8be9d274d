// Races of monitors and mutexes: what they guard is whole, and no notification is lost.
#include <array>
#include <atomic>
#include <cstdint>
#include <deque>
#include <random>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "common_monitor.h"
#include "common_mutex.h"
#include "common_system.h"
#include "soak.h"
#include "wait_until.h"

using namespace harness;

namespace {

constexpr unsigned kProducers = 2;

/// An item of a producer.
struct Item {
    unsigned producer;
    std::uint64_t number;
};

/// Items that wait for whoever takes them, guarded by a monitor.
class Shelf {
public:
    Shelf() { COMMON_Monitor_Initialize(&monitor_, nullptr); }
    Shelf(const Shelf&) = delete;
    Shelf& operator=(const Shelf&) = delete;
    ~Shelf() { COMMON_Monitor_Destroy(&monitor_); }

    /// Adds an item, unless there are many.
    bool put(const Item& item, std::uint32_t how)
    {
        COMMON_Monitor_Lock(&monitor_);
        const bool has_room = items_.size() < kMost;
        if (has_room) {
            items_.push_back(item);
        }
        // With or without the lock.
        if (how == 0) {
            COMMON_Monitor_Notify(&monitor_);
        }
        COMMON_Monitor_Unlock(&monitor_);
        if (how == 1) {
            COMMON_Monitor_Notify(&monitor_);
        } else if (how == 2) {
            COMMON_Monitor_NotifyAll(&monitor_);
        }
        return has_room;
    }

    /// Takes an item if it is woken for one in time.
    void take_in_time(std::uint64_t time_ns, bool absolute)
    {
        COMMON_Monitor_Lock(&monitor_);
        if (items_.empty()) {
            const std::uint64_t now = COMMON_System_GetTimeByClockId(CLOCK_MONOTONIC);
            const std::uint32_t timed_out =
                absolute ? COMMON_Monitor_WaitAbsolute(&monitor_, now + time_ns)
                         : COMMON_Monitor_WaitTimed(&monitor_, time_ns);
            EXPECT_LE(timed_out, 1U);
            if (timed_out == 0) {
                take_locked();
            }
        }
        COMMON_Monitor_Unlock(&monitor_);
    }

    void take_until_over()
    {
        COMMON_Monitor_Lock(&monitor_);
        while (!over_ || !items_.empty()) {
            take_locked();
            while (items_.empty() && !over_) {
                COMMON_Monitor_Wait(&monitor_);
            }
        }
        COMMON_Monitor_Unlock(&monitor_);
    }

    void end()
    {
        COMMON_Monitor_Lock(&monitor_);
        over_ = true;
        COMMON_Monitor_NotifyAll(&monitor_);
        COMMON_Monitor_Unlock(&monitor_);
    }

    /// Waits until somebody has taken a number of items, for which nothing more is done.
    void await_taken(std::uint64_t count)
    {
        const auto is_taken = [&] { return seen_taken_.load(std::memory_order_relaxed) == count; };
        for (int look = 0; look < 1'000 && !is_taken(); ++look) {
            std::this_thread::yield();
        }
        ASSERT_TRUE(wait_until(is_taken)) << "nobody was woken for what is there";
    }

    std::uint64_t taken(unsigned producer) const { return next_[producer]; }

private:
    static constexpr std::size_t kMost = 16;

    void take_locked()
    {
        if (!items_.empty()) {
            const Item item = items_.front();
            items_.pop_front();
            EXPECT_EQ(item.number, next_[item.producer]) << "producer " << item.producer;
            ++next_[item.producer];
            seen_taken_.fetch_add(1, std::memory_order_relaxed);
        }
    }

    COMMON_Monitor monitor_{};
    std::deque<Item> items_{};
    std::array<std::uint64_t, kProducers> next_{};
    bool over_ = false;
    /// For whoever looks without the lock.
    std::atomic<std::uint64_t> seen_taken_{0};
};

/// Those who wait until all is over, while others do something.
void race_with_waiters(Shelf& shelf, std::chrono::milliseconds time,
                       std::vector<std::function<void()>> steps)
{
    std::vector<std::thread> waiting;
    for (int i = 0; i < 2; ++i) {
        waiting.emplace_back([&] { shelf.take_until_over(); });
    }
    steps.emplace_back([&, random = std::mt19937(7)]() mutable {
        shelf.take_in_time(random() % 200'000, random() % 2 == 0);
    });
    race(time, steps);
    shelf.end();
    for (auto& thread : waiting) {
        thread.join();
    }
}

TEST(CommonMonitorSoak, EachItemIsTakenOnceAndInOrder)
{
    run_race([](std::chrono::milliseconds time) {
        Shelf shelf;
        std::array<std::uint64_t, kProducers> put{};
        std::vector<std::function<void()>> steps;
        for (unsigned id = 0; id < kProducers; ++id) {
            steps.emplace_back([&, id, random = std::mt19937(id)]() mutable {
                const auto how = static_cast<std::uint32_t>(random() % 3);
                put[id] += shelf.put({id, put[id]}, how) ? 1 : 0;
            });
        }
        race_with_waiters(shelf, time, steps);
        EXPECT_GT(put[0] + put[1], 0U);
        for (unsigned id = 0; id < kProducers; ++id) {
            EXPECT_EQ(shelf.taken(id), put[id]);
        }
    });
}

TEST(CommonMonitorSoak, EachNotificationWakesSomebody)
{
    run_race([](std::chrono::milliseconds time) {
        Shelf shelf;
        std::uint64_t put = 0;
        race_with_waiters(
            shelf, time, {[&, random = std::mt19937(1)]() mutable {
                ASSERT_TRUE(shelf.put({0, put}, static_cast<std::uint32_t>(random() % 3)));
                ++put;
                shelf.await_taken(put);
            }});
        EXPECT_GT(put, 0U);
        EXPECT_EQ(shelf.taken(0), put);
    });
}

/// A mutex of a kind, and what it guards: plain words, which a thread sanitizer watches.
struct Guarded {
    COMMON_Mutex mutex{};
    std::uint64_t first = 0;
    std::uint64_t second = 0;

    explicit Guarded(COMMON_MutexType_t type)
    {
        COMMON_Mutex_Initialize(&mutex);
        COMMON_Mutex_SetType(&mutex, type);
        COMMON_Mutex_Commit(&mutex);
    }
    Guarded(const Guarded&) = delete;
    Guarded& operator=(const Guarded&) = delete;
    ~Guarded() { COMMON_Mutex_Destroy(&mutex); }

    void count_up()
    {
        ASSERT_EQ(first, second);
        ++first;
        ++second;
    }
};

TEST(CommonMutexSoak, EveryKindHasOneHolder)
{
    run_race([](std::chrono::milliseconds time) {
        constexpr unsigned kThreads = 3;
        std::deque<Guarded> all;
        for (COMMON_MutexType_t type = COMMON_MutexTypeNormal; type <= COMMON_MutexTypeDefault;
             ++type) {
            all.emplace_back(type);
        }
        std::atomic<std::uint64_t> locked{0};
        std::vector<std::function<void()>> steps;
        for (unsigned i = 0; i < kThreads; ++i) {
            steps.emplace_back([&, random = std::mt19937(i)]() mutable {
                Guarded& one = all[random() % all.size()];
                const bool nests = one.mutex.type == COMMON_MutexTypeRecursive;
                COMMON_Mutex_Lock(&one.mutex);
                one.count_up();
                if (nests) {
                    COMMON_Mutex_Lock(&one.mutex);
                    one.count_up();
                    COMMON_Mutex_Unlock(&one.mutex);
                }
                COMMON_Mutex_Relock(&one.mutex);
                one.count_up();
                COMMON_Mutex_Unlock(&one.mutex);
                locked.fetch_add(nests ? 3 : 2, std::memory_order_relaxed);
            });
        }
        race(time, steps);
        std::uint64_t counted = 0;
        for (const Guarded& one : all) {
            EXPECT_EQ(one.first, one.second);
            counted += one.first;
        }
        EXPECT_EQ(counted, locked);
    });
}

}  // namespace
