// Random statecharts driven by random events: the whole trace of the engine against that of a small
// model of what a machine does.
#include "ls_hsm.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "random_decider.h"

namespace {

using chart::Decider;
using chart::lineage;

constexpr int kStates = 24;
constexpr int kMaster = 0;
constexpr int kForeign = 1;  // the master state of another machine
constexpr int kDeepest = 9;

using Trace = std::vector<std::string>;

/// The fields of a machine that change, as state numbers.
struct Fields {
    int origin = -1;
    int current = -1;
    int target = -1;
    int immediate = -1;

    bool operator==(const Fields&) const = default;
};

std::string line(const std::string& what, int state, ls_hsm_event_t event, const Fields& fields)
{
    return what + " " + std::to_string(state) + " type " + std::to_string(event.type) + " value " +
           std::to_string(event.value) + " [" + std::to_string(fields.origin) + " " +
           std::to_string(fields.current) + " " + std::to_string(fields.target) + " " +
           std::to_string(fields.immediate) + "]";
}

/// What a callback does: asks for transitions or not, and returns something.
struct Answer {
    int target = -1;
    int immediate = -1;
    int result = 0;
};

Answer answer(Decider& decider, int state, ls_hsm_event_t event)
{
    const std::uint64_t key = event.type * 100U + event.value;
    const auto draw = [&](unsigned bound) { return decider.below(bound, state, key); };
    const auto any_state = [&] { return static_cast<int>(draw(kStates)); };
    if (decider.is_tired()) {
        return {};
    }
    switch (event.type) {
    case LS_HSM_EVENT_EXIT:
    case LS_HSM_EVENT_ENTRY:
        return {.target = draw(15) == 0 ? any_state() : -1, .result = draw(25) == 0 ? 3 : 0};
    case LS_HSM_EVENT_INIT:
        return {.target = draw(3) == 0 ? any_state() : -1, .result = draw(25) == 0 ? -4 : 0};
    default:
        break;
    }
    Answer chosen{.result = draw(2) == 0 ? 0 : 5};
    if (draw(chosen.result == 0 ? 2 : 8) == 0) {
        chosen.target = any_state();
    }
    if (draw(chosen.result == 0 ? 15 : 4) == 0) {
        chosen.immediate = any_state();
    }
    return chosen;
}

/// The machine under test.
struct Charted : ls_hsm_t {
    std::array<ls_hsm_state_t, kStates> states;  // the masters' places are not used
    ls_hsm_t foreign;
    Decider decider{0};
    Trace trace;

    ls_hsm_state_t* at(int number)
    {
        return number == kMaster    ? &master
               : number == kForeign ? &foreign.master
                                    : &states[static_cast<unsigned>(number)];
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
};

template <int state>
int callback(ls_hsm_t* machine, const ls_hsm_event_t* event, void* user, ls_hsm_state_t* given)
{
    auto& charted = static_cast<Charted&>(*machine);
    EXPECT_EQ(user, &charted.decider);
    charted.trace.push_back(
        line(given != nullptr ? "call*" : "call", state, *event, charted.fields()));
    EXPECT_TRUE(given == nullptr || given == charted.at(state));
    const Answer chosen = answer(charted.decider, state, *event);
    if (chosen.target >= 0) {
        ls_hsm_transition(machine, charted.at(chosen.target));
    }
    if (chosen.immediate >= 0) {
        ls_hsm_immediate_transition(machine, charted.at(chosen.immediate));
    }
    return chosen.result;
}

int note_hook(ls_hsm_t* machine, std::uint32_t code, ls_hsm_state_t* state,
              const ls_hsm_event_t* event, void*)
{
    auto& charted = static_cast<Charted&>(*machine);
    charted.trace.push_back(
        line("hook " + std::to_string(code), charted.number(state), *event, charted.fields()));
    return 77;
}

template <int... all>
constexpr std::array<ls_hsm_callback_t, sizeof...(all)>
callbacks(std::integer_sequence<int, all...>)
{
    return {callback<all>...};
}
constexpr auto kCallbacks = callbacks(std::make_integer_sequence<int, kStates>());

/// What a machine does, told in terms of lineages.
class Model {
public:
    Model(std::vector<int> parents, std::size_t slots, Decider decider)
        : parents_(std::move(parents)), slots_(slots), decider_(decider)
    {
    }

