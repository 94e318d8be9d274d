// "top" as its user sees it.
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <string>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>

#include "fresh_process.h"
#include "pseudo_terminal.h"
#include "wait_until.h"

using namespace harness;
using testing::AllOf;
using testing::ContainsRegex;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

namespace {

using Words = std::vector<std::string>;

constexpr const char* kLog = "/log/messages";
constexpr const char* kEntered = "\033[?1049h\033[?7l\033[?25l";
constexpr const char* kLeft = "\033[?25h\033[?7h\033[?1049l";

/// A line of a log, on 2026-11-22 at so many seconds past ten.
std::string line_of(int second, const std::string& zone, const std::string& level = "Info",
                    const std::string& site = "main.cpp, run 7")
{
    char time[40];
    std::snprintf(time, sizeof time, "20779.10:%02d:%02d.000000000", second / 60, second % 60);
    return "Nov 22 10:00:00 target player[12]: [" + std::string(time) + "], " + zone +
           ", 12, player, 13, " + level + ", " + site + ", text\n";
}

FreshSetup with_log(const std::string& content)
{
    return {.env = {{"TERM", "xterm"}}, .files = {{kLog, content}}, .open_log_socket = false};
}

Outcome top(const Words& options, const FreshSetup& setup = with_log(""))
{
    Words words{COMMONCTL, "top"};
    words.insert(words.end(), options.begin(), options.end());
    return run_program(setup, words);
}

/// Runs a script; "top" is the sub-command.
Outcome script(const std::string& text, const FreshSetup& setup = with_log(""))
{
    return run_program(setup, {"sh", "-c", "top() { " COMMONCTL " top \"$@\"; }; " + text});
}

void append(const std::string& text)
{
    std::ofstream(kLog, std::ios::app) << text;
}

TEST(CommonctlTop, ReportsAFile)
{
    const Outcome outcome =
        top({kLog}, with_log(line_of(0, "TUNER") + line_of(1, "TUNER") + line_of(1, "MEDIA")));
    EXPECT_THAT(outcome, exited(0));
    EXPECT_EQ(outcome.err, "");
    const std::string size = std::to_string(3 * (line_of(0, "TUNER").size() - 1));
    EXPECT_THAT(outcome.out,
                AllOf(StartsWith("/log/messages: 3 records, " + size +
                                 " B\n"
                                 "From 2026-11-22 10:00:00 to 2026-11-22 10:00:02, 2 seconds: 1.5 "
                                 "records/s, "),
                      HasSubstr("  PROCESS\n         3  100.0%        1.5 "),
                      HasSubstr("  player[12]\n"), HasSubstr("\n         2   66.7%        1.0 "),
                      HasSubstr("  TUNER\n"), HasSubstr("  Info\n"),
                      HasSubstr("  main.cpp:7 run\n"), Not(HasSubstr("\033"))));
}

TEST(CommonctlTop, ReportsOneThingOnlyInAsManyLinesAsAsked)
{
    std::string log;
    for (int i = 0; i < 30; ++i) {
        log += line_of(0, "ZONE" + std::to_string(i));
    }
    const auto lines = [&](const Words& options) {
        const Outcome outcome = top(options, with_log(log));
        return std::count(outcome.out.begin(), outcome.out.end(), '\n');
    };
    EXPECT_EQ(lines({"--by=zone", kLog}), 4 + 20 + 1);
    EXPECT_EQ(lines({"--by=zone", "--limit=3", kLog}), 4 + 3 + 1);
    EXPECT_EQ(lines({"--by=zone", "--limit=0", kLog}), 4 + 30);
    for (const std::string by : {"process", "zone", "level", "site"}) {
        EXPECT_THAT(top({"--by", by, "-o", "json", kLog}, with_log(log)).out,
                    HasSubstr(by == "process" ? "\"processes\":" : "\"" + by + "s\":"));
    }
    EXPECT_THAT(top({"--by=level", "-o", "json", kLog}, with_log(log)).out,
                Not(HasSubstr("\"zones\":")));
}

TEST(CommonctlTop, ReportsStandardInputAndSeveralFiles)
{
    const Outcome outcome =
        script("cat /log/messages | top -o json - && top -o json /log/messages /log/other",
               {.files = {{kLog, line_of(0, "A")}, {"/log/other", line_of(5, "B")}},
                .open_log_socket = false});
    EXPECT_THAT(outcome, exited(0));
    EXPECT_THAT(outcome.out, MatchesRegex("\\{\"source\":\"standard input\",\"records\":1,.*\n"
                                          "\\{\"source\":\"/log/messages, /log/other\","
                                          "\"records\":2,.*\"seconds\":6,.*\n"));
}

TEST(CommonctlTop, ReportsTheJournal)
{
    FreshSetup setup = with_log("");
    setup.env["PATH"] = "/tmp/bin:/usr/bin:/bin";
    setup.programs["/tmp/bin/journalctl"] =
        "#!/bin/sh\nprintf '__CURSOR=a\\nMESSAGE=text\\n\\n__CURSOR=b\\nMESSAGE=more\\n\\n'\n";
    const Outcome outcome = top({"--journal"}, setup);
    EXPECT_THAT(outcome, exited(0));
    EXPECT_THAT(outcome.out, StartsWith("the journal: 2 records, "));
}

TEST(CommonctlTop, ReportsInColorOnlyWhenAsked)
{
    const FreshSetup setup = with_log(line_of(0, "TUNER"));
    EXPECT_THAT(top({"--color=always", kLog}, setup).out, HasSubstr("\033[1m"));
    EXPECT_THAT(top({"--color=always", "-o", "json", kLog}, setup).out, Not(HasSubstr("\033")));
}

TEST(CommonctlTop, WrongUsageIsExplained)
{
    for (const Words& options : {Words{"--by=size", kLog},
                                 {"-o", "pdf", kLog},
                                 {"--limit=-1", kLog},
                                 {"--limit=x", kLog},
                                 {"--interval=0", kLog},
                                 {"--interval=nan", kLog},
                                 {"--interval=3601", kLog},
                                 {"--for=0", "-f", kLog},
                                 {"--for=inf", "-f", kLog},
                                 {"--for=1", kLog},
                                 {"--journal", kLog},
                                 {"--socket=/tmp/log", kLog},
                                 {"--journal", "--socket=/tmp/log"},
                                 {"--no-such"}}) {
        const Outcome outcome = top(options);
        EXPECT_THAT(outcome, exited(2)) << testing::PrintToString(options);
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(outcome.err, MatchesRegex("commonctl: [^\n]+\n"));
    }
}

TEST(CommonctlTop, AFailureIsExplained)
{
    const Outcome missing = top({"/log/missing"});
    EXPECT_THAT(missing, exited(1));
    EXPECT_THAT(missing.err, MatchesRegex("commonctl: [^\n]*/log/missing[^\n]*\n"));
    const Outcome full = script("top /log/messages > /dev/full", with_log(line_of(0, "A")));
    EXPECT_THAT(full, exited(1));
    EXPECT_THAT(full.err, MatchesRegex("commonctl: cannot write the report: [^\n]+\n"));
    const Outcome live =
        script("cat /log/messages | top -f - > /dev/full", with_log(line_of(0, "A")));
    EXPECT_THAT(live, exited(1));
    EXPECT_THAT(live.err, MatchesRegex("commonctl: cannot write: [^\n]+\n"));
}

TEST(CommonctlTop, ABrokenPipeEndsItQuietly)
{
    const Outcome outcome =
        script("mkfifo /tmp/pipe; (top -f --interval=0.1 /log/messages > /tmp/pipe; echo $? >&2) &"
               " head -n 1 < /tmp/pipe > /dev/null; wait");
    EXPECT_EQ(outcome.err, std::to_string(128 + SIGPIPE) + "\n");
}

TEST(CommonctlTop, WithoutATerminalItPrintsBlocks)
{
    const Outcome outcome = script("cat /log/messages | top -f -",
                                   with_log(line_of(0, "TUNER") + line_of(0, "MEDIA") + "other\n"));
    EXPECT_THAT(outcome, exited(0));
    EXPECT_THAT(outcome.out,
                MatchesRegex("commonctl top  [-0-9 :]+  [0-9.]+ records/s  [0-9.]+ k?M?B/s  3 in "
                             "[0-9:]+  \\(no more records\\)\n"
                             "  RECORDS/S     BYTES/S    RECORDS     BYTES  PROCESS\n"
                             ".*  player\\[12\\]\n"
                             ".* 1       5 B  -\n"
                             "\n"));
    const Outcome by_zone = script("cat /log/messages | top -f --limit=2 --by=zone -",
                                   with_log(line_of(0, "A") + line_of(0, "B") + line_of(0, "C")));
    EXPECT_THAT(by_zone.out,
                AllOf(HasSubstr("  ZONE\n"), HasSubstr("  A\n"), HasSubstr("  (others)\n\n")));
}

TEST(CommonctlTop, BlocksComeByTheInterval)
{
    const Outcome outcome =
        script("top -f --interval=0.1 /log/messages | head -n 7", with_log("old\n"));
    EXPECT_THAT(outcome, exited(0));
    EXPECT_THAT(outcome.out, MatchesRegex("(commonctl top  [^\n]+  0 in [0-9:]+\n"
                                          "  RECORDS/S [^\n]+  PROCESS\n\n)+"
                                          "commonctl top  [^\n]+\n"));
}

TEST(CommonctlTop, ItEndsWhenItsTimeIsOver)
{
    const Outcome outcome = top({"-f", "--interval=3600", "--for=0.5", kLog});
    EXPECT_THAT(outcome, exited(0));
    EXPECT_GE(outcome.duration, std::chrono::milliseconds(500));
    EXPECT_THAT(outcome.out, MatchesRegex("commonctl top  [^\n]+\n[^\n]+PROCESS\n\n"));
}

/// Runs "top" over a pipe whose other end stays open, until it has read what was put in.
void take_in(const Words& options, int signal)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const pid_t program = fork();
    if (program == 0) {
        dup2(ends[0], STDIN_FILENO);
        close(ends[0]);
        close(ends[1]);
        Words words{COMMONCTL, "top", "-f", "-"};
        words.insert(words.end(), options.begin(), options.end());
        std::vector<char*> pointers;
        for (auto& word : words) {
            pointers.push_back(word.data());
        }
        pointers.push_back(nullptr);
        execv(pointers[0], pointers.data());
        _exit(127);
    }
    const std::string line = line_of(0, "TUNER");
    EXPECT_EQ(write(ends[1], line.data(), line.size()), static_cast<ssize_t>(line.size()));
    EXPECT_TRUE(wait_until([&] {
        int unread = -1;
        return ioctl(ends[0], FIONREAD, &unread) == 0 && unread == 0;
    }));
    EXPECT_EQ(kill(program, signal), 0);
    int status = -1;
    EXPECT_EQ(waitpid(program, &status, 0), program);
    EXPECT_EQ(status, 0);
    close(ends[0]);
    close(ends[1]);
}

