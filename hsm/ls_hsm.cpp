#include "ls_hsm.h"

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "foundation/source.h"
#include "hsm/trace_hook.h"
#include "platform/assertion.h"

static_assert(sizeof(ls_hsm_event_t) == 8);
static_assert(offsetof(ls_hsm_event_t, type) == 0 && offsetof(ls_hsm_event_t, value) == 4);

static_assert(offsetof(ls_hsm_state_t, parent) == 0);
static_assert(offsetof(ls_hsm_state_t, callback) == sizeof(void*));
static_assert(offsetof(ls_hsm_state_t, name) == 2 * sizeof(void*));
static_assert(offsetof(ls_hsm_state_t, depth) == 3 * sizeof(void*));
static_assert(sizeof(ls_hsm_state_t) == 4 * sizeof(void*));

static_assert(offsetof(ls_hsm_t, userData) == 0);
static_assert(offsetof(ls_hsm_t, name) == sizeof(void*));
static_assert(offsetof(ls_hsm_t, origin) == 2 * sizeof(void*));
static_assert(offsetof(ls_hsm_t, current) == 3 * sizeof(void*));
static_assert(offsetof(ls_hsm_t, target) == 4 * sizeof(void*));
static_assert(offsetof(ls_hsm_t, immediateTarget) == 5 * sizeof(void*));
static_assert(offsetof(ls_hsm_t, master) == 6 * sizeof(void*));
static_assert(offsetof(ls_hsm_t, depth) == 10 * sizeof(void*));
static_assert(offsetof(ls_hsm_t, busy) == 10 * sizeof(void*) + 4);
static_assert(offsetof(ls_hsm_t, hook) == 10 * sizeof(void*) + 8);
static_assert(sizeof(ls_hsm_t) == (sizeof(void*) == 4 ? 52 : 96));

