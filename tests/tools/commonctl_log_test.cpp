// "commonctl log" as its user sees it.
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
#include <nlohmann/json.hpp>

#include "common_log.h"
#include "common_log_settings.h"
#include "fresh_process.h"
#include "log_socket.h"
#include "wait_until.h"

using namespace harness;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

using Json = nlohmann::json;
using Words = std::vector<std::string>;

constexpr const char* kLog = "/tmp/log";

/// A log of three of the layouts and a line of another program.
constexpr const char* kRecords =
    "Nov 22 03:04:05 target player[12]: [20779.03:04:05.000000042], MEDIA, 12, player, 13, Warn, "
    "scanner.cpp, scan 7, Time out of /media\n"
    "Nov 22 03:04:06 target tuner[14]: [20779.03:04:06.500000000] TUNER: Error "
    "(file=src/seek.c,func=seek,line=99) no station\n"
    "Nov 22 03:04:07 target kernel: usb 1-1: new device\n"
    "Nov 22 03:05:08 target hmi: [20779.03:05:08.000000001] PID: 15, TID: 16, Proc: hmi, Level: "
    "Info, Zone: , File: view.cpp, Func: show, Line: 3, Message: shown\n";

Outcome log_of(const std::string& content, const Words& arguments)
{
    FreshSetup setup;
    setup.files = {{kLog, content}};
    setup.open_log_socket = false;
    Words words{COMMONCTL, "log"};
    words.insert(words.end(), arguments.begin(), arguments.end());
    words.emplace_back(kLog);
    return run_program(setup, words);
}

/// What filters leave of the records: a letter for each.
std::string left_by(const Words& arguments)
{
    const Outcome outcome = log_of(kRecords, arguments);
    EXPECT_THAT(outcome, exited(0)) << testing::PrintToString(arguments);
    EXPECT_EQ(outcome.err, "");
    std::string letters;
    for (const auto& [text, letter] : {std::pair("Time out", 'p'), std::pair("no station", 't'),
                                       std::pair("new device", 'k'), std::pair("shown", 'h')}) {
        letters += outcome.out.find(text) != std::string::npos ? std::string(1, letter) : "";
    }
    return letters;
}

TEST(CommonctlLog, IsShort)
{
    const Outcome outcome = log_of(kRecords, {});
    EXPECT_THAT(outcome, exited(0));
    EXPECT_EQ(outcome.out, "Nov 22 03:04:05.000000 player[12] Warn MEDIA: Time out of /media\n"
                           "Nov 22 03:04:06.500000 tuner[14] Error TUNER: no station\n"
                           "Nov 22 03:04:07.000000 kernel: usb 1-1: new device\n"
                           "Nov 22 03:05:08.000000 hmi[15] Info: shown\n");
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(log_of(kRecords, {"-o", "short"}).out, outcome.out);
    EXPECT_EQ(
        log_of("plain\n[20779.03:04:06.500000000] Z: Note (file=f,func=g,line=1) m\n", {}).out,
        "- plain\nNov 22 03:04:06.500000 Note Z: m\n");
}

TEST(CommonctlLog, IsFullWhereAsked)
{
    const Outcome outcome = log_of(kRecords, {"--output=full"});
    std::istringstream lines(outcome.out);
    Words shown;
    for (std::string line; std::getline(lines, line);) {
        shown.push_back(line);
    }
    ASSERT_THAT(shown, testing::SizeIs(4));
    EXPECT_EQ(shown[0], "2026-11-22 03:04:05.000000042+00:00 target player[12/13] Warn MEDIA "
                        "scanner.cpp:7 scan: Time out of /media");
    EXPECT_EQ(shown[1], "2026-11-22 03:04:06.500000000+00:00 target tuner[14] Error TUNER "
                        "src/seek.c:99 seek: no station");
    // The year of a line that has none depends on the day of the test.
    EXPECT_THAT(shown[2], EndsWith("-11-22 03:04:07.000000000+00:00 target kernel -: usb 1-1: new "
                                   "device"));
    EXPECT_EQ(shown[3], "2026-11-22 03:05:08.000000001+00:00 target hmi[15/16] Info - view.cpp:3 "
                        "show: shown");
    EXPECT_EQ(log_of("plain", {"-o", "full"}).out, "- -: plain\n");
}

TEST(CommonctlLog, HasColumnsWhereAsked)
{
    const Outcome outcome = log_of(kRecords, {"-o", "columns", "-p", "warn"});
    EXPECT_EQ(outcome.out,
              "2026-11-22 03:04:05.000000  Warn      player[12/13]             MEDIA         "
              "scanner.cpp:7             Time out of /media\n"
              "2026-11-22 03:04:06.500000  Error     tuner[14]                 TUNER         "
              "src/seek.c:99             no station\n");
}

