// Any chart of hsm.h with handlers that do anything but what ends the process, and a small model of
// such machines: both are to get the same calls. An input decides how many states there are, the
// superstate of each, and then the events and what handlers do about them.
#pragma once

#include "hsm.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <ostream>
#include <utility>

#include "chosen_chart.h"

namespace hsm_model {

using chart::lineage;
using fuzz::Choices;

constexpr unsigned kStates = 22;
constexpr unsigned kDeepest = 7;  // below the top: a transition may enter that many
constexpr HsmEvent kStart = 1001;
constexpr HsmEvent kEntry = 1002;
constexpr HsmEvent kExit = 1003;

/// What a handler gets, and what it sees of the machine.
struct Call {
    int state;
    HsmEvent event;
    int source;
    int current;
    int next;
    int to_lca;  // what HsmToLCA_() says of the target, if it takes a transition

    bool operator==(const Call&) const = default;

    friend std::ostream& operator<<(std::ostream& out, const Call& call)
    {
        return out << call.state << " gets " << call.event << ", source " << call.source
                   << ", current " << call.current << ", next " << call.next << ", to LCA "
                   << call.to_lca;
    }
};

/// What a handler does: its result, and the target of a transition or -1.
struct Answer {
    HsmEvent result;
    int target;
};

inline Answer answer(Choices& choices, unsigned states, HsmEvent event, bool pending)
{
    if (event == kEntry || event == kExit) {
        return {event, -1};
    }
    const unsigned choice = choices.byte();
    const bool moves = (choice & 4U) != 0 && !pending;
    const int target = moves ? static_cast<int>(choices.below(states)) : -1;
    constexpr unsigned kDone = 0;
    constexpr unsigned kPassed = 1;
    switch (choice & 3U) {
    case kDone:
        return {0, target};
    case kPassed:
        return {event, target};
    default:
        return {event == kStart ? 0 : event % 7 + 1, target};
    }
}

inline HsmEvent chosen_event(Choices& choices)
{
    return choices.byte() + 1;
}

/// The machine under test.
struct Machine : Hsm {
    Machine(const std::vector<int>& parents, Choices its_choices);
    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;

    void run()
    {
        HsmOnStart(this);
        while (!choices.are_used_up()) {
            HsmOnEvent(this, chosen_event(choices));
        }
    }

    State* at(int state) { return state == 0 ? &top : &states[static_cast<unsigned>(state)]; }
    int number(const State* state) const
    {
        return state == nullptr ? -1
               : state == &top  ? 0
                                : static_cast<int>(std::distance(states.data(), state));
    }

    std::array<State, kStates> states;
    unsigned count;
    Choices choices;
    std::vector<Call> calls;
};

template <int state>
HsmEvent handler(Hsm* hsm, HsmEvent event)
{
    auto& machine = *static_cast<Machine*>(hsm);
    const Answer chosen = answer(machine.choices, machine.count, event, hsm->next != nullptr);
    Call call{state,
              event,
              machine.number(hsm->source),
              machine.number(hsm->current),
              machine.number(hsm->next),
              -1};
    if (chosen.target >= 0) {
        call.to_lca = HsmToLCA_(hsm, machine.at(chosen.target));
    }
    machine.calls.push_back(call);
    if (chosen.target >= 0) {
        HsmStateTran_(hsm, machine.at(chosen.target));
    }
    return chosen.result;
}

template <int... all>
constexpr std::array<HsmHandler, sizeof...(all)> handlers(std::integer_sequence<int, all...>)
{
    return {handler<all>...};
}
inline constexpr auto kHandlers = handlers(std::make_integer_sequence<int, kStates>());

inline Machine::Machine(const std::vector<int>& parents, Choices its_choices)
    : Hsm{}, states{}, count(static_cast<unsigned>(parents.size())), choices(its_choices)
{
    HsmCtor(this, "charted", kHandlers[0], kStart, kEntry, kExit);
    for (unsigned state = 1; state < count; ++state) {
        StateCtor(&states[state], "state", at(parents[state]), kHandlers[state]);
    }
}

/// What a machine does, told in terms of lineages.
class Model {
public:
    Model(const std::vector<int>& parents, Choices its_choices)
        : parents_(parents), choices_(its_choices)
    {
    }

    void run()
    {
        offer(0, kEntry, 0);
        initial();
        while (!choices_.are_used_up()) {
            dispatch(chosen_event(choices_));
        }
    }

    std::vector<Call> calls;
    int current = 0;

private:
    void dispatch(HsmEvent event)
    {
        for (const int state : lineage(parents_, current)) {
            event = offer(state, event, state);
            if (event == 0) {
                if (next_ >= 0) {
                    enter();
                    initial();
                }
                return;
            }
        }
    }

    HsmEvent offer(int state, HsmEvent event, int source)
    {
        const Answer chosen =
            answer(choices_, static_cast<unsigned>(parents_.size()), event, next_ >= 0);
        calls.push_back({state, event, source, current, next_, -1});
        if (chosen.target >= 0) {
            calls.back().to_lca = to_lca(source, chosen.target);
            leave_for(source, chosen.target);
        }
        return chosen.result;
    }

    int to_lca(int source, int target) const
    {
        const std::vector<int> up = lineage(parents_, source);
        const std::vector<int> stay = lineage(parents_, target);
        const auto common = std::find_first_of(up.begin(), up.end(), stay.begin(), stay.end());
        return source == target ? 1 : static_cast<int>(common - up.begin());
    }

    void leave_for(int source, int target)
    {
        next_ = target;
        const std::vector<int> inside = lineage(parents_, current);
        const auto below = std::find(inside.begin(), inside.end(), source) - inside.begin();
        for (auto number = below + to_lca(source, target); number != 0; --number) {
            offer(current, kExit, source);
            current = parents_[static_cast<unsigned>(current)];
        }
    }

    void enter()
    {
        std::vector<int> path = lineage(parents_, next_);
        path.erase(std::find(path.begin(), path.end(), current), path.end());
        for (auto state = path.rbegin(); state != path.rend(); ++state) {
            offer(*state, kEntry, *state);
        }
        current = std::exchange(next_, -1);
    }

    void initial()
    {
        while (offer(current, kStart, current), next_ >= 0) {
            enter();
        }
    }

    const std::vector<int>& parents_;
    Choices choices_;
    int next_ = -1;
};

/// What became of a machine, or of its model.
struct Run {
    std::vector<Call> calls;
    int current;

    bool operator==(const Run&) const = default;
};

/// Runs both. @return the machine's run, and the model's.
inline std::pair<Run, Run> run(Choices choices)
{
    const std::vector<int> parents =
        chart::chosen_tree(choices, choices.below(kStates) + 1, 1, kDeepest);
    Machine machine(parents, choices);
    machine.run();
    Model model(parents, choices);
    model.run();
    return {{machine.calls, machine.number(machine.current)}, {model.calls, model.current}};
}

}  // namespace hsm_model
