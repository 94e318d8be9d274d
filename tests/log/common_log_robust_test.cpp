// What callers may rely on in bad times: errno, forks, exec, a log daemon that hangs or is not
// there, cancelled threads, many threads at once.
#include <atomic>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <map>
#include <optional>
#include <string_view>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "common_debug.h"
#include "common_log_settings.h"
#include "forked.h"
#include "hanging_daemon.h"
#include "log_calls.h"
#include "log_socket.h"
#include "wait_until.h"

namespace {

using namespace harness;
using testing::Contains;
using testing::ElementsAre;
using testing::SizeIs;

const struct {
    const char* name;
    void (*call)();
} kCalls[] = {
    {"accepted", [] { log_message(kInfo, "m"); }},
    {"rejected", [] { log_message(kVerbose, "m"); }},
    {"long", [] { log_message(kInfo, "%s", std::string(5000, 'x').c_str()); }},
    {"fatal", [] { log_message(kFatal, "m"); }},
    {"acceptable", [] { COMMON_Log_Acceptable(5); }},
    {"not acceptable", [] { COMMON_Log_Acceptable(6); }},
};

TEST(CommonLogErrno, IsUntouchedByEveryCall)
{
    for (const auto& test : kCalls) {
        for (const bool daemon : {true, false}) {
            FreshSetup setup{.env = kDebugOn};
            setup.open_log_socket = daemon;
            well(setup, [&] {
                for (int i = 0; i < 3; ++i) {  // the first one initialises
                    errno = 4711;
                    test.call();
                    EXPECT_EQ(errno, 4711) << test.name << i;
                }
            });
        }
    }
}

TEST(CommonLogErrno, OfTheCallerShowsInRecordAndEcho)
{
    for (const char* cache : {"True", "False"}) {
        FreshSetup setup{.env = kDebugOn};
        setup.env["COMMON_LOG_CACHE"] = cache;
        const Outcome outcome = well(setup, [] {
            const UncheckedWrite log_write = COMMON_Log_Write;
            for (const int error : {ENOENT, EXDEV}) {  // the first record initialises
                errno = error;
                log_write(kFatal, kZoneNumber, "ZONE", "file.c", "function", 7, "failed: %m (%d)",
                          1);
            }
        });
        const std::string first = "failed: No such file or directory (1)";
        const std::string second = "failed: Invalid cross-device link (1)";
        EXPECT_THAT(outcome.log, ElementsAre(said(kFatal, first), said(kFatal, second)));
        const auto rows = row_texts(outcome.err);
        EXPECT_THAT(rows, Contains(RowText{"stderr", "file.c", "function", first}).Times(1));
        EXPECT_THAT(rows, Contains(RowText{"stderr", "file.c", "function", second}).Times(1));
    }
}

TEST(CommonLogErrno, OfTheCallerShowsAlsoWhereTheTimeZoneIsUnknown)
{
    const Outcome record = well([] {
        const UncheckedWrite log_write = COMMON_Log_Write;
        setenv("TZ", ":Nowhere", 1);  // looking for it sets errno
        errno = EXDEV;
        log_write(kInfo, kZoneNumber, "ZONE", "file.c", "function", 7, "%m");
    });
    EXPECT_THAT(record.log, ElementsAre(said(kInfo, "Invalid cross-device link")));

    const Outcome row = well({.env = kDebugOn}, [] {
        void (*const write)(std::FILE*, const char*, const char*, std::int32_t, const char*, ...) =
            COMMON_Debug_Write;
        setenv("TZ", ":Nowhere", 1);
        errno = EXDEV;
        write(stderr, "file.c", "function", 7, "%m");
    });
    EXPECT_THAT(row_texts(row.err),
                ElementsAre(RowText{"stderr", "file.c", "function", "Invalid cross-device link"}));
}

TEST(CommonLogErrno, OfTheCallerShowsInTheEchoAlsoWhenTheDaemonIsGone)
{
    const Outcome outcome = well({.env = kDebugOn, .open_log_socket = false}, [] {
        LogSocket daemon;
        daemon.bind_at();
        log_message(kInfo, "connected");
        daemon.close();
        const UncheckedWrite log_write = COMMON_Log_Write;
        errno = EXDEV;
        log_write(kFatal, kZoneNumber, "ZONE", "file.c", "function", 7, "%m");
    });
    EXPECT_THAT(
        row_texts(outcome.err),
        Contains(RowText{"stderr", "file.c", "function", "Invalid cross-device link"}).Times(1));
}

/// Whether the process is connected to the system log.
bool is_connected()
{
    for (int fd = 0; fd < 100; ++fd) {
        sockaddr_un peer{};
        socklen_t size = sizeof peer;
        if (getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &size) == 0 &&
            peer.sun_family == AF_UNIX && std::string_view(peer.sun_path) == "/dev/log") {
            return true;
        }
    }
    return false;
}

