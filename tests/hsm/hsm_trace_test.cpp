// The hook that is told transitions.
#include "hsm_trace.h"

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "hsm.h"
#include "hsm_trace_chart.h"
#include "ls_hsm.h"
#include "wait_until.h"

using harness::wait_until;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using hsm_chart::Chart;
using hsm_chart::kEntry;
using hsm_chart::kStart;

/// Writes down what it is told.
struct Notes : HsmTrace {
    std::vector<std::string> lines;

    Notes() : HsmTrace{note, nullptr} { HsmTraceSet(this); }
    Notes(const Notes&) = delete;
    Notes& operator=(const Notes&) = delete;
    ~Notes() { HsmTraceSet(nullptr); }

    static void note(HsmTrace* trace, const HsmTransition* told)
    {
        static_cast<Notes*>(trace)->lines.push_back(
            std::string(told->machineName) + ": " + HsmTraceStateName(told->engine, told->from) +
            " > " + HsmTraceStateName(told->engine, told->to) +
            (told->cause == HsmCauseStart ? " start " : " event ") + std::to_string(told->event));
    }
};

// The hook.

TEST(HsmTrace, NobodyIsToldUntilSet)
{
    Chart chart;
    Notes notes;
    HsmTrace* const before = HsmTraceSet(nullptr);
    EXPECT_EQ(before, &notes);
    chart.moves = {{&chart.top, kStart, &chart.b}};
    HsmOnStart(&chart);
    EXPECT_THAT(notes.lines, IsEmpty());
    EXPECT_EQ(HsmTraceSet(&notes), nullptr);
    HsmOnStart(&chart);
    EXPECT_THAT(notes.lines, ElementsAre("chart: top > b start 1000"));
}

TEST(HsmTrace, ToldIsTheStateThatHandledTheEventAndTheEventAsItGotIt)
{
    Chart chart;
    Notes notes;
    chart.stand_at(chart.b);
    chart.moves = {{&chart.a, 1, &chart.z}, {&chart.z, 2, &chart.a}, {&chart.a, kStart, &chart.c}};
    HsmOnEvent(&chart, 1);
    HsmOnEvent(&chart, 2);
    HsmOnEvent(&chart, 3);
    EXPECT_THAT(notes.lines, ElementsAre("chart: a > z event 1", "chart: z > a event 2",
                                         "chart: a > c start 1000"));
    notes.lines.clear();
    chart.stand_at(chart.b);
    chart.b.handler = [](Hsm*, HsmEvent event) { return event == 7 ? HsmEvent{1} : event; };
    HsmOnEvent(&chart, 7);
    EXPECT_THAT(notes.lines, ElementsAre("chart: a > z event 1"));
}

// Not the substate that asked for the transition and passed the event on.
TEST(HsmTrace, ToldIsTheStateThatHandledTheEventAlsoWhenAnotherOneAsked)
{
    Chart chart;
    Notes notes;
    chart.stand_at(chart.b);
    chart.b.handler = [](Hsm* machine, HsmEvent event) {
        if (event == 7) {
            HsmStateTran_(machine, &static_cast<Chart*>(machine)->z);
        }
        return event;
    };
    chart.a.handler = [](Hsm*, HsmEvent) { return HsmEvent{0}; };
    HsmOnEvent(&chart, 7);
    EXPECT_THAT(notes.lines, ElementsAre("chart: a > z event 7"));
}

TEST(HsmTrace, EventsWithoutATransitionAreNotTold)
{
    Chart chart;
    Notes notes;
    chart.stand_at(chart.b);
    HsmOnEvent(&chart, 5);
    chart.a.handler = [](Hsm*, HsmEvent) { return HsmEvent{0}; };
    HsmOnEvent(&chart, 5);
    EXPECT_THAT(notes.lines, IsEmpty());
}

