// "commonctl log" on what a real log daemon, rsyslogd, writes: every record of eight processes, in
// all layouts and levels, through each form of its files, once.
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "common_log.h"
#include "common_log_settings.h"
#include "fresh_process.h"
#include "log_daemon.h"
#include "wait_until.h"

using namespace harness;

namespace {

using Json = nlohmann::json;

constexpr const char* kConfiguration = R"(
template(name="raw" type="string" string="%rawmsg%\n")
user.* action(type="omfile" file="/tmp/traditional" template="RSYSLOG_TraditionalFileFormat")
user.* action(type="omfile" file="/tmp/precise" template="RSYSLOG_FileFormat")
user.* action(type="omfile" file="/tmp/modern" template="RSYSLOG_SyslogProtocol23Format")
user.* action(type="omfile" file="/tmp/raw" template="raw")
)";

constexpr int kWriters = 8;
constexpr COMMON_LogFormat_t kLayouts = 5;
constexpr COMMON_LogLevel_t kLevels = COMMON_LogLevelVerbose + 1;
constexpr const char* kLayoutNames[] = {"Legacy", "All", "Columns", "Syslogng", "Syslogngext"};

FreshSetup daemon_setup()
{
    FreshSetup setup = under_log_daemon(kConfiguration);
    setup.env = {{"COMMON_LOG_LEVEL", "Verbose"}};
    return setup;
}

std::string message_of(int writer, COMMON_LogFormat_t layout, COMMON_LogLevel_t level, int number)
{
    return "writer " + std::to_string(writer) + " layout " + std::to_string(layout) + " level " +
           std::to_string(level) + " number " + std::to_string(number) + ", with\ttab: (x) #1";
}

/// Each record bears the id of its process as its line.
void write_records(int writer, int first, int end)
{
    for (int number = first; number < end; ++number) {
        for (COMMON_LogFormat_t layout = 0; layout < kLayouts; ++layout) {
            COMMON_Log_FormatSet(layout);
            for (COMMON_LogLevel_t level = 0; level < kLevels; ++level) {
                COMMON_Log_Write(level, 4095, "ZONE", "src/writer.cpp", "write_records", getpid(),
                                 "%s", message_of(writer, layout, level, number).c_str());
            }
        }
    }
}

std::vector<pid_t> start_writers(int first, int end)
{
    std::vector<pid_t> writers;
    for (int writer = 0; writer < kWriters; ++writer) {
        writers.push_back(fork());
        if (writers.back() == 0) {
            write_records(writer, first, end);
            _exit(0);
        }
    }
    return writers;
}

void wait_for(const std::vector<pid_t>& writers)
{
    for (const pid_t writer : writers) {
        int status = -1;
        EXPECT_EQ(waitpid(writer, &status, 0), writer);
        EXPECT_EQ(status, 0);
    }
}

std::set<std::string> all_messages(int rounds)
{
    std::set<std::string> messages;
    for (int writer = 0; writer < kWriters; ++writer) {
        for (COMMON_LogFormat_t layout = 0; layout < kLayouts; ++layout) {
            for (COMMON_LogLevel_t level = 0; level < kLevels; ++level) {
                for (int number = 0; number < rounds; ++number) {
                    messages.insert(message_of(writer, layout, level, number));
                }
            }
        }
    }
    return messages;
}

/// Checks what is told of a record besides its message.
void check_fields(const Json& record)
{
    COMMON_LogFormat_t layout = 99;
    COMMON_LogLevel_t level = 99;
    const std::string message = record["message"];
    ASSERT_EQ(std::sscanf(message.c_str(), "writer %*d layout %u level %u", &layout, &level), 2)
        << record;
    ASSERT_LT(layout, kLayouts) << record;
    EXPECT_EQ(record["layout"], kLayoutNames[layout]) << record;
    EXPECT_EQ(record["level"], COMMON_LogLevel_ToString(level)) << record;
    EXPECT_EQ(record["zone"], "ZONE") << record;
    EXPECT_EQ(record["file"], "writer.cpp") << record;
    EXPECT_EQ(record["function"], "write_records") << record;
    EXPECT_TRUE(record.contains("process")) << record;
    EXPECT_TRUE(record.contains("time_ns")) << record;
    if (layout == COMMON_LogFormatAll || layout == COMMON_LogFormatColumns) {
        EXPECT_EQ(record["tid"], record["line"]) << record;
    } else if (layout == COMMON_LogFormatSyslogng) {
        EXPECT_EQ(record["pid"], record["line"]) << record;
    }
}

