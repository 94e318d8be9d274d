// A watchdog's queue: single links, a tail that clients append to without a lock, and one thread,
// the monitor, that takes nodes out.
//
// A client appends a node in two steps: it exchanges the tail, then sets the link of the old tail.
// In between the queue ends at the old tail for whoever follows the links, so the monitor never
// takes out a node before its link is set.
#pragma once

#include <atomic>
#include <bit>
#include <csignal>
#include <cstddef>
#include <cstdint>

#include "common_wdm.h"

namespace common::wdm {

/// A watchdog as it is made, with what the public record cannot have: not all who include that know
/// the type.
struct Watchdog {
    COMMON_wdm record;
    sigset_t handler_signals;  ///< blocked in threads of handlers, as where the watchdog was made
};

/// The link of an anchor whose monitor sleeps on the semaphore.
inline constexpr std::uintptr_t kAsleep = ~std::uintptr_t{0};

/// The remaining time of nobody.
inline constexpr std::uint32_t kNoTime = 2'147'483'647;

/// Holders of a subscriber: the client has one bit, the nodes are counted below it. Whoever lets
/// the last hold go frees the record.
inline constexpr std::uint32_t kClientHold = 1U << 31;

inline std::atomic_ref<std::uintptr_t> link(COMMON_wdm_Node& node) noexcept
{
    return std::atomic_ref(node.next);
}

/// The node that a link leads to.
inline COMMON_wdm_Node* node_at(std::uintptr_t word) noexcept
{
    return std::bit_cast<COMMON_wdm_Node*>(word);
}

/// The next node; null at the tail.
inline COMMON_wdm_Node* next_of(COMMON_wdm_Node& node) noexcept
{
    return node_at(link(node).load(std::memory_order_acquire));
}

/// The part of a link that a futex can wait on: its low half, where addresses have 64 bits.
inline const std::uint32_t* futex_word(const COMMON_wdm_Node& node) noexcept
{
    const auto* const words = reinterpret_cast<const std::uint32_t*>(&node.next);
    constexpr std::size_t kLowHalf =
        __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__ ? sizeof(std::uintptr_t) / 4 - 1 : 0;
    return words + kLowHalf;
}

/// Whether no address within a block looks like a null link to a futex, which sees only 32 bits: a
/// monitor could sleep on a link that is set already.
constexpr bool is_linkable(std::uintptr_t address, std::size_t size_bytes) noexcept
{
    const auto first = static_cast<std::uint64_t>(address);
    const std::uint64_t last = first + size_bytes - 1;
    return static_cast<std::uint32_t>(first) != 0 && first >> 32 == last >> 32;
}

/// Allocates such a block; null without memory.
void* allocate_linkable(std::size_t size_bytes) noexcept;

/// Appends a node and wakes the monitor, whichever way it sleeps.
void append(COMMON_wdm& watchdog, COMMON_wdm_Node& node) noexcept;

/// Lets holds on a subscriber go, and frees it with the last one.
void release(COMMON_wdm_Subscriber* subscriber, std::uint32_t holds) noexcept;

/// Current second of the monotonic clock.
std::uint32_t monotonic_seconds() noexcept;

/// Seconds from `now` until a subscriber's deadline, as an unsigned number: one that has passed is
/// far away. That of nobody is kNoTime.
std::uint32_t seconds_left(const COMMON_wdm_Subscriber* subscriber, std::uint32_t now) noexcept;

/// Takes out the nodes of subscribers that have fired or are unsubscribed. For the monitor only.
void collect_garbage(COMMON_wdm& watchdog) noexcept;

/// The monitor thread of a Watchdog. Ends when it meets the watchdog's end node.
void* run_monitor(void* watchdog);

}  // namespace common::wdm
