// The hook that is told transitions, and the recorder that draws them.
#include "hsm_trace.h"

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "hsm.h"
#include "ls_hsm.h"
#include "wait_until.h"

using bench::wait_until;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

enum : HsmEvent { kStart = 1000, kEntry, kExit };

/// What a handler shall do about an event: take this transition.
struct Move {
    State* at;
    HsmEvent event;
    State* to;
};

/// top with a, which has b and c; and z.
struct Chart : Hsm {
    State a, b, c, z;
    std::vector<Move> moves;

    Chart();
    void stand_at(State& state)
    {
        current = &state;
        next = nullptr;
        source = nullptr;
    }
};

HsmEvent handle(Hsm* machine, HsmEvent event)
{
    for (const Move& move : static_cast<Chart*>(machine)->moves) {
        if (event == move.event && machine->source == move.at) {
            HsmStateTran_(machine, move.to);
            return 0;
        }
    }
    return event;
}

Chart::Chart() : Hsm()
{
    HsmCtor(this, "chart", handle, kStart, kEntry, kExit);
    StateCtor(&a, "a", &top, handle);
    StateCtor(&b, "b", &a, handle);
    StateCtor(&c, "c", &a, handle);
    StateCtor(&z, "z", &top, handle);
    stand_at(top);
}

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

template <auto write>
std::string written(const HsmRecorder& recorder)
{
    std::string text(write(&recorder, nullptr, 0), '#');
    EXPECT_EQ(write(&recorder, text.data(), static_cast<std::uint32_t>(text.size() + 1)),
              text.size());
    return text;
}

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

// The recorder.

const char* event_name(std::uintptr_t event)
{
    return event == 1 ? "one" : event == 11 ? "one" : event == 2 ? "two" : nullptr;
}

TEST(HsmRecorder, CountsEachTransitionOnce)
{
    Chart chart;
    Chart another;
    static HsmRecorder recorder;
    HsmRecorderInit(&recorder, &chart, event_name);
    EXPECT_EQ(recorder.machineName, nullptr);
    HsmTraceSet(&recorder.trace);
    chart.moves = {{&chart.top, kStart, &chart.a}, {&chart.a, kStart, &chart.b},
                   {&chart.b, 1, &chart.c},        {&chart.c, 11, &chart.b},
                   {&chart.b, 11, &chart.c},       {&chart.c, 3, &chart.b},
                   {&chart.c, 4, &chart.b}};
    another.moves = {{&another.top, kStart, &another.z}};
    HsmOnStart(&another);
    HsmOnStart(&chart);
    for (const HsmEvent event : {1U, 11U, 11U, 3U, 1U, 4U}) {
        HsmOnEvent(&chart, event);
    }
    HsmTraceSet(nullptr);
    EXPECT_STREQ(recorder.machineName, "chart");
    ASSERT_EQ(recorder.stateCount, 4U);
    const char* const kNames[] = {"top", "a", "b", "c"};
    const std::uint32_t kParents[] = {HsmRecorderNone, 0, 1, 1};
    for (unsigned i = 0; i < 4; ++i) {
        EXPECT_STREQ(recorder.states[i].name, kNames[i]);
        EXPECT_EQ(recorder.states[i].parent, kParents[i]);
    }
    std::vector<std::string> seen;
    for (unsigned i = 0; i < recorder.transitionCount; ++i) {
        const HsmSeenTransition& transition = recorder.transitions[i];
        seen.push_back(std::to_string(transition.from) + ">" + std::to_string(transition.to) + " " +
                       (transition.eventName != nullptr ? transition.eventName
                                                        : std::to_string(transition.event)) +
                       " x" + std::to_string(transition.count));
    }
    // 1 and 11 have the same name.
    EXPECT_THAT(seen, ElementsAre("0>1 1000 x1", "1>2 1000 x1", "2>3 one x3", "3>2 one x1",
                                  "3>2 3 x1", "3>2 4 x1"));
    EXPECT_EQ(recorder.dropped, 0U);
}

/// A recorder of a chart that took these transitions.
HsmRecorder& recorded(Chart& chart, HsmEventName name)
{
    static HsmRecorder recorder;
    HsmRecorderInit(&recorder, &chart, name);
    HsmTraceSet(&recorder.trace);
    HsmOnStart(&chart);
    for (const Move& move : chart.moves) {
        if (move.event != kStart) {
            chart.stand_at(*move.at);
            HsmOnEvent(&chart, move.event);
        }
    }
    HsmTraceSet(nullptr);
    return recorder;
}

