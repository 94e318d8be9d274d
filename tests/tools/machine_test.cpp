// commonctl machine: recordings read back and drawn.
#include <fstream>
#include <map>
#include <random>
#include <regex>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "diagram/recording.h"
#include "diagram/svg_layout.h"
#include "fresh_process.h"

using namespace commonctl;
using namespace harness;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {

std::string content_of(const std::string& path)
{
    std::ostringstream content;
    content << std::ifstream(path).rdbuf();
    return content.str();
}

std::string refusal(const std::string& diagram)
{
    try {
        read_recording(diagram);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "accepted";
}

/// A recorder with all that there may be: names that languages must escape, states that are not in
/// the order of their numbers, each kind of transition.
HsmRecorder crowded()
{
    HsmRecorder recorder{};
    recorder.machineName = "a \"machine\" \\ <&>";
    recorder.dropped = 7;
    const struct {
        const char* name;
        std::uint32_t parent;
    } states[] = {{"top", HsmRecorderNone},
                  {"a;b {}#1:%", 0},
                  {"<<\"x\">>", 0},
                  {"in\\1", 1},
                  {"deep", 3},
                  {"\xc3\xa4`&", 2},
                  {"other", HsmRecorderNone}};
    for (const auto& [name, parent] : states) {
        recorder.states[recorder.stateCount++] = {nullptr, name, parent};
    }
    const HsmSeenTransition transitions[] = {
        {0, 1, HsmCauseStart, 1, 0, nullptr},  {1, 4, HsmCauseStart, 1, 0, nullptr},
        {1, 2, HsmCauseEvent, 3, 17, nullptr}, {3, 3, HsmCauseEvent, 1, 0, "again: \"\\\" ;"},
        {2, 5, HsmCauseEvent, 1, 0, "inside"}, {5, 0, HsmCauseEvent, 1, 0, ""},
        {6, 1, HsmCauseStart, 1, 0, nullptr},  {4, 6, HsmCauseEvent, 1, 0, " #35; "},
    };
    for (const HsmSeenTransition& transition : transitions) {
        recorder.transitions[recorder.transitionCount++] = transition;
    }
    return recorder;
}

TEST(MachineRecording, ComesBackFromDotToTheLetter)
{
    for (const std::string& dot : {dot_text(crowded()), content_of(DIAGRAM)}) {
        ASSERT_THAT(dot, HasSubstr("digraph"));
        const Recording recording = read_recording(dot);
        EXPECT_EQ(dot_text(recording.recorder), dot);
    }
}

TEST(MachineRecording, ComesBackFromMermaidToTheLetter)
{
    const std::string mermaid = mermaid_text(crowded());
    const Recording recording = read_recording(mermaid);
    EXPECT_EQ(mermaid_text(recording.recorder), mermaid);
    EXPECT_EQ(recording.recorder.dropped, 7U);
    EXPECT_EQ(mermaid_text(read_recording(dot_text(crowded())).recorder), mermaid);
}

TEST(MachineRecording, BlanksAndLineEndsOfOtherSystemsDoNotMatter)
{
    const std::string dot = content_of(DIAGRAM);
    std::string other = "\n\t\r\n";
    for (const char c : dot) {
        other += c == '\n' ? std::string("\r\n  ") : std::string{c};
    }
    EXPECT_EQ(dot_text(read_recording(other).recorder), dot);
}

/// A DOT text around some lines.
std::string dot_of(const std::string& lines)
{
    return "digraph \"m\" {\n" + lines + "}\n";
}

TEST(MachineRecording, SaysAtWhichLineItIsNone)
{
    const std::string two = "s0 [label=\"a\"];\ns1 [label=\"b\"];\n";
    const std::string nested =
        "subgraph cluster_s0 {\nlabel=\"a\"; style=rounded;\ns1 [label=\"b\"];\n}\n";
    const std::pair<std::string, const char*> cases[] = {
        {"", "line 1 is not as a recorder writes it: the diagram has no end"},
        {"\n\ngraph", "line 3 is not as a recorder writes it: it begins with \"digraph\""},
        {"digraph \"m\" {\n", "line 1 is not as a recorder writes it: the diagram has no end"},
        {"digraph \"m {\n}\n", "a text has no end"},
        {"digraph \"m\\", "a text has no end"},
        {dot_of("") + "x", "the diagram has ended"},
        {dot_of("x"), "line 2 is not as a recorder writes it: \"a state or a transition\" is "
                      "missing in front of \"x}\""},
        {dot_of("\x1b[1m\n"), "in front of \"\\x1b[1m\""},
        {dot_of("s64 [label=\"a\"];\n"), "states s0 to s63"},
        {dot_of("s99999999999 [label=\"a\"];\n"), "a number is missing"},
        {dot_of("s0 [label=\"a\"]; s1\n"), "nothing may follow"},
        {dot_of("s0 [label=\"a\"];\ns0 [label=\"a\"];\n"), "line 3 is not as a recorder writes it: "
                                                           "there is a state s0 already"},
        {dot_of("s1 [label=\"a\"];\n"), "there is no state s0"},
        {dot_of(two + "s0 -> s2 [label=\"\"];\n"),
         "line 4 is not as a recorder writes it: there is "
         "no state s2"},
        {dot_of(two + "s0 -> s1 [color=\"\"];\n"), "\" [label=\" is missing"},
        {dot_of(two + "s0 -> s1 [label=\"\"\n"), "\", l\" is missing"},
        {dot_of(two + "s0_start -> s1 [label=\"\"];\n"), "a state starts with one inside it"},
        {dot_of(nested + "s0_start -> s0 [label=\"\"];\n"), "a state starts with one inside it"},
        {dot_of("label=\"a\"; \n"), "it belongs into a state"},
        {dot_of("subgraph cluster_s1 {\ns0 [label=\"a\"];\n}\n"), "a higher number than the one"},
        {"digraph \"m\" {\nsubgraph cluster_s0 {\n}\n", "the diagram has no end"},
        {"stateDiagram-v2 x\n", "nothing may follow"},
        {"stateDiagram-v2\n}\n", "line 2 is not as a recorder writes it: no state is open"},
        {"stateDiagram-v2\nstate \"a\" as s0 {\n", "a \"}\" is missing behind it"},
        {"stateDiagram-v2\n[*] --> s0\n", "it belongs into a state"},
        {"stateDiagram-v2\nstate \"a as s0\n", "a text has no end"},
        {"stateDiagram-v2\nstate \"#34\" as s0\n", "a character's number has no \";\""},
        {"stateDiagram-v2\nstate \"#10;\" as s0\n", "a character has another number"},
        {"stateDiagram-v2\nstate \"#x;\" as s0\n", "a number is missing"},
        {"stateDiagram-v2\nstate \"#34x;\" as s0\n", "nothing may follow"},
        {"stateDiagram-v2\nstate \"a\" as s0\ns0 --> s0\n", "\" :\" is missing"},
        {"stateDiagram-v2\nnote\n", "\"a state or a transition\" is missing"},
    };
    for (const auto& [diagram, why] : cases) {
        EXPECT_THAT(refusal(diagram), HasSubstr(why)) << diagram;
    }
}

TEST(MachineRecording, HasAsMuchAsARecorderHolds)
{
    std::string states;
    for (int i = 0; i < 64; ++i) {
        states += "s" + std::to_string(i) + " [label=\"a\"];\n";
    }
    std::string transitions;
    for (int i = 0; i < 256; ++i) {
        transitions += "s0 -> s63 [label=\"" + std::to_string(i) + "\"];\n";
    }
    EXPECT_EQ(refusal(dot_of(states + transitions)), "accepted");
    EXPECT_THAT(refusal(dot_of(states + transitions + "s0 -> s1 [label=\"\"];\n")),
                HasSubstr("256 transitions at most"));
}

// All that the picture promises: boxes that hold one another or are apart, and no two lines of
// transitions on one another.

bool holds(const StateBox& outer, const StateBox& inner)
{
    return inner.x > outer.x && inner.x + inner.width < outer.x + outer.width &&
           inner.y >= outer.y + outer.head && inner.y + inner.height <= outer.y + outer.height;
}

bool apart(const StateBox& one, const StateBox& other)
{
    return one.y + one.height < other.y || other.y + other.height < one.y;
}

void expect_readable(const HsmRecorder& recorder)
{
    const SvgLayout layout = lay_out(recorder);
    const auto& states = layout.states;
    for (std::uint32_t one = 0; one < states.size(); ++one) {
        EXPECT_GE(states[one].width, text_width(states[one].name) + 12);
        EXPECT_LE(states[one].y + states[one].height, layout.height);
        for (std::uint32_t other = one + 1; other < states.size(); ++other) {
            std::uint32_t above = other;
            while (above != HsmRecorderNone && above != one) {
                above = recorder.states[above].parent;
            }
            EXPECT_TRUE(above == one ? holds(states[one], states[other])
                                     : apart(states[one], states[other]) ||
                                           holds(states[other], states[one]))
                << one << " and " << other;
        }
    }
    std::set<int> rows;
    std::map<int, std::vector<std::pair<int, int>>> lanes;
    for (const Arrow& arrow : layout.arrows) {
        for (const auto& [place, y] :
             {std::pair(arrow.from, arrow.from_y), std::pair(arrow.to, arrow.to_y)}) {
            EXPECT_TRUE(y > states[place].y && y < states[place].y + states[place].head);
            for (int near = y - 15; near <= y + 15; ++near) {
                EXPECT_FALSE(rows.contains(near)) << "two ends at " << y;
            }
            rows.insert(y);
        }
        EXPECT_GT(arrow.lane_x, layout.label_x + text_width(arrow.label));
        EXPECT_LT(arrow.lane_x, layout.width);
        const std::pair<int, int> way = std::minmax(arrow.from_y, arrow.to_y);
        for (const auto& [begin, end] : lanes[arrow.lane_x]) {
            EXPECT_TRUE(way.second < begin || end < way.first);
        }
        lanes[arrow.lane_x].push_back(way);
    }
}

TEST(MachineSvg, NothingCoversAnything)
{
    expect_readable(crowded());
    expect_readable(read_recording(content_of(DIAGRAM)).recorder);
    std::mt19937 random(3);
    for (int round = 0; round < 50; ++round) {
        HsmRecorder recorder{};
        for (std::uint32_t i = 0; i < 1 + random() % 30; ++i) {
            const auto parent = static_cast<std::uint32_t>(random() % (i + 1));
            recorder.states[recorder.stateCount++] = {
                nullptr, i % 3 == 0 ? "a rather long name" : "b",
                parent == i ? std::uint32_t{HsmRecorderNone} : parent};
        }
        for (std::uint32_t i = 0; i < random() % 60; ++i) {
            const auto any = [&] {
                return static_cast<std::uint32_t>(random() % recorder.stateCount);
            };
            recorder.transitions[recorder.transitionCount++] = {any(), any(), HsmCauseEvent,
                                                                1,     i,     nullptr};
        }
        expect_readable(recorder);
    }
}

TEST(MachineSvg, AnArrowAndItsWayBackDoNotCross)
{
    const Recording recording =
        read_recording(dot_of("s0 [label=\"a\"];\ns1 [label=\"b\"];\n"
                              "s0 -> s1 [label=\"there\"];\ns1 -> s0 [label=\"back\"];\n"));
    const SvgLayout layout = lay_out(recording.recorder);
    const Arrow& there = layout.arrows[0];
    const Arrow& back = layout.arrows[1];
    EXPECT_TRUE(there.from_y < back.to_y && back.from_y < there.to_y);
    EXPECT_LT(back.lane_x, there.lane_x);
}

/// The texts of a picture that can be seen.
std::vector<std::string> texts_of(const std::string& svg)
{
    std::vector<std::string> texts;
    const std::regex text("<text[^>]*>([^<]*)</text>");
    for (std::sregex_iterator it(svg.begin(), svg.end(), text), end; it != end; ++it) {
        texts.push_back((*it)[1]);
    }
    return texts;
}

TEST(MachineSvg, ShowsAllStatesAndEvents)
{
    const std::string svg = svg_text(read_recording(content_of(DIAGRAM)).recorder);
    EXPECT_THAT(texts_of(svg),
                ElementsAre("top", "idle", "active", "scanning", "paused", "done", "start",
                            "interrupt", "resume", "finished", "interrupt", "interrupt"));
    EXPECT_THAT(svg, HasSubstr("<title>player</title>"));
    EXPECT_THAT(svg, HasSubstr("<title>idle to active: start</title>"));
}

TEST(MachineSvg, TextsCannotLeaveTheirPlace)
{
    const std::string hostile = "<script>&\"'\x01\xff\xef\xbf\xbe]]>";
    HsmRecorder recorder{};
    recorder.machineName = hostile.c_str();
    recorder.states[recorder.stateCount++] = {nullptr, hostile.c_str(), HsmRecorderNone};
    recorder.transitions[recorder.transitionCount++] = {0, 0, HsmCauseEvent, 1, 0, hostile.c_str()};
    const std::string svg = svg_text(recorder);
    const std::string safe = "&lt;script&gt;&amp;&quot;&#39;???]]&gt;";
    EXPECT_THAT(texts_of(svg), ElementsAre(safe, safe));
    EXPECT_THAT(svg, HasSubstr("<title>" + safe + "</title>"));
    EXPECT_THAT(svg, Not(HasSubstr("<script")));
}

TEST(MachineSvg, TellsWhatIsNotShown)
{
    EXPECT_THAT(svg_text(crowded()), HasSubstr(">7 transitions that there was no room for<"));
    EXPECT_THAT(svg_text(HsmRecorder{}), Not(HasSubstr("no room")));
}

TEST(CommonctlMachine, TurnsEitherFormIntoAny)
{
    const FreshSetup setup{.files = {{"/tmp/dot", content_of(DIAGRAM)}}};
    const Outcome outcome = run_program(
        setup, {"sh", "-c",
                COMMONCTL " machine /tmp/dot -o mermaid | " COMMONCTL " machine -o mermaid | tee "
                          "/tmp/mermaid; " COMMONCTL
                          " machine /tmp/dot -o dot | cmp - /tmp/dot; " COMMONCTL
                          " machine - < /tmp/dot > /tmp/svg1; " COMMONCTL
                          " machine /tmp/mermaid -o svg | grep -v '^<title>' > /tmp/svg2;"
                          "grep -v '^<title>' /tmp/svg1 | cmp - /tmp/svg2"});
    EXPECT_THAT(outcome, exited(0));
    EXPECT_EQ(outcome.out, mermaid_text(read_recording(content_of(DIAGRAM)).recorder));
    EXPECT_EQ(outcome.err, "");
}

TEST(CommonctlMachine, BadInputIsOneLine)
{
    const FreshSetup setup{
        .files = {{"/tmp/none", "nothing\n"}, {"/tmp/large", std::string((1 << 20) + 1, '\n')}}};
    const std::pair<const char*, const char*> cases[] = {
        {"/tmp/none", "commonctl: line 1 is not as a recorder writes it: it begins with "
                      "\"digraph\" or \"stateDiagram-v2\"\n"},
        {"/tmp/absent", "commonctl: /tmp/absent: No such file or directory\n"},
        {"/tmp/large", "commonctl: /tmp/large has more than 1048576 bytes; give a part of it\n"},
    };
    for (const auto& [file, error] : cases) {
        const Outcome outcome = run_program(setup, {COMMONCTL, "machine", file});
        EXPECT_THAT(outcome, exited(1));
        EXPECT_EQ(outcome.err, error);
        EXPECT_EQ(outcome.out, "");
    }
    EXPECT_THAT(run_program(setup, {COMMONCTL, "machine", "-o", "png", "/tmp/none"}), exited(2));
}

}  // namespace
