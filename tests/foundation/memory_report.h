// What is left of a process that ran out of memory.
#pragma once

#include <cstdio>
#include <string>

#include <gmock/gmock.h>
#include <unistd.h>

#include "common_log.h"
#include "fresh_process.h"
#include "log_expect.h"

/// Tells the test who it is, on standard output, before it runs out of memory.
inline void tell_process_id()
{
    dprintf(STDOUT_FILENO, "%d", getpid());
}

/// Matches the last record of a process that ran out of memory.
/// @param name the process name with what separates it from the rest: empty when there is none.
/// @param outcome of a process that called tell_process_id().
inline testing::Matcher<const support::LogRecord&>
memory_report(const std::string& name, const harness::Outcome& outcome, const std::string& message)
{
    const std::string text = name + "(" + outcome.out + ") " + message;
    return testing::AllOf(
        harness::said(COMMON_LogLevelCritical, "MALLOC", "mem_malloc", "ErrorLog_Write", text),
        testing::Field("raw", &support::LogRecord::raw, testing::EndsWith(", " + text + "\n")));
}

constexpr char kNoMemory[] = "Could not allocate memory.";
constexpr char kNoMemoryAgain[] = "Could not reallocate memory.";
