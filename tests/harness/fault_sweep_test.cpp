// A sweep meets every failure once, and notices what a scenario does wrong in one of them.
#include "fault_sweep.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <set>
#include <unistd.h>

#include <gmock/gmock.h>

#include "common_library.h"
#include "shared_memory.h"
#include "wait_until.h"

using namespace harness;
using fault::Call;
using testing::AllOf;
using testing::HasSubstr;

namespace {

bool copy_succeeds()
{
    char* copy = MEM_StrDup("text");
    MEM_Free(copy);
    return copy != nullptr;
}

const SweepOptions kStrdup{.only = Call::strdup};

TEST(FaultSweep, MeetsEachFailureOnce)
{
    std::set<std::string> met;
    const auto verdict = [&](const ForcedFailure& failure, const Outcome& outcome) {
        met.insert(fault::name(failure.call) + std::to_string(failure.nth));
        return survives(failure, outcome);
    };
    const SweepCounts counts = sweep(
        {},
        [] {
            copy_succeeds();
            COMMON_System_Exec("true");
            copy_succeeds();
        },
        verdict);
    EXPECT_EQ(counts.calls, 3);
    EXPECT_EQ(counts.failures, 3);
    EXPECT_EQ(counts.runs, 5);
    EXPECT_THAT(met, testing::ElementsAre("strdup1", "strdup2", "system1"));
}

TEST(FaultSweep, CanBeLimitedToOneFunction)
{
    EXPECT_EQ(sweep(
                  {}, [] { copy_succeeds(), COMMON_System_Exec("true"); }, survives, kStrdup)
                  .failures,
              1);
}

TEST(FaultSweep, MeetsTheFailuresOfTheLibrarysThreadsUnlessTheyAreSpared)
{
    const auto scenario = [] {
        COMMON_Thread thread;
        const auto copy = [](void*) -> void* {
            copy_succeeds();
            return nullptr;
        };
        COMMON_Thread_Initialize(&thread, copy, nullptr);
        COMMON_Thread_SetDetachState(&thread, COMMON_ThreadDetachDetached);
        if (COMMON_Thread_Start(&thread) != STATUS_SUCCESS) {
            return;
        }
        EXPECT_TRUE(wait_until([&] { return COMMON_Thread_GetId(&thread) == 0; }));
    };
    for (const bool own_threads : {true, false}) {
        bool met = false;
        const auto verdict = [&](const ForcedFailure& failure, const Outcome& outcome) {
            met = met || (failure.thread == 1 && failure.call == Call::strdup);
            return survives(failure, outcome);
        };
        sweep({}, scenario, verdict, {.own_threads = own_threads});
        EXPECT_EQ(met, own_threads);
    }
}

TEST(FaultSweep, MeetsEachErrorOfACallIfItShall)
{
    std::set<int> met;
    const auto verdict = [&](const ForcedFailure& failure, const Outcome& outcome) {
        met.insert(failure.error);
        return survives(failure, outcome);
    };
    const auto scenario = [] { COMMON_System_Exec("true"); };
    const SweepCounts usual = sweep({}, scenario, verdict);
    EXPECT_EQ(usual.failures, 1);
    EXPECT_THAT(met, testing::ElementsAre(fault::errors(Call::system)[0]));
    const SweepCounts all = sweep({}, scenario, verdict, {.every_error = true});
    EXPECT_EQ(all.calls, 1);
    EXPECT_EQ(all.failures, static_cast<int>(fault::errors(Call::system).size()));
    EXPECT_THAT(met, testing::UnorderedElementsAreArray(fault::errors(Call::system)));
}

TEST(FaultSweep, AcceptsTheDeathThatTheVerdictAllows)
{
    const auto dies = [](const ForcedFailure&, const Outcome& outcome) {
        return testing::Value(outcome, exited(1)) ? testing::AssertionSuccess()
                                                  : testing::AssertionFailure() << "lives";
    };
    EXPECT_EQ(sweep({}, [] { MEM_Free(MEM_Malloc(1)); }, dies, {.only = Call::malloc}).failures, 1);
}

/// Sweeps in a process of its own. @return what the sweep complains of.
std::string complaints(const std::function<void()>& scenario, const Verdict& verdict = survives,
                       const SweepOptions& options = kStrdup, const FreshSetup& setup = {})
{
    const Outcome outcome = run_fresh([&] { sweep(setup, scenario, verdict, options); });
    return outcome.failed_checks == 0 ? "" : outcome.out;
}

testing::AssertionResult anything(const ForcedFailure&, const Outcome&)
{
    return testing::AssertionSuccess();
}

TEST(FaultSweep, IsContentWithWhatSurvives)
{
    EXPECT_EQ(complaints([] { copy_succeeds(); }), "");
}

TEST(FaultSweep, NoticesADeath)
{
    EXPECT_THAT(complaints([] { copy_succeeds() ? void() : std::abort(); }),
                AllOf(HasSubstr("does not survive"),
                      HasSubstr("forced failure 1 (strdup number 1, error 12)"),
                      HasSubstr("SIGABRT")));
}

TEST(FaultSweep, NoticesAMemoryFaultWhateverTheVerdict)
{
    const auto scenario = [] {
        // A sanitizer would turn it into a report.
        std::signal(SIGSEGV, SIG_DFL);
        copy_succeeds() ? 0 : raise(SIGSEGV);
    };
    EXPECT_THAT(complaints(scenario, anything), HasSubstr("\"memory fault\""));
}

TEST(FaultSweep, NoticesATimeOutWhateverTheVerdict)
{
    const auto scenario = [] {
        while (!copy_succeeds()) {
            pause();
        }
    };
    EXPECT_THAT(
        complaints(scenario, anything, kStrdup, {.time_limit = std::chrono::milliseconds(200)}),
        HasSubstr("\"time limit exceeded\""));
}

TEST(FaultSweep, NoticesAFailedCheckWhateverTheVerdict)
{
    EXPECT_THAT(complaints([] { EXPECT_TRUE(copy_succeeds()); }, anything),
                HasSubstr("\"failed check\""));
}

TEST(FaultSweep, NoticesADescriptorLeftOpenWhateverTheVerdict)
{
    const auto scenario = [] {
        if (!copy_succeeds()) {
            EXPECT_GE(open("/dev/null", O_RDONLY), 0);
        }
    };
    EXPECT_THAT(complaints(scenario, anything),
                AllOf(HasSubstr("\"failed check\""), HasSubstr("is left open: /dev/null")));
}

TEST(FaultSweep, NoticesABlockThatIsNotFreed)
{
    const auto scenario = [] {
        [[maybe_unused]] static char* volatile kept;
        if (COMMON_System_Exec("true") != 0) {
            kept = MEM_StrDup("kept");
        }
    };
    EXPECT_THAT(complaints(scenario, anything, {.only = Call::system, .blocks_return = true}),
                HasSubstr("blocks were not freed"));
    EXPECT_EQ(complaints(scenario, anything, {.only = Call::system}), "");
}

TEST(FaultSweep, NoticesAScenarioThatFailsByItself)
{
    EXPECT_THAT(complaints([] { std::exit(1); }), HasSubstr("without a forced failure"));
}

/// Makes three calls in the first run, and one in others.
void make_fewer_calls_later(int& runs)
{
    const int calls = ++runs == 1 ? 3 : 1;
    for (int i = 0; i < calls; ++i) {
        copy_succeeds();
    }
}

TEST(FaultSweep, NoticesCallsOfTheFirstRunThatNoOtherMakes)
{
    const SharedMemory<int> runs;
    for (const SweepOptions& options : {kStrdup, SweepOptions{}}) {
        *runs.get() = 0;
        EXPECT_THAT(complaints([&] { make_fewer_calls_later(*runs.get()); }, survives, options),
                    HasSubstr("only 1 of 3 calls of thread 0 could be made to fail"));
    }
}

TEST(FaultSweep, GivesUpOnAScenarioThatNeverEnds)
{
    const auto scenario = [] {
        for (int i = 0; i < 10; ++i) {
            copy_succeeds();
        }
    };
    EXPECT_THAT(complaints(scenario, survives, {.only = Call::strdup, .most = 3}),
                HasSubstr("still failing after 3 runs"));
}

}  // namespace
