// The sub-commands on the media scanner: eight of them write at once, in all layouts, to a real log
// daemon, rsyslogd, and a ninth process writes each level in each layout.
#include <algorithm>
#include <array>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "../serve/client.h"
#include "../serve/serving.h"
#include "common_log.h"
#include "level_calls.h"
#include "log_daemon.h"

using namespace harness;
using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;
using testing::SizeIs;
using testing::StartsWith;

namespace {

using Json = nlohmann::json;

/// How many records there are of a name or level.
using Counts = std::map<std::string, int>;

constexpr int kScanners = 8;
constexpr std::array kLayouts{"Legacy", "All", "Columns", "Syslogng", "Syslogngext"};
constexpr char kOther[] = "other writer";

std::string scanner_name(int number)
{
    return "scanner-" + std::to_string(number);
}

std::string report_of(int number)
{
    return "/tmp/report-" + std::to_string(number);
}

const char* layout_of(int number)
{
    return kLayouts.at(static_cast<std::size_t>(number) % kLayouts.size());
}

/// What scanners are run over, and under which names.
FreshSetup scanners(FreshSetup setup)
{
    for (int number = 0; number < 60; ++number) {
        const std::string folder = "/tmp/media/" + std::to_string(number % 6);
        setup.files[folder + "/" + std::to_string(number) + ".mp3"] = "sound";
    }
    setup.prepare = [] {
        std::filesystem::create_symlink("nowhere", "/tmp/media/dangling");
        std::filesystem::create_directory("/tmp/bin");
        for (int number = 0; number < kScanners; ++number) {
            std::filesystem::create_symlink(MEDIA_SCANNER, "/tmp/bin/" + scanner_name(number));
        }
    };
    return setup;
}

FreshSetup daemon_and_scanners()
{
    return scanners(under_log_daemon(
        "user.* action(type=\"omfile\" file=\"/tmp/log\" template=\"RSYSLOG_FileFormat\")\n"));
}

pid_t start_scanner(int number)
{
    const pid_t scanner = fork();
    if (scanner == 0) {
        const std::string out = "/tmp/out-" + std::to_string(number);
        EXPECT_NE(std::freopen(out.c_str(), "w", stdout), nullptr);
        execl(("/tmp/bin/" + scanner_name(number)).c_str(), scanner_name(number).c_str(),
              "/tmp/media", "--level", "Verbose", "--layout", layout_of(number), "--interval", "5",
              "--report", report_of(number).c_str(), nullptr);
        _exit(127);
    }
    return scanner;
}

void expect_end(pid_t process)
{
    int status = -1;
    EXPECT_EQ(waitpid(process, &status, 0), process);
    EXPECT_EQ(status, 0);
}

/// Writes each level in each layout.
pid_t start_other_writer()
{
    const pid_t writer = fork();
    if (writer == 0) {
        COMMON_Log_LevelSet(COMMON_LogLevelVerbose);
        for (COMMON_LogFormat_t layout = 0; layout < kLayouts.size(); ++layout) {
            COMMON_Log_FormatSet(layout);
            for (COMMON_LogLevel_t level = 0; level <= COMMON_LogLevelVerbose; ++level) {
                COMMON_Log_Write(level, 4095, "OTHER", "other.cpp", "write", 1, "%s", kOther);
            }
        }
        _exit(0);
    }
    return writer;
}

/// What all of them wrote.
struct Written {
    Counts by_process{};  ///< of scanners
    Counts by_level{};
    int records = 0;

