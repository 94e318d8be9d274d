// Debug rows of several threads, and of a child that is forked among them.
#include "common_debug.h"

#include <algorithm>
#include <atomic>
#include <barrier>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "log_calls.h"

namespace {

using namespace harness;

constexpr unsigned kThreads = 8;
constexpr unsigned kRowsOfAThread = 100;

/// A message that would show if rows mixed: long, and the same letter all over.
std::string message_of(unsigned thread)
{
    return std::string(100 + thread, static_cast<char>('a' + thread));
}

void write_rows(unsigned thread)
{
    for (unsigned i = 0; i < kRowsOfAThread; ++i) {
        COMMON_Debug_Write(stdout, "f", "g", static_cast<std::int32_t>(i), "%s",
                           message_of(thread).c_str());
    }
}

void run_threads(const std::function<void(unsigned)>& body)
{
    std::barrier start(kThreads);
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, i] {
            start.arrive_and_wait();
            body(i);
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
}

TEST(CommonDebugThreads, RowsNeverMix)
{
    const Outcome outcome = well({.env = kDebugOn}, [] { run_threads(write_rows); });
    EXPECT_TRUE(outcome.out.starts_with(kDebugHeader)) << "the first thread writes the header";
    std::vector<unsigned> next_line(kThreads, 0);
    const auto rows = debug_rows(outcome.out);
    EXPECT_EQ(rows.size(), kThreads * kRowsOfAThread);
    for (const DebugRow& row : rows) {
        ASSERT_FALSE(row.message.empty());
        const auto thread = static_cast<unsigned>(row.message[0] - 'a');
        ASSERT_LT(thread, kThreads) << row.message;
        EXPECT_EQ(row.message, message_of(thread));
        EXPECT_EQ(row.line, next_line[thread]++) << "the rows of a thread keep their order";
    }
}

TEST(CommonDebugThreads, FirstCallsOfAllThreadsInitialiseOnce)
{
    const FreshSetup setup{
        .env = {{"COMMON_DEBUG_ENABLE", "True"}, {"COMMON_DEBUG_ROW_LENGTH", "2"}}};
    const Outcome outcome =
        well(setup, [] { run_threads([](unsigned) { EXPECT_EQ(COMMON_Debug_GetEnable(), 1u); }); });
    EXPECT_EQ(outcome.out, "Using minimum row length '4' due to invalid value: 2\n");
}

TEST(CommonDebugThreads, ChildrenForkedAmongWritersCanWrite)
{
    constexpr unsigned kChildren = 20;
    const Outcome outcome = well({.env = kDebugOn}, [] {
        COMMON_Debug_Write(stderr, "f", "g", 0, "parent");
        std::atomic<bool> done{false};
        std::vector<std::thread> writers;
        for (unsigned i = 0; i < 2; ++i) {
            writers.emplace_back([&done, i] {
                while (!done) {
                    COMMON_Debug_Write(stdout, "f", "g", 0, "%s", message_of(i).c_str());
                }
            });
        }
        for (unsigned i = 0; i < kChildren; ++i) {
            const pid_t child = fork();
            if (child == 0) {
                COMMON_Debug_Write(stderr, "f", "g", 0, "child %u", i);
                _exit(0);
            }
            int status = -1;
            EXPECT_EQ(waitpid(child, &status, 0), child);
            EXPECT_EQ(status, 0);
        }
        done = true;
        for (auto& writer : writers) {
            writer.join();
        }
    });
    const auto rows = debug_rows(outcome.err);
    ASSERT_EQ(rows.size(), kChildren + 1);
    for (unsigned i = 0; i < kChildren; ++i) {
        EXPECT_EQ(rows[i + 1].message, "child " + std::to_string(i));
    }
}

}  // namespace
