#include "common_wdm.h"

#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <ctime>

#include "log/process_locks.h"
#include "platform/futex.h"
#include "platform/uncancelled_scope.h"
#include "timer/common_wdm_queue.h"
#include "timer/detached_thread.h"

static_assert(offsetof(COMMON_wdm_Subscriber, deadline) == 0);
static_assert(offsetof(COMMON_wdm_Subscriber, unsubscribed) == 4);
static_assert(offsetof(COMMON_wdm_Subscriber, fired) == 8);
static_assert(offsetof(COMMON_wdm_Subscriber, handler) == (sizeof(void*) == 4 ? 12 : 16));
static_assert(offsetof(COMMON_wdm_Subscriber, argument) ==
              offsetof(COMMON_wdm_Subscriber, handler) + sizeof(void*));
static_assert(offsetof(COMMON_wdm_Node, next) == 0);
static_assert(offsetof(COMMON_wdm_Node, subscriber) == sizeof(void*));
static_assert(sizeof(COMMON_wdm_Node) == 2 * sizeof(void*));
static_assert(offsetof(COMMON_wdm, head) == 0);
static_assert(offsetof(COMMON_wdm, tail) == sizeof(void*));
static_assert(offsetof(COMMON_wdm, anchor) == 2 * sizeof(void*));
static_assert(offsetof(COMMON_wdm, wake) == 4 * sizeof(void*));
static_assert(offsetof(common::wdm::Watchdog, record) == 0);

namespace common::wdm {

void* allocate_linkable(std::size_t size_bytes) noexcept
{
    void* const block = std::malloc(size_bytes);
    if (block == nullptr || is_linkable(reinterpret_cast<std::uintptr_t>(block), size_bytes))
        [[likely]] {
        return block;
    }
    // Kept until there is another one, so that it is not handed out again.
    void* const other = allocate_linkable(size_bytes);
    std::free(block);
    return other;
}

void append(COMMON_wdm& watchdog, COMMON_wdm_Node& node) noexcept
{
    COMMON_wdm_Node* const before =
        std::atomic_ref(watchdog.tail).exchange(&node, std::memory_order_acq_rel);
    // From here on the node before may be taken out and freed.
    const std::uint32_t* const word = futex_word(*before);
    const std::uintptr_t old =
        link(*before).exchange(reinterpret_cast<std::uintptr_t>(&node), std::memory_order_seq_cst);
    if (old != 0) {
        sem_post(&watchdog.wake);
    }
    // Either this sees that the monitor is about to sleep, or the monitor sees the link.
    if (std::atomic_ref(watchdog.waiting).load(std::memory_order_seq_cst) != 0) {
        futex_wake_one(word);
    }
}

void release(COMMON_wdm_Subscriber* subscriber, std::uint32_t holds) noexcept
{
    const std::uint32_t before =
        std::atomic_ref(subscriber->holders).fetch_sub(holds, std::memory_order_acq_rel);
    if (before == holds) {
        std::free(subscriber);
    }
}

std::uint32_t monotonic_seconds() noexcept
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint32_t>(now.tv_sec);
}

}  // namespace common::wdm

using namespace common::wdm;

namespace {

COMMON_wdm_Node* new_node(COMMON_wdm_Subscriber* subscriber) noexcept
{
    auto* const node = static_cast<COMMON_wdm_Node*>(allocate_linkable(sizeof(COMMON_wdm_Node)));
    if (node != nullptr) {
        node->next = 0;
        node->subscriber = subscriber;
    }
    return node;
}

/// All that a tickle does: it may interrupt any of the others.
void move_deadline(COMMON_wdm_Subscriber& subscriber, std::uint32_t timeout_s) noexcept
{
    std::atomic_ref(subscriber.deadline)
        .exchange(monotonic_seconds() + timeout_s, std::memory_order_acq_rel);
}

}  // namespace