TEST(CommonctlTop, ALiveReportComesWhenItIsEnded)
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        const Outcome outcome = well(with_log(""), [&] { take_in({"-o", "json"}, signal); });
        EXPECT_THAT(outcome.out, AllOf(StartsWith("{\"source\":\"standard input\",\"records\":1,"),
                                       HasSubstr("\"clock_jumps\":"), EndsWith("}\n")));
    }
}

TEST(CommonctlTop, ALiveReportCoversItsTime)
{
    const Outcome outcome = top({"-f", "--for=2", "-o", "json", kLog}, with_log(line_of(0, "A")));
    EXPECT_THAT(outcome, exited(0));
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("\"records\":0,"), HasSubstr("\"begin\":"),
                                   Not(HasSubstr("\"begin\":null")),
                                   ContainsRegex("\"seconds\":([2-9]|[1-9][0-9]+),\"untimed\"")));
}

/// Runs a body with a terminal on which "top -f" shows a page.
void on_terminal(const Words& options,
                 const std::function<void(PseudoTerminal& terminal, pid_t program)>& body)
{
    PseudoTerminal terminal(10, 80);
    const termios before = terminal.modes();
    const Outcome outcome = well(with_log(line_of(0, "OLD")), [&] {
        Words words{COMMONCTL, "top", "-f", kLog};
        words.insert(words.end(), options.begin(), options.end());
        const pid_t program = terminal.start(words);
        terminal.shows("RECORDS/S");
        EXPECT_THAT(terminal.written(), StartsWith(kEntered));
        EXPECT_EQ(terminal.modes().c_lflag & (ICANON | ECHO), 0u);
        body(terminal, program);
        EXPECT_TRUE(terminal.modes() == before);
        EXPECT_THAT(terminal.written(), EndsWith(kLeft));
    });
}

