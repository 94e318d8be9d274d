// Any chart of ls_hsm.h with callbacks that do anything, and a small model of such machines: both
// are to give callbacks and the hook the same calls. An input decides how many states a path may
// have, whether there is a hook, how many states there are, the parent of each, and then the events
// and what callbacks do about them.
#pragma once

#include "ls_hsm.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <ostream>
#include <utility>

#include "chosen_chart.h"

namespace ls_hsm_model {

using chart::lineage;
using fuzz::Choices;

constexpr unsigned kStates = 24;
constexpr int kMaster = 0;
constexpr int kForeign = 1;  // the master state of another machine
constexpr unsigned kDeepest = 12;
constexpr int kHookResult = 77;

/// The fields of a machine that change, as numbers of states.
struct Fields {
    int origin = -1;
    int current = -1;
    int target = -1;
    int immediate = -1;

    bool operator==(const Fields&) const = default;

    friend std::ostream& operator<<(std::ostream& out, const Fields& fields)
    {
        return out << "origin " << fields.origin << ", current " << fields.current << ", target "
                   << fields.target << ", immediate " << fields.immediate;
    }
};

/// What a callback or the hook gets, and what it sees of the machine. A result is noted as well.
struct Call {
    /// From Hook on, the hook's codes. Wrong: the state or the user that was given is not that of
    /// the callback.
    enum What : int { Offered, OfferedWithState, Result, Wrong, Hook };

    int what;
    int state;
    std::uint32_t type;
    std::uint32_t value;
    Fields fields;

    bool operator==(const Call&) const = default;

    friend std::ostream& operator<<(std::ostream& out, const Call& call)
    {
        return out << call.what << " of " << call.state << ", type " << call.type << ", value "
                   << call.value << ", " << call.fields;
    }
};

/// What a callback does.
struct Answer {
    int target = -1;
    int immediate = -1;
    bool dispatches = false;
    int result = 0;
};

inline Answer answer(Choices& choices, unsigned states, std::uint32_t type)
{
    const unsigned choice = choices.byte();
    Answer chosen;
    if ((choice & 2U) != 0) {
        chosen.target = static_cast<int>(choices.below(states));
    }
    if ((choice & 4U) != 0) {
        chosen.immediate = static_cast<int>(choices.below(states));
    }
    chosen.dispatches = (choice & 0x18U) == 0x18U;
    // Transitions should not all end in their first step.
    const unsigned refuses = type == LS_HSM_EVENT_USER ? 1U : 0x61U;
    chosen.result = (choice & refuses) == refuses ? -5 : 0;
    return chosen;
}

/// The machine under test.
struct Machine : ls_hsm_t {
    Machine(const std::vector<int>& parents, std::int32_t slots, bool hooked, Choices its_choices);
    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;

    void run()
    {
        note_result(ls_hsm_run(this));
        while (!choices.are_used_up()) {
            note_result(ls_hsm_dispatch(this, choices.byte()));
        }
    }

    ls_hsm_state_t* at(int state)
    {
        return state == kMaster    ? &master
               : state == kForeign ? &foreign.master
                                   : &states[static_cast<unsigned>(state)];
    }
    int number(const ls_hsm_state_t* state) const
    {
        return state == nullptr           ? -1
               : state == &master         ? kMaster
               : state == &foreign.master ? kForeign
                                          : static_cast<int>(std::distance(states.data(), state));
    }
    Fields fields() const
    {
        return {number(origin), number(current), number(target), number(immediateTarget)};
    }
    void note_result(int result) { calls.push_back({Call::Result, result, 0, 0, fields()}); }

