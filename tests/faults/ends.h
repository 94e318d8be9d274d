// Scenarios of functions that end the process.
#pragma once

#include <cstdio>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace faults {

/// Calls a function in a child, which it ends. @return its exit status; -1 for another end.
template <class Function>
int exit_status_of(Function function)
{
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        function();
        _exit(99);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace faults
