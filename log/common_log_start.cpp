// The log facility's once-initialisation and the choice of its handler.
#include <dlfcn.h>
#include <sys/stat.h>
#include <syslog.h>

#include <cstdio>
#include <cstring>

#include "foundation/boolean_text.h"
#include "foundation/initialisation.h"
#include "foundation/settings_text.h"
#include "log/logger.h"
#include "log/process_locks.h"
#include "log/report.h"
#include "log/settings_list.h"
#include "platform/assertion.h"

namespace common::log {
namespace {

constexpr char kHandlerLibrary[] = "/oxa/lib/liboxa.so";
constexpr char kHandlerSymbol[] = "COMMON_Log_writev";

constinit bool once_called = false;

/// Rows of the initialisation show its function, whichever part of it writes them.
#define START_ROW(stream, ...) COMMON_ROW_AS("threadOnce", kSource, stream, __VA_ARGS__)

const char* dl_error_text() noexcept
{
    const char* const text = dlerror();
    return text == nullptr ? "" : text;
}

/// dlopen() waits while another thread loads anything, and a constructor that runs there and logs
/// waits for this initialisation. So it is called only where there is something to load, or to
/// tell.
bool is_handler_library_wanted() noexcept
{
    struct stat status;
    return COMMON_Debug_GetEnable() == 1 || stat(kHandlerLibrary, &status) == 0;
}

void load_handler_library() noexcept
{
    if (!is_handler_library_wanted()) {
        return;
    }
    logger.handlerLibrary = dlopen(kHandlerLibrary, RTLD_NOW | RTLD_GLOBAL);
    if (logger.handlerLibrary == nullptr) {
        START_ROW(stderr, "Failed to load the library with error: %s", dl_error_text());
        return;
    }
    dlerror();
    logger.handlerDynamic =
        reinterpret_cast<COMMON_LogHandler_t>(dlsym(logger.handlerLibrary, kHandlerSymbol));
    if (const char* const error = dlerror(); error != nullptr) {
        START_ROW(stderr, "Failed to find the symbol with error: %s", error);
        if (const int result = dlclose(logger.handlerLibrary); result != 0) {
            START_ROW(
                stderr, "Failed to unload 0x%08X with return value %d and error: %s",
                static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(logger.handlerLibrary)),
                result, dl_error_text());
        }
        logger.handlerLibrary = nullptr;
        logger.handlerDynamic = nullptr;
        return;
    }
}

void write_settings() noexcept
{
#define SWITCH_ROW(line, field) START_ROW(stdout, line, boolean_text(logger.field.load()));
    COMMON_LOG_SWITCHES(SWITCH_ROW)
#undef SWITCH_ROW
    const COMMON_LogPeakloadControl_t control = logger.peakloadControl.load();
    START_ROW(stdout, "peakload: %s (%d) //GranularityPeakloadProcessing:%d",
              COMMON_LogPeakloadControl_ToString(control), static_cast<int>(control),
              logger.granularityPeakloadProcessing.load());
    const COMMON_LogLevel_t level = logger.level.load();
    const COMMON_LogLevel_t off = logger.levelAtPeakloadOff.load();
    const COMMON_LogLevel_t on = logger.levelAtPeakloadOn.load();
    START_ROW(stdout, "level:    %s (%d) //AtPeakloadOff:{%d:%s} //AtPeakloadOn:{%d:%s}",
              COMMON_LogLevel_ToString(level), static_cast<int>(level), static_cast<int>(off),
              COMMON_LogLevel_ToString(off), static_cast<int>(on), COMMON_LogLevel_ToString(on));
    START_ROW(stdout, "Initialized");
}

void install_builtin_handler() noexcept
{
    if (!is_lost(ProcessLock::SystemLog)) {
        openlog(nullptr, LOG_NDELAY, LOG_USER);
    }
    logger.legacy.store(1);
    logger.handler.store(handlerLegacy, std::memory_order_release);
}

/// Ends the process when a lock could not be taken or released.
void must_succeed(int retval, const char* what, Here here = Here::now()) noexcept
{
    if (retval != 0) {
        COMMON_Debug_Write(stderr, kSource.name, here.function, here.line,
                           "Failed to %s with retval: %s (%d)", what, std::strerror(retval),
                           retval);
        assertion_failed("0 == retval", kSource.name, static_cast<unsigned>(here.line),
                         here.function);
    }
}

}  // namespace

int legacySet(std::uint32_t value) noexcept
{
    const UncancelledScope uncancelled;
    // A row may report a failing clock: that must not read the settings files, which may want the
    // lock as well.
    const StateScope no_rereading(thread_state.rereading, true);
    must_succeed(take(ProcessLock::Handler), "lock");
    if (value != 0) {
        install_builtin_handler();
    } else if (logger.handlerLibrary != nullptr) {
        COMMON_ROW(kSource, stderr, "The handler was set to liboxa.so");
        if (logger.handlerDynamic != nullptr) {
            logger.handler.store(logger.handlerDynamic, std::memory_order_release);
            logger.legacy.store(0);
        } else {
            install_builtin_handler();
        }
    } else {
        COMMON_ROW(kSource, stderr, "liboxa.so library was not loaded");
        install_builtin_handler();
    }
    const int retval = release(ProcessLock::Handler);
    must_succeed(retval, "unlock");
    return retval;
}

void threadOnce() noexcept
{
    // A child forked while another thread was in here runs it again: it goes on with the settings
    // as they were.
    if (once_called) {
        COMMON_ROW(kSource, stderr, "The once handler was already called");
        initialised.store(true);
        publish_gate();
        return;
    }
    once_called = true;
    const InitScope scope(InitRank::Log);
    COMMON_ROW(kSource, stdout, "Initializing");
    load_handler_library();
    if (logger.handlerLibrary != nullptr) {
        COMMON_ASSERT(kSource, logger.handlerDynamic != nullptr, "0 != logger.handlerDynamic");
        COMMON_ROW(kSource, stdout, "Loaded: %s", kHandlerLibrary);
    }
    COMMON_Process_Get(&logger.process);
    logger.captured.store(true, std::memory_order_release);
    common_log_process_settings_files(true);
    read_environment([](const char* variable) { parseVariable(variable, true); });
    logger.debug.store(COMMON_Debug_GetEnable());
    if (logger.cache.load() == 1 && !make_slot()) {
        logger.cache.store(0);
    }
    legacySet(logger.legacy.load());
    write_settings();
    initialised.store(true);
    publish_gate();
}

}  // namespace common::log