TEST(CommonLogDaemon, IsConnectedByTheFirstCallHoweverTheProgramOpenedItsLog)
{
    const Outcome outcome = well([] {
        openlog("identity", LOG_PID | LOG_PERROR, LOG_LOCAL3);
        EXPECT_FALSE(is_connected());
        COMMON_Log_LevelGet();
        EXPECT_TRUE(is_connected());
        log_message(kInfo, "m");
        openlog(nullptr, LOG_PID, LOG_LOCAL3);
        COMMON_Log_LegacySet(1);
        log_message(kInfo, "m");
        syslog(LOG_INFO, "of the program");
    });
    EXPECT_EQ(outcome.err, "");
    ASSERT_THAT(outcome.log, SizeIs(3));
    for (const auto& record : outcome.log) {
        EXPECT_EQ(record.process, -1) << record.raw;
        EXPECT_EQ(record.facility, LOG_USER) << record.raw;
    }
}

TEST(CommonLogDaemon, GetsNoRecordThatIsLargerThanASocketSendsAtOnce)
{
    const Outcome outcome = well([] {
        const int probe = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        int limit = 0;
        socklen_t size = sizeof limit;
        ASSERT_EQ(getsockopt(probe, SOL_SOCKET, SO_SNDBUF, &limit, &size), 0);
        close(probe);
        const std::string zone(static_cast<std::size_t>(limit), 'z');
        COMMON_Log_Write(kInfo, kZoneNumber, zone.c_str(), "file.c", "function", 7, "lost");
        log_message(kInfo, "next");
    });
    EXPECT_THAT(outcome.log, ElementsAre(said(kInfo, "next")));
}

TEST(CommonLogDaemon, WithoutOneRecordsAreDropped)
{
    const Outcome outcome = well({.open_log_socket = false}, [] {
        log_message(kInfo, "dropped");
        LogSocket daemon;
        daemon.bind_at();
        log_message(kInfo, "the daemon came up");
        EXPECT_THAT(daemon.receive_all(), SizeIs(1));
        daemon.close();
        unlink("/dev/log");
        log_message(kInfo, "dropped again");
    });
    EXPECT_EQ(outcome.err, "");
}

/// Threads that write as fast as they can until they are told to stop. Each has written once before
/// the constructor returns: with its first record a thread allocates memory, and the address
/// sanitizer's allocator may not be at work in another thread when a process forks.
class Hammer {
public:
    explicit Hammer(int threads)
    {
        for (int i = 0; i < threads; ++i) {
            threads_.emplace_back([this] {
                log_message(kInfo, "hammer");
                ++ready_;
                while (!stop_) {
                    log_message(kInfo, "hammer");
                    ++written_;
                }
            });
        }
        EXPECT_TRUE(wait_until([&] { return ready_ == threads; }));
    }
    Hammer(const Hammer&) = delete;
    Hammer& operator=(const Hammer&) = delete;
    ~Hammer()
    {
        stop_ = true;
        for (auto& thread : threads_) {
            thread.join();
        }
    }

    int said() const { return written_; }

private:
    std::atomic<bool> stop_{false};
    std::atomic<int> written_{0};
    std::atomic<int> ready_{0};
    std::vector<std::thread> threads_;
};

class ForkWhileLogging : public testing::TestWithParam<const char*> {};
INSTANTIATE_TEST_SUITE_P(Cache, ForkWhileLogging, testing::Values("True", "False"));

TEST_P(ForkWhileLogging, EveryChildLogs)
{
    constexpr int kForks = 200;
    FreshSetup setup{.env = {{"COMMON_LOG_CACHE", GetParam()}}};
    setup.time_limit = std::chrono::seconds(60);
    const Outcome outcome = well(setup, [] {
        const Hammer hammer(8);
        for (int i = 0; i < kForks; ++i) {
            const int before = hammer.said();
            in_child([i] {
                log_message(kInfo, "child %d", i);
                log_message(kError, "child %d once more", i);
            });
            EXPECT_TRUE(wait_until([&] { return hammer.said() > before; }));
        }
    });
    std::vector<LogRecord> children;
    for (const auto& one : outcome.log) {
        if (one != said(kInfo, "hammer")) {
            children.push_back(one);
        }
    }
    ASSERT_THAT(children, SizeIs(2 * kForks));
    for (int i = 0; i < kForks; ++i) {
        const std::string name = "child " + std::to_string(i);
        EXPECT_EQ(children[2 * static_cast<std::size_t>(i)], said(kInfo, name));
        EXPECT_EQ(children[2 * static_cast<std::size_t>(i) + 1], said(kError, name + " once more"));
    }
}