    int run()
    {
        decider_.begin(0);
        is_.current = kMaster;
        if (!offer(kMaster, {LS_HSM_EVENT_ENTRY, 0}, true)) {
            hook(LS_HSM_HOOK_UNHANDLED, kMaster, {LS_HSM_EVENT_ENTRY, 0});
            return 77;
        }
        offer_event({LS_HSM_EVENT_INIT, 0});
        return 1;
    }

    void dispatch(std::uint64_t number, std::uint32_t value)
    {
        decider_.begin(number);
        offer_event({LS_HSM_EVENT_USER, value});
    }

    const Trace& trace() const { return trace_; }
    const Fields& fields() const { return is_; }

private:
    enum class Outcome { Good, Bad, Again };

    void hook(int code, int state, ls_hsm_event_t event)
    {
        trace_.push_back(line("hook " + std::to_string(code), state, event, is_));
    }

    /// @return whether the callback handled it.
    bool offer(int state, ls_hsm_event_t event, bool with_state)
    {
        trace_.push_back(line(with_state ? "call*" : "call", state, event, is_));
        const Answer chosen = answer(decider_, state, event);
        is_.target = chosen.target >= 0 ? chosen.target : is_.target;
        is_.immediate = chosen.immediate >= 0 ? chosen.immediate : is_.immediate;
        return chosen.result == 0;
    }

    void offer_event(ls_hsm_event_t event)
    {
        std::vector<int> left_to_ask = lineage(parents_, is_.current);
        while (!left_to_ask.empty()) {
            const int state = left_to_ask.front();
            left_to_ask.erase(left_to_ask.begin());
            if (offer(state, event, false)) {
                if (is_.target >= 0) {
                    transition();
                }
                return;
            }
            if (is_.immediate >= 0) {
                is_.target = std::exchange(is_.immediate, -1);
                if (!transition()) {
                    is_.target = -1;
                    return;
                }
                left_to_ask = lineage(parents_, is_.current);
            }
        }
        hook(LS_HSM_HOOK_UNHANDLED, is_.current, event);
        is_.target = -1;
    }

    bool transition()
    {
        if (is_.target == is_.current) {
            return true;
        }
        is_.origin = is_.current;
        Outcome outcome = Outcome::Again;
        while (outcome == Outcome::Again) {
            outcome = round();
        }
        return outcome == Outcome::Good;
    }

    /// An exit, entry or init event of a transition, to the current state.
    Outcome step(std::uint32_t type)
    {
        const int target = is_.target;
        const int state = is_.current;
        if (!offer(state, {type, 0}, true)) {
            hook(LS_HSM_HOOK_REFUSED, state, {type, 0});
            return Outcome::Bad;
        }
        return is_.target == target ? Outcome::Good : Outcome::Again;
    }

