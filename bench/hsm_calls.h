// A statechart for measuring: by each of both engines, and by calling the same callbacks by hand.
//
//     top
//       x1 x2 x3 x4 (each in the one before)
//         x5
//         y5
//       z1 z2 z3 z4 (each in the one before)
//         z5
#pragma once

#include <cstddef>
#include <cstdint>

#include "callback_count.h"
#include "hsm.h"
#include "ls_hsm.h"

namespace bench {

/// States by number: those of the x and z branches up to their leaves follow each other.
enum StateNumber { kTop, kX1, kX5 = 5, kY5, kZ1, kZ5 = 11, kStateCount };

/// Events: handled by a leaf; by the top, five levels up; transitions to and fro.
enum Load : unsigned { kInternal = 1, kBubble, kSibling, kDeep, kStart, kEntry, kExit };

constexpr int parent_of(int state)
{
    return state == kX1 || state == kZ1 ? kTop : state == kY5 ? kX5 - 1 : state - 1;
}

/// Where an event leads a state: -1 for nowhere.
constexpr int target_of(int state, unsigned event)
{
    if (event == kSibling) {
        return state == kX5 ? kY5 : state == kY5 ? kX5 : -1;
    }
    return event != kDeep ? -1 : state == kX5 ? kZ5 : state == kZ5 ? kX5 : -1;
}

constexpr bool is_handled(int state, unsigned event)
{
    return event >= kStart || (event == kInternal && state == kX5) ||
           (event == kBubble && state == kTop) || target_of(state, event) >= 0;
}

// The callbacks of the compact engine. The compiler shall not look into them, nor merge the work of
// several: real ones stand elsewhere.

struct HsmMachine;

/// Whether a callback asks its engine for transitions, or somebody makes them by hand.
enum class Moves { Asked, ByHand };

template <Moves moves, int number>
BENCH_OPAQUE HsmEvent on_event(Hsm* machine, HsmEvent event);

struct HsmMachine : Hsm {
    static constexpr std::uint64_t kBubbleCalls = 6;
    static constexpr std::uint64_t kSiblingCalls = 4;
    static constexpr std::uint64_t kDeepCalls = 12;

    State states[kStateCount];

    State* at(int number) { return number == kTop ? &top : &states[number]; }

    HsmMachine() : Hsm()
    {
        HsmCtor(this, "bench", on_event<Moves::Asked, kTop>, kStart, kEntry, kExit);
        construct<kX1>();
        HsmOnStart(this);
        current = at(kX5);
    }
    template <int number>
    void construct()
    {
        StateCtor(at(number), "state", at(parent_of(number)), on_event<Moves::Asked, number>);
        if constexpr (number + 1 < kStateCount) {
            construct<number + 1>();
        }
    }
    void internal() { HsmOnEvent(this, kInternal); }
    void bubble() { HsmOnEvent(this, kBubble); }
    void sibling() { HsmOnEvent(this, kSibling); }
    void deep() { HsmOnEvent(this, kDeep); }
};

template <Moves moves, int number>
HsmEvent on_event(Hsm* machine, HsmEvent event)
{
    ++callback_count;
    if constexpr (moves == Moves::Asked && target_of(number, kSibling) >= 0) {
        if (event == kSibling) {
            auto* const all = static_cast<HsmMachine*>(machine);
            HsmStateTran_(machine, all->at(target_of(number, kSibling)));
            return 0;
        }
    }
    if constexpr (moves == Moves::Asked && target_of(number, kDeep) >= 0) {
        if (event == kDeep) {
            auto* const all = static_cast<HsmMachine*>(machine);
            HsmStateTran_(machine, all->at(target_of(number, kDeep)));
            return 0;
        }
    }
    return is_handled(number, static_cast<unsigned>(event)) ? 0 : event;
}

/// The same calls in the same order.
struct HsmByHand : Hsm {
    static constexpr std::uint64_t kBubbleCalls = HsmMachine::kBubbleCalls;
    static constexpr std::uint64_t kSiblingCalls = HsmMachine::kSiblingCalls;
    static constexpr std::uint64_t kDeepCalls = HsmMachine::kDeepCalls;

