// A fresh process finds what it was given, its end and its outputs are reported, and what is wrong
// with it is noticed.
#include "fresh_process.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <sys/wait.h>
#include <syslog.h>
#include <thread>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>

#include "held_resources.h"
#include "private_root.h"
#include "sanitizer.h"
#include "wait_until.h"

using namespace harness;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

std::string content_of(const std::string& path)
{
    std::ostringstream content;
    content << std::ifstream(path).rdbuf();
    return content.str();
}

std::string variable(const char* name)
{
    const char* value = std::getenv(name);
    return value != nullptr ? value : "(unset)";
}

TEST(FreshProcess, ReturningBodyExitsWithZeroAndLeavesNothing)
{
    const Outcome outcome = run_fresh([] {});
    EXPECT_THAT(outcome, exited(0));
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(outcome.log, IsEmpty());
}

TEST(FreshProcess, ExitStatusIsReported)
{
    EXPECT_THAT(run_fresh([] { std::exit(3); }), exited(3));
}

TEST(FreshProcess, SignalIsReported)
{
    EXPECT_THAT(run_fresh([] { std::abort(); }), killed_by(SIGABRT));
    EXPECT_THAT(run_fresh([] { raise(SIGTERM); }), killed_by(SIGTERM));
}

TEST(FreshProcess, WrongDeathIsNotMatched)
{
    const Outcome outcome = run_fresh([] { std::abort(); });
    EXPECT_THAT(outcome, Not(exited(0)));
    EXPECT_THAT(outcome, Not(exited(SIGABRT)));
    EXPECT_THAT(outcome, Not(killed_by(SIGSEGV)));
    EXPECT_THAT(outcome, Not(timed_out()));
    EXPECT_THAT(run_fresh([] { std::exit(SIGABRT); }), Not(killed_by(SIGABRT)));
}

TEST(FreshProcess, TimeLimitEndsTheProcess)
{
    const Outcome outcome = run_fresh({.time_limit = std::chrono::milliseconds(100)}, [] {
        for (;;) {
            pause();
        }
    });
    EXPECT_THAT(outcome, timed_out());
    EXPECT_GE(outcome.duration, std::chrono::milliseconds(100));
}

TEST(FreshProcess, OutputsAreKeptApart)
{
    const Outcome outcome = run_fresh([] {
        std::fputs("to out", stdout);
        std::fputs("to err", stderr);
    });
    EXPECT_THAT(outcome, exited(0));
    EXPECT_EQ(outcome.out, "to out");
    EXPECT_EQ(outcome.err, "to err");
}

TEST(FreshProcess, LargeOutputDoesNotBlockTheBody)
{
    const std::string large(1 << 20, 'x');
    const Outcome outcome = run_fresh([&] {
        std::fputs(large.c_str(), stdout);
        std::fputs(large.c_str(), stderr);
    });
    EXPECT_THAT(outcome, exited(0));
    EXPECT_EQ(outcome.out.size(), large.size());
    EXPECT_EQ(outcome.err.size(), large.size());
}

TEST(FreshProcess, LogRecordsArriveInOrder)
{
    const Outcome outcome = run_fresh([] {
        syslog(LOG_USER | LOG_WARNING, "first");
        syslog(LOG_USER | LOG_INFO, "second");
    });
    EXPECT_THAT(outcome, exited(0));
    EXPECT_THAT(outcome.log_texts(), ElementsAre("first", "second"));
    EXPECT_EQ(outcome.log.at(0).priority, LOG_WARNING);
}

TEST(FreshProcess, FullLogSocketLosesNothing)
{
    constexpr int kRecords = 5000;
    const Outcome outcome = run_fresh([] {
        for (int i = 0; i < kRecords; ++i) {
            syslog(LOG_USER | LOG_INFO, "%d", i);
        }
    });
    EXPECT_THAT(outcome, exited(0));
    ASSERT_EQ(outcome.log.size(), static_cast<std::size_t>(kRecords));
    for (int i = 0; i < kRecords; ++i) {
        EXPECT_EQ(outcome.log[static_cast<std::size_t>(i)].text, std::to_string(i));
    }
}

