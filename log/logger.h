// The log facility's inside: the settings, the gate in front of every call, and the write path.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>

#include "common_log.h"
#include "common_log_settings.h"
#include "common_process.h"
#include "log/report.h"

namespace common::log {

inline constexpr Source kSource{"common_log"};

/// The built-in handler.
void handlerLegacy(std::int32_t level, const char* zoneName, const char* file, const char* function,
                   std::int32_t line, const char* format, va_list args) COMMON_PRINTF(6, 0);

/// The settings: one record per process. Every field that changes while the process runs is a word
/// of its own, read and set without a lock; a reader may see one setting before another.
struct Logger {
    std::atomic<std::uint32_t> cache{1};
    std::atomic<std::uint32_t> color{0};
    std::atomic<std::uint32_t> debug{0};
    std::atomic<std::uint32_t> enable{1};
    std::atomic<std::uint32_t> strip{1};
    std::atomic<std::uint32_t> legacy{1};
    std::atomic<COMMON_LogFormat_t> format{COMMON_LogFormatSyslogngext};
    std::atomic<COMMON_LogPeakloadControl_t> peakloadControl{COMMON_LogPeakloadControlNone};
    std::atomic<std::uint8_t> level{COMMON_LogLevelInfo};
    std::atomic<std::uint8_t> levelAtPeakloadOff{COMMON_LogLevelInfo};
    std::atomic<std::uint8_t> levelAtPeakloadOn{COMMON_LogLevelInfo};
    /// Milliseconds.
    std::atomic<std::int32_t> granularityPeakloadProcessing{1000};
    /// Captured at initialisation; read only once `captured` says so.
    COMMON_Process process{0, "", "", 0, "", 0, 0};
    std::atomic<bool> captured{false};
    /// The thread-specific slot of the records; there only once `slotCreated` says so.
    pthread_key_t slot{0};
    std::atomic<bool> slotCreated{false};
    /// Set at initialisation, before another thread can get past it.
    COMMON_LogHandler_t handlerDynamic{nullptr};
    /// Replaced under the handler lock.
    std::atomic<COMMON_LogHandler_t> handler{handlerLegacy};
    void* handlerLibrary{nullptr};
};

extern constinit Logger logger;

/// What every call of the facility looks at first: how many levels are accepted (0 when logging is
/// disabled), or kGateSlow when there is more to do: the initialisation, or a look for changed
/// files.
extern constinit std::atomic<std::uint32_t> gate;
inline constexpr std::uint32_t kGateSlow = UINT32_MAX;

/// Brings the gate up to date; to be called after each change of a setting that it is made of.
void publish_gate() noexcept;

/// Runs the initialisation if it has not run, and looks for changed settings files if wanted. Keeps
/// errno.
__attribute__((cold)) void enter_slow() noexcept;

inline void enter() noexcept
{
    if (gate.load(std::memory_order_acquire) == kGateSlow) [[unlikely]] {
        enter_slow();
    }
}

/// COMMON_Log_Acceptable() without the initialisation.
bool acceptable_now(COMMON_LogLevel_t level) noexcept;

/// COMMON_Log_Acceptable() where the gate says that there is more to do first. It ends in a jump to
/// this, so that what it mostly is, a load and two compares, needs no stack.
__attribute__((cold)) std::uint32_t acceptable_slowly(COMMON_LogLevel_t level) noexcept;

inline std::uint32_t acceptable(COMMON_LogLevel_t level) noexcept
{
    const std::uint32_t accepted = gate.load(std::memory_order_acquire);
    if (accepted == kGateSlow) [[unlikely]] {
        return acceptable_slowly(level);
    }
    return level < accepted ? 1 : 0;
}

/// The once-initialisation, and whether it has ended.
void threadOnce() noexcept;
extern constinit std::atomic<bool> initialised;

/// Takes in one NAME=value. `at_initialisation` also lets FORMAT and LEGACY count.
void parseVariable(const char* variable, bool at_initialisation) noexcept;

/// Reads the settings files, as far as they are due.
void common_log_process_settings_files(bool at_initialisation) noexcept;

/// Makes the level that goes with the peakload control the current one.
void apply_peakload_level() noexcept;

/// Sets the peakload control, with what None means for the level at peak load.
void set_peakload_control(COMMON_LogPeakloadControl_t option) noexcept;

/// Installs a handler: the result of the final unlock.
int legacySet(std::uint32_t value) noexcept;

/// Makes the thread-specific slot, once. False when that fails, which a row tells: there is no
/// caching then.
bool make_slot(Here here = Here::now()) noexcept;

/// What a caller says of a record besides its message. The texts may be null.
struct Call {
    COMMON_LogLevel_t level;
    const char* zone;
    const char* file;
    const char* function;
    std::int32_t line;
};

/// Writes a record of the facility itself: through the built-in path, from the stack.
void logInternal(const Call& call, const char* format, ...) noexcept COMMON_PRINTF(2, 3);

}  // namespace common::log

/// Reports a failure of the facility itself: COMMON_LOG_REPORT(Warn, "...", ...).
#define COMMON_LOG_REPORT(level, ...) COMMON_LOG_REPORT_AS(__func__, level, __VA_ARGS__)

/// The same in the name of another function.
#define COMMON_LOG_REPORT_AS(function, level, ...)                                        \
    do {                                                                                  \
        if (::common::log::acceptable_now(COMMON_LogLevel##level)) {                      \
            ::common::log::logInternal({COMMON_LogLevel##level, COMMON_Log_zoneDefault,   \
                                        ::common::log::kSource.name, function, __LINE__}, \
                                       __VA_ARGS__);                                      \
        }                                                                                 \
    } while (false)