    int at = kX5;

    HsmByHand() : Hsm() {}
    template <int number>
    HsmEvent call(HsmEvent event)
    {
        return on_event<Moves::ByHand, number>(this, event);
    }
    template <int number>
    HsmEvent call_upwards(HsmEvent event)
    {
        event = call<number>(event);
        if constexpr (number != kTop) {
            return event != 0 ? call_upwards<parent_of(number)>(event) : 0;
        }
        return event;
    }
    template <int from, int to>
    void move(HsmEvent event)
    {
        call<from>(event);
        leave<from, to>();
        enter<from, to>();
        call<to>(kStart);
        at = to;
    }
    template <int from, int to>
    void leave()
    {
        call<from>(kExit);
        if constexpr (parent_of(from) != parent_of(to) && parent_of(from) != kTop) {
            leave<parent_of(from), parent_of(to)>();
        }
    }
    template <int from, int to>
    void enter()
    {
        if constexpr (parent_of(from) != parent_of(to) && parent_of(from) != kTop) {
            enter<parent_of(from), parent_of(to)>();
        }
        call<to>(kEntry);
    }
    void internal() { call<kX5>(kInternal); }
    void bubble() { call_upwards<kX5>(kBubble); }
    void sibling() { at == kX5 ? move<kX5, kY5>(kSibling) : move<kY5, kX5>(kSibling); }
    void deep() { at == kX5 ? move<kX5, kZ5>(kDeep) : move<kZ5, kX5>(kDeep); }
};

/// The same calls in the same order again, by pointer in a loop: all that an engine adds to what it
/// cannot do without is finding out which ones.
struct HsmInLoop : Hsm {
    static constexpr std::uint64_t kDeepCalls = HsmMachine::kDeepCalls;
    static constexpr std::uint64_t kSiblingCalls = HsmMachine::kSiblingCalls;

    struct Call {
        HsmHandler handler;
        HsmEvent event;
    };
    struct Row {
        Call calls[kDeepCalls];
        std::size_t count = 0;

        void add(int state, HsmEvent event) { calls[count++] = {handler_of(state), event}; }
        void add_move(int from, int to, HsmEvent event)
        {
            add(from, event);
            add_ends(from, to);
            add(to, kStart);
        }
        void add_ends(int from, int to)
        {
            add(from, kExit);
            if (parent_of(from) != parent_of(to) && parent_of(from) != kTop) {
                add_ends(parent_of(from), parent_of(to));
            }
            add(to, kEntry);
        }
    };
    Row siblings[2]{};
    Row deeps[2]{};
    int at = 0;

    HsmInLoop() : Hsm()
    {
        siblings[0].add_move(kX5, kY5, kSibling);
        siblings[1].add_move(kY5, kX5, kSibling);
        deeps[0].add_move(kX5, kZ5, kDeep);
        deeps[1].add_move(kZ5, kX5, kDeep);
    }
    template <int number = 0>
    static HsmHandler handler_of(int state)
    {
        if constexpr (number < kStateCount) {
            return state == number ? on_event<Moves::ByHand, number>
                                   : handler_of<number + 1>(state);
        }
        return nullptr;
    }
    void run(const Row& row)
    {
        for (std::size_t i = 0; i < row.count; ++i) {
            row.calls[i].handler(this, row.calls[i].event);
        }
        at = 1 - at;
    }
    void sibling() { run(siblings[at]); }
    void deep() { run(deeps[at]); }
};

// The callbacks of the engine with typed events.

template <Moves moves, int number>
BENCH_OPAQUE int on_ls_event(ls_hsm_t* machine, const ls_hsm_event_t* event, void* user,
                             ls_hsm_state_t* state);

struct LsMachine : ls_hsm_t {
    static constexpr std::uint64_t kBubbleCalls = 6;
    static constexpr std::uint64_t kSiblingCalls = 4;
    static constexpr std::uint64_t kDeepCalls = 12;

    ls_hsm_state_t states[kStateCount];

