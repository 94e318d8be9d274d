// The command line tool as its user sees it.
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>

#include <common/common_version.h>

#include "fresh_process.h"
#include "log_socket.h"
#include "wait_until.h"

using namespace harness;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace {

using Words = std::vector<std::string>;

const FreshSetup kNoDaemon{.open_log_socket = false};

Words line(const Words& arguments)
{
    Words words{COMMONCTL};
    words.insert(words.end(), arguments.begin(), arguments.end());
    return words;
}

Outcome commonctl(const Words& arguments, const FreshSetup& setup = kNoDaemon)
{
    return run_program(setup, line(arguments));
}

/// Runs "listen" over a script that knows how to send records.
Outcome listen_to(const std::string& script, const Words& options = {},
                  const FreshSetup& setup = kNoDaemon)
{
    Words arguments{"listen"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    for (const std::string word : {"--", "sh", "-c"}) {
        arguments.push_back(word);
    }
    arguments.push_back("send() { " LOG_SENDER " \"$@\"; }; " + script);
    return commonctl(arguments, setup);
}

std::string content_of(const std::string& path)
{
    std::ostringstream content;
    content << std::ifstream(path).rdbuf();
    return content.str();
}

TEST(CommonctlListen, PrintsEachRecordOnALine)
{
    const Outcome outcome = listen_to("send 3 'an error'; send 6 information");
    EXPECT_THAT(outcome, exited(0));
    EXPECT_EQ(outcome.out, "err     sender: an error\ninfo    sender: information\n");
    EXPECT_EQ(outcome.err, "");
}

TEST(CommonctlListen, LosesNothingOfAFlood)
{
    const Outcome outcome = listen_to("send 6 record 5000");
    EXPECT_THAT(outcome, exited(0));
    std::string expected;
    for (int i = 0; i < 5000; ++i) {
        expected += "info    sender: record " + std::to_string(i) + "\n";
    }
    EXPECT_EQ(outcome.out, expected);
}

TEST(CommonctlListen, ControlCharactersAreShown)
{
    const Outcome outcome = listen_to("send 6 \"$(printf 'a\\nb\\033[1mc\\177\\td')\"");
    EXPECT_THAT(outcome, exited(0));
    EXPECT_EQ(outcome.out, "info    sender: a\\x0ab\\x1b[1mc\\x7f\td\n");
}

TEST(CommonctlListen, OutputsOfTheCommandAreItsOwn)
{
    const Outcome outcome =
        listen_to("echo to out; echo to err >&2; send 6 record; cat /tmp/records || exit 9",
                  {"--output=/tmp/records"});
    EXPECT_EQ(outcome.err, "to err\n");
    EXPECT_THAT(outcome.out, StartsWith("to out\n"));
    EXPECT_THAT(outcome, exited(0));

    const FreshSetup setup{.open_log_socket = false};
    const Outcome file =
        run_program(setup, {"sh", "-c",
                            COMMONCTL " listen --output /tmp/records -- " LOG_SENDER
                                      " 6 kept && cat /tmp/records"});
    EXPECT_EQ(file.out, "info    sender: kept\n");
}

TEST(CommonctlListen, ExitsLikeTheCommand)
{
    EXPECT_THAT(listen_to("exit 7"), exited(7));
    EXPECT_THAT(listen_to("kill -9 $$"), exited(128 + SIGKILL));
    const Outcome missing = commonctl({"listen", "--", "/no/such/program"});
    EXPECT_THAT(missing, exited(127));
    EXPECT_THAT(missing.err, HasSubstr("/no/such/program"));
    EXPECT_THAT(commonctl({"listen", "--", "/usr"}), exited(126));
}

TEST(CommonctlListen, CommandHasOrdinarySignals)
{
    const Outcome outcome = listen_to(
        "grep -E '^Sig(Blk|Ign)' /proc/self/status | grep -v '0000000000000000$'; exit 0");
    EXPECT_THAT(outcome, exited(0));
    EXPECT_EQ(outcome.out, "");
}

TEST(CommonctlListen, SignalIsPassedOnToTheCommand)
{
    const Outcome outcome = listen_to("trap 'send 5 got; exit 3' TERM; kill -TERM $PPID; "
                                      "while :; do sleep 0.01; done");
    EXPECT_THAT(outcome, exited(3));
    EXPECT_EQ(outcome.out, "notice  sender: got\n");
}

TEST(CommonctlListen, RefusesALiveDaemon)
{
    const Outcome outcome = commonctl({"listen", "--", "true"}, {});
    EXPECT_THAT(outcome, exited(1));
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("/dev/log"), HasSubstr("already")));
}

