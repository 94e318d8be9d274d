// The processes of this machine that have the library loaded, and how they log.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace commonctl {

/// A process that has the library loaded.
struct Process {
    pid_t pid = -1;
    std::string name{};     ///< as the kernel has it (/proc/PID/comm)
    std::string library{};  ///< path of the library that it has mapped
    /// Settings that it started with (COMMON_LOG_ variables of its environment), "NAME=value".
    std::vector<std::string> environment{};
    std::string
        settings_file{};  ///< the file that it reads when it looks; empty when there is none
    std::optional<std::string>
        level{};            ///< what it logs up to, as far as files and environment tell
    bool looks = false;     ///< whether it looks for changed files while it runs
    std::string why_not{};  ///< why it does not, with the remedy; empty when it does
    bool readable = true;   ///< false when this user may not see its environment
};

/// All of them but this process, by id.
std::vector<Process> find_processes();

/// What changing a level found.
struct LevelChange {
    bool changed = false;
    std::string text{};  ///< what was done, or why nothing was and what would help
};

/// Writes the file of settings of a process, so that it changes to a level ("Debug", or empty to
/// restore what was before).
LevelChange change_level(pid_t pid, const std::string& level);

}  // namespace commonctl
