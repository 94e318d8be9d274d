// Any chart of ls_hsm.h with callbacks that do anything: each call that callbacks and the hook get
// is the one that a small model of such machines makes. The input: how many states a path may have,
// whether there is a hook, how many states there are, the parent of each, and then events and what
// callbacks do about them.
#include "ls_hsm.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

#include "support/chart.h"
#include "support/input.h"

namespace {

using chart::lineage;
using fuzz::Choices;

constexpr unsigned kStates = 24;
constexpr int kMaster = 0;
constexpr int kForeign = 1;  // the master state of another machine
constexpr unsigned kDeepest = 12;
constexpr std::size_t kLongest = 512;
constexpr int kHookResult = 77;

/// The fields of a machine that change, as numbers of states.
struct Fields {
    int origin = -1;
    int current = -1;
    int target = -1;
    int immediate = -1;

    bool operator==(const Fields&) const = default;
};

/// What a callback or the hook gets, and what it sees of the machine. A result is noted as well.
struct Call {
    enum What : int { Offered, OfferedWithState, Result, Hook };

    int what;  // from Hook on, the hook's codes
    int state;
    std::uint32_t type;
    std::uint32_t value;
    Fields fields;

    bool operator==(const Call&) const = default;
};

/// What a callback does.
struct Answer {
    int target = -1;
    int immediate = -1;
    bool dispatches = false;
    int result = 0;
};

Answer answer(Choices& choices, unsigned states, std::uint32_t type)
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
struct Charted : ls_hsm_t {
    Charted(const std::vector<int>& parents, std::int32_t slots, bool hooked, Choices its_choices);
    Charted(const Charted&) = delete;
    Charted& operator=(const Charted&) = delete;

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
int callback(ls_hsm_t* machine, const ls_hsm_event_t* event, void* user, ls_hsm_state_t* given)
{
    auto& charted = static_cast<Charted&>(*machine);
    FUZZ_CHECK(user == &charted.choices);
    FUZZ_CHECK(given == nullptr || given == charted.at(state));
    charted.calls.push_back({given != nullptr ? Call::OfferedWithState : Call::Offered, state,
                             event->type, event->value, charted.fields()});
    const Answer chosen = answer(charted.choices, charted.count, event->type);
    if (chosen.target >= 0) {
        ls_hsm_transition(machine, charted.at(chosen.target));
    }
    if (chosen.immediate >= 0) {
        ls_hsm_immediate_transition(machine, charted.at(chosen.immediate));
    }
    // In the first entry event nothing is being dispatched yet.
    if (chosen.dispatches && machine->busy != 0) {
        charted.note_result(ls_hsm_dispatch(machine, 1000));
    }
    return chosen.result;
}

int note_hook(ls_hsm_t* machine, std::uint32_t code, ls_hsm_state_t* state,
              const ls_hsm_event_t* event, void* user)
{
    auto& charted = static_cast<Charted&>(*machine);
    FUZZ_CHECK(user == &charted.choices);
    charted.calls.push_back({Call::Hook + static_cast<int>(code), charted.number(state),
                             event->type, event->value, charted.fields()});
    return kHookResult;
}

template <int... all>
constexpr std::array<ls_hsm_callback_t, sizeof...(all)>
callbacks(std::integer_sequence<int, all...>)
{
    return {callback<all>...};
}
constexpr auto kCallbacks = callbacks(std::make_integer_sequence<int, kStates>());

Charted::Charted(const std::vector<int>& parents, std::int32_t slots, bool hooked,
                 Choices its_choices)
    : ls_hsm_t{}, states{}, foreign{}, count(static_cast<unsigned>(parents.size())),
      choices(its_choices)
{
    ls_hsm_init(this, "fuzzed", &choices, kCallbacks[kMaster], hooked ? note_hook : nullptr, slots);
    ls_hsm_init(&foreign, "foreign", nullptr, kCallbacks[kForeign], nullptr, 1);
    for (unsigned state = 2; state < count; ++state) {
        ls_hsm_state_init(&states[state], "state", at(parents[state]), kCallbacks[state]);
    }
}

/// What a machine does, told in terms of lineages.
class Model {
public:
    Model(const std::vector<int>& parents, std::int32_t slots, bool hooked, Choices its_choices)
        : choices(its_choices), parents_(parents), slots_(static_cast<std::size_t>(slots)),
          hooked_(hooked)
    {
    }

    void run()
    {
        is.current = kMaster;
        if (const int result = offer(kMaster, {LS_HSM_EVENT_ENTRY, 0}, true); result != 0) {
            hook(LS_HSM_HOOK_UNHANDLED, kMaster, {LS_HSM_EVENT_ENTRY, 0});
            note_result(hooked_ ? kHookResult : result);
            return;
        }
        dispatch({LS_HSM_EVENT_INIT, 0});
    }

    void dispatch(ls_hsm_event_t event)
    {
        is_busy_ = true;
        offer_upwards(event);
        is_busy_ = false;
        note_result(1);
    }

    Choices choices;
    std::vector<Call> calls;
    Fields is;

private:
    enum class Outcome { Good, Bad, Again };

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
        const Answer chosen = answer(choices, static_cast<unsigned>(parents_.size()), event.type);
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
    bool is_busy_ = false;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Choices choices(data, std::min(size, kLongest));
    const bool hooked = choices.below(8) != 1;
    const unsigned few = choices.below(2 * kDeepest);
    const std::int32_t slots = few == 0 ? INT32_MAX : static_cast<std::int32_t>(few);
    const std::vector<int> parents =
        fuzz::chosen_tree(choices, choices.below(kStates - 1) + 2, 2, kDeepest);

    Charted charted(parents, slots, hooked, choices);
    charted.note_result(ls_hsm_run(&charted));
    while (!charted.choices.are_used_up()) {
        charted.note_result(ls_hsm_dispatch(&charted, charted.choices.byte()));
        FUZZ_CHECK(charted.busy == 0);
    }
    Model model(parents, slots, hooked, choices);
    model.run();
    while (!model.choices.are_used_up()) {
        model.dispatch({LS_HSM_EVENT_USER, model.choices.byte()});
    }
    FUZZ_CHECK(charted.calls == model.calls);
    FUZZ_CHECK(charted.fields() == model.is);
    return 0;
}
