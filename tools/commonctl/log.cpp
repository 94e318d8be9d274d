#include <cerrno>
#include <csignal>
#include <ctime>
#include <optional>
#include <poll.h>
#include <system_error>
#include <unistd.h>

#include "command_line.h"
#include "records/filter.h"
#include "records/format.h"
#include "records/source.h"
#include "records/time_text.h"
#include "subcommands.h"
#include "terminal.h"
#include "watched_command.h"

namespace commonctl {
namespace {

/// What is printed is handed over in pieces of this size, or when there is no more for now.
constexpr std::size_t kPiece = std::size_t{64} * 1024;

/// Between two looks at what tells nothing by itself: files.
constexpr int kLookMs = 100;

/// What "-f" begins with, as tail(1) does.
constexpr std::uint64_t kLastWhenFollowing = 10;

struct LogOptions {
    SourceOptions source{};
    std::string lines{};
    std::vector<std::string> levels{};
    std::vector<std::string> patterns{};
    std::vector<std::string> threads{};
    std::vector<std::string> zones{};
    std::vector<std::string> processes{};
    std::vector<std::string> record_files{};
    std::string since{};
    std::string until{};
    Format format = Format::Short;
    Color color = Color::Auto;
};

std::uint64_t number_of(const std::string& option, const std::string& text)
{
    if (text.empty() || text.size() > 18 ||
        text.find_first_not_of("0123456789") != std::string::npos) {
        throw UsageError(option + " takes a number, not \"" + text + "\"");
    }
    return std::stoull(text);
}

std::int64_t time_of(const std::string& option, const std::string& text)
{
    if (text.empty()) {
        return kNoTime;
    }
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const std::int64_t time =
        time_of_text(text, std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec);
    if (time == kNoTime) {
        throw UsageError(option + " takes a time such as \"2026-11-22 10:00\", \"10:00\", " +
                         "\"-5min\", \"today\" or \"yesterday\", not \"" + text + "\"");
    }
    return time;
}

Filter filter_of(const LogOptions& options)
{
    Filter filter;
    for (const auto& text : options.levels) {
        filter.levels |= levels_of_text(text);
    }
    for (const auto& text : options.patterns) {
        filter.patterns.emplace_back(text);
    }
    for (const auto& text : options.threads) {
        filter.threads.push_back(static_cast<std::int64_t>(number_of("--thread", text)));
    }
    filter.zones = options.zones;
    filter.processes = options.processes;
    filter.files = options.record_files;
    filter.since_ns = time_of("--since", options.since);
    filter.until_ns = time_of("--until", options.until);
    return filter;
}

void write_out(std::string& text)
{
    std::string_view rest = text;
    while (!rest.empty()) {
        const ssize_t count = write(STDOUT_FILENO, rest.data(), rest.size());
        if (count >= 0) {
            rest.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno != EINTR && errno != EAGAIN) {
            throw std::system_error(errno, std::generic_category(),
                                    "the output takes no more records");
        }
    }
    text.clear();
}

void wait_for_more(const RecordSource& source, const std::optional<SignalQueue>& signals)
{
    std::vector<pollfd> entries;
    for (const int fd : source.descriptors()) {
        entries.push_back({fd, POLLIN, 0});
    }
    if (signals) {
        entries.push_back({signals->fd(), POLLIN, 0});
    }
    if (poll(entries.data(), entries.size(), kLookMs) < 0 && errno != EINTR) {
        throw std::system_error(errno, std::generic_category(), "cannot wait for records");
    }
}

int print_all(RecordSource& source, RecordFormatter& formatter, std::optional<SignalQueue>& signals)
{
    std::string text;
    Record record;
    for (;;) {
        const auto next = source.next(record);
        if (next == RecordSource::Next::Record) {
            formatter.append(record, text);
            if (text.size() < kPiece) {
                continue;
            }
        }
        write_out(text);
        if (next == RecordSource::Next::End) {
            return kSuccess;
        }
        if (next == RecordSource::Next::Later) {
            wait_for_more(source, signals);
        }
        while (signals) {
            const auto signal = signals->next();
            if (!signal) {
                break;
            }
            if (signal->number != SIGCHLD) {
                return kSuccess;
            }
        }
    }
}

void check_sources(const SourceOptions& source)
{
    const int kinds =
        (source.files.empty() ? 0 : 1) + (source.journal ? 1 : 0) + (source.socket.empty() ? 0 : 1);
    if (kinds > 1) {
        throw UsageError("FILE, --journal and --socket exclude each other");
    }
}

int log(const LogOptions& options)
{
    check_sources(options.source);
    const Filter filter = filter_of(options);
    SourceOptions source = options.source;
    if (!options.lines.empty() && options.lines != "all") {
        source.last = number_of("--lines", options.lines);
    } else if (source.follow && options.lines.empty() && options.since.empty()) {
        source.last = kLastWhenFollowing;
    }
    if (!filter.is_empty()) {
        source.wanted = [&filter](const Record& record) { return filter.accepts(record); };
    }
    std::optional<SignalQueue> signals;
    if (!source.socket.empty()) {  // whose file is removed at the end
        signals.emplace();
        std::signal(SIGPIPE, SIG_DFL);
    }
    RecordFormatter formatter(options.format, wants_color(options.color, stdout));
    const auto opened = open_source(source);
    return print_all(*opened, formatter, signals);
}

void add_filters(CommandLine& line, LogOptions& options)
{
    line.option("-p,--priority", "LEVEL", options.levels,
                "Records of LEVEL and what is more severe, or of FROM..TO:\n"
                "fatal, critical, error, warn, note, info, debug or verbose,\n"
                "or as syslog has them: emerg, alert, crit, err, ...");
    line.option("-g,--grep", "REGEX", options.patterns,
                "Records whose message matches an extended regular expression;\n"
                "one without a capital letter matches in any case");
    line.option("-S,--since", "TIME", options.since,
                "Records from TIME on: \"2026-11-22 10:00\", \"10:00\", \"-5min\",\n"
                "\"today\" or \"yesterday\"");
    line.option("-U,--until", "TIME", options.until, "Records up to TIME");
    line.option("--zone", "ZONE", options.zones, "Records of a zone");
    line.option("--process", "NAME|PID", options.processes,
                "Records of the processes of a name, or of one by its id");
    line.option("--thread", "TID", options.threads, "Records of a thread");
    line.option("--source", "FILE", options.record_files, "Records that a source file has written");
}

}  // namespace

void add_log(Tool& tool)
{
    auto [line, options] = tool.add<LogOptions>(
        "log", "show, follow and filter the records of a log",
        "Shows records of the system log, whichever layout they are in, with the lines of\n"
        "other programs between them. Without FILE it reads /var/log/syslog or\n"
        "/var/log/messages; \"-\" is standard input. The lines of log files, what \"journalctl\n"
        "-o export\" and \"commonctl listen\" print, and records by themselves are told apart by\n"
        "their text. Filters of one kind are alternatives; those of different kinds narrow the\n"
        "choice.",
        log);
    line.option("FILE", "...", options.source.files, "Logs to read, one behind the other");
    line.flag("-f,--follow", options.source.follow,
              "Go on with what is written from now on, also when the log is\n"
              "renamed and made anew, or emptied; without -n or --since,\n"
              "begin with the last 10 records");
    line.option("-n,--lines", "N", options.lines, "Begin with the last N records, or \"all\"");
    add_filters(line, options);
    line.word("-o,--output", "FORMAT", options.format,
              "Show records as short (the default), full, columns or json:\n"
              "one object a line, in UTF-8",
              {{"short", Format::Short},
               {"full", Format::Full},
               {"columns", Format::Columns},
               {"json", Format::Json}});
    line.color(options.color);
    line.flag("--journal", options.source.journal, "Read what journalctl(1) gives instead");
    line.option("--socket", "PATH", options.source.socket,
                "Receive at PATH instead, such as /dev/log when no daemon does");
    line.examples("  commonctl log -f -p warn                   follow warnings and worse\n"
                  "  commonctl log --since today --zone MEDIA --zone TUNER -g 'time ?out'\n"
                  "  commonctl log -n 100 -o full --process player /var/log/messages\n"
                  "  commonctl log -o json /var/log/syslog.1 /var/log/syslog | jq .message\n"
                  "  zcat /var/log/syslog.2.gz | commonctl log -p error..warn -");
}

}  // namespace commonctl
