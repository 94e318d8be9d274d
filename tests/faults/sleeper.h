// A process to be ended.
#pragma once

#include <csignal>
#include <cstdint>
#include <unistd.h>

#include <gtest/gtest.h>

#include "scenario.h"
#include "wait_until.h"

namespace faults {

/// A child that sleeps, and that nobody needs to wait for.
class Sleeper {
public:
    /// @param at_term what SIGTERM does to it.
    explicit Sleeper(sighandler_t at_term = SIG_DFL) : id_(start(at_term)) {}
    ~Sleeper()
    {
        kill(id_, SIGKILL);
        EXPECT_TRUE(harness::wait_until([&] { return kill(id_, 0) != 0; }));
        std::signal(SIGCHLD, SIG_DFL);
    }
    Sleeper(const Sleeper&) = delete;
    Sleeper& operator=(const Sleeper&) = delete;

    std::uint32_t id() const { return static_cast<std::uint32_t>(id_); }

    /// Lets the library's first look at it wait until it has gone: how long that takes is up to the
    /// machine.
    void await_end_at_look() const
    {
        harness::fault::on_call(Call::open, 1, [id = id_] {
            if (!failed()) {
                EXPECT_TRUE(harness::wait_until([&] { return kill(id, 0) != 0; }));
            }
        });
    }

private:
    static pid_t start(sighandler_t at_term)
    {
        std::signal(SIGCHLD, SIG_IGN);
        std::signal(SIGTERM, at_term);
        const pid_t child = fork();
        if (child == 0) {
            for (;;) {
                pause();
            }
        }
        return child;
    }

    const pid_t id_;
};

}  // namespace faults
