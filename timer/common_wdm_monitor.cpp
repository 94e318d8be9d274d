#include <cstdlib>
#include <ctime>

#include "platform/futex.h"
#include "platform/pause.h"
#include "timer/common_wdm_queue.h"
#include "timer/detached_thread.h"

namespace common {

namespace {

/// Where in its second a wait for a deadline ends at the latest: what is left is for all the
/// handlers to be started in that second, and for a busy machine.
constexpr long kLatestInSecond_ns = 750'000'000;

/// How many nodes may be appended, beside as many as there were, before the queue is looked at from
/// its beginning, so that one that only grows is cleared.
constexpr unsigned kUnscannedNodes = 64;

/// How often a link is looked at before the monitor sleeps, about two microseconds: a row of
/// subscriptions then does not have to wake it for each.
constexpr int kLooks = 64;

std::uint32_t node_count(COMMON_wdm_Subscriber& subscriber) noexcept
{
    return std::atomic_ref(subscriber.holders).load(std::memory_order_acquire) & ~kClientHold;
}

bool has_fired(COMMON_wdm_Subscriber& subscriber) noexcept
{
    return std::atomic_ref(subscriber.fired).load(std::memory_order_acquire) != 0;
}

bool is_unsubscribed(COMMON_wdm_Subscriber& subscriber) noexcept
{
    return std::atomic_ref(subscriber.unsubscribed).load(std::memory_order_acquire) != 0;
}

std::uint32_t deadline_of(const COMMON_wdm_Subscriber& subscriber) noexcept
{
    return std::atomic_ref(const_cast<std::uint32_t&>(subscriber.deadline))
        .load(std::memory_order_acquire);
}

/// A node that is to be taken out. Of several nodes of one subscriber all but the last are: they
/// all watch the same deadline.
bool is_garbage(const COMMON_wdm_Node& node) noexcept
{
    return node.subscriber != nullptr &&
           (has_fired(*node.subscriber) || is_unsubscribed(*node.subscriber) ||
            node_count(*node.subscriber) > 1);
}

/// One look at the queue, from its head to the end of the wait at its tail.
struct Scan {
    COMMON_wdm_Subscriber* candidate = nullptr;  ///< whose deadline comes first
    std::uint32_t due = 0;                       ///< its deadline, as it was found
    bool garbage = false;                        ///< there are nodes to be taken out
    unsigned found = 0;                          ///< nodes that were in the queue
    unsigned appended = 0;                       ///< nodes that came meanwhile