TEST(CommonctlTopTerminal, ShowsWhatIsWrittenFromNowOn)
{
    on_terminal({"--interval=0.1"}, [](PseudoTerminal& terminal, pid_t) {
        terminal.shows("  0 in 00:");
        append(line_of(0, "NEW") + line_of(0, "NEW"));
        terminal.shows("  2 in 00:");
        terminal.shows("  player[12]\033[K");
        terminal.type("q");
        EXPECT_EQ(terminal.wait(), 0);
    });
}

TEST(CommonctlTopTerminal, KeysChooseTheTable)
{
    on_terminal({"--interval=3600", "--by=level"}, [](PseudoTerminal& terminal, pid_t) {
        terminal.shows("  LEVEL");
        for (const auto& [key, head] : {std::pair("z", "  ZONE"), std::pair("s", "  CALL SITE"),
                                        std::pair("p", "  PROCESS"), std::pair("l", "  LEVEL")}) {
            terminal.type(key);
            terminal.shows(head);
        }
        terminal.type("xq");  // unknown keys do nothing
        EXPECT_EQ(terminal.wait(), 0);
    });
}

/// The lines of a page without what steers the terminal.
std::vector<std::string> lines_of(std::string page)
{
    std::vector<std::string> lines;
    page.erase(0, std::string("\033[H").size());
    for (std::size_t end = 0; (end = page.find("\033[K")) != page.npos;) {
        std::string line = page.substr(0, end);
        for (const std::string steering : {"\r", "\r", "\n", "\033[1m", "\033[0m"}) {
            if (const auto at = line.find(steering); at != line.npos) {
                line.erase(at, steering.size());
            }
        }
        lines.push_back(line);
        page.erase(0, end + std::string("\033[K").size());
    }
    return lines;
}

