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
#include "serving.h"
#include "wait_until.h"

using namespace harness;
using testing::AllOf;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

namespace {

FRESH_TEST(ServeCommand, PrintsItsAddressAndEndsBySignals)
{
    for (const int signal : {SIGINT, SIGTERM}) {
        Serving serving(SERVE, {"-"});
        EXPECT_THAT(serving.address(), MatchesRegex("http://127\\.0\\.0\\.1:[0-9]+/\n"));
        EXPECT_EQ(status_of(ask(serving.port(), request("GET", "/"))), 200);
        EXPECT_EQ(serving.end(signal), 0);
    }
}

FRESH_TEST(ServeCommand, ShowsWhatComes)
{
    Serving serving(SERVE, {"-"});
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
        Serving serving(SERVE, {"/tmp/records"});
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
    Serving serving(SERVE, {"--allow-changes", "-"});
    EXPECT_THAT(serving.address(),
                MatchesRegex("http://127\\.0\\.0\\.1:[0-9]+/#token=[0-9a-f]{32}\n"));
    EXPECT_EQ(serving.end(SIGTERM), 0);
    Serving open(SERVE, {"--bind", "127.0.0.1", "-"});
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
