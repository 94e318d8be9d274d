#include "profile/screen.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <string_view>
#include <sys/ioctl.h>
#include <system_error>
#include <termios.h>
#include <unistd.h>

namespace commonctl::profile {
namespace {

// A page of its own, lines that do not go on in the next row, no cursor.
constexpr std::string_view kEnter = "\033[?1049h\033[?7l\033[?25l";
constexpr std::string_view kLeave = "\033[?25h\033[?7h\033[?1049l";

constexpr int kFatalSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};

/// What a handler of a fatal signal needs; set while the terminal is taken.
struct Taken {
    volatile sig_atomic_t is_taken;
    int keys_fd;
    bool has_modes;
    termios modes;
};
Taken taken{0, -1, false, {}};

/// Safe in a signal handler.
void give_back()
{
    if (taken.is_taken == 0) {
        return;
    }
    taken.is_taken = 0;
    [[maybe_unused]] const ssize_t written = write(STDOUT_FILENO, kLeave.data(), kLeave.size());
    if (taken.has_modes) {
        tcsetattr(taken.keys_fd, TCSANOW, &taken.modes);
    }
}

void end_by(int signal)
{
    give_back();
    // The handler was installed for one signal only: this one ends the process.
    raise(signal);
}

void handle_fatal_signals(void (*handler)(int))
{
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);
    for (const int signal : kFatalSignals) {
        sigaction(signal, &action, nullptr);
    }
}

/// Where keys come from: the controlling terminal, also when records come by standard input.
int open_keys()
{
    const int fd = open("/dev/tty", O_RDONLY | O_CLOEXEC | O_NOCTTY);
    if (fd < 0 && isatty(STDIN_FILENO) == 1) {
        return dup(STDIN_FILENO);
    }
    return fd;
}

void write_all(std::string_view text)
{
    while (!text.empty()) {
        const ssize_t written = write(STDOUT_FILENO, text.data(), text.size());
        if (written < 0 && errno != EINTR && errno != EAGAIN) {
            throw std::system_error(errno, std::generic_category(), "cannot write to the terminal");
        }
        if (written < 0 && errno == EAGAIN) {
            pollfd writable{STDOUT_FILENO, POLLOUT, 0};
            poll(&writable, 1, -1);
        }
        text.remove_prefix(written > 0 ? static_cast<std::size_t>(written) : 0);
    }
}

}  // namespace

bool Screen::is_possible()
{
    const char* const kind = std::getenv("TERM");
    return kind != nullptr && std::string_view(kind) != "dumb" && *kind != '\0' &&
           isatty(STDOUT_FILENO) == 1;
}

Screen::Screen() : keys_fd_(open_keys())
{
    handle_fatal_signals(end_by);
    enter();
}

Screen::~Screen()
{
    leave();
    handle_fatal_signals(SIG_DFL);
    if (keys_fd_ >= 0) {
        close(keys_fd_);
    }
}

void Screen::enter()
{
    if (taken.is_taken != 0) {
        return;
    }
    taken.keys_fd = keys_fd_;
    taken.has_modes = keys_fd_ >= 0 && tcgetattr(keys_fd_, &taken.modes) == 0;
    taken.is_taken = 1;
    if (taken.has_modes) {
        termios modes = taken.modes;
        modes.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
        modes.c_cc[VMIN] = 1;
        modes.c_cc[VTIME] = 0;
        tcsetattr(keys_fd_, TCSANOW, &modes);
    }
    write_all(kEnter);
}

void Screen::leave()
{
    give_back();
}

void Screen::show(const std::vector<std::string>& lines)
{
    std::string text = "\033[H";
    for (std::size_t i = 0; i < lines.size(); ++i) {
        text += (i == 0 ? "" : "\r\n") + lines[i] + "\033[K";
    }
    write_all(text + "\033[J");
}

Screen::Size Screen::size()
{
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_row == 0 || size.ws_col == 0) {
        return {24, 80};
    }
    return {size.ws_row, size.ws_col};
}

std::optional<char> Screen::key()
{
    pollfd readable{keys_fd_, POLLIN, 0};
    if (keys_fd_ < 0 || poll(&readable, 1, 0) != 1) {
        return std::nullopt;
    }
    char key = 0;
    const ssize_t count = read(keys_fd_, &key, 1);
    if (count == 1) {
        return key;
    }
    if (count == 0 || (errno != EINTR && errno != EAGAIN)) {
        close(keys_fd_);
        keys_fd_ = -1;
    }
    return std::nullopt;
}

}  // namespace commonctl::profile
