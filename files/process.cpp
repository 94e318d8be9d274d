#include <dirent.h>
#include <signal.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common.h"
#include "platform/line_reader.h"
#include "platform/uncancelled_scope.h"
#include "thread/process_name.h"

namespace common::process {
namespace {

constexpr char kProcessFolder[] = "/proc";
constexpr std::uint32_t kPollInterval_ms = 100;

/// What the shell pattern "[0-9]*" takes: nearly all other entries have names of letters.
constexpr bool starts_with_digit(const char* name) noexcept
{
    return *name >= '0' && *name <= '9';
}

/// Whether the entry of the process folder is about a process of this name.
bool has_name(const char* entry, const char* name) noexcept
{
    char path[sizeof kProcessFolder + sizeof dirent::d_name + sizeof "/status"];
    std::snprintf(path, sizeof path, "%s/%s/%s", kProcessFolder, entry, "status");
    char found[256];
    return common::process::copy_name_from(path, found, sizeof found) &&
           std::strcmp(found, name) == 0;
}

/// Whether a number can be the id of one process. kill(2) takes the others for groups of them, up
/// to everything that runs.
constexpr bool names_one_process(std::uint32_t pid) noexcept
{
    return pid != 0 && pid <= INT32_MAX;
}

}  // namespace
}  // namespace common::process

using namespace common::process;

extern "C" {

uint32_t UTIL_GetProcessName(uint32_t pid, char* destination, uint32_t size)
{
    return destination != nullptr && common::process::copy_name(pid, destination, size) ? 1 : 0;
}

uint32_t UTIL_GetPidFromProcessName(const char* name, uint32_t* pid)
{
    if (name == nullptr || pid == nullptr) {
        return 0;
    }
    const common::UncancelledScope uncancelled;
    DIR* const folder = opendir(kProcessFolder);
    if (folder == nullptr) {
        return 0;
    }
    const dirent* entry;
    do {
        entry = readdir(folder);
    } while (entry != nullptr &&
             !(starts_with_digit(entry->d_name) && has_name(entry->d_name, name)));
    if (entry != nullptr) {
        *pid = static_cast<std::uint32_t>(std::strtol(entry->d_name, nullptr, 10));
    }
    closedir(folder);
    return entry != nullptr ? 1 : 0;
}

uint32_t UTIL_FindPid(uint32_t pid)
{
    char path[32];
    std::snprintf(path, sizeof path, "%s/%u/%s", kProcessFolder, pid, "status");
    common::LineReader file;
    return file.open(path) ? 1 : 0;
}

// Oddity: only 1 forces, as callers pass flags of other kinds.
// Test: ProcessTermination.ForceFlagChoosesTheSignal.
uint32_t UTIL_TerminatePid(uint32_t pid, uint32_t timeout_ms, uint32_t force)
{
    if (!names_one_process(pid) ||
        kill(static_cast<pid_t>(pid), force == 1 ? SIGKILL : SIGTERM) != 0) {
        return 0;
    }
    std::uint64_t elapsed_ms = 0;
    while (UTIL_FindPid(pid) == 1) {
        usleep(kPollInterval_ms * 1000);
        elapsed_ms += kPollInterval_ms;
        if (elapsed_ms >= timeout_ms) {
            return 0;
        }
    }
    return 1;
}

}  // extern "C"