    std::array<ls_hsm_state_t, kStates> states;  // the masters' places are not used
    ls_hsm_t foreign;
    unsigned count;
    Choices choices;
    std::vector<Call> calls;
};

template <int state>
int callback(ls_hsm_t* hsm, const ls_hsm_event_t* event, void* user, ls_hsm_state_t* given)
{
    auto& machine = static_cast<Machine&>(*hsm);
    const bool right = user == &machine.choices && (given == nullptr || given == machine.at(state));
    machine.calls.push_back({!right             ? Call::Wrong
                             : given != nullptr ? Call::OfferedWithState
                                                : Call::Offered,
                             state, event->type, event->value, machine.fields()});
    const Answer chosen = answer(machine.choices, machine.count, event->type);
    if (chosen.target >= 0) {
        ls_hsm_transition(hsm, machine.at(chosen.target));
    }
    if (chosen.immediate >= 0) {
        ls_hsm_immediate_transition(hsm, machine.at(chosen.immediate));
    }
    // In the first entry event nothing is being dispatched yet.
    if (chosen.dispatches && hsm->busy != 0) {
        machine.note_result(ls_hsm_dispatch(hsm, 1000));
    }
    return chosen.result;
}

inline int note_hook(ls_hsm_t* hsm, std::uint32_t code, ls_hsm_state_t* state,
                     const ls_hsm_event_t* event, void* user)
{
    auto& machine = static_cast<Machine&>(*hsm);
    const int what = user == &machine.choices ? Call::Hook + static_cast<int>(code) : Call::Wrong;
    machine.calls.push_back(
        {what, machine.number(state), event->type, event->value, machine.fields()});
    return kHookResult;
}

template <int... all>
constexpr std::array<ls_hsm_callback_t, sizeof...(all)>
callbacks(std::integer_sequence<int, all...>)
{
    return {callback<all>...};
}
inline constexpr auto kCallbacks = callbacks(std::make_integer_sequence<int, kStates>());

inline Machine::Machine(const std::vector<int>& parents, std::int32_t slots, bool hooked,
                        Choices its_choices)
    : ls_hsm_t{}, states{}, foreign{}, count(static_cast<unsigned>(parents.size())),
      choices(its_choices)
{
    ls_hsm_init(this, "charted", &choices, kCallbacks[kMaster], hooked ? note_hook : nullptr,
                slots);
    ls_hsm_init(&foreign, "foreign", nullptr, kCallbacks[kForeign], nullptr, 1);
    for (unsigned state = 2; state < count; ++state) {
        ls_hsm_state_init(&states[state], "state", at(parents[state]), kCallbacks[state]);
    }
}

/// What a machine does, told in terms of lineages.
class Model {
public:
    Model(const std::vector<int>& parents, std::int32_t slots, bool hooked, Choices its_choices)
        : parents_(parents), slots_(static_cast<std::size_t>(slots)), hooked_(hooked),
          choices_(its_choices)
    {
    }

    void run()
    {
        is.current = kMaster;
        if (const int result = offer(kMaster, {LS_HSM_EVENT_ENTRY, 0}, true); result != 0) {
            hook(LS_HSM_HOOK_UNHANDLED, kMaster, {LS_HSM_EVENT_ENTRY, 0});
            note_result(hooked_ ? kHookResult : result);
        } else {
            dispatch({LS_HSM_EVENT_INIT, 0});
        }
        while (!choices_.are_used_up()) {
            dispatch({LS_HSM_EVENT_USER, choices_.byte()});
        }
    }

    std::vector<Call> calls;
    Fields is;

private:
    enum class Outcome { Good, Bad, Again };

    void dispatch(ls_hsm_event_t event)
    {
        is_busy_ = true;
        offer_upwards(event);
        is_busy_ = false;
        note_result(1);
    }

    void note_result(int result) { calls.push_back({Call::Result, result, 0, 0, is}); }

    void hook(int code, int state, ls_hsm_event_t event)
    {
        if (hooked_) {
            calls.push_back({Call::Hook + code, state, event.type, event.value, is});
        }
    }

    int offer(int state, ls_hsm_event_t event, bool with_state)
    {
        calls.push_back({with_state ? Call::OfferedWithState : Call::Offered, state, event.type,
                         event.value, is});
        const Answer chosen = answer(choices_, static_cast<unsigned>(parents_.size()), event.type);
        is.target = chosen.target >= 0 ? chosen.target : is.target;
        is.immediate = chosen.immediate >= 0 ? chosen.immediate : is.immediate;
        if (chosen.dispatches && is_busy_) {
            hook(LS_HSM_HOOK_BUSY, is.current, {LS_HSM_EVENT_USER, 1000});
            note_result(hooked_ ? kHookResult : 1);
        }
        return chosen.result;
    }

