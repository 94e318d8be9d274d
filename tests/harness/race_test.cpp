// Races count what they do, come to an end with their time or a failed check, and must do
// something.
#include "soak.h"

#include <atomic>

#include <gtest/gtest-spi.h>

using namespace harness;

namespace {

TEST(Race, EachStepHasItsThreadUntilTheTimeIsOver)
{
    run_race([](std::chrono::milliseconds time) {
        std::atomic<bool> first_ran{false};
        std::atomic<bool> second_ran{false};
        const auto start = std::chrono::steady_clock::now();
        race(time, {[&] { first_ran = true; }, [&] { second_ran = true; }});
        EXPECT_TRUE(first_ran && second_ran);
        EXPECT_GE(std::chrono::steady_clock::now() - start, time);
    });
}

TEST(Race, NothingDoneIsAFailure)
{
    run_race([](std::chrono::milliseconds time) { race(time, {[] {}}); });
    EXPECT_NONFATAL_FAILURE(run_race([](std::chrono::milliseconds) {}), "nothing was done");
}

TEST(Race, FailedCheckEndsIt)
{
    const Outcome outcome = run_fresh([] {
        race(std::chrono::hours(1), {[] { EXPECT_TRUE(false) << "in a step"; }, [] {}});
    });
    EXPECT_EQ(outcome.number, kCheckFailed);
    EXPECT_EQ(outcome.failed_checks, 1) << outcome;
}

}  // namespace
