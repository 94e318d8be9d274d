#include <algorithm>
#include <cctype>
#include <cstdio>
#include <stdexcept>

#include "command_line.h"
#include "processes/level_change.h"
#include "processes/proc.h"
#include "processes/process_text.h"
#include "subcommands.h"

namespace commonctl {
namespace {

enum class Output : unsigned char { Text, Json };

struct LevelOptions {
    std::string process{};
    Arguments changes{};
    Output output = Output::Text;
    bool all = false;
    bool restore = false;
    bool clean = false;
    bool no_wait = false;
};

std::string last_part(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

/// Whether a process has this name: the kernel's, which it cuts to 15 characters, or its program's.
bool has_name(const Process& process, const std::string& name)
{
    if (process.name == name) {
        return true;
    }
    const auto line = read_file(proc_folder(process.pid) + "cmdline");
    return line && !name.empty() && last_part(line->substr(0, line->find('\0'))) == name;
}

Process find_by_name(const std::string& name)
{
    auto processes = find_processes();
    std::erase_if(processes, [&](const Process& process) { return !has_name(process, name); });
    if (processes.empty()) {
        throw std::runtime_error("no process \"" + name +
                                 "\" with the library can be seen; \"commonctl level\" lists all");
    }
    if (processes.size() > 1) {
        std::string ids;
        for (const Process& process : processes) {
            ids += " " + std::to_string(process.pid);
        }
        throw std::runtime_error("several processes have the name \"" + name + "\":" + ids +
                                 "; give the id of one");
    }
    return processes.front();
}

Process find(const std::string& word)
{
    const bool is_id =
        !word.empty() && word.size() < 10 &&
        std::all_of(word.begin(), word.end(), [](unsigned char c) { return std::isdigit(c) != 0; });
    return is_id ? process_of(std::stoi(word)) : find_by_name(word);
}

int list(const std::vector<Process>& processes, Output output)
{
    if (output == Output::Json) {
        for (const Process& process : processes) {
            std::printf("%s\n", json_of(process).c_str());
        }
        return kSuccess;
    }
    std::printf("%s\n", title_of_processes().c_str());
    for (const Process& process : processes) {
        std::printf("%s", text_of(process).c_str());
    }
    std::printf(
        "As far as environment and files tell: what a process sets by calls is not seen.\n");
    return kSuccess;
}

int list_all(Output output)
{
    const int status = list(find_processes(), output);
    if (const std::size_t hidden = count_hidden(); hidden != 0) {
        std::fprintf(stderr,
                     "commonctl: %zu process%s may not be looked into by this user; run commonctl "
                     "as root\n",
                     hidden, hidden == 1 ? "" : "es");
    }
    return status;
}

int tell(const LevelChange& change)
{
    const bool ends = change.text.empty() || change.text.ends_with('\n');
    std::fprintf(change.changed ? stdout : stderr, "%s%s%s",
                 change.changed ? "" : "commonctl: ", change.text.c_str(), ends ? "" : "\n");
    return change.changed ? kSuccess : kFailure;
}

/// What stands behind --all are changes, from the first word on.
Arguments changes_of(const LevelOptions& options)
{
    Arguments changes = options.changes;
    if (options.all && !options.process.empty()) {
        changes.insert(changes.begin(), options.process);
    }
    return changes;
}

int change_all(const LevelOptions& options, const Arguments& changes, Wait wait)
{
    if (options.restore == !changes.empty()) {
        throw UsageError("--all takes a level, NAME=VALUE or --restore");
    }
    return tell(options.restore ? restore_shared_settings(wait)
                                : change_shared_settings(lines_for(changes, true), wait));
}

int run(const LevelOptions& options)
{
    const Wait wait = options.no_wait ? Wait::No : Wait::Look;
    const Arguments changes = changes_of(options);
    if (options.clean) {
        if (options.all || options.restore || !options.process.empty()) {
            throw UsageError("--clean stands alone");
        }
        return tell(clean_settings());
    }
    if (options.all) {
        return change_all(options, changes, wait);
    }
    if (options.restore && (options.process.empty() || !changes.empty())) {
        throw UsageError("--restore takes a process or --all, and no level");
    }
    if (options.process.empty()) {
        return list_all(options.output);
    }
    const std::string lines = lines_for(changes, false);
    const Process process = find(options.process);
    if (options.restore) {
        return tell(restore_settings(process, wait));
    }
    return changes.empty() ? list({process}, options.output)
                           : tell(change_settings(process, lines, wait));
}

}  // namespace

void add_level(Tool& tool)
{
    auto [line, options] = tool.add<LevelOptions>(
        "level", "list processes that use the library, and change what they log",
        "Without a PROCESS, lists those that have the library loaded: what they log up to, what\n"
        "they started with, and whether they look for changed settings while they run, or why\n"
        "not. A PROCESS is an id or a name.\n"
        "\n"
        "A CHANGE is a level (Fatal, Critical, Error, Warn, Note, Info, Debug, Verbose) or\n"
        "NAME=VALUE, as in a settings file. It goes to /tmp/common/log/settings_PID.txt; other\n"
        "lines of that file stay. The exit status is 1 when the process does not look.\n"
        "\n"
        "What a process sets by calls of its own cannot be seen from outside. So a level is told\n"
        "and put back as far as environment and files tell it. A child that was forked after its\n"
        "parent had logged reads its parent's file.",
        run);
    line.option("PROCESS", " ", options.process, "A process, by its id or its name");
    line.option("CHANGE", "...", options.changes, "A level, or NAME=VALUE");
    line.flag("--all,--shared", options.all,
              "Change the file for all, /tmp/common/log/settings.txt:\n"
              "for those that look and have no file of their own, and\n"
              "for those that start from now on");
    line.flag("--restore", options.restore, "Bring back what was there before the changes");
    line.flag("--clean", options.clean,
              "Remove the files of processes that have ended, or whose\n"
              "id another one has now");
    line.flag("--no-wait", options.no_wait, "Do not wait to see whether a changed file is read");
    line.word("-o,--output", "FORMAT", options.output,
              "List as text (the default) or json, an object a line",
              {{"text", Output::Text}, {"json", Output::Json}});
    line.examples("  commonctl level                          list them\n"
                  "  commonctl level player Debug             see more of what a player does\n"
                  "  commonctl level 1234 Debug STRIP=False   and in which folders\n"
                  "  commonctl level player --restore         as it was before\n"
                  "  commonctl level --all Warn               less of all that look\n"
                  "  watch commonctl level                    keep an eye on them");
}

}  // namespace commonctl
