// One setting of the log facility, from a line NAME=value.
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "foundation/settings_text.h"
#include "log/common_log_layout.h"
#include "log/levels.h"
#include "log/logger.h"
#include "log/report.h"
#include "log/settings_names.h"
#include "platform/assertion.h"

namespace common::log {
namespace {

bool read_boolean(std::atomic<std::uint32_t>& setting, const char* value) noexcept
{
    bool parsed = false;
    if (!parse_boolean(value, parsed)) {
        return false;
    }
    setting.store(parsed ? 1 : 0);
    return true;
}

bool read_cache(const char* value) noexcept
{
    bool parsed = false;
    if (!parse_boolean(value, parsed)) {
        return false;
    }
    if (initialised.load()) {
        COMMON_Log_CacheSet(parsed ? 1 : 0);  // makes the slot if there is none
    } else {
        logger.cache.store(parsed ? 1 : 0);
    }
    return true;
}

bool read_layout(const char* value) noexcept
{
    for (const auto& [layout, text] : kLayouts) {
        if (equal_without_case(value, text)) {
            logger.format.store(layout);
            return true;
        }
    }
    return false;
}

bool read_level(std::atomic<std::uint8_t>& setting, const char* value) noexcept
{
    COMMON_LogLevel_t level = 0;
    if (equal_without_case(value, COMMON_LogLevel_stringDefault)) {
        level = COMMON_LogLevelInfo;
    } else {
        while (level <= COMMON_LogLevelVerbose &&
               !equal_without_case(value, COMMON_LogLevel_ToString(level))) {
            ++level;
        }
        if (level > COMMON_LogLevelVerbose) {
            return false;
        }
    }
    setting.store(static_cast<std::uint8_t>(level));
    apply_peakload_level();
    return true;
}

bool read_control(const char* value) noexcept
{
    for (COMMON_LogPeakloadControl_t option = COMMON_LogPeakloadControlNone;
         option <= COMMON_LogPeakloadControlOn; ++option) {
        if (equal_without_case(value, COMMON_LogPeakloadControl_ToString(option))) {
            set_peakload_control(option);
            return true;
        }
    }
    return false;
}

bool read_granularity(const char* value) noexcept
{
    if (*value < '0' || *value > '9') {
        return false;
    }
    const int keep = errno;
    const long number = std::strtol(value, nullptr, 0);
    errno = keep;
    logger.granularityPeakloadProcessing.store(
        number > INT32_MAX ? INT32_MAX : static_cast<std::int32_t>(number));
    return true;
}

bool read(Setting setting, const char* value) noexcept
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
    return true;
}

}  // namespace

void parseVariable(const char* variable, bool at_initialisation) noexcept
{
    COMMON_ASSERT(kSource, variable != nullptr, "((void *)0) != variable");
    const char* const equals = std::strchr(variable, '=');
    if (equals == nullptr || !abbreviates(kSettingPrefix.data(), kSettingPrefix.size(), variable)) {
        return;
    }
    const Setting setting =
        find_setting(variable, static_cast<std::size_t>(equals - variable), at_initialisation);
    if (!read(setting, equals + 1)) {
        COMMON_ROW(kSource, stderr, "Invalid %s: %s", variable_of(setting), equals + 1);
    }
}

}  // namespace common::log
