#include "watched_command.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace commonctl {
namespace {

// As a shell has it.
constexpr int kNotRunnable = 126;
constexpr int kNotFound = 127;
constexpr int kKilled = 128;

sigset_t queued_signals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGCHLD);
    return signals;
}

[[noreturn]] void execute(const Arguments& command)
{
    const sigset_t signals = queued_signals();
    sigprocmask(SIG_UNBLOCK, &signals, nullptr);
    std::signal(SIGPIPE, SIG_DFL);

    std::vector<char*> pointers;
    for (const auto& argument : command) {
        pointers.push_back(const_cast<char*>(argument.c_str()));
    }
    pointers.push_back(nullptr);
    execvp(pointers[0], pointers.data());
    const int error = errno;
    dprintf(STDERR_FILENO, "commonctl: cannot run %s: %s\n", pointers[0], std::strerror(error));
    _exit(error == ENOENT ? kNotFound : kNotRunnable);
}

}  // namespace

SignalQueue::SignalQueue()
{
    const sigset_t signals = queued_signals();
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    fd_ = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
    if (fd_ < 0) {
        throw std::system_error(errno, std::generic_category(), "cannot wait for signals");
    }
}

SignalQueue::~SignalQueue()
{
    close(fd_);
}

std::optional<SignalQueue::Signal> SignalQueue::next()
{
    signalfd_siginfo info;
    if (read(fd_, &info, sizeof info) != static_cast<ssize_t>(sizeof info)) {
        return std::nullopt;
    }
    return Signal{static_cast<int>(info.ssi_signo), info.ssi_code == SI_KERNEL};
}

WatchedCommand::WatchedCommand(const Arguments& command) : pid_(fork())
{
    if (pid_ < 0) {
        throw std::system_error(errno, std::generic_category(), "cannot start a process");
    }
    if (pid_ == 0) {
        execute(command);
    }
}

void WatchedCommand::send(int signal) const
{
    kill(pid_, signal);
}

std::optional<int> WatchedCommand::status() const
{
    int status = 0;
    if (waitpid(pid_, &status, WNOHANG) != pid_) {
        return std::nullopt;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : kKilled + WTERMSIG(status);
}

}  // namespace commonctl
