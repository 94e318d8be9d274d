// Who is told of transitions, and the recorder that collects them.
#include "hsm_trace.h"

#include <cstdint>
#include <cstring>

#include "hsm.h"
#include "hsm/trace_hook.h"
#include "ls_hsm.h"

namespace common::hsm {

constinit std::atomic<HsmTrace*> trace{nullptr};

void tell(const HsmTransition& transition) noexcept
{
    HsmTrace* told = trace.load(std::memory_order_acquire);
    for (; told != nullptr; told = told->next) {
        told->transition(told, &transition);
    }
}

}  // namespace common::hsm

namespace {

/// The place of a state in the recorder. A new one gets its superstates placed before it.
/// @return HsmRecorderNone for null and when there is no room.
std::uint32_t place_of(HsmRecorder& recorder, HsmEngine engine, const void* state) noexcept
{
    if (state == nullptr) {
        return HsmRecorderNone;
    }
    for (std::uint32_t place = 0; place < recorder.stateCount; ++place) {
        if (recorder.states[place].state == state) {
            return place;
        }
    }
    const std::uint32_t parent = place_of(recorder, engine, HsmTraceStateParent(engine, state));
    // Also when there was none for a superstate.
    if (recorder.stateCount == HsmRecorderStates) {
        return HsmRecorderNone;
    }
    const char* const name = HsmTraceStateName(engine, state);
    recorder.states[recorder.stateCount] = {state, name != nullptr ? name : "", parent};
    return recorder.stateCount++;
}

/// Stays at the largest number: a machine that runs for months must not look as if it never had.
void count_one(std::uint32_t& counter) noexcept
{
    counter += counter != UINT32_MAX ? 1 : 0;
}

/// Whether a transition that was seen before is this one.
bool is_same(const HsmSeenTransition& seen, const HsmSeenTransition& other) noexcept
{
    if (seen.from != other.from || seen.to != other.to || seen.cause != other.cause) {
        return false;
    }
    if (seen.eventName != nullptr && other.eventName != nullptr) {
        return std::strcmp(seen.eventName, other.eventName) == 0;
    }
    return seen.eventName == other.eventName && seen.event == other.event;
}

void record(HsmTrace* trace, const HsmTransition* transition) noexcept
{
    // The trace is the recorder's first part.
    auto& recorder = *reinterpret_cast<HsmRecorder*>(trace);
    if (transition->machine != recorder.machine) {
        return;
    }
    recorder.machineName = transition->machineName;
    const bool has_name = recorder.eventName != nullptr && transition->cause == HsmCauseEvent;
    const HsmSeenTransition wanted{.from = place_of(recorder, transition->engine, transition->from),
                                   .to = place_of(recorder, transition->engine, transition->to),
                                   .cause = transition->cause,
                                   .count = 1,
                                   .event = transition->event,
                                   .eventName =
                                       has_name ? recorder.eventName(transition->event) : nullptr};
    if (wanted.from == HsmRecorderNone || wanted.to == HsmRecorderNone) {
        count_one(recorder.dropped);
        return;
    }
    for (std::uint32_t i = 0; i < recorder.transitionCount; ++i) {
        if (is_same(recorder.transitions[i], wanted)) {
            count_one(recorder.transitions[i].count);
            return;
        }
    }
    if (recorder.transitionCount == HsmRecorderTransitions) {
        count_one(recorder.dropped);
        return;
    }
    recorder.transitions[recorder.transitionCount++] = wanted;
}

}  // namespace

extern "C" {

HsmTrace* HsmTraceSet(HsmTrace* trace)
{
    return common::hsm::trace.exchange(trace, std::memory_order_acq_rel);
}

const char* HsmTraceStateName(HsmEngine engine, const void* state)
{
    return engine == HsmEngineHsm ? static_cast<const State*>(state)->name
                                  : static_cast<const ls_hsm_state_t*>(state)->name;
}

const void* HsmTraceStateParent(HsmEngine engine, const void* state)
{
    if (engine == HsmEngineHsm) {
        return static_cast<const State*>(state)->super;
    }
    return static_cast<const ls_hsm_state_t*>(state)->parent;
}

void HsmRecorderInit(HsmRecorder* recorder, const void* machine, HsmEventName eventName)
{
    std::memset(recorder, 0, sizeof *recorder);
    recorder->trace.transition = record;
    recorder->machine = machine;
    recorder->eventName = eventName;
}

}  // extern "C"
