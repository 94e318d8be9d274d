// Which setting of the log facility a name means: what the library reads by, and what the tool
// tells.
#pragma once

#include <cstddef>
#include <cstring>
#include <iterator>
#include <string_view>

#include "log/settings_list.h"

namespace common::log {

/// What the variables of the log facility begin with.
inline constexpr std::string_view kSettingPrefix = "COMMON_LOG_";

enum class Setting {
#define ENUMERATOR(setting, variable, counts, shown, reader) setting,
    COMMON_LOG_SETTINGS(ENUMERATOR)
#undef ENUMERATOR
        Unknown
};

/// By setting. The names are held in place, which spares every process the relocations.
inline constexpr struct {
    char variable[32];
    Counts counts;
} kSettings[] = {
#define ROW(setting, variable, counts, shown, reader) {variable, Counts::counts},
    COMMON_LOG_SETTINGS(ROW)
#undef ROW
};

constexpr const char* variable_of(Setting setting) noexcept
{
    return kSettings[static_cast<std::size_t>(setting)].variable;
}

/// The first variable that begins with the given name. What does not count now is passed over, so
/// that a shortened name may then be a later one.
inline Setting find_setting(const char* name, std::size_t length, bool at_initialisation) noexcept
{
    std::size_t i = 0;
    while (i < std::size(kSettings) &&
           ((kSettings[i].counts == Counts::AtStart && !at_initialisation) ||
            std::strncmp(name, kSettings[i].variable, length) != 0)) {
        ++i;
    }
    const auto found = static_cast<Setting>(i);
    // Oddity: a name is that of the level at peak load in full only; shortened, as integrators have
    // it, it is the other level.
    // Test: CommonLogEnvironment.ShortenedNamesAreTheFirstThatBeginsWithThem.
    constexpr std::string_view kLevelPeakload = variable_of(Setting::LevelPeakload);
    return found == Setting::LevelPeakload && length != kLevelPeakload.size() ? Setting::Level
                                                                              : found;
}

}  // namespace common::log
