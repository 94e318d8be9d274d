// The statechart of hsm_calls.h by the state machines of Boost. They call as many callbacks, but
// for the start event after a transition, which they have not.
#pragma once

#include "callback_count.h"

namespace bench {

/// By Boost.MSM.
class MsmMachine {
public:
    static constexpr std::uint64_t kBubbleCalls = 6;
    static constexpr std::uint64_t kSiblingCalls = 3;
    static constexpr std::uint64_t kDeepCalls = 11;

    MsmMachine();
    MsmMachine(const MsmMachine&) = delete;
    MsmMachine& operator=(const MsmMachine&) = delete;
    ~MsmMachine();

    void internal();
    void bubble();
    void sibling();
    void deep();

private:
    struct Implementation;
    Implementation* implementation;
};

/// By Boost.Statechart.
class StatechartMachine {
public:
    static constexpr std::uint64_t kBubbleCalls = 6;
    static constexpr std::uint64_t kSiblingCalls = 3;
    static constexpr std::uint64_t kDeepCalls = 11;

    StatechartMachine();
    StatechartMachine(const StatechartMachine&) = delete;
    StatechartMachine& operator=(const StatechartMachine&) = delete;
    ~StatechartMachine();

    void internal();
    void bubble();
    void sibling();
    void deep();

private:
    struct Implementation;
    Implementation* implementation;
};

}  // namespace bench
