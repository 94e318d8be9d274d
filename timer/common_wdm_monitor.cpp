#include <cstdlib>
#include <ctime>

#include "platform/futex.h"
#include "platform/pause.h"
#include "platform/thread_name.h"
#include "timer/common_wdm_queue.h"
#include "timer/detached_thread.h"

namespace common::wdm {

namespace {

/// The seconds are those of the fine clock, as clients read them: the coarse one is some
/// milliseconds behind, in the second before. Where in its second a wait for a deadline ends at the
/// latest: what is left is for all the handlers to be started in that second, and for a busy
/// machine.
constexpr long kLatestInSecond_ns = 750'000'000;

/// How many nodes may be appended, beside as many as there were, before the queue is looked at from
/// its beginning, so that one that only grows is cleared.
constexpr unsigned kUnscannedNodes = 64;

/// How many nodes are looked at with one reading of the clock: some milliseconds' worth at most, so
/// that clients who subscribe faster than the monitor follows do not hide a deadline from it.
constexpr unsigned kNodesOfReading = 16'384;

/// How often a link is looked at before the monitor sleeps, about two microseconds: a row of
/// subscriptions then does not have to wake it for each.
constexpr int kLooks = 64;

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

bool is_garbage(const COMMON_wdm_Node& node) noexcept
{
    return node.subscriber != nullptr &&
           (has_fired(*node.subscriber) || is_unsubscribed(*node.subscriber));
}

/// One look at the queue, from its head to the end of the wait at its tail.
struct Scan {
    /// The clock when the scan began, or some nodes ago. A second that has begun since is noticed
    /// at the tail, where the clock is read before the wait.
    std::uint32_t clock_s = monotonic_seconds();
    unsigned seen = 0;      ///< nodes looked at
    bool awaits = false;    ///< a deadline is still to come
    std::uint32_t due = 0;  ///< the first of them
    bool missed = false;    ///< a deadline has passed and was not met
    bool garbage = false;   ///< there are nodes to be taken out
    unsigned found = 0;     ///< nodes that were in the queue
    unsigned appended = 0;  ///< nodes that came meanwhile