TEST(HsmRecorder, WritesMermaid)
{
    Chart chart;
    chart.moves = {{&chart.top, kStart, &chart.z}, {&chart.a, kStart, &chart.b},
                   {&chart.z, 1, &chart.a},        {&chart.b, 1, &chart.c},
                   {&chart.a, 2, &chart.z},        {&chart.z, 3, &chart.z}};
    EXPECT_EQ(written<HsmRecorderToMermaid>(recorded(chart, event_name)),
              "stateDiagram-v2\n"
              "    state \"top\" as s0 {\n"
              "        [*] --> s1\n"
              "        state \"z\" as s1\n"
              "        state \"a\" as s2 {\n"
              "            [*] --> s3\n"
              "            state \"b\" as s3\n"
              "            state \"c\" as s4\n"
              "        }\n"
              "    }\n"
              "    s1 --> s2 : one\n"
              "    s3 --> s4 : one\n"
              "    s2 --> s1 : two\n"
              "    s1 --> s1 : 3\n");
}

TEST(HsmRecorder, WritesDot)
{
    Chart chart;
    chart.moves = {{&chart.top, kStart, &chart.z}, {&chart.a, kStart, &chart.b},
                   {&chart.z, 1, &chart.a},        {&chart.b, 1, &chart.c},
                   {&chart.a, 2, &chart.z},        {&chart.z, 3, &chart.z}};
    EXPECT_EQ(
        written<HsmRecorderToDot>(recorded(chart, event_name)),
        "digraph \"chart\" {\n"
        "    compound=true;\n"
        "    fontname=\"sans-serif\";\n"
        "    node [fontname=\"sans-serif\", shape=box, style=rounded];\n"
        "    edge [fontname=\"sans-serif\", fontsize=11];\n"
        "    subgraph cluster_s0 {\n"
        "        label=\"top\"; style=rounded; margin=18;\n"
        "        s0_start [shape=circle, style=filled, fillcolor=black, width=0.15, label=\"\"];\n"
        "        s1 [label=\"z\"];\n"
        "        subgraph cluster_s2 {\n"
        "            label=\"a\"; style=rounded; margin=18;\n"
        "            s2_start [shape=circle, style=filled, fillcolor=black, width=0.15, "
        "label=\"\"];\n"
        "            s2_point [shape=point, style=invis];\n"
        "            s3 [label=\"b\"];\n"
        "            s4 [label=\"c\"];\n"
        "        }\n"
        "    }\n"
        "    s0_start -> s1 [label=\"\"];\n"
        "    s1 -> s2_point [label=\"one\", lhead=cluster_s2];\n"
        "    s2_start -> s3 [label=\"\"];\n"
        "    s3 -> s4 [label=\"one\"];\n"
        "    s2_point -> s1 [label=\"two\", ltail=cluster_s2];\n"
        "    s1 -> s1 [label=\"3\"];\n"
        "}\n");
}

// Between a composite state and what is in it, or itself, there is a point to draw to or from; and
// an initial transition that leaves its state is an arrow with a label.
TEST(HsmRecorder, DrawsWhatStaysInsideACompositeStateToAPoint)
{
    Chart chart;
    chart.moves = {{&chart.a, 1, &chart.b},
                   {&chart.a, 2, &chart.a},
                   {&chart.b, 3, &chart.a},
                   {&chart.c, kStart, &chart.z},
                   {&chart.a, 4, &chart.c}};
    const HsmRecorder& recorder = recorded(chart, nullptr);
    const std::string mermaid = written<HsmRecorderToMermaid>(recorder);
    EXPECT_THAT(mermaid, HasSubstr("            state s1_point <<choice>>\n"));
    for (const char* const arrow :
         {"    s1_point --> s2 : 1\n", "    s1_point --> s1_point : 2\n",
          "    s2 --> s1_point : 3\n", "    s1_point --> s3 : 4\n", "    s3 --> s4 : start\n"}) {
        EXPECT_THAT(mermaid, HasSubstr(arrow));
    }
    const std::string dot = written<HsmRecorderToDot>(recorder);
    EXPECT_THAT(dot, HasSubstr("s1_point [shape=point, width=0.08];\n"));
    for (const char* const arrow :
         {"s1_point -> s2 [label=\"1\"];\n", "s1_point -> s1_point [label=\"2\"];\n",
          "s2 -> s1_point [label=\"3\"];\n", "s1_point -> s3 [label=\"4\"];\n",
          "s3 -> s4 [label=\"start\"];\n"}) {
        EXPECT_THAT(dot, HasSubstr(arrow));
    }
    EXPECT_THAT(dot, Not(HasSubstr("_start")));
}