TEST(CommonctlListen, PrivateRootIsNextToALiveDaemon)
{
    const Outcome outcome =
        listen_to("send 6 record; echo $PWD > /config/file", {"--private-root"}, {});
    EXPECT_THAT(outcome, exited(0));
    EXPECT_EQ(outcome.out, "info    sender: record\n");
    EXPECT_THAT(outcome.log, IsEmpty());
}

TEST(CommonctlListen, ReplacesAStaleSocketAndRemovesItsOwn)
{
    FreshSetup setup{.open_log_socket = false};
    setup.prepare = [] { LogSocket().bind_at("/dev/log"); };
    const Outcome outcome = run_program(
        setup, {"sh", "-c",
                COMMONCTL " listen -- " LOG_SENDER " 6 record && test ! -e /dev/log && echo gone"});
    EXPECT_THAT(outcome, exited(0));
    EXPECT_EQ(outcome.out, "info    sender: record\ngone\n");
}

TEST(CommonctlListen, LeavesOtherFilesAlone)
{
    const FreshSetup setup{.files = {{"/dev/log", "content"}}, .open_log_socket = false};
    const Outcome outcome =
        run_program(setup, {"sh", "-c", COMMONCTL " listen -- true; echo $?; cat /dev/log"});
    EXPECT_EQ(outcome.out, "1\ncontent");
    EXPECT_THAT(outcome.err, HasSubstr("/dev/log is there already"));
}

TEST(CommonctlListen, SocketCanBeElsewhere)
{
    const Outcome outcome =
        commonctl({"listen", "--socket", "/tmp/socket", "--", "test", "-S", "/tmp/socket"});
    EXPECT_THAT(outcome, exited(0));
    const Outcome nowhere = commonctl({"listen", "--socket=/no/such/folder/log", "--", "true"});
    EXPECT_THAT(nowhere, exited(1));
    EXPECT_THAT(nowhere.err, HasSubstr("/no/such/folder/log"));
    const Outcome too_long =
        commonctl({"listen", "--socket=/tmp/" + std::string(200, 'x'), "--", "true"});
    EXPECT_THAT(too_long, exited(1));
}

TEST(CommonctlListen, ColorsOnlyWhereAskedOrOnATerminal)
{
    constexpr const char* kScript = "send 3 red; send 6 plain";
    constexpr const char* kColored = "\033[31merr     sender: red\033[0m\ninfo    sender: plain\n";
    EXPECT_EQ(listen_to(kScript, {"--color=always"}).out, kColored);
    EXPECT_THAT(listen_to(kScript, {"--color", "auto"}).out, Not(HasSubstr("\033")));
    EXPECT_THAT(listen_to(kScript, {"--color=never"}).out, Not(HasSubstr("\033")));
}

/// What reaches a terminal that is the standard output of "listen" over a sender.
std::string seen_on_terminal(const FreshSetup& setup, const std::string& option)
{
    const int master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    EXPECT_EQ(grantpt(master), 0);
    EXPECT_EQ(unlockpt(master), 0);
    const int terminal = open(ptsname(master), O_RDWR | O_NOCTTY);
    EXPECT_GE(terminal, 0);
    const Outcome outcome =
        run_program(setup, {"sh", "-c",
                            "exec " COMMONCTL " listen " + option + " -- " LOG_SENDER " 3 red >&" +
                                std::to_string(terminal)});
    EXPECT_THAT(outcome, exited(0));
    char text[200];
    const ssize_t length = read(master, text, sizeof text);
    close(terminal);
    close(master);
    return {text, length > 0 ? static_cast<std::size_t>(length) : 0};
}

TEST(CommonctlListen, ColorsOnATerminal)
{
    FreshSetup setup{.env = {{"TERM", "xterm"}}, .open_log_socket = false};
    EXPECT_THAT(seen_on_terminal(setup, ""), StartsWith("\033[31merr "));
    EXPECT_THAT(seen_on_terminal(setup, "--color=never"), StartsWith("err "));
    setup.env["NO_COLOR"] = "1";
    EXPECT_THAT(seen_on_terminal(setup, ""), StartsWith("err "));
    setup.env = {{"TERM", "dumb"}};
    EXPECT_THAT(seen_on_terminal(setup, ""), StartsWith("err "));
}

