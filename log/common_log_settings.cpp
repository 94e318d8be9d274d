#include "common_log_settings.h"

#include <cstdio>
#include <cstring>

#include "common_debug.h"
#include "foundation/boolean_text.h"
#include "log/logger.h"
#include "log/report.h"

namespace common {

void apply_peakload_level() noexcept
{
    logger.level.store(logger.peakloadControl.load() == COMMON_LogPeakloadControlOn
                           ? logger.levelAtPeakloadOn.load()
                           : logger.levelAtPeakloadOff.load());
}

void set_peakload_control(COMMON_LogPeakloadControl_t option) noexcept
{
    logger.peakloadControl.store(option);
    if (option == COMMON_LogPeakloadControlNone) {
        logger.levelAtPeakloadOn.store(logger.levelAtPeakloadOff.load());
    }
    apply_peakload_level();
}

namespace {

/// Stores a setting on behalf of a caller.
template <typename T, typename Value>
void set(std::atomic<T>& setting, Value value) noexcept
{
    enter();
    setting.store(static_cast<T>(value));
    publish_gate();
}

template <typename T>
T get(const std::atomic<T>& setting) noexcept
{
    enter();
    return setting.load();
}

}  // namespace
}  // namespace common

using common::kLogSource;
using common::logger;

extern "C" {

uint32_t COMMON_Log_CacheGet(void)
{
    return common::get(logger.cache);
}

uint32_t COMMON_Log_ColorGet(void)
{
    return common::get(logger.color);
}

uint32_t COMMON_Log_EnableGet(void)
{
    return common::get(logger.enable);
}

uint32_t COMMON_Log_LegacyGet(void)
{
    return common::get(logger.legacy);
}

COMMON_LogFormat_t COMMON_Log_FormatGet(void)
{
    return common::get(logger.format);
}

COMMON_LogPeakloadControl_t COMMON_Log_PeakloadControlGet(void)
{
    return common::get(logger.peakloadControl);
}

uint32_t COMMON_Log_StripGet(void)
{
    return common::get(logger.strip);
}

COMMON_LogLevel_t COMMON_Log_LevelGet(void)
{
    return common::get(logger.level);
}

void COMMON_Log_CacheSet(uint32_t value)
{
    common::enter();
    if (value == 1) {
        if (const int error = common::create_slot(); error != 0) {
            COMMON_LOG_ROW(stderr,
                           "Disabling caching due to failure creating the key with error: %s (%d)",
                           std::strerror(error), error);
            value = 0;
        }
    }
    logger.cache.store(value);
}

void COMMON_Log_ColorSet(uint32_t value)
{
    common::set(logger.color, value);
}

void COMMON_Log_EnableSet(uint32_t value)
{
    common::set(logger.enable, value);
}

void COMMON_Log_FormatSet(COMMON_LogFormat_t value)
{
    common::set(logger.format, value);
}

void COMMON_Log_StripSet(uint32_t value)
{
    common::set(logger.strip, value);
}

int32_t COMMON_Log_LegacySet(uint32_t value)
{
    common::enter();
    return common::legacySet(value);
}

void COMMON_Log_LevelSet(COMMON_LogLevel_t level)
{
    common::enter();
    if (level > COMMON_LogLevelVerbose) {
        COMMON_LOG_REPORT(Warn, "No change due to invalid level: %s (%d)",
                          COMMON_LogLevel_ToString(level), static_cast<int>(level));
        return;
    }
    const auto value = static_cast<std::uint8_t>(level);
    logger.level.store(value);
    switch (const COMMON_LogPeakloadControl_t control = logger.peakloadControl.load()) {
    case COMMON_LogPeakloadControlOff:
        logger.levelAtPeakloadOff.store(value);
        break;
    case COMMON_LogPeakloadControlNone:
        logger.levelAtPeakloadOff.store(value);
        logger.levelAtPeakloadOn.store(value);
        break;
    case COMMON_LogPeakloadControlOn:
        logger.levelAtPeakloadOn.store(value);
        break;
    default:
        COMMON_LOG_REPORT(Error, "Invalid logger.peakloadControl %d", static_cast<int>(control));
        break;
    }
    common::publish_gate();
}

STATUS COMMON_Log_LevelSetExtended(COMMON_LogLevel_t level, COMMON_LogPeakloadControl_t option)
{
    common::enter();
    if (level > COMMON_LogLevelVerbose) {
        COMMON_LOG_REPORT(Warn, "No change due to invalid level: %s (%d)",
                          COMMON_LogLevel_ToString(level), static_cast<int>(level));
        return STATUS_INVALID_PARAM;
    }
    const auto value = static_cast<std::uint8_t>(level);
    // Only None touches the current level: the other two prepare a level for later.
    switch (option) {
    case COMMON_LogPeakloadControlNone:
        logger.level.store(value);
        break;
    case COMMON_LogPeakloadControlOff:
        logger.levelAtPeakloadOff.store(value);
        break;
    case COMMON_LogPeakloadControlOn:
        logger.levelAtPeakloadOn.store(value);
        break;
    default:
        COMMON_LOG_REPORT(Warn, "Invalid (COMMON_LogPeakloadControl_t)option:%d",
                          static_cast<int>(option));
        return STATUS_INVALID_PARAM;
    }
    common::publish_gate();
    return STATUS_SUCCESS;
}

COMMON_LogLevel_t COMMON_Log_LevelGetExtended(COMMON_LogPeakloadControl_t option)
{
    common::enter();
    switch (option) {
    case COMMON_LogPeakloadControlNone:
        break;
    case COMMON_LogPeakloadControlOff:
        return logger.levelAtPeakloadOff.load();
    case COMMON_LogPeakloadControlOn:
        return logger.levelAtPeakloadOn.load();
    default:
        COMMON_LOG_REPORT(Warn,
                          "Invalid (COMMON_LogPeakloadControl_t)option:%d; "
                          "COMMON_LogPeakloadControlNone(%d) assumed",
                          static_cast<int>(option), COMMON_LogPeakloadControlNone);
        break;
    }
    return logger.level.load();
}

void COMMON_Log_PeakloadControlSet(COMMON_LogPeakloadControl_t option)
{
    common::enter();
    if (option > COMMON_LogPeakloadControlOn) {
        COMMON_LOG_REPORT(Warn, "No change due to invalid parameter: %d", static_cast<int>(option));
        return;
    }
    common::set_peakload_control(option);
    common::publish_gate();
}

const char* COMMON_LogPeakloadControl_ToString(COMMON_LogPeakloadControl_t option)
{
    switch (option) {
    case COMMON_LogPeakloadControlNone:
        return "None";
    case COMMON_LogPeakloadControlOff:
        return "Off";
    case COMMON_LogPeakloadControlOn:
        return "On";
    default:
        return "Invalid";
    }
}

void COMMON_LogDumpLoggerStatus(const char* zoneName)
{
    common::enter();
    // At the current level each, so that every one passes the level test.
#define STATUS_LINE(...)                                                                      \
    COMMON_Log_Write(logger.level.load(), common::kZone, zoneName, kLogSource.name, __func__, \
                     __LINE__, __VA_ARGS__)
    STATUS_LINE("cache:    %s", common::boolean_text(logger.cache.load()));
    STATUS_LINE("color:    %s", common::boolean_text(logger.color.load()));
    STATUS_LINE("debug:    %s", common::boolean_text(logger.debug.load()));
    STATUS_LINE("enable:   %s", common::boolean_text(logger.enable.load()));
    STATUS_LINE("strip:    %s", common::boolean_text(logger.strip.load()));
    STATUS_LINE("legacy:   %s", common::boolean_text(logger.legacy.load()));
    const COMMON_LogLevel_t level = logger.level.load();
    const COMMON_LogLevel_t off = logger.levelAtPeakloadOff.load();
    const COMMON_LogLevel_t on = logger.levelAtPeakloadOn.load();
    const COMMON_LogPeakloadControl_t control = logger.peakloadControl.load();
    STATUS_LINE("level:    %s (%d) Current", COMMON_LogLevel_ToString(level),
                static_cast<int>(level));
    STATUS_LINE("level:    %s (%d) atPeakloadOff", COMMON_LogLevel_ToString(off),
                static_cast<int>(off));
    STATUS_LINE("level:    %s (%d) atPeakloadOn", COMMON_LogLevel_ToString(on),
                static_cast<int>(on));
    STATUS_LINE("peakload: %s (%d)", COMMON_LogPeakloadControl_ToString(control),
                static_cast<int>(control));
    STATUS_LINE("granularityPeakloadProcessing: %d", logger.granularityPeakloadProcessing.load());
#undef STATUS_LINE
}

}  // extern "C"
