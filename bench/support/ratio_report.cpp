#include "support/ratio_report.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <map>

namespace bench {
namespace {

/// The file that rows are written to; null when they are only printed.
const char* rows_path()
{
    return std::getenv("COMMON_BENCH_ROWS");
}

/// What one round of a benchmark takes, in nanoseconds.
struct Median {
    double of_thread = 0;  ///< on the processor, which other programs do not lengthen
    double of_clock = 0;
    bool is_real_time = false;  ///< the benchmark asks for the clock's, or gives its own
};

/// Prints the aggregates as usual, and keeps the medians.
class MedianKeeper : public benchmark::ConsoleReporter {
public:
    MedianKeeper() : ConsoleReporter(OO_Tabular) {}

    void ReportRuns(const std::vector<Run>& runs) override
    {
        std::vector<Run> shown;
        for (const Run& run : runs) {
            const bool is_only = run.run_type == Run::RT_Iteration && run.repetitions <= 1;
            // The aggregates say nothing of a repetition that failed.
            failed_ = failed_ || run.error_occurred;
            if (run.run_type == Run::RT_Aggregate || is_only || run.error_occurred) {
                shown.push_back(run);
            }
            if (!run.error_occurred && (is_only || run.aggregate_name == "median")) {
                const double ns = 1e9 / benchmark::GetTimeUnitMultiplier(run.time_unit);
                medians_[run.run_name.str()] = {run.GetAdjustedCPUTime() * ns,
                                                run.GetAdjustedRealTime() * ns,
                                                run.run_name.time_type == "real_time" ||
                                                    run.run_name.time_type == "manual_time"};
            }
        }
        if (!shown.empty()) {
            ConsoleReporter::ReportRuns(shown);
        }
    }

    bool failed() const { return failed_; }

    /// Null for a benchmark that was not run.
    const Median* median_of(const std::string& name) const
    {
        const auto found = medians_.find(name);
        return found != medians_.end() ? &found->second : nullptr;
    }

private:
    std::map<std::string, Median> medians_;
    bool failed_ = false;
};

}  // namespace

void print_head()
{
    std::printf("\n%-58s %12s %12s %7s %6s\n", "ratio of medians", "ours", "peer's", "ratio",
                "goal");
}

void report(const Row& row)
{
    const double ratio = row.ours / row.peers;
    std::printf("%-58s %12.1f %12.1f %7.3f", row.what.c_str(), row.ours, row.peers, ratio);
    if (row.goal > 0) {
        std::printf(" %6.2f %s", row.goal, ratio <= row.goal ? "met" : "MISSED");
    }
    std::printf("\n");
    if (const char* const path = rows_path()) {
        FILE* const file = std::fopen(path, "ae");
        if (file == nullptr) {
            std::perror(path);
            std::exit(1);
        }
        std::fprintf(file, "%s\t%.17g\t%.17g\t%s\t%.17g\n", row.what.c_str(), row.ours, row.peers,
                     row.unit.c_str(), row.goal);
        if (std::fclose(file) != 0) {
            std::perror(path);
            std::exit(1);
        }
    }
}

int run_and_compare(int argc, char** argv, const std::vector<Ratio>& ratios)
{
    std::vector<std::string> defaults{"--benchmark_repetitions=9",
                                      "--benchmark_enable_random_interleaving=true",
                                      "--benchmark_min_time=0.05"};
    std::vector<char*> arguments{argv[0]};
    for (std::string& argument : defaults) {
        arguments.push_back(argument.data());
    }
    arguments.insert(arguments.end(), argv + 1, argv + argc);
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) {
        return 1;
    }
    MedianKeeper reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);

    bool is_complete = true;
    print_head();
    for (const Ratio& ratio : ratios) {
        const Median* const ours = reporter.median_of(ratio.ours);
        const Median* const peers = reporter.median_of(ratio.peers);
        if (ours != nullptr && peers != nullptr) {
            const auto time =
                ours->is_real_time || peers->is_real_time ? &Median::of_clock : &Median::of_thread;
            report({ratio.what, ours->*time, peers->*time, ratio.goal});
        } else if (rows_path() != nullptr) {
            std::fprintf(stderr, "%s: not measured: %s\n", argv[0], ratio.what.c_str());
            is_complete = false;
        }
    }
    return reporter.failed() || !is_complete ? 1 : 0;
}

}  // namespace bench
