// commonctl serve: a page that shows what processes log.
#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <poll.h>
#include <system_error>

#include "command_line.h"
#include "records/source.h"
#include "serve/page_server.h"
#include "subcommands.h"
#include "watched_command.h"

namespace commonctl {
namespace {

constexpr int kDefaultPort = 8321;

/// Records that are taken before somebody looks at signals again.
constexpr int kBatch = 1000;

/// What no descriptor tells is looked for this often.
constexpr int kLookAgainMs = 100;

struct ServeOptions {
    SourceOptions source{};
    std::string bind{};
    int port = kDefaultPort;
    bool allow_changes = false;
};

std::string address_problem(const std::string& text)
{
    unsigned char address[sizeof(in6_addr)];
    const bool good = inet_pton(AF_INET, text.c_str(), address) == 1 ||
                      inet_pton(AF_INET6, text.c_str(), address) == 1;
    return good ? "" : "takes a numeric address, such as 192.168.1.10 or 0.0.0.0";
}

std::string description_of(const SourceOptions& source)
{
    if (source.journal) {
        return "the journal";
    }
    if (!source.socket.empty()) {
        return source.socket;
    }
    std::string text;
    for (const auto& file : source.files) {
        text += (text.empty() ? "" : ", ") + (file == "-" ? "standard input" : file);
    }
    return text.empty() ? "the system log" : text;
}

std::int64_t now_ns()
{
    using namespace std::chrono;
    return duration_cast<nanoseconds>(system_clock::now().time_since_epoch()).count();
}

/// Takes some records. @return whether there are more at once, later, or none.
RecordSource::Next take(RecordSource& source, RecordRing& ring, RateCounter& rates)
{
    auto next = RecordSource::Next::Record;
    bool some = false;
    for (int i = 0; i < kBatch; ++i) {
        Record record;
        next = source.next(record);
        if (next != RecordSource::Next::Record) {
            break;
        }
        ring.add(record);
        rates.add(record, now_ns());
        some = true;
    }
    if (some) {
        ring.announce();
    }
    return next;
}

bool is_told_to_end(SignalQueue& signals)
{
    while (const auto signal = signals.next()) {
        if (signal->number != SIGCHLD) {
            return true;
        }
    }
    return false;
}

void wait_for_more(const RecordSource& source, RecordSource::Next next, const SignalQueue& signals)
{
    std::vector<pollfd> entries{{signals.fd(), POLLIN, 0}};
    if (next == RecordSource::Next::Later) {
        for (const int fd : source.descriptors()) {
            entries.push_back({fd, POLLIN, 0});
        }
    }
    const int limit = next == RecordSource::Next::Later ? kLookAgainMs : -1;
    if (poll(entries.data(), entries.size(), limit) < 0 && errno != EINTR) {
        throw std::system_error(errno, std::generic_category(), "cannot wait for records");
    }
}

int serve(const ServeOptions& options)
{
    // Before signals are blocked, which a program that it may run would inherit.
    const auto source = open_source(options.source);
    SignalQueue signals;
    RecordRing ring;
    RateCounter rates;
    const PageServer server({.bind = options.bind,
                             .port = options.port,
                             .allow_changes = options.allow_changes,
                             .source = description_of(options.source)},
                            ring, rates);
    if (std::printf("%s\n", server.address().c_str()) < 0 || std::fflush(stdout) != 0) {
        throw std::runtime_error("the address cannot be printed");
    }
    auto next = RecordSource::Next::Record;
    while (!is_told_to_end(signals)) {
        if (next != RecordSource::Next::End) {
            next = take(*source, ring, rates);
        }
        if (next != RecordSource::Next::Record) {
            wait_for_more(*source, next, signals);
        }
    }
    return kSuccess;
}

}  // namespace

void add_serve(Tool& tool)
{
    auto [line, options] = tool.add<ServeOptions>(
        "serve", "show it all on a page in a browser",
        "Serves a page with the records as they come, with filters and search, with how many come\n"
        "of each level, the processes that use the library, and pictures of recorded state\n"
        "machines. Prints the address of the page, and goes on until SIGINT or SIGTERM. The last\n"
        "100,000 records are kept. Only this machine can open the page, any user of it, unless\n"
        "--bind says more.",
        serve);
    options.source.follow = true;
    options.source.last = 100'000;
    line.option("SOURCE", "", options.source.files,
                "Files of a system log, or \"-\" for standard input; without\n"
                "any: the system log of this machine");
    line.flag("--journal", options.source.journal, "Show the journal instead");
    line.option("--socket", "PATH", options.source.socket,
                "Receive at PATH, such as /dev/log, instead");
    line.alternatives({"SOURCE", "--journal", "--socket"});
    line.option("--port", "N", options.port, 0, 65535,
                "Serve at port N (" + std::to_string(kDefaultPort) + "), or at any with 0");
    line.option("--bind", "ADDRESS", options.bind,
                "Serve at ADDRESS, so that other machines can open the page, with the\n"
                "token of the printed address. What goes over the network can be read\n"
                "there: \"ssh -L\" is the better way (see the examples)",
                address_problem);
    line.flag("--allow-changes", options.allow_changes,
              "Let the page change levels: who opens it by the printed address, which\n"
              "has a token");
    line.examples(
        "  commonctl serve                            the system log, at port 8321\n"
        "  commonctl serve --port 0 records.txt       a file, at any port that is free\n"
        "  ssh target journalctl -f | commonctl serve -\n"
        "                                             what another machine logs\n"
        "  ssh -L 8321:localhost:8321 target commonctl serve --allow-changes\n"
        "                                             at another machine, seen from this one");
}

}  // namespace commonctl
