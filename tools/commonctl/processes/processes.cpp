#include "processes/processes.h"

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "processes/proc.h"
#include "processes/settings_files.h"

namespace commonctl {
namespace {

constexpr std::int64_t kSecond = 1'000'000'000;

/// Variables of the environment that a process started with, each "NAME=value".
std::optional<std::vector<std::string>> environment_of(pid_t pid)
{
    const auto content = read_file(proc_folder(pid) + "environ", SIZE_MAX);
    if (!content) {
        return std::nullopt;
    }
    std::vector<std::string> settings;
    for (std::size_t start = 0; start < content->size();) {
        const auto end = std::min(content->find('\0', start), content->size());
        const std::string variable = content->substr(start, end - start);
        if (variable.starts_with(common::log::kSettingPrefix)) {
            settings.push_back(variable);
        }
        start = end + 1;
    }
    return settings;
}

/// The settings of a process's start and, if it looks, of what it has found since.
void evaluate(Process& process)
{
    const std::string root = proc_folder(process.pid) + "root";
    const std::int64_t started_s = time_of_ticks(process.started) / kSecond;
    struct stat shared {};
    const bool has_shared = stat((root + kSharedFile).c_str(), &shared) == 0;
    const bool shared_is_newer = has_shared && shared.st_mtime > started_s;

    LogSettings& settings = process.settings;
    const auto at_start = has_shared && !shared_is_newer ? look_into(root + kSharedFile)
                                                         : std::optional<std::string>();
    const auto configured = at_start ? at_start : read_file(root + kConfiguredFile);
    take_in_file(settings, configured.value_or(""), Reading::AtStart);
    for (const std::string& variable : process.environment) {
        take_in(settings, variable, Reading::AtStart);
    }

    const std::string own_file = process_file(process.own_pid);
    struct stat own {};
    const bool has_own = stat((root + own_file).c_str(), &own) == 0;
    process.settings_file = has_own ? own_file : has_shared ? kSharedFile : "";
    if (has_own && own.st_ctim.tv_sec + 1 < started_s) {
        process.stale_file = own_file;
    }
    if (settings.looks() && (has_own || shared_is_newer)) {
        take_in_file(settings, look_into(root + process.settings_file).value_or(""),
                     Reading::Again);
    }
}

std::string why_not(const Process& process)
{
    if (!process.readable) {
        return "its environment may not be read by this user: run commonctl as root";
    }
    const bool none = process.settings.peakloadControl == COMMON_LogPeakloadControlNone;
    const bool never = process.settings.granularityPeakloadProcessing < 1;
    if (none && never) {
        return "peakload control is None and the granularity 0: start it with "
               "COMMON_LOG_PEAKLOAD_CONTROL=Off COMMON_LOG_PEAKLOAD_GRANULARITY=1000";
    }
    return none    ? "peakload control is None: start it with COMMON_LOG_PEAKLOAD_CONTROL=Off"
           : never ? "the granularity is 0: start it with COMMON_LOG_PEAKLOAD_GRANULARITY=1000"
                   : "";
}

/// @throws std::system_error when this user may not look.
std::optional<Process> look(pid_t pid)
{
    const auto started = start_ticks(pid);
    const auto library = loaded_library(pid);
    const auto name = read_file(proc_folder(pid) + "comm");
    if (!started || !library || !name) {
        return std::nullopt;
    }
    Process process{.pid = pid, .name = *name, .mapped_library = *library};
    if (process.name.ends_with('\n')) {
        process.name.pop_back();
    }
    process.started = *started;
    process.own_pid = own_id(pid);
    const auto environment = environment_of(pid);
    process.readable = environment.has_value();
    process.environment = environment.value_or(std::vector<std::string>());
    evaluate(process);
    if (process.readable) {
        process.level = COMMON_LogLevel_ToString(process.settings.level);
        process.looks = process.settings.looks();
    }
    process.why_not = why_not(process);
    // Another one may have its id by now, and what was read may be of both.
    return start_ticks(pid) == started ? std::optional(process) : std::nullopt;
}

/// Whether this user may not look into a process.
bool is_hidden(pid_t pid)
{
    try {
        loaded_library(pid);
    } catch (const std::system_error&) {
        return true;
    }
    return false;
}

}  // namespace

std::vector<Process> find_processes()
{
    std::vector<Process> found;
    for (const pid_t pid : all_processes()) {
        if (auto process = pid == getpid() ? std::nullopt : look_at(pid)) {
            found.push_back(std::move(*process));
        }
    }
    return found;
}

std::optional<Process> look_at(pid_t pid)
{
    try {
        return look(pid);
    } catch (const std::system_error&) {
        return std::nullopt;
    }
}

Process process_of(pid_t pid)
{
    auto process = look_at(pid);
    if (!process) {
        const std::string id = std::to_string(pid);
        throw std::runtime_error(
            is_hidden(pid)
                ? "process " + id + " may not be looked into by this user; run commonctl as root"
            : start_ticks(pid) ? "process " + id + " has not loaded the library"
                               : "there is no process " + id);
    }
    return *std::move(process);
}

std::size_t count_hidden()
{
    const auto ids = all_processes();
    return static_cast<std::size_t>(std::count_if(ids.begin(), ids.end(), is_hidden));
}

}  // namespace commonctl
