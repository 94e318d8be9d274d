#include "hsm.h"

#include <cstddef>
#include <cstdint>

#include "foundation/source.h"
#include "hsm/trace_hook.h"
#include "platform/assertion.h"

static_assert(offsetof(State, super) == 0);
static_assert(offsetof(State, handler) == sizeof(void*));
static_assert(offsetof(State, name) == 2 * sizeof(void*));
static_assert(sizeof(State) == 3 * sizeof(void*));

static_assert(offsetof(Hsm, name) == 0);
static_assert(offsetof(Hsm, current) == sizeof(void*));
static_assert(offsetof(Hsm, next) == 2 * sizeof(void*));
static_assert(offsetof(Hsm, source) == 3 * sizeof(void*));
static_assert(offsetof(Hsm, top) == 4 * sizeof(void*));
static_assert(offsetof(Hsm, startEvent) == 7 * sizeof(void*));
static_assert(offsetof(Hsm, entryEvent) == 8 * sizeof(void*));
static_assert(offsetof(Hsm, exitEvent) == 9 * sizeof(void*));
static_assert(sizeof(Hsm) == 10 * sizeof(void*));

namespace {

constexpr common::Source kSource{"hsm"};

/// Slots of an entry path. One holds the end mark, so a transition enters at most 7 states.
constexpr std::size_t kPathSlots = 8;

void tell(const Hsm& machine, HsmCause cause, HsmEvent event) noexcept
{
    common::hsm::tell({.engine = HsmEngineHsm,
                       .cause = cause,
                       .machine = &machine,
                       .machineName = machine.name,
                       .from = machine.source,
                       .to = machine.next,
                       .event = event});
}

/// The second half of a transition, after its handler has returned: enters the states below the
/// current one down to the target.
inline void enter_next(Hsm* machine, HsmCause cause, HsmEvent event)
{
    if (common::hsm::is_traced()) [[unlikely]] {
        tell(*machine, cause, event);
    }
    State* path[kPathSlots];
    State** slot = path;
    *slot = nullptr;
    for (State* state = machine->next; state != machine->current; state = state->super) {
        *++slot = state;
    }
    for (; *slot != nullptr; --slot) {
        machine->source = *slot;
        (*slot)->handler(machine, machine->entryEvent);
    }
    machine->current = machine->next;
    machine->next = nullptr;
}

/// Follows initial transitions from the current state on.
inline void start_current(Hsm* machine)
{
    for (;;) {
        State* const state = machine->current;
        machine->source = state;
        state->handler(machine, machine->startEvent);
        if (machine->next == nullptr) {
            return;
        }
        enter_next(machine, HsmCauseStart, machine->startEvent);
    }
}

/// The rest of a dispatch whose handler took a transition. Apart from the dispatch, so that this
/// one is short for events that make no transition.
[[gnu::noinline]] void finish_transition(Hsm* machine, HsmEvent event)
{
    enter_next(machine, HsmCauseEvent, event);
    start_current(machine);
}

}  // namespace

extern "C" {

void StateCtor(State* state, const char* name, State* super, HsmHandler handler)
{
    state->super = super;
    state->handler = handler;
    state->name = name;
}

void HsmCtor(Hsm* machine, const char* name, HsmHandler topHandler, HsmEvent startEvent,
             HsmEvent entryEvent, HsmEvent exitEvent)
{
    machine->name = name;
    StateCtor(&machine->top, "top", nullptr, topHandler);
    machine->startEvent = startEvent;
    machine->entryEvent = entryEvent;
    machine->exitEvent = exitEvent;
}

void HsmOnStart(Hsm* machine)
{
    machine->current = &machine->top;
    machine->next = nullptr;
    machine->source = &machine->top;
    machine->top.handler(machine, machine->entryEvent);
    start_current(machine);
}

void HsmOnEvent(Hsm* machine, HsmEvent event)
{
    for (State* state = machine->current; state != nullptr; state = state->super) {
        machine->source = state;
        const HsmEvent result = state->handler(machine, event);
        if (result == 0) {
            if (machine->next != nullptr) {
                finish_transition(machine, event);
            }
            return;
        }
        // Oddity: the superstate gets what the substate made of the event.
        // Test: Hsm.SuperstateGetsWhatTheSubstateReturned.
        event = result;
    }
}

void HsmStateTran_(Hsm* machine, State* target)
{
    COMMON_ASSERT(kSource, machine->next == nullptr, "me_->next == 0");
    const std::uint8_t to_lca = HsmToLCA_(machine, target);
    // Pending before states are left, so that an exit action that takes a transition is caught.
    machine->next = target;
    HsmExit_(machine, to_lca);
}

void HsmExit_(Hsm* machine, std::uint8_t toLca)
{
    while (machine->current != machine->source) {
        machine->current->handler(machine, machine->exitEvent);
        machine->current = machine->current->super;
    }
    for (; toLca != 0; --toLca) {
        machine->current->handler(machine, machine->exitEvent);
        machine->current = machine->current->super;
    }
}

std::uint8_t HsmToLCA_(Hsm* machine, State* target)
{
    const State* source = machine->source;
    if (target == source) {
        return 1;
    }
    if (source == nullptr || target == nullptr) {
        return 0;
    }
    // Brothers, then a substate right below: what most transitions are.
    if (source->super == target->super) {
        return source->super != nullptr ? 1 : 0;
    }
    if (source == target->super) {
        return 0;
    }
    // One walk up from the source and then from the target, the other the other way round. They
    // meet at the ancestor, as both have come equally far: at once if source and target are equally
    // deep. Without an ancestor they meet at their ends.
    const State* first = source;
    const State* second = target;
    // Steps of the second walk in the lineage that it is in. In that of the target it meets the
    // first only when there are as many to the source. Oddity: callers keep the count in 8 bits,
    // and 256 states up is 0 states up. Test: Hsm.ToLcaCountWraps.
    std::uint8_t count = 0;
    do {
        first = first != nullptr ? first->super : target;
        if (second != nullptr) {
            second = second->super;
            ++count;
        } else {
            second = source;
            count = 0;
        }
    } while (first != second);
    return first != nullptr ? count : 0;
}

}  // extern "C"
