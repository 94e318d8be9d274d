// Settings of the log facility from files and the environment.
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iterator>

#include "common_debug.h"
#include "foundation/settings_text.h"
#include "log/logger.h"
#include "platform/assertion.h"
#include "platform/line_reader.h"

namespace common {
namespace {

constexpr char kConfiguredFile[] = "/config/common/log/settings.txt";
constexpr char kSharedFile[] = "/tmp/common/log/settings.txt";
constexpr char kPrefix[] = "COMMON_LOG_";

/// Modification time of a file that was not seen yet, or is gone.
constexpr std::int64_t kNotSeen = INT64_MIN;

/// Two threads may both read a changed file; that does no harm.
constinit char process_file[48] = "";
constinit std::atomic<std::int64_t> process_file_time{kNotSeen};
constinit std::atomic<std::int64_t> shared_file_time{kNotSeen};
constinit std::atomic<std::int64_t> last_reread_ms{0};

enum class Name {
    Cache,
    Color,
    Enable,
    Format,
    Legacy,
    Level,
    LevelPeakload,
    PeakloadControl,
    PeakloadGranularity,
    Strip,
    Unknown,
};

/// In the order in which a name is compared with them.
constexpr char kNames[][32] = {
    "COMMON_LOG_CACHE",
    "COMMON_LOG_COLOR",
    "COMMON_LOG_ENABLE",
    "COMMON_LOG_FORMAT",
    "COMMON_LOG_LEGACY",
    "COMMON_LOG_LEVEL",
    "COMMON_LOG_LEVEL_PEAKLOAD",
    "COMMON_LOG_PEAKLOAD_CONTROL",
    "COMMON_LOG_PEAKLOAD_GRANULARITY",
    "COMMON_LOG_STRIP",
};
static_assert(std::size(kNames) == static_cast<std::size_t>(Name::Unknown));
constexpr std::size_t kLevelPeakloadLength = 25;

/// The first known name that begins with the given one. While the process runs FORMAT and LEGACY
/// are passed over, so that a shortened name may then be a later one.
Name find_name(const char* variable, std::size_t length, bool at_initialisation) noexcept
{
    for (std::size_t i = 0; i < std::size(kNames); ++i) {
        const auto name = static_cast<Name>(i);
        if (!at_initialisation && (name == Name::Format || name == Name::Legacy)) {
            continue;
        }
        if (!abbreviates(variable, length, kNames[i])) {
            continue;
        }
        if (name == Name::Level || name == Name::LevelPeakload) {
            return length == kLevelPeakloadLength ? Name::LevelPeakload : Name::Level;
        }
        return name;
    }
    return Name::Unknown;
}

bool set_boolean(std::atomic<std::uint32_t>& setting, const char* value) noexcept
{
    bool parsed = false;
    if (!parse_boolean(value, parsed)) {
        return false;
    }
    setting.store(parsed ? 1 : 0);
    return true;
}

bool set_cache(const char* value) noexcept
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

bool set_format(const char* value) noexcept
{
    static constexpr char kFormats[][12] = {"Legacy", "All", "Columns", "Syslogng", "Syslogngext"};
    static_assert(std::size(kFormats) == COMMON_LogFormatSyslogngext + 1);
    for (COMMON_LogFormat_t format = 0; format < std::size(kFormats); ++format) {
        if (equal_without_case(value, kFormats[format])) {
            logger.format.store(format);
            return true;
        }
    }
    return false;
}

bool set_level(std::atomic<std::uint8_t>& setting, const char* value) noexcept
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

bool set_control(const char* value) noexcept
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

bool set_granularity(const char* value) noexcept
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

bool set(Name name, const char* value) noexcept
{
    switch (name) {
    case Name::Cache:
        return set_cache(value);
    case Name::Color:
        return set_boolean(logger.color, value);
    case Name::Enable:
        return set_boolean(logger.enable, value);
    case Name::Format:
        return set_format(value);
    case Name::Legacy:
        return set_boolean(logger.legacy, value);
    case Name::Level:
        return set_level(logger.levelAtPeakloadOff, value);
    case Name::LevelPeakload:
        return set_level(logger.levelAtPeakloadOn, value);
    case Name::PeakloadControl:
        return set_control(value);
    case Name::PeakloadGranularity:
        return set_granularity(value);
    case Name::Strip:
        return set_boolean(logger.strip, value);
    case Name::Unknown:
        break;
    }
    return true;
}

bool modification_time(const char* path, std::int64_t& seconds) noexcept
{
    struct stat status;
    if (stat(path, &status) != 0) {
        return false;
    }
    seconds = status.st_mtime;
    return true;
}

#define SETTINGS_ROW(...)                                                                      \
    COMMON_Debug_Write(stderr, kLogSource.name, "common_log_process_settings_files", __LINE__, \
                       __VA_ARGS__)

/// Takes in a settings file: false when it cannot be opened.
bool parse_file(const char* path, bool at_initialisation) noexcept
{
    LineReader file;
    if (!file.open(path)) {
        return false;
    }
    const int error =
        for_each_setting(file, [=](const char* line) { parseVariable(line, at_initialisation); });
    if (error != 0) {
        // Whichever file it was: integrators look for this very text.
        SETTINGS_ROW("Failed to close the global log file \"%s\" with error: %s", kConfiguredFile,
                     std::strerror(error));
    }
    return true;
}

void read_at_initialisation() noexcept
{
    std::snprintf(process_file, sizeof process_file, "/tmp/common/log/settings_%d.txt",
                  static_cast<int>(logger.process.id));
    std::int64_t time = 0;
    if (modification_time(kSharedFile, time) && shared_file_time.exchange(time) != time &&
        parse_file(kSharedFile, true)) {
        return;
    }
    parse_file(kConfiguredFile, true);
}

/// Whether the granularity has passed since the files were looked at; if so, it begins anew.
bool reread_is_due() noexcept
{
    const std::int32_t granularity_ms = logger.granularityPeakloadProcessing.load();
    if (granularity_ms < 1 || logger.peakloadControl.load() == COMMON_LogPeakloadControlNone) {
        return false;
    }
    timespec now{};
    if (clock_gettime(CLOCK_REALTIME, &now) != 0) {
        SETTINGS_ROW("Failed to get current ftime");
        return false;
    }
    const std::int64_t now_ms = std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
    const std::int64_t elapsed_ms = now_ms - last_reread_ms.load();
    if (elapsed_ms < 0) {
        SETTINGS_ROW("The current time before the previous time");
        last_reread_ms.store(now_ms);
        return false;
    }
    if (elapsed_ms < granularity_ms) {
        return false;
    }
    last_reread_ms.store(now_ms);
    return true;
}

/// Takes in a file if it has changed: false when there is none.
bool reread_file(const char* path, std::atomic<std::int64_t>& time_seen) noexcept
{
    std::int64_t time = 0;
    if (!modification_time(path, time)) {
        time_seen.store(kNotSeen);
        return false;
    }
    if (time_seen.exchange(time) != time) {
        parse_file(path, false);
    }
    return true;
}

}  // namespace

void parseVariable(const char* variable, bool at_initialisation) noexcept
{
    COMMON_ASSERT(kLogSource, variable != nullptr, "((void *)0) != variable");
    const char* const equals = std::strchr(variable, '=');
    if (equals == nullptr || !abbreviates(kPrefix, sizeof kPrefix - 1, variable)) {
        return;
    }
    const Name name =
        find_name(variable, static_cast<std::size_t>(equals - variable), at_initialisation);
    if (!set(name, equals + 1)) {
        COMMON_LOG_ROW(stderr, "Invalid %s: %s", kNames[static_cast<std::size_t>(name)],
                       equals + 1);
    }
}

void common_log_process_settings_files(bool at_initialisation) noexcept
{
    if (at_initialisation) {
        read_at_initialisation();
        return;
    }
    if (reread_is_due()) {
        if (!reread_file(process_file, process_file_time)) {
            reread_file(kSharedFile, shared_file_time);
        }
        publish_gate();
    }
}

}  // namespace common
