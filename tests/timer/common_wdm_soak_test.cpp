// A watchdog that several threads subscribe to, tickle, unsubscribe from and destroy.
#include <deque>
#include <random>

#include <gmock/gmock.h>

#include "soak.h"
#include "watched.h"

using namespace bench;

namespace {

void* count(void* argument)
{
    ++*static_cast<std::atomic<int>*>(argument);
    return nullptr;
}

/** One thread's subscribers. */
struct Client {
    std::mt19937 random;
    std::vector<COMMON_wdm_Subscriber*> subscribers{};
};

/** Does something with one of the client's subscribers. */
void step(Client& client, COMMON_wdm* watchdog, std::atomic<int>& starts)
{
    const auto choice = client.random() % 8;
    if (client.subscribers.size() < 20 && choice < 4) {
        auto* const subscriber = COMMON_wdm_Create_Subscriber(count, &starts);
        COMMON_wdm_Subscribe(watchdog, subscriber, static_cast<std::uint32_t>(client.random() % 3));
        client.subscribers.push_back(subscriber);
        return;
    }
    if (client.subscribers.empty()) {
        return;
    }
    const std::size_t index = client.random() % client.subscribers.size();
    COMMON_wdm_Subscriber* const subscriber = client.subscribers[index];
    if (choice < 5) {
        COMMON_wdm_Tickle(subscriber, static_cast<std::uint32_t>(client.random() % 100));
    } else if (choice < 6) {
        COMMON_wdm_Subscribe(watchdog, subscriber, 1);
    } else {
        COMMON_wdm_Unsubscribe(subscriber);
        client.subscribers[index] = client.subscribers.back();
        client.subscribers.pop_back();
    }
}

/** Waits until handlers that were started have come to their end: threads that nobody joins. */
void settle(int threads)
{
    EXPECT_TRUE(has_threads(threads));
}

TEST(CommonWdmSoak, SubscribeTickleAndUnsubscribeFromSeveralThreads)
{
    EXPECT_THAT(run_race([](std::chrono::milliseconds time) {
                    const int threads = thread_count();
                    static std::atomic<int> starts{0};
                    COMMON_wdm* const watchdog = COMMON_wdm_Init();
                    std::deque<Client> clients;
                    std::vector<std::function<void()>> steps;
                    for (unsigned i = 0; i < 4; ++i) {
                        clients.push_back({std::mt19937(i)});
                        steps.emplace_back(
                            [&, &client = clients.back()] { step(client, watchdog, starts); });
                    }
                    race(time, steps);
                    COMMON_wdm_Destroy(watchdog);
                    for (const Client& client : clients) {
                        for (auto* const subscriber : client.subscribers) {
                            COMMON_wdm_Unsubscribe(subscriber);
                        }
                    }
                    EXPECT_GT(starts, 0);
                    settle(threads);
                }),
                exited(0));
}

TEST(CommonWdmSoak, DestroyWithSubscribersFromSeveralThreads)
{
    EXPECT_THAT(run_race([](std::chrono::milliseconds time) {
                    const int threads = thread_count();
                    static std::atomic<int> starts{0};
                    std::deque<Client> clients;
                    std::vector<std::function<void()>> steps;
                    for (unsigned i = 0; i < 3; ++i) {
                        clients.push_back({std::mt19937(i)});
                        steps.emplace_back([&, &client = clients.back()] {
                            COMMON_wdm* const watchdog = COMMON_wdm_Init();
                            for (auto left = client.random() % 50; left > 0; --left) {
                                step(client, watchdog, starts);
                            }
                            COMMON_wdm_Destroy(watchdog);
                            for (auto* const subscriber : client.subscribers) {
                                COMMON_wdm_Unsubscribe(subscriber);
                            }
                            client.subscribers.clear();
                        });
                    }
                    race(time, steps);
                    settle(threads);
                }),
                exited(0));
}

}  // namespace