TEST(CommonctlLog, IsJsonWhereAsked)
{
    const Outcome outcome = log_of(kRecords, {"-o", "json"});
    std::istringstream lines(outcome.out);
    std::string line;
    ASSERT_TRUE(std::getline(lines, line));
    EXPECT_EQ(line,
              R"({"time":"2026-11-22T03:04:05.000000042+00:00","time_ns":1795316645000000042,)"
              R"("host":"target","process":"player","pid":12,"tid":13,"level":"Warn",)"
              R"("zone":"MEDIA","file":"scanner.cpp","function":"scan","line":7,)"
              R"("message":"Time out of /media","layout":"Syslogngext"})");
    ASSERT_TRUE(std::getline(lines, line) && std::getline(lines, line));
    const Json foreign = Json::parse(line);
    EXPECT_EQ(foreign["layout"], "foreign");
    EXPECT_EQ(foreign["message"], "usb 1-1: new device");
    EXPECT_FALSE(foreign.contains("level") || foreign.contains("pid") || foreign.contains("line"));
    EXPECT_EQ(log_of("<11>text", {"-o", "json"}).out,
              R"({"level":"Error","priority":3,"message":"text","layout":"foreign"})"
              "\n");
}

TEST(CommonctlLog, JsonIsValidWhateverTheBytes)
{
    using namespace std::string_literals;
    std::string all = "a\0b\"\\\x1b\x7f\t\r\xc3\xa9\xff\xc3(\xed\xa0\x80\xf4\x90\x80\x80\xe2\x82"s;
    for (int byte = 0; byte < 256; ++byte) {
        all += byte == '\n' ? ' ' : static_cast<char>(byte);
    }
    const Outcome outcome =
        log_of("[20779.03:04:05.000000042], \xff, 1, \xfe, 1, Info, \xfd, \xfc 1, " + all + "\n",
               {"-o", "json"});
    EXPECT_THAT(outcome, exited(0));
    const Json record = Json::parse(outcome.out);
    EXPECT_EQ(record["zone"], "\xef\xbf\xbd");
    EXPECT_THAT(record["message"].get<std::string>(),
                StartsWith(std::string("a\0b\"\\\x1b\x7f\t\r\xc3\xa9\xef\xbf\xbd", 14)));
}

TEST(CommonctlLog, ControlCharactersAreShown)
{
    const std::string line = "[20779.03:04:05.000000042], Z\x1b, 1, p\a, 1, Info, f, g 1, \x1b[2J";
    for (const char* format : {"short", "full", "columns"}) {
        const Outcome outcome = log_of(line, {"-o", format});
        EXPECT_THAT(outcome.out, AllOf(HasSubstr("Z\\x1b"), HasSubstr("p\\x07"),
                                       HasSubstr("\\x1b[2J\n"), Not(HasSubstr("\x1b"))));
    }
}

TEST(CommonctlLog, Filters)
{
    EXPECT_EQ(left_by({}), "ptkh");
    EXPECT_EQ(left_by({"-p", "warn"}), "pt");
    EXPECT_EQ(left_by({"-p", "warning"}), "pt");
    EXPECT_EQ(left_by({"-p", "err"}), "t");
    EXPECT_EQ(left_by({"-p", "warn..debug"}), "ph");
    EXPECT_EQ(left_by({"-p", "error", "-p", "info..info"}), "th");
    EXPECT_EQ(left_by({"-g", "time out"}), "p");
    EXPECT_EQ(left_by({"-g", "TIME"}), "");
    EXPECT_EQ(left_by({"-g", "^no|^s", "--grep=usb"}), "tkh");
    EXPECT_EQ(left_by({"--zone", "MEDIA"}), "p");
    EXPECT_EQ(left_by({"--zone", "MEDIA", "--zone=TUNER"}), "pt");
    EXPECT_EQ(left_by({"--zone", "MEDIA", "-p", "error"}), "");
    EXPECT_EQ(left_by({"--process", "tuner", "--process", "15"}), "th");
    EXPECT_EQ(left_by({"--thread", "13", "--thread=16"}), "ph");
    EXPECT_EQ(left_by({"--source", "seek.c", "--source", "view.cpp"}), "th");
    EXPECT_EQ(left_by({"--since", "2026-11-22 03:04:06.5", "--process", "tuner"}), "t");
    EXPECT_EQ(left_by({"-S", "2026-11-22 03:05", "--thread", "16"}), "h");
    EXPECT_EQ(left_by({"--until", "2026-11-22 03:05", "-p", "verbose"}), "pt");
    EXPECT_EQ(left_by({"--since", "2200-01-01"}), "");
    EXPECT_EQ(left_by({"-U", "2020-01-01"}), "");
    EXPECT_EQ(left_by({"-n", "2"}), "kh");
    EXPECT_EQ(left_by({"-n", "1", "-p", "warn"}), "t");
    EXPECT_EQ(left_by({"-n", "all"}), "ptkh");
    EXPECT_EQ(left_by({"-n0"}), "");
}