    /// Seconds until the first deadline.
    std::uint32_t left(std::uint32_t now) const noexcept { return awaits ? due - now : kNoTime; }
};

/// Looks at a node; true when the first deadline's second is there, so that nothing must come
/// between.
bool consider(const COMMON_wdm_Node& node, Scan& scan) noexcept
{
    if (++scan.seen % kNodesOfReading == 0) {
        scan.clock_s = monotonic_seconds();
    }
    if (is_garbage(node)) {
        scan.garbage = true;
    } else {
        // Oddity: unsigned, so that a deadline that has passed is farther away than any, and is not
        // met any more. Test: CommonWdmTime.MissedDeadlineIsNotMadeUpForUntilTickledAgain.
        const std::uint32_t left = seconds_left(node.subscriber, scan.clock_s);
        scan.missed = scan.missed || left > kNoTime;
        if (left < scan.left(scan.clock_s)) {
            scan.awaits = true;
            scan.due = scan.clock_s + left;
        }
    }
    return scan.awaits && scan.due == scan.clock_s;
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

/// Waits at the tail until the first deadline's second, or for a node to be appended: that node, or
/// null. Who missed a deadline may be tickled without a word to the monitor, which therefore looks
/// again in the next second.
COMMON_wdm_Node* wait_at_tail(COMMON_wdm& watchdog, COMMON_wdm_Node& tail,
                              const Scan& scan) noexcept
{
    timespec now{};
    if (clock_gettime(CLOCK_MONOTONIC, &now) != 0) {
        return await_link(watchdog, tail, timespec{1, 0});  // to be asked again then
    }
    // What is left of the time, also when the scan has taken its time or has waited before.
    std::uint32_t left = scan.left(static_cast<std::uint32_t>(now.tv_sec));
    if (left == 0 || left > kNoTime) {
        return nullptr;
    }
    if (scan.missed) {
        left = 1;
    }
    timespec at_most{static_cast<std::time_t>(left), 0};
    if (now.tv_nsec > kLatestInSecond_ns) {
        at_most = {static_cast<std::time_t>(left - 1),
                   1'000'000'000 - (now.tv_nsec - kLatestInSecond_ns)};
    }
    return await_link(watchdog, tail, at_most);
}

/// Looks for the deadline that comes first, until it has come or something else is to be done.
/// False at the watchdog's end.
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

/// Takes out the nodes that a condition holds for: a list of them.
template <class Condition>
COMMON_wdm_Node* take_out(COMMON_wdm& watchdog, Condition condition) noexcept
{
    COMMON_wdm_Node taken{};
    COMMON_wdm_Node* last_taken = &taken;
    COMMON_wdm_Node* previous = nullptr;
    COMMON_wdm_Node* node = watchdog.head;
    while (node != nullptr) {
        if (!condition(*node)) {
            previous = node;
            node = next_of(*node);
            continue;
        }
        // The first node is no tail, as the anchor, which always stays, is behind it: only its link
        // is still to be set.
        if (next_of(*node) == nullptr && node != watchdog.head) {
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
        node->next = 0;
        last_taken->next = reinterpret_cast<std::uintptr_t>(node);
        last_taken = node;
        node = next;
    }
    return node_at(taken.next);
}

/// Lets go of the subscriber of a node that was taken out, and frees the node: the next one.
COMMON_wdm_Node* drop(COMMON_wdm_Node* node) noexcept
{
    COMMON_wdm_Node* const next = node_at(node->next);
    release(node->subscriber, 1);
    std::free(node);
    return next;
}

/// Starts the handlers of all whose deadline is in this second. They are marked first, and the
/// queue is cleared, so that the time that a handler takes to start costs nobody its second, and so
/// that the monitor knows nothing more of a subscriber whose handler starts: the handler may
/// subscribe it anew or release it.
void fire(Watchdog& watchdog, std::uint32_t second) noexcept
{
    COMMON_wdm_Node* node = take_out(watchdog.record, [second](const COMMON_wdm_Node& each) {
        return seconds_left(each.subscriber, second) == 0 &&
               std::atomic_ref(each.subscriber->fired).exchange(1, std::memory_order_acq_rel) == 0;
    });
    collect_garbage(watchdog.record);
    while (node != nullptr) {
        const COMMON_wdm_Handler_t handler =
            is_unsubscribed(*node->subscriber) ? nullptr : node->subscriber->handler;
        void* const argument = node->subscriber->argument;
        node = drop(node);
        if (handler != nullptr) {
            start_detached(handler, argument, &watchdog.handler_signals);
        }
    }
}

}  // namespace

std::uint32_t seconds_left(const COMMON_wdm_Subscriber* subscriber, std::uint32_t now) noexcept
{
    return subscriber == nullptr ? kNoTime : deadline_of(*subscriber) - now;
}

void collect_garbage(COMMON_wdm& watchdog) noexcept
{
    COMMON_wdm_Node* node = take_out(watchdog, is_garbage);
    while (node != nullptr) {
        node = drop(node);
    }
}

void* run_monitor(void* argument)
{
    auto& watchdog = *static_cast<Watchdog*>(argument);
    // For the threads of handlers, too, which inherit it.
    name_own_thread(kWatchdogThreadName);
    for (;;) {
        sleep_while_empty(watchdog.record);
        Scan scan;
        if (!scan_queue(watchdog.record, scan)) {
            break;
        }
        const std::uint32_t now = monotonic_seconds();
        if (scan.awaits && scan.due == now) {
            fire(watchdog, now);
        } else if (scan.garbage) {
            collect_garbage(watchdog.record);
        }
    }
    // The last touch of the watchdog.
    sem_post(&watchdog.record.ended);
    return nullptr;
}

}  // namespace common::wdm
