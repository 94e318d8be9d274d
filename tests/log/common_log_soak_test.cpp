// A race of threads that log with threads that change the settings: every record that nothing
// holds back arrives, once, whole, in one layout and in its thread's order.
#include <array>
#include <atomic>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <string_view>
#include <syslog.h>
#include <unistd.h>
#include <vector>

#include "log_calls.h"
#include "log_reader.h"
#include "oxa_logger.h"
#include "soak.h"

namespace {

using namespace harness;

constexpr unsigned kWriters = 3;
constexpr char kFile[] = "folder/soak.cpp";
constexpr char kFunction[] = "write_one";
constexpr char kModule[] = "SOAK";

/// Any level that lets Critical through.
COMMON_LogLevel_t any_level(std::mt19937& random)
{
    return static_cast<COMMON_LogLevel_t>(random() % kVerbose + kCritical);
}

/// A thread that logs.
class Writer {
public:
    Writer(unsigned id, std::uint32_t module) : random_(id), id_(id), module_(module) {}

    void step()
    {
        thread_id = gettid();
        const auto level = number_ == 0 ? kCritical : any_level(random_);
        // No setting of this race holds this one back.
        critical += level == kCritical ? 1 : 0;
        const std::uint32_t accepted =
            LOG_Write(module_, level, kFile, kFunction, static_cast<std::int32_t>(id_),
                      "writer %u number %" PRIu64 " accepted %" PRIu64 " critical %" PRIu64, id_,
                      number_, accepted_, critical);
        ASSERT_TRUE(accepted == 1 || level != kCritical);
        ++number_;
        accepted_ += accepted;
    }

    std::uint64_t critical = 0;
    std::atomic<pid_t> thread_id{0};

private:
    std::mt19937 random_;
    unsigned id_;
    std::uint32_t module_;
    std::uint64_t number_ = 0;
    std::uint64_t accepted_ = 0;
};

/// What has arrived of a writer.
struct Arrived {
    std::uint64_t next = 0;
    std::uint64_t count = 0;
    std::uint64_t critical = 0;
};

/// Compares each record with what its writer says in it.
class Judge {
public:
    explicit Judge(const std::deque<Writer>& writers) : writers_(writers) {}

    void take(const LogRecord& record)
    {
        LayoutParts parts;
        const auto layout = possible_layout(record.text);
        ASSERT_TRUE(layout && take_apart(*layout, record.text, parts)) << record;
        ASSERT_EQ(record.facility, LOG_USER) << record;
        if (parts.zone != kModule) {
            return;  // one of the status
        }
        unsigned id = 0;
        std::uint64_t number = 0;
        std::uint64_t accepted = 0;
        std::uint64_t critical = 0;
        int end = 0;
        const std::string message(parts.message);
        const int read =
            std::sscanf(message.c_str(),
                        "writer %u number %" SCNu64 " accepted %" SCNu64 " critical %" SCNu64 "%n",
                        &id, &number, &accepted, &critical, &end);
        ASSERT_TRUE(read == 4 && static_cast<std::size_t>(end) == message.size()) << record;
        ASSERT_LT(id, kWriters) << record;
        compare(writers_[id], parts, static_cast<std::int64_t>(id), record);

        Arrived& arrived = all_[id];
        ASSERT_GE(number, arrived.next) << "out of order or twice: " << record;
        arrived.next = number + 1;
        ++arrived.count;
        ASSERT_LE(arrived.count, accepted + 1) << "one that was refused: " << record;
        if (parts.level == "Critical") {
            ASSERT_EQ(critical, ++arrived.critical) << "one is lost before " << record;
        }
    }

