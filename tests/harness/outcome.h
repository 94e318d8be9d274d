// How a process ended and what it left behind, and matchers for it:
//
//     EXPECT_THAT(run_fresh([] { MEM_Set(nullptr, 0, 1); }), killed_by(SIGABRT));
//
// No matcher accepts an outcome with a failed check, whatever the end of the process.
#pragma once

#include <chrono>
#include <iosfwd>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "log_record.h"

namespace harness {

/// What the tools use as well, the tests have by the same short names.
using namespace support;

/// Exit statuses that nothing under test uses.
enum ExitStatus : int {
    kSanitizerReport = 86,  ///< a sanitizer found something; its report is on standard error
    kCheckFailed = 87,      ///< a check failed, or something was left open, running or behind
    kSetupFailed = 88       ///< the private root, the files or the program could not be set up
};

struct Outcome {
    enum class End { Exited, Killed, TimedOut };

    End end = End::Exited;
    int number = 0;              ///< exit status, or the signal that killed the process
    std::string out;             ///< standard output; texts of failed checks are in it, too
    std::string err;             ///< standard error
    std::vector<LogRecord> log;  ///< the records sent to /dev/log, in order of arrival
    int failed_checks = 0;       ///< failed expectations in the process and its children
    std::chrono::milliseconds duration{};

    /// Gives the texts of the log records, in order.
    std::vector<std::string> log_texts() const;
};

/// Prints everything that is known about an outcome.
std::ostream& operator<<(std::ostream& stream, const Outcome& outcome);

/// Matches a process that called exit() with a status (by returning from main, say).
testing::Matcher<const Outcome&> exited(int status);

/// Matches a process that a signal killed.
testing::Matcher<const Outcome&> killed_by(int signal);

/// Matches a process that was still running at its time limit.
testing::Matcher<const Outcome&> timed_out();

}  // namespace harness
