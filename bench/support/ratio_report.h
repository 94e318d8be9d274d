// Runs the registered benchmarks interleaved and prints the ratios between them, and writes them
// down for ./dev bench --report: one row a line, in the file that COMMON_BENCH_ROWS names.
#pragma once

#include <string>
#include <vector>

namespace bench {

/// A comparison of two benchmarks of one run: by the time that their thread had a processor, or by
/// the clock if one of them has UseRealTime(), as one whose work is done in other threads or
/// processes must, or by the time that they give themselves if one has UseManualTime().
struct Ratio {
    /// "what is measured / its peer".
    std::string what;
    /// Names as Google Benchmark prints them, without the repetition's suffix.
    std::string ours;
    std::string peers;
    /// The ratio aimed at, at most; 0 for none.
    double goal;
};

/// A row of the report.
struct Row {
    std::string what;  ///< "what is measured / its peer", or "/ at most" for a limit
    double ours;
    double peers;
    double goal;              ///< for ours / peers; 0 for none
    std::string unit = "ns";  ///< of both figures
};

/// Prints the head of the columns that report() fills.
void print_head();

/// Prints a row and writes it down.
void report(const Row& row);

/// Runs all registered benchmarks, nine times each in random order, prints their medians and then,
/// for each ratio whose benchmarks ran, the ratio of the medians and its goal.
/// @return the exit status of the program: 0; 1 when the arguments are wrong, when a benchmark
/// failed, or when a ratio that is to be written down was not measured.
int run_and_compare(int argc, char** argv, const std::vector<Ratio>& ratios);

}  // namespace bench