    std::uint64_t critical(unsigned id) const { return all_[id].critical; }

private:
    static void compare(const Writer& writer, const LayoutParts& parts, std::int64_t line,
                        const LogRecord& record)
    {
        ASSERT_TRUE(parts.file == kFile || parts.file == std::string_view(kFile).substr(7))
            << record;
        ASSERT_EQ(parts.function, kFunction) << record;
        ASSERT_EQ(parts.line, line) << record;
        if (parts.tid != -1) {
            ASSERT_EQ(parts.tid, writer.thread_id) << record;
        }
        if (parts.pid != -1) {
            ASSERT_EQ(parts.pid, getpid()) << record;
        }
    }

    const std::deque<Writer>& writers_;
    std::array<Arrived, kWriters> all_{};
};

/// As an integrator changes it: at once.
void write_settings_file(std::mt19937& random)
{
    const std::string path = "/tmp/common/log/settings.txt";
    const std::string next = path + "." + std::to_string(gettid());
    std::ofstream(next) << "COMMON_LOG_LEVEL=" << COMMON_LogLevel_ToString(any_level(random))
                        << "\nCOMMON_LOG_STRIP=" << (random() % 2 == 0 ? "True" : "False")
                        << "\nCOMMON_LOG_PEAKLOAD_GRANULARITY=1\n";
    std::filesystem::rename(next, path);
}

void change_something(std::mt19937& random)
{
    const auto value = static_cast<std::uint32_t>(random());
    switch (random() % 128 / 10) {
    case 0:
        return COMMON_Log_FormatSet(value % 5);
    case 1:
        return COMMON_Log_StripSet(value % 2);
    case 2:
        return COMMON_Log_CacheSet(value % 2);
    case 3:
        return COMMON_Log_ColorSet(value % 2);
    case 4:
        return COMMON_Log_LevelSet(any_level(random));
    case 5:
        ASSERT_EQ(COMMON_Log_LevelSetExtended(any_level(random), value % 3), STATUS_SUCCESS);
        return;
    case 6:
        return COMMON_Log_PeakloadControlSet(value % 3);
    case 7:
        ASSERT_EQ(COMMON_Log_LegacySet(value % 2), 0);
        return;
    case 8:
        return COMMON_Log_EnableSet(1);
    case 9:
        return COMMON_LogDumpLoggerStatus("STATUS");
    case 10:
        ASSERT_LE(COMMON_Log_LevelGet(), kVerbose);
        ASSERT_LE(COMMON_Log_LevelGetExtended(value % 3), kVerbose);
        ASSERT_LE(COMMON_Log_PeakloadControlGet(), kOn);
        return;
    case 11:
        ASSERT_EQ(COMMON_Log_Acceptable(kCritical), 1U);
        return;
    default:
        write_settings_file(random);
    }
}

TEST(CommonLogSoak, SettingsChangeWhileThreadsLog)
{
    FreshSetup setup{.env = {{"COMMON_LOG_PEAKLOAD_GRANULARITY", "1"}}};
    setup.files["/tmp/common/log/settings.txt"] = "COMMON_LOG_PEAKLOAD_GRANULARITY=1\n";
    setup.open_log_socket = false;
    run_race(setup, [](std::chrono::milliseconds time) {
        std::deque<Writer> writers;
        for (unsigned id = 0; id < kWriters; ++id) {
            writers.emplace_back(id, LOG_ModuleIdAssignDynamic(kModule));
        }
        Judge judge(writers);
        LogReader reader([&](const LogRecord& record) { judge.take(record); });
        std::vector<std::function<void()>> steps;
        for (Writer& writer : writers) {
            steps.emplace_back([&] { writer.step(); });
        }
        for (unsigned i = 0; i < 2; ++i) {
            steps.emplace_back([random = std::mt19937(i)]() mutable { change_something(random); });
        }
        race(time, steps);
        reader.stop();
        std::uint64_t all = 0;
        for (unsigned id = 0; id < kWriters; ++id) {
            EXPECT_EQ(judge.critical(id), writers[id].critical);
            all += writers[id].critical;
        }
        EXPECT_GT(all, 0U);
        closelog();
    });
}

}  // namespace
