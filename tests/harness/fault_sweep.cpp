#include "fault_sweep.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <ostream>

#include "held_resources.h"
#include "shared_memory.h"

namespace harness {
namespace {

/// More of them tell no more.
constexpr int kMostWrongRuns = 5;

/// How often a call that the first run made is looked for in others.
constexpr int kMostTries = 20;

/// What fails in a run: nothing when `nth` is 0.
struct Position {
    int thread = 0;
    int nth = 0;
    std::size_t error = 0;
};

bool is_memory_fault(const Outcome& outcome)
{
    constexpr int kSignals[] = {SIGSEGV, SIGBUS, SIGILL};
    return outcome.end == Outcome::End::Killed &&
           std::find(std::begin(kSignals), std::end(kSignals), outcome.number) !=
               std::end(kSignals);
}

/// @return what is wrong with a run whatever the verdict; empty when nothing is.
const char* unacceptable(const Outcome& outcome)
{
    if (outcome.end == Outcome::End::TimedOut) {
        return "time limit exceeded";
    }
    if (is_memory_fault(outcome)) {
        return "memory fault";
    }
    if (outcome.failed_checks != 0) {
        return "failed check";
    }
    const bool harness_status =
        outcome.end == Outcome::End::Exited &&
        (outcome.number == kSanitizerReport || outcome.number == kSetupFailed);
    return harness_status ? "sanitizer report or failed setup" : "";
}

class Sweep {
public:
    Sweep(const FreshSetup& setup, const std::function<void()>& scenario, const Verdict& verdict,
          const SweepOptions& options)
        : setup_(setup), scenario_(scenario), verdict_(verdict), options_(options)
    {
    }

    SweepCounts run()
    {
        run_at({});
        const bool has_threads = options_.own_threads && !options_.only;
        for (int thread = 0; thread <= (has_threads ? threads_ : 0); ++thread) {
            const int expected = calls_without_failure(thread);
            int nth = 1;
            while (fails_at({thread, nth}) || (nth <= expected && fails_at_last({thread, nth}))) {
                ++counts_.calls;
                ++nth;
            }
            EXPECT_TRUE(given_up_ || nth > expected)
                << "only " << nth - 1 << " of " << expected << " calls of thread " << thread
                << " could be made to fail";
        }
        return counts_;
    }

private:
    /// Calls of a thread that can fail, as the first run made them.
    int calls_without_failure(int thread) const
    {
        return options_.only ? of_function_[static_cast<std::size_t>(*options_.only)]
                             : of_thread_[static_cast<std::size_t>(thread)];
    }

    /// The same once more: a run in which nothing is awaited, say, may make fewer calls.
    bool fails_at_last(Position position)
    {
        bool fails = false;
        for (int i = 0; i < kMostTries && !given_up_ && !fails; ++i) {
            fails = fails_at(position);
        }
        return fails;
    }

    /// Lets one call fail with each of its errors. @return whether there is such a call.
    bool fails_at(Position position)
    {
        std::size_t errors = 1;
        for (; position.error < errors; ++position.error) {
            if (wrong_runs_ >= kMostWrongRuns) {
                given_up_ = true;
                ADD_FAILURE() << "given up after " << kMostWrongRuns << " runs that were wrong";
                return false;
            }
            if (counts_.runs >= options_.most) {
                given_up_ = true;
                ADD_FAILURE() << "still failing after " << options_.most << " runs";
                return false;
            }
            const auto call = run_at(position);
            if (!call) {
                return false;
            }
            errors = options_.every_error ? fault::errors(*call).size() : 1;
        }
        return true;
    }

    /// @return the call that failed.
    std::optional<fault::Call> run_at(const Position& position)
    {
        const SharedMemory<fault::Report> report;
        const Outcome outcome = run_fresh(setup_, [&] { run_scenario(position, report.get()); });
        ++counts_.runs;
        threads_ = std::max(threads_, report->threads.load());
        if (counts_.runs == 1) {
            std::copy(report->counted.begin(), report->counted.end(), of_thread_.begin());
            std::copy(report->calls.begin(), report->calls.end(), of_function_.begin());
        }
        if (report->fired == 0) {
            EXPECT_THAT(outcome, exited(0)) << "without a forced failure";
            if (options_.undisturbed) {
                options_.undisturbed(outcome);
            }
            return std::nullopt;
        }
        const auto call = static_cast<fault::Call>(report->call.load());
        const ForcedFailure failure{position.nth, call, report->nth, report->error,
                                    position.thread};
        ++counts_.failures;
        const char* const fault = unacceptable(outcome);
        EXPECT_STREQ(fault, "") << failure << ": " << outcome;
        const testing::AssertionResult verdict = verdict_(failure, outcome);
        EXPECT_TRUE(verdict) << failure << ": " << outcome;
        wrong_runs_ += *fault == '\0' && verdict ? 0 : 1;
        return call;
    }

    void run_scenario(const Position& position, fault::Report* report) const
    {
        const HeldResources before = held_resources();
        const long blocks = fault::outstanding_blocks();
        fault::report_to(report);
        if (position.nth != 0 && options_.only) {
            fault::fail(*options_.only, position.nth,
                        fault::errors(*options_.only)[position.error]);
        } else if (position.nth != 0) {
            fault::fail_any(position.nth, position.thread, position.error);
        }
        scenario_();
        if (options_.blocks_return) {
            // What a thread has is given back when it ends.
            EXPECT_EQ(differences_from(before), "");
            EXPECT_EQ(fault::outstanding_blocks(), blocks) << "blocks were not freed";
        }
    }

    const FreshSetup& setup_;
    const std::function<void()>& scenario_;
    const Verdict& verdict_;
    const SweepOptions& options_;
    SweepCounts counts_;
    // The calls that the first run made.
    std::array<int, fault::kMostThreads> of_thread_{};
    std::array<int, fault::kCalls> of_function_{};
    bool given_up_ = false;
    int threads_ = 0;
    int wrong_runs_ = 0;
};

}  // namespace

std::ostream& operator<<(std::ostream& stream, const ForcedFailure& failure)
{
    stream << "forced failure " << failure.number << " (" << fault::name(failure.call) << " number "
           << failure.nth << ", error " << failure.error << ")";
    return failure.thread == 0 ? stream : stream << " in thread " << failure.thread;
}

testing::AssertionResult survives(const ForcedFailure&, const Outcome& outcome)
{
    if (testing::Value(outcome, exited(0))) {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << "does not survive";
}

SweepCounts sweep(const FreshSetup& setup, const std::function<void()>& scenario,
                  const Verdict& verdict, const SweepOptions& options)
{
    return Sweep(setup, scenario, verdict, options).run();
}

}  // namespace harness
