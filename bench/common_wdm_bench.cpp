// What a watchdog costs its clients: a tickle, and a subscription while the monitor waits and
// works, against the same operations by hand.
#include <benchmark/benchmark.h>
#include <linux/futex.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <ctime>

#include "common_wdm.h"
#include "support/ratio_report.h"

namespace {

constexpr std::uint32_t kLong_s = 3'600;

void tickle(benchmark::State& state)
{
    COMMON_wdm_Subscriber* const subscriber = COMMON_wdm_Create_Subscriber(nullptr, nullptr);
    for (auto _ : state) {
        COMMON_wdm_Tickle(subscriber, kLong_s);
    }
    COMMON_wdm_Unsubscribe(subscriber);
}
BENCHMARK(tickle);

void clock_and_exchange(benchmark::State& state)
{
    std::atomic<std::uint32_t> deadline{0};
    for (auto _ : state) {
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC, &now);
        benchmark::DoNotOptimize(
            deadline.exchange(static_cast<std::uint32_t>(now.tv_sec) + kLong_s));
    }
}
BENCHMARK(clock_and_exchange);

/// One subscriber after the other; they are made beforehand and all stay in the queue. The time is
/// that of the thread that subscribes.
void subscribe(benchmark::State& state)
{
    for (auto _ : state) {
        state.PauseTiming();
        COMMON_wdm* const watchdog = COMMON_wdm_Init();
        COMMON_wdm_Subscriber* subscribers[1000];
        for (auto& subscriber : subscribers) {
            subscriber = COMMON_wdm_Create_Subscriber(nullptr, nullptr);
        }
        state.ResumeTiming();
        for (auto* const subscriber : subscribers) {
            COMMON_wdm_Subscribe(watchdog, subscriber, kLong_s);
        }
        state.PauseTiming();
        COMMON_wdm_Destroy(watchdog);
        for (auto* const subscriber : subscribers) {
            COMMON_wdm_Unsubscribe(subscriber);
        }
        state.ResumeTiming();
    }
}
BENCHMARK(subscribe)->UseRealTime();

struct Node {
    std::atomic<Node*> next{nullptr};
    void* subscriber = nullptr;
};

void* word_of(Node& node)
{
    return &node.next;  // its low half
}

/// Follows a queue to its end and sleeps at the tail, until it meets a node that marks the end.
void* follow(void* argument)
{
    for (auto* node = static_cast<Node*>(argument); node->subscriber != argument;) {
        Node* const next = node->next.load(std::memory_order_acquire);
        if (next != nullptr) {
            node = next;
        } else {
            syscall(SYS_futex, word_of(*node), FUTEX_WAIT_PRIVATE, 0, nullptr, nullptr, 0);
        }
    }
    return nullptr;
}

/// A malloc, three exchanges and a wake-up, by hand.
void append(std::atomic<Node*>& tail, std::atomic<std::uint32_t>& deadline, void* subscriber)
{
    auto* const node = static_cast<Node*>(std::malloc(sizeof(Node)));
    new (node) Node;
    node->subscriber = subscriber;
    deadline.exchange(kLong_s);
    Node* const before = tail.exchange(node);
    before->next.exchange(node);
    syscall(SYS_futex, word_of(*before), FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

void append_by_hand(benchmark::State& state, bool followed)
{
    for (auto _ : state) {
        state.PauseTiming();
        Node anchor;
        std::atomic<Node*> tail{&anchor};
        std::atomic<std::uint32_t> deadlines[1000];
        pthread_t thread{};
        if (followed && pthread_create(&thread, nullptr, follow, &anchor) != 0) {
            std::abort();
        }
        state.ResumeTiming();
        for (auto& deadline : deadlines) {
            append(tail, deadline, nullptr);
        }
        state.PauseTiming();
        append(tail, deadlines[0], &anchor);
        if (followed) {
            pthread_join(thread, nullptr);
        }
        for (Node* node = anchor.next; node != nullptr;) {
            Node* const next = node->next;
            std::free(node);
            node = next;
        }
        state.ResumeTiming();
    }
}
BENCHMARK_CAPTURE(append_by_hand, followed, true)->UseRealTime();
BENCHMARK_CAPTURE(append_by_hand, alone, false)->UseRealTime();

}  // namespace

int main(int argc, char** argv)
{
    return bench::run_and_compare(
        argc, argv,
        {{"tickle / clock_gettime and an exchange", "tickle", "clock_and_exchange", 1.1},
         {"subscribe / malloc, 3 exchanges, a wake-up; same follower", "subscribe/real_time",
          "append_by_hand/followed/real_time", 1.1},
         {"subscribe / malloc, 3 exchanges, a wake-up of nobody", "subscribe/real_time",
          "append_by_hand/alone/real_time", 1.1}});
}
