// What callers of the log facility cannot reach: settings that no setter lets in, the
// initialisation run a second time, and the process-wide locks.
#include <cerrno>
#include <chrono>
#include <thread>

#include "forked.h"
#include "log/logger.h"
#include "log/process_locks.h"
#include "log/settings_list.h"
#include "settings_files.h"
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
        COMMON_Log_LevelSet(kFatal);
        EXPECT_EQ(COMMON_Log_Acceptable(kError), 0u) << "so what follows is not reported";
        COMMON_Log_LevelSet(kFatal);
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

// From the start on, not only in a child, where all are made anew.
TEST(CommonLogInternal, OnlyTheLockOfTheDescriptorsIsRecursive)
{
    for (std::size_t i = 0; i < common::kProcessLockCount; ++i) {
        pthread_mutex_t& lock = common::process_locks[i];
        const bool recursive = i == static_cast<std::size_t>(common::ProcessLock::Descriptors);
        ASSERT_EQ(pthread_mutex_trylock(&lock), 0) << i;
        EXPECT_EQ(pthread_mutex_trylock(&lock), recursive ? 0 : EBUSY) << i;
        EXPECT_EQ(pthread_mutex_unlock(&lock), 0);
        if (recursive) {
            EXPECT_EQ(pthread_mutex_unlock(&lock), 0);
        }
    }
}

TEST(CommonLogInternal, HandlerLibraryWithoutAHandlerLeavesTheBuiltInOne)
{
    const Outcome outcome = well({.env = kDebugOn}, [] {
        COMMON_Log_LevelGet();
        char library = 0;
        common::log::logger.handlerLibrary = &library;
        EXPECT_EQ(COMMON_Log_LegacySet(0), 0);
        EXPECT_EQ(COMMON_Log_LegacyGet(), 1u);
        log_message(kInfo, "m");
    });
    EXPECT_EQ(row_texts(outcome.err).back(),
              log_row("stderr", "legacySet", "The handler was set to liboxa.so"));
    EXPECT_THAT(outcome.log, ElementsAre(said(kInfo, "m")));
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
        for (auto& lock : process_locks) {
            EXPECT_EQ(pthread_mutex_trylock(&lock), EBUSY) << "held as it was";
        }
        go_on.set();
        holder.join();
        const auto locks_are_really_taken = [] {
            EXPECT_EQ(common::lost_locks, 0);
            for (std::size_t i = 0; i < common::kProcessLockCount; ++i) {
                const auto lock = static_cast<common::ProcessLock>(i);
                EXPECT_EQ(common::take(lock), 0);
                EXPECT_NE(process_locks[i].__data.__lock, 0) << i;
                EXPECT_EQ(common::release(lock), 0);
                EXPECT_EQ(process_locks[i].__data.__lock, 0) << i;
            }
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

/// What every call of the log looks at, and nothing else, as long as there is nothing more to do.
std::uint32_t gate()
{
    return common::log::gate.load();
}

FRESH_TEST(CommonLogInternal, TheGateTellsHowManyLevelsAreAccepted)
{
    EXPECT_EQ(gate(), common::log::kGateSlow) << "there are settings to be read";
    COMMON_Log_PeakloadControlSet(kNone);
    for (COMMON_LogLevel_t level = kFatal; level <= kVerbose; ++level) {
        COMMON_Log_LevelSet(level);
        EXPECT_EQ(gate(), level + 1);
    }
    for (const auto control : {kOff, kOn}) {
        COMMON_Log_PeakloadControlSet(control);
        EXPECT_EQ(gate(), common::log::kGateSlow) << "files may have changed";
    }
    common::log::logger.granularityPeakloadProcessing = 0;
    common::log::publish_gate();
    EXPECT_EQ(gate(), kVerbose + 1) << "they are not looked at again";
    common::log::logger.enable = 0;
    common::log::publish_gate();
    EXPECT_EQ(gate(), 0u);
}

TEST(CommonLogInternal, TheGateIsOpenWhenTheSettingsAreRead)
{
    const FreshSetup setup{.env = {{"COMMON_LOG_PEAKLOAD_CONTROL", "None"}}};
    run_silently(setup, [] {
        EXPECT_EQ(COMMON_Log_LevelGet(), kInfo);
        EXPECT_EQ(gate(), kInfo + 1);
        common::log::gate = common::log::kGateSlow;
        common::log::threadOnce();
        EXPECT_EQ(gate(), kInfo + 1) << "as a child does that was forked meanwhile";
    });
}

FRESH_TEST(CommonLogInternal, AFileThatTurnsReadingAgainOffIsTheLast)
{
    COMMON_Log_PeakloadControlSet(kOn);
    common::log::logger.granularityPeakloadProcessing = 1;
    ASSERT_EQ(gate(), common::log::kGateSlow);
    put_file(kSharedFile, "COMMON_LOG_PEAKLOAD_CONTROL=None\n", 1'000'000'000);
    EXPECT_TRUE(wait_until([] {
        COMMON_Log_Acceptable(kInfo);
        return gate() != common::log::kGateSlow;
    }));
}

TEST(CommonLogInternal, WithoutAHandlerTheProcessEnds)
{
    const Outcome outcome = run_fresh([] {
        COMMON_Log_LevelGet();
        common::log::logger.handler.store(nullptr);
        log_message(kError, "nobody");
    });
    EXPECT_THAT(outcome, killed_by(SIGABRT));
    EXPECT_THAT(outcome.err,
                assertion_text("common_log", "COMMON_Log_WriteV", "0 != logger.handler"));
    EXPECT_THAT(outcome.log, IsEmpty());
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
