#include "oxa_logger.h"

#include <atomic>
#include <cstring>

#include "common_log_settings.h"
#include "log/module_names.h"
#include "log/process_locks.h"
#include "log/report.h"
#include "mem_malloc.h"
#include "platform/line_reader.h"

namespace {

using namespace common::log;

constexpr common::Source kSource{"oxa_logger"};
constexpr char kConfigFile[] = "/oxa/slog/oxa_logger.cfg";

/// The names registered at run time, kept for the life of the process. A slot is filled before the
/// count is raised, so readers need no lock; who registers is serialised by the caller.
constinit const char* dynamic_names[kDynamicModuleCount]{};
constinit std::atomic<std::uint32_t> LOG_ModuleId_FirstFreeDynamic{kFixedModuleCount};

/// Guarded by ProcessLock::ModuleConfig.
constinit bool config_read = false;

/// What LOG_BufferCreate() gives: only its address is used.
constinit char placeholder_buffer = 0;

std::uint32_t modules_in_use() noexcept
{
    return LOG_ModuleId_FirstFreeDynamic.load(std::memory_order_acquire);
}

const char* name_of(std::uint32_t id) noexcept
{
    return id < kFixedModuleCount ? fixed_module_name(id) : dynamic_names[id - kFixedModuleCount];
}

// Oddity: a name that is refused ends the reading, also an empty line; integrators end their lists
// so. Test: OxaLogger.AnEmptyConfiguredLineStopsTheReading.
STATUS register_names(common::LineReader& file) noexcept
{
    char name[32];
    while (file.next(name, sizeof name)) {
        common::cut_newline(name);
        std::uint32_t id = 0;
        if (LOG_ModuleIdStore(name, &id, 1) != STATUS_SUCCESS) {
            return STATUS_NO_RESOURCES;
        }
    }
    return STATUS_SUCCESS;
}

// The one record whose format does not read its values is beyond the compiler's check.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"

void write_unchecked(COMMON_LogLevel_t level, const char* function, std::int32_t line,
                     const char* format, ...) noexcept
{
    va_list args;
    va_start(args, format);
    COMMON_Log_WriteV(level, common::kZone, COMMON_Log_zoneDefault, kSource.name, function, line,
                      format, args);
    va_end(args);
}

#pragma GCC diagnostic pop

}  // namespace

extern "C" {

uint32_t LOG_GetNumModules(void)
{
    return modules_in_use();
}

uint32_t LOG_IsModuleIdValid(uint32_t id)
{
    return id < modules_in_use() ? 1 : 0;
}

const char* LOG_GetModuleName(uint32_t id)
{
    return id < modules_in_use() ? name_of(id) : "Invalid";
}

STATUS LOG_ModuleIdStore(const char* name, uint32_t* idOut, uint32_t allowDynamic)
{
    if (name == nullptr || idOut == nullptr || *name == '\0') {
        return STATUS_INVALID_PARAM;
    }
    const std::uint32_t count = modules_in_use();
    for (std::uint32_t id = 0; id < count; ++id) {
        if (std::strcmp(name, name_of(id)) == 0) {
            *idOut = id;
            return STATUS_SUCCESS;
        }
    }
    if (allowDynamic != 1 || count >= kModuleCapacity) {
        return STATUS_FAILED;
    }
    const char* const copy = MEM_StrDup(name);
    if (copy == nullptr) {
        return STATUS_FAILED;
    }
    dynamic_names[count - kFixedModuleCount] = copy;
    *idOut = count;
    LOG_ModuleId_FirstFreeDynamic.store(count + 1, std::memory_order_release);
    return STATUS_SUCCESS;
}

STATUS LOG_ModuleIdReadConfig(void)
{
    const common::ProcessLockScope lock(common::ProcessLock::ModuleConfig);
    if (config_read) {
        return STATUS_COMPLETE;
    }
    config_read = true;
    common::LineReader file;
    return file.open(kConfigFile) ? register_names(file) : STATUS{STATUS_NOT_FOUND};
}

uint32_t LOG_ModuleIdAssignDynamic(const char* name)
{
    if (name == nullptr || *name == '\0') {
        return LOG_MODULE_GENERIC;
    }
    LOG_ModuleIdReadConfig();
    const common::ProcessLockScope lock(common::ProcessLock::ModuleNames);
    std::uint32_t id = LOG_MODULE_GENERIC;
    LOG_ModuleIdStore(name, &id, 1);  // leaves the id as it is when it fails
    return id;
}

uint32_t LOG_Write(uint32_t moduleId, COMMON_LogLevel_t level, const char* file,
                   const char* function, int32_t line, const char* format, ...)
{
    const std::uint32_t acceptable = COMMON_Log_Acceptable(level);
    if (acceptable != 0) {
        va_list args;
        va_start(args, format);
        COMMON_Log_WriteV(level, common::kZone, LOG_GetModuleName(moduleId), file, function, line,
                          format, args);
        va_end(args);
    }
    return acceptable;
}

void LOG_FatalError(uint32_t moduleId, uint32_t /*ignored*/, const char* file, const char* function,
                    int32_t line, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    // Oddity: Critical, not Fatal, as callers rely on it not being echoed to standard error.
    // Test: OxaLoggerWrite.FatalErrorIsCriticalAndNotEchoed.
    COMMON_Log_WriteV(COMMON_LogLevelCritical, common::kZone, LOG_GetModuleName(moduleId), file,
                      function, line, format, args);
    va_end(args);
}

void LOG_PrintTime(uint32_t /*ignored*/, const char* zoneName, const char* text,
                   const char* function, const char* file, int32_t line)
{
    // Oddity: callers hand over the function in front of the file, unlike everywhere else.
    // Test: OxaLoggerWrite.PrintTimeTakesTheFunctionBeforeTheFile.
    COMMON_Log_Write(COMMON_LogLevelInfo, common::kZone, zoneName, file, function, line, "%s Time",
                     text);
}

COMMON_LogLevel_t LOG_SetPreFilterLevel(COMMON_LogLevel_t /*level*/)
{
    return COMMON_Log_LevelGet();
}

COMMON_LogLevel_t LOG_GetPreFilterLevel(void)
{
    return COMMON_Log_LevelGet();
}

void* LOG_BufferCreate(void)
{
    return &placeholder_buffer;
}

void* LOG_BufferDestroy(void* buffer)
{
    return buffer;
}

void LOG_BufferFlush(void* /*buffer*/) {}

void LOG_BufferWrite(void* /*buffer*/, ...)
{
    if (COMMON_Log_Acceptable(COMMON_LogLevelVerbose) != 0) {
        // Oddity: the empty format never reads the text, but a handler library can.
        // Test: OxaLoggerWrite.BufferWriteWritesAnEmptyMessageAtVerbose.
        write_unchecked(COMMON_LogLevelVerbose, __func__, __LINE__, "", "Deprecated");
    }
}

}  // extern "C"