TEST(HsmRecorder, EscapesNames)
{
    Chart chart;
    HsmCtor(&chart, "\"m\\\n", handle, kStart, kEntry, kExit);
    chart.a.name = "a \"x\" #;{y}:%%<z>&\\`\n";
    chart.z.name = nullptr;
    chart.moves = {{&chart.a, 1, &chart.z}};
    const HsmRecorder& recorder =
        recorded(chart, [](std::uintptr_t) -> const char* { return "e\"\\:\t"; });
    const std::string mermaid = written<HsmRecorderToMermaid>(recorder);
    EXPECT_THAT(mermaid, HasSubstr("state \"a #34;x#34; #35;#59;#123;y#125;#58;#37;#37;#60;z#62;"
                                   "#38;#92;#96; \" as s1\n"));
    EXPECT_THAT(mermaid, HasSubstr("state \"\" as s2\n"));
    EXPECT_THAT(mermaid, HasSubstr("s1 --> s2 : e#34;#92;#58; \n"));
    const std::string dot = written<HsmRecorderToDot>(recorder);
    EXPECT_THAT(dot, HasSubstr("digraph \"\\\"m\\\\ \" {\n"));
    EXPECT_THAT(dot, HasSubstr("s1 [label=\"a \\\"x\\\" #;{y}:%%<z>&\\\\` \"];\n"));
    EXPECT_THAT(dot, HasSubstr("[label=\"e\\\"\\\\: \"];\n"));
}

TEST(HsmRecorder, WithoutATransitionTheDiagramIsEmpty)
{
    Chart chart;
    const HsmRecorder& recorder = recorded(chart, nullptr);
    EXPECT_EQ(written<HsmRecorderToMermaid>(recorder), "stateDiagram-v2\n");
    EXPECT_THAT(written<HsmRecorderToDot>(recorder), HasSubstr("digraph \"\" {\n"));
}

TEST(HsmRecorder, TextIsCutLikeThatOfSnprintf)
{
    Chart chart;
    chart.moves = {{&chart.b, 1, &chart.z}};
    const HsmRecorder& recorder = recorded(chart, nullptr);
    for (const auto write : {HsmRecorderToMermaid, HsmRecorderToDot}) {
        const std::uint32_t length = write(&recorder, nullptr, 0);
        std::string whole(length + 1, '#');
        EXPECT_EQ(write(&recorder, whole.data(), length + 1), length);
        EXPECT_EQ(whole.back(), '\0');
        for (std::uint32_t size = 1; size <= length; ++size) {
            std::string text(length + 1, '#');
            EXPECT_EQ(write(&recorder, text.data(), size), length);
            ASSERT_EQ(text, whole.substr(0, size - 1) + '\0' + std::string(length + 1 - size, '#'))
                << size;
        }
    }
}

TEST(HsmRecorder, WhatThereIsNoRoomForIsCountedAndSaid)
{
    Chart chart;
    static HsmRecorder recorder;
    HsmRecorderInit(&recorder, &chart, nullptr);
    HsmTraceSet(&recorder.trace);
    for (HsmEvent event = 1; event <= HsmRecorderTransitions + 3; ++event) {
        chart.moves = {{&chart.b, event, &chart.z}};
        chart.stand_at(chart.b);
        HsmOnEvent(&chart, event);
    }
    // One that was seen before is counted as ever.
    chart.moves = {{&chart.b, 1, &chart.z}};
    chart.stand_at(chart.b);
    HsmOnEvent(&chart, 1);
    HsmTraceSet(nullptr);
    EXPECT_EQ(recorder.transitionCount, static_cast<unsigned>(HsmRecorderTransitions));
    EXPECT_EQ(recorder.transitions[0].count, 2U);
    EXPECT_EQ(recorder.dropped, 3U);
    EXPECT_THAT(written<HsmRecorderToMermaid>(recorder), HasSubstr("    %% not shown: 3\n"));
    EXPECT_THAT(written<HsmRecorderToDot>(recorder), HasSubstr("    // not shown: 3\n"));
}

TEST(HsmRecorder, StatesThatThereIsNoRoomForAreLeftOutWithTheirTransitions)
{
    Chart chart;
    static HsmRecorder recorder;
    HsmRecorderInit(&recorder, &chart, nullptr);
    HsmTraceSet(&recorder.trace);
    // top, a, b and 61 more; of the last pair only the outer one would have room.
    std::vector<State> more(62);
    for (State& state : more) {
        StateCtor(&state, "more", &chart.top, handle);
    }
    more[61].super = &more[60];
    for (std::size_t i = 0; i < more.size(); ++i) {
        chart.moves = {{&chart.b, 1, &more[i]}};
        chart.stand_at(chart.b);
        HsmOnEvent(&chart, 1);
    }
    HsmTraceSet(nullptr);
    EXPECT_EQ(recorder.stateCount, static_cast<unsigned>(HsmRecorderStates));
    EXPECT_EQ(recorder.transitionCount, 61U);
    EXPECT_EQ(recorder.dropped, 1U);
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
