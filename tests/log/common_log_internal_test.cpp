// What callers of the log facility cannot reach: settings that no setter lets in, the
// initialisation run a second time, and the process-wide locks.
#include <cerrno>
#include <chrono>
#include <thread>

#include "forked.h"
#include "log/logger.h"
#include "log/process_locks.h"
#include "log/settings_list.h"
#include "settings_seen.h"
#include "wait_until.h"

namespace {

using namespace harness;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(CommonLogInternal, LevelSetReportsAnInvalidPeakloadControl)
{
    const Outcome outcome = well([] {
        COMMON_Log_LevelGet();
        common::log::logger.granularityPeakloadProcessing = 0;
        for (const std::uint32_t control : {3u, UINT32_MAX}) {
            common::log::logger.peakloadControl = control;
            COMMON_Log_LevelSet(kError);
            EXPECT_EQ(levels(), (Levels{control, kError, kInfo, kInfo}));
            EXPECT_EQ(COMMON_Log_Acceptable(kError), 1u);
            EXPECT_EQ(COMMON_Log_Acceptable(kWarn), 0u);
        }
    });
    const auto error = [](const char* message) {
        return said(kError, "COMMON_Log_LevelSet", message);
    };
    EXPECT_THAT(outcome.log, ElementsAre(error("Invalid logger.peakloadControl 3"),
                                         error("Invalid logger.peakloadControl -1")));
}

TEST(CommonLogInternal, AnInvalidPeakloadControlIsDumpedAsInvalid)
{
    const Outcome outcome = well([] {
        COMMON_Log_LevelGet();
        common::log::logger.granularityPeakloadProcessing = -5;
        common::log::logger.peakloadControl = 3;
        common::log::logger.level = 9;
        common::log::publish_gate();
        COMMON_LogDumpLoggerStatus("");
    });
    const auto all = reports(outcome);
    ASSERT_EQ(all.size(), 11u);
    EXPECT_EQ(all[6].message, "level:    Invalid (9) Current");
    EXPECT_EQ(all[9].message, "peakload: Invalid (3)");
    EXPECT_EQ(all[10].message, "granularityPeakloadProcessing: -5");
    EXPECT_EQ(all[0].priority, LOG_ERR);
    EXPECT_EQ(all[0].level, "Invalid");
}

TEST(CommonLogInternal, ASecondInitialisationOnlySaysSo)
{
    const Outcome outcome = well({.env = kDebugOn}, [] {
        COMMON_Log_LevelSet(kError);
        std::fflush(nullptr);
        common::log::threadOnce();
        EXPECT_EQ(COMMON_Log_LevelGet(), kError);
    });
    const auto rows = row_texts(outcome.err);
    ASSERT_FALSE(rows.empty());
    EXPECT_EQ(rows.back(), log_row("stderr", "threadOnce", "The once handler was already called"));
    const auto started = log_row("stdout", "threadOnce", "Initializing");
    EXPECT_THAT(row_texts(outcome.out), testing::Contains(started).Times(1));
    EXPECT_EQ(row_texts(outcome.out).back(), log_row("stdout", "threadOnce", "Initialized"));
}

TEST(CommonLogInternal, AForkDoesWithoutTheLocksThatItCannotHave)
{
    using common::process_locks;
    well([] {
        Event held;
        Event go_on;
        std::thread holder([&] {
            for (auto& lock : process_locks) {
                pthread_mutex_lock(&lock);
            }
            held.set();
            EXPECT_TRUE(go_on.wait());
            for (auto& lock : process_locks) {
                pthread_mutex_unlock(&lock);
            }
        });
        ASSERT_TRUE(held.wait());
        const auto start = std::chrono::steady_clock::now();
        const pid_t child = start_child([] {
            EXPECT_EQ(common::lost_locks, 0b11'1111);
            for (std::size_t i = 0; i < common::kProcessLockCount; ++i) {
                const int kind = process_locks[i].__data.__kind;
                EXPECT_EQ(kind, i == 0   ? PTHREAD_MUTEX_RECURSIVE_NP
                                : i == 5 ? PTHREAD_MUTEX_ADAPTIVE_NP
                                         : PTHREAD_MUTEX_TIMED_NP);
                EXPECT_EQ(pthread_mutex_trylock(&process_locks[i]), 0);
                EXPECT_EQ(pthread_mutex_unlock(&process_locks[i]), 0);
            }
        });
        EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
        await_child(child);
        EXPECT_EQ(common::lost_locks, 0);
        go_on.set();
        holder.join();
        const auto locks_are_really_taken = [] {
            EXPECT_EQ(common::lost_locks, 0);
            EXPECT_EQ(common::take(common::ProcessLock::Handler), 0);
            const auto index = static_cast<std::size_t>(common::ProcessLock::Handler);
            EXPECT_EQ(pthread_mutex_trylock(&process_locks[index]), EBUSY);
            EXPECT_EQ(common::release(common::ProcessLock::Handler), 0);
        };
        in_child(locks_are_really_taken);
        locks_are_really_taken();
        for (auto& lock : process_locks) {
            EXPECT_EQ(pthread_mutex_trylock(&lock), 0);
            EXPECT_EQ(pthread_mutex_unlock(&lock), 0);
        }
    });
}

/// What each setting refuses, under its whole name.
TEST(CommonLogInternal, EverySettingRefusesABadValueAndCountsAgainOnlyIfItMay)
{
    using common::log::Counts;
    static constexpr struct {
        const char* variable;
        Counts counts;
    } kSettings[] = {
#define ROW(setting, variable, counts, shown, reader) {variable, Counts::counts},
        COMMON_LOG_SETTINGS(ROW)
#undef ROW
    };
    for (const auto& [variable, counts] : kSettings) {
        SCOPED_TRACE(variable);
        const auto rows = [line = std::string(variable) + "=bad"](bool at_start) {
            const Outcome outcome = well(
                {.env = kDebugOn}, [&] { common::log::parseVariable(line.c_str(), at_start); });
            return row_texts(outcome.err);
        };
        const auto refused =
            log_row("stderr", "parseVariable", "Invalid " + std::string(variable) + ": bad");
        EXPECT_THAT(rows(true), ElementsAre(refused));
        EXPECT_THAT(rows(false),
                    testing::Contains(refused).Times(counts == Counts::Always ? 1 : 0));
    }
}

TEST(CommonLogInternal, ParsingNothingEndsTheProcess)
{
    const Outcome outcome = run_fresh([] { common::log::parseVariable(nullptr, true); });
    EXPECT_THAT(outcome, killed_by(SIGABRT));
    EXPECT_THAT(outcome.err,
                assertion_text("common_log", "parseVariable", "((void *)0) != variable"));
    EXPECT_THAT(outcome.log, IsEmpty());
}

}  // namespace
