#include <cerrno>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <poll.h>
#include <system_error>
#include <unistd.h>

#include "command_line.h"
#include "listen_socket.h"
#include "private_root.h"
#include "record_printer.h"
#include "subcommands.h"
#include "watched_command.h"

namespace commonctl {
namespace {

std::string not_empty(const std::string& path)
{
    return path.empty() ? "it needs a path" : "";
}

struct ListenOptions {
    Color color = Color::Auto;
    std::string output;  ///< empty for standard output
    std::string socket = "/dev/log";
    bool private_root = false;
    Arguments command;  ///< empty for none
};

/// Keeps the current folder and that of a command given by its path.
void enter_private_root_for(const Arguments& command)
{
    std::error_code unknown_folder;
    std::vector<std::string> keep{std::filesystem::current_path(unknown_folder)};
    if (!command.empty()) {
        keep.push_back(std::filesystem::absolute(command[0], unknown_folder).parent_path());
    }
    support::enter_private_root(keep);
}

void print_waiting(support::LogSocket& socket, RecordPrinter& printer)
{
    while (const auto record = socket.receive()) {
        printer.print(*record);
    }
}

void wait_for_something(const support::LogSocket& socket, const SignalQueue& signals)
{
    pollfd entries[] = {{socket.fd(), POLLIN, 0}, {signals.fd(), POLLIN, 0}};
    if (poll(entries, std::size(entries), -1) < 0 && errno != EINTR) {
        throw std::system_error(errno, std::generic_category(), "cannot wait for records");
    }
}

int listen_until_signal(support::LogSocket& socket, SignalQueue& signals, RecordPrinter& printer)
{
    for (;;) {
        wait_for_something(socket, signals);
        print_waiting(socket, printer);
        if (!printer.flush()) {
            throw std::runtime_error("the output takes no more records");
        }
        while (const auto signal = signals.next()) {
            if (signal->number != SIGCHLD) {
                return kSuccess;
            }
        }
    }
}

/** An output that fails must not keep the command from going on: its records are taken all the
 * same. */
int listen_to_command(const WatchedCommand& command, support::LogSocket& socket,
                      SignalQueue& signals, RecordPrinter& printer)
{
    for (;;) {
        wait_for_something(socket, signals);
        while (const auto signal = signals.next()) {
            if (signal->number != SIGCHLD && !signal->from_terminal) {
                command.send(signal->number);
            }
        }
        // In this order: what the command sent before its end is there when the end is seen.
        const auto status = command.status();
        print_waiting(socket, printer);
        printer.flush();
        if (status) {
            return *status;
        }
    }
}

int listen(const ListenOptions& options)
{
    RecordPrinter printer(options.output, options.color);
    if (options.private_root) {
        enter_private_root_for(options.command);
    }
    SignalQueue signals;
    ListenSocket listening(options.socket);
    if (!options.command.empty()) {
        const WatchedCommand command(options.command);
        return listen_to_command(command, listening.socket(), signals, printer);
    }
    if (isatty(STDERR_FILENO) == 1) {
        std::fprintf(stderr, "commonctl: listening at %s\n", options.socket.c_str());
    }
    return listen_until_signal(listening.socket(), signals, printer);
}

}  // namespace

void add_listen(Tool& tool)
{
    auto [line, options] = tool.add<ListenOptions>(
        "listen", "print what programs send to the system log",
        "Takes the place of the log daemon and prints each record that it receives as one line:\n"
        "priority, program, text. With a COMMAND behind \"--\": runs it, and ends when it has\n"
        "ended and its records are printed, with its exit status (128 and the signal's number\n"
        "when a signal killed it). Otherwise listens until SIGINT or SIGTERM.",
        listen);
    line.color(options.color);
    line.option("--output", "FILE", options.output,
                "Print the records to FILE, and leave standard output to the COMMAND", not_empty);
    line.option("--socket", "PATH", options.socket, "Listen at PATH instead of /dev/log",
                not_empty);
    line.flag("--private-root", options.private_root,
              "Work in a private root, with folders /config, /config-mfg, /dev, /log, /oxa and\n"
              "/tmp of its own that vanish with it: for a COMMAND, next to a log daemon or\n"
              "without the right to replace it");
    tool.take_command("listen", options.command);
    line.examples(
        "  commonctl listen -- ./player --verbose     run a program and show what it logs\n"
        "  commonctl listen --private-root --output=records.txt -- ./player\n"
        "                                             next to a running log daemon");
}

}  // namespace commonctl
