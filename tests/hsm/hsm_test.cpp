// The compact state machine: its records, and which handlers are called in which order.
#include "hsm.h"

#include <bit>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "fresh_process.h"
#include "log_expect.h"

using namespace harness;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr HsmEvent kStart = 100;
constexpr HsmEvent kEntry = 101;
constexpr HsmEvent kExit = 102;

/// A chart whose handlers write down what they are offered, and do what the test says:
///
///     top
///       a
///         b
///           c
///             d
///               e
///                 f
///                   g          the seventh below the top
///         b2
///           c2
///       z
struct Chart : Hsm {
    Hsm& machine = *this;
    State a, b, c, d, e, f, g, b2, c2, z;
    std::map<std::string, std::function<HsmEvent(HsmEvent)>> does;
    std::vector<std::string> calls;
    std::vector<std::string> sources;

    Chart();
    void on(const std::string& state, HsmEvent event, std::function<HsmEvent(HsmEvent)> action)
    {
        does[state + std::to_string(event)] = std::move(action);
    }
    void on_transition(const std::string& state, HsmEvent event, State& target)
    {
        on(state, event, [&](HsmEvent) {
            HsmStateTran_(&machine, &target);
            return HsmEvent{0};
        });
    }
    HsmEvent offered(const char* state, HsmEvent event)
    {
        calls.push_back(state + (event == kStart   ? std::string(" start")
                                 : event == kEntry ? " entry"
                                 : event == kExit  ? " exit"
                                                   : " " + std::to_string(event)));
        sources.emplace_back(machine.source == nullptr ? "-" : machine.source->name);
        const auto action = does.find(state + std::to_string(event));
        return action != does.end() ? action->second(event) : event;
    }
    /// Makes a state current, as if the machine had come there.
    void stand_at(State& state)
    {
        machine.current = &state;
        machine.next = nullptr;
        machine.source = nullptr;
        calls.clear();
        sources.clear();
    }
    std::vector<std::string> dispatch(HsmEvent event)
    {
        calls.clear();
        sources.clear();
        HsmOnEvent(&machine, event);
        EXPECT_EQ(machine.next, nullptr);
        return calls;
    }
};

Chart& chart_of(Hsm* machine)
{
    return *static_cast<Chart*>(machine);
}

