// Any chart of hsm.h with handlers that do anything but what ends the process: each call that a
// handler gets is the one that a small model of such machines makes. The input: how many states,
// the superstate of each, and then events and what handlers do about them.
#include "hsm.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

#include "support/chart.h"
#include "support/input.h"

namespace {

using chart::lineage;
using fuzz::Choices;

constexpr unsigned kStates = 22;
constexpr unsigned kDeepest = 7;       // below the top: a transition may enter that many
constexpr std::size_t kLongest = 512;  // of the inputs; what is longer brings nothing new
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
};

/// What a handler does: its result, and the target of a transition or -1.
struct Answer {
    HsmEvent result;
    int target;
};

Answer answer(Choices& choices, unsigned states, HsmEvent event, bool pending)
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

/// The machine under test.
struct Charted : Hsm {
    Charted(const std::vector<int>& parents, Choices its_choices);
    Charted(const Charted&) = delete;
    Charted& operator=(const Charted&) = delete;

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
HsmEvent handler(Hsm* machine, HsmEvent event)
{
    auto& charted = *static_cast<Charted*>(machine);
    const Answer chosen = answer(charted.choices, charted.count, event, machine->next != nullptr);
    Call call{state,
              event,
              charted.number(machine->source),
              charted.number(machine->current),
              charted.number(machine->next),
              -1};
    if (chosen.target >= 0) {
        call.to_lca = HsmToLCA_(machine, charted.at(chosen.target));
    }
    charted.calls.push_back(call);
    if (chosen.target >= 0) {
        HsmStateTran_(machine, charted.at(chosen.target));
    }
    return chosen.result;
}

template <int... all>
constexpr std::array<HsmHandler, sizeof...(all)> handlers(std::integer_sequence<int, all...>)
{
    return {handler<all>...};
}
constexpr auto kHandlers = handlers(std::make_integer_sequence<int, kStates>());

Charted::Charted(const std::vector<int>& parents, Choices its_choices)
    : Hsm{}, states{}, count(static_cast<unsigned>(parents.size())), choices(its_choices)
{
    HsmCtor(this, "fuzzed", kHandlers[0], kStart, kEntry, kExit);
    for (unsigned state = 1; state < count; ++state) {
        StateCtor(&states[state], "state", at(parents[state]), kHandlers[state]);
    }
}

/// What a machine does, told in terms of lineages.
class Model {
public:
    Model(const std::vector<int>& parents, Choices its_choices)
        : choices(its_choices), parents_(parents)
    {
    }

    void start()
    {
        current = 0;
        offer(0, kEntry, 0);
        initial();
    }

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

    Choices choices;
    std::vector<Call> calls;
    int current = -1;

private:
    HsmEvent offer(int state, HsmEvent event, int source)
    {
        const Answer chosen =
            answer(choices, static_cast<unsigned>(parents_.size()), event, next_ >= 0);
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
    int next_ = -1;
};

HsmEvent chosen_event(Choices& choices)
{
    return choices.byte() + 1;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Choices choices(data, std::min(size, kLongest));
    const std::vector<int> parents =
        fuzz::chosen_tree(choices, choices.below(kStates) + 1, 1, kDeepest);

    Charted charted(parents, choices);
    HsmOnStart(&charted);
    while (!charted.choices.are_used_up()) {
        HsmOnEvent(&charted, chosen_event(charted.choices));
    }
    Model model(parents, choices);
    model.start();
    while (!model.choices.are_used_up()) {
        model.dispatch(chosen_event(model.choices));
    }
    FUZZ_CHECK(charted.calls == model.calls);
    FUZZ_CHECK(charted.number(charted.current) == model.current);
    return 0;
}
