#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <iostream>
#include <iterator>
#include <limits>
#include <stdexcept>
#include <sys/stat.h>
#include <system_error>

#include "command_line.h"
#include "processes/proc.h"
#include "processes/processes.h"
#include "processes/settings_check.h"
#include "processes/settings_files.h"
#include "subcommands.h"
#include "terminal.h"

namespace commonctl {
namespace {

struct SettingsOptions {
    Arguments files{};
    pid_t pid = 0;  ///< 0 for none
    Color color = Color::Auto;
};

/// Prints lines, those that are wrong in red. @return whether one is wrong.
bool print(const std::vector<CheckedLine>& lines, bool colored)
{
    std::size_t width = 0;
    for (const CheckedLine& line : lines) {
        width = std::max(width, std::min<std::size_t>(printable(line.text).size(), 40));
    }
    bool wrong = false;
    for (const CheckedLine& line : lines) {
        wrong = wrong || line.wrong;
        if (line.says.empty()) {
            std::printf("%5zu\n", line.line);
            continue;
        }
        std::printf("%s%5zu  %-*s  %s%s%s\n", line.wrong && colored ? "\033[31m" : "", line.line,
                    static_cast<int>(width), printable(line.text).c_str(),
                    line.wrong ? "WRONG: " : "", printable(line.says).c_str(),
                    line.wrong && colored ? "\033[0m" : "");
    }
    return wrong;
}

const char* when(FileUse use)
{
    switch (use) {
    case FileUse::AtStart:
        return "read at the start of a process";
    case FileUse::Again:
        return "read while a process runs";
    case FileUse::Both:
        return "read at the start of a process, and while it runs";
    }
    return "";
}

/// @param path as the processes have it.
bool check(const std::string& path, const std::string& content, bool colored)
{
    const FileUse use = use_of(path);
    std::printf("%s: %s\n", printable(path).c_str(), when(use));
    return print(check_settings(content, use), colored);
}

std::string content_of(const std::string& path)
{
    if (path == "-") {
        return {std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>()};
    }
    auto content = path.find(kSettingsFolder) == std::string::npos ? read_file(path, SIZE_MAX)
                                                                   : look_into(path, SIZE_MAX);
    if (!content && errno == EINVAL) {
        throw std::runtime_error(path + " is no regular file: processes do not read it");
    }
    if (!content) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    return *content;
}

/// The usual files below a root, and what is said when there are none.
bool check_usual(const std::string& root, const std::vector<std::string>& files, bool colored)
{
    bool wrong = false;
    for (const std::string& file : files) {
        struct stat status {};
        if (stat((root + file).c_str(), &status) != 0 && errno == ENOENT) {
            std::printf("%s: there is none\n", file.c_str());
        } else {
            wrong = check(file, content_of(root + file), colored) || wrong;
        }
    }
    return wrong;
}

bool check_process(pid_t pid, bool colored)
{
    const Process process = process_of(pid);
    const std::string root = proc_folder(pid) + "root";
    bool wrong = check_usual(root, {kConfiguredFile, kSharedFile}, colored);
    std::printf("environment: read at the start of a process\n");
    std::vector<CheckedLine> variables;
    for (const std::string& variable : process.environment) {
        // Unlike a line of a file it may be long, or have a newline.
        LogSettings any;
        const Effect effect = take_in(any, variable, Reading::AtStart);
        variables.push_back({.line = variables.size() + 1,
                             .text = variable,
                             .wrong = effect.kind != Effect::Kind::Sets,
                             .says = words_for(effect, variable)});
    }
    wrong = print(variables, colored) || wrong;
    wrong = check_usual(root, {process_file(process.own_pid)}, colored) || wrong;
    std::printf("Level %s, as far as environment and files tell; %s.\n",
                process.level.value_or("unknown").c_str(),
                process.looks ? "the process looks for changes" : process.why_not.c_str());
    return wrong;
}

int run(const SettingsOptions& options)
{
    const bool colored = wants_color(options.color, stdout);
    if (options.pid != 0 && !options.files.empty()) {
        throw UsageError("give files or --pid, not both");
    }
    bool wrong = false;
    if (options.pid != 0) {
        wrong = check_process(options.pid, colored);
    } else if (options.files.empty()) {
        wrong = check_usual("", {kConfiguredFile, kSharedFile}, colored);
    }
    for (const std::string& file : options.files) {
        wrong = check(file, content_of(file), colored) || wrong;
    }
    return wrong ? kFailure : kSuccess;
}

}  // namespace

void add_settings(Tool& tool)
{
    auto [line, options] = tool.add<SettingsOptions>(
        "settings", "check settings files, line by line",
        "Shows each line of settings files with what it does, or why it is ignored. Without a\n"
        "FILE: /config/common/log/settings.txt and /tmp/common/log/settings.txt. The exit status\n"
        "is 1 when a line is wrong: it has no effect, or part of a line that is too long has one.\n"
        "Lines that begin with # are remarks.\n"
        "\n"
        "A shortened name means the first setting that begins with it: COMMON_LOG_PEAK is\n"
        "COMMON_LOG_PEAKLOAD_CONTROL, and COMMON_LOG_LEVEL_PEAK is COMMON_LOG_LEVEL.",
        run);
    line.option("FILE", "...", options.files, "Settings files; - is standard input");
    line.option("--pid", "PID", options.pid, 1, std::numeric_limits<int>::max(),
                "Check the files and the environment of a process");
    line.color(options.color);
    line.examples("  commonctl settings image/config/common/log/settings.txt\n"
                  "  commonctl settings --pid 1234\n"
                  "  echo COMMON_LOG_PEAK=Off | commonctl settings -");
}

}  // namespace commonctl
