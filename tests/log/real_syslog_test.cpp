// The whole way into a real log daemon, rsyslogd, which listens at /dev/log of the private root.
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <optional>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <syslog.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "common_log_settings.h"
#include "log_calls.h"
#include "log_record.h"
#include "wait_until.h"

namespace {

using namespace harness;
using testing::SizeIs;

constexpr const char* kDaemon = "/usr/sbin/rsyslogd";
constexpr const char* kConfiguration = "/tmp/rsyslog.conf";
constexpr const char* kOutput = "/tmp/records.txt";

/// Every record as one line, number of its priority first. The main queue is a direct one: what the
/// daemon has read is in the file.
constexpr const char* kConfigurationText = R"(
global(workDirectory="/tmp")
module(load="imuxsock" SysSock.Name="/dev/log" SysSock.RateLimit.Interval="0")
main_queue(queue.type="direct")
template(name="raw" type="string" string="%pri% %rawmsg%\n")
user.* action(type="omfile" file="/tmp/records.txt" template="raw")
)";

FreshSetup daemon_setup()
{
    FreshSetup setup;
    setup.open_log_socket = false;
    setup.files = {{kConfiguration, kConfigurationText}};
    setup.time_limit = std::chrono::seconds(90);
    return setup;
}

/// A log daemon for as long as the object lives.
class Daemon {
public:
    Daemon()
    {
        pid_ = fork();
        if (pid_ == 0) {
            execl(kDaemon, kDaemon, "-n", "-f", kConfiguration, "-i", "/tmp/rsyslogd.pid", nullptr);
            _exit(127);
        }
        EXPECT_GT(pid_, 0);
        EXPECT_TRUE(wait_until([] { return listens(); })) << kDaemon << " does not listen";
    }
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;
    ~Daemon()
    {
        kill(pid_, SIGTERM);
        int status = -1;
        EXPECT_EQ(waitpid(pid_, &status, 0), pid_);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
    }

    /// Waits for a number of lines; gives all that are there by then.
    static std::vector<std::string> wait_for_lines(std::size_t count)
    {
        std::size_t seen = 0;
        std::ifstream counted;
        EXPECT_TRUE(wait_until(
            [&] {
                if (!counted.is_open()) {
                    counted.open(kOutput);
                }
                counted.clear();
                for (char byte; counted.get(byte);) {
                    seen += byte == '\n' ? 1 : 0;
                }
                return seen >= count;
            },
            std::chrono::seconds(60)))
            << seen << " of " << count << " lines";
        std::vector<std::string> lines;
        std::ifstream file(kOutput);
        for (std::string line; std::getline(file, line);) {
            lines.push_back(line);
        }
        return lines;
    }

private:
    static bool listens()
    {
        const int probe = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strcpy(address.sun_path, "/dev/log");
        const bool connected =
            connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
        close(probe);
        return connected;
    }

    pid_t pid_ = -1;
};

/// A line of the output: the priority as the daemon understood it, and the record as it came.
struct Line {
    int code = -1;
    LogRecord record;
};

Line parse_line(const std::string& text)
{
    Line line;
    std::size_t end = 0;
    line.code = std::stoi(text, &end);
    line.record = parse_datagram(std::string_view(text).substr(end + 1));
    return line;
}

class RealSyslog : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(access(kDaemon, X_OK), 0)
            << "this test needs " << kDaemon << ": install the package rsyslog";
    }
};