    /// Seconds until the first deadline.
    std::uint32_t left(std::uint32_t now) const noexcept
    {
        return candidate == nullptr ? kNoTime : due - now;
    }
};

/// Looks at a node; true when the candidate's second is there, so that nothing must come between.
bool consider(const COMMON_wdm_Node& node, Scan& scan) noexcept
{
    COMMON_wdm_Subscriber* const subscriber = node.subscriber;
    const std::uint32_t now = monotonic_seconds();
    if (subscriber != nullptr) {
        scan.garbage = scan.garbage || is_garbage(node);
        const std::uint32_t deadline = deadline_of(*subscriber);
        // Unsigned: a deadline that has passed is the farthest of all, and is never met any more.
        if (scan.left(now) > deadline - now && !has_fired(*subscriber)) {
            scan.candidate = subscriber;
            scan.due = deadline;
        }
    }
    return scan.candidate != nullptr && scan.due == now;
}

/// Sleeps until the link of a node is set, for a time at most. The link, or null.
COMMON_wdm_Node* await_link(COMMON_wdm& watchdog, COMMON_wdm_Node& node,
                            const timespec& at_most) noexcept
{
    for (int i = 0; i < kLooks; ++i) {
        if (COMMON_wdm_Node* const next = next_of(node)) {
            return next;
        }
        pause_processor();
    }
    const std::atomic_ref waiting(watchdog.waiting);
    waiting.store(1, std::memory_order_seq_cst);
    futex_wait(futex_word(node), 0, at_most);
    waiting.store(0, std::memory_order_relaxed);
    return next_of(node);
}

/// Waits at the tail until the candidate's second, or for a node to be appended: that node, or
/// null.
COMMON_wdm_Node* wait_at_tail(COMMON_wdm& watchdog, COMMON_wdm_Node& tail,
                              const Scan& scan) noexcept
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    // What is left of the candidate's time, also when this is not the first wait for it.
    const std::uint32_t left = scan.left(static_cast<std::uint32_t>(now.tv_sec));
    if (left == 0 || left > kNoTime) {
        return nullptr;
    }
    timespec at_most{static_cast<std::time_t>(left), 0};
    if (now.tv_nsec > kLatestInSecond_ns) {
        at_most = {static_cast<std::time_t>(left - 1),
                   1'000'000'000 - (now.tv_nsec - kLatestInSecond_ns)};
    }
    return await_link(watchdog, tail, at_most);
}

/// Looks for the subscriber whose deadline comes first, until it has come or something else is to
/// be done. False at the watchdog's end.
bool scan_queue(COMMON_wdm& watchdog, Scan& scan) noexcept
{
    for (COMMON_wdm_Node* node = watchdog.head; node != &watchdog.end;) {
        if (consider(*node, scan)) {
            return true;
        }
        COMMON_wdm_Node* next = next_of(*node);
        if (next == nullptr) {
            if (scan.garbage) {
                return true;
            }
            next = wait_at_tail(watchdog, *node, scan);
            if (next == nullptr || ++scan.appended > scan.found + kUnscannedNodes) {
                return true;
            }
        }
        scan.found += scan.appended == 0 ? 1 : 0;
        node = next;
    }
    return false;
}

/// Marks a subscriber as fired, clears the queue and starts the handler, in this order: from then
/// on the monitor knows nothing of it, and the handler may subscribe it anew or release it.
void fire(COMMON_wdm& watchdog, COMMON_wdm_Subscriber& subscriber) noexcept
{
    const COMMON_wdm_Handler_t handler = subscriber.handler;
    void* const argument = subscriber.argument;
    const bool fires =
        !is_unsubscribed(subscriber) &&
        std::atomic_ref(subscriber.fired).exchange(1, std::memory_order_acq_rel) == 0;
    wdm_GarbageCollect(watchdog);
    if (fires && handler != nullptr) {
        start_detached(handler, argument, kDefaultStack);
    }
}

/// While the queue has nothing but the anchor there is nothing to watch.
void sleep_while_empty(COMMON_wdm& watchdog) noexcept
{
    std::uintptr_t none = 0;
    if (link(*watchdog.head).compare_exchange_strong(none, kAsleep, std::memory_order_acq_rel)) {
        while (sem_wait(&watchdog.wake) != 0) {  // a signal handler ran
        }
    }
}

/// Puts the first node behind the last one.
void move_first_behind(COMMON_wdm& watchdog) noexcept
{
    COMMON_wdm_Node* const first = watchdog.head;
    watchdog.head = next_of(*first);
    link(*first).store(0, std::memory_order_relaxed);
    COMMON_wdm_Node* const last =
        std::atomic_ref(watchdog.tail).exchange(first, std::memory_order_acq_rel);
    // Usually the node that is to be taken out; another one if a client was faster.
    link(*last).store(reinterpret_cast<std::uintptr_t>(first), std::memory_order_release);
}

/// The link of a node that is not the tail any more. A client may be about to set it.
COMMON_wdm_Node* await_next(COMMON_wdm& watchdog, COMMON_wdm_Node& node) noexcept
{
    COMMON_wdm_Node* next = nullptr;
    while (next == nullptr) {
        next = await_link(watchdog, node, timespec{1, 0});
    }
    return next;
}

}  // namespace

std::uint32_t wdm_CalcTime(const COMMON_wdm_Subscriber* subscriber) noexcept
{
    return subscriber == nullptr ? kNoTime : deadline_of(*subscriber) - monotonic_seconds();
}

void wdm_GarbageCollect(COMMON_wdm& watchdog) noexcept
{
    COMMON_wdm_Node* previous = nullptr;
    COMMON_wdm_Node* node = watchdog.head;
    while (node != nullptr) {
        if (!is_garbage(*node)) {
            previous = node;
            node = next_of(*node);
            continue;
        }
        if (next_of(*node) == nullptr) {
            // The anchor, which always stays, sees to it that the first node is another one.
            if (previous == watchdog.head) {
                previous = nullptr;
            }
            move_first_behind(watchdog);
        }
        COMMON_wdm_Node* const next = await_next(watchdog, *node);
        if (previous == nullptr) {
            watchdog.head = next;
        } else {
            link(*previous).store(reinterpret_cast<std::uintptr_t>(next),
                                  std::memory_order_release);
        }
        release(node->subscriber, 1);
        std::free(node);
        node = next;
    }
}

void* COMMON_wdm_Monitor(void* argument)
{
    auto& watchdog = *static_cast<COMMON_wdm*>(argument);
    for (;;) {
        sleep_while_empty(watchdog);
        Scan scan;
        if (!scan_queue(watchdog, scan)) {
            break;
        }
        if (scan.candidate != nullptr && wdm_CalcTime(scan.candidate) == 0) {
            fire(watchdog, *scan.candidate);
        } else if (scan.garbage) {
            wdm_GarbageCollect(watchdog);
        }
    }
    // The last touch of the watchdog.
    sem_post(&watchdog.ended);
    return nullptr;
}

}  // namespace common