extern "C" {

COMMON_wdm* COMMON_wdm_Init(void)
{
    auto* const watchdog = static_cast<Watchdog*>(allocate_linkable(sizeof(Watchdog)));
    if (watchdog == nullptr) {
        return nullptr;
    }
    COMMON_wdm& record = watchdog->record;
    record.anchor = {0, nullptr};
    record.head = &record.anchor;
    record.tail = &record.anchor;
    record.end = {0, nullptr};
    record.waiting = 0;
    const bool can_wait = sem_init(&record.wake, 0, 0) == 0 && sem_init(&record.ended, 0, 0) == 0;
    record.forks = common::fork_count.load(std::memory_order_relaxed);
    pthread_sigmask(SIG_SETMASK, nullptr, &watchdog->handler_signals);
    sigset_t all;
    sigfillset(&all);
    record.monitored = can_wait && common::start_detached(run_monitor, watchdog, &all) ==
                                       common::ThreadStart::Started
                           ? 1
                           : 0;
    return &record;
}

COMMON_wdm_Subscriber* COMMON_wdm_Create_Subscriber(COMMON_wdm_Handler_t handler, void* argument)
{
    auto* const subscriber =
        static_cast<COMMON_wdm_Subscriber*>(std::malloc(sizeof(COMMON_wdm_Subscriber)));
    if (subscriber != nullptr) {
        subscriber->deadline = 0;
        subscriber->unsubscribed = 0;
        subscriber->fired = 0;
        subscriber->handler = handler;
        subscriber->argument = argument;
        subscriber->holders = kClientHold;
    }
    return subscriber;
}

void COMMON_wdm_Subscribe(COMMON_wdm* watchdog, COMMON_wdm_Subscriber* subscriber,
                          uint32_t timeout_s)
{
    if (watchdog == nullptr || subscriber == nullptr) {
        return;
    }
    COMMON_wdm_Node* const node = new_node(subscriber);
    if (node == nullptr) {
        return;
    }
    std::atomic_ref(subscriber->holders).fetch_add(1, std::memory_order_acq_rel);
    // In this order: a monitor that finds another node of an expired subscriber must not take the
    // old deadline for one that is still to be met.
    move_deadline(*subscriber, timeout_s);
    std::atomic_ref(subscriber->fired).store(0, std::memory_order_release);
    append(*watchdog, *node);
}

void COMMON_wdm_Tickle(COMMON_wdm_Subscriber* subscriber, uint32_t timeout_s)
{
    if (subscriber != nullptr) {
        move_deadline(*subscriber, timeout_s);
    }
}

void COMMON_wdm_Unsubscribe(COMMON_wdm_Subscriber* subscriber)
{
    if (subscriber == nullptr) {
        return;
    }
    if (std::atomic_ref(subscriber->unsubscribed).exchange(1, std::memory_order_acq_rel) == 0) {
        release(subscriber, kClientHold);
    }
}

void COMMON_wdm_Destroy(COMMON_wdm* watchdog)
{
    if (watchdog == nullptr) {
        return;
    }
    const bool in_child = watchdog->forks != common::fork_count.load(std::memory_order_relaxed);
    if (!in_child) {
        // As any node it ends whichever wait the monitor is in, and cannot be missed.
        append(*watchdog, watchdog->end);
        const common::UncancelledScope uncancelled;
        while (watchdog->monitored != 0 && sem_wait(&watchdog->ended) != 0) {  // a signal
        }
    }
    // All nodes go, so no garbage has to be collected first.
    for (COMMON_wdm_Node* node = watchdog->head; node != nullptr;) {
        const std::uintptr_t next = link(*node).load(std::memory_order_acquire);
        if (node->subscriber != nullptr) {
            release(node->subscriber, 1);
            std::free(node);
        }
        node = next == kAsleep ? nullptr : node_at(next);
    }
    if (!in_child) {
        sem_destroy(&watchdog->wake);
        sem_destroy(&watchdog->ended);
    }
    std::free(watchdog);
}

}  // extern "C"