TEST(CommonctlTopTerminal, FitsTheTerminalAlsoWhenItsSizeChanges)
{
    on_terminal({"--by=zone", "--interval=0.1"}, [](PseudoTerminal& terminal, pid_t) {
        std::string records;
        for (int i = 0; i < 50; ++i) {
            records += line_of(0, "ZONE_WITH_A_LONG_NAME_" + std::to_string(i));
        }
        append(records);
        for (const auto& [rows, columns] : {std::pair(10, 80), std::pair(20, 60), std::pair(5, 30),
                                            std::pair(2, 10), std::pair(9, 200)}) {
            terminal.resize(static_cast<unsigned short>(rows),
                            static_cast<unsigned short>(columns));
            const bool fits = wait_until([&, height = static_cast<std::size_t>(rows),
                                          width = static_cast<std::size_t>(columns)] {
                const std::string page = terminal.page();
                const auto lines = lines_of(page);
                std::size_t widest = 0;
                for (const std::string& line : lines) {
                    widest = std::max(widest, line.size());
                }
                return page.ends_with("\033[J") && lines.size() == height &&
                       widest == std::min<std::size_t>(width, widest) &&
                       (width > 80 || widest == width || width == 80);
            });
            EXPECT_TRUE(fits) << rows << " " << columns << testing::PrintToString(terminal.page());
        }
        terminal.type("q");
        EXPECT_EQ(terminal.wait(), 0);
    });
}

TEST(CommonctlTopTerminal, IsGivenBackOnEachWayOut)
{
    on_terminal({"--interval=0.1"}, [](PseudoTerminal& terminal, pid_t) {
        terminal.type("\x03");  // Ctrl-C
        EXPECT_EQ(terminal.wait(), 0);
    });
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        on_terminal({"--interval=0.1"}, [&](PseudoTerminal& terminal, pid_t program) {
            EXPECT_EQ(kill(program, signal), 0);
            EXPECT_EQ(terminal.wait(), 0);
        });
    }
}

