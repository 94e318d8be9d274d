// How the state machine engines tell their transitions.
#pragma once

#include <atomic>

#include "hsm_trace.h"

namespace common::hsm {

/// Who is told, or null. No lock: HsmTraceSet() exchanges it. A child of fork() inherits it.
extern std::atomic<HsmTrace*> trace;

/// Whether anybody is told: one plain load, for the engines to ask before they compose anything.
inline bool is_traced() noexcept
{
    return trace.load(std::memory_order_relaxed) != nullptr;
}

/// Tells a transition to all who listen.
[[gnu::cold]] void tell(const HsmTransition& transition) noexcept;

}  // namespace common::hsm
