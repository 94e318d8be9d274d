#include "profile/signals.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

namespace commonctl::profile {
namespace {

int writing_end = -1;

void note(int signal)
{
    const int before = errno;
    const auto byte = static_cast<unsigned char>(signal);
    // A full pipe has enough to look at.
    [[maybe_unused]] const ssize_t written = write(writing_end, &byte, 1);
    errno = before;
}

void handle(int signal, void (*handler)(int))
{
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigaction(signal, &action, nullptr);
}

}  // namespace

Signals::Signals(std::initializer_list<int> signals) : signals_(signals.begin(), signals.end())
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot wait for signals");
    }
    fd_ = ends[0];
    writing_end = ends[1];
    for (const int signal : signals_) {
        handle(signal, note);
    }
}

Signals::~Signals()
{
    for (const int signal : signals_) {
        handle(signal, SIG_DFL);
    }
    close(fd_);
    close(writing_end);
}

std::optional<int> Signals::next()
{
    unsigned char signal = 0;
    if (read(fd_, &signal, 1) != 1) {
        return std::nullopt;
    }
    return signal;
}

void Signals::let_happen(int signal)
{
    handle(signal, SIG_DFL);
    raise(signal);
    handle(signal, note);
}

}  // namespace commonctl::profile