TEST(CommonctlLog, ReadsStandardInputAndSeveralFiles)
{
    const FreshSetup setup{.files = {{"/tmp/a", "a\n"}, {"/tmp/c", "c\n"}},
                           .open_log_socket = false};
    const Outcome outcome =
        run_program(setup, {"sh", "-c", "echo b | " COMMONCTL " log /tmp/a - /tmp/c"});
    EXPECT_EQ(outcome.out, "- a\n- b\n- c\n");
    EXPECT_EQ(run_program(setup, {"sh", "-c", COMMONCTL " log - < /tmp/c"}).out, "- c\n");
}

TEST(CommonctlLog, ReadsWhatListenPrints)
{
    const FreshSetup setup{.open_log_socket = false};
    const Outcome outcome =
        run_program(setup, {"sh", "-c",
                            COMMONCTL " listen -- logger -p user.err -t player text | " COMMONCTL
                                      " log -p error -"});
    EXPECT_EQ(outcome.out, "- player: text\n");
}

TEST(CommonctlLog, LongLinesAreCutAndThatIsSaidOnce)
{
    const std::string longer(5'000'000, 'x');
    const Outcome outcome = log_of("a\n" + longer + "\n" + longer + "\nb\n", {"-o", "json"});
    EXPECT_THAT(outcome, exited(0));
    EXPECT_EQ(std::count(outcome.out.begin(), outcome.out.end(), '\n'), 4);
    EXPECT_LT(outcome.out.size(), 600'000u);
    EXPECT_EQ(outcome.err, "commonctl: lines of more than 256 KiB are cut\n");
}

TEST(CommonctlLog, ColorsByLevel)
{
    const Outcome outcome = log_of(kRecords, {"--color=always"});
    EXPECT_THAT(outcome.out, AllOf(StartsWith("\033[33mNov 22 03:04:05"),
                                   HasSubstr("/media\033[0m\n\033[31mNov"),
                                   HasSubstr("\nNov 22 03:04:07"), Not(HasSubstr("shown\033"))));
    EXPECT_THAT(log_of(kRecords, {"--color=always", "-o", "json"}).out, Not(HasSubstr("\033")));
    EXPECT_THAT(log_of(kRecords, {"--color=auto"}).out, Not(HasSubstr("\033")));
}

TEST(CommonctlLog, ABrokenPipeEndsQuietly)
{
    std::string much;
    for (int i = 0; i < 20'000; ++i) {
        much += "line " + std::to_string(i) + "\n";
    }
    const FreshSetup setup{.files = {{kLog, much}}, .open_log_socket = false};
    const Outcome outcome = run_program(
        setup, {"bash", "-c", COMMONCTL " log /tmp/log | head -n 1; echo ${PIPESTATUS[0]}"});
    EXPECT_EQ(outcome.out, "- line 0\n" + std::to_string(128 + SIGPIPE) + "\n");
    EXPECT_EQ(outcome.err, "");
}

TEST(CommonctlLog, FailuresAreToldInALine)
{
    const FreshSetup setup{.files = {{kLog, "text\n"}}, .open_log_socket = false};
    const auto failure = [&](const std::string& command) {
        const Outcome outcome = run_program(setup, {"sh", "-c", COMMONCTL " log " + command});
        EXPECT_THAT(outcome, exited(1)) << command;
        EXPECT_EQ(outcome.out, "") << command;
        EXPECT_THAT(outcome.err, StartsWith("commonctl: ")) << command;
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
        return outcome.err;
    };
    EXPECT_THAT(failure("/tmp/none"), HasSubstr("/tmp/none: No such file"));
    EXPECT_THAT(failure("/tmp"), HasSubstr("folder"));
    EXPECT_THAT(failure("/tmp/log > /dev/full"), HasSubstr("takes no more records: No space"));
    EXPECT_THAT(failure("- <&-"), HasSubstr("standard input: Bad file"));
    EXPECT_THAT(failure("--socket /tmp/none/socket"), HasSubstr("/tmp/none/socket"));
}

TEST(CommonctlLog, WrongUsageIsExplained)
{
    for (const Words& arguments : {Words{"-p", "loud"},
                                   {"-p", "warn.."},
                                   {"-p"},
                                   {"-g", "("},
                                   {"-n", "ten"},
                                   {"-n", "-1"},
                                   {"-n", "9999999999999999999999"},
                                   {"--since", "soon"},
                                   {"--until", "2026-02-30"},
                                   {"--thread", "x"},
                                   {"-o", "xml"},
                                   {"--color=blue"},
                                   {"--journal"},
                                   {"--socket", "/tmp/socket"},
                                   {"--no-such"}}) {
        const Outcome outcome = log_of("", arguments);
        EXPECT_THAT(outcome, exited(2)) << testing::PrintToString(arguments);
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(outcome.err, AllOf(StartsWith("commonctl: "), HasSubstr("commonctl help")));
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
    }
}

/// A "commonctl log" that is left running by the calling process, with its output in a file.
class Running {
public:
    explicit Running(Words arguments)
    {
        arguments.insert(arguments.begin(), {COMMONCTL, "log"});
        std::vector<char*> pointers;
        for (auto& word : arguments) {
            pointers.push_back(word.data());
        }
        pointers.push_back(nullptr);
        pid_ = fork();
        if (pid_ == 0) {
            const int output = open("/tmp/output", O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
            dup2(output, STDOUT_FILENO);
            execv(pointers[0], pointers.data());
            _exit(127);
        }
    }

    /// Ends it. @return its wait status.
    int end(int signal) const
    {
        EXPECT_EQ(kill(pid_, signal), 0);
        int status = -1;
        EXPECT_EQ(waitpid(pid_, &status, 0), pid_);
        return status;
    }

    static std::string output()
    {
        std::ostringstream content;
        content << std::ifstream("/tmp/output").rdbuf();
        return content.str();
    }

    static bool prints(const std::string& expected)
    {
        return wait_until([&] { return output() == expected; });
    }

private:
    pid_t pid_;
};

void append(const std::string& text)
{
    std::ofstream(kLog, std::ios::app) << text;
}

FRESH_TEST(CommonctlLog, FollowsFromTheLastTenOn)
{
    std::string expected;
    for (int i = 1; i <= 15; ++i) {
        append("line " + std::to_string(i) + "\n");
        expected += i > 5 ? "- line " + std::to_string(i) + "\n" : "";
    }
    const Running running({"-f", kLog});
    EXPECT_TRUE(Running::prints(expected)) << Running::output();
    append("new\n");
    EXPECT_TRUE(Running::prints(expected += "- new\n")) << Running::output();
    std::filesystem::rename(kLog, "/tmp/log.1");
    append("newer\n");
    EXPECT_TRUE(Running::prints(expected += "- newer\n")) << Running::output();
    std::filesystem::resize_file(kLog, 0);
    append("last\n");
    EXPECT_TRUE(Running::prints(expected += "- last\n")) << Running::output();
    EXPECT_TRUE(WIFSIGNALED(running.end(SIGINT)));
}

FRESH_TEST(CommonctlLog, FollowsWhatPassesTheFilters)
{
    append(kRecords);
    const Running running({"--follow", "-n", "1", "-p", "warn", "-o", "json", kLog});
    EXPECT_TRUE(wait_until([] { return Running::output().ends_with("}\n"); }));
    EXPECT_EQ(Json::parse(Running::output())["message"], "no station");
    append("<11>wanted\n<15>not wanted\n<11>wanted, too\n");
    EXPECT_TRUE(
        wait_until([] { return Running::output().find("wanted, too") != std::string::npos; }));
    EXPECT_THAT(Running::output(), AllOf(HasSubstr("\"wanted\""), Not(HasSubstr("not wanted"))));
    running.end(SIGTERM);
}

TEST(CommonctlLog, ReceivesAtASocketUntilASignal)
{
    const FreshSetup setup{.open_log_socket = false};
    well(setup, [] {
        const Running running({"--socket", "/dev/log"});
        ASSERT_TRUE(wait_until([] { return std::filesystem::exists("/dev/log"); }));
        openlog("player", 0, LOG_USER);
        syslog(LOG_USER | LOG_ERR, "[20779.03:04:06.500000000] Z: Note (file=f,func=g,line=1) m");
        EXPECT_TRUE(Running::prints("Nov 22 03:04:06.500000 player Note Z: m\n"));
        EXPECT_EQ(running.end(SIGTERM), 0);
        EXPECT_FALSE(std::filesystem::exists("/dev/log"));
    });
}

TEST(CommonctlLog, HelpHasExamples)
{
    const Outcome outcome = run_program({.open_log_socket = false}, {COMMONCTL, "log", "--help"});
    EXPECT_THAT(outcome, exited(0));
    EXPECT_THAT(outcome.out, AllOf(StartsWith("Usage: commonctl log [OPTION...] [FILE...]"),
                                   HasSubstr("Examples:\n  commonctl log -f -p warn ")));
    std::istringstream lines(outcome.out);
    for (std::string line; std::getline(lines, line);) {
        EXPECT_LE(line.size(), 88u) << line;
    }
}

}  // namespace
