#include "pseudo_terminal.h"

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "wait_until.h"

namespace harness {
namespace {

/// What a shell does with a job in the foreground; writes its id, then a byte when it is stopped.
[[noreturn]] void run_session(int slave, int tell, std::vector<std::string> words)
{
    setsid();
    ioctl(slave, TIOCSCTTY, 0);
    for (const int fd : {0, 1, 2}) {
        dup2(slave, fd);
    }
    std::signal(SIGTTOU, SIG_IGN);
    std::signal(SIGHUP, SIG_IGN);
    std::vector<char*> pointers;
    for (auto& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    const pid_t program = fork();
    if (program == 0) {
        setpgid(0, 0);
        tcsetpgrp(0, getpid());
        std::signal(SIGTTOU, SIG_DFL);
        std::signal(SIGHUP, SIG_DFL);
        execv(pointers[0], pointers.data());
        _exit(127);
    }
    bool fine = write(tell, &program, sizeof program) == sizeof program;
    int status = 0;
    while (waitpid(program, &status, WUNTRACED) == program && WIFSTOPPED(status)) {
        fine = write(tell, "s", 1) == 1 && fine;
    }
    _exit(!fine ? 126 : WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status));
}

}  // namespace

PseudoTerminal::PseudoTerminal(unsigned short rows, unsigned short columns)
    : master_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK))
{
    EXPECT_EQ(grantpt(master_), 0);
    EXPECT_EQ(unlockpt(master_), 0);
    slave_ = open(ptsname(master_), O_RDWR | O_NOCTTY | O_CLOEXEC);
    EXPECT_GE(slave_, 0);
    resize(rows, columns);
}

PseudoTerminal::~PseudoTerminal()
{
    close(slave_);
    close(master_);
}

pid_t PseudoTerminal::start(const std::vector<std::string>& words)
{
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    session_ = fork();
    if (session_ == 0) {
        run_session(slave_, ends[1], words);
    }
    close(ends[1]);
    told_ = ends[0];
    pid_t program = -1;
    EXPECT_EQ(read(told_, &program, sizeof program), static_cast<ssize_t>(sizeof program));
    return program;
}

bool PseudoTerminal::was_stopped() const
{
    pollfd readable{told_, POLLIN, 0};
    char told = 0;
    return wait_until([&] { return poll(&readable, 1, 0) == 1; }) && read(told_, &told, 1) == 1 &&
           told == 's';
}

int PseudoTerminal::wait()
{
    int status = -1;
    // A program that ends writes, and a terminal that nobody reads takes no more.
    EXPECT_TRUE(wait_until([&] {
        written();
        return waitpid(session_, &status, WNOHANG) == session_;
    }));
    close(told_);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void PseudoTerminal::type(const std::string& keys) const
{
    EXPECT_EQ(write(master_, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
}

void PseudoTerminal::resize(unsigned short rows, unsigned short columns) const
{
    const winsize size{rows, columns, 0, 0};
    EXPECT_EQ(ioctl(master_, TIOCSWINSZ, &size), 0);
}

termios PseudoTerminal::modes() const
{
    termios modes{};
    EXPECT_EQ(tcgetattr(slave_, &modes), 0);
    return modes;
}

const std::string& PseudoTerminal::written()
{
    char bytes[4096];
    for (ssize_t count = 0; (count = read(master_, bytes, sizeof bytes)) > 0;) {
        written_.append(bytes, static_cast<std::size_t>(count));
    }
    return written_;
}

std::string PseudoTerminal::page()
{
    const auto begin = written().rfind("\033[H");
    return begin == std::string::npos ? "" : written_.substr(begin);
}

bool PseudoTerminal::shows(const std::string& text)
{
    const bool does = wait_until([&] { return page().find(text) != std::string::npos; });
    EXPECT_TRUE(does) << "no \"" << text << "\" in " << testing::PrintToString(page());
    return does;
}

bool operator==(const termios& left, const termios& right)
{
    return left.c_iflag == right.c_iflag && left.c_oflag == right.c_oflag &&
           left.c_cflag == right.c_cflag && left.c_lflag == right.c_lflag &&
           std::memcmp(left.c_cc, right.c_cc, sizeof left.c_cc) == 0;
}

}  // namespace harness
