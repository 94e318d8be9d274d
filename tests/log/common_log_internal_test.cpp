// What callers of the log facility cannot reach: settings that no setter lets in, and the
// initialisation run a second time.
#include "log/logger.h"
#include "settings_seen.h"

namespace {

using namespace bench;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(CommonLogInternal, LevelSetReportsAnInvalidPeakloadControl)
{
    const Outcome outcome = run_fresh([] {
        COMMON_Log_LevelGet();
        common::logger.granularityPeakloadProcessing = 0;
        for (const std::uint32_t control : {3u, UINT32_MAX}) {
            common::logger.peakloadControl = control;
            COMMON_Log_LevelSet(COMMON_LogLevelError);
            EXPECT_EQ(levels(), (Levels{control, COMMON_LogLevelError, 5, 5}));
            EXPECT_EQ(COMMON_Log_Acceptable(COMMON_LogLevelError), 1u);
            EXPECT_EQ(COMMON_Log_Acceptable(COMMON_LogLevelWarn), 0u);
        }
    });
    EXPECT_THAT(outcome, exited(0));
    const auto error = [](const char* message) {
        return said_by_log(COMMON_LogLevelError, "COMMON_Log_LevelSet", message);
    };
    EXPECT_THAT(reports(outcome), ElementsAre(error("Invalid logger.peakloadControl 3"),
                                              error("Invalid logger.peakloadControl -1")));
}

TEST(CommonLogInternal, AnInvalidPeakloadControlIsDumpedAsInvalid)
{
    const Outcome outcome = run_fresh([] {
        COMMON_Log_LevelGet();
        common::logger.granularityPeakloadProcessing = -5;
        common::logger.peakloadControl = 3;
        common::logger.level = 9;
        common::publish_gate();
        COMMON_LogDumpLoggerStatus("");
    });
    EXPECT_THAT(outcome, exited(0));
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
    const Outcome outcome = run_fresh({.env = kDebugOn}, [] {
        COMMON_Log_LevelSet(COMMON_LogLevelError);
        std::fflush(nullptr);
        common::threadOnce();
        EXPECT_EQ(COMMON_Log_LevelGet(), COMMON_LogLevelError);
    });
    EXPECT_THAT(outcome, exited(0));
    const auto rows = row_texts(outcome.err);
    ASSERT_FALSE(rows.empty());
    EXPECT_EQ(rows.back(), log_row("stderr", "threadOnce", "The once handler was already called"));
    const auto started = log_row("stdout", "threadOnce", "Initializing");
    EXPECT_THAT(row_texts(outcome.out), testing::Contains(started).Times(1));
    EXPECT_EQ(row_texts(outcome.out).back(), log_row("stdout", "threadOnce", "Initialized"));
}

TEST(CommonLogInternal, ParsingNothingEndsTheProcess)
{
    const Outcome outcome = run_fresh([] { common::parseVariable(nullptr, true); });
    EXPECT_THAT(outcome, killed_by(SIGABRT));
    EXPECT_THAT(outcome.err,
                assertion_text("common_log", "parseVariable", "((void *)0) != variable"));
    EXPECT_THAT(outcome.log, IsEmpty());
}

}  // namespace
