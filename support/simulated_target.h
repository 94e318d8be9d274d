// A flash target to play on: its mount points, devices, flash drivers and tools, as programs that
// are real enough to be found, run, stopped and killed, and a journal of the commands that were
// run.
//
// The commands mount, flashctl and pidin are the target's own (support/target), and so are
// the flash drivers, which bear the names that the environment gives them. A driver puts itself
// into the background and makes its devices (/dev/fs0... or /dev/etfs...), which are gone when it
// has ended, however it ended. Formatting a partition empties its mount point. Every program
// appends its command line to the journal, an argument in single quotes where the shell would need
// it.
//
// How a program behaves is said by words in the file of its name in /oxa/target:
//
//     exit=N        exits with status N, and does nothing
//     signal=N      kills itself with a signal, and does nothing
//     late=MS       a driver whose devices come so many milliseconds after its command returned
//     never         a driver whose devices never come
//     ignore-term   a driver that SIGTERM does not end
//     slow-term=MS  a driver that ends so many milliseconds after SIGTERM
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace support {

/// What is there when somebody comes to the target.
struct TargetSetup {
    /// Variables of the environment that differ from the usual ones (usual_target_environment());
    /// nothing takes one away.
    std::map<std::string, std::optional<std::string>> env{};
    /// Words for programs, by name. They hold when the drivers are started, too.
    std::map<std::string, std::string> behaviour{};
    /// Whether the drivers that the environment names are up.
    bool running = true;
};

struct TargetPartition {
    const char* mount_point;
    const char* size_variable;  ///< of the environment
    const char* kilobytes;
};

/// The partitions of a target's NOR device, in the order of their indexes.
inline constexpr TargetPartition kTargetPartitions[] = {
    {"/", "FLASH_START_ROOT_SIZE", "8192"},
    {"/config-mfg", "FLASH_START_CONFIG_MFG_SIZE", "512"},
    {"/config", "FLASH_START_CONFIG_SIZE", "1024"},
    {"/log", "FLASH_START_LOG_SIZE", "2048"}};

/// The variables of a target's flash devices: a driver "nor-driver" with a boot area of 256
/// kilobytes and kTargetPartitions behind it, and a driver "nand-driver".
std::map<std::string, std::string> usual_target_environment();

/// Runs a function on a target, in a process of its own. The calling process has one thread and is
/// in a private root (private_root.h), which the target becomes. The target has its own process
/// ids, so that lookups by name find nothing of the machine; all its processes end with the
/// function.
/// @param body may end its process in any way; returning its exit status calls exit().
/// @return the exit status of the function's process, or 128 plus the number of the signal that
///         killed it.
/// @throws std::runtime_error; what fails in the target itself goes to standard error, with the
///         result kTargetFailed.
int run_on_target(const TargetSetup& setup, const std::function<int()>& body);

inline constexpr int kTargetFailed = 125;

/// Gives the command lines of the journal, in order.
std::vector<std::string> target_journal();

/// Says how a program behaves from now on.
void set_behaviour(const std::string& program, const std::string& words);

/// Puts a symbolic link to nowhere below a folder: what a deep check finds.
void corrupt(const std::string& folder);

}  // namespace support
