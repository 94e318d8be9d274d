// What reading a log costs: records parsed, filtered and printed, against grep(1) over the same
// file.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "records/source.h"
#include "support/ratio_report.h"

namespace {

using commonctl::Record;
using commonctl::RecordSource;

constexpr int kRecords = 200'000;
constexpr double kMostNs = 1000;  // a million records a second
constexpr const char* kOutput = "/tmp/commonctl_bench_output";

/// A log of records in one layout, as a daemon writes it, until the end of the program.
class Log {
public:
    Log()
    {
        char path[] = "/tmp/commonctl_bench_XXXXXX";
        const int fd = mkstemp(path);
        path_ = path;
        FILE* const file = fdopen(fd, "w");
        for (int i = 0; i < kRecords; ++i) {
            write_record(file, i);
        }
        std::fclose(file);
    }
    ~Log() { std::filesystem::remove(path_); }
    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;

    const std::string& path() const { return path_; }

private:
    void write_record(FILE* file, int i)
    {
        constexpr const char* kLevels[] = {"Info", "Debug", "Warn",    "Note",
                                           "Info", "Error", "Verbose", "Info"};
        constexpr const char* kZones[] = {"MEDIA", "TUNER", "HMI", "NAVI"};
        constexpr const char* kWords[] = {"player",  "folder", "timeout", "device", "removed",
                                          "scanned", "queue",  "ended",   "volume", "station"};
        char time[16];
        std::snprintf(time, sizeof time, "%02d:%02d:%02d", i / 500 / 3600 % 24, i / 500 / 60 % 60,
                      i / 500 % 60);
        std::fprintf(file,
                     "Nov 22 %s target player[%d]: [20779.%s.%09d], %s, %d, player, %d, %s, "
                     "media_scanner.cpp, scan_folder %d, ",
                     time, 1200 + i % 7, time, i * 997 % 1'000'000'000, kZones[i % 4], 1200 + i % 7,
                     1300 + i % 11, kLevels[i % 8], 100 + i % 900);
        for (int word = 0; word < 8; ++word) {
            std::fprintf(file, "%s ", kWords[random_() % std::size(kWords)]);
        }
        std::fprintf(file, "%d\n", i);
    }

    std::string path_;
    std::mt19937 random_{1};
};

Log* the_log = nullptr;
bool has_lnav = false;

/// The processor time that a record takes to be read from the file and taken apart, in nanoseconds:
/// the median of nine times all of them.
double parse_all()
{
    std::array<double, 9> rounds{};
    for (double& round : rounds) {
        const auto source = commonctl::open_source({.files = {the_log->path()}});
        Record record;
        int count = 0;
        timespec begin{};
        timespec end{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &begin);
        while (source->next(record) == RecordSource::Next::Record) {
            count += record.layout == commonctl::Layout::Syslogngext ? 1 : 0;
        }
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &end);
        if (count != kRecords) {
            std::fprintf(stderr, "commonctl_bench: %d of %d records\n", count, kRecords);
            std::exit(1);
        }
        round = (static_cast<double>(end.tv_sec - begin.tv_sec) * 1e9 +
                 static_cast<double>(end.tv_nsec - begin.tv_nsec)) /
                count;
    }
    std::nth_element(rounds.begin(), rounds.begin() + 4, rounds.end());
    return rounds[4];
}

/// Runs a program over the file with its output thrown away.
void run(benchmark::State& state, std::vector<std::string> words)
{
    words.push_back(the_log->path());
    std::vector<char*> pointers;
    for (auto& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    // To a file of its own: grep does less for /dev/null.
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, kOutput, O_WRONLY | O_CREAT | O_TRUNC,
                                     0600);
    for (auto _ : state) {
        pid_t child = -1;
        int status = -1;
        if (posix_spawnp(&child, pointers[0], &actions, nullptr, pointers.data(), environ) != 0 ||
            waitpid(child, &status, 0) != child || status != 0) {
            state.SkipWithError("the program failed");
        }
    }
    posix_spawn_file_actions_destroy(&actions);
}

#define RUN(name, ...)                 \
    void name(benchmark::State& state) \
    {                                  \
        run(state, {__VA_ARGS__});     \
    }                                  \
    BENCHMARK(name)->UseRealTime()->Unit(benchmark::kMillisecond)

RUN(log_counts, COMMONCTL, "log", "-p", "fatal");
RUN(grep_counts, "grep", "-c", "player");
RUN(log_warnings, COMMONCTL, "log", "-p", "warn");
RUN(grep_warnings, "grep", "-E", ", (Fatal|Critical|Error|Warn), ");
RUN(grep_text, "grep", "-E", "timeout device");
RUN(log_text, COMMONCTL, "log", "-g", "timeout device");
RUN(log_expression, COMMONCTL, "log", "-g", "timeout .*(device|queue) [0-9]+$");
RUN(grep_expression, "grep", "-E", "timeout .*(device|queue) [0-9]+$");
RUN(log_last, COMMONCTL, "log", "-n", "100");
RUN(tail_last, "tail", "-n", "100");
RUN(log_all, COMMONCTL, "log");
RUN(log_all_json, COMMONCTL, "log", "-o", "json");
RUN(cat_all, "cat");

/// A reader of logs for terminals, which prints here as the others do.
void add_lnav()
{
    if (std::system("command -v lnav > /dev/null") != 0) {
        std::printf("lnav not found (package lnav): benchmarks run without that peer\n");
        return;
    }
    has_lnav = true;
    benchmark::RegisterBenchmark("lnav_all",
                                 [](benchmark::State& state) {
                                     run(state, {"lnav", "-n"});
                                 })
        ->UseRealTime()
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark(
        "lnav_expression",
        [](benchmark::State& state) {
            run(state, {"lnav", "-n", "-c", ":filter-in timeout .*(device|queue) [0-9]+$"});
        })
        ->UseRealTime()
        ->Unit(benchmark::kMillisecond);
}

std::vector<bench::Ratio> ratios()
{
    std::vector<bench::Ratio> all{
        {"200,000 records parsed / grep -c", "log_counts/real_time", "grep_counts/real_time", 0},
        {"warnings / grep -E", "log_warnings/real_time", "grep_warnings/real_time", 0},
        {"a text / grep -E", "log_text/real_time", "grep_text/real_time", 0},
        {"an expression / grep -E", "log_expression/real_time", "grep_expression/real_time", 0},
        {"the last 100 records / tail", "log_last/real_time", "tail_last/real_time", 0},
        {"all records / cat", "log_all/real_time", "cat_all/real_time", 0},
        {"all records as JSON / cat", "log_all_json/real_time", "cat_all/real_time", 0}};
    if (has_lnav) {
        all.push_back({"all records / lnav -n", "log_all/real_time", "lnav_all/real_time", 0});
        all.push_back({"an expression / lnav -n", "log_expression/real_time",
                       "lnav_expression/real_time", 0});
    }
    return all;
}

}  // namespace

int main(int argc, char** argv)
{
    static Log log;
    the_log = &log;
    add_lnav();
    const int status = bench::run_and_compare(argc, argv, ratios());
    std::filesystem::remove(kOutput);
    bench::report({"a record parsed / at most", parse_all(), kMostNs, 1.0});
    return status;
}
