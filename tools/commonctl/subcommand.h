// What the sub-commands of commonctl share.
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

/// What stands behind the name of the sub-command on the command line.
using Arguments = std::vector<std::string>;

/// @throws UsageError, or any other exception, whose text is printed before kFailure.
using Run = int (*)(const Arguments& arguments);

struct Subcommand {
    const char* name;
    const char* summary;  ///< one line for the list of sub-commands
    const char* help;
    Run run;
};

}  // namespace commonctl