namespace {

constexpr common::Source kSource{"ls_hsm"};

/// Results of a transition.
enum Result : int {
    kDone = 0,
    kRefused = -1,
    kNoCommonAncestor = -3,
    // Inside a transition only: a callback has changed the target, one for an init event the other.
    kRedirected = 1,
    kDrillDown = 2
};

/// Who asked for a transition, and what for.
struct Request {
    const ls_hsm_state_t* from;
    HsmCause cause;
    std::uint32_t value;
};

int call_hook(ls_hsm_t& machine, std::uint32_t code, ls_hsm_state_t* state,
              const ls_hsm_event_t& event, int without_hook)
{
    return machine.hook != nullptr ? machine.hook(&machine, code, state, &event, machine.userData)
                                   : without_hook;
}

void tell(const ls_hsm_t& machine, const Request& request) noexcept
{
    common::hsm::tell({.engine = HsmEngineLsHsm,
                       .cause = request.cause,
                       .machine = &machine,
                       .machineName = machine.name,
                       .from = request.from,
                       .to = machine.target,
                       .event = request.value});
}

/// Changes the current state. Atomically, and all that was written to the state before it: a thread
/// whose dispatch is refused reads it meanwhile, for the hook. The thread that drives the machine
/// reads it as it stands.
void set_current(ls_hsm_t& machine, ls_hsm_state_t* state) noexcept
{
    std::atomic_ref(machine.current).store(state, std::memory_order_release);
}

/// Offers the current state an event of a transition to `target`. Inlined, so that each kind of
/// event has a call of its own, whose callbacks the processor predicts better.
[[gnu::always_inline]] inline Result offer(ls_hsm_t& machine, const ls_hsm_event_t& event,
                                           const ls_hsm_state_t* target)
{
    ls_hsm_state_t* const state = machine.current;
    if (state->callback(&machine, &event, machine.userData, state) != 0) [[unlikely]] {
        call_hook(machine, LS_HSM_HOOK_REFUSED, state, event, 0);
        return kRefused;
    }
    return machine.target == target ? kDone : kRedirected;
}

/// One round of a transition: leaves, enters and initialises for the target of this moment.
/// Not inlined into its loop, where the stack of all rounds would add up.
[[gnu::noinline]] Result run_round(ls_hsm_t& machine)
{
    static constexpr ls_hsm_event_t kExit{LS_HSM_EVENT_EXIT, 0};
    static constexpr ls_hsm_event_t kEntry{LS_HSM_EVENT_ENTRY, 0};
    static constexpr ls_hsm_event_t kInit{LS_HSM_EVENT_INIT, 0};
    ls_hsm_state_t* const target = machine.target;
    // From the stack, as a heap is not for here. The machine's depth may be any number, but no path
    // is longer than its target is deep. `last` is tested against the same number.
    const std::int32_t slots = target->depth < machine.depth ? target->depth + 1 : machine.depth;
    auto** const path = static_cast<ls_hsm_state_t**>(
        __builtin_alloca(static_cast<std::size_t>(slots) * sizeof(ls_hsm_state_t*)));
    ls_hsm_state_t* current = machine.current;
    ls_hsm_state_t* step = target;
    std::int32_t last = 0;
    path[0] = step;
    while (step != current) {
        if (step->depth <= current->depth && current->parent != nullptr) {
            if (const Result result = offer(machine, kExit, target); result != kDone) [[unlikely]] {
                return result;
            }
            current = current->parent;
            // The callback may have done anything to its record.
            COMMON_ASSERT(kSource, current != nullptr, "ls_hsm->source");
            set_current(machine, current);
        } else if (step->parent != nullptr) {
            if (++last == slots) {
                // Oddity: the machine stays in the ancestor reached, and that is no failure: an
                // immediate transition offers the event there, as callers expect.
                // Test: LsHsmTransition.ImmediateTransitionTooDeepOffersTheEventWhereItCame.
                call_hook(machine, LS_HSM_HOOK_DEPTH, current, kExit, 0);
                return kDone;
            }
            step = step->parent;
            path[last] = step;
        } else {
            // The current state is outermost, too: the target is in another tree.
            call_hook(machine, LS_HSM_HOOK_NO_COMMON_ANCESTOR, current, kExit, 0);
            return kNoCommonAncestor;
        }
    }
    while (last > 0) {
        set_current(machine, path[--last]);
        if (const Result result = offer(machine, kEntry, target); result != kDone) [[unlikely]] {
            return result;
        }
    }
    const Result result = offer(machine, kInit, target);
    if (result == kDone) {
        machine.target = nullptr;
    }
    return result == kRedirected ? kDrillDown : result;
}

/// Carries out the pending transition that a state has asked for while it was offered an event.
int carry_out(ls_hsm_t& machine, const ls_hsm_state_t* from, const ls_hsm_event_t& event)
{
    // Oddity: a transition to the current state does nothing, and the target stays set. Callers
    // rely on both. Test: LsHsmTransition.TransitionToTheCurrentStateDoesNothingAndKeepsTheTarget.
    if (machine.target == machine.current) {
        return kDone;
    }
    machine.origin = machine.current;
    Request request{from, event.type == LS_HSM_EVENT_USER ? HsmCauseEvent : HsmCauseStart,
                    event.value};
    for (;;) {
        if (common::hsm::is_traced()) [[unlikely]] {
            tell(machine, request);
        }
        const Result result = run_round(machine);
        if (result != kRedirected && result != kDrillDown) {
            return result;
        }
        request.from = machine.current;
        if (result == kDrillDown) {
            request.cause = HsmCauseStart;
            request.value = 0;
        }
    }
}

/// Offers an event to the current state and its parents by one call for all levels, as a chart may
/// have any number of them, and makes the transitions asked for.
void offer_upwards(ls_hsm_t& machine, const ls_hsm_event_t& event)
{
    ls_hsm_state_t* state = machine.current;
    for (;;) {
        if (state->callback(&machine, &event, machine.userData, nullptr) == 0) {
            if (machine.target != nullptr) {
                carry_out(machine, state, event);
            }
            return;
        }
        if (machine.immediateTarget != nullptr) {
            machine.target = machine.immediateTarget;
            machine.immediateTarget = nullptr;
            if (carry_out(machine, state, event) != kDone) {
                machine.target = nullptr;
                return;
            }
            state = machine.current;
            continue;
        }
        state = state->parent;
        if (state == nullptr) {
            call_hook(machine, LS_HSM_HOOK_UNHANDLED, machine.current, event, 0);
            machine.target = nullptr;
            return;
        }
    }
}

int dispatch(ls_hsm_t& machine, const ls_hsm_event_t& event)
{
    const std::atomic_ref busy(machine.busy);
    if (const std::uint32_t before = busy.fetch_or(1, std::memory_order_acquire); before != 0) {
        ls_hsm_state_t* const current =
            std::atomic_ref(machine.current).load(std::memory_order_acquire);
        return call_hook(machine, LS_HSM_HOOK_BUSY, current, event, static_cast<int>(before));
    }
    offer_upwards(machine, event);
    // An AND with 0 that gives the previous value. Others only set what is set already, so a load
    // and a store see and do the same as one locked instruction.
    const std::uint32_t before = busy.load(std::memory_order_relaxed);
    busy.store(0, std::memory_order_release);
    return static_cast<int>(before);
}

}  // namespace

