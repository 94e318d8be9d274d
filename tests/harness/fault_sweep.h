// Lets a scenario meet every failure there is: its first call that can fail does, then its second
// one, and so on, each time in a fresh process, until it comes to its end without a forced failure.
// Then the calls of each thread that the library has made fail in the same way.
#pragma once

#include <functional>
#include <iosfwd>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "fault.h"
#include "fresh_process.h"

namespace harness {

/// The failure that was forced in one run.
struct ForcedFailure {
    int number;        ///< it was this call of its thread
    fault::Call call;  ///< the function
    int nth;           ///< it was this call of that function in its thread
    int error;         ///< the error number
    int thread;        ///< its thread: 0, or that of the library by number
};

std::ostream& operator<<(std::ostream& stream, const ForcedFailure& failure);

/// Judges a run in which a failure was forced.
using Verdict = std::function<testing::AssertionResult(const ForcedFailure&, const Outcome&)>;

/// The verdict that every failure must be survived: the process exits with 0.
testing::AssertionResult survives(const ForcedFailure& failure, const Outcome& outcome);

/// What a sweep has tried.
struct SweepCounts {
    int calls = 0;     ///< calls that failed, each with one or more errors
    int failures = 0;  ///< calls and errors
    int runs = 0;      ///< processes
};

struct SweepOptions {
    std::optional<fault::Call> only{};  ///< let only this function fail, in whatever thread
    bool every_error = false;           ///< try each error of a call, not only its usual one
    bool own_threads = true;            ///< let calls of the library's threads fail, too
    bool blocks_return = false;         ///< the scenario must free all that it allocates
    int most = 2'000;                   ///< runs after which the sweep gives up
    /// Judges the runs without a forced failure, besides that they must exit with 0.
    std::function<void(const Outcome&)> undisturbed{};
};

/// Sweeps over a scenario, first without a failure. Besides the verdict, in no run may the process
/// exceed its time limit, die of a memory fault, leave something open or behind (fresh_process.h)
/// or fail a check of its own; the runs without a forced failure must exit with 0.
SweepCounts sweep(const FreshSetup& setup, const std::function<void()>& scenario,
                  const Verdict& verdict = survives, const SweepOptions& options = {});

}  // namespace harness