    Outcome round()
    {
        constexpr ls_hsm_event_t kExit{LS_HSM_EVENT_EXIT, 0};
        const std::vector<int> up = lineage(parents_, is_.target);
        const auto depth = [&](int state) { return lineage(parents_, state).size(); };
        // The path climbs from the target as far as it is below the current state; then the current
        // state is left, and so on, until both meet.
        std::size_t used = 1;
        while (up[used - 1] != is_.current) {
            const bool outermost = is_.current == kMaster || is_.current == kForeign;
            if (used == up.size() && outermost) {
                hook(LS_HSM_HOOK_NO_COMMON_ANCESTOR, is_.current, kExit);
                return Outcome::Bad;
            }
            if (outermost || depth(up[used - 1]) > depth(is_.current)) {
                if (used == slots_) {
                    hook(LS_HSM_HOOK_DEPTH, is_.current, kExit);
                    return Outcome::Good;
                }
                ++used;
                continue;
            }
            if (const Outcome outcome = step(LS_HSM_EVENT_EXIT); outcome != Outcome::Good) {
                return outcome;
            }
            is_.current = parents_[static_cast<unsigned>(is_.current)];
        }
        const std::vector<int> down(
            std::make_reverse_iterator(up.begin() + static_cast<long>(used) - 1), up.rend());
        for (const int state : down) {
            is_.current = state;
            if (const Outcome outcome = step(LS_HSM_EVENT_ENTRY); outcome != Outcome::Good) {
                return outcome;
            }
        }
        const Outcome outcome = step(LS_HSM_EVENT_INIT);
        if (outcome == Outcome::Good) {
            is_.target = -1;
        }
        return outcome;
    }

    std::vector<int> parents_;
    std::size_t slots_;
    Decider decider_;
    Trace trace_;
    Fields is_;
};

/// How often each of these happened, to see that the charts reach everything.
using Seen = std::array<std::size_t, 5>;

void count(const Trace& trace, Seen& seen)
{
    for (const std::string& entry : trace) {
        if (entry.rfind("hook ", 0) == 0) {
            ++seen[static_cast<unsigned>(entry[5] - '0')];
        } else {
            ++seen[4];
        }
    }
}

/// Compares a machine and its model over some events.
void compare(std::uint64_t seed, Seen& seen)
{
    std::mt19937_64 random(seed);
    const std::vector<int> parents = chart::random_tree(random, kStates, 2, kDeepest);
    const auto slots = static_cast<std::int32_t>(random() % 3 == 0 ? random() % 6 + 1 : kStates);
    Charted charted;
    ls_hsm_init(&charted, "random", &charted.decider, kCallbacks[kMaster], note_hook, slots);
    ls_hsm_init(&charted.foreign, "foreign", nullptr, kCallbacks[kForeign], nullptr, 1);
    for (int state = 2; state < kStates; ++state) {
        const auto place = static_cast<unsigned>(state);
        ls_hsm_state_init(charted.at(state), "state", charted.at(parents[place]),
                          kCallbacks[place]);
    }
    charted.decider = Decider(seed);
    Model model(parents, static_cast<std::size_t>(slots), charted.decider);

    charted.decider.begin(0);
    EXPECT_EQ(ls_hsm_run(&charted), model.run());
    for (std::uint64_t number = 1; number <= 40; ++number) {
        const auto value = static_cast<std::uint32_t>(random() % 7);
        charted.decider.begin(number);
        EXPECT_EQ(ls_hsm_dispatch(&charted, value), 1);
        model.dispatch(number, value);
        if (!(charted.fields() == model.fields())) {
            break;
        }
    }
    EXPECT_EQ(charted.trace, model.trace()) << "seed " << seed;
    EXPECT_TRUE(charted.fields() == model.fields()) << "seed " << seed;
    EXPECT_EQ(charted.busy, 0U);
    count(charted.trace, seen);
}

TEST(LsHsmRandom, TraceIsThatOfTheModel)
{
    for (const std::uint64_t seed : chart::seeds()) {
        SCOPED_TRACE("COMMON_TEST_SEED=" + std::to_string(seed));
        std::printf("seed %llu\n", static_cast<unsigned long long>(seed));
        Seen seen{};
        for (std::uint64_t number = 0; number < 400 && !HasFailure(); ++number) {
            compare(seed * 1000 + number, seen);
        }
        for (const std::size_t often : seen) {
            EXPECT_TRUE(HasFailure() || often > 100) << testing::PrintToString(seen);
        }
    }
}

}  // namespace