extern "C" {

void ls_hsm_init(ls_hsm_t* machine, const char* name, void* userData, ls_hsm_callback_t callback,
                 ls_hsm_hook_t hook, std::int32_t depth)
{
    COMMON_ASSERT(kSource, machine != nullptr, "ls_hsm");
    COMMON_ASSERT(kSource, callback != nullptr, "callback");
    COMMON_ASSERT(kSource, depth > 0, "depth > 0");
    machine->userData = userData;
    machine->name = name;
    machine->origin = nullptr;
    machine->current = nullptr;
    machine->target = nullptr;
    machine->immediateTarget = nullptr;
    machine->master = {nullptr, callback, "master", 0};
    machine->depth = depth;
    std::atomic_ref(machine->busy).store(0, std::memory_order_relaxed);
    machine->hook = hook;
}

void ls_hsm_state_init(ls_hsm_state_t* state, const char* name, ls_hsm_state_t* parent,
                       ls_hsm_callback_t callback)
{
    COMMON_ASSERT(kSource, state != nullptr, "state");
    COMMON_ASSERT(kSource, parent != nullptr, "parent");
    COMMON_ASSERT(kSource, callback != nullptr, "callback");
    *state = {parent, callback, name, parent->depth + 1};
}

int ls_hsm_run(ls_hsm_t* machine)
{
    COMMON_ASSERT(kSource, machine != nullptr, "ls_hsm");
    ls_hsm_state_t* const master = &machine->master;
    set_current(*machine, master);
    const ls_hsm_event_t entry{LS_HSM_EVENT_ENTRY, 0};
    if (const int result = master->callback(machine, &entry, machine->userData, master);
        result != 0) {
        return call_hook(*machine, LS_HSM_HOOK_UNHANDLED, master, entry, result);
    }
    return dispatch(*machine, {LS_HSM_EVENT_INIT, 0});
}

int ls_hsm_dispatch(ls_hsm_t* machine, std::uint32_t value)
{
    COMMON_ASSERT(kSource, machine != nullptr, "ls_hsm");
    return dispatch(*machine, {LS_HSM_EVENT_USER, value});
}

void ls_hsm_transition(ls_hsm_t* machine, ls_hsm_state_t* state)
{
    COMMON_ASSERT(kSource, machine != nullptr, "ls_hsm");
    COMMON_ASSERT(kSource, state != nullptr, "state");
    machine->target = state;
}

void ls_hsm_immediate_transition(ls_hsm_t* machine, ls_hsm_state_t* state)
{
    COMMON_ASSERT(kSource, machine != nullptr, "ls_hsm");
    COMMON_ASSERT(kSource, state != nullptr, "state");
    machine->immediateTarget = state;
}

}  // extern "C"
