// What it costs to tell who writes how much: a log of 200,000 records counted by process, zone,
// level and call site and over time, and the same log counted by awk, by all that and by
// zone only.
#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "profile/live.h"
#include "profile/report.h"
#include "records/source.h"
#include "support/ratio_report.h"

namespace {

using namespace commonctl;
using namespace commonctl::profile;

constexpr int kRecords = 200'000;
constexpr int kProcesses = 20;
constexpr int kZones = 40;
constexpr int kSites = 500;
constexpr const char* kLevels[] = {"Info", "Debug", "Debug", "Verbose", "Note", "Warn", "Error"};

std::string path;

/// Records of an hour; the zones, sites and levels of neighbours differ.
bool write_log()
{
    char name[] = "/tmp/profile_bench_XXXXXX";
    const int fd = mkstemp(name);
    if (fd < 0) {
        return false;
    }
    close(fd);
    path = name;
    std::ofstream log(path);
    for (int i = 0; i < kRecords; ++i) {
        const int second = i / (kRecords / 3600 + 1);
        const int process = i % kProcesses;
        const int site = i * 7 % kSites;
        char line[300];
        std::snprintf(line, sizeof line,
                      "Nov 22 10:%02d:%02d target player%d[%d]: [20779.10:%02d:%02d.%09d], ZONE%d, "
                      "%d, player%d, %d, %s, media_source_%d.cpp, readNextEntry %d, item %d of the "
                      "playlist is read\n",
                      second / 60, second % 60, process, 1000 + process, second / 60, second % 60,
                      i % 1000 * 1000, i * 13 % kZones, 1000 + process, process, 1000 + process,
                      kLevels[static_cast<unsigned>(i) % std::size(kLevels)], site % 50, site, i);
        log << line;
    }
    return log.flush().good();
}

/// Records by zone.
using Zones = std::map<std::string, std::uint64_t>;

Zones zones_of(const Profile& profile)
{
    Zones zones;
    for (const Row& row : profile.rows(By::Zone)) {
        zones[row.name] = row.counts.all.records;
    }
    return zones;
}

Zones count_by_top()
{
    Profile profile;
    take_all(*open_source({.files = {path}}), profile);
    benchmark::DoNotOptimize(make_report(profile, path, {By::Zone}, 20).sections.data());
    return zones_of(profile);
}

/// @param also what is counted for each record, besides the records and bytes of its zone.
Zones run_awk(const std::string& also)
{
    const std::string command = "awk -F', ' '{ n[$2]++; b[$2] += length($0); " + also +
                                " } END { for (z in n) print z, n[z], b[z] }' " + path;
    Zones zones;
    if (std::FILE* const output = popen(command.c_str(), "r")) {
        char zone[100];
        unsigned long long records = 0;
        while (std::fscanf(output, "%99s %llu %*s", zone, &records) == 2) {
            zones[zone] = records;
        }
        pclose(output);
    }
    return zones;
}

Zones count_by_awk()
{
    return run_awk("");
}

Zones count_all_by_awk()
{
    return run_awk("size = length($0); p[$4 $3]++; pb[$4 $3] += size; l[$6]++; lb[$6] += size; "
                   "s[$7 $8]++; sb[$7 $8] += size; t[substr($1, 1, 15) $6]++");
}

/// Seconds that this process and those that it waited for had a processor.
double processor_seconds()
{
    double seconds = 0;
    for (const int whose : {RUSAGE_SELF, RUSAGE_CHILDREN}) {
        rusage usage{};
        getrusage(whose, &usage);
        for (const timeval& time : {usage.ru_utime, usage.ru_stime}) {
            seconds += static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
        }
    }
    return seconds;
}

/// The work of the one is done here and that of the other in a process of its own: by the time that
/// they had a processor.
void count(benchmark::State& state, Zones (*counted)())
{
    for (auto _ : state) {
        const double before = processor_seconds();
        if (counted().size() != kZones) {
            state.SkipWithError("zones are missing");
            break;
        }
        state.SetIterationTime(processor_seconds() - before);
    }
    state.SetItemsProcessed(state.iterations() * kRecords);
}
BENCHMARK_CAPTURE(count, top, count_by_top)->Unit(benchmark::kMillisecond)->UseManualTime();
BENCHMARK_CAPTURE(count, awk_all, count_all_by_awk)->Unit(benchmark::kMillisecond)->UseManualTime();
BENCHMARK_CAPTURE(count, awk, count_by_awk)->Unit(benchmark::kMillisecond)->UseManualTime();

/// Without reading and taking apart.
void count_records(benchmark::State& state)
{
    static const std::string raw(130, 'x');
    std::vector<std::string> names;
    for (int i = 0; i < kSites; ++i) {
        names.push_back("name_of_something_" + std::to_string(i));
    }
    std::vector<Record> records;
    for (int i = 0; i < kSites; ++i) {
        Record& record = records.emplace_back();
        record.time_ns = std::int64_t{i} * 10'000'000;
        record.pid = 1000 + i % kProcesses;
        record.line = i;
        record.level = i % 8;
        record.process = names[static_cast<std::size_t>(i % kProcesses)];
        record.zone = names[static_cast<std::size_t>(i * 13 % kZones)];
        record.file = names[static_cast<std::size_t>(i % 50)];
        record.function = names[static_cast<std::size_t>(i)];
        record.raw = raw;
    }
    Profile profile;
    std::size_t next = 0;
    for (auto _ : state) {
        profile.add(records[next]);
        next = next + 1 == records.size() ? 0 : next + 1;
    }
    if (profile.rows(By::Site).size() > kSites) {
        state.SkipWithError("too many sites");
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(count_records);

}  // namespace

int main(int argc, char** argv)
{
    if (!write_log()) {
        std::fputs("commonctl_profile_bench: cannot write a log\n", stderr);
        return 1;
    }
    int result = 1;
    if (const Zones zones = count_by_top(); zones.size() != kZones || zones != count_by_awk()) {
        std::fputs("commonctl_profile_bench: the two do not agree\n", stderr);
    } else {
        result =
            bench::run_and_compare(argc, argv,
                                   {{"profile 200,000 records / awk, the same counts",
                                     "count/top/manual_time", "count/awk_all/manual_time", 1.0},
                                    {"profile 200,000 records / awk, by zone only",
                                     "count/top/manual_time", "count/awk/manual_time", 0}});
    }
    unlink(path.c_str());
    return result;
}