std::string content_of(const std::string& path)
{
    std::ostringstream content;
    content << std::ifstream(path).rdbuf();
    return content.str();
}

/// Whether a process has the file open that has this path now.
bool has_open(pid_t process, const std::string& path)
{
    std::error_code ended;
    for (const auto& entry :
         std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/fd", ended)) {
        std::error_code closed;
        if (std::filesystem::read_symlink(entry.path(), closed) == path) {
            return true;
        }
    }
    return false;
}

/// Checks that the output has each of the records once and nothing else.
void check_all(const std::string& output, int rounds)
{
    std::set<std::string> missing = all_messages(rounds);
    std::istringstream lines(output);
    int others = 0;
    for (std::string line; std::getline(lines, line);) {
        const Json record = Json::parse(line);
        check_fields(record);
        others += missing.erase(record["message"]) == 1 ? 0 : 1;
        if (testing::Test::HasFailure()) {
            return;
        }
    }
    EXPECT_EQ(others, 0) << "records that nobody wrote, or that came twice";
    EXPECT_TRUE(missing.empty()) << missing.size() << " are missing: " << *missing.begin();
}

TEST(CommonctlLogDaemon, ShowsEveryRecordOfEachFormOnce)
{
    constexpr int kRounds = 10;
    well(daemon_setup(), [] {
        const LogDaemon daemon;
        wait_for(start_writers(0, kRounds));
        for (const char* form : {"traditional", "precise", "modern", "raw"}) {
            SCOPED_TRACE(form);
            const std::string command = std::string(COMMONCTL " log -o json /tmp/") + form;
            const auto lines = static_cast<long>(all_messages(kRounds).size());
            // What the daemon still reads arrives in the end.
            EXPECT_TRUE(wait_until([&] {
                EXPECT_EQ(std::system((command + " > /tmp/output").c_str()), 0);
                const auto output = content_of("/tmp/output");
                return std::count(output.begin(), output.end(), '\n') >= lines;
            }));
            check_all(content_of("/tmp/output"), kRounds);
        }
    });
}

TEST(CommonctlLogDaemon, FollowsOverRotationsWithoutLosingOrRepeatingAny)
{
    constexpr int kRotations = 4;
    constexpr int kRoundsEach = 12;
    constexpr int kRounds = kRotations * kRoundsEach;
    well(daemon_setup(), [] {
        const LogDaemon daemon;
        const pid_t follower = fork();
        if (follower == 0) {
            EXPECT_NE(std::freopen("/tmp/output", "w", stdout), nullptr);
            execl(COMMONCTL, COMMONCTL, "log", "-f", "-n", "all", "-o", "json", "/tmp/precise",
                  nullptr);
            _exit(127);
        }
        for (int rotation = 0; rotation < kRotations; ++rotation) {
            const auto writers =
                start_writers(rotation * kRoundsEach, (rotation + 1) * kRoundsEach);
            EXPECT_TRUE(wait_until([&] { return has_open(follower, "/tmp/precise"); }));
            // The daemon goes on with the file that it has until it is told.
            std::filesystem::rename("/tmp/precise", "/tmp/precise." + std::to_string(rotation));
            daemon.reopen();
            wait_for(writers);
        }
        const auto lines = static_cast<long>(all_messages(kRounds).size());
        EXPECT_TRUE(wait_until([&] {
            const auto output = content_of("/tmp/output");
            return std::count(output.begin(), output.end(), '\n') >= lines;
        }));
        kill(follower, SIGTERM);
        EXPECT_EQ(waitpid(follower, nullptr, 0), follower);
        check_all(content_of("/tmp/output"), kRounds);
    });
}

}  // namespace