TEST(FreshProcess, LogSocketCanBeMissing)
{
    const Outcome outcome = run_fresh({.open_log_socket = false}, [] {
        EXPECT_NE(access("/dev/log", F_OK), 0);
        syslog(LOG_USER | LOG_INFO, "nobody listens");
    });
    EXPECT_THAT(outcome, exited(0));
    EXPECT_THAT(outcome.log, IsEmpty());
}

TEST(FreshProcess, EnvironmentIsCleanAndAsChosen)
{
    setenv("COMMON_LOG_LEVEL", "Fatal", 1);
    setenv("TZ", "Asia/Tokyo", 1);
    const Outcome outcome = run_fresh({.env = {{"CHOSEN", "yes"}}}, [] {
        EXPECT_EQ(variable("CHOSEN"), "yes");
        EXPECT_EQ(variable("COMMON_LOG_LEVEL"), "(unset)");
        EXPECT_EQ(variable("TZ"), "UTC");
        EXPECT_NE(variable("PATH"), "(unset)");
        const time_t origin = 0;
        tm local{};
        EXPECT_EQ(localtime_r(&origin, &local)->tm_hour, 0);
    });
    EXPECT_THAT(outcome, exited(0));
    EXPECT_THAT(run_fresh({.env = {{"TZ", "ABC-5"}}}, [] { EXPECT_EQ(variable("TZ"), "ABC-5"); }),
                exited(0));
}

TEST(FreshProcess, FilesArriveAndVanish)
{
    const FreshSetup setup{.files = {{"/config/common/log/settings.txt", "one\n"},
                                     {"/tmp/harness-self-test", "two"},
                                     {"/new-folder/file", ""}},
                           .programs = {{"/oxa/bin/answer", "#!/bin/sh\nexit 42\n"}}};
    const Outcome outcome = run_fresh(setup, [] {
        EXPECT_EQ(content_of("/config/common/log/settings.txt"), "one\n");
        EXPECT_EQ(content_of("/tmp/harness-self-test"), "two");
        EXPECT_EQ(access("/new-folder/file", F_OK), 0);
        EXPECT_EQ(WEXITSTATUS(std::system("/oxa/bin/answer")), 42);
    });
    EXPECT_THAT(outcome, exited(0));
    EXPECT_NE(access("/tmp/harness-self-test", F_OK), 0);
    EXPECT_NE(access("/new-folder", F_OK), 0);
}

TEST(FreshProcess, FileOnTheMachinesDiskIsRefused)
{
    const Outcome outcome = run_fresh({.files = {{"/usr/harness-self-test", "x"}}}, [] {});
    EXPECT_THAT(outcome, exited(kSetupFailed));
    EXPECT_THAT(outcome.err, HasSubstr("/usr/harness-self-test"));
    EXPECT_NE(access("/usr/harness-self-test", F_OK), 0);
}

TEST(FreshProcess, PrepareRunsFirstAndItsDescriptorsAreNotCounted)
{
    int fd = -1;
    const FreshSetup setup{.prepare = [&] { fd = open("/dev/null", O_RDONLY); }};
    EXPECT_THAT(run_fresh(setup, [&] { EXPECT_GE(fd, 0); }), exited(0));
}

TEST(FreshProcess, FailedCheckIsNoticed)
{
    const Outcome outcome = run_fresh([] { EXPECT_EQ(1 + 1, 3) << "arithmetic"; });
    EXPECT_THAT(outcome, Not(exited(0)));
    EXPECT_EQ(outcome.number, kCheckFailed);
    EXPECT_EQ(outcome.failed_checks, 1);
    EXPECT_THAT(outcome.out, HasSubstr("arithmetic"));
}

TEST(FreshProcess, FailedCheckBeforeADeathIsNoticed)
{
    const Outcome outcome = run_fresh([] {
        EXPECT_TRUE(false);
        std::abort();
    });
    EXPECT_EQ(outcome.number, SIGABRT);
    EXPECT_THAT(outcome, Not(killed_by(SIGABRT)));
}

TEST(FreshProcess, FailedCheckBeforeAnExitIsNoticed)
{
    const Outcome outcome = run_fresh([] {
        EXPECT_TRUE(false);
        std::exit(0);
    });
    EXPECT_EQ(outcome.number, kCheckFailed);
    EXPECT_THAT(outcome, Not(exited(0)));
}

