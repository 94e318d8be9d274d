// The child's side of fresh_process.h: from the fork to the end of the process.
#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <vector>

#include "fresh_process.h"
#include "log_socket.h"

namespace harness::child {

/// What the child got from its parent.
struct Ends {
    int out;                          ///< becomes standard output
    int err;                          ///< becomes standard error
    LogSocket* log;                   ///< to be bound, then closed: the parent reads it
    std::atomic<int>* failed_checks;  ///< in memory shared with the parent
};

/// Sets the process up, runs the body, checks what it left behind and exits.
[[noreturn]] void run_body(const FreshSetup& setup, const Ends& ends,
                           const std::function<void()>& body);

/// Sets the process up and executes a program.
[[noreturn]] void run_program(const FreshSetup& setup, const Ends& ends,
                              const std::vector<std::string>& arguments);

}  // namespace harness::child
