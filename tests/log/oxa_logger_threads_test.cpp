// Module names asked for and registered by several threads, and in a child that is forked among
// them.
#include "oxa_logger.h"

#include <atomic>
#include <barrier>
#include <cerrno>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "fault.h"
#include "log_calls.h"
#include "wait_until.h"

namespace {

using namespace harness;

constexpr unsigned kThreads = 8;
constexpr unsigned kNames = 32;
constexpr std::uint32_t kFixed = 219;

std::string name_number(unsigned number)
{
    return "NAME_" + std::to_string(number);
}

TEST(OxaLoggerThreads, AllThreadsGetTheSameIds)
{
    const FreshSetup setup{.files = {{"/oxa/slog/oxa_logger.cfg", "NAME_7\nNAME_3\n"}}};
    well(setup, [] {
        std::uint32_t ids[kThreads][kNames];
        std::barrier start(kThreads);
        std::vector<std::thread> threads;
        for (unsigned i = 0; i < kThreads; ++i) {
            threads.emplace_back([&, i] {
                start.arrive_and_wait();
                for (unsigned n = 0; n < kNames; ++n) {
                    // Half of the threads go backwards.
                    const unsigned number = i % 2 == 0 ? n : kNames - 1 - n;
                    ids[i][number] = LOG_ModuleIdAssignDynamic(name_number(number).c_str());
                }
            });
        }
        for (auto& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(LOG_GetNumModules(), kFixed + kNames);
        EXPECT_EQ(ids[0][7], kFixed);
        EXPECT_EQ(ids[0][3], kFixed + 1);
        for (unsigned n = 0; n < kNames; ++n) {
            EXPECT_EQ(LOG_GetModuleName(ids[0][n]), name_number(n));
            for (unsigned i = 1; i < kThreads; ++i) {
                EXPECT_EQ(ids[i][n], ids[0][n]);
            }
        }
    });
}

FRESH_TEST(OxaLoggerThreads, ReadersSeeTheNameOfEveryIdThatTheySee)
{
    std::atomic<bool> done{false};
    std::vector<std::thread> readers;
    for (unsigned i = 0; i < 3; ++i) {
        readers.emplace_back([&] {
            while (!done) {
                const std::uint32_t count = LOG_GetNumModules();
                if (count > kFixed) {
                    EXPECT_EQ(LOG_GetModuleName(count - 1), name_number(count - kFixed - 1));
                    EXPECT_EQ(LOG_IsModuleIdValid(count - 1), 1u);
                }
            }
        });
    }
    for (unsigned n = 0; n < kNames; ++n) {
        EXPECT_EQ(LOG_ModuleIdAssignDynamic(name_number(n).c_str()), kFixed + n);
        std::this_thread::yield();
    }
    done = true;
    for (auto& reader : readers) {
        reader.join();
    }
}

TEST(OxaLoggerThreads, TheConfigurationIsReadByOneThreadAndTheOthersWait)
{
    const FreshSetup setup{.files = {{"/oxa/slog/oxa_logger.cfg", "ONE\nTWO\n"}}};
    well(setup, [] {
        std::barrier start(kThreads);
        std::atomic<int> successes{0};
        std::atomic<int> completes{0};
        std::vector<std::thread> threads;
        for (unsigned i = 0; i < kThreads; ++i) {
            threads.emplace_back([&] {
                start.arrive_and_wait();
                const STATUS status = LOG_ModuleIdReadConfig();
                successes += status == STATUS_SUCCESS ? 1 : 0;
                completes += status == STATUS_COMPLETE ? 1 : 0;
                EXPECT_EQ(LOG_GetNumModules(), kFixed + 2) << "nobody is told before it is read";
            });
        }
        for (auto& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(successes, 1);
        EXPECT_EQ(completes, static_cast<int>(kThreads) - 1);
    });
}

/// Forks while another thread is inside a call of the library, which holds a lock there: that of
/// this number among those that a fork waits for, in vain. The child must be able to register a
/// name, and the parent to go on.
void fork_while_another_thread_is_in(fault::Call call, int nth, int lock)
{
    const FreshSetup setup{.files = {{"/oxa/slog/oxa_logger.cfg", "LISTED\n"}}};
    well(setup, [=] {
        Event inside;
        Event go_on;
        fault::on_call(call, nth, [&] {
            inside.set();
            EXPECT_TRUE(go_on.wait());
        });
        std::thread holder([] { EXPECT_NE(LOG_ModuleIdAssignDynamic("HOLDER"), 0u); });
        ASSERT_TRUE(inside.wait());
        fault::fail(fault::Call::pthread_mutex_clocklock, lock, ETIMEDOUT);
        const pid_t child = fork();
        if (child == 0) {
            const std::uint32_t id = LOG_ModuleIdAssignDynamic("CHILD");
            const bool right = id != 0 && std::string(LOG_GetModuleName(id)) == "CHILD";
            _exit(right && LOG_ModuleIdReadConfig() == STATUS_COMPLETE ? 0 : 1);
        }
        int status = -1;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
        go_on.set();
        holder.join();
        EXPECT_EQ(LOG_ModuleIdAssignDynamic("HOLDER"), kFixed + 1);
        EXPECT_EQ(LOG_GetNumModules(), kFixed + 2);
    });
}

TEST(OxaLoggerThreads, AForkWhileAnotherThreadReadsTheConfiguration)
{
    fork_while_another_thread_is_in(fault::Call::open, 1, 2);
}

TEST(OxaLoggerThreads, AForkWhileAnotherThreadRegistersAName)
{
    // The first name that is copied is that of the file.
    fork_while_another_thread_is_in(fault::Call::strdup, 2, 3);
}

}  // namespace