#define HANDLER(name)                                    \
    HsmEvent handle_##name(Hsm* machine, HsmEvent event) \
    {                                                    \
        return chart_of(machine).offered(#name, event);  \
    }
HANDLER(top)
HANDLER(a)
HANDLER(b)
HANDLER(c)
HANDLER(d)
HANDLER(e)
HANDLER(f)
HANDLER(g)
HANDLER(b2)
HANDLER(c2)
HANDLER(z)

Chart::Chart()
{
    HsmCtor(&machine, "chart", handle_top, kStart, kEntry, kExit);
    StateCtor(&a, "a", &machine.top, handle_a);
    StateCtor(&b, "b", &a, handle_b);
    StateCtor(&c, "c", &b, handle_c);
    StateCtor(&d, "d", &c, handle_d);
    StateCtor(&e, "e", &d, handle_e);
    StateCtor(&f, "f", &e, handle_f);
    StateCtor(&g, "g", &f, handle_g);
    StateCtor(&b2, "b2", &a, handle_b2);
    StateCtor(&c2, "c2", &b2, handle_c2);
    StateCtor(&z, "z", &machine.top, handle_z);
    stand_at(machine.top);
}

TEST(Hsm, RecordsHaveTheirFieldsInOrder)
{
    constexpr std::size_t kState[] = {offsetof(State, super), offsetof(State, handler),
                                      offsetof(State, name)};
    constexpr std::size_t kHsm[] = {offsetof(Hsm, name),       offsetof(Hsm, current),
                                    offsetof(Hsm, next),       offsetof(Hsm, source),
                                    offsetof(Hsm, top),        offsetof(Hsm, startEvent),
                                    offsetof(Hsm, entryEvent), offsetof(Hsm, exitEvent)};
    constexpr std::size_t kWord = sizeof(void*);
    EXPECT_THAT(kState, ElementsAre(0, kWord, 2 * kWord));
    EXPECT_EQ(sizeof(State), 3 * kWord);
    EXPECT_THAT(kHsm, ElementsAre(0, kWord, 2 * kWord, 3 * kWord, 4 * kWord, 7 * kWord, 8 * kWord,
                                  9 * kWord));
    EXPECT_EQ(sizeof(Hsm), 10 * kWord);
    EXPECT_EQ(sizeof(HsmEvent), kWord);
    EXPECT_TRUE((std::is_same_v<decltype(HsmToLCA_(nullptr, nullptr)), std::uint8_t>));
}

TEST(Hsm, StateCtorFillsTheState)
{
    State state;
    State super;
    std::memset(&state, 0xEE, sizeof state);
    const char* const name = "name";
    StateCtor(&state, name, &super, handle_a);
    EXPECT_EQ(state.super, &super);
    EXPECT_EQ(state.handler, handle_a);
    EXPECT_EQ(state.name, name);
}

TEST(Hsm, HsmCtorMakesTheTopStateAndLeavesTheRestToTheStart)
{
    Hsm machine;
    std::memset(&machine, 0xEE, sizeof machine);
    auto* const untouched = std::bit_cast<State*>(~std::uintptr_t{0} / 0xFF * 0xEE);
    const char* const name = "name";
    HsmCtor(&machine, name, handle_top, 7, 8, 9);
    EXPECT_EQ(machine.name, name);
    EXPECT_EQ(machine.top.super, nullptr);
    EXPECT_EQ(machine.top.handler, handle_top);
    EXPECT_STREQ(machine.top.name, "top");
    EXPECT_EQ(machine.startEvent, 7U);
    EXPECT_EQ(machine.entryEvent, 8U);
    EXPECT_EQ(machine.exitEvent, 9U);
    EXPECT_EQ(machine.current, untouched);
    EXPECT_EQ(machine.next, untouched);
    EXPECT_EQ(machine.source, untouched);
}

TEST(Hsm, StartEntersTheTopAndStaysWithoutAnInitialTransition)
{
    Chart chart;
    chart.machine.current = &chart.z;
    chart.machine.next = &chart.z;
    chart.machine.source = &chart.z;
    HsmOnStart(&chart.machine);
    EXPECT_THAT(chart.calls, ElementsAre("top entry", "top start"));
    EXPECT_THAT(chart.sources, ElementsAre("top", "top"));
    EXPECT_EQ(chart.machine.current, &chart.machine.top);
    EXPECT_EQ(chart.machine.next, nullptr);
}

TEST(Hsm, StartFollowsInitialTransitionsThroughSeveralLevels)
{
    Chart chart;
    chart.on_transition("top", kStart, chart.b);
    chart.on_transition("b", kStart, chart.c);
    chart.on_transition("c", kStart, chart.g);
    HsmOnStart(&chart.machine);
    EXPECT_THAT(chart.calls,
                ElementsAre("top entry", "top start", "a entry", "b entry", "b start", "c entry",
                            "c start", "d entry", "e entry", "f entry", "g entry", "g start"));
    EXPECT_EQ(chart.machine.current, &chart.g);
    EXPECT_EQ(chart.machine.next, nullptr);
}

TEST(Hsm, StartAgainBeginsAnewAndLeavesNothing)
{
    Chart chart;
    chart.on_transition("top", kStart, chart.b);
    chart.stand_at(chart.g);
    chart.machine.next = &chart.z;
    HsmOnStart(&chart.machine);
    EXPECT_THAT(chart.calls,
                ElementsAre("top entry", "top start", "a entry", "b entry", "b start"));
    EXPECT_EQ(chart.machine.current, &chart.b);
    EXPECT_EQ(chart.machine.next, nullptr);
}

TEST(Hsm, InitialTransitionIsTakenWhateverTheStartHandlerReturns)
{
    Chart chart;
    chart.on("top", kStart, [&](HsmEvent event) {
        HsmStateTran_(&chart.machine, &chart.z);
        return event;
    });
    HsmOnStart(&chart.machine);
    EXPECT_EQ(chart.machine.current, &chart.z);
}

TEST(Hsm, SourceIsTheStateWhoseHandlerRunsAlsoForStartAndEntry)
{
    Chart chart;
    chart.on_transition("top", kStart, chart.b);
    chart.on_transition("b", kStart, chart.c);
    HsmOnStart(&chart.machine);
    EXPECT_THAT(chart.sources, ElementsAre("top", "top", "a", "b", "b", "c", "c"));
}

TEST(Hsm, SourceStaysAtTheHandlingLevelWhileStatesAreLeft)
{
    Chart chart;
    chart.stand_at(chart.d);
    chart.on_transition("b", 1, chart.z);
    EXPECT_THAT(chart.dispatch(1), ElementsAre("d 1", "c 1", "b 1", "d exit", "c exit", "b exit",
                                               "a exit", "z entry", "z start"));
    EXPECT_THAT(chart.sources, ElementsAre("d", "c", "b", "b", "b", "b", "b", "z", "z"));
}

TEST(Hsm, EventGoesUpUntilItIsHandled)
{
    Chart chart;
    chart.stand_at(chart.e);
    chart.on("b", 1, [](HsmEvent) { return HsmEvent{0}; });
    EXPECT_THAT(chart.dispatch(1), ElementsAre("e 1", "d 1", "c 1", "b 1"));
    EXPECT_EQ(chart.machine.current, &chart.e);
}

TEST(Hsm, SuperstateGetsWhatTheSubstateReturned)
{
    Chart chart;
    chart.stand_at(chart.c);
    chart.on("c", 1, [](HsmEvent) { return HsmEvent{2}; });
    chart.on("b", 2, [](HsmEvent) { return UINTPTR_MAX; });
    EXPECT_THAT(chart.dispatch(1), ElementsAre("c 1", "b 2", "a " + std::to_string(UINTPTR_MAX),
                                               "top " + std::to_string(UINTPTR_MAX)));
}

TEST(Hsm, EventThatNobodyHandlesChangesNothing)
{
    Chart chart;
    chart.stand_at(chart.b2);
    EXPECT_THAT(chart.dispatch(1), ElementsAre("b2 1", "a 1", "top 1"));
    EXPECT_EQ(chart.machine.current, &chart.b2);
    EXPECT_EQ(chart.machine.next, nullptr);
}

TEST(Hsm, EventsAreWordsThatPassUnchanged)
{
    Chart chart;
    const int message = 5;
    const auto event = reinterpret_cast<HsmEvent>(&message);
    chart.stand_at(chart.a);
    HsmEvent seen = 0;
    chart.on("top", event, [&](HsmEvent got) {
        seen = got;
        return HsmEvent{0};
    });
    HsmOnEvent(&chart.machine, event);
    EXPECT_EQ(seen, event);
}

TEST(Hsm, SelfTransitionLeavesAndEntersTheStateAndStartsIt)
{
    Chart chart;
    chart.stand_at(chart.c);
    chart.on_transition("c", 1, chart.c);
    EXPECT_THAT(chart.dispatch(1), ElementsAre("c 1", "c exit", "c entry", "c start"));
    EXPECT_EQ(chart.machine.current, &chart.c);
}

TEST(Hsm, SelfTransitionOfASuperstateLeavesItsSubstatesToo)
{
    Chart chart;
    chart.stand_at(chart.d);
    chart.on_transition("b", 1, chart.b);
    EXPECT_THAT(chart.dispatch(1), ElementsAre("d 1", "c 1", "b 1", "d exit", "c exit", "b exit",
                                               "b entry", "b start"));
    EXPECT_EQ(chart.machine.current, &chart.b);
}

TEST(Hsm, SelfTransitionOfTheTopStateEntersItAgain)
{
    Chart chart;
    chart.stand_at(chart.a);
    chart.on_transition("top", 1, chart.machine.top);
    EXPECT_THAT(chart.dispatch(1),
                ElementsAre("a 1", "top 1", "a exit", "top exit", "top entry", "top start"));
}

TEST(Hsm, SiblingTransitionLeavesOneAndEntersTheOther)
{
    Chart chart;
    chart.stand_at(chart.b);
    chart.on_transition("b", 1, chart.b2);
    EXPECT_THAT(chart.dispatch(1), ElementsAre("b 1", "b exit", "b2 entry", "b2 start"));
    EXPECT_EQ(chart.machine.current, &chart.b2);
}

TEST(Hsm, TransitionToASubstateLeavesNothingAboveTheHandlingState)
{
    Chart chart;
    chart.stand_at(chart.b);
    chart.on_transition("b", 1, chart.e);
    EXPECT_THAT(chart.dispatch(1), ElementsAre("b 1", "c entry", "d entry", "e entry", "e start"));
    chart.stand_at(chart.e);
    chart.on_transition("c", 2, chart.d);
    EXPECT_THAT(chart.dispatch(2),
                ElementsAre("e 2", "d 2", "c 2", "e exit", "d exit", "d entry", "d start"));
}

TEST(Hsm, TransitionToASuperstateDoesNotEnterIt)
{
    Chart chart;
    chart.stand_at(chart.d);
    chart.on_transition("d", 1, chart.b);
    EXPECT_THAT(chart.dispatch(1), ElementsAre("d 1", "d exit", "c exit", "b start"));
    EXPECT_EQ(chart.machine.current, &chart.b);
}

TEST(Hsm, TransitionAcrossTheTreeLeavesAndEntersSevenStates)
{
    Chart chart;
    chart.stand_at(chart.z);
    chart.on_transition("z", 1, chart.g);
    EXPECT_THAT(chart.dispatch(1),
                ElementsAre("z 1", "z exit", "a entry", "b entry", "c entry", "d entry", "e entry",
                            "f entry", "g entry", "g start"));
    chart.on_transition("g", 2, chart.z);
    EXPECT_THAT(chart.dispatch(2), ElementsAre("g 2", "g exit", "f exit", "e exit", "d exit",
                                               "c exit", "b exit", "a exit", "z entry", "z start"));
}

TEST(Hsm, TransitionBetweenBranchesStopsAtTheLeastCommonAncestor)
{
    Chart chart;
    chart.stand_at(chart.d);
    chart.on_transition("c", 1, chart.c2);
    EXPECT_THAT(chart.dispatch(1), ElementsAre("d 1", "c 1", "d exit", "c exit", "b exit",
                                               "b2 entry", "c2 entry", "c2 start"));
}

TEST(Hsm, TransitionIsFollowedByInitialTransitions)
{
    Chart chart;
    chart.stand_at(chart.z);
    chart.on_transition("z", 1, chart.a);
    chart.on_transition("a", kStart, chart.b2);
    chart.on_transition("b2", kStart, chart.c2);
    EXPECT_THAT(chart.dispatch(1), ElementsAre("z 1", "z exit", "a entry", "a start", "b2 entry",
                                               "b2 start", "c2 entry", "c2 start"));
    EXPECT_EQ(chart.machine.current, &chart.c2);
}

TEST(Hsm, InitialTransitionMayLeaveTheState)
{
    Chart chart;
    chart.stand_at(chart.z);
    chart.on_transition("z", 1, chart.b);
    chart.on_transition("b", kStart, chart.b2);
    EXPECT_THAT(chart.dispatch(1), ElementsAre("z 1", "z exit", "a entry", "b entry", "b start",
                                               "b exit", "b2 entry", "b2 start"));
}

TEST(Hsm, NextIsPendingWhileStatesAreLeftAndEntered)
{
    Chart chart;
    chart.stand_at(chart.b);
    chart.on_transition("b", 1, chart.c2);
    std::vector<const State*> next;
    std::vector<const State*> current;
    const auto look = [&](HsmEvent) {
        next.push_back(chart.machine.next);
        current.push_back(chart.machine.current);
        return HsmEvent{0};
    };
    chart.on("b", kExit, look);
    chart.on("b2", kEntry, look);
    chart.on("c2", kEntry, look);
    chart.on("c2", kStart, look);
    chart.dispatch(1);
    EXPECT_THAT(next, ElementsAre(&chart.c2, &chart.c2, &chart.c2, nullptr));
    EXPECT_THAT(current, ElementsAre(&chart.b, &chart.a, &chart.a, &chart.c2));
}

TEST(Hsm, TransitionOfAHandlerThatPassesTheEventOnWaitsForOneThatHandlesIt)
{
    Chart chart;
    chart.stand_at(chart.b);
    chart.on("b", 1, [&](HsmEvent event) {
        HsmStateTran_(&chart.machine, &chart.b2);
        return event;
    });
    chart.on("top", 1, [](HsmEvent) { return HsmEvent{0}; });
    EXPECT_THAT(chart.dispatch(1),
                ElementsAre("b 1", "b exit", "a 1", "top 1", "b2 entry", "b2 start"));
}

TEST(Hsm, DispatchInAHandlerIsDoneAtOnceAndInFull)
{
    Chart chart;
    chart.stand_at(chart.b);
    chart.on_transition("b", 2, chart.b2);
    chart.on("b", 1, [&](HsmEvent) {
        HsmOnEvent(&chart.machine, 2);
        return HsmEvent{0};
    });
    EXPECT_THAT(chart.dispatch(1), ElementsAre("b 1", "b 2", "b exit", "b2 entry", "b2 start"));
    EXPECT_EQ(chart.machine.current, &chart.b2);
    EXPECT_EQ(chart.machine.source, &chart.b2);
}

TEST(Hsm, ToLcaCountsTheStatesToLeave)
{
    Chart chart;
    State alone;
    StateCtor(&alone, "alone", nullptr, handle_z);
    State below;  // as deep as a in a tree of its own
    StateCtor(&below, "below", &alone, handle_z);
    struct {
        State* source;
        State* target;
        int count;
    } const kCases[] = {
        {&chart.c, &chart.c, 1},
        {nullptr, &chart.c, 0},
        {nullptr, nullptr, 1},
        {&chart.c, &chart.d, 0},
        {&chart.c, &chart.g, 0},
        {&chart.machine.top, &chart.g, 0},
        {&chart.b, &chart.b2, 1},
        {&chart.c, &chart.c2, 2},
        {&chart.c, &chart.b, 1},
        {&chart.c, &chart.a, 2},
        {&chart.g, &chart.z, 7},
        {&chart.g, &chart.machine.top, 7},
        {&chart.z, &chart.g, 1},
        {&chart.c2, &chart.g, 2},
        {&chart.g, &chart.c2, 6},
        {&chart.c, &alone, 0},
        {&alone, &chart.c, 0},
        {&chart.machine.top, &alone, 0},
        {&alone, &chart.machine.top, 0},
        {&chart.a, &below, 0},
        {&below, &chart.a, 0},
        {&chart.g, &below, 0},
        {&below, &chart.g, 0},
        {&chart.c, nullptr, 0},
        {&chart.machine.top, nullptr, 0},
    };
    for (const auto& example : kCases) {
        chart.machine.source = example.source;
        EXPECT_EQ(HsmToLCA_(&chart.machine, example.target), example.count)
            << (example.source != nullptr ? example.source->name : "-") << " to "
            << (example.target != nullptr ? example.target->name : "-");
    }
}

TEST(Hsm, ExitLeavesTheSubstatesOfTheSourceAndThenACount)
{
    Chart chart;
    chart.stand_at(chart.e);
    chart.machine.source = &chart.c;
    HsmExit_(&chart.machine, 0);
    EXPECT_THAT(chart.calls, ElementsAre("e exit", "d exit"));
    EXPECT_EQ(chart.machine.current, &chart.c);
    chart.stand_at(chart.e);
    chart.machine.source = &chart.c;
    HsmExit_(&chart.machine, 2);
    EXPECT_THAT(chart.calls, ElementsAre("e exit", "d exit", "c exit", "b exit"));
    EXPECT_EQ(chart.machine.current, &chart.a);
    EXPECT_EQ(chart.machine.next, nullptr);
}

// The count has 8 bits: 256 states up is 0 states up.
TEST(Hsm, ToLcaCountWraps)
{
    Hsm machine;
    HsmCtor(&machine, "deep", handle_top, kStart, kEntry, kExit);
    std::vector<State> states(300);
    for (std::size_t i = 0; i < states.size(); ++i) {
        StateCtor(&states[i], "deep", i == 0 ? &machine.top : &states[i - 1], handle_top);
    }
    machine.source = &states[257];
    EXPECT_EQ(HsmToLCA_(&machine, &states[2]), 255);
    EXPECT_EQ(HsmToLCA_(&machine, &states[1]), 0);
    EXPECT_EQ(HsmToLCA_(&machine, &states[0]), 1);
}

// Misuse.

struct Second {
    const char* where;
    void (*drive)(Chart& chart);
};

class HsmPending : public testing::TestWithParam<Second> {};

TEST_P(HsmPending, SecondTransitionEndsTheProcess)
{
    const Outcome outcome = run_fresh([] {
        Chart chart;
        chart.stand_at(chart.b);
        GetParam().drive(chart);
    });
    EXPECT_THAT(outcome, killed_by(SIGABRT));
    EXPECT_THAT(outcome.err, assertion_text("hsm", "HsmStateTran_", "me_->next == 0"));
    EXPECT_THAT(outcome.log, IsEmpty());
}

const Second kSeconds[] = {
    {"InOneHandler",
     [](Chart& chart) {
         chart.on("b", 1, [&](HsmEvent) {
             HsmStateTran_(&chart.machine, &chart.b2);
             HsmStateTran_(&chart.machine, &chart.b2);
             return HsmEvent{0};
         });
         HsmOnEvent(&chart.machine, 1);
     }},
    {"InAStartHandler",
     [](Chart& chart) {
         chart.on("top", kStart, [&](HsmEvent) {
             HsmStateTran_(&chart.machine, &chart.a);
             HsmStateTran_(&chart.machine, &chart.a);
             return HsmEvent{0};
         });
         HsmOnStart(&chart.machine);
     }},
    {"InAnExitAction",
     [](Chart& chart) {
         chart.on_transition("b", 1, chart.b2);
         chart.on_transition("b", kExit, chart.z);
         HsmOnEvent(&chart.machine, 1);
     }},
    {"InAnEntryAction",
     [](Chart& chart) {
         chart.on_transition("b", 1, chart.b2);
         chart.on_transition("b2", kEntry, chart.z);
         HsmOnEvent(&chart.machine, 1);
     }},
};

INSTANTIATE_TEST_SUITE_P(Actions, HsmPending, testing::ValuesIn(kSeconds),
                         [](const auto& test) { return std::string(test.param.where); });

}  // namespace
