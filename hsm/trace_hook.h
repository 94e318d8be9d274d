// How the state machine engines tell their transitions.
#pragma once

#include <atomic>

#include "hsm_trace.h"

namespace common {

/// Who is told, or null. No lock: HsmTraceSet() exchanges it. A child of fork() inherits it.
extern std::atomic<HsmTrace*> hsm_trace;

/// Whether anybody is told: one plain load, for the engines to ask before they compose anything.
inline bool hsm_is_traced() noexcept
{
    return hsm_trace.load(std::memory_order_relaxed) != nullptr;
}

/// Tells a transition to all who listen.
[[gnu::cold]] void tell_transition(const HsmTransition& transition) noexcept;

}  // namespace common
