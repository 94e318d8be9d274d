// A subscriber of a watchdog that tells what happened to it.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>

#include "common_wdm.h"
#include "shot.h"

/// Longer than any test, in seconds.
inline constexpr std::uint32_t kLong_s = 3'600;

/// The current second of the monotonic clock.
inline std::uint32_t now_s()
{
    return static_cast<std::uint32_t>(now_ms() / 1000);
}

/// The deadline, as others see it.
inline std::uint32_t deadline_of(COMMON_wdm_Subscriber& subscriber)
{
    return std::atomic_ref(subscriber.deadline).load();
}

/// Gives a subscriber whose deadline has passed another one. A monitor that a busy machine kept
/// from looking in that second does not make up for it.
inline void give_another_second(COMMON_wdm_Subscriber& subscriber)
{
    if (static_cast<std::int32_t>(now_s() - deadline_of(subscriber)) > 0) {
        COMMON_wdm_Tickle(&subscriber, 1);
    }
}

/// Waits for what comes in the second of a deadline.
inline bool wait_for_deadline(COMMON_wdm_Subscriber& subscriber,
                              const std::function<bool()>& condition)
{
    return harness::wait_until([&] {
        if (condition()) {
            return true;
        }
        give_another_second(subscriber);
        return false;
    });
}

/// A subscriber with a handler that counts.
struct Watched {
    COMMON_wdm_Subscriber* subscriber = COMMON_wdm_Create_Subscriber(handle, this);
    std::atomic<int> starts{0};
    std::atomic<std::uint32_t> started_s{0};

    static void* handle(void* argument)
    {
        auto* const self = static_cast<Watched*>(argument);
        self->started_s = now_s();
        ++self->starts;
        return nullptr;
    }

    /// Waits until the handler has started.
    bool has_started() const
    {
        return wait_for_deadline(*subscriber, [&] { return starts != 0; });
    }
};

/// Whether the monitor is about to sleep, or sleeps, until a deadline.
inline bool sleeps_at_the_tail(COMMON_wdm& watchdog)
{
    return std::atomic_ref(watchdog.waiting).load() == 1;
}

/// Whether the monitor sleeps because there is nobody to watch.
inline bool sleeps_empty(COMMON_wdm& watchdog)
{
    return std::atomic_ref(watchdog.anchor.next).load() == ~std::uintptr_t{0};
}
