// Runs a piece of a test, or a program, in a new process of its own: its own private root, a clean
// environment, a file mode mask of 022, chosen files, a log daemon that listens, a time limit.
//
//     const Outcome outcome = run_fresh({.env = {{"COMMON_LOG_LEVEL", "Debug"}}}, [] {
//         EXPECT_EQ(COMMON_Log_LevelGet(), COMMON_LogLevelDebug);
//     });
//     EXPECT_THAT(outcome, exited(0));
#pragma once

#include <chrono>
#include <concepts>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "outcome.h"

namespace harness {

/// Time limit of a fresh process, before it is stretched (wait_until.h). It ends what hangs, and
/// says nothing about speed: on a busy machine all takes long.
inline constexpr std::chrono::milliseconds kTimeLimit{60'000};

/// What a fresh process finds.
struct FreshSetup {
    /// Variables of its environment. Besides these there are only PATH, TZ=UTC, the options of
    /// sanitizers and coverage and COMMON_TEST_TIME_FACTOR.
    std::map<std::string, std::string> env{};
    /// Files by absolute path, in folders that are private; missing folders are made.
    std::map<std::string, std::string> files{};
    /// Executable files (scripts with a "#!" line, say), like `files`.
    std::map<std::string, std::string> programs{};
    std::chrono::milliseconds time_limit = kTimeLimit;
    /// Whether somebody listens at /dev/log.
    bool open_log_socket = true;
    /// Whether it has a private root of its own. Else it has that of the fresh process which starts
    /// it, and finds the files there as they are: that takes a tenth of the time.
    bool own_root = true;
    /// Called in the new process when all else is set up, before anything is counted.
    std::function<void()> prepare{};
};

/// The same for short, where the test framework has no member of that name.
using Setup = FreshSetup;

/// Runs a function in a fresh process. It may use the checks of the test framework: one that fails
/// is counted and printed to the outcome's standard output, and the process exits with
/// kCheckFailed, as it does when an exception leaves the body. When the body returns, the
/// descriptors, threads and children must be those there were before it, but for a socket connected
/// to the system log; then the process exits with 0 through exit(), so that exit handlers and leak
/// checks run. Standard input is /dev/null. Everything that the process left running is killed.
///
/// The calling process must have one thread. It reads all outputs while it waits, so that the body
/// never blocks on a full pipe or log socket.
Outcome run_fresh(const FreshSetup& setup, const std::function<void()>& body);

/// Runs a function in a fresh process without any setup.
Outcome run_fresh(const std::function<void()>& body);

/// A body, and the line of the test that gives it: failures are shown with it.
struct Body {
    std::function<void()> run;
    const char* file;
    int line;

    template <std::invocable Function>
    Body(Function function, const char* given_in = __builtin_FILE(),
         int given_at = __builtin_LINE())
        : run(std::move(function)), file(given_in), line(given_at)
    {
    }
};

/// Runs a body that must end well: a check of the caller fails when it does not exit with 0.
Outcome well(const FreshSetup& setup, const Body& body);
Outcome well(const Body& body);

/// Runs a body that must end well, log nothing and print nothing.
void run_silently(const FreshSetup& setup, const Body& body);
void run_silently(const Body& body);

/// Runs a program in a fresh process.
/// @param arguments the program, looked for in PATH when it has no slash, and its arguments.
/// @return its outcome; kSetupFailed when it cannot be executed.
Outcome run_program(const FreshSetup& setup, const std::vector<std::string>& arguments);

}  // namespace harness

/// A test whose body runs in a fresh process, ends well, logs nothing and prints nothing. The body
/// is called by a function of its own type: a pointer to it has the type of pointers to functions
/// that never return, and a compiler may take the code that calls these for what calls them all.
#define FRESH_TEST(suite, name)                                   \
    static void suite##_##name##_Body();                          \
    TEST(suite, name)                                             \
    {                                                             \
        ::harness::run_silently([] { suite##_##name##_Body(); }); \
    }                                                             \
    static void suite##_##name##_Body()
