// "top": who writes how much.
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <limits>
#include <optional>
#include <system_error>

#include "command_line.h"
#include "profile/live.h"
#include "profile/report.h"
#include "records/source.h"
#include "subcommands.h"
#include "terminal.h"

namespace commonctl {
namespace {

using profile::By;

// Of intervals, in seconds, and the longest; and of the time that it runs.
constexpr double kShortest = 0.1;
constexpr double kLongestInterval = 3'600;
constexpr double kLongestRun = 10'000'000;

enum class Output { Live, Table, Json, Html };

struct TopOptions {
    SourceOptions source{};
    Output output = Output::Live;
    std::optional<By> by{};
    int limit = 20;
    double interval = 1;
    std::optional<double> duration{};
    Color color = Color::Auto;
};

/// What is read, in words.
std::string name_of(const SourceOptions& source)
{
    if (source.journal) {
        return "the journal";
    }
    if (!source.socket.empty()) {
        return source.socket;
    }
    std::string names;
    for (const std::string& file : source.files) {
        names += (names.empty() ? "" : ", ") + (file == "-" ? "standard input" : file);
    }
    return names.empty() ? "the system log" : names;
}

void check_seconds(const char* option, double seconds, double most)
{
    // Said so that what is no number is refused, too.
    if (!(seconds >= kShortest && seconds <= most)) {
        throw UsageError(std::string(option) + " is 0.1 to " + std::to_string(std::lround(most)) +
                         " seconds");
    }
}

void print(const std::string& text)
{
    if (std::fputs(text.c_str(), stdout) < 0 || std::fflush(stdout) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot write the report");
    }
}

int report(const TopOptions& options, RecordSource& source)
{
    profile::Profile profile;
    if (options.source.follow) {
        profile::take_in(source, profile, options.duration.value_or(0));
    } else {
        profile::take_all(source, profile);
    }
    const std::vector<By> every(std::begin(profile::kEveryBy), std::end(profile::kEveryBy));
    const profile::Report report = make_report(profile, name_of(options.source),
                                               options.by ? std::vector<By>{*options.by} : every,
                                               static_cast<std::size_t>(options.limit));
    print(options.output == Output::Json   ? json_of(report)
          : options.output == Output::Html ? page_of(report)
                                           : table_of(report, wants_color(options.color, stdout)));
    return kSuccess;
}

int top(const TopOptions& given)
{
    TopOptions options = given;
    SourceOptions& source = options.source;
    if (static_cast<int>(!source.files.empty()) + static_cast<int>(source.journal) +
            static_cast<int>(!source.socket.empty()) >
        1) {
        throw UsageError("give files, --journal or --socket, one of them");
    }
    source.follow = source.follow || !source.socket.empty();
    check_seconds("--interval", options.interval, kLongestInterval);
    if (options.duration) {
        check_seconds("--for", *options.duration, kLongestRun);
    }
    if (!source.follow && options.duration) {
        throw UsageError("--for needs -f: what is there already is read to its end");
    }
    if (source.follow && source.socket.empty() &&
        std::find(source.files.begin(), source.files.end(), "-") == source.files.end()) {
        source.last = 0;
    }
    const auto records = open_source(source);
    if (options.output != Output::Live || !source.follow) {
        return report(options, *records);
    }
    profile::show_live(*records,
                       {.by = options.by.value_or(By::Process),
                        .limit = options.limit == 0 ? profile::Profile::kMostRows
                                                    : static_cast<std::size_t>(options.limit),
                        .interval = options.interval,
                        .duration = options.duration.value_or(0),
                        .colored = wants_color(options.color, stdout)});
    return kSuccess;
}

}  // namespace

void add_top(Tool& tool)
{
    auto [line, options] = tool.add<TopOptions>(
        "top", "show who writes how much",
        "Counts records and their bytes in the log by process, zone, level and call site (file,\n"
        "line and function), the loudest first: of the whole log, or with -f of what is written\n"
        "from now on. Without a FILE it reads the system log of this machine.\n"
        "\n"
        "With -f on a terminal it is a page that is drawn anew each second, with the keys\n"
        "p (process), z (zone), l (level), s (call site) and q (quit); elsewhere a block of lines\n"
        "a second. With -o it is one report at the end: of the log, or of the time until Ctrl-C\n"
        "or --for. The page of \"-o html\" is one file that needs no other.\n"
        "\n"
        "Rates are means over the time from the first record to the last. Each table keeps the\n"
        "4096 loudest names; what does not fit is counted as \"(others)\". The axis of time has\n"
        "at most 512 steps: of a second, or of as many seconds as it takes. A step is loud when\n"
        "its rate is above three times the median of all steps with records, and quiet below a\n"
        "third of it; steps of a kind behind one another are a phase, and the ten with most\n"
        "records or the longest are shown. Where the clock jumps, or nothing is written, for more\n"
        "than a day, the time between is left out.",
        top);
    line.option("FILE", "...", options.source.files, "Log files, or \"-\" for standard input");
    line.flag("-f,--follow", options.source.follow, "Count what is written from now on");
    line.flag("--journal", options.source.journal, "Read the journal");
    line.option("--socket", "PATH", options.source.socket,
                "Receive at PATH, such as /dev/log, as -f does");
    line.word("-o,--output", "FORM", options.output,
              "Give one report: table (without -f the default), json or html",
              {{"table", Output::Table}, {"json", Output::Json}, {"html", Output::Html}});
    line.word("--by", "WHAT", options.by,
              "Count by this only: process, zone, level or site; a\n"
              "page on a terminal begins with it",
              {{"process", std::optional(By::Process)},
               {"zone", std::optional(By::Zone)},
               {"level", std::optional(By::Level)},
               {"site", std::optional(By::Site)}});
    line.option("--limit", "N", options.limit, 0, std::numeric_limits<int>::max(),
                "Lines of a table (default 20; levels: all), 0 for all");
    line.option("--interval", "SECONDS", options.interval,
                "Seconds between two pictures with -f, 0.1 to 3600 (default 1)");
    line.option("--for", "SECONDS", options.duration, "With -f: end after so many seconds");
    line.color(options.color);
    line.examples("  commonctl top /var/log/syslog              the loudest in a log\n"
                  "  commonctl top -f --by site                 which lines of code log just now\n"
                  "  commonctl top -o html syslog.1 syslog > page.html\n"
                  "                                             a page for a browser\n"
                  "  commonctl top -f --for 60 -o json --by zone\n"
                  "                                             a minute, for a script\n"
                  "  ssh target cat /var/log/messages | commonctl top -\n"
                  "                                             the log of another machine");
}

}  // namespace commonctl
