// Races that run for a while: briefly in the suite, for long with "./dev soak".
#pragma once

#include <chrono>
#include <functional>
#include <vector>

#include "fresh_process.h"

namespace harness {

using RaceBody = std::function<void(std::chrono::milliseconds)>;

/// Runs the steps of a race again and again, each in a thread of its own and at least once, until
/// its time is over or a check has failed. Counts them.
void race(std::chrono::milliseconds time, const std::vector<std::function<void()>>& steps);

/// Runs a race in a fresh process that must end well, have done something and hold nothing more in
/// the end. It is given its time: COMMON_TEST_SOAK_SECONDS, half a second when that is unset. The
/// last line of the program tells how many steps there were.
void run_race(const RaceBody& body);
void run_race(FreshSetup setup, const RaceBody& body);

}  // namespace harness