    void add(const std::string& level, int count)
    {
        records += count;
        if (count > 0) {
            by_level[level] += count;
        }
    }
};

/// Adds what a scanner says that it has written: the table of levels in its summary.
void add_summary(int number, Written& written)
{
    std::istringstream lines(content_of("/tmp/out-" + std::to_string(number)));
    std::string line;
    while (std::getline(lines, line) && !line.starts_with("records ")) {
    }
    int levels = 0;
    for (; std::getline(lines, line) && !line.empty(); ++levels) {
        std::istringstream words(line);
        std::string level;
        int accepted = 0;
        words >> level >> accepted;
        written.add(level, accepted);
        written.by_process[scanner_name(number)] += accepted;
    }
    EXPECT_EQ(levels, 8) << "scanner " << number << " has no table of levels";
}

/// Runs all writers at once, and waits until their records are in the log.
Written write_records()
{
    std::vector<pid_t> writers{start_other_writer()};
    for (int number = 0; number < kScanners; ++number) {
        writers.push_back(start_scanner(number));
    }
    for (const pid_t writer : writers) {
        expect_end(writer);
    }
    Written written;
    for (int number = 0; number < kScanners; ++number) {
        add_summary(number, written);
    }
    for (COMMON_LogLevel_t level = 0; level <= COMMON_LogLevelVerbose; ++level) {
        written.add(COMMON_LogLevel_ToString(level), static_cast<int>(kLayouts.size()));
    }
    EXPECT_THAT(written.by_level, SizeIs(8));
    EXPECT_TRUE(wait_until([&] {
        const std::string log = content_of("/tmp/log");
        return std::count(log.begin(), log.end(), '\n') >= written.records;
    }));
    return written;
}

/// The objects that a command prints, one a line.
std::vector<Json> objects(const std::string& words)
{
    std::vector<Json> all;
    std::istringstream lines(commonctl(words).text);
    for (std::string line; std::getline(lines, line);) {
        all.push_back(Json::parse(line));
    }
    return all;
}

void check_log(const Written& written)
{
    Counts by_process;
    Counts by_level;
    for (const Json& record : objects("log -o json /tmp/log")) {
        ++by_level[record["level"]];
        const std::string process = record["process"];
        if (record["zone"] == "OTHER") {
            EXPECT_EQ(record["message"], kOther);
            continue;
        }
        ++by_process[process];
        EXPECT_EQ(record["layout"], layout_of(process.back() - '0')) << record;
    }
    EXPECT_EQ(by_level, written.by_level);
    EXPECT_EQ(by_process, written.by_process);
}

void check_filters(const Written& written)
{
    int severe = 0;
    for (const char* const level : {"Fatal", "Critical", "Error", "Warn"}) {
        severe += written.by_level.at(level);
    }
    EXPECT_THAT(objects("log -o json -p warn /tmp/log"), SizeIs(severe));
    const auto of_one = objects("log -o json --process scanner-3 /tmp/log");
    EXPECT_THAT(of_one, SizeIs(written.by_process.at("scanner-3")));
    EXPECT_THAT(objects("log -o json -g '^Scan of /tmp/media starts$' /tmp/log"),
                SizeIs(kScanners));
    EXPECT_THAT(objects("log -o json -n 3 /tmp/log"), SizeIs(3));
}

Counts counts_of(const Json& table)
{
    Counts counts;
    for (const Json& row : table["rows"]) {
        // An id follows where a layout has one.
        const std::string name = row["name"];
        counts[name.substr(0, name.find('['))] += row["records"].get<int>();
    }
    return counts;
}

void check_top(const Written& written)
{
    const Json report = Json::parse(commonctl("top -o json --limit 0 /tmp/log").text);
    EXPECT_EQ(report["records"], written.records);
    EXPECT_EQ(counts_of(report["levels"]), written.by_level);
    const Counts processes = counts_of(report["processes"]);
    for (const auto& scanner : written.by_process) {
        EXPECT_THAT(processes, Contains(scanner));
    }
    EXPECT_EQ(counts_of(report["zones"])["OTHER"], 8 * static_cast<int>(kLayouts.size()));
    EXPECT_EQ(counts_of(report["sites"])["other.cpp:1 write"],
              8 * static_cast<int>(kLayouts.size()));
}

void check_serve(const Written& written)
{
    Serving serving(COMMONCTL, {"/tmp/log"});
    Counts by_level;
    int records = 0;
    EXPECT_TRUE(wait_until([&] {
        by_level.clear();
        records = 0;
        for (std::string after = "0";;) {
            const Json batch = Json::parse(
                body_of(ask(serving.port(), request("GET", "/api/records?wait=0&after=" + after))));
            for (const Json& record : batch["records"]) {
                ++by_level[COMMON_LogLevel_ToString(record["level"].get<COMMON_LogLevel_t>())];
                ++records;
            }
            if (batch["records"].empty()) {
                return records >= written.records;
            }
            after = batch["next"].dump();
        }
    }));
    EXPECT_EQ(by_level, written.by_level);
    EXPECT_EQ(serving.end(SIGTERM), 0);
}

/// The scanner's serialised summary, as a tree and back.
void check_decode()
{
    for (int number = 0; number < kScanners; ++number) {
        const std::string report = report_of(number);
        EXPECT_THAT(commonctl("decode " + report).text,
                    AllOf(HasSubstr("\"/tmp/media\""), HasSubstr("\"files\"")));
        EXPECT_EQ(commonctl("decode -o json " + report +
                            " | " COMMONCTL " encode --binary | cmp - " + report)
                      .status,
                  0);
    }
}

TEST(CommonctlOnTheScanner, ShowsCountsServesAndDecodesWhatEightOfThemWrote)
{
    well(daemon_and_scanners(), [] {
        const LogDaemon daemon;
        const Written written = write_records();
        check_log(written);
        check_filters(written);
        check_top(written);
        if (HAS_SERVE) {
            check_serve(written);
        }
        check_decode();
    });
}

TEST(CommonctlOnTheScanner, ListenLeavesTheDaemonAlone)
{
    well(daemon_and_scanners(), [] {
        const LogDaemon daemon;
        EXPECT_EQ(commonctl("listen -- true").status, 1);
        // The current folder stays what it is: the scanner and the library are in it.
        std::filesystem::current_path(BUILD_FOLDER);
        const Ran beside =
            commonctl("listen --private-root -- " MEDIA_SCANNER " /config --interval 0");
        EXPECT_EQ(beside.status, 0);
        EXPECT_THAT(beside.text, HasSubstr("Scan of /config starts"));
        EXPECT_THAT(content_of("/tmp/log"), testing::Not(HasSubstr("Scan of")));
    });
}

/// A scanner that waits for SIGCONT, and looks for changed settings.
pid_t start_paused_scanner()
{
    const pid_t scanner = fork();
    if (scanner == 0) {
        setenv("COMMON_LOG_PEAKLOAD_CONTROL", "Off", 1);
        setenv("COMMON_LOG_PEAKLOAD_GRANULARITY", "1", 1);
        // A scan that finds an interrupt at its start begins paused.
        sigset_t interrupt;
        sigemptyset(&interrupt);
        sigaddset(&interrupt, SIGINT);
        sigprocmask(SIG_BLOCK, &interrupt, nullptr);
        raise(SIGINT);
        EXPECT_NE(std::freopen("/tmp/out", "w", stdout), nullptr);
        execl("/tmp/bin/scanner-0", "scanner-0", "/tmp/media", nullptr);
        _exit(127);
    }
    return scanner;
}

TEST(CommonctlOnTheScanner, LevelAndSettingsReachARunningOne)
{
    well(daemon_and_scanners(), [] {
        const LogDaemon daemon;
        const pid_t scanner = start_paused_scanner();
        const std::string id = std::to_string(scanner);
        EXPECT_TRUE(
            wait_until([&] { return content_of("/tmp/log").find("paused") != std::string::npos; }));
        EXPECT_THAT(commonctl("log -p debug..debug /tmp/log").text, testing::IsEmpty());
        EXPECT_EQ(commonctl("level " + id + " Verbose --no-wait").status, 0);
        EXPECT_THAT(commonctl("settings --pid " + id).text,
                    AllOf(HasSubstr("COMMON_LOG_PEAKLOAD_CONTROL"),
                          HasSubstr("settings_" + id + ".txt"), HasSubstr("COMMON_LOG_LEVEL")));
        EXPECT_EQ(kill(scanner, SIGCONT), 0);
        expect_end(scanner);
        EXPECT_TRUE(wait_until([] {
            return !objects("log -o json -p debug..debug --source scan.cpp /tmp/log").empty();
        }));
        EXPECT_EQ(commonctl("level --clean").status, 0);
        EXPECT_FALSE(exists("/tmp/common/log/settings_" + id + ".txt"));
    });
}

/// On the target, with what the scanner logs there in /tmp/records.
Outcome on_target(const std::string& command)
{
    return run_program({},
                       {SIMULATED_TARGET, "--", "sh", "-c",
                        "set -e; commonctl() { " COMMONCTL
                        " \"$@\"; }; echo x > /config/one; commonctl listen --output=/tmp/records"
                        " -- " MEDIA_SCANNER " /config --level Verbose > /tmp/out; " +
                            command});
}

void expect_on_target(const std::string& command,
                      const testing::Matcher<const std::string&>& output)
{
    const Outcome outcome = on_target(command);
    EXPECT_THAT(outcome, exited(0)) << command;
    EXPECT_THAT(outcome.out, output) << command;
    EXPECT_EQ(outcome.err, "") << command;
}

TEST(CommonctlOnTheTarget, EachSubCommandWorks)
{
    const struct {
        const char* command;
        testing::Matcher<const std::string&> output;
    } kCases[] = {
        {"commonctl log /tmp/records", HasSubstr(" Note SCANNER: Scan of /config starts\n")},
        {"commonctl log -o json - < /tmp/records", HasSubstr(R"("process":"media_scanner")")},
        {"commonctl top --by level /tmp/records", HasSubstr(" Verbose\n")},
        // A user who is not root may not look into the target's own processes, which is told.
        {"commonctl level 2> /tmp/told", HasSubstr("LOOKS")},
        {"echo COMMON_LOG_LEVEL=Debug > /config/x; commonctl settings /config/x",
         HasSubstr("sets COMMON_LOG_LEVEL to Debug\n")},
        {"commonctl encode '{\"type\":\"integer\",\"value\":-7}' | commonctl decode",
         testing::StrEq("0  integer -7\n")},
        {PLAYER_MACHINE " dot | commonctl machine -o mermaid", StartsWith("stateDiagram-v2\n")},
        {"commonctl flash check /log --deep", testing::StrEq("/log is sound\n")},
        {"commonctl level-name 6", HasSubstr("Debug")},
    };
    for (const auto& [command, output] : kCases) {
        expect_on_target(command, output);
    }
    if (HAS_SERVE) {
        expect_on_target(COMMONCTL " serve --port 0 /tmp/records > /tmp/address & "
                                   "until grep -qs http: /tmp/address; do sleep 0.1; done; "
                                   "kill $!; wait $!; cat /tmp/address",
                         StartsWith("http://127.0.0.1:"));
    }
}

}  // namespace
