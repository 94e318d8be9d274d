// The once-initialisation: it neither hangs nor enters itself, whatever fails in it, whoever forks
// meanwhile and however many threads come at once.
#include <algorithm>
#include <atomic>
#include <csignal>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "common_debug.h"
#include "common_log_settings.h"
#include "common_process.h"
#include "common_system.h"
#include "fault.h"
#include "fault_sweep.h"
#include "log_calls.h"
#include "wait_until.h"

namespace {

using namespace harness;
using fault::Call;
using testing::AssertionFailure;
using testing::AssertionResult;
using testing::AssertionSuccess;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

const Report kClockFailure = said(kFatal, "", "common_system", "COMMON_System_GetTimeByClockId",
                                  "Failed to get the CLOCK_REALTIME time with error: "
                                  "Invalid argument (22)");

void first_debug_row()
{
    COMMON_Debug_Write(stdout, "test", "first_debug_row", 1, "a row");
}

/// What a process may do first with the logging group.
const struct {
    const char* name;
    void (*call)();
} kFirstCalls[] = {
    {"a record", [] { log_message(kInfo, "m"); }}, {"a question", [] { COMMON_Log_Acceptable(0); }},
    {"a setting", [] { COMMON_Log_LevelGet(); }},  {"a debug row", first_debug_row},
    {"the time", [] { COMMON_System_Time(); }},    {"the process", [] { COMMON_Process_Id(); }},
};

FreshSetup with_debug(bool debug)
{
    return debug ? FreshSetup{.env = kDebugOn} : FreshSetup{};
}

class Starts : public testing::TestWithParam<bool> {};
INSTANTIATE_TEST_SUITE_P(Debug, Starts, testing::Bool(), testing::PrintToStringParamName());

TEST_P(Starts, WithAClockThatAlwaysFails)
{
    for (const auto& first : kFirstCalls) {
        SCOPED_TRACE(first.name);
        const Outcome outcome = well(with_debug(GetParam()), [&] {
            fault::fail_always(Call::clock_gettime, EINVAL);
            first.call();
            log_message(kInfo, "last");
        });
        const auto& all = outcome.log;
        ASSERT_FALSE(all.empty());
        EXPECT_EQ(all.back(), said(kInfo, "last"));
        EXPECT_THAT(all, Contains(kClockFailure));
    }
}

TEST_P(Starts, WithoutMemory)
{
    for (const auto& first : kFirstCalls) {
        SCOPED_TRACE(first.name);
        const Outcome outcome = well(with_debug(GetParam()), [&] {
            fault::fail_always(Call::malloc);
            fault::fail_always(Call::realloc);
            fault::fail_always(Call::strdup);
            first.call();
            log_message(kInfo, "last");
        });
        const auto& all = outcome.log;
        ASSERT_GE(all.size(), 2u);
        EXPECT_EQ(all[all.size() - 2],
                  said(kError, "handlerLegacy", "Failed to allocate memory for log data"));
        EXPECT_EQ(all.back(), said(kInfo, "last"));
    }
}

TEST_P(Starts, WithSettingsThatCannotBeRead)
{
    // Folders where files are expected: they can be opened, but not read.
    FreshSetup setup = with_debug(GetParam());
    setup.files = {{"/config/common/debug/settings.txt/file", ""},
                   {"/config/common/log/settings.txt/file", ""},
                   {"/tmp/common/log/settings.txt/file", ""},
                   {"/oxa/lib/liboxa.so/file", ""}};
    const Outcome outcome = well(setup, [] { log_message(kInfo, "m"); });
    EXPECT_THAT(outcome.log, ElementsAre(said(kInfo, "m")));
}

/// The assertions that the given failure may end in.
std::vector<std::string> assertions_after(Call call)
{
    switch (call) {
    case Call::localtime_r:
    case Call::strftime:
        return {"((void *)0) != ptm"};
    case Call::open:
    case Call::fstat:
        return {"STATUS_SUCCESS == status"};  // a process without its own /proc entry
    case Call::pthread_mutex_lock:
    case Call::pthread_mutex_unlock:
        return {"0 == retval"};
    default:
        return {};
    }
}

AssertionResult writes_the_record_or_asserts(const ForcedFailure& failure, const Outcome& outcome)
{
    if (outcome.end == Outcome::End::Killed && outcome.number == SIGABRT) {
        for (const auto& text : assertions_after(failure.call)) {
            if (outcome.err.find("Assertion `" + text + "' failed.") != std::string::npos) {
                return AssertionSuccess();
            }
        }
        return AssertionFailure() << "wrong death";
    }
    const Report expected = said(kInfo, failure.call == Call::vsnprintf ? "" : "number 1.5");
    const auto& all = outcome.log;
    if (outcome.end != Outcome::End::Exited || outcome.number != 0 || all.empty() ||
        all.back() != expected) {
        return AssertionFailure() << "the record is missing";
    }
    return AssertionSuccess();
}

TEST_P(Starts, WhicheverCallFails)
{
    const SweepCounts counts = sweep(
        with_debug(GetParam()), [] { log_message(kInfo, "number %.1f", 1.5); },
        writes_the_record_or_asserts);
    EXPECT_GT(counts.failures, GetParam() ? 60 : 15);
}

TEST_P(Starts, WhicheverCallFailsFromThenOnInOneFunction)
{
    for (const Call call :
         {Call::read, Call::close, Call::stat, Call::pthread_once, Call::pthread_key_create,
          Call::pthread_setspecific, Call::dlopen, Call::fflush}) {
        SCOPED_TRACE(fault::name(call));
        const Outcome outcome = well(with_debug(GetParam()), [call] {
            fault::fail_always(call);
            log_message(kInfo, "m");
        });
        const auto& all = outcome.log;
        ASSERT_FALSE(all.empty());
        EXPECT_EQ(all.back(), said(kInfo, "m"));
    }
}

TEST(CommonLogInit, FailingOnceControlLeavesTheDefaults)
{
    const Outcome outcome = well({.env = {{"COMMON_LOG_FORMAT", "Legacy"}}}, [] {
        fault::fail_always(Call::pthread_once, EINVAL);
        log_message(kInfo, "m");
        EXPECT_EQ(COMMON_Log_Acceptable(5), 1u);
        EXPECT_EQ(COMMON_Log_Acceptable(6), 0u);
    });
    EXPECT_THAT(outcome.out,
                HasSubstr("The once control failed with error: Invalid argument (22)"));
    EXPECT_THAT(outcome.log, ElementsAre(said(kInfo, "m")));
    ASSERT_THAT(outcome.log, SizeIs(1));
    EXPECT_EQ(fields_of(outcome.log[0]).pid, 0);
    EXPECT_EQ(fields_of(outcome.log[0]).process, "");
}

TEST(CommonLogInit, ReportMadeMeanwhileGoesOutWithDefaultSettings)
{
    FreshSetup setup{.env = kDebugOn};
    setup.env["COMMON_LOG_FORMAT"] = "Legacy";
    setup.env["COMMON_LOG_LEVEL"] = "Verbose";
    const Outcome outcome = well(setup, [] {
        fault::fail(Call::clock_gettime, 1, EINVAL);  // of the row "Initializing"
        log_message(kVerbose, "m");
        EXPECT_EQ(fault::fired(), 1);
    });
    ASSERT_THAT(outcome.log, SizeIs(2));
    EXPECT_EQ(outcome.log[0], kClockFailure);
    EXPECT_EQ(fields_of(outcome.log[0]).pid, 0);
    EXPECT_EQ(fields_of(outcome.log[0]).process, "");
    const auto second = parse_legacy(outcome.log[1].text);
    ASSERT_TRUE(second.has_value()) << outcome.log[1];
    EXPECT_EQ(second->message, "m");
    EXPECT_EQ(second->level, "Verbose");
}

TEST(CommonLogInit, SlotThatCannotBeMadeTurnsTheCacheOff)
{
    const Outcome outcome = well({.env = kDebugOn}, [] {
        fault::fail(Call::pthread_key_create, 1, EAGAIN);
        log_message(kInfo, "m");
        EXPECT_EQ(COMMON_Log_CacheGet(), 0u);
        EXPECT_EQ(fault::calls(Call::malloc), 0);
    });
    EXPECT_THAT(row_texts(outcome.err),
                Contains(log_row("stderr", "threadOnce",
                                 "Disabling caching due to failure creating the key with error: "
                                 "Resource temporarily unavailable (11)"))
                    .Times(1));
    EXPECT_THAT(row_texts(outcome.out),
                Contains(log_row("stdout", "threadOnce", "cache:    False")));
    EXPECT_THAT(outcome.log, ElementsAre(said(kInfo, "m")));
}

/// Runs functions in threads that begin at the same moment.
void at_once(const std::vector<std::function<void()>>& functions)
{
    std::atomic<std::size_t> ready{0};
    std::vector<std::thread> threads;
    for (const auto& function : functions) {
        threads.emplace_back([&] {
            ++ready;
            while (ready < functions.size()) {
                std::this_thread::yield();
            }
            function();
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
}

TEST_P(Starts, InManyThreadsAtOnce)
{
    for (int round = 0; round < 30; ++round) {
        const Outcome outcome = well(with_debug(GetParam()), [] {
            std::vector<std::function<void()>> all;
            for (const auto& first : kFirstCalls) {
                all.emplace_back(first.call);
            }
            at_once(all);
            log_message(kInfo, "last");
        });
        ASSERT_THAT(outcome.log, ElementsAre(said(kInfo, "m"), said(kInfo, "last")));
        ASSERT_THAT(row_texts(outcome.out),
                    Contains(log_row("stdout", "threadOnce", "Initialized")).Times(GetParam()));
    }
}

/// Two threads whose first calls meet: one is held inside its initialisation until the other waits
/// or is through.
struct Meeting {
    int held;  // of kFirstCalls
    Call held_in;
    int other;
};

class FirstCallsMeet : public testing::TestWithParam<Meeting> {};
constexpr int kRecord = 0;
constexpr int kRow = 3;
constexpr int kProcess = 5;
INSTANTIATE_TEST_SUITE_P(
    All, FirstCallsMeet,
    testing::Values(
        Meeting{kRecord, Call::open, kRecord}, Meeting{kRecord, Call::open, kRow},
        Meeting{kRecord, Call::open, kProcess}, Meeting{kRecord, Call::read, kRow},
        Meeting{kRecord, Call::clock_gettime, kRow}, Meeting{kRecord, Call::clock_gettime, kRecord},
        Meeting{kRow, Call::open, kRecord}, Meeting{kRow, Call::open, kRow},
        Meeting{kRow, Call::open, kProcess}, Meeting{kRow, Call::clock_gettime, kRecord},
        Meeting{kProcess, Call::open, kRecord}, Meeting{kProcess, Call::open, kRow},
        Meeting{kProcess, Call::read, kRecord}, Meeting{kProcess, Call::read, kProcess}));

TEST_P(FirstCallsMeet, AndNeitherHangs)
{
    const Meeting meeting = GetParam();
    const Outcome outcome = well({.env = kDebugOn}, [&] {
        Event inside;
        Event go_on;
        std::atomic<int> other_thread{0};
        fault::on_call(meeting.held_in, 1, [&] {
            inside.set();
            EXPECT_TRUE(go_on.wait());
        });
        fault::fail_always(Call::clock_gettime, EINVAL);  // makes every row report to the log
        std::thread held(kFirstCalls[meeting.held].call);
        EXPECT_TRUE(inside.wait());
        std::atomic<bool> through{false};
        std::thread other([&] {
            other_thread = gettid();
            kFirstCalls[meeting.other].call();
            through = true;
        });
        EXPECT_TRUE(wait_until([&] { return through || is_blocked(other_thread); }));
        go_on.set();
        held.join();
        other.join();
        log_message(kInfo, "last");
    });
    ASSERT_FALSE(outcome.log.empty());
    EXPECT_EQ(outcome.log.back(), said(kInfo, "last"));
}

}  // namespace