    ls_hsm_state_t* at(int number) { return number == kTop ? &master : &states[number]; }

    LsMachine() : ls_hsm_t()
    {
        ls_hsm_init(this, "bench", nullptr, on_ls_event<Moves::Asked, kTop>, nullptr, 8);
        construct<kX1>();
        ls_hsm_run(this);
        current = at(kX5);
    }
    template <int number>
    void construct()
    {
        ls_hsm_state_init(at(number), "state", at(parent_of(number)),
                          on_ls_event<Moves::Asked, number>);
        if constexpr (number + 1 < kStateCount) {
            construct<number + 1>();
        }
    }
    void internal() { ls_hsm_dispatch(this, kInternal); }
    void bubble() { ls_hsm_dispatch(this, kBubble); }
    void sibling() { ls_hsm_dispatch(this, kSibling); }
    void deep() { ls_hsm_dispatch(this, kDeep); }
};

template <Moves moves, int number>
int on_ls_event(ls_hsm_t* machine, const ls_hsm_event_t* event, void*, ls_hsm_state_t*)
{
    ++callback_count;
    if (event->type != LS_HSM_EVENT_USER) {
        return 0;
    }
    const std::uint32_t value = event->value;
    if constexpr (moves == Moves::Asked && target_of(number, kSibling) >= 0) {
        if (value == kSibling) {
            auto* const all = static_cast<LsMachine*>(machine);
            ls_hsm_transition(machine, all->at(target_of(number, kSibling)));
        }
    }
    if constexpr (moves == Moves::Asked && target_of(number, kDeep) >= 0) {
        if (value == kDeep) {
            auto* const all = static_cast<LsMachine*>(machine);
            ls_hsm_transition(machine, all->at(target_of(number, kDeep)));
        }
    }
    return is_handled(number, value) ? 0 : 1;
}

/// The same calls in the same order, with an event record for each as the callbacks expect it.
struct LsByHand : ls_hsm_t {
    static constexpr std::uint64_t kBubbleCalls = LsMachine::kBubbleCalls;
    static constexpr std::uint64_t kSiblingCalls = LsMachine::kSiblingCalls;
    static constexpr std::uint64_t kDeepCalls = LsMachine::kDeepCalls;

    int at = kX5;

    LsByHand() : ls_hsm_t() {}
    template <int number>
    int call(std::uint32_t type, std::uint32_t value)
    {
        const ls_hsm_event_t event{type, value};
        return on_ls_event<Moves::ByHand, number>(this, &event, userData, nullptr);
    }
    template <int number>
    int call_upwards(std::uint32_t value)
    {
        const int result = call<number>(LS_HSM_EVENT_USER, value);
        if constexpr (number != kTop) {
            return result != 0 ? call_upwards<parent_of(number)>(value) : 0;
        }
        return result;
    }
    template <int from, int to>
    void move(std::uint32_t value)
    {
        call<from>(LS_HSM_EVENT_USER, value);
        leave<from, to>();
        enter<from, to>();
        call<to>(LS_HSM_EVENT_INIT, 0);
        at = to;
    }
    template <int from, int to>
    void leave()
    {
        call<from>(LS_HSM_EVENT_EXIT, 0);
        if constexpr (parent_of(from) != parent_of(to) && parent_of(from) != kTop) {
            leave<parent_of(from), parent_of(to)>();
        }
    }
    template <int from, int to>
    void enter()
    {
        if constexpr (parent_of(from) != parent_of(to) && parent_of(from) != kTop) {
            enter<parent_of(from), parent_of(to)>();
        }
        call<to>(LS_HSM_EVENT_ENTRY, 0);
    }
    void internal() { call<kX5>(LS_HSM_EVENT_USER, kInternal); }
    void bubble() { call_upwards<kX5>(kBubble); }
    void sibling() { at == kX5 ? move<kX5, kY5>(kSibling) : move<kY5, kX5>(kSibling); }
    void deep() { at == kX5 ? move<kX5, kZ5>(kDeep) : move<kZ5, kX5>(kDeep); }
};

}  // namespace bench
