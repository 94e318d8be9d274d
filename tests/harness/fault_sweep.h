// Lets a scenario meet every failure there is: its first call that can fail does, then its second
// one, and so on, each time in a fresh process, until it comes to its end without a forced failure.
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
    int number;        ///< counts the runs from 1: it was this call of all
    std::string call;  ///< name of the function
    int nth;           ///< it was this call of that function
};

std::ostream& operator<<(std::ostream& stream, const ForcedFailure& failure);

/// Judges a run in which a failure was forced.
using Verdict = std::function<testing::AssertionResult(const ForcedFailure&, const Outcome&)>;

/// The verdict that every failure must be survived: the process exits with 0.
testing::AssertionResult survives(const ForcedFailure& failure, const Outcome& outcome);

struct SweepOptions {
    std::optional<fault::Call> only{};  ///< let only this function fail
    bool blocks_return = false;         ///< the scenario must free all that it allocates
    int most = 2'000;                   ///< runs after which the sweep gives up
};

/// Sweeps over a scenario. Besides the verdict, in no run may the process exceed its time limit,
/// die of a memory fault, leave something open or behind (fresh_process.h) or fail a check of its
/// own; the run without a forced failure must exit with 0.
/// @return the number of failures that were forced.
int sweep(const FreshSetup& setup, const std::function<void()>& scenario,
          const Verdict& verdict = survives, const SweepOptions& options = {});

}  // namespace harness
