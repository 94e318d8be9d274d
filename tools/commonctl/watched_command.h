// The command that "listen" runs, and the signals that "listen" itself gets meanwhile.
#pragma once

#include <optional>
#include <sys/types.h>

#include "usage.h"

namespace commonctl {

/// From its construction on SIGINT, SIGTERM and SIGCHLD arrive at a descriptor instead of
/// interrupting the process, and writing to a closed pipe is an error instead of a signal.
class SignalQueue {
public:
    SignalQueue();
    ~SignalQueue();
    SignalQueue(const SignalQueue&) = delete;
    SignalQueue& operator=(const SignalQueue&) = delete;

    struct Signal {
        int number;
        /// Sent by the terminal, and so to the command as well.
        bool from_terminal;
    };

    /// Gives the next signal that has arrived; does not wait.
    std::optional<Signal> next();

    int fd() const { return fd_; }

private:
    int fd_;
};

/// A running command, which has the standard streams of this process.
class WatchedCommand {
public:
    /// Starts a command, looked for in PATH, with ordinary signal handling.
    explicit WatchedCommand(const Arguments& command);

    void send(int signal) const;

    /// Looks whether the command has ended; does not wait.
    /// @return its exit status, 128 plus the number of the signal that killed it, 127 when there is
    ///         no such program or 126 when it cannot be run.
    std::optional<int> status() const;

private:
    pid_t pid_;
};

}  // namespace commonctl
