#include "support/ratio_report.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>

namespace bench {
namespace {

/// Prints as usual and keeps the medians.
class MedianKeeper : public benchmark::ConsoleReporter {
public:
    MedianKeeper() : ConsoleReporter(OO_Tabular) {}

    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median") {
                medians_[run.run_name.str()] = run.GetAdjustedRealTime();
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }

    const std::map<std::string, double>& medians() const { return medians_; }

private:
    std::map<std::string, double> medians_;
};

}  // namespace

int run_and_compare(int argc, char** argv, const std::vector<Ratio>& ratios)
{
    std::vector<std::string> defaults{
        "--benchmark_repetitions=9", "--benchmark_enable_random_interleaving=true",
        "--benchmark_report_aggregates_only=true", "--benchmark_min_time=0.05"};
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

    std::printf("\n%-58s %9s %9s %7s %6s\n", "ratio of medians", "ours", "peer's", "ratio", "goal");
    for (const Ratio& ratio : ratios) {
        const auto ours = reporter.medians().find(ratio.ours);
        const auto peers = reporter.medians().find(ratio.peers);
        if (ours == reporter.medians().end() || peers == reporter.medians().end()) {
            continue;
        }
        const double value = ours->second / peers->second;
        std::printf("%-58s %9.1f %9.1f %7.3f", ratio.what.c_str(), ours->second, peers->second,
                    value);
        if (ratio.goal > 0) {
            std::printf(" %6.2f %s", ratio.goal, value <= ratio.goal ? "met" : "MISSED");
        }
        std::printf("\n");
    }
    return 0;
}

}  // namespace bench
