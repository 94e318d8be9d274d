#include "common_log_settings.h"

#include "foundation/boolean_text.h"
#include "log/levels.h"
#include "log/logger.h"
#include "log/report.h"
#include "log/settings_list.h"

namespace common::log {

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

/// Whether a number is no level, which is reported.
bool is_refused(COMMON_LogLevel_t level, Here here = Here::now()) noexcept
{
    if (is_level(level)) {
        return false;
    }
    COMMON_LOG_REPORT_AS(here.function, Warn, "No change due to invalid level: %s (%d)",
                         COMMON_LogLevel_ToString(level), static_cast<int>(level));
    return true;
}

}  // namespace
}  // namespace common::log

using namespace common::log;

extern "C" {

uint32_t COMMON_Log_CacheGet(void)
{
    return get(logger.cache);
}

uint32_t COMMON_Log_ColorGet(void)
{
    return get(logger.color);
}

uint32_t COMMON_Log_EnableGet(void)
{
    return get(logger.enable);
}

uint32_t COMMON_Log_LegacyGet(void)
{
    return get(logger.legacy);
}

COMMON_LogFormat_t COMMON_Log_FormatGet(void)
{
    return get(logger.format);
}

COMMON_LogPeakloadControl_t COMMON_Log_PeakloadControlGet(void)
{
    return get(logger.peakloadControl);
}

uint32_t COMMON_Log_StripGet(void)
{
    return get(logger.strip);
}

COMMON_LogLevel_t COMMON_Log_LevelGet(void)
{
    return get(logger.level);
}

void COMMON_Log_CacheSet(uint32_t value)
{
    enter();
    logger.cache.store(value == 1 && !make_slot() ? 0 : value);
}

void COMMON_Log_ColorSet(uint32_t value)
{
    set(logger.color, value);
}

void COMMON_Log_EnableSet(uint32_t value)
{
    set(logger.enable, value);
}

void COMMON_Log_FormatSet(COMMON_LogFormat_t value)
{
    set(logger.format, value);
}

void COMMON_Log_StripSet(uint32_t value)
{
    set(logger.strip, value);
}

int32_t COMMON_Log_LegacySet(uint32_t value)
{
    enter();
    return legacySet(value);
}

void COMMON_Log_LevelSet(COMMON_LogLevel_t level)
{
    enter();
    if (is_refused(level)) {
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
    publish_gate();
}

STATUS COMMON_Log_LevelSetExtended(COMMON_LogLevel_t level, COMMON_LogPeakloadControl_t option)
{
    enter();
    if (is_refused(level)) {
        return STATUS_INVALID_PARAM;
    }
    const auto value = static_cast<std::uint8_t>(level);
    // Oddity: only None touches the current level, the other two prepare one for later, and None
    // prepares none.
    // Test: CommonLogSettings.LevelSetExtendedSetsOneLevelWhateverTheControl.
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
    publish_gate();
    return STATUS_SUCCESS;
}

COMMON_LogLevel_t COMMON_Log_LevelGetExtended(COMMON_LogPeakloadControl_t option)
{
    enter();
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
    enter();
    if (option > COMMON_LogPeakloadControlOn) {
        COMMON_LOG_REPORT(Warn, "No change due to invalid parameter: %d", static_cast<int>(option));
        return;
    }
    set_peakload_control(option);
    publish_gate();
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
    enter();
    // Oddity: each at the current level, so that every one passes the level test.
    // Test: CommonLogStatus.EveryRecordIsAtTheCurrentLevel.
#define STATUS_LINE(...)                                                                   \
    COMMON_Log_Write(logger.level.load(), common::kZone, zoneName, kSource.name, __func__, \
                     __LINE__, __VA_ARGS__)
#define SWITCH_LINE(line, field) STATUS_LINE(line, common::boolean_text(logger.field.load()));
    COMMON_LOG_SWITCHES(SWITCH_LINE)
#undef SWITCH_LINE
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
