// What the scanner is asked to do on its command line.
#pragma once

#include <optional>
#include <string>

#include "common_log.h"

namespace scanner {

struct Options {
    std::string folder;
    unsigned examiners = 3;              // threads that examine folders, 1 to kMostExaminers
    unsigned interval_ms = 500;          // of progress, 0 for none
    std::optional<std::string> pattern;  // compiles; only files whose names match it count
    std::optional<std::string> report;   // where the summary goes as well
    // What is not given is as the settings of the log facility say, and as the scanner likes it.
    std::optional<COMMON_LogFormat_t> layout;
    std::optional<COMMON_LogLevel_t> level;
};

inline constexpr unsigned kMostExaminers = 16;
inline constexpr unsigned kLongestInterval_ms = 3'600'000;

/// The exit status for a command line that cannot be used.
inline constexpr int kBadUsage = 2;

/// Reads the command line. Nothing when there is nothing to scan: help was asked for and given, or
/// something is wrong, which has been told on standard error; then `status` is the exit status.
std::optional<Options> read_options(int argc, char** argv, int& status);

}  // namespace scanner