TEST(CommonLogFork, EveryChildKnowsTheLocalTimeWhateverOthersAskMeanwhile)
{
    FreshSetup setup{.env = kDebugOn};
    setup.time_limit = std::chrono::seconds(60);
    const Outcome outcome = well(setup, [] {
        std::atomic<bool> stop{false};
        std::atomic<int> rows{0};
        std::atomic<int> ready{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([&] {
                std::FILE* const stream = std::fopen("/dev/null", "we");
                COMMON_Debug_Write(stream, "test", "thread", 1, "row");
                ++ready;
                while (!stop) {
                    COMMON_Debug_Write(stream, "test", "thread", 1, "row");
                    ++rows;
                }
                std::fclose(stream);
            });
        }
        EXPECT_TRUE(wait_until([&] { return ready == 4; }));  // as for Hammer
        for (int i = 0; i < 300; ++i) {
            const int before = rows;
            in_child([] { log_message(kInfo, "child"); });
            EXPECT_TRUE(wait_until([&] { return rows > before; }));
        }
        stop = true;
        for (auto& thread : threads) {
            thread.join();
        }
    });
    EXPECT_THAT(outcome.log, SizeIs(300));
}

TEST(CommonLogFork, ChildKeepsTheCapturedProcessButHasItsOwnThread)
{
    for (const COMMON_LogFormat_t format : {0u, 1u, 2u, 3u, 4u}) {
        const Outcome outcome = well([format] {
            prctl(PR_SET_NAME, "captured");
            COMMON_Log_FormatSet(format);
            log_message(kInfo, "parent");
            prctl(PR_SET_NAME, "renamed");
            std::printf("%d", getpid());
            std::fflush(stdout);
            in_child([] { log_message(kInfo, "%d", getpid()); });
            in_child([] { std::thread([] { log_message(kInfo, "%d", gettid()); }).join(); });
        });
        ASSERT_THAT(outcome.log, SizeIs(3)) << format;
        const std::int64_t captured = std::stol(outcome.out);
        for (std::size_t i = 1; i < 3; ++i) {
            const std::string& text = outcome.log[i].text;
            const auto fields = format == 0   ? parse_legacy(text)
                                : format == 1 ? parse_all(text)
                                : format == 2 ? parse_columns(text)
                                : format == 3 ? parse_syslogng(text)
                                              : parse_syslogngext(text);
            ASSERT_TRUE(fields.has_value()) << outcome.log[i];
            if (format == 1 || format == 4) {
                EXPECT_EQ(fields->pid, captured);
                EXPECT_EQ(fields->process, "captured");
            }
            if (format == 1 || format == 2 || format == 4) {
                EXPECT_EQ(std::to_string(fields->tid), fields->message);
                EXPECT_NE(fields->tid, captured);
            }
            if (format == 3 && i == 1) {
                EXPECT_EQ(std::to_string(fields->pid), fields->message);
            }
            if (format == 3) {
                EXPECT_NE(fields->pid, captured);
            }
        }
    }
}

TEST(CommonLogFork, GrandchildrenLogUnderTheirOwnThreads)
{
    const Outcome outcome = well([] {
        log_message(kInfo, "%d", gettid());
        in_child([] {
            in_child([] { log_message(kInfo, "%d", gettid()); });
            log_message(kInfo, "%d", gettid());
        });
        log_message(kInfo, "%d", gettid());
    });
    ASSERT_THAT(outcome.log, SizeIs(4));
    for (const auto& record : outcome.log) {
        EXPECT_EQ(std::to_string(fields_of(record).tid), fields_of(record).message);
    }
}

TEST(CommonLogExec, NoDescriptorReachesTheProgram)
{
    FreshSetup setup{.env = kDebugOn};
    setup.files = {{"/config/common/log/settings.txt", "COMMON_LOG_LEVEL=Debug\n"},
                   {"/config/common/debug/settings.txt", "COMMON_DEBUG_ROW_LENGTH=16\n"}};
    const Outcome outcome = well(setup, [] {
        close_range(3, ~0u, CLOSE_RANGE_CLOEXEC);  // whatever the test itself was started with
        log_message(kInfo, "m");
        std::puts("descriptors:");
        std::fflush(stdout);
        dup2(STDOUT_FILENO, 50);  // shows that the program would tell of one that it got
        execl("/bin/sh", "sh", "-c",
              "for i in $(seq 0 100); do if [ -e /proc/$$/fd/$i ]; then echo $i; fi; done",
              nullptr);
        ADD_FAILURE() << "cannot execute a shell";
    });
    EXPECT_THAT(outcome.out, testing::EndsWith("descriptors:\n0\n1\n2\n50\n"));
    EXPECT_THAT(outcome.log, ElementsAre(said(kInfo, "m")));
}

