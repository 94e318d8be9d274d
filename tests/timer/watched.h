// A subscriber of a watchdog that tells what happened to it.
#pragma once

#include <atomic>
#include <cstdint>

#include "common_wdm.h"
#include "shot.h"

/** Longer than any test, in seconds. */
inline constexpr std::uint32_t kLong_s = 3'600;

/** The current second of the monotonic clock. */
inline std::uint32_t now_s()
{
    return static_cast<std::uint32_t>(now_ms() / 1000);
}

/** A subscriber with a handler that counts. */
struct Watched {
    COMMON_wdm_Subscriber* subscriber = COMMON_wdm_Create_Subscriber(handle, this);
    std::atomic<int> starts{0};
    std::atomic<std::int64_t> started_ms{0};

    static void* handle(void* argument)
    {
        auto* const self = static_cast<Watched*>(argument);
        self->started_ms = now_ms();
        ++self->starts;
        return nullptr;
    }

    /** Waits until the handler has started that often. */
    bool has_started(int count = 1) const
    {
        return bench::wait_until([&] { return starts >= count; });
    }
};

/** Whether the monitor sleeps because there is nobody to watch. */
inline bool sleeps_empty(COMMON_wdm& watchdog)
{
    return std::atomic_ref(watchdog.anchor.next).load() == ~std::uintptr_t{0};
}
