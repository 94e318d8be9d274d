// Runs the registered benchmarks interleaved and prints the ratios between them.
#pragma once

#include <string>
#include <vector>

namespace bench {

/// A comparison of two benchmarks of one run.
struct Ratio {
    std::string what;
    /// Names as Google Benchmark prints them, without the repetition's suffix.
    std::string ours;
    std::string peers;
    /// The ratio aimed at, at most; 0 for none.
    double goal;
};

/// Runs all registered benchmarks, nine times each in random order, prints their medians and then,
/// for each ratio whose benchmarks ran, the ratio of the medians and its goal.
/// @return the exit status of the program: 0; 1 when the arguments are wrong.
int run_and_compare(int argc, char** argv, const std::vector<Ratio>& ratios);

}  // namespace bench
