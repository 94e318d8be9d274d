// The processes of this machine that have the library loaded, and how they log.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

#include "processes/settings_model.h"

namespace commonctl {

/// A process that has the library loaded. Of its settings only files and environment tell: what it
/// sets by calls is not seen from outside.
struct Process {
    pid_t pid = -1;
    std::string name{};            ///< as the kernel has it (/proc/PID/comm)
    std::string mapped_library{};  ///< path of the library
    /// Settings that it started with (COMMON_LOG_ variables of its environment), "NAME=value".
    std::vector<std::string> environment{};
    /// The file that it reads when it looks; empty when there is none.
    std::string settings_file{};
    /// What it logs up to, as far as files and environment tell.
    std::optional<std::string> level{};
    bool looks = false;         ///< whether it looks for changed files while it runs
    std::string why_not{};      ///< why it does not, with the remedy; empty when it does
    bool readable = true;       ///< false when this user may not see its environment
    LogSettings settings{};     ///< all of them, as far as files and environment tell
    pid_t own_pid = -1;         ///< its id where it lives, which its file is named after
    std::uint64_t started = 0;  ///< clock ticks from the boot of the machine to its start
    std::string stale_file{};   ///< its file, if that is older than itself: another process's
};

/// All of them but this process, by id. Processes of other users take rights to be seen.
std::vector<Process> find_processes();

/// Looks at one process: nothing when it has ended, when it has not loaded the library, or when
/// this user may not look.
std::optional<Process> look_at(pid_t pid);

/// Looks at one process.
/// @throws std::runtime_error, which tells why there is nothing to be seen.
Process process_of(pid_t pid);

/// How many processes there are that this user may not look into.
std::size_t count_hidden();

/// What changing a level found.
struct LevelChange {
    bool changed = false;
    std::string text{};  ///< what was done, or why nothing was and what would help
};

/// How long to wait for a changed file to be read.
enum class Wait : bool {
    No,   ///< not at all
    Look  ///< as long as the process takes to look again: a second and a half, usually
};

/// Writes the file of settings of a process, so that it changes to a level ("Debug", or empty to
/// restore what was before).
/// @throws std::runtime_error or std::system_error when the file cannot be written, with a text
/// that says what to do; then nothing has changed.
LevelChange change_level(pid_t pid, const std::string& level, Wait wait = Wait::No);

}  // namespace commonctl
