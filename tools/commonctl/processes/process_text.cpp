#include "processes/process_text.h"

#include <cstdio>

#include <nlohmann/json.hpp>

#include "terminal.h"

namespace commonctl {
namespace {

std::string row(const std::string& pid, const std::string& name, const std::string& level,
                const std::string& looks, const std::string& file)
{
    char front[128];
    std::snprintf(front, sizeof front, "%7s  %-15.60s  %-8s  %-14s  ", pid.c_str(), name.c_str(),
                  level.c_str(), looks.c_str());
    return front + file + "\n";
}

std::string remark(const std::string& text)
{
    return "         " + printable(text) + "\n";
}

}  // namespace

std::string title_of_processes()
{
    std::string title = row("PID", "NAME", "LEVEL", "LOOKS", "FILE");
    title.pop_back();
    return title;
}

std::string text_of(const Process& process)
{
    const LogSettings& settings = process.settings;
    const std::string looks =
        process.looks ? "every " + std::to_string(settings.granularityPeakloadProcessing) + " ms"
                      : "no";
    std::string text = row(std::to_string(process.pid), printable(process.name),
                           settings.enable == 1 ? process.level.value_or("?") : "off", looks,
                           process.settings_file.empty() ? "-" : process.settings_file);
    if (!process.why_not.empty()) {
        text += remark("does not look: " + process.why_not);
    }
    if (!process.stale_file.empty()) {
        text += remark(process.stale_file +
                       " is older than the process; \"commonctl level --clean\" removes it");
    }
    if (process.mapped_library.ends_with(" (deleted)")) {
        text += remark("its library has been replaced since it started: " + process.mapped_library);
    }
    for (const std::string& variable : process.environment) {
        text += remark(variable);
    }
    return text;
}

std::string json_of(const Process& process)
{
    using Json = nlohmann::ordered_json;
    const LogSettings& settings = process.settings;
    Json json{{"pid", process.pid},
              {"name", process.name},
              {"library", process.mapped_library},
              {"environment", process.environment},
              {"settings_file", process.settings_file},
              {"stale_file", process.stale_file},
              {"readable", process.readable}};
    json["level"] = process.level ? Json(*process.level) : Json();
    json["enabled"] = settings.enable == 1;
    json["peakload_control"] = COMMON_LogPeakloadControl_ToString(settings.peakloadControl);
    json["granularity_ms"] = settings.granularityPeakloadProcessing;
    json["looks"] = process.looks;
    json["why_not"] = process.why_not;
    // Names and variables may have any bytes.
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace commonctl
