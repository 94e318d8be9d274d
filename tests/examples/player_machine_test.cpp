// The player's state machine, and the diagram of it in the documentation.
#include <fstream>
#include <initializer_list>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "fresh_process.h"
#include "player.h"

using namespace harness;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

using States = std::vector<std::string>;

struct Followed {
    States entered;
    player::Player player{
        [](void* user, const char* state) { static_cast<States*>(user)->emplace_back(state); },
        &entered};

    explicit Followed(std::initializer_list<player::Event> events)
    {
        player.start();
        for (const player::Event event : events) {
            player.handle(event);
        }
    }
};

TEST(PlayerMachine, GoesThroughItsStates)
{
    using namespace player;
    EXPECT_THAT(Followed({}).entered, ElementsAre("idle"));
    const Followed finished({kStart, kInterrupt, kResume, kFinished});
    EXPECT_THAT(finished.entered,
                ElementsAre("idle", "active", "scanning", "paused", "scanning", "done"));
    EXPECT_STREQ(finished.player.state(), "done");
    EXPECT_THAT(Followed({kStart, kInterrupt, kFinished}).entered,
                ElementsAre("idle", "active", "scanning", "paused", "done"));
    EXPECT_THAT(Followed({kStart, kInterrupt, kInterrupt}).entered,
                ElementsAre("idle", "active", "scanning", "paused", "done"));
    EXPECT_THAT(Followed({kInterrupt}).entered, ElementsAre("idle", "done"));
}

TEST(PlayerMachine, BeginsAnewFromAnyState)
{
    using namespace player;
    for (const std::initializer_list<Event>& events :
         {std::initializer_list<Event>{}, {kStart}, {kStart, kInterrupt}, {kInterrupt}}) {
        Followed followed(events);
        followed.entered.clear();
        followed.player.start();
        EXPECT_THAT(followed.entered, ElementsAre("idle"));
        followed.player.handle(kStart);
        EXPECT_THAT(followed.entered, ElementsAre("idle", "active", "scanning"));
    }
}

TEST(PlayerMachine, IgnoresWhatDoesNotApply)
{
    using namespace player;
    EXPECT_STREQ(Followed({kResume, kFinished}).player.state(), "idle");
    EXPECT_STREQ(Followed({kStart, kStart, kResume}).player.state(), "scanning");
    EXPECT_STREQ(Followed({kStart, kInterrupt, kStart}).player.state(), "paused");
    EXPECT_STREQ(Followed({kInterrupt, kStart, kInterrupt, kResume, kFinished}).player.state(),
                 "done");
}

std::string file(const std::string& name)
{
    std::ifstream stream(std::string(DOCS_FOLDER) + "/" + name);
    EXPECT_TRUE(stream.good()) << name;
    std::ostringstream text;
    text << stream.rdbuf();
    return text.str();
}

TEST(PlayerMachine, DiagramOfTheDocumentationIsTheRecordedOne)
{
    const Outcome outcome = run_program({}, {PLAYER_MACHINE, "dot"});
    EXPECT_THAT(outcome, exited(0));
    EXPECT_EQ(outcome.out, file("player_machine.dot"));
    // Every node and label of the text is in the picture that dot made of it.
    const std::string picture = file("player_machine.svg");
    for (const char* const text :
         {"<title>player</title>", ">idle<", ">active<", ">scanning<", ">paused<", ">done<",
          ">start<", ">interrupt<", ">resume<", ">finished<"}) {
        EXPECT_THAT(picture, HasSubstr(text));
    }
}

TEST(PlayerMachine, MermaidTextOfTheDocumentationIsTheRecordedOne)
{
    const Outcome outcome = run_program({}, {PLAYER_MACHINE, "mermaid"});
    EXPECT_THAT(outcome, exited(0));
    EXPECT_THAT(file("state_machines.md"), HasSubstr("```mermaid\n" + outcome.out + "```\n"));
}

TEST(PlayerMachine, ExplainsItsUsage)
{
    for (const States& arguments : {States{}, {"svg"}, {"dot", "dot"}}) {
        States line{PLAYER_MACHINE};
        line.insert(line.end(), arguments.begin(), arguments.end());
        const Outcome outcome = run_program({}, line);
        EXPECT_THAT(outcome, exited(2));
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(outcome.err, HasSubstr("usage: player_machine dot|mermaid"));
    }
}

}  // namespace