TEST_F(RealSyslog, GetsEveryRecordOfManyThreadsWholeAndInOrder)
{
    constexpr int kThreads = 8;
    constexpr int kRecords = 10'000;
    well(daemon_setup(), [] {
        const Daemon daemon;
        std::vector<std::thread> threads;
        for (int thread = 0; thread < kThreads; ++thread) {
            threads.emplace_back([thread] {
                for (int i = 0; i < kRecords; ++i) {
                    COMMON_Log_Write(kInfo, kZoneNumber, "ZONE", "file.c", "function", i,
                                     "thread %d record %d end", thread, i);
                }
            });
        }
        for (auto& thread : threads) {
            thread.join();
        }
        const auto lines = Daemon::wait_for_lines(std::size_t{kThreads} * kRecords);
        ASSERT_THAT(lines, SizeIs(kThreads * kRecords));
        std::array<int, kThreads> next{};
        std::array<std::int64_t, kThreads> tids{};
        for (const auto& text : lines) {
            const Line line = parse_line(text);
            ASSERT_EQ(line.code, LOG_USER | LOG_INFO) << text;
            ASSERT_TRUE(line.record.valid) << text;
            const LayoutFields fields = fields_of(line.record);
            int thread = -1;
            int number = -1;
            ASSERT_EQ(std::sscanf(fields.message.c_str(), "thread %d record %d", &thread, &number),
                      2)
                << text;
            ASSERT_TRUE(thread >= 0 && thread < kThreads) << text;
            const auto at = static_cast<std::size_t>(thread);
            tids[at] = number == 0 ? fields.tid : tids[at];
            ASSERT_EQ(number, next[at]++) << text;
            LayoutFields expected;
            expected.day = fields.day;
            expected.time = fields.time;
            expected.nanoseconds = fields.nanoseconds;
            expected.pid = getpid();
            expected.tid = tids[at];
            expected.process = fields.process;
            expected.level = "Info";
            expected.zone = "ZONE";
            expected.file = "file.c";
            expected.function = "function";
            expected.line = number;
            expected.message =
                "thread " + std::to_string(thread) + " record " + std::to_string(number) + " end";
            ASSERT_EQ(fields, expected) << text;
        }
    });
}

TEST_F(RealSyslog, GetsEveryLayoutAtEveryLevel)
{
    constexpr int kPriorities[] = {LOG_EMERG,  LOG_CRIT, LOG_ERR,   LOG_WARNING,
                                   LOG_NOTICE, LOG_INFO, LOG_DEBUG, LOG_DEBUG};
    constexpr const char* kLevels[] = {"Fatal", "Critical", "Error", "Warn",
                                       "Note",  "Info",     "Debug", "Verbose"};
    using Parse = std::optional<LayoutFields> (*)(std::string_view);
    constexpr Parse kParsers[] = {parse_legacy, parse_all, parse_columns, parse_syslogng,
                                  parse_syslogngext};
    well(daemon_setup(), [&] {
        const Daemon daemon;
        COMMON_Log_LevelSet(kVerbose);
        for (COMMON_LogFormat_t format = 0; format < 5; ++format) {
            COMMON_Log_FormatSet(format);
            for (COMMON_LogLevel_t level = 0; level < 8; ++level) {
                log_message(level, "format %u level %u", format, level);
            }
        }
        const auto lines = Daemon::wait_for_lines(40);
        ASSERT_THAT(lines, SizeIs(40));
        for (std::size_t i = 0; i < 40; ++i) {
            const Line line = parse_line(lines[i]);
            EXPECT_EQ(line.code, LOG_USER | kPriorities[i % 8]) << lines[i];
            EXPECT_EQ(line.record.facility, LOG_USER) << lines[i];
            EXPECT_EQ(line.record.priority, kPriorities[i % 8]) << lines[i];
            EXPECT_EQ(line.record.identity, program_invocation_short_name);
            const auto fields = kParsers[i / 8](line.record.text);
            ASSERT_TRUE(fields.has_value()) << lines[i];
            EXPECT_EQ(fields->level, kLevels[i % 8]);
            EXPECT_EQ(fields->zone, "ZONE");
            EXPECT_EQ(fields->file, "file.c");
            EXPECT_EQ(fields->function, "function");
            EXPECT_EQ(fields->line, 7);
            EXPECT_EQ(fields->message,
                      "format " + std::to_string(i / 8) + " level " + std::to_string(i % 8));
        }
    });
}

}  // namespace
