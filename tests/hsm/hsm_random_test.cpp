// Random statecharts driven by random events: the whole trace of the engine against that of a small
// model of what a machine does.
#include "hsm.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "random_decider.h"

namespace {

using chart::Decider;
using chart::lineage;

constexpr int kStates = 22;
constexpr int kDeepest = 7;  // below the top: a transition may enter that many
constexpr HsmEvent kStart = 1001;
constexpr HsmEvent kEntry = 1002;
constexpr HsmEvent kExit = 1003;

using Trace = std::vector<std::string>;

std::string call(int state, HsmEvent event, int source, int current, int next)
{
    return std::to_string(state) + " gets " + std::to_string(event) + ", source " +
           std::to_string(source) + ", current " + std::to_string(current) + ", next " +
           std::to_string(next);
}

/// What a handler does about an event that it is offered.
struct Answer {
    HsmEvent result;
    int target;  // of a transition, or -1
};

Answer answer(Decider& decider, int state, HsmEvent event, bool pending)
{
    if (event == kEntry || event == kExit) {
        return {0, -1};
    }
    const bool may_move = !pending && !decider.is_tired();
    const auto draw = [&](unsigned bound) { return decider.below(bound, state, event); };
    const int target = static_cast<int>(draw(kStates));
    if (event == kStart) {
        return {draw(2) == 0 ? 0U : event, may_move && draw(2) == 0 ? target : -1};
    }
    switch (draw(8)) {
    case 0:
    case 1:
    case 2:
        return {event, -1};
    case 3:
        return {event % 7 + 1, -1};
    case 4:
        return {0, -1};
    case 5:
        // Takes a transition and lets the superstates see the event as well.
        return {event, may_move ? target : -1};
    default:
        return {0, may_move ? target : -1};
    }
}

/// The machine under test.
struct Charted : Hsm {
    Hsm& machine = *this;
    std::array<State, kStates> states;
    Decider decider{0};
    Trace trace;

    State* at(int state)
    {
        return state == 0 ? &machine.top : &states[static_cast<unsigned>(state)];
    }
    int number(const State* state) const
    {
        return state == nullptr        ? -1
               : state == &machine.top ? 0
                                       : static_cast<int>(std::distance(states.data(), state));
    }
};

template <int state>
HsmEvent handler(Hsm* machine, HsmEvent event)
{
    auto& charted = *static_cast<Charted*>(machine);
    charted.trace.push_back(call(state, event, charted.number(machine->source),
                                 charted.number(machine->current), charted.number(machine->next)));
    const Answer chosen = answer(charted.decider, state, event, machine->next != nullptr);
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

/// What a machine does, told in terms of lineages.
class Model {
public:
    Model(std::vector<int> parents, Decider decider)
        : parents_(std::move(parents)), decider_(decider)
    {
    }

    void start()
    {
        decider_.begin(0);
        current_ = 0;
        next_ = -1;
        offer(0, kEntry, 0);
        initial();
    }

    void dispatch(std::uint64_t number, HsmEvent event)
    {
        decider_.begin(number);
        for (const int state : lineage(parents_, current_)) {
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

    const Trace& trace() const { return trace_; }
    int current() const { return current_; }

private:
    HsmEvent offer(int state, HsmEvent event, int source)
    {
        source_ = source;
        trace_.push_back(call(state, event, source, current_, next_));
        const Answer chosen = answer(decider_, state, event, next_ >= 0);
        if (chosen.target >= 0) {
            leave_for(chosen.target);
        }
        return chosen.result;
    }

    void leave_for(int target)
    {
        const int source = source_;
        const std::vector<int> above_target = lineage(parents_, target);
        const auto stays = [&](int state) {
            return target != source &&
                   std::count(above_target.begin(), above_target.end(), state) > 0;
        };
        next_ = target;
        bool below_source = true;
        for (const int state : lineage(parents_, current_)) {
            below_source = below_source && state != source;
            if (!below_source && (stays(state) || (target == source && state != source))) {
                return;
            }
            offer(state, kExit, source);
            current_ = parents_[static_cast<unsigned>(state)];
        }
    }

    void enter()
    {
        std::vector<int> path = lineage(parents_, next_);
        path.erase(std::find(path.begin(), path.end(), current_), path.end());
        for (auto state = path.rbegin(); state != path.rend(); ++state) {
            offer(*state, kEntry, *state);
        }
        current_ = next_;
        next_ = -1;
    }

    void initial()
    {
        offer(current_, kStart, current_);
        while (next_ >= 0) {
            enter();
            offer(current_, kStart, current_);
        }
    }

    std::vector<int> parents_;
    Decider decider_;
    Trace trace_;
    int current_ = -1;
    int next_ = -1;
    int source_ = -1;
};

/// Compares a machine and its model over some events. @return how many calls there were.
std::size_t compare(std::uint64_t seed)
{
    std::mt19937_64 random(seed);
    const std::vector<int> parents = chart::random_tree(random, kStates, 1, kDeepest);
    Charted charted;
    HsmCtor(&charted.machine, "random", kHandlers[0], kStart, kEntry, kExit);
    for (int state = 1; state < kStates; ++state) {
        const auto place = static_cast<unsigned>(state);
        StateCtor(charted.at(state), "state", charted.at(parents[place]), kHandlers[place]);
    }
    charted.decider = Decider(seed);
    Model model(parents, charted.decider);

    charted.decider.begin(0);
    HsmOnStart(&charted.machine);
    model.start();
    for (std::uint64_t number = 1; number <= 40; ++number) {
        const auto event = static_cast<HsmEvent>(random() % 7 + 1);
        charted.decider.begin(number);
        HsmOnEvent(&charted.machine, event);
        model.dispatch(number, event);
        if (charted.number(charted.machine.current) != model.current()) {
            break;
        }
    }
    EXPECT_EQ(charted.trace, model.trace()) << "seed " << seed;
    EXPECT_EQ(charted.number(charted.machine.current), model.current()) << "seed " << seed;
    return charted.trace.size();
}

TEST(HsmRandom, TraceIsThatOfTheModel)
{
    for (const std::uint64_t seed : chart::seeds()) {
        SCOPED_TRACE("COMMON_TEST_SEED=" + std::to_string(seed));
        std::printf("seed %llu\n", static_cast<unsigned long long>(seed));
        std::size_t calls = 0;
        for (std::uint64_t number = 0; number < 400 && !HasFailure(); ++number) {
            calls += compare(seed * 1000 + number);
        }
        EXPECT_TRUE(HasFailure() || calls > 50'000) << calls;
    }
}

}  // namespace
