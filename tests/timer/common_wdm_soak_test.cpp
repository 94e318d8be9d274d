// A watchdog that several threads subscribe to, tickle, unsubscribe from and destroy: who must fire
// does so once, and nobody else.
#include <algorithm>
#include <deque>
#include <random>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "soak.h"
#include "watched.h"

using namespace harness;

namespace {

/// A subscriber of one kind, and after it another one.
struct Kept : Watched {
    bool must_fire = false;
    int subscriptions = 0;
};

/// One thread's subscribers, by what has to become of them.
class Client {
public:
    explicit Client(unsigned seed) : random_(seed) {}

    /// Does something with one of the subscribers.
    void step(COMMON_wdm* watchdog)
    {
        const auto choice = random_() % 8;
        if (choice < 2) {
            subscribe(watchdog, true, static_cast<std::uint32_t>(random_() % 3));
        } else if (choice < 4) {
            subscribe(watchdog, false, kLong_s);
        } else if (!staying_.empty()) {
            Kept* const kept = staying_[random_() % staying_.size()];
            if (choice < 6) {
                COMMON_wdm_Tickle(kept->subscriber, longer());
            } else if (choice < 7) {
                COMMON_wdm_Subscribe(watchdog, kept->subscriber, longer());
            } else {
                std::erase(staying_, kept);
                unsubscribe(*kept);
            }
        }
    }

    /// Whether all who must fire have. The others get another chance, with the watchdog there.
    bool have_fired() const
    {
        bool all = true;
        for (const Kept* const kept : firing_) {
            if (kept->starts == 0) {
                give_another_second(*kept->subscriber);
                all = false;
            }
        }
        return all;
    }

    /// Unsubscribes all.
    void release()
    {
        for (auto* const list : {&firing_, &staying_}) {
            for (Kept* const kept : *list) {
                unsubscribe(*kept);
            }
            list->clear();
        }
    }

    /// Once no handler can be on its way any more: those who must not fire have not, the others
    /// once at most or, when all had their time, exactly once. How many have.
    int count_fired(bool all_had_time) const
    {
        int fired = 0;
        for (const Kept& kept : all_) {
            const int most = kept.must_fire ? kept.subscriptions : 0;
            EXPECT_LE(kept.starts, most);
            EXPECT_GE(kept.starts, all_had_time ? most : 0);
            fired += kept.starts;
        }
        return fired;
    }

private:
    void subscribe(COMMON_wdm* watchdog, bool must_fire, std::uint32_t timeout_s)
    {
        auto& list = must_fire ? firing_ : staying_;
        auto& spare = spare_[must_fire ? 1 : 0];
        if (list.size() == 20) {
            return;
        }
        if (spare.empty()) {
            list.push_back(&all_.emplace_back());
        } else {
            list.push_back(spare.back());
            spare.pop_back();
            list.back()->subscriber = COMMON_wdm_Create_Subscriber(Watched::handle, list.back());
        }
        list.back()->must_fire = must_fire;
        ++list.back()->subscriptions;
        COMMON_wdm_Subscribe(watchdog, list.back()->subscriber, timeout_s);
    }

    void unsubscribe(Kept& kept)
    {
        COMMON_wdm_Unsubscribe(kept.subscriber);
        spare_[kept.must_fire ? 1 : 0].push_back(&kept);
    }

    std::uint32_t longer() { return kLong_s + static_cast<std::uint32_t>(random_() % 100); }

    std::mt19937 random_;
    std::deque<Kept> all_{};
    std::vector<Kept*> firing_{};
    std::vector<Kept*> staying_{};
    std::vector<Kept*> spare_[2]{};
};

constexpr int kBurst = 64;  // steps

TEST(CommonWdmSoak, SubscribeTickleAndUnsubscribeFromSeveralThreads)
{
    run_race([](std::chrono::milliseconds time) {
        const int threads = thread_count();
        COMMON_wdm* const watchdog = COMMON_wdm_Init();
        std::deque<Client> clients;
        std::vector<std::function<void()>> steps;
        for (unsigned i = 0; i < 4; ++i) {
            Client& client = clients.emplace_back(i);
            steps.emplace_back([&client, watchdog, made = 0]() mutable {
                client.step(watchdog);
                // A monitor that a sanitizer makes slow follows bursts.
                if (++made == kBurst) {
                    made = 0;
                    std::this_thread::sleep_for(std::chrono::milliseconds(1));
                }
            });
        }
        race(time, steps);
        EXPECT_TRUE(wait_until([&] {
            return std::ranges::count_if(clients, &Client::have_fired) == std::ssize(clients);
        }));
        COMMON_wdm_Destroy(watchdog);
        EXPECT_TRUE(has_threads(threads)) << "handlers have come to their end";
        int fired = 0;
        for (Client& client : clients) {
            client.release();
            fired += client.count_fired(true);
        }
        EXPECT_GT(fired, 0);
    });
}

TEST(CommonWdmSoak, DestroyWithSubscribersFromSeveralThreads)
{
    run_race([](std::chrono::milliseconds time) {
        const int threads = thread_count();
        std::deque<Client> clients;
        std::vector<std::function<void()>> steps;
        for (unsigned i = 0; i < 3; ++i) {
            Client& client = clients.emplace_back(i);
            steps.emplace_back([&client, numbers = std::mt19937(i)]() mutable {
                COMMON_wdm* const watchdog = COMMON_wdm_Init();
                for (auto left = numbers() % 50; left > 0; --left) {
                    client.step(watchdog);
                }
                COMMON_wdm_Destroy(watchdog);
                client.release();
            });
        }
        race(time, steps);
        EXPECT_TRUE(has_threads(threads)) << "handlers have come to their end";
        for (const Client& client : clients) {
            client.count_fired(false);
        }
    });
}

}  // namespace