TEST(HsmTrace, IsToldBeforeStatesAreEntered)
{
    static std::vector<std::string> order;
    order.clear();
    Chart chart;
    HsmTrace trace{[](HsmTrace*, const HsmTransition* told) {
                       const auto* const machine = static_cast<const Hsm*>(told->machine);
                       EXPECT_EQ(told->engine, HsmEngineHsm);
                       EXPECT_EQ(told->to, machine->next);
                       order.emplace_back("told");
                   },
                   nullptr};
    chart.stand_at(chart.z);
    chart.moves = {{&chart.z, 1, &chart.a}};
    chart.a.handler = [](Hsm*, HsmEvent event) {
        order.emplace_back(event == kEntry ? "entered" : "started");
        return event;
    };
    HsmTraceSet(&trace);
    HsmOnEvent(&chart, 1);
    HsmTraceSet(nullptr);
    EXPECT_THAT(order, ElementsAre("told", "entered", "started"));
}

TEST(HsmTrace, ChainedTracesAreAllTold)
{
    Chart chart;
    Notes second;
    Notes first;
    first.next = &second;
    chart.stand_at(chart.z);
    chart.moves = {{&chart.z, 1, &chart.z}};
    HsmOnEvent(&chart, 1);
    EXPECT_THAT(first.lines, ElementsAre("chart: z > z event 1"));
    EXPECT_EQ(second.lines, first.lines);
}

TEST(HsmTrace, ParentsAndNamesAreReachable)
{
    Chart chart;
    EXPECT_EQ(HsmTraceStateParent(HsmEngineHsm, &chart.b), &chart.a);
    EXPECT_EQ(HsmTraceStateParent(HsmEngineHsm, &chart.top), nullptr);
    EXPECT_EQ(HsmTraceStateName(HsmEngineHsm, &chart.b), chart.b.name);
    ls_hsm_t machine;
    ls_hsm_state_t state;
    const auto callback = [](ls_hsm_t*, const ls_hsm_event_t*, void*, ls_hsm_state_t*) {
        return 0;
    };
    ls_hsm_init(&machine, "machine", nullptr, callback, nullptr, 3);
    ls_hsm_state_init(&state, "state", &machine.master, callback);
    EXPECT_EQ(HsmTraceStateParent(HsmEngineLsHsm, &state), &machine.master);
    EXPECT_EQ(HsmTraceStateParent(HsmEngineLsHsm, &machine.master), nullptr);
    EXPECT_EQ(HsmTraceStateName(HsmEngineLsHsm, &state), state.name);
}

// The other engine.

struct LsChart : ls_hsm_t {
    ls_hsm_state_t a, b, z;

    LsChart()
    {
        ls_hsm_init(this, "ls", nullptr, in_master, nullptr, 4);
        ls_hsm_state_init(&a, "a", &master, in_a);
        ls_hsm_state_init(&b, "b", &a, in_b);
        ls_hsm_state_init(&z, "z", &master, in_z);
    }
    static LsChart& of(ls_hsm_t* machine) { return static_cast<LsChart&>(*machine); }
    static int in_master(ls_hsm_t* machine, const ls_hsm_event_t* event, void*, ls_hsm_state_t*)
    {
        if (event->type == LS_HSM_EVENT_INIT) {
            ls_hsm_transition(machine, &of(machine).z);
        }
        return 0;
    }
    static int in_a(ls_hsm_t* machine, const ls_hsm_event_t* event, void*, ls_hsm_state_t*)
    {
        if (event->type == LS_HSM_EVENT_INIT) {
            ls_hsm_transition(machine, &of(machine).b);
        } else if (event->type == LS_HSM_EVENT_USER && event->value == 2) {
            ls_hsm_immediate_transition(machine, &of(machine).z);
            return 1;
        } else if (event->type == LS_HSM_EVENT_USER && event->value == 3) {
            ls_hsm_transition(machine, &of(machine).z);
        }
        return 0;
    }
    static int in_b(ls_hsm_t* machine, const ls_hsm_event_t* event, void*, ls_hsm_state_t*)
    {
        if (event->type == LS_HSM_EVENT_EXIT && machine->target == &of(machine).z &&
            of(machine).redirect) {
            of(machine).redirect = false;
            ls_hsm_transition(machine, &of(machine).a);
        }
        return event->type == LS_HSM_EVENT_USER ? 1 : 0;
    }
    static int in_z(ls_hsm_t* machine, const ls_hsm_event_t* event, void*, ls_hsm_state_t*)
    {
        if (event->type == LS_HSM_EVENT_USER && event->value == 1) {
            ls_hsm_transition(machine, &of(machine).a);
        } else if (event->type == LS_HSM_EVENT_USER && event->value == 4) {
            ls_hsm_transition(machine, &of(machine).z);
        }
        return 0;
    }
    bool redirect = false;
};

