// The recorder of transitions: what it keeps, and the diagrams that it writes.
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>

#include "hsm.h"
#include "hsm_trace.h"
#include "hsm_trace_chart.h"

using namespace hsm_chart;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

template <auto write>
std::string written(const HsmRecorder& recorder)
{
    std::string text(write(&recorder, nullptr, 0), '#');
    EXPECT_EQ(write(&recorder, text.data(), static_cast<std::uint32_t>(text.size() + 1)),
              text.size());
    return text;
}

const char* event_name(std::uintptr_t event)
{
    return event == 1 ? "one" : event == 11 ? "one" : event == 2 ? "two" : nullptr;
}

/// What a recorder has seen: places of states, event and count.
std::vector<std::string> seen_by(const HsmRecorder& recorder)
{
    std::vector<std::string> seen;
    for (unsigned i = 0; i < recorder.transitionCount; ++i) {
        const HsmSeenTransition& transition = recorder.transitions[i];
        seen.push_back(std::to_string(transition.from) + ">" + std::to_string(transition.to) + " " +
                       (transition.eventName != nullptr ? transition.eventName
                                                        : std::to_string(transition.event)) +
                       " x" + std::to_string(transition.count));
    }
    return seen;
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
    // 1 and 11 have the same name.
    EXPECT_THAT(seen_by(recorder), ElementsAre("0>1 1000 x1", "1>2 1000 x1", "2>3 one x3",
                                               "3>2 one x1", "3>2 3 x1", "3>2 4 x1"));
    EXPECT_EQ(recorder.dropped, 0U);
}

TEST(HsmRecorder, ATransitionOfZeroesIsOneToo)
{
    Chart chart;
    static HsmRecorder recorder;
    HsmRecorderInit(&recorder, &chart, nullptr);
    HsmTraceSet(&recorder.trace);
    chart.moves = {{&chart.top, 0, &chart.top}};
    HsmOnEvent(&chart, 0);
    HsmOnEvent(&chart, 0);
    HsmTraceSet(nullptr);
    EXPECT_THAT(seen_by(recorder), ElementsAre("0>0 0 x2"));
}

TEST(HsmRecorder, KeepsApartWhatDiffersInAnything)
{
    static const char* name;
    Chart chart;
    static HsmRecorder recorder;
    HsmRecorderInit(&recorder, &chart,
                    [](std::uintptr_t event) { return event == 1 ? name : nullptr; });
    const auto tell = [&](const State& from, const State& to, HsmEvent event,
                          HsmCause cause = HsmCauseEvent) {
        const HsmTransition told{HsmEngineHsm, cause, &chart, chart.name, &from, &to, event};
        recorder.trace.transition(&recorder.trace, &told);
    };
    for (int round = 0; round < 2; ++round) {
        name = "one";
        tell(chart.a, chart.z, 1);
        tell(chart.top, chart.z, 1);
        tell(chart.a, chart.top, 1);
        tell(chart.a, chart.z, 2);
        // An initial transition has no name, and is none of the application's.
        tell(chart.a, chart.z, 1, HsmCauseStart);
        tell(chart.a, chart.z, 2, HsmCauseStart);
        // The next message has come to lie at the same address.
        name = nullptr;
        tell(chart.a, chart.z, 1);
        chart.name = "renamed";
    }
    EXPECT_THAT(seen_by(recorder), ElementsAre("1>2 one x2", "0>2 one x2", "1>0 one x2", "1>2 2 x2",
                                               "1>2 1 x2", "1>2 2 x2", "1>2 1 x2"));
    EXPECT_STREQ(recorder.machineName, "renamed");
    EXPECT_EQ(recorder.dropped, 0U);
}

TEST(HsmRecorder, InitOverwritesWhateverWasThere)
{
    static HsmRecorder recorder;
    static HsmRecorder fresh;
    std::memset(&recorder, 0xEE, sizeof recorder);
    Chart chart;
    HsmRecorderInit(&recorder, &chart, event_name);
    HsmRecorderInit(&fresh, &chart, event_name);
    const auto bytes_of = [](const HsmRecorder& each) {
        return std::string_view(reinterpret_cast<const char*>(&each), sizeof each);
    };
    EXPECT_TRUE(bytes_of(recorder) == bytes_of(fresh));
    EXPECT_EQ(recorder.trace.next, nullptr);
    EXPECT_EQ(recorder.machine, &chart);
    EXPECT_EQ(recorder.machineName, nullptr);
    EXPECT_EQ(recorder.eventName, event_name);
    EXPECT_EQ(recorder.stateCount + recorder.transitionCount + recorder.dropped, 0U);
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
    EXPECT_THAT(dot, HasSubstr("            s1_point [shape=point, width=0.08];\n            s2 "));
    for (const char* const arrow :
         {"s1_point -> s2 [label=\"1\"];\n", "s1_point -> s1_point [label=\"2\"];\n",
          "s2 -> s1_point [label=\"3\"];\n", "s1_point -> s3 [label=\"4\"];\n",
          "s3 -> s4 [label=\"start\"];\n"}) {
        EXPECT_THAT(dot, HasSubstr(arrow));
    }
    EXPECT_THAT(dot, Not(HasSubstr("_start")));
}