TEST(CommonLogHangingDaemon, NothingIsLostOnceItReads)
{
    well(hanging_daemon_setup(), [] {
        HangingDaemon daemon;
        const int records = HangingDaemon::more_than_the_queue();
        std::thread writer = daemon.start_blocked_writer(records);
        EXPECT_LT(daemon.sent(), records);
        EXPECT_TRUE(wait_until([&] { return daemon.received("queued") == records; }));
        writer.join();
    });
}

TEST(CommonLogHangingDaemon, CancelledWritersLeaveOthersAbleToLog)
{
    well(hanging_daemon_setup(), [] {
        HangingDaemon daemon;
        COMMON_Log_LevelGet();
        std::vector<pthread_t> writers(4);
        for (auto& writer : writers) {
            const auto entry = [](void*) -> void* {
                for (;;) {
                    log_message(kInfo, "queued");
                }
            };
            ASSERT_EQ(pthread_create(&writer, nullptr, entry, nullptr), 0);
        }
        EXPECT_TRUE(wait_until(HangingDaemon::is_full));
        for (const auto& writer : writers) {
            pthread_cancel(writer);
        }
        // Where a cancelled thread waits for a lock it ends only when it gets it.
        std::atomic<bool> joined{false};
        std::thread joiner([&] {
            for (const auto& writer : writers) {
                void* result = nullptr;
                pthread_join(writer, &result);
                EXPECT_EQ(result, PTHREAD_CANCELED);
            }
            log_message(kInfo, "after all were cancelled");
            joined = true;
        });
        EXPECT_TRUE(wait_until([&] {
            daemon.received("");
            return joined.load();
        }));
        joiner.join();
        EXPECT_EQ(daemon.received("after all were cancelled"), 1);
    });
}

TEST(CommonLogThreads, WriteWholeRecordsWhileSettingsChange)
{
    constexpr int kThreads = 8;
    constexpr int kRecords = 1'000;
    FreshSetup setup;
    setup.time_limit = std::chrono::seconds(60);
    const Outcome outcome = well(setup, [] {
        std::atomic<bool> stop{false};
        std::thread setter([&] {
            for (unsigned i = 0; !stop; ++i) {
                COMMON_Log_FormatSet(i % 6);
                COMMON_Log_StripSet(i % 2);
                COMMON_Log_CacheSet(i / 2 % 2);
                COMMON_Log_LevelSet(kError + i % 5);
                COMMON_Log_LegacySet(i / 64 % 2);
                COMMON_Log_EnableSet(1);
                COMMON_Log_PeakloadControlSet(i % 3);
            }
        });
        std::vector<std::thread> writers;
        for (int thread = 0; thread < kThreads; ++thread) {
            writers.emplace_back([thread] {
                for (int i = 0; i < kRecords; ++i) {
                    COMMON_Log_Write(kCritical, kZoneNumber, "ZONE", "dir/file.c", "function", 7,
                                     "<%d %d>", thread, i);
                }
            });
        }
        for (auto& writer : writers) {
            writer.join();
        }
        stop = true;
        setter.join();
    });
    ASSERT_THAT(outcome.log, SizeIs(kThreads * kRecords));
    std::map<int, int> next;
    for (const auto& record : outcome.log) {
        const std::string& text = record.text;
        std::optional<LayoutFields> fields;
        for (const auto parse :
             {parse_legacy, parse_all, parse_columns, parse_syslogngext, parse_syslogng}) {
            if (!fields) {
                fields = parse(text);
            }
        }
        ASSERT_TRUE(fields.has_value()) << record;
        int thread = -1;
        int number = -1;
        ASSERT_EQ(std::sscanf(fields->message.c_str(), "<%d %d>", &thread, &number), 2) << record;
        ASSERT_EQ(number, next[thread]++) << record;
        ASSERT_THAT(fields->file, testing::AnyOf("file.c", "dir/file.c")) << record;
        ASSERT_EQ(record.priority, LOG_CRIT);
    }
}

}  // namespace
