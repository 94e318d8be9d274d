// The settings files of the log facility, at the start and when they have changed.
#include <sys/stat.h>

#include <cstdio>
#include <ctime>

#include "foundation/settings_text.h"
#include "log/logger.h"
#include "log/report.h"

namespace common::log {
namespace {

constexpr char kConfiguredFile[] = "/config/common/log/settings.txt";
constexpr char kSharedFile[] = "/tmp/common/log/settings.txt";
constexpr char kProcessFile[] = "/tmp/common/log/settings_%d.txt";
constexpr std::size_t kProcessFileCapacity = sizeof kProcessFile + sizeof "-2147483648";

/// Modification time of a file that was not seen yet, or is gone.
constexpr std::int64_t kNotSeen = INT64_MIN;

/// Two threads may both read a changed file; that does no harm.
constinit char process_file[kProcessFileCapacity] = "";
constinit std::atomic<std::int64_t> process_file_time{kNotSeen};
constinit std::atomic<std::int64_t> shared_file_time{kNotSeen};
constinit std::atomic<std::int64_t> last_reread_ms{0};

bool modification_time(const char* path, std::int64_t& seconds) noexcept
{
    struct stat status;
    if (stat(path, &status) != 0) {
        return false;
    }
    seconds = status.st_mtime;
    return true;
}

/// The rows of the files show one function, whichever part writes them.
#define FILES_ROW(...) \
    COMMON_ROW_AS("common_log_process_settings_files", kSource, stderr, __VA_ARGS__)

/// Takes in a settings file: false when it cannot be opened.
bool parse_file(const char* path, bool at_initialisation) noexcept
{
    // Oddity: whichever file cannot be closed, the row names the configured one, as integrators
    // look for this very text.
    // Test: CommonLogFilesFault.ClosingFailuresNameTheConfiguredFileWhicheverItIs.
    return read_settings(path, [=](const char* line) { parseVariable(line, at_initialisation); },
                         kSource.name, kConfiguredFile,
                         {"common_log_process_settings_files", __LINE__});
}

void read_at_initialisation() noexcept
{
    std::snprintf(process_file, sizeof process_file, kProcessFile,
                  static_cast<int>(logger.process.id));
    std::int64_t time = 0;
    if (modification_time(kSharedFile, time)) {
        shared_file_time.store(time);
        if (parse_file(kSharedFile, true)) {
            return;
        }
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
        FILES_ROW("Failed to get current ftime");
        return false;
    }
    const std::int64_t now_ms = std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
    const std::int64_t elapsed_ms = now_ms - last_reread_ms.load();
    if (elapsed_ms < 0) {
        FILES_ROW("The current time before the previous time");
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

}  // namespace common::log