TEST(FreshProcess, FailedCheckInAGrandchildIsNoticed)
{
    const Outcome outcome = run_fresh([] {
        const pid_t child = fork();
        if (child == 0) {
            EXPECT_TRUE(false) << "in the grandchild";
            _exit(0);
        }
        EXPECT_EQ(waitpid(child, nullptr, 0), child);
    });
    EXPECT_EQ(outcome.failed_checks, 1);
    EXPECT_THAT(outcome, Not(exited(0)));
}

TEST(FreshProcess, FailedCheckBeforeTheStartIsNotTheBodys)
{
    EXPECT_NONFATAL_FAILURE(EXPECT_TRUE(false), "");
    EXPECT_THAT(run_fresh([] {}), exited(0));
}

void exit_with_3()
{
    std::exit(3);
}

void log_a_record()
{
    syslog(LOG_USER | LOG_ERR, "a record");
}

void print_a_line()
{
    std::puts("a line");
}

void print_an_error()
{
    std::fputs("an error", stderr);
}

TEST(FreshProcess, WellGivesWhatTheBodyLeft)
{
    EXPECT_THAT(well([] { std::puts("a line"); }).out, HasSubstr("a line\n"));
    const Outcome outcome = well({.env = {{"GIVEN", "this"}}}, [] {
        log_a_record();
        EXPECT_EQ(variable("GIVEN"), "this");
    });
    EXPECT_EQ(outcome.log.size(), 1U);
}

TEST(FreshProcess, WellRefusesAnotherEnd)
{
    EXPECT_NONFATAL_FAILURE(well(exit_with_3), "exited with status 3");
}

TEST(FreshProcess, FailureIsShownWhereTheBodyWasRun)
{
    EXPECT_NONFATAL_FAILURE(well(exit_with_3), "fresh_process_test.cpp");
    EXPECT_NONFATAL_FAILURE(run_silently(log_a_record), "fresh_process_test.cpp");
}

TEST(FreshProcess, SilentRunRefusesARecordAndAText)
{
    run_silently([] {});
    EXPECT_NONFATAL_FAILURE(run_silently(exit_with_3), "exited with status 3");
    EXPECT_NONFATAL_FAILURE(run_silently(log_a_record), "a record");
    EXPECT_NONFATAL_FAILURE(run_silently(print_a_line), "a line");
    EXPECT_NONFATAL_FAILURE(run_silently(print_an_error), "an error");
}

FRESH_TEST(FreshProcess, FreshTestRunsInAProcessOfItsOwn)
{
    EXPECT_TRUE(support::is_private("/tmp"));
}

TEST(FreshProcess, ExceptionIsNoticed)
{
    const Outcome outcome = run_fresh([] { throw std::runtime_error("thrown on purpose"); });
    EXPECT_EQ(outcome.number, kCheckFailed);
    EXPECT_THAT(outcome.out, HasSubstr("thrown on purpose"));
}

TEST(FreshProcess, OpenDescriptorIsNoticed)
{
    const Outcome outcome = run_fresh([] { EXPECT_GE(open("/dev/zero", O_RDONLY), 0); });
    EXPECT_EQ(outcome.number, kCheckFailed);
    EXPECT_THAT(outcome.out, HasSubstr("is left open: /dev/zero"));
}