TEST(CommonctlTopTerminal, IsGivenBackWhenTheTimeIsOver)
{
    PseudoTerminal terminal(10, 80);
    const termios before = terminal.modes();
    well(with_log(""), [&] {
        terminal.start({COMMONCTL, "top", "-f", "--for=0.2", kLog});
        EXPECT_EQ(terminal.wait(), 0);
        EXPECT_TRUE(terminal.modes() == before);
        EXPECT_THAT(terminal.written(),
                    AllOf(StartsWith(kEntered), HasSubstr("PROCESS"), EndsWith(kLeft)));
    });
}

TEST(CommonctlTopTerminal, IsGivenBackWhenTheProgramCrashes)
{
    for (const int signal : {SIGSEGV, SIGABRT, SIGBUS, SIGFPE, SIGILL}) {
        on_terminal({"--interval=0.1"}, [&](PseudoTerminal& terminal, pid_t program) {
            EXPECT_EQ(kill(program, signal), 0);
            EXPECT_EQ(terminal.wait(), 128 + signal);
        });
    }
}

TEST(CommonctlTopTerminal, IsGivenBackWhileTheProgramIsStopped)
{
    PseudoTerminal fresh(10, 80);
    const termios before = fresh.modes();
    on_terminal({"--interval=0.1"}, [&](PseudoTerminal& terminal, pid_t program) {
        for (int i = 0; i < 2; ++i) {
            terminal.type("\x1a");  // Ctrl-Z
            EXPECT_TRUE(terminal.was_stopped());
            EXPECT_TRUE(terminal.modes() == before);
            EXPECT_THAT(terminal.written(), EndsWith(kLeft));
            EXPECT_EQ(kill(program, SIGCONT), 0);
            terminal.shows("\033[J");
            EXPECT_TRUE(wait_until([&] {
                return terminal.written().rfind(kEntered) > terminal.written().rfind(kLeft);
            }));
        }
        append(line_of(0, "NEW"));
        terminal.shows("  1 in 00:");
        terminal.type("q");
        EXPECT_EQ(terminal.wait(), 0);
    });
}

TEST(CommonctlTopTerminal, IsTakenAgainWhenSomebodyElseStoppedTheProgram)
{
    on_terminal({"--interval=0.1"}, [](PseudoTerminal& terminal, pid_t program) {
        EXPECT_EQ(kill(program, SIGSTOP), 0);
        EXPECT_TRUE(terminal.was_stopped());
        const std::size_t before = terminal.written().size();
        EXPECT_EQ(kill(program, SIGCONT), 0);
        EXPECT_TRUE(wait_until(
            [&] { return terminal.written().find(kEntered, before) != std::string::npos; }));
        terminal.type("q");
        EXPECT_EQ(terminal.wait(), 0);
    });
}

TEST(CommonctlTopTerminal, PlainTerminalsAndReportsHaveNoPage)
{
    const FreshSetup dumb{
        .env = {{"TERM", "dumb"}}, .files = {{kLog, ""}}, .open_log_socket = false};
    const auto run = [](const FreshSetup& setup, const Words& options) {
        PseudoTerminal terminal(10, 80);
        std::string written;
        well(setup, [&] {
            Words words{COMMONCTL, "top", "-f", "--for=0.2", "--interval=0.1", kLog};
            words.insert(words.end(), options.begin(), options.end());
            terminal.start(words);
            EXPECT_EQ(terminal.wait(), 0);
            EXPECT_THAT(terminal.written(), AllOf(HasSubstr("PROCESS"), Not(HasSubstr("\033[?")),
                                                  Not(HasSubstr("\033[H"))));
        });
    };
    run(dumb, {});
    run(with_log(""), {"-o", "table"});
}

TEST(CommonctlTopTerminal, NoColorIsRespected)
{
    const auto heads = [](const FreshSetup& setup) {
        PseudoTerminal terminal(10, 80);
        const Outcome outcome = well(setup, [&] {
            terminal.start({COMMONCTL, "top", "-f", kLog});
            terminal.shows("PROCESS");
            std::fputs(terminal.page().find("\033[1m") != std::string::npos ? "bold" : "plain",
                       stdout);
            terminal.type("q");
            EXPECT_EQ(terminal.wait(), 0);
        });
        return outcome.out;
    };
    FreshSetup setup = with_log("");
    EXPECT_EQ(heads(setup), "bold");
    setup.env["NO_COLOR"] = "1";
    EXPECT_EQ(heads(setup), "plain");
}

}  // namespace
