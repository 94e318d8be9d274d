#include "common_wdm.h"

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

namespace common {

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

}  // namespace common

namespace {

/// Monitors run nothing but their own loop.
constexpr std::size_t kMonitorStackBytes = std::size_t{64} * 1024;

COMMON_wdm_Node* new_node(COMMON_wdm_Subscriber* subscriber) noexcept
{
    auto* const node =
        static_cast<COMMON_wdm_Node*>(common::allocate_linkable(sizeof(COMMON_wdm_Node)));
    if (node != nullptr) {
        node->next = 0;
        node->subscriber = subscriber;
    }
    return node;
}

/// Moves the deadline: the one from before.
std::uint32_t move_deadline(COMMON_wdm_Subscriber& subscriber, std::uint32_t deadline) noexcept
{
    return std::atomic_ref(subscriber.deadline).exchange(deadline, std::memory_order_acq_rel);
}

/// The deadline has come nearer. The monitor sleeps for a later one, so a watched subscriber gets
/// another node, which the monitor looks at right away; it takes the surplus node out again.
void tell_of_earlier_deadline(COMMON_wdm_Subscriber& subscriber) noexcept
{
    if ((std::atomic_ref(subscriber.holders).load(std::memory_order_acquire) &
         ~common::kClientHold) == 0) {
        return;
    }
    COMMON_wdm_Node* const node = new_node(&subscriber);
    if (node != nullptr) {
        std::atomic_ref(subscriber.holders).fetch_add(1, std::memory_order_relaxed);
        common::append(*std::atomic_ref(subscriber.watchdog).load(std::memory_order_acquire),
                       *node);
    }
}

}  // namespace

extern "C" {

COMMON_wdm* COMMON_wdm_Init(void)
{
    auto* const watchdog = static_cast<COMMON_wdm*>(common::allocate_linkable(sizeof(COMMON_wdm)));
    if (watchdog == nullptr) {
        return nullptr;
    }
    watchdog->anchor = {0, nullptr};
    watchdog->head = &watchdog->anchor;
    watchdog->tail = &watchdog->anchor;
    watchdog->end = {0, nullptr};
    watchdog->waiting = 0;
    sem_init(&watchdog->wake, 0, 0);
    sem_init(&watchdog->ended, 0, 0);
    watchdog->forks = common::fork_count.load(std::memory_order_relaxed);
    watchdog->monitored = common::start_detached(common::COMMON_wdm_Monitor, watchdog,
                                                 kMonitorStackBytes) == common::ThreadStart::Started
                              ? 1
                              : 0;
    return watchdog;
}

COMMON_wdm_Subscriber* COMMON_wdm_Create_Subscriber(COMMON_wdm_Handler_t handler, void* argument)
{
    auto* const subscriber =
        static_cast<COMMON_wdm_Subscriber*>(std::malloc(sizeof(COMMON_wdm_Subscriber)));
    if (subscriber != nullptr) {
        subscriber->deadline = 0;  // no time that a tickle could come before
        subscriber->unsubscribed = 0;
        subscriber->fired = 0;
        subscriber->handler = handler;
        subscriber->argument = argument;
        subscriber->holders = common::kClientHold;
        subscriber->watchdog = nullptr;
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
    std::atomic_ref(subscriber->watchdog).store(watchdog, std::memory_order_relaxed);
    std::atomic_ref(subscriber->holders).fetch_add(1, std::memory_order_acq_rel);
    // In this order: a monitor that finds another node of an expired subscriber must not take the
    // old deadline for one that is still to be met.
    move_deadline(*subscriber, common::monotonic_seconds() + timeout_s);
    std::atomic_ref(subscriber->fired).store(0, std::memory_order_release);
    common::append(*watchdog, *node);
}

void COMMON_wdm_Tickle(COMMON_wdm_Subscriber* subscriber, uint32_t timeout_s)
{
    if (subscriber == nullptr) {
        return;
    }
    const std::uint32_t deadline = common::monotonic_seconds() + timeout_s;
    const std::uint32_t before = move_deadline(*subscriber, deadline);
    if (static_cast<std::int32_t>(deadline - before) < 0) [[unlikely]] {
        tell_of_earlier_deadline(*subscriber);
    }
}

void COMMON_wdm_Unsubscribe(COMMON_wdm_Subscriber* subscriber)
{
    if (subscriber == nullptr) {
        return;
    }
    if (std::atomic_ref(subscriber->unsubscribed).exchange(1, std::memory_order_acq_rel) == 0) {
        common::release(subscriber, common::kClientHold);
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
        common::append(*watchdog, watchdog->end);
        const common::UncancelledScope uncancelled;
        while (watchdog->monitored != 0 && sem_wait(&watchdog->ended) != 0) {  // a signal
        }
    }
    // All nodes go, so no garbage has to be collected first.
    for (COMMON_wdm_Node* node = watchdog->head; node != nullptr;) {
        const std::uintptr_t next = common::link(*node).load(std::memory_order_acquire);
        if (node->subscriber != nullptr) {
            common::release(node->subscriber, 1);
            std::free(node);
        }
        node = next == common::kAsleep ? nullptr : common::node_at(next);
    }
    if (!in_child) {
        sem_destroy(&watchdog->wake);
        sem_destroy(&watchdog->ended);
    }
    std::free(watchdog);
}

}  // extern "C"
