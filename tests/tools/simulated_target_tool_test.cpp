// The program that runs a command on a simulated target, as its user sees it.
#include <csignal>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "fresh_process.h"

using namespace harness;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

Outcome play(const std::vector<std::string>& arguments, const FreshSetup& setup = {})
{
    std::vector<std::string> line{SIMULATED_TARGET};
    line.insert(line.end(), arguments.begin(), arguments.end());
    return run_program(setup, line);
}

TEST(SimulatedTargetTool, RunsACommandOnATarget)
{
    const Outcome outcome = play({"--", "sh", "-c",
                                  "ls /dev/fs0p0 /dev/etfs1; ls -A /config /config-mfg /log; "
                                  "echo $FLASH_START_LOG_SIZE; mount -u -w /log"});
    EXPECT_THAT(outcome, exited(0));
    EXPECT_EQ(outcome.out, "/dev/etfs1\n/dev/fs0p0\n/config:\n\n/config-mfg:\n\n/log:\n2048\n");
    EXPECT_EQ(outcome.err, "");
}

TEST(SimulatedTargetTool, ShowsTheJournal)
{
    const Outcome outcome = play({"--journal", "--", "sh", "-c", "echo before; mount -u -w /log"});
    EXPECT_THAT(outcome, exited(0));
    EXPECT_EQ(outcome.out, "before\n\nCommands that the target ran:\n  mount -u -w /log\n");
}

TEST(SimulatedTargetTool, CorruptsAPartition)
{
    const Outcome outcome = play({"--corrupt=/log/a", "--corrupt=/config", "--", "sh", "-c",
                                  "readlink /log/a/lost /config/lost"});
    EXPECT_THAT(outcome, exited(0));
    EXPECT_EQ(outcome.out, "nowhere\nnowhere\n");
    const Outcome refused = play({"--corrupt=/usr/none", "--", "true"});
    EXPECT_THAT(refused, exited(125));
    EXPECT_THAT(refused.err, HasSubstr("/usr/none is the machine's own"));
}

TEST(SimulatedTargetTool, LeavesTheDriversDown)
{
    EXPECT_THAT(play({"--down", "--", "sh", "-c", "! ls /dev/fs0 2> /dev/null"}), exited(0));
}

TEST(SimulatedTargetTool, KeepsWhatTheEnvironmentHas)
{
    const Outcome outcome =
        play({"--", "sh", "-c", "pidin; echo $FLASH_START_ROOT_SIZE"},
             {.env = {{"FLASH_START_DRIVER_NAME", "my-driver"}, {"FLASH_START_ROOT_SIZE", "7"}}});
    EXPECT_THAT(outcome, exited(0));
    EXPECT_THAT(outcome.out, HasSubstr(" my-driver\n"));
    EXPECT_THAT(outcome.out, EndsWith("\n7\n"));
}

TEST(SimulatedTargetTool, EndsAsTheCommandDoes)
{
    EXPECT_THAT(play({"--", "sh", "-c", "exit 7"}), exited(7));
    EXPECT_THAT(play({"--", "sh", "-c", "kill -9 $$"}), exited(128 + SIGKILL));
    // In a folder that the user may not search, a program might be: that is another failure.
    const Outcome none = play({"--", "no-such-command"}, {.env = {{"PATH", "/tmp"}}});
    EXPECT_THAT(none, exited(127));
    EXPECT_THAT(none.err, HasSubstr("cannot run no-such-command: No such file"));
    const Outcome folder = play({"--", "/tmp"});
    EXPECT_THAT(folder, exited(126));
}

TEST(SimulatedTargetTool, SignalsThatItsCallerIgnoresDoNotMatter)
{
    const FreshSetup setup{.prepare = [] {
        std::signal(SIGCHLD, SIG_IGN);
        std::signal(SIGTERM, SIG_IGN);
    }};
    EXPECT_THAT(play({"--", "sh", "-c", "mount -u -w /log && exit 7"}, setup), exited(7));
}

TEST(SimulatedTargetTool, ExplainsItsUsage)
{
    for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
             {}, {"--"}, {"ls"}, {"--bad", "--", "ls"}, {"--corrupt=log", "--", "ls"}}) {
        const Outcome outcome = play(arguments);
        EXPECT_THAT(outcome, exited(2));
        EXPECT_THAT(outcome.out, IsEmpty());
        EXPECT_THAT(outcome.err, HasSubstr("usage: simulated_target"));
    }
    const Outcome help = play({"--help"});
    EXPECT_THAT(help, exited(0));
    EXPECT_THAT(help.out, HasSubstr("usage: simulated_target"));
}

}  // namespace