    void offer_upwards(ls_hsm_event_t event)
    {
        int state = is.current;
        while (state >= 0) {
            if (offer(state, event, false) == 0) {
                if (is.target >= 0) {
                    transition();
                }
                return;
            }
            if (is.immediate < 0) {
                state = parents_[static_cast<unsigned>(state)];
                continue;
            }
            is.target = std::exchange(is.immediate, -1);
            if (!transition()) {
                is.target = -1;
                return;
            }
            state = is.current;
        }
        hook(LS_HSM_HOOK_UNHANDLED, is.current, event);
        is.target = -1;
    }

    bool transition()
    {
        if (is.target == is.current) {
            return true;
        }
        is.origin = is.current;
        Outcome outcome = Outcome::Again;
        while (outcome == Outcome::Again) {
            outcome = round();
        }
        return outcome == Outcome::Good;
    }

    /// An exit, entry or init event of a transition, to the current state.
    Outcome step(std::uint32_t type)
    {
        const int target = is.target;
        const int state = is.current;
        if (offer(state, {type, 0}, true) != 0) {
            hook(LS_HSM_HOOK_REFUSED, state, {type, 0});
            return Outcome::Bad;
        }
        return is.target == target ? Outcome::Good : Outcome::Again;
    }

    /// Leaves states up to the ancestor that the target has in common, enters those down to it. The
    /// path climbs from the target before the current state is left where both are equally far up.
    Outcome round()
    {
        constexpr ls_hsm_event_t kExit{LS_HSM_EVENT_EXIT, 0};
        const std::vector<int> up = lineage(parents_, is.target);
        std::size_t climbed = 0;
        while (up[climbed] != is.current) {
            const std::size_t left_above_target = up.size() - climbed;
            const std::size_t left_above = lineage(parents_, is.current).size();
            if (left_above > 1 && left_above_target <= left_above) {
                if (const Outcome outcome = step(LS_HSM_EVENT_EXIT); outcome != Outcome::Good) {
                    return outcome;
                }
                is.current = parents_[static_cast<unsigned>(is.current)];
            } else if (left_above_target == 1) {
                hook(LS_HSM_HOOK_NO_COMMON_ANCESTOR, is.current, kExit);
                return Outcome::Bad;
            } else if (++climbed == slots_) {
                hook(LS_HSM_HOOK_DEPTH, is.current, kExit);
                return Outcome::Good;
            }
        }
        while (climbed > 0) {
            is.current = up[--climbed];
            if (const Outcome outcome = step(LS_HSM_EVENT_ENTRY); outcome != Outcome::Good) {
                return outcome;
            }
        }
        const Outcome outcome = step(LS_HSM_EVENT_INIT);
        is.target = outcome == Outcome::Good ? -1 : is.target;
        return outcome;
    }

    const std::vector<int>& parents_;
    std::size_t slots_;
    bool hooked_;
    Choices choices_;
    bool is_busy_ = false;
};

/// What became of a machine, or of its model.
struct Run {
    std::vector<Call> calls;
    Fields fields;
    bool is_busy;

    bool operator==(const Run&) const = default;
};

/// Runs both. @return the machine's run, and the model's.
inline std::pair<Run, Run> run(Choices choices)
{
    const bool hooked = choices.below(8) != 1;
    const unsigned few = choices.below(2 * kDeepest);
    const std::int32_t slots = few == 0 ? INT32_MAX : static_cast<std::int32_t>(few);
    const std::vector<int> parents =
        chart::chosen_tree(choices, choices.below(kStates - 1) + 2, 2, kDeepest);
    Machine machine(parents, slots, hooked, choices);
    machine.run();
    Model model(parents, slots, hooked, choices);
    model.run();
    return {{machine.calls, machine.fields(), machine.busy != 0}, {model.calls, model.is, false}};
}

}  // namespace ls_hsm_model