FRESH_TEST(FreshProcess, DescriptorOfARenamedFileIsTheSame)
{
    const int fd = open("/tmp/old", O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
    const HeldResources before = held_resources();
    EXPECT_EQ(rename("/tmp/old", "/tmp/new"), 0);
    EXPECT_EQ(differences_from(before), "");
    EXPECT_EQ(unlink("/tmp/new"), 0);
    EXPECT_EQ(differences_from(before), "");
    const int other = open("/tmp/new", O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
    EXPECT_EQ(dup3(other, fd, O_CLOEXEC), fd);
    close(other);
    EXPECT_THAT(differences_from(before), HasSubstr("is left open: /tmp/new"));
    close(fd);
}

TEST(FreshProcess, ClosedDescriptorIsNoticed)
{
    const Outcome outcome = run_fresh([] { close(STDIN_FILENO); });
    EXPECT_EQ(outcome.number, kCheckFailed);
    EXPECT_THAT(outcome.out, HasSubstr("descriptor 0 was closed"));
}

TEST(FreshProcess, RunningThreadIsNoticed)
{
    const Outcome outcome = run_fresh([] {
        static Event never;
        std::thread([] { EXPECT_TRUE(never.wait()); }).detach();
    });
    EXPECT_EQ(outcome.number, kCheckFailed);
    EXPECT_THAT(outcome.out, HasSubstr("threads: "));
}

TEST(FreshProcess, JoinedThreadIsFine)
{
    EXPECT_THAT(run_fresh([] { std::thread([] {}).join(); }), exited(0));
}

TEST(FreshProcess, RunningChildIsNoticedAndKilled)
{
    Event never;
    const Outcome outcome = run_fresh([&] {
        const pid_t child = fork();
        if (child == 0) {
            _exit(never.wait() ? 0 : 1);
        }
        std::printf("%d", child);
    });
    EXPECT_EQ(outcome.number, kCheckFailed);
    EXPECT_THAT(outcome.out, HasSubstr("a child is still running"));
    const pid_t child = std::stoi(outcome.out);
    EXPECT_TRUE(wait_until([&] {
        return kill(child, 0) != 0 ||
               content_of("/proc/" + std::to_string(child) + "/stat").find(") Z ") !=
                   std::string::npos;
    }));
}

TEST(FreshProcess, ChildNobodyWaitedForIsNoticed)
{
    const Outcome outcome = run_fresh([] {
        const pid_t child = fork();
        if (child == 0) {
            _exit(0);
        }
        siginfo_t info;
        EXPECT_EQ(waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOWAIT), 0);
    });
    EXPECT_EQ(outcome.number, kCheckFailed);
    EXPECT_THAT(outcome.out, HasSubstr("nobody waited for it"));
}

TEST(FreshProcess, ExitHandlersRun)
{
    const Outcome outcome = run_fresh([] { std::atexit([] { std::fputs("handler", stdout); }); });
    EXPECT_THAT(outcome, exited(0));
    EXPECT_EQ(outcome.out, "handler");
}

TEST(FreshProcess, ProgramRunsWithArguments)
{
    const Outcome outcome = run_program({.env = {{"CHOSEN", "yes"}}},
                                        {"sh", "-c", "echo $CHOSEN $1; exit 5", "sh", "argument"});
    EXPECT_THAT(outcome, exited(5));
    EXPECT_EQ(outcome.out, "yes argument\n");
}

TEST(FreshProcess, ProgramThatDoesNotExistIsNoticed)
{
    const Outcome outcome = run_program({}, {"/no/such/program"});
    EXPECT_THAT(outcome, exited(kSetupFailed));
    EXPECT_THAT(outcome.err, HasSubstr("/no/such/program"));
}

TEST(FreshProcess, OutcomeIsPrintedWhole)
{
    std::ostringstream text;
    text << run_fresh([] {
        std::fputs("the output", stdout);
        std::fputs("the complaint", stderr);
        syslog(LOG_USER | LOG_ERR, "the record");
        std::fflush(nullptr);
        raise(SIGKILL);
    });
    EXPECT_THAT(text.str(), HasSubstr("SIGKILL"));
    EXPECT_THAT(text.str(), HasSubstr("the output"));
    EXPECT_THAT(text.str(), HasSubstr("the complaint"));
    EXPECT_THAT(text.str(), HasSubstr("<err> "));
    EXPECT_THAT(text.str(), HasSubstr("the record"));
}

#if defined(HARNESS_ADDRESS_SANITIZER)
TEST(FreshProcess, LostMemoryIsNoticed)
{
    const Outcome outcome = run_fresh([] {
        [[maybe_unused]] static void* volatile block;
        block = std::malloc(123);
        block = nullptr;
    });
    EXPECT_THAT(outcome, exited(kSanitizerReport));
    EXPECT_THAT(outcome.err, HasSubstr("LeakSanitizer"));
}
#endif

}  // namespace