/// A "listen" without a command that is left running by the calling process.
class Listener {
public:
    explicit Listener(const Words& options)
    {
        Words words = line({"listen"});
        words.insert(words.end(), options.begin(), options.end());
        std::vector<char*> pointers;
        for (auto& word : words) {
            pointers.push_back(word.data());
        }
        pointers.push_back(nullptr);
        pid_ = fork();
        if (pid_ == 0) {
            execv(pointers[0], pointers.data());
            _exit(127);
        }
    }

    pid_t pid() const { return pid_; }

    int status() const
    {
        int status = -1;
        EXPECT_EQ(waitpid(pid_, &status, 0), pid_);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    pid_t pid_;
};

bool exists(const std::string& path)
{
    return access(path.c_str(), F_OK) == 0;
}

TEST(CommonctlListen, WithoutACommandListensUntilASignal)
{
    for (const int signal : {SIGINT, SIGTERM}) {
        const Outcome outcome = run_fresh(kNoDaemon, [&] {
            const Listener listener({"--output=/tmp/records"});
            ASSERT_TRUE(wait_until([] { return exists("/dev/log"); }));
            EXPECT_EQ(std::system(LOG_SENDER " 4 record"), 0);
            EXPECT_TRUE(wait_until(
                [] { return content_of("/tmp/records") == "warning sender: record\n"; }));
            EXPECT_EQ(kill(listener.pid(), signal), 0);
            EXPECT_EQ(listener.status(), 0);
            EXPECT_FALSE(exists("/dev/log"));
        });
        EXPECT_THAT(outcome, exited(0)) << signal;
    }
}

TEST(CommonctlListen, OutputThatFailsEndsListeningButNotACommand)
{
    EXPECT_THAT(listen_to("send 6 record; exit 4", {"--output=/dev/full"}), exited(4));
    const Outcome outcome = well(kNoDaemon, [] {
        const Listener listener({"--output=/dev/full"});
        ASSERT_TRUE(wait_until([] { return exists("/dev/log"); }));
        EXPECT_EQ(std::system(LOG_SENDER " 4 record"), 0);
        EXPECT_EQ(listener.status(), 1);
        EXPECT_FALSE(exists("/dev/log"));
    });
    EXPECT_THAT(outcome.err, HasSubstr("takes no more records"));
}

TEST(Commonctl, HelpIsThere)
{
    for (const Words& arguments : {Words{"help"}, {"--help"}, {"-h"}}) {
        const Outcome outcome = commonctl(arguments);
        EXPECT_THAT(outcome, exited(0));
        EXPECT_THAT(outcome.out, AllOf(StartsWith("Usage: commonctl"), HasSubstr("  listen ")));
        EXPECT_EQ(outcome.err, "");
    }
    for (const Words& arguments : {Words{"help", "listen"}, {"listen", "--help"}}) {
        EXPECT_THAT(commonctl(arguments).out,
                    StartsWith("Usage: commonctl listen [OPTION...] [-- COMMAND"));
    }
}

TEST(Commonctl, TellsItsVersion)
{
    const Outcome outcome = commonctl({"--version"});
    EXPECT_THAT(outcome, exited(0));
    EXPECT_EQ(outcome.out, "commonctl " COMMON_VERSION "\n");
}

TEST(Commonctl, WrongUsageIsExplained)
{
    for (const Words& arguments : {Words{},
                                   {"no-such"},
                                   {"help", "no-such"},
                                   {"help", "listen", "listen"},
                                   {"listen", "--no-such"},
                                   {"listen", "true"},
                                   {"listen", "--"},
                                   {"listen", "--", ""},
                                   {"listen", "--color"},
                                   {"listen", "--color=blue"},
                                   {"listen", "--socket="},
                                   {"listen", "--output"}}) {
        const Outcome outcome = commonctl(arguments);
        EXPECT_THAT(outcome, exited(2)) << testing::PrintToString(arguments);
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(outcome.err,
                    AllOf(StartsWith("commonctl: "), HasSubstr("commonctl help"), EndsWith("\n")));
    }
}

}  // namespace