TEST(HsmTrace, TransitionsOfTheOtherEngineAreTold)
{
    LsChart chart;
    Notes notes;
    ls_hsm_run(&chart);
    ls_hsm_dispatch(&chart, 1);
    ls_hsm_dispatch(&chart, 2);
    EXPECT_THAT(notes.lines, ElementsAre("ls: master > z start 0", "ls: z > a event 1",
                                         "ls: a > b start 0", "ls: a > z event 2"));
    notes.lines.clear();
    ls_hsm_dispatch(&chart, 4);
    ls_hsm_dispatch(&chart, 5);
    EXPECT_THAT(notes.lines, IsEmpty()) << "nothing is left or entered";
}

TEST(HsmTrace, ToldIsTheCallbackThatHandledTheEventAlsoWhenAnotherOneAsked)
{
    LsChart chart;
    Notes notes;
    ls_hsm_run(&chart);
    ls_hsm_dispatch(&chart, 1);
    notes.lines.clear();
    chart.b.callback = [](ls_hsm_t* machine, const ls_hsm_event_t* event, void*, ls_hsm_state_t*) {
        if (event->type == LS_HSM_EVENT_USER) {
            ls_hsm_transition(machine, &LsChart::of(machine).z);
        }
        return event->type == LS_HSM_EVENT_USER ? 1 : 0;
    };
    ls_hsm_dispatch(&chart, 7);
    EXPECT_THAT(notes.lines, ElementsAre("ls: a > z event 7"));
}

TEST(HsmTrace, TargetThatChangesOnTheWayIsToldAnew)
{
    LsChart chart;
    Notes notes;
    ls_hsm_run(&chart);
    ls_hsm_dispatch(&chart, 1);
    notes.lines.clear();
    chart.redirect = true;
    ls_hsm_dispatch(&chart, 3);
    EXPECT_THAT(notes.lines,
                ElementsAre("ls: a > z event 3", "ls: b > a event 3", "ls: a > b start 0"));
}

// Two threads that drive a machine each, while a third one sets and unsets the hook.
TEST(HsmTrace, IsSetWhileMachinesRun)
{
    std::atomic<int> told{0};
    std::atomic<bool> stop{false};
    struct Counter : HsmTrace {
        std::atomic<int>& count;
    } counter{{[](HsmTrace* trace, const HsmTransition*) { ++static_cast<Counter*>(trace)->count; },
               nullptr},
              told};
    const auto drive = [&] {
        Chart chart;
        chart.moves = {{&chart.b, 1, &chart.z}, {&chart.z, 1, &chart.b}};
        chart.stand_at(chart.b);
        while (!stop) {
            HsmOnEvent(&chart, 1);
        }
    };
    std::thread one(drive);
    std::thread two(drive);
    for (int round = 0; round < 50; ++round) {
        const int before = told;
        HsmTraceSet(&counter);
        EXPECT_TRUE(wait_until([&] { return told > before; }));
        EXPECT_EQ(HsmTraceSet(nullptr), &counter);
    }
    stop = true;
    one.join();
    two.join();
}

}  // namespace
