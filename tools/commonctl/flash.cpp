#include <chrono>
#include <cstdio>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "codes/streams.h"
#include "command_line.h"
#include "flash/check.h"
#include "subcommands.h"
#include "terminal.h"

namespace commonctl {
namespace {

enum class Form { Text, Json };

struct FlashOptions {
    std::string action;
    std::string partition;
    bool deep = false;
    Form form = Form::Text;
};

/// One line on a terminal that tells how long it takes and where it is; elsewhere nothing.
class Progress {
public:
    explicit Progress(std::string_view mount_point)
        : mount_point_(mount_point), shown_(isatty(STDERR_FILENO) == 1)
    {
    }
    ~Progress()
    {
        if (shown_) {
            std::fputs("\r\033[K", stderr);
        }
    }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void show(const std::string& folder) const
    {
        if (shown_) {
            constexpr std::size_t kMost = 50;
            const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(
                std::chrono::steady_clock::now() - begin_);
            std::fprintf(stderr, "\rlooking through %s: %lld s %s\033[K", mount_point_.c_str(),
                         static_cast<long long>(seconds.count()),
                         printable(folder).substr(0, kMost).c_str());
        }
    }

private:
    std::string mount_point_;
    bool shown_;
    std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
};

const char* state_text(FlashState state)
{
    return state == FlashState::Sound     ? "sound"
           : state == FlashState::Corrupt ? "corrupt"
                                          : "unknown";
}

std::string text_of(std::string_view mount_point, const FlashFinding& finding)
{
    std::string text = std::string(mount_point) + " is " + state_text(finding.state);
    if (finding.state != FlashState::Sound) {
        text +=
            ": " + (finding.path.empty() ? "" : printable(finding.path) + ": ") + finding.reason;
    }
    return text + "\n";
}

std::string object_of(std::uint32_t index, bool deep, const FlashFinding& finding)
{
    nlohmann::ordered_json object = {{"partition", index},
                                     {"mount_point", kFlashPartitions[index]},
                                     {"check", deep ? "deep" : "quick"},
                                     {"state", state_text(finding.state)}};
    if (!finding.path.empty()) {
        object["path"] = finding.path;
    }
    if (!finding.reason.empty()) {
        object["reason"] = finding.reason;
    }
    return object.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

FlashFinding look(std::uint32_t index, bool deep)
{
    const Progress progress(kFlashPartitions[index]);
    return check_partition(index, deep, [&](const std::string& folder) { progress.show(folder); });
}

int check_flash(const FlashOptions& options)
{
    if (options.action != "check") {
        throw UsageError("flash only checks; a program repairs, with FLASHSAFE_CheckPartition() "
                         "of flash_safety.h and recover 1");
    }
    const int found = find_partition(options.partition);
    if (found < 0) {
        throw UsageError("there is no partition \"" + printable(options.partition) +
                         "\"; it is /, /config-mfg, /config or /log, or 0 to 3");
    }
    const auto index = static_cast<std::uint32_t>(found);
    const FlashFinding finding = look(index, options.deep);
    write_output(options.form == Form::Text ? text_of(kFlashPartitions[index], finding)
                                            : object_of(index, options.deep, finding));
    flush_output();
    switch (finding.state) {
    case FlashState::Sound:
        return kSuccess;
    case FlashState::Corrupt:
        std::fputs("commonctl: a repair formats the partition, and all files on it are lost; a "
                   "program does it, with FLASHSAFE_CheckPartition()\n",
                   stderr);
        return kFailure;
    case FlashState::Unknown:
        break;
    }
    std::fputs("commonctl: not all could be looked at; run it as a user who may read everything\n",
               stderr);
    return kFailure;
}

}  // namespace

void add_flash(Tool& tool)
{
    auto [line, options] = tool.add<FlashOptions>(
        "flash", "check a flash partition without changing it",
        "\"flash check PARTITION\" checks a partition of the NOR flash device as\n"
        "FLASHSAFE_CheckPartition() of flash_safety.h does: quick, it only asks for the mount\n"
        "point; deep, it examines everything below it and stops at the first thing wrong, which\n"
        "is told. On a terminal a deep check shows how far it is. The PARTITION is /, "
        "/config-mfg,\n"
        "/config or /log, or its index 0 to 3. The status is 0 when it is sound, 1 when it is\n"
        "corrupt, or when that is not known: not all could be examined, but for a reason such as\n"
        "missing rights. Run a deep check as a user who may read everything.\n"
        "\n"
        "Nothing is repaired, mounted, stopped or started, and there is no option for it: a "
        "repair\n"
        "formats the partition. Programs do that, with the same function and \"recover\" 1. All\n"
        "that is left behind is what any look leaves: times of access where the mount keeps them,\n"
        "and what is found in the system log, at Warn. The environment tells the flash device\n"
        "(FLASH_START_...), as for any program that uses these functions.\n"
        "\n"
        "With -o json: {\"partition\":N,\"mount_point\":T,\"check\":\"quick\" or "
        "\"deep\",\"state\":\n"
        "\"sound\", \"corrupt\" or \"unknown\"}, with \"path\" and \"reason\" where something is "
        "wrong.",
        check_flash);
    line.option("ACTION", "", options.action, "check");
    line.option("PARTITION", "", options.partition, "Which one");
    line.require("ACTION");
    line.require("PARTITION");
    line.flag("--deep", options.deep, "Examine everything on the partition");
    line.word("-o,--output", "FORM", options.form, "Show as text (the default) or json",
              {{"text", Form::Text}, {"json", Form::Json}});
    line.examples("  commonctl flash check /log\n"
                  "  commonctl flash check /log --deep\n"
                  "  commonctl flash check 3 --deep -o json | jq -r .state");
}

}  // namespace commonctl
