#include "processes/level_change.h"

#include <algorithm>
#include <stdexcept>

#include "processes/changed_file.h"
#include "processes/proc.h"
#include "processes/read_watch.h"
#include "usage.h"

namespace commonctl {
namespace {

using std::chrono::milliseconds;
using Missing = SettingsFolder::Missing;

std::string own_file_name(const Process& process)
{
    const std::string path = process_file(process.own_pid);
    return path.substr(path.rfind('/') + 1);
}

std::string title(const Process& process)
{
    return std::to_string(process.pid) + " " + process.name;
}

/// The time in which a process that logs has looked again, with half a second for it to get to it.
milliseconds patience_for(const Process& process, Wait wait)
{
    constexpr std::int32_t kUsual_ms = 1000;
    constexpr std::int32_t kMost_ms = 5000;
    const std::int32_t granularity =
        process.looks ? process.settings.granularityPeakloadProcessing : kUsual_ms;
    return wait == Wait::No ? milliseconds(0) : milliseconds(std::min(granularity, kMost_ms) + 500);
}

bool is_alive(const Process& process)
{
    return start_ticks(process.pid) == process.started;
}

/// What the level becomes, where a line of a level is not all there is to it.
std::string caveat(const LogSettings& settings)
{
    return settings.enable == 1 ? "" : "; logging is off (COMMON_LOG_ENABLE=False)";
}

/// A level at peak load that is in force is changed, too.
std::string lines_in_force(const std::string& lines, const LogSettings& now)
{
    LogSettings changed = now;
    take_in_file(changed, lines, Reading::Again);
    const auto touched = touched_by(lines);
    if (now.peakloadControl == COMMON_LogPeakloadControlOn && touched.contains(Setting::Level) &&
        !touched.contains(Setting::LevelPeakload)) {
        changed.levelAtPeakloadOn = changed.levelAtPeakloadOff;
        return lines + line_for(changed, Setting::LevelPeakload) + "\n";
    }
    return lines;
}

/// What became of a file that was put in place for a process.
LevelChange outcome(const Process& process, const ChangedFile& file, bool was_read)
{
    if (was_read) {
        return {true, title(process) + ": " + file.path() + " has been read"};
    }
    if (process.looks) {
        return {true, title(process) + ": " + file.path() +
                          " is written; the process reads it when it logs, at most every " +
                          std::to_string(process.settings.granularityPeakloadProcessing) + " ms"};
    }
    return {false, title(process) + ": " + file.path() +
                       " is written, but the process does not look, as far as environment and "
                       "files tell: " +
                       process.why_not};
}

std::int64_t started_s(const Process& process)
{
    return time_of_ticks(process.started) / 1'000'000'000;
}

}  // namespace

std::string lines_for(const std::vector<std::string>& words, bool for_start)
{
    std::string lines;
    for (const std::string& word : words) {
        const bool has_name = word.find('=') != std::string::npos;
        const std::string line =
            (has_name && word.starts_with(common::log::kSettingPrefix) ? "" : "COMMON_LOG_") +
            (has_name ? word : "LEVEL=" + word);
        LogSettings any;
        const Effect effect = take_in(any, line, for_start ? Reading::AtStart : Reading::Again);
        switch (effect.kind) {
        case Effect::Kind::Sets:
            break;
        case Effect::Kind::BadValue:
            throw UsageError("\"" + word + "\" is no value of " +
                             common::log::variable_of(effect.setting) + ", which takes " +
                             effect.allowed);
        case Effect::Kind::AtStartOnly:
            throw UsageError(std::string(common::log::variable_of(effect.setting)) +
                             " counts at the start of a process only; give it with --all, or in "
                             "the environment");
        default:
            throw UsageError("there is no setting \"" + word.substr(0, word.find('=')) + "\"");
        }
        if (line.size() > 255 || line.find('\n') != std::string::npos) {
            throw UsageError("\"" + word + "\" is no line of a settings file");
        }
        // As it is usually written, by its full name.
        lines += std::string(common::log::variable_of(effect.setting)) + "=" + effect.value + "\n";
    }
    return lines;
}

LevelChange change_settings(const Process& process, const std::string& lines, Wait wait)
{
    const SettingsFolder folder(proc_folder(process.pid) + "root", Missing::Make);
    const ChangedFile file(folder, own_file_name(process), started_s(process));
    ReadWatch watch(folder, own_file_name(process));
    file.change(lines_in_force(lines, process.settings), "", process.settings);
    const bool was_read =
        watch.wait(1, patience_for(process, wait), [&] { return is_alive(process); }) > 0;
    if (!is_alive(process)) {
        file.forget();
        throw std::runtime_error(title(process) + " has ended meanwhile; its file is removed");
    }
    LevelChange change = outcome(process, file, was_read);
    LogSettings changed = process.settings;
    take_in_file(changed, lines, Reading::Again);
    change.text += caveat(changed);
    return change;
}

LevelChange restore_settings(const Process& process, Wait wait)
{
    const SettingsFolder folder(proc_folder(process.pid) + "root", Missing::Fail);
    const ChangedFile file(folder, own_file_name(process), started_s(process));
    ReadWatch watch(folder, own_file_name(process));
    if (!folder.is_there() || !file.restore()) {
        throw std::runtime_error(title(process) + ": there is nothing to restore");
    }
    const bool was_read =
        watch.wait(1, patience_for(process, wait), [&] { return is_alive(process); }) > 0;
    if (was_read || !process.looks || !is_alive(process)) {
        file.finish_restoring();
        return {true, title(process) + ": " + file.path() + " is as it was before" +
                          (was_read ? ", and the settings have been read" : "")};
    }
    LevelChange change = outcome(process, file, was_read);
    change.text += "; \"commonctl level " + std::to_string(process.pid) +
                   " --restore\" again then removes what is not needed any more";
    return change;
}

LevelChange change_level(pid_t pid, const std::string& level, Wait wait)
{
    const Process process = process_of(pid);
    return level.empty() ? restore_settings(process, wait)
                         : change_settings(process, lines_for({level}, false), wait);
}

}  // namespace commonctl
