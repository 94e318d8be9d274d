// A real log daemon, rsyslogd, at /dev/log of a private root.
#pragma once

#include <csignal>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "fresh_process.h"
#include "wait_until.h"

namespace harness {

inline constexpr char kLogDaemon[] = "/usr/sbin/rsyslogd";

/// A fresh process that can have a LogDaemon.
/// @param actions what the daemon does with records, as its configuration has it.
inline FreshSetup under_log_daemon(const std::string& actions)
{
    FreshSetup setup;
    setup.open_log_socket = false;
    // The main queue is a direct one: what the daemon has read is in the files.
    setup.files["/tmp/rsyslog.conf"] =
        "global(workDirectory=\"/tmp\")\n"
        "module(load=\"imuxsock\" SysSock.Name=\"/dev/log\" SysSock.RateLimit.Interval=\"0\")\n"
        "main_queue(queue.type=\"direct\")\n" +
        actions;
    setup.time_limit = std::chrono::seconds(110);
    return setup;
}

/// The daemon, for as long as the object lives.
class LogDaemon {
public:
    LogDaemon() : pid_(fork())
    {
        if (pid_ == 0) {
            execl(kLogDaemon, kLogDaemon, "-n", "-f", "/tmp/rsyslog.conf", "-i",
                  "/tmp/rsyslogd.pid", nullptr);
            _exit(127);
        }
        EXPECT_TRUE(wait_until(listens))
            << kLogDaemon << " does not listen: is the package rsyslog installed?";
    }
    LogDaemon(const LogDaemon&) = delete;
    LogDaemon& operator=(const LogDaemon&) = delete;
    ~LogDaemon()
    {
        kill(pid_, SIGTERM);
        waitpid(pid_, nullptr, 0);
    }

    /// Has it open its files anew.
    void reopen() const { kill(pid_, SIGHUP); }

private:
    static bool listens()
    {
        const int probe = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_un address{AF_UNIX, "/dev/log"};
        const bool connected =
            connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
        close(probe);
        return connected;
    }

    pid_t pid_;
};

}  // namespace harness
