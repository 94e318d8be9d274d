// What a command line costs: 20 words with short and long options and arguments between them,
// worked off by the functions of the library and by those of the C library.
#include <benchmark/benchmark.h>
#include <getopt.h>

#include <array>
#include <tuple>

#include "oxa_getopt.h"
#include "support/ratio_report.h"

namespace {

using Function = int (*)(int, char* const*, const char*, const option*, int*);

constexpr option kOptions[] = {{"help", no_argument, nullptr, 'h'},
                               {"verbose", no_argument, nullptr, 'v'},
                               {"version", no_argument, nullptr, 'V'},
                               {"pattern", required_argument, nullptr, 'p'},
                               {"threads", required_argument, nullptr, 't'},
                               {"layout", required_argument, nullptr, 'l'},
                               {"level", required_argument, nullptr, 'L'},
                               {"colour", optional_argument, nullptr, 'c'},
                               {"recursive", no_argument, nullptr, 'r'},
                               {"output", required_argument, nullptr, 'o'},
                               {nullptr, 0, nullptr, 0}};
constexpr char kLetters[] = "hvVp:t:l:L:c::ro:";

/// A program's name and 20 words.
using Words = std::array<const char*, 22>;

constexpr Words kMixed{"program", "-v",       "first",     "--threads=4",  "-ro",     "out.txt",
                       "second",  "--level",  "Debug",     "--layout",     "Columns", "third",
                       "-vv",     "--colour", "--pattern", "\\.(mp3|ogg)", "fourth",  "--recu",
                       "-t",      "8",        "fifth",     nullptr};

/// Options first, so that nothing has to be moved.
constexpr Words kOrdered{"program",      "-v",       "--threads=4", "-ro",  "out.txt",  "--level",
                         "Debug",        "--layout", "Columns",     "-vv",  "--colour", "--pattern",
                         "\\.(mp3|ogg)", "--recu",   "-t",          "8",    "first",    "second",
                         "third",        "fourth",   "fifth",       nullptr};

/// Short options only.
constexpr Words kShort{"program", "-v",     "-p",    "x",      "-t4",   "-l",   "Columns", "-vr",
                       "-L",      "Debug",  "-c",    "-o",     "out",   "-hv",  "-cred",   "-r",
                       "first",   "second", "third", "fourth", "fifth", nullptr};

constexpr int kArgc = static_cast<int>(std::tuple_size_v<Words>) - 1;

/// What was seen, so that both can be seen to do the same.
struct Seen {
    unsigned sum = 0;
    int index = 0;
    Words words{};

    bool operator==(const Seen&) const = default;
};

Seen work_off(Function function, const Words& line)
{
    Seen seen;
    seen.words = line;
    auto* const argv = const_cast<char**>(seen.words.data());
    optind = 0;
    for (int code = 0; (code = function(kArgc, argv, kLetters, kOptions, nullptr)) != -1;) {
        seen.sum = seen.sum * 31 + static_cast<unsigned>(code);
        seen.sum += optarg != nullptr ? static_cast<unsigned char>(*optarg) : 0;
    }
    seen.index = optind;
    return seen;
}

void parse(benchmark::State& state, Function function, const Words& line)
{
    if (work_off(OXA_getopt_long, line) != work_off(getopt_long, line)) {
        state.SkipWithError("the two do not agree");
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(work_off(function, line));
    }
}

BENCHMARK_CAPTURE(parse, mixed_ours, OXA_getopt_long, kMixed);
BENCHMARK_CAPTURE(parse, mixed_system, getopt_long, kMixed);
BENCHMARK_CAPTURE(parse, ordered_ours, OXA_getopt_long, kOrdered);
BENCHMARK_CAPTURE(parse, ordered_system, getopt_long, kOrdered);
BENCHMARK_CAPTURE(parse, short_ours, OXA_getopt_long, kShort);
BENCHMARK_CAPTURE(parse, short_system, getopt_long, kShort);

}  // namespace

int main(int argc, char** argv)
{
    return bench::run_and_compare(argc, argv,
                                  {{"20 words, arguments between options / getopt_long",
                                    "parse/mixed_ours", "parse/mixed_system", 0.8},
                                   {"20 words, options first / getopt_long", "parse/ordered_ours",
                                    "parse/ordered_system", 0.8},
                                   {"20 words, short options only / getopt_long",
                                    "parse/short_ours", "parse/short_system", 0.8}});
}