TEST(HsmRecorder, DrawsWhatLeavesACompositeStateFromItsBorder)
{
    Chart chart;
    chart.moves = {{&chart.a, 1, &chart.z}, {&chart.b, 2, &chart.c}};
    const std::string dot = written<HsmRecorderToDot>(recorded(chart, nullptr));
    EXPECT_THAT(dot, HasSubstr("s1_point [shape=point, style=invis];\n"));
    EXPECT_THAT(dot, HasSubstr("s1_point -> s2 [label=\"1\", ltail=cluster_s1];\n"));
}

TEST(HsmRecorder, AnInitialTransitionToItsOwnStateIsAnArrow)
{
    Chart chart;
    static HsmRecorder recorder;
    HsmRecorderInit(&recorder, &chart, nullptr);
    const HsmTransition told{HsmEngineHsm, HsmCauseStart, &chart, chart.name,
                             &chart.z,     &chart.z,      kStart};
    recorder.trace.transition(&recorder.trace, &told);
    EXPECT_THAT(written<HsmRecorderToMermaid>(recorder), HasSubstr("    s1 --> s1 : start\n"));
    const std::string dot = written<HsmRecorderToDot>(recorder);
    EXPECT_THAT(dot, HasSubstr("    s1 -> s1 [label=\"start\"];\n"));
    EXPECT_THAT(dot, Not(HasSubstr("_start")));
}

TEST(HsmRecorder, AnEdgeBetweenCompositeStatesIsCutAtBothBorders)
{
    Chart chart;
    State inside_z;
    StateCtor(&inside_z, "inside z", &chart.z, handle);
    chart.moves = {{&chart.b, 1, &inside_z}, {&chart.a, 2, &chart.z}};
    EXPECT_THAT(written<HsmRecorderToDot>(recorded(chart, event_name)),
                HasSubstr(" [label=\"two\", ltail=cluster_s1, lhead=cluster_s3];\n"));
}

TEST(HsmRecorder, OnlyAStateWithAnInitialTransitionHasAStartingPoint)
{
    Chart chart;
    chart.moves = {{&chart.top, kStart, &chart.z}, {&chart.b, 1, &chart.c}};
    const std::string dot = written<HsmRecorderToDot>(recorded(chart, nullptr));
    EXPECT_THAT(dot, HasSubstr("s0_start ["));
    EXPECT_THAT(dot, HasSubstr("subgraph cluster_s2 {\n"));
    EXPECT_THAT(dot, Not(HasSubstr("s2_start")));
}

TEST(HsmRecorder, ShowsTheLargestEvent)
{
    Chart chart;
    chart.moves = {{&chart.b, UINTPTR_MAX, &chart.c}};
    EXPECT_THAT(written<HsmRecorderToDot>(recorded(chart, nullptr)),
                HasSubstr("[label=\"" + std::to_string(UINTPTR_MAX) + "\"];\n"));
}

TEST(HsmRecorder, OtherCharactersOfNamesStandAsTheyAre)
{
    const std::string code_in_mermaid = "\"#%&:;<>\\`{}";
    for (char character = ' '; character <= '~'; ++character) {
        Chart chart;
        const std::string name = std::string("x") + character + "y";
        chart.z.name = name.c_str();
        chart.moves = {{&chart.b, 1, &chart.z}};
        const HsmRecorder& recorder = recorded(chart, nullptr);
        EXPECT_EQ(written<HsmRecorderToMermaid>(recorder).find(name) != std::string::npos,
                  code_in_mermaid.find(character) == std::string::npos)
            << character;
        EXPECT_EQ(written<HsmRecorderToDot>(recorder).find(name) != std::string::npos,
                  character != '"' && character != '\\')
            << character;
    }
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
    EXPECT_THAT(written<HsmRecorderToMermaid>(recorder),
                StartsWith("stateDiagram-v2\n    %% not shown: 3\n"));
    EXPECT_THAT(written<HsmRecorderToDot>(recorder), HasSubstr("    // not shown: 3\n"));
}

TEST(HsmRecorder, CountersStayAtTheLargestNumber)
{
    Chart chart;
    static HsmRecorder recorder;
    HsmRecorderInit(&recorder, &chart, nullptr);
    recorder.dropped = UINT32_MAX - 1;
    HsmTraceSet(&recorder.trace);
    for (HsmEvent event = 1; event <= HsmRecorderTransitions + 3; ++event) {
        chart.moves = {{&chart.b, event, &chart.z}};
        chart.stand_at(chart.b);
        HsmOnEvent(&chart, event);
    }
    EXPECT_EQ(recorder.dropped, UINT32_MAX);
    recorder.transitions[0].count = UINT32_MAX - 1;
    chart.moves = {{&chart.b, 1, &chart.z}};
    for (int times = 0; times < 3; ++times) {
        chart.stand_at(chart.b);
        HsmOnEvent(&chart, 1);
    }
    HsmTraceSet(nullptr);
    EXPECT_EQ(recorder.transitions[0].count, UINT32_MAX);
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
    HsmTraceSet(&recorder.trace);
    chart.moves = {{&more[61], 1, &chart.b}};
    chart.stand_at(more[61]);
    HsmOnEvent(&chart, 1);
    HsmTraceSet(nullptr);
    EXPECT_EQ(recorder.transitionCount, 61U);
    EXPECT_EQ(recorder.dropped, 2U);
}

}  // namespace
