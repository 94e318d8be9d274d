#include "fresh_process.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <iostream>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

#include "fresh_child.h"
#include "shared_memory.h"
#include "wait_until.h"

namespace harness {
namespace {

using Clock = std::chrono::steady_clock;

/// How often is asked whether a process has ended, where the kernel cannot tell.
constexpr int kTimeBetweenLooks_ms = 10;

using ChildMain = std::function<void(const child::Ends&)>;

[[noreturn]] void fail(const char* what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

class Descriptor {
public:
    explicit Descriptor(int fd = -1) : fd_(fd) {}
    ~Descriptor() { reset(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    void reset(int fd = -1)
    {
        if (fd_ >= 0) {
            close(fd_);
        }
        fd_ = fd;
    }

    int get() const { return fd_; }

private:
    int fd_;
};

struct Pipe {
    Descriptor reader;
    Descriptor writer;

    Pipe()
    {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) {
            fail("cannot make a pipe");
        }
        reader.reset(ends[0]);
        writer.reset(ends[1]);
    }

    /// Takes what is there now. After the end of file the pipe is closed: poll() skips it then.
    void drain(std::string& text)
    {
        char buffer[4096];
        while (reader.get() >= 0) {
            const ssize_t length = read(reader.get(), buffer, sizeof buffer);
            if (length > 0) {
                text.append(buffer, static_cast<std::size_t>(length));
            } else if (length == 0) {
                reader.reset();
            } else if (errno != EINTR) {
                return;
            }
        }
    }
};

/// An emulator tells on standard error of each process that a signal ended.
void take_out_words_of_emulator([[maybe_unused]] std::string& err)
{
#if defined(HARNESS_EMULATED)
    constexpr const char* kStart = "qemu: uncaught target signal ";
    for (std::size_t at = err.find(kStart); at != std::string::npos; at = err.find(kStart, at)) {
        err.erase(at, err.find('\n', at) + 1 - at);
    }
#endif
}

/// The parent's side: starts the process, collects its outputs until it has ended.
class FreshProcess {
public:
    FreshProcess(const FreshSetup& setup, const ChildMain& child_main)
        : started_(Clock::now()), deadline_(started_ + stretched(setup.time_limit))
    {
        std::cout.flush();
        std::fflush(nullptr);
        pid_ = fork();
        if (pid_ < 0) {
            fail("cannot fork");
        }
        if (pid_ == 0) {
            out_.reader.reset();
            err_.reader.reset();
            child_main({out_.writer.get(), err_.writer.get(), &log_, failed_checks_.get()});
        }
        out_.writer.reset();
        err_.writer.reset();
        fcntl(out_.reader.get(), F_SETFL, O_NONBLOCK);
        fcntl(err_.reader.get(), F_SETFL, O_NONBLOCK);
        end_of_process_.reset(static_cast<int>(syscall(SYS_pidfd_open, pid_, 0)));
        if (end_of_process_.get() < 0 && errno != ENOSYS) {
            fail("cannot watch a process");
        }
    }

    Outcome collect()
    {
        while (!wait_for_something()) {
            collect_outputs();
        }
        // The process is a zombie now, so that its group still has its number.
        kill(-pid_, SIGKILL);
        int status = 0;
        while (waitpid(pid_, &status, 0) < 0) {
            if (errno != EINTR) {
                fail("cannot wait for a process");
            }
        }
        collect_outputs();
        take_out_words_of_emulator(outcome_.err);

        outcome_.end = timed_out_          ? Outcome::End::TimedOut
                       : WIFEXITED(status) ? Outcome::End::Exited
                                           : Outcome::End::Killed;
        outcome_.number = WIFEXITED(status) ? WEXITSTATUS(status) : WTERMSIG(status);
        outcome_.failed_checks = failed_checks_.get()->load();
        outcome_.duration =
            std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - started_);
        return std::move(outcome_);
    }

private:
    /// @return whether the process has ended.
    bool wait_for_something()
    {
        std::array<pollfd, 4> entries{{{end_of_process_.get(), POLLIN, 0},
                                       {log_.fd(), POLLIN, 0},
                                       {out_.reader.get(), POLLIN, 0},
                                       {err_.reader.get(), POLLIN, 0}}};
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline_ - Clock::now()).count();
        if (left <= 0 && !timed_out_) {
            timed_out_ = true;
            kill(pid_, SIGKILL);
        }
        int timeout_ms = timed_out_ ? -1 : static_cast<int>(left) + 1;
        if (end_of_process_.get() < 0) {
            timeout_ms = kTimeBetweenLooks_ms;
        }
        if (poll(entries.data(), entries.size(), timeout_ms) < 0 && errno != EINTR) {
            fail("cannot wait for the outputs of a process");
        }
        return end_of_process_.get() < 0 ? has_ended() : entries[0].revents != 0;
    }

    /// For who runs this under valgrind, which knows no descriptors of processes.
    bool has_ended() const
    {
        siginfo_t info{};
        return waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
               info.si_pid == pid_;
    }

    void collect_outputs()
    {
        out_.drain(outcome_.out);
        err_.drain(outcome_.err);
        while (auto record = log_.receive()) {
            outcome_.log.push_back(std::move(*record));
        }
    }

    Pipe out_;
    Pipe err_;
    LogSocket log_;
    SharedMemory<std::atomic<int>> failed_checks_;
    Clock::time_point started_;
    Clock::time_point deadline_;
    bool timed_out_ = false;
    pid_t pid_ = -1;
    Descriptor end_of_process_;
    Outcome outcome_;
};

}  // namespace

Outcome run_fresh(const FreshSetup& setup, const std::function<void()>& body)
{
    return FreshProcess(setup, [&](const child::Ends& ends) { child::run_body(setup, ends, body); })
        .collect();
}

Outcome run_fresh(const std::function<void()>& body)
{
    return run_fresh(FreshSetup{}, body);
}

Outcome well(const FreshSetup& setup, const Body& body)
{
    Outcome outcome = run_fresh(setup, body.run);
    const testing::ScopedTrace where(body.file, body.line, "");
    EXPECT_THAT(outcome, exited(0));
    return outcome;
}

Outcome well(const Body& body)
{
    return well(FreshSetup{}, body);
}

void run_silently(const FreshSetup& setup, const Body& body)
{
    const Outcome outcome = well(setup, body);
    const testing::ScopedTrace where(body.file, body.line, "");
    EXPECT_THAT(outcome.log, testing::IsEmpty());
    EXPECT_EQ(outcome.out + outcome.err, "");
}

void run_silently(const Body& body)
{
    run_silently(FreshSetup{}, body);
}

Outcome run_program(const FreshSetup& setup, const std::vector<std::string>& arguments)
{
    return FreshProcess(
               setup, [&](const child::Ends& ends) { child::run_program(setup, ends, arguments); })
        .collect();
}

}  // namespace harness
