// "commonctl serve" as it is started and ended.
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>

#include "client.h"
#include "fresh_process.h"
#include "wait_until.h"

using namespace harness;
using testing::AllOf;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

namespace {

using Words = std::vector<std::string>;

/// A running "serve", whose input the test writes.
class Serving {
public:
    explicit Serving(Words options)
    {
        options.insert(options.begin(), {SERVE, "serve", "--port", "0"});
        std::vector<char*> pointers;
        for (auto& word : options) {
            pointers.push_back(word.data());
        }
        pointers.push_back(nullptr);
        int in[2];
        int out[2];
        EXPECT_EQ(pipe2(in, O_CLOEXEC), 0);
        EXPECT_EQ(pipe2(out, O_CLOEXEC), 0);
        pid_ = fork();
        if (pid_ == 0) {
            dup2(in[0], STDIN_FILENO);
            dup2(out[1], STDOUT_FILENO);
            execv(pointers[0], pointers.data());
            _exit(127);
        }
        close(in[0]);
        close(out[1]);
        input_ = in[1];
        output_ = fdopen(out[0], "re");
        char line[200] = "";
        EXPECT_NE(fgets(line, sizeof line, output_), nullptr);
        address_ = line;
    }
    ~Serving()
    {
        close(input_);
        fclose(output_);
    }
    Serving(const Serving&) = delete;
    Serving& operator=(const Serving&) = delete;

    void say(const std::string& line) const
    {
        EXPECT_EQ(write(input_, line.data(), line.size()), static_cast<ssize_t>(line.size()));
    }

    /// @return its exit status, when it has ended, and nothing else was printed.
    int end(int signal)
    {
        EXPECT_EQ(kill(pid_, signal), 0);
        EXPECT_EQ(fgetc(output_), EOF);
        int status = -1;
        EXPECT_EQ(waitpid(pid_, &status, 0), pid_);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    const std::string& address() const { return address_; }
    int port() const
    {
        return std::atoi(address_.c_str() + address_.rfind(':', address_.find('#')) + 1);
    }

private:
    pid_t pid_;
    int input_;
    FILE* output_;
    std::string address_;
};

FRESH_TEST(ServeCommand, PrintsItsAddressAndEndsBySignals)
{
    for (const int signal : {SIGINT, SIGTERM}) {
        Serving serving({"-"});
        EXPECT_THAT(serving.address(), MatchesRegex("http://127\\.0\\.0\\.1:[0-9]+/\n"));
        EXPECT_EQ(status_of(ask(serving.port(), request("GET", "/"))), 200);
        EXPECT_EQ(serving.end(signal), 0);
    }
}

FRESH_TEST(ServeCommand, ShowsWhatComes)
{
    Serving serving({"-"});
    const std::string poll = request("GET", "/api/records?after=0&wait=20");
    Client client(serving.port());
    EXPECT_TRUE(client.send_text(poll));
    serving.say("[20778.10:28:54.234634097], FINDER, 4322, scanner, 4329, Info, scan.cpp, below "
                "173, Found\n");
    EXPECT_THAT(client.answer(),
                AllOf(HasSubstr(R"("message":"Found")"), HasSubstr(R"("time":1795256934234634)")));
    EXPECT_EQ(status_of(ask(serving.port(), request("GET", "/api/rates"))), 200);
    EXPECT_EQ(serving.end(SIGTERM), 0);
}

TEST(ServeCommand, GoesOnWhenTheSourceHasEnded)
{
    const FreshSetup setup{.files = {{"/tmp/records", "one\ntwo\n"}}};
    well(setup, [] {
        Serving serving({"/tmp/records"});
        EXPECT_TRUE(wait_until([&] {
            return body_of(ask(serving.port(), request("GET", "/api/records"))).find("two") !=
                   std::string::npos;
        }));
        EXPECT_THAT(ask(serving.port(), request("GET", "/api/status")), HasSubstr("/tmp/records"));
        EXPECT_EQ(serving.end(SIGTERM), 0);
    });
}

FRESH_TEST(ServeCommand, AnAddressForChangesHasAToken)
{
    Serving serving({"--allow-changes", "-"});
    EXPECT_THAT(serving.address(),
                MatchesRegex("http://127\\.0\\.0\\.1:[0-9]+/#token=[0-9a-f]{32}\n"));
    EXPECT_EQ(serving.end(SIGTERM), 0);
    Serving open({"--bind", "127.0.0.1", "-"});
    EXPECT_THAT(open.address(),
                MatchesRegex("http://127\\.0\\.0\\.1:[0-9]+/#token=[0-9a-f]{32}\n"));
    EXPECT_EQ(open.end(SIGTERM), 0);
}

TEST(ServeCommand, WrongUsageIsExplained)
{
    for (const Words& options : {Words{"--port"},
                                 {"--port", "65536"},
                                 {"--port", "-1"},
                                 {"--port", "http"},
                                 {"--bind", "example.com"},
                                 {"--bind", ""},
                                 {"--journal", "file"},
                                 {"--socket", "/dev/log", "file"},
                                 {"--journal", "--socket", "/dev/log"},
                                 {"--no-such"}}) {
        Words words{SERVE, "serve"};
        words.insert(words.end(), options.begin(), options.end());
        const Outcome outcome = run_program({}, words);
        EXPECT_THAT(outcome, exited(2)) << testing::PrintToString(options);
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(outcome.err, StartsWith("commonctl: "));
    }
}

TEST(ServeCommand, WhatCannotBeServedIsTold)
{
    const Outcome missing = run_program({}, {SERVE, "serve", "--port", "0", "/no/such/file"});
    EXPECT_THAT(missing, exited(1));
    EXPECT_THAT(missing.err, HasSubstr("/no/such/file"));
    const Outcome elsewhere = run_program({}, {SERVE, "serve", "--bind", "192.0.2.1"});
    EXPECT_THAT(elsewhere, exited(1));
    EXPECT_THAT(elsewhere.err, HasSubstr("192.0.2.1"));
}

TEST(ServeCommand, HelpFitsTheTerminal)
{
    const Outcome outcome = run_program({}, {SERVE, "serve", "--help"});
    EXPECT_THAT(outcome, exited(0));
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("--allow-changes"), HasSubstr("ssh -L")));
}

}  // namespace
