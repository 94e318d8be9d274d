// A child made by fork() in the middle of a test, while its parent has more threads.
#pragma once

#include <cstdlib>
#include <functional>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace harness {

/// Forks and runs a body in the child. The fresh process's time limit ends a child that hangs.
inline pid_t start_child(const std::function<void()>& body)
{
    const pid_t child = fork();
    if (child == 0) {
        body();
        _exit(EXIT_SUCCESS);
    }
    EXPECT_GT(child, 0);
    return child;
}

/// Waits for a child that must end well.
inline void await_child(pid_t child)
{
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
}

inline void in_child(const std::function<void()>& body)
{
    await_child(start_child(body));
}

}  // namespace harness
