// How a scenario is run, and what its runs told.
#pragma once

#include <set>
#include <string>

#include "scenario.h"

namespace faults {

/// Whether every error of each call is tried, not only its usual one: COMMON_FAULTS=all says so.
bool every_error();

/// What was tried, of one scenario or more.
struct Tried {
    std::set<std::string> functions;
    harness::SweepCounts counts;
};

/// Sweeps over a scenario; what is wrong is a failure of the running test.
Tried sweep(const Scenario& scenario);

/// Runs all scenarios once, without a failure, those with the same files in one private root: it
/// takes longer to make than they do. @return the functions that they call.
std::set<std::string> called_functions();

}  // namespace faults
