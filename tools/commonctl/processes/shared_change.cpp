// Changes of the settings file for all processes, and what is left of processes that have ended.
#include <algorithm>
#include <charconv>
#include <iterator>
#include <stdexcept>

#include <unistd.h>

#include "processes/changed_file.h"
#include "processes/level_change.h"
#include "processes/proc.h"
#include "processes/read_watch.h"

namespace commonctl {
namespace {

using std::chrono::milliseconds;
using Missing = SettingsFolder::Missing;

const std::string kSharedName = std::string(kSharedFile).substr(sizeof kSettingsFolder);

/// Processes that find their files in this folder.
std::vector<Process> users_of(const SettingsFolder& folder)
{
    struct stat own {};
    fstat(folder.fd(), &own);
    auto processes = find_processes();
    std::erase_if(processes, [&](const Process& process) {
        struct stat other {};
        const std::string path = proc_folder(process.pid) + "root" + kSettingsFolder;
        return stat(path.c_str(), &other) != 0 || other.st_dev != own.st_dev ||
               other.st_ino != own.st_ino;
    });
    return processes;
}

bool reads_shared(const Process& process)
{
    return process.looks && process.settings_file != process_file(process.own_pid);
}

std::size_t wait_for_all(ReadWatch& watch, const std::vector<Process>& readers, Wait wait)
{
    constexpr std::int32_t kMost_ms = 5000;
    std::int32_t longest_ms = 0;
    for (const Process& process : readers) {
        longest_ms = std::max(longest_ms, process.settings.granularityPeakloadProcessing);
    }
    const milliseconds patience(
        wait == Wait::No || readers.empty() ? 0 : std::min(longest_ms, kMost_ms) + 500);
    return watch.wait(readers.size(), patience, [] { return true; });
}

std::string lines_about(const std::vector<Process>& processes)
{
    std::string text;
    for (const Process& process : processes) {
        text += "\n" + std::to_string(process.pid) + " " + process.name + ": ";
        text += reads_shared(process)
                    ? "reads it when it logs, at most every " +
                          std::to_string(process.settings.granularityPeakloadProcessing) + " ms"
                : process.looks
                    ? "reads a file of its own instead"
                    : "does not look, as far as environment and files tell: " + process.why_not;
    }
    return text;
}

std::vector<Process> readers_among(const std::vector<Process>& processes)
{
    std::vector<Process> readers;
    std::copy_if(processes.begin(), processes.end(), std::back_inserter(readers), reads_shared);
    return readers;
}

/// The id in "settings_ID.txt" and in what is kept or written beside it.
std::optional<pid_t> id_in(const std::string& name)
{
    constexpr std::string_view kFront = "settings_";
    pid_t pid = 0;
    if (!name.starts_with(kFront)) {
        return std::nullopt;
    }
    const char* const end = name.data() + name.size();
    const auto [behind, error] = std::from_chars(name.data() + kFront.size(), end, pid);
    const std::string rest(behind, end);
    const bool is_ours =
        rest == ".txt" || rest == ".txt.before" || rest == ".txt.new" || rest == ".txt.before.new";
    return error == std::errc() && pid > 0 && is_ours ? std::optional(pid) : std::nullopt;
}

/// Why a file is of no use any more; nothing when it may be.
std::string why_stale(const struct stat& status, pid_t pid)
{
    const auto started = start_ticks(pid);
    if (!started) {
        return "process " + std::to_string(pid) + " has ended";
    }
    return status.st_ctim.tv_sec + 1 < time_of_ticks(*started) / 1'000'000'000
               ? "process " + std::to_string(pid) + " is another one by now"
               : "";
}

}  // namespace

LevelChange change_shared_settings(const std::string& lines, Wait wait)
{
    const SettingsFolder folder("", Missing::Make);
    const ChangedFile file(folder, kSharedName, INT64_MIN);
    const auto processes = users_of(folder);
    const auto readers = readers_among(processes);
    // Without the shared file processes start with the configured one, whose lines must stay good.
    const auto configured = read_file(kConfiguredFile);
    LogSettings before;
    take_in_file(before, folder.read(kSharedName).value_or(configured.value_or("")),
                 Reading::AtStart);
    ReadWatch watch(folder, kSharedName);
    file.change(lines, configured.value_or(""), before);
    const std::size_t reads = wait_for_all(watch, readers, wait);
    return {true,
            file.path() + " is written for processes that start from now on" +
                (readers.empty() ? "" : ", and was read " + std::to_string(reads) + " times") +
                lines_about(processes)};
}

LevelChange restore_shared_settings(Wait wait)
{
    const SettingsFolder folder("", Missing::Fail);
    const ChangedFile file(folder, kSharedName, INT64_MIN);
    const auto readers =
        folder.is_there() ? readers_among(users_of(folder)) : std::vector<Process>();
    ReadWatch watch(folder, kSharedName);
    if (!folder.is_there() || !file.restore()) {
        throw std::runtime_error("there is nothing to restore for all processes");
    }
    if (wait_for_all(watch, readers, wait) >= readers.size()) {
        file.finish_restoring();
        return {true, file.path() + " is as it was before"};
    }
    return {true, file.path() +
                      " brings back what was before; not all have read it yet. \"commonctl level "
                      "--all --restore\" again then removes what is not needed any more" +
                      lines_about(readers)};
}

LevelChange clean_settings()
{
    LevelChange change{.changed = true};
    const SettingsFolder folder("", Missing::Fail);
    if (!folder.is_there()) {
        return change;
    }
    for (const std::string& name : folder.names()) {
        const auto pid = id_in(name);
        const auto status = pid ? folder.status(name) : std::nullopt;
        const std::string why = status ? why_stale(*status, *pid) : "";
        if (why.empty()) {
            continue;
        }
        const std::string path = std::string(kSettingsFolder) + "/" + name;
        if (status->st_uid != geteuid() && geteuid() != 0) {
            change.changed = false;
            change.text += path + ": left, as it belongs to another user\n";
        } else {
            folder.remove(name);
            change.text += path + ": removed, " + why + "\n";
        }
    }
    return change;
}

}  // namespace commonctl
