// How the tool ends, and what is wrong with a command line.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace commonctl {

/// Exit statuses of the tool itself.
enum ExitStatus : int { kSuccess = 0, kFailure = 1, kUsage = 2 };

/// The arguments are wrong: the tool prints the text, points to its help and exits with kUsage.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Words of a command line.
using Arguments = std::vector<std::string>;

}  // namespace commonctl
