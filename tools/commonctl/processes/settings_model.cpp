#include "processes/settings_model.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "log/common_log_layout.h"

namespace commonctl {
namespace {

using Kind = Effect::Kind;

/// As the library reads them: in pieces of at most so many characters.
constexpr std::size_t kPieceSize = 255;

/// Compares without regard to the case of ASCII letters.
bool same_word(std::string_view first, std::string_view second)
{
    const auto lower = [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c;
    };
    return std::equal(first.begin(), first.end(), second.begin(), second.end(),
                      [&](char a, char b) { return lower(a) == lower(b); });
}

/// Reads values: what the list of settings calls by these names.
class ValueReader {
public:
    ValueReader(LogSettings& settings, Effect& effect) : logger(settings), effect_(effect) {}

    bool read(Setting setting, const char* value)
    {
        switch (setting) {
#define CASE(setting, variable, counts, shown, reader) \
    case Setting::setting:                             \
        return reader;
            COMMON_LOG_SETTINGS(CASE)
#undef CASE
        case Setting::Unknown:
            break;
        }
        return false;
    }

private:
    /// Looks for a word, and notes what would have been good.
    bool find(std::string_view value, std::initializer_list<std::string_view> words)
    {
        for (const std::string_view word : words) {
            if (same_word(value, word)) {
                effect_.value = word;
                return true;
            }
            effect_.allowed += (effect_.allowed.empty() ? "" : ", ") + std::string(word);
        }
        return false;
    }

    bool read_boolean(std::uint32_t& setting, const char* value)
    {
        if (!find(value, {"True", "False"})) {
            return false;
        }
        setting = effect_.value == "True" ? 1 : 0;
        return true;
    }

    bool read_cache(const char* value)
    {
        return read_boolean(logger.cache, value);
    }

    bool read_layout(const char* value)
    {
        for (const auto& [layout, text] : common::log::kLayouts) {
            if (find(value, {text})) {
                logger.format = layout;
                return true;
            }
        }
        return false;
    }

    bool read_level(std::uint8_t& setting, const char* value)
    {
        for (COMMON_LogLevel_t level = 0; level <= COMMON_LogLevelVerbose; ++level) {
            if (find(value, {COMMON_LogLevel_ToString(level)})) {
                setting = static_cast<std::uint8_t>(level);
                apply_control();
                return true;
            }
        }
        if (!find(value, {COMMON_LogLevel_stringDefault})) {
            return false;
        }
        effect_.value = COMMON_LogLevel_ToString(COMMON_LogLevelInfo);
        setting = COMMON_LogLevelInfo;
        apply_control();
        return true;
    }

    bool read_control(const char* value)
    {
        for (COMMON_LogPeakloadControl_t control = COMMON_LogPeakloadControlNone;
             control <= COMMON_LogPeakloadControlOn; ++control) {
            if (find(value, {COMMON_LogPeakloadControl_ToString(control)})) {
                logger.peakloadControl = control;
                if (control == COMMON_LogPeakloadControlNone) {
                    logger.levelAtPeakloadOn = logger.levelAtPeakloadOff;
                }
                apply_control();
                return true;
            }
        }
        return false;
    }

    bool read_granularity(const char* value)
    {
        if (*value < '0' || *value > '9') {
            effect_.allowed = "a number of milliseconds";
            return false;
        }
        constexpr long kMost = std::numeric_limits<std::int32_t>::max();
        logger.granularityPeakloadProcessing =
            static_cast<std::int32_t>(std::min(std::strtol(value, nullptr, 0), kMost));
        effect_.value = std::to_string(logger.granularityPeakloadProcessing);
        return true;
    }

    void apply_control()
    {
        logger.level = logger.peakloadControl == COMMON_LogPeakloadControlOn
                           ? logger.levelAtPeakloadOn
                           : logger.levelAtPeakloadOff;
    }

    LogSettings& logger;  ///< by the name that the list of settings has for it
    Effect& effect_;
};

}  // namespace

Effect take_in(LogSettings& settings, const std::string& line, Reading reading)
{
    Effect effect;
    const auto equals = line.find('=');
    if (equals == std::string::npos) {
        return effect;
    }
    if (!line.starts_with(common::log::kSettingPrefix)) {
        effect.kind = Kind::NoPrefix;
        return effect;
    }
    const bool at_start = reading == Reading::AtStart;
    effect.setting = common::log::find_setting(line.c_str(), equals, at_start);
    if (effect.setting == Setting::Unknown) {
        effect.setting = common::log::find_setting(line.c_str(), equals, true);
        effect.kind = effect.setting == Setting::Unknown ? Kind::NoSetting : Kind::AtStartOnly;
        return effect;
    }
    const bool good = ValueReader(settings, effect).read(effect.setting, line.c_str() + equals + 1);
    effect.kind = good ? Kind::Sets : Kind::BadValue;
    if (good) {
        effect.allowed.clear();
    }
    return effect;
}

std::string line_for(const LogSettings& settings, Setting setting)
{
    const auto boolean = [](std::uint32_t value) { return value == 1 ? "True" : "False"; };
    const auto value = [&]() -> std::string {
        switch (setting) {
        case Setting::Cache:
            return boolean(settings.cache);
        case Setting::Color:
            return boolean(settings.color);
        case Setting::Enable:
            return boolean(settings.enable);
        case Setting::Format:
            return common::log::kLayouts[settings.format].text;
        case Setting::Legacy:
            return boolean(settings.legacy);
        case Setting::Level:
            return COMMON_LogLevel_ToString(settings.levelAtPeakloadOff);
        case Setting::LevelPeakload:
            return COMMON_LogLevel_ToString(settings.levelAtPeakloadOn);
        case Setting::PeakloadControl:
            return COMMON_LogPeakloadControl_ToString(settings.peakloadControl);
        case Setting::PeakloadGranularity:
            return std::to_string(settings.granularityPeakloadProcessing);
        case Setting::Strip:
            return boolean(settings.strip);
        case Setting::Unknown:
            break;
        }
        return "";
    };
    return setting == Setting::Unknown
               ? ""
               : std::string(common::log::variable_of(setting)) + "=" + value();
}

std::vector<Piece> pieces_of(std::string_view content)
{
    std::vector<Piece> pieces;
    std::size_t line = 1;
    std::size_t column = 1;
    while (!content.empty()) {
        const std::string_view raw = content.substr(
            0, std::min(content.substr(0, kPieceSize).find('\n'), kPieceSize - 1) + 1);
        content.remove_prefix(raw.size());
        const bool ends = raw.ends_with('\n');
        // A text ends at a null byte, whatever stands behind it.
        const std::string_view text = raw.substr(0, raw.find('\0'));
        pieces.push_back({.line = line,
                          .column = column,
                          .raw = raw,
                          .text = std::string(text.substr(0, text.find('\n'))),
                          .last = ends || content.empty()});
        line += ends ? 1 : 0;
        column = ends ? 1 : column + raw.size();
    }
    return pieces;
}

void take_in_file(LogSettings& settings, std::string_view content, Reading reading)
{
    for (const Piece& piece : pieces_of(content)) {
        take_in(settings, piece.text, reading);
    }
}

}  // namespace commonctl
