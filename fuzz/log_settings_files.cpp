// The configuration of the log as a process reads it: the settings files, one of which may be
// absent, and then its environment, with any text in each. What it comes to is what a plain model
// gives, and what commonctl tells of such a process. The input: a byte that says which files there
// are, and the texts, with a byte of value 1 between them; those behind the second are variables.
#include <algorithm>
#include <array>
#include <cctype>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

#include "foundation/settings_text.h"
#include "log/logger.h"
#include "processes/settings_model.h"
#include "support/files.h"
#include "support/input.h"
#include "support/lines.h"

using commonctl::LogSettings;
using commonctl::Reading;
namespace log_facility = common::log;

namespace {

void reset_library()
{
    auto& logger = log_facility::logger;
    const LogSettings defaults;
    logger.cache = defaults.cache;
    logger.color = defaults.color;
    logger.enable = defaults.enable;
    logger.strip = defaults.strip;
    logger.legacy = defaults.legacy;
    logger.format = defaults.format;
    logger.peakloadControl = defaults.peakloadControl;
    logger.level = defaults.level;
    logger.levelAtPeakloadOff = defaults.levelAtPeakloadOff;
    logger.levelAtPeakloadOn = defaults.levelAtPeakloadOn;
    logger.granularityPeakloadProcessing = defaults.granularityPeakloadProcessing;
}

LogSettings settings_of_library()
{
    const auto& logger = log_facility::logger;
    return {.cache = logger.cache,
            .color = logger.color,
            .enable = logger.enable,
            .strip = logger.strip,
            .legacy = logger.legacy,
            .format = logger.format,
            .peakloadControl = logger.peakloadControl,
            .level = logger.level,
            .levelAtPeakloadOff = logger.levelAtPeakloadOff,
            .levelAtPeakloadOn = logger.levelAtPeakloadOn,
            .granularityPeakloadProcessing = logger.granularityPeakloadProcessing};
}

/// The place of a value among those that a setting may have, whatever the case of its letters; as
/// many as there are if it is none of them.
unsigned place_of(std::string value, const std::vector<std::string>& values)
{
    std::transform(value.begin(), value.end(), value.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return static_cast<unsigned>(std::find(values.begin(), values.end(), value) - values.begin());
}

/// A plain model of how a line NAME=value is read when a process starts.
class Model {
public:
    void take(const std::string& line)
    {
        const auto equals = line.find('=');
        const std::string name = line.substr(0, equals);
        if (equals == std::string::npos || !line.starts_with("COMMON_LOG_")) {
            return;
        }
        const std::vector<std::string> names{
            "CACHE",  "COLOR",          "ENABLE",           "FORMAT",
            "LEGACY", "LEVEL_PEAKLOAD", "PEAKLOAD_CONTROL", "PEAKLOAD_GRANULARITY",
            "STRIP"};
        const auto found = std::find_if(names.begin(), names.end(), [&](const std::string& it) {
            return ("COMMON_LOG_" + it).starts_with(name);
        });
        if (found != names.end()) {
            set(*found, line.substr(equals + 1), name == "COMMON_LOG_LEVEL_PEAKLOAD");
        }
    }

    LogSettings is;

private:
    void set(const std::string& name, const std::string& value, bool at_peakload)
    {
        if (name == "LEVEL_PEAKLOAD") {
            set_level(value, at_peakload ? is.levelAtPeakloadOn : is.levelAtPeakloadOff);
        } else if (name == "FORMAT") {
            set_format(value);
        } else if (name == "PEAKLOAD_CONTROL") {
            set_control(value);
        } else if (name == "PEAKLOAD_GRANULARITY") {
            if (!value.empty() && std::isdigit(static_cast<unsigned char>(value[0])) != 0) {
                is.granularityPeakloadProcessing = number_of(value);
            }
        } else {
            set_switch(value, name == "CACHE"    ? is.cache
                              : name == "COLOR"  ? is.color
                              : name == "ENABLE" ? is.enable
                              : name == "LEGACY" ? is.legacy
                                                 : is.strip);
        }
    }

    static void set_switch(const std::string& value, std::uint32_t& is_on)
    {
        const unsigned place = place_of(value, {"false", "true"});
        is_on = place < 2 ? place : is_on;
    }

    void set_level(const std::string& value, std::uint8_t& level)
    {
        const unsigned place = place_of(value, {"fatal", "critical", "error", "warn", "note",
                                                "info", "debug", "verbose", "default"});
        if (place < 9) {
            level =
                place == 8 ? std::uint8_t{COMMON_LogLevelInfo} : static_cast<std::uint8_t>(place);
            is.level = is.peakloadControl == COMMON_LogPeakloadControlOn ? is.levelAtPeakloadOn
                                                                         : is.levelAtPeakloadOff;
        }
    }

    void set_format(const std::string& value)
    {
        const unsigned place =
            place_of(value, {"legacy", "all", "columns", "syslogng", "syslogngext"});
        is.format = place < 5 ? COMMON_LogFormat_t{place} : is.format;
    }

    void set_control(const std::string& value)
    {
        const unsigned place = place_of(value, {"none", "off", "on"});
        if (place == 3) {
            return;
        }
        is.peakloadControl = static_cast<COMMON_LogPeakloadControl_t>(place);
        is.level = place == 2 ? is.levelAtPeakloadOn : is.levelAtPeakloadOff;
        is.levelAtPeakloadOn = place == 0 ? is.levelAtPeakloadOff : is.levelAtPeakloadOn;
    }

    /// Decimal, or with 0x hexadecimal, or with 0 octal; what is too large is the largest.
    static std::int32_t number_of(const std::string& value)
    {
        const bool is_hexadecimal = value.size() > 2 && value[0] == '0' && (value[1] | 0x20) == 'x';
        const std::string digits = is_hexadecimal    ? "0123456789abcdef"
                                   : value[0] == '0' ? "01234567"
                                                     : "0123456789";
        std::int64_t number = 0;
        for (std::size_t i = is_hexadecimal ? 2 : 0; i < value.size(); ++i) {
            const auto digit =
                digits.find(static_cast<char>(std::tolower(static_cast<unsigned char>(value[i]))));
            if (digit == std::string::npos) {
                break;
            }
            number = number * static_cast<std::int64_t>(digits.size()) +
                     static_cast<std::int64_t>(digit);
            number = std::min<std::int64_t>(number, INT32_MAX);
        }
        return static_cast<std::int32_t>(number);
    }
};

/// What is up to the next separator; the text goes on behind it.
std::string_view next_part(std::string_view& text)
{
    constexpr char kSeparator = '\1';
    const std::string_view part = text.substr(0, text.find(kSeparator));
    text.remove_prefix(std::min(part.size() + 1, text.size()));
    return part;
}

/// Has the library read the environment, which is this.
void read_environment_of(const std::vector<std::string>& variables)
{
    std::vector<char*> pointers;
    for (const std::string& variable : variables) {
        pointers.push_back(const_cast<char*>(variable.c_str()));
    }
    pointers.push_back(nullptr);
    char** const own = std::exchange(environ, pointers.data());
    common::read_environment(
        [](const char* variable) { log_facility::parseVariable(variable, true); });
    environ = own;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static fuzz::File shared("/tmp/common/log/settings.txt");
    static fuzz::File configured("/config/common/log/settings.txt");
    if (size == 0) {
        return 0;
    }
    const unsigned there = *data;
    std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
    const std::string_view configured_text = next_part(text);
    const std::string_view shared_text = next_part(text);
    // The configured file counts where there is no shared one.
    configured.write(configured_text);
    configured.show((there & 1U) == 0);
    shared.write(shared_text);
    shared.show((there & 2U) == 0);
    const std::string_view read = (there & 2U) == 0   ? shared_text
                                  : (there & 1U) == 0 ? configured_text
                                                      : "";
    std::vector<std::string> variables;
    while (!text.empty()) {
        variables.emplace_back(std::string(next_part(text)).c_str());
    }

    reset_library();
    log_facility::common_log_process_settings_files(true);
    read_environment_of(variables);

    Model model;
    LogSettings told;
    commonctl::take_in_file(told, read, Reading::AtStart);
    for (const std::string& piece : fuzz::pieces_of(read, 256)) {
        model.take(fuzz::seen_of(piece));
    }
    for (const std::string& variable : variables) {
        model.take(variable);
        commonctl::take_in(told, variable, Reading::AtStart);
    }
    FUZZ_CHECK(settings_of_library() == model.is);
    FUZZ_CHECK(told == model.is);
    return 0;
}
