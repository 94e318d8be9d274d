// Settings files that cannot be opened or closed, and a clock that fails or goes backwards.
#include <chrono>

#include "fault.h"
#include "held_clock.h"
#include "settings_files.h"
#include "settings_seen.h"

namespace {

using namespace harness;
using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::int64_t kNow = 1'700'000'000;
constexpr std::int64_t kWritten = 1'600'000'000;
constexpr auto kGranularity = 1000ms;

const char* const kDebugLevel = "COMMON_LOG_LEVEL=Debug\n";

const RowText kNotClosed =
    log_row("stderr", "common_log_process_settings_files",
            "Failed to close the global log file \"/config/common/log/settings.txt\" with error: "
            "Input/output error");

RowText files_row(const char* message)
{
    return log_row("stderr", "common_log_process_settings_files", message);
}

/// Rows on standard error of the procedure that reads the files.
std::vector<RowText> files_rows(const Outcome& outcome)
{
    std::vector<RowText> all;
    for (const RowText& row : row_texts(outcome.err)) {
        if (row.function == "common_log_process_settings_files") {
            all.push_back(row);
        }
    }
    return all;
}

FreshSetup setup_with(bool debug)
{
    FreshSetup setup{.env = {{"COMMON_LOG_PEAKLOAD_CONTROL", "Off"}}};
    if (debug) {
        setup.env.insert(kDebugOn.begin(), kDebugOn.end());
    }
    return setup;
}

/// Runs a body under peakload control, with the clock held, right after a look for files: once
/// with debug output, once without. @return what it wrote with debug output.
Outcome run_held(const std::function<void()>& body)
{
    const auto held_body = [&] {
        hold_clock_at(kNow);
        COMMON_Log_LevelGet();
        body();
    };
    const Outcome quiet = well(setup_with(false), held_body);
    EXPECT_EQ(quiet.out + quiet.err, "");
    Outcome outcome = well(setup_with(true), held_body);
    EXPECT_THAT(outcome.log, IsEmpty());
    return outcome;
}

TEST(CommonLogFilesFault, AFailingClockOnlyPutsTheReadingOff)
{
    const Outcome outcome = run_held([] {
        put_file(kSharedFile, kDebugLevel, kWritten);
        move_clock(kGranularity);
        fault::fail(fault::Call::clock_gettime);
        EXPECT_EQ(COMMON_Log_LevelGet(), kInfo);
        EXPECT_EQ(fault::fired(), 1);
        EXPECT_EQ(COMMON_Log_LevelGet(), kDebug);
    });
    EXPECT_THAT(files_rows(outcome), ElementsAre(files_row("Failed to get current ftime")));
}

// The report of the clock's failure is a call of the facility, too.
TEST(CommonLogFilesFault, AReportMadeMeanwhileDoesNotLookForFilesAgain)
{
    const Outcome outcome = well(setup_with(true), [] {
        hold_clock_at(kNow);
        COMMON_Log_LevelGet();
        fault::fail_always(fault::Call::clock_gettime);
        COMMON_Log_LevelGet();
    });
    EXPECT_THAT(files_rows(outcome), ElementsAre(files_row("Failed to get current ftime")));
    EXPECT_THAT(outcome.log, testing::SizeIs(1));
}

// A setting of the files may need the lock that is held there.
TEST(CommonLogFilesFault, AReportMadeWhileTheHandlerIsSetDoesNotLookForFiles)
{
    FreshSetup setup = setup_with(true);
    setup.env["COMMON_LOG_CACHE"] = "False";
    const Outcome outcome = well(setup, [] {
        hold_clock_at(kNow);
        COMMON_Log_LevelGet();
        put_file(kSharedFile, "COMMON_LOG_CACHE=True\n", kWritten);
        fault::on_call(fault::Call::pthread_mutex_lock, 1, [] {
            move_clock(kGranularity);
            fault::fail(fault::Call::clock_gettime);
        });
        EXPECT_EQ(COMMON_Log_LegacySet(0), 0);
        EXPECT_EQ(fault::fired(), 1);
        EXPECT_EQ(COMMON_Log_CacheGet(), 1u);
    });
    EXPECT_THAT(outcome.log, testing::SizeIs(1));
}

TEST(CommonLogFilesFault, AClockThatGoesBackwardsStartsTheGranularityAnew)
{
    const Outcome outcome = run_held([] {
        put_file(kSharedFile, kDebugLevel, kWritten);
        move_clock(-1ms);
        EXPECT_EQ(COMMON_Log_LevelGet(), kInfo);
        move_clock(kGranularity - 1ms);
        EXPECT_EQ(COMMON_Log_LevelGet(), kInfo);
        move_clock(1ms);
        EXPECT_EQ(COMMON_Log_LevelGet(), kDebug);
        move_clock(-24h);
        EXPECT_EQ(COMMON_Log_LevelGet(), kDebug);
        touch(kSharedFile, kWritten + 1);
        COMMON_Log_LevelSet(kError);
        move_clock(kGranularity);
        EXPECT_EQ(COMMON_Log_LevelGet(), kDebug);
    });
    EXPECT_THAT(files_rows(outcome),
                ElementsAre(files_row("The current time before the previous time"),
                            files_row("The current time before the previous time")));
}

TEST(CommonLogFilesFault, ClosingFailuresNameTheConfiguredFileWhicheverItIs)
{
    static const std::string kPaths[] = {kConfiguredFile, kSharedFile};
    for (const std::string& path : kPaths) {
        const FreshSetup setup{.env = kDebugOn, .files = {{path, kDebugLevel}}};
        const Outcome outcome = well(setup, [] {
            fault::fail_always(fault::Call::close, EIO);
            EXPECT_EQ(COMMON_Log_LevelGet(), kDebug) << "it was read all the same";
        });
        EXPECT_THAT(files_rows(outcome), ElementsAre(kNotClosed)) << path;
    }
    for (const bool own : {false, true}) {
        const Outcome outcome = run_held([=] {
            put_file(own ? own_file() : kSharedFile, kDebugLevel, kWritten);
            move_clock(kGranularity);
            fault::fail(fault::Call::close, 1, EIO);
            EXPECT_EQ(COMMON_Log_LevelGet(), kDebug) << "it was read all the same";
            EXPECT_EQ(fault::fired(), 1);
        });
        EXPECT_THAT(files_rows(outcome), ElementsAre(kNotClosed)) << own;
    }
}

TEST(CommonLogFilesFault, AClosingFailureIsSilentWhileDebugOutputIsOff)
{
    const FreshSetup setup{.files = {{kConfiguredFile, kDebugLevel}}};
    const Outcome outcome = well(setup, [] {
        fault::fail_always(fault::Call::close, EIO);
        EXPECT_EQ(COMMON_Log_LevelGet(), kDebug);
        EXPECT_GE(fault::fired(), 1);
    });
    EXPECT_EQ(outcome.out + outcome.err, "");
    EXPECT_THAT(outcome.log, IsEmpty());
}

TEST(CommonLogFilesFault, FilesThatCannotBeOpenedAreSilentlyLeft)
{
    // The handler library and the record of the process come first, then the shared file, then the
    // configured one.
    const FreshSetup setup{
        .files = {{kConfiguredFile, "COMMON_LOG_STRIP=False\n"}, {kSharedFile, kDebugLevel}}};
    const Outcome shared = well(setup, [] {
        fault::on_call(fault::Call::stat, 2, [] { fault::fail(fault::Call::open, 1, EACCES); });
        EXPECT_EQ(settings(), Settings{.strip = 0});
        EXPECT_EQ(fault::fired(), 1);
    });
    EXPECT_EQ(shared.out + shared.err, "");
    const Outcome both = well(setup, [] {
        fault::on_call(fault::Call::stat, 2, [] { fault::fail_always(fault::Call::open, EMFILE); });
        EXPECT_EQ(settings(), Settings{});
        EXPECT_EQ(fault::fired(), 2);
    });
    EXPECT_EQ(both.out + both.err, "");
}

TEST(CommonLogFilesFault, AFileThatCannotBeOpenedWaitsForItsNextChange)
{
    const Outcome outcome = run_held([] {
        put_file(kSharedFile, kDebugLevel, kWritten);
        move_clock(kGranularity);
        fault::fail(fault::Call::open, 1, EMFILE);
        EXPECT_EQ(COMMON_Log_LevelGet(), kInfo);
        EXPECT_EQ(fault::fired(), 1);
        move_clock(kGranularity);
        EXPECT_EQ(COMMON_Log_LevelGet(), kInfo) << "its time was seen";
        touch(kSharedFile, kWritten + 1);
        move_clock(kGranularity);
        EXPECT_EQ(COMMON_Log_LevelGet(), kDebug);
    });
    EXPECT_THAT(files_rows(outcome), IsEmpty());
}

TEST(CommonLogFilesFault, AnInterruptedOpenOrReadIsTakenUpAgain)
{
    for (const auto call : {fault::Call::open, fault::Call::read}) {
        const Outcome outcome = run_held([=] {
            put_file(kSharedFile, kDebugLevel, kWritten);
            move_clock(kGranularity);
            fault::fail(call, 1, EINTR);
            EXPECT_EQ(COMMON_Log_LevelGet(), kDebug);
            EXPECT_EQ(fault::fired(), 1);
        });
        EXPECT_THAT(files_rows(outcome), IsEmpty());
    }
}

TEST(CommonLogFilesFault, AReadErrorEndsTheFile)
{
    const Outcome outcome = run_held([] {
        put_file(kSharedFile, kDebugLevel, kWritten);
        move_clock(kGranularity);
        fault::fail(fault::Call::read, 1, EIO);
        EXPECT_EQ(COMMON_Log_LevelGet(), kInfo);
        EXPECT_EQ(fault::fired(), 1);
    });
    EXPECT_THAT(files_rows(outcome), IsEmpty());
}

FRESH_TEST(CommonLogFilesFault, NoTimeIsAskedForWithoutPeakloadControlOrGranularity)
{
    COMMON_Log_LevelGet();
    const int before = fault::calls(fault::Call::clock_gettime);
    const int looks = fault::calls(fault::Call::stat);
    COMMON_Log_LevelGet();
    COMMON_Log_Acceptable(kInfo);
    EXPECT_EQ(fault::calls(fault::Call::clock_gettime), before);
    EXPECT_EQ(fault::calls(fault::Call::stat), looks);
}

TEST(CommonLogFilesFault, TheCacheTurnedOnByAFileNeedsItsSlot)
{
    FreshSetup setup = setup_with(true);
    setup.env["COMMON_LOG_CACHE"] = "False";
    const Outcome outcome = well(setup, [] {
        hold_clock_at(kNow);
        COMMON_Log_LevelGet();
        put_file(kSharedFile, "COMMON_LOG_CACHE=True\n", kWritten);
        move_clock(kGranularity);
        fault::fail(fault::Call::pthread_key_create, 1, ENOMEM);
        EXPECT_EQ(COMMON_Log_CacheGet(), 0u);
        touch(kSharedFile, kWritten + 1);
        move_clock(kGranularity);
        EXPECT_EQ(COMMON_Log_CacheGet(), 1u);
        EXPECT_EQ(fault::calls(fault::Call::pthread_key_create), 2);
    });
    EXPECT_THAT(row_texts(outcome.err),
                Contains(log_row("stderr", "COMMON_Log_CacheSet",
                                 "Disabling caching due to failure creating the key with error: "
                                 "Cannot allocate memory (12)"))
                    .Times(1));
}

}  // namespace
