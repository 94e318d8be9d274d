#include "common_log.h"

#include "common_thread.h"
#include "foundation/initialisation.h"
#include "log/levels.h"
#include "log/logger.h"
#include "platform/assertion.h"
#include "platform/errno_keeper.h"

namespace common::log {

constinit Logger logger;
constinit std::atomic<std::uint32_t> gate{kGateSlow};
constinit std::atomic<bool> initialised{false};

namespace {

constinit pthread_once_t log_once = PTHREAD_ONCE_INIT;

bool rereading_wanted() noexcept
{
    return logger.peakloadControl.load() != COMMON_LogPeakloadControlNone &&
           logger.granularityPeakloadProcessing.load() >= 1;
}

std::uint32_t gate_for_settings() noexcept
{
    if (!initialised.load() || rereading_wanted()) {
        return kGateSlow;
    }
    return logger.enable.load() == 1 ? logger.level.load() + 1U : 0U;
}

}  // namespace

void publish_gate() noexcept
{
    // Whoever stores last looks at the settings once more, so the gate ends up right however the
    // setters of several threads meet.
    std::uint32_t value;
    do {
        value = gate_for_settings();
        gate.store(value);
    } while (value != gate_for_settings());
}

void enter_slow() noexcept
{
    const ErrnoKeeper keep;
    if (!initialised.load(std::memory_order_acquire)) {
        if (!may_initialise(InitRank::Log)) {
            return;
        }
        COMMON_Thread_Once(&log_once, threadOnce);
    }
    if (!thread_state.rereading) {
        const StateScope scope(thread_state.rereading, true);
        common_log_process_settings_files(false);
    }
}

std::uint32_t acceptable_slowly(COMMON_LogLevel_t level) noexcept
{
    enter_slow();
    return acceptable_now(level) ? 1 : 0;
}

bool acceptable_now(COMMON_LogLevel_t level) noexcept
{
    return logger.enable.load(std::memory_order_relaxed) == 1 &&
           level <= logger.level.load(std::memory_order_relaxed);
}

}  // namespace common::log

using namespace common::log;

extern "C" {

#define TEXT(level, priority) const char COMMON_LogLevel_string##level[] = #level;
COMMON_LOG_LEVELS(TEXT)
#undef TEXT
const char COMMON_LogLevel_stringDefault[] = "Default";
const char COMMON_Log_zoneDefault[] = "";

const char* COMMON_LogLevel_ToString(COMMON_LogLevel_t level)
{
#define TEXT(level, priority) COMMON_LogLevel_string##level,
    static constexpr const char* kTexts[] = {COMMON_LOG_LEVELS(TEXT)};
#undef TEXT
#define AT_ITS_PLACE(level, priority) \
    static_assert(kTexts[COMMON_LogLevel##level] == COMMON_LogLevel_string##level);
    COMMON_LOG_LEVELS(AT_ITS_PLACE)
#undef AT_ITS_PLACE
    return is_level(level) ? kTexts[level] : "Invalid";
}

uint32_t COMMON_Log_Acceptable(COMMON_LogLevel_t level)
{
    return acceptable(level);
}

void COMMON_Log_Write(COMMON_LogLevel_t level, uint32_t zone, const char* zoneName,
                      const char* file, const char* function, int32_t line, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    if (format == nullptr) {
        format = "";
    }
    COMMON_Log_WriteV(level, zone, zoneName, file, function, line, format, args);
    va_end(args);
}

void COMMON_Log_WriteV(COMMON_LogLevel_t level, uint32_t /*zone*/, const char* zoneName,
                       const char* file, const char* function, int32_t line, const char* format,
                       va_list args)
{
    const common::ErrnoKeeper keep;
    enter();
    const COMMON_LogHandler_t handler = logger.handler.load(std::memory_order_acquire);
    COMMON_ASSERT(kSource, handler != nullptr, "0 != logger.handler");
    handler(static_cast<std::int32_t>(level), zoneName, file, function, line, format, args);
}

}  // extern "C"
