// The limits of the logging macros: how many records get through, over threads, seconds and forks.
#include <atomic>
#include <barrier>
#include <functional>
#include <thread>

#include "common_log_macros.h"
#include "common_log_macros_calls.h"
#include "forked.h"
#include "held_clock.h"
#include "log_calls.h"

COMMON_LOG_ZONE("LIMITS");

namespace {

using namespace harness;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::SizeIs;

constexpr int kThreads = 8;

/// What a record says besides its level, which is Warn, and its place.
std::vector<std::string> messages(const Outcome& outcome)
{
    std::vector<std::string> texts;
    for (const Report& report : reports(outcome)) {
        EXPECT_EQ(report.level, "Warn");
        EXPECT_EQ(report.zone, "LIMITS");
        EXPECT_EQ(report.file, "common_log_macros_limits_test.cpp");
        texts.push_back(report.message);
    }
    return texts;
}

/// Runs a function in several threads at once.
void in_threads(const std::function<void()>& body)
{
    std::barrier start(kThreads);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            start.arrive_and_wait();
            body();
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
}

void once(int number)
{
    COMMON_LOG_ONCE(WARN, "%d", number);
}

TEST(CommonLogOnce, WritesTheFirstAndNoOther)
{
    const Outcome outcome = well([] {
        for (int i = 0; i < 1000; ++i) {
            once(i);
        }
    });
    EXPECT_THAT(messages(outcome), ElementsAre("0"));
}

TEST(CommonLogOnce, IsOneAmongThreads)
{
    for (int repeat = 0; repeat < 10; ++repeat) {
        const Outcome outcome = well([] { in_threads([] { once(1); }); });
        EXPECT_THAT(messages(outcome), ElementsAre("1"));
    }
}

TEST(CommonLogOnce, ARejectedRecordIsNotTheFirst)
{
    const Outcome outcome = well([] {
        COMMON_Log_LevelSet(kError);
        once(1);
        COMMON_Log_LevelSet(kWarn);
        once(2);
        once(3);
    });
    EXPECT_THAT(messages(outcome), ElementsAre("2"));
}

TEST(CommonLogOnce, PlacesCountForThemselves)
{
    const Outcome outcome = well([] {
        for (int i = 0; i < 3; ++i) {
            COMMON_LOG_ONCE(WARN, "one place");
            COMMON_LOG_ONCE(WARN, "another");
        }
    });
    EXPECT_THAT(messages(outcome), ElementsAre("one place", "another"));
}

template <typename Value>
void once_each(Value value)
{
    COMMON_LOG_ONCE(WARN, "%d", static_cast<int>(value));
}

TEST(CommonLogOnce, InstancesOfATemplateCountForThemselves)
{
    const Outcome outcome = well([] {
        once_each(1);
        once_each(2);
        once_each(3L);
    });
    EXPECT_THAT(messages(outcome), ElementsAre("1", "3"));
}

TEST(CommonLogOnce, AnInlineFunctionOfAHeaderIsOnePlace)
{
    const Outcome outcome = well([] {
        of_header::call_of_header("the test");
        from_second_file();
    });
    EXPECT_THAT(outcome.log, ElementsAre(said(kWarn, "HEADER", "common_log_macros_calls.h",
                                              "call_of_header", "first from the test")));
}

TEST(CommonLogOnce, TakesALevelThatIsTheNameOfAMacroInC)
{
    const Outcome outcome = well([] {
        from_file_in_c();
        COMMON_Log_LevelSet(kDebug);
        from_file_in_c();
    });
    EXPECT_THAT(outcome.log, ElementsAre(said(kDebug, "C_FILE", "common_log_macros_in_c.c",
                                              "call_of_file", "rejected at first")));
}

TEST(CommonLogOnce, AChildGoesOnWhereItsParentWas)
{
    const Outcome outcome = well([] {
        once(1);
        in_child([] { once(2); });
    });
    EXPECT_THAT(messages(outcome), ElementsAre("1"));
}

void every(std::uint32_t n, int number)
{
    COMMON_LOG_EVERY_N(WARN, n, "%d", number);
}

TEST(CommonLogEveryN, WritesTheFirstAndEachNthAfterIt)
{
    const Outcome outcome = well([] {
        for (int i = 0; i <= 300; ++i) {
            every(100, i);
        }
    });
    EXPECT_THAT(messages(outcome), ElementsAre("0", "100", "200", "300"));
}

TEST(CommonLogEveryN, OneAndZeroAreAllOfThem)
{
    for (const std::uint32_t n : {0u, 1u}) {
        const Outcome outcome = well([n] {
            for (int i = 0; i < 3; ++i) {
                every(n, i);
            }
        });
        EXPECT_THAT(messages(outcome), ElementsAre("0", "1", "2")) << n;
    }
}

TEST(CommonLogEveryN, FollowsANumberThatChanges)
{
    const Outcome outcome = well([] {
        for (int i = 0; i < 50; ++i) {
            every(1000, i);
        }
        // 50 is as far as 10 goes: the next but one.
        for (int i = 50; i < 72; ++i) {
            every(10, i);
        }
    });
    EXPECT_THAT(messages(outcome), ElementsAre("0", "51", "61", "71"));
}

TEST(CommonLogEveryN, IsExactAmongThreads)
{
    const Outcome outcome = well([] {
        in_threads([] {
            for (int i = 0; i < 1000; ++i) {
                every(100, i);
            }
        });
    });
    EXPECT_THAT(outcome.log, SizeIs(kThreads * 1000 / 100));
}

TEST(CommonLogEveryN, RejectedRecordsAreNotCounted)
{
    const Outcome outcome = well([] {
        every(3, 0);
        COMMON_Log_LevelSet(kError);
        every(3, 1);
        every(3, 2);
        COMMON_Log_LevelSet(kWarn);
        for (int i = 3; i < 7; ++i) {
            every(3, i);
        }
    });
    EXPECT_THAT(messages(outcome), ElementsAre("0", "5"));
}

FRESH_TEST(CommonLogEveryN, TheLargestNumberComesAround)
{
    COMMON_LogLimit_Count count{UINT32_MAX - 2};
    EXPECT_EQ(COMMON_LogLimit_EveryN(&count, UINT32_MAX), 0u);
    EXPECT_EQ(COMMON_LogLimit_EveryN(&count, UINT32_MAX), 0u);
    EXPECT_EQ(COMMON_LogLimit_EveryN(&count, UINT32_MAX), 1u);
}

void per_second(std::uint32_t n, int number)
{
    COMMON_LOG_PER_SECOND(WARN, n, "%d", number);
}

constexpr std::int64_t kSecond = 5000;
constexpr std::int32_t kLastNanosecond = 999'999'999;

TEST(CommonLogPerSecond, WritesTheFirstOnesOfEachSecondAndTellsOfTheRest)
{
    const Outcome outcome = well([] {
        hold_monotonic_clock_at(kSecond);
        for (int i = 0; i < 4; ++i) {
            per_second(2, i);
        }
        hold_monotonic_clock_at(kSecond, kLastNanosecond);
        per_second(2, 4);
        hold_monotonic_clock_at(kSecond + 1);
        per_second(2, 5);
        per_second(2, 6);
        per_second(2, 7);
        hold_monotonic_clock_at(kSecond + 100);
        per_second(2, 8);
        hold_monotonic_clock_at(kSecond + 101);
        per_second(2, 9);
    });
    EXPECT_THAT(messages(outcome), ElementsAre("0", "1", "3 more like this were left out", "5", "6",
                                               "1 more like this were left out", "8", "9"));
}

// clang-format off
void told_here() { COMMON_LOG_PER_SECOND(ERROR, 1, "m"); }  constexpr int kToldLine = __LINE__;
// clang-format on

TEST(CommonLogPerSecond, WhatWasLeftOutIsToldAtTheSameLevelAndPlace)
{
    const Outcome outcome = well([] {
        hold_monotonic_clock_at(kSecond);
        told_here();
        told_here();
        hold_monotonic_clock_at(kSecond + 1);
        told_here();
    });
    const Report record =
        said(kError, "LIMITS", "common_log_macros_limits_test.cpp", "told_here", "m");
    Report told = record;
    told.message = "1 more like this were left out";
    ASSERT_THAT(outcome.log, ElementsAre(record, told, record));
    EXPECT_EQ(fields_of(outcome.log[1]).line, kToldLine);
}

TEST(CommonLogPerSecond, CountsFromTheFirstSecondOfTheMachineOn)
{
    const Outcome outcome = well([] {
        hold_monotonic_clock_at(0);
        per_second(1, 0);
        per_second(1, 1);
        hold_monotonic_clock_at(1);
        per_second(1, 2);
    });
    EXPECT_THAT(messages(outcome), ElementsAre("0", "1 more like this were left out", "2"));
}

TEST(CommonLogPerSecond, GoesOnWhereItsSecondsBeginAnew)
{
    constexpr std::int64_t kAnew = 1 << 20;
    const Outcome outcome = well([] {
        hold_monotonic_clock_at(kAnew - 1);
        per_second(1, 0);
        per_second(1, 1);
        hold_monotonic_clock_at(kAnew);
        per_second(1, 2);
        per_second(1, 3);
        hold_monotonic_clock_at(kAnew + 1);
        per_second(1, 4);
    });
    EXPECT_THAT(messages(outcome), ElementsAre("0", "1 more like this were left out", "2",
                                               "1 more like this were left out", "4"));
}

TEST(CommonLogPerSecond, TakesNumbersFrom1To4095)
{
    static const struct {
        std::uint32_t n;
        std::size_t written;
    } kCases[] = {{0, 1}, {1, 1}, {4094, 4094}, {4095, 4095}, {4096, 4095}, {UINT32_MAX, 4095}};
    for (const auto& one : kCases) {
        const Outcome outcome = well([&] {
            hold_monotonic_clock_at(kSecond);
            for (int i = 0; i < 4200; ++i) {
                per_second(one.n, i);
            }
        });
        EXPECT_THAT(outcome.log, SizeIs(one.written)) << one.n;
    }
}

TEST(CommonLogPerSecond, FollowsANumberThatChanges)
{
    const Outcome outcome = well([] {
        hold_monotonic_clock_at(kSecond);
        per_second(1, 0);
        per_second(1, 1);
        per_second(3, 2);
        per_second(3, 3);
        per_second(2, 4);
        per_second(3, 5);
        hold_monotonic_clock_at(kSecond + 1);
        per_second(3, 6);
    });
    EXPECT_THAT(messages(outcome),
                ElementsAre("0", "2", "3", "3 more like this were left out", "6"));
}

TEST(CommonLogPerSecond, RejectedRecordsAreNeitherCountedNorTold)
{
    const Outcome outcome = well([] {
        hold_monotonic_clock_at(kSecond);
        COMMON_Log_LevelSet(kError);
        per_second(1, 0);
        per_second(1, 1);
        COMMON_Log_LevelSet(kWarn);
        per_second(1, 2);
        hold_monotonic_clock_at(kSecond + 1);
        per_second(1, 3);
    });
    EXPECT_THAT(messages(outcome), ElementsAre("2", "3"));
}

TEST(CommonLogPerSecond, IsExactAmongThreads)
{
    const Outcome outcome = well([] {
        hold_monotonic_clock_at(kSecond);
        in_threads([] {
            for (int i = 0; i < 100; ++i) {
                per_second(10, 0);
            }
        });
        hold_monotonic_clock_at(kSecond + 1);
        per_second(10, 1);
    });
    std::vector<std::string> expected(10, "0");
    expected.insert(expected.end(), {"790 more like this were left out", "1"});
    EXPECT_THAT(messages(outcome), ElementsAreArray(expected));
}

TEST(CommonLogPerSecond, EveryRecordIsWrittenOrToldWhileTheSecondsTurn)
{
    constexpr int kCalls = 500;
    const Outcome outcome = well([] {
        hold_monotonic_clock_at(kSecond);
        std::atomic<std::int64_t> turns{kSecond};
        in_threads([&] {
            for (int i = 0; i < kCalls; ++i) {
                per_second(3, 0);
                if (i % 10 == 0) {
                    hold_monotonic_clock_at(++turns);
                }
            }
        });
        hold_monotonic_clock_at(turns + 10);
        per_second(3, 0);
    });
    int told = 0;
    int written = 0;
    for (const std::string& message : messages(outcome)) {
        (message == "0" ? written : told) += message == "0" ? 1 : std::stoi(message);
    }
    EXPECT_EQ(written + told, kThreads * kCalls + 1);
    EXPECT_GT(told, 0);
}

}  // namespace
