// Scenarios of the fault sweep: records and settings of the log, module names, debug output.
#include <cerrno>
#include <cstdarg>
#include <filesystem>
#include <fstream>

#include "ends.h"
#include "scenario.h"

using namespace faults;

namespace {

namespace fs = std::filesystem;

harness::Report record(const std::string& message, const std::string& zone = "",
                       COMMON_LogLevel_t level = COMMON_LogLevelError)
{
    return said(level, zone, "file", "function", message);
}

SCENARIO(COMMON_Log_Write, logs({record("message 7")}), logging_goes_on())
{
    CALL(COMMON_Log_Write, COMMON_LogLevelError, 0, "", "file", "function", 1, "message %d", 7);
}

constexpr char kFormat[] = "message %d";

void write_v(int count, ...)
{
    va_list args;
    va_start(args, count);
    CALL(COMMON_Log_WriteV, COMMON_LogLevelError, 0, "", "file", "function", 1, kFormat, args);
    va_end(args);
}

SCENARIO(COMMON_Log_WriteV, logs({record("message 7")}), logging_goes_on())
{
    write_v(1, 7);
}

/// Longer than the thread's own record has room for: without memory it is cut.
SCENARIO(RecordIsLong, logs({record("message", std::string(3000, 'z'))}), logging_goes_on(),
         on(Call::malloc).logs({record("message", std::string(120, 'z'))}))
{
    const std::string zone(3000, 'z');
    CALL(COMMON_Log_Write, COMMON_LogLevelError, 0, zone.c_str(), "file", "function", 1, "message");
}

SCENARIO(COMMON_LogDumpLoggerStatus, Flag::Talks, logging_goes_on())
{
    CALL(COMMON_LogDumpLoggerStatus, "zone");
}

/// With the level of a file that has changed. What cannot be looked at or read does not count.
SCENARIO(ChangedSettingsAreRead, gives("1"), on(Call::clock_gettime).gives("0"),
         on(Call::stat).nth(2).gives("0"), on(Call::open).with({EINTR}),
         on({Call::open, Call::fstat}).gives("0"), on(Call::read).with({EINTR}),
         on(Call::read).nth(1).gives("0"))
{
    const fs::path folder = "/tmp/common/log";
    fs::create_directories(folder);
    std::ofstream(folder / "settings.txt") << "COMMON_LOG_LEVEL_PEAKLOAD=Debug\n";
    COMMON_Log_LevelSetExtended(COMMON_LogLevelInfo, COMMON_LogPeakloadControlOn);
    COMMON_Log_PeakloadControlSet(COMMON_LogPeakloadControlOn);
    CALL(COMMON_Log_Acceptable, COMMON_LogLevelDebug);
    COMMON_Log_PeakloadControlSet(COMMON_LogPeakloadControlNone);
    fs::remove_all(folder);
}

SCENARIO(COMMON_Log_LegacySet, gives("0"),
         on({Call::pthread_mutex_lock, Call::pthread_mutex_unlock})
             .asserts("common_log", "legacySet", "0 == retval")
             .logs({}))
{
    CALL(COMMON_Log_LegacySet, 1);
    EXPECT_EQ(COMMON_Log_LegacyGet(), 1U);
}

/// Without a slot there is no cache.
SCENARIO(COMMON_Log_CacheSet, harness::FreshSetup{.env = {{"COMMON_LOG_CACHE", "False"}}},
         Flag::KeepsBlocks, gives("1"), on(Call::pthread_key_create).gives("0"))
{
    CALL(COMMON_Log_CacheSet, 1);
    note_result(shown(COMMON_Log_CacheGet()));
    COMMON_Log_CacheSet(1);
    EXPECT_EQ(COMMON_Log_CacheGet(), 1U);
}

SCENARIO(LogSettingsAreStored)
{
    CALL(COMMON_Log_ColorSet, 1);
    EXPECT_EQ(CALL(COMMON_Log_ColorGet), 1U);
    CALL(COMMON_Log_FormatSet, COMMON_LogFormatAll);
    EXPECT_EQ(CALL(COMMON_Log_FormatGet), COMMON_LogFormatAll);
    CALL(COMMON_Log_FormatSet, COMMON_LogFormatSyslogngext);
    CALL(COMMON_Log_StripSet, 0);
    EXPECT_EQ(CALL(COMMON_Log_StripGet), 0U);
    CALL(COMMON_Log_LevelSet, COMMON_LogLevelDebug);
    EXPECT_EQ(CALL(COMMON_Log_LevelGet), COMMON_LogLevelDebug);
    EXPECT_EQ(CALL(COMMON_Log_LevelSetExtended, COMMON_LogLevelNote, COMMON_LogPeakloadControlNone),
              STATUS_SUCCESS);
    EXPECT_EQ(CALL(COMMON_Log_LevelGetExtended, COMMON_LogPeakloadControlNone),
              COMMON_LogLevelNote);
    EXPECT_EQ(CALL(COMMON_Log_Acceptable, COMMON_LogLevelNote), 1U);
    CALL(COMMON_Log_PeakloadControlSet, COMMON_LogPeakloadControlNone);
    EXPECT_EQ(CALL(COMMON_Log_PeakloadControlGet), COMMON_LogPeakloadControlNone);
    EXPECT_EQ(CALL(COMMON_Log_CacheGet), 1U);
    EXPECT_EQ(CALL(COMMON_Log_LegacyGet), 1U);
    CALL(COMMON_Log_EnableSet, 1);
    EXPECT_EQ(CALL(COMMON_Log_EnableGet), 1U);
    EXPECT_STREQ(CALL(COMMON_LogLevel_ToString, COMMON_LogLevelNote), "Note");
    EXPECT_STREQ(CALL(COMMON_LogPeakloadControl_ToString, COMMON_LogPeakloadControlOn), "On");
}

SCENARIO(LOG_Write, gives("1"), logs({record("message 7", "TIMER")}), logging_goes_on())
{
    CALL(LOG_Write, LOG_MODULE_TIMER, COMMON_LogLevelError, "file", "function", 1, "message %d", 7);
}

SCENARIO(LOG_FatalError, logs({record("message 7", "TIMER", COMMON_LogLevelCritical)}),
         logging_goes_on())
{
    CALL(LOG_FatalError, LOG_MODULE_TIMER, 0, "file", "function", 1, "message %d", 7);
}

SCENARIO(LOG_PrintTime, logs({record("Start Time", "zone", COMMON_LogLevelInfo)}),
         logging_goes_on())
{
    CALL(LOG_PrintTime, 0, "zone", "Start", "function", "file", 1);
}

SCENARIO(LOG_BufferWrite,
         logs({said(COMMON_LogLevelVerbose, "", "oxa_logger", "LOG_BufferWrite", "")}),
         logging_goes_on())
{
    COMMON_Log_LevelSet(COMMON_LogLevelVerbose);
    CALL(LOG_BufferWrite, nullptr);
}

/// A name is kept for good.
SCENARIO(LOG_ModuleIdStore, Flag::KeepsBlocks, gives(shown(STATUS_SUCCESS)),
         on(Call::strdup).gives(shown(STATUS_FAILED)))
{
    std::uint32_t id = 0;
    CALL(LOG_ModuleIdStore, "new", &id, 1);
    EXPECT_EQ(LOG_GetNumModules(), failed() ? 219U : 220U);
    EXPECT_EQ(LOG_ModuleIdStore("new", &id, 1), STATUS_SUCCESS);
    EXPECT_STREQ(LOG_GetModuleName(id), "new");
}

const harness::FreshSetup kConfigured{.files = {{"/oxa/slog/oxa_logger.cfg", "one\ntwo\n"}}};

/// Of a file that cannot be read on, the names so far are kept. It is not tried again.
SCENARIO(LOG_ModuleIdReadConfig, kConfigured, Flag::KeepsBlocks, gives(shown(STATUS_SUCCESS)),
         on(Call::open).with({EINTR}), on({Call::open, Call::fstat}).gives(shown(STATUS_NOT_FOUND)),
         on(Call::strdup).gives(shown(STATUS_NO_RESOURCES)))
{
    CALL(LOG_ModuleIdReadConfig);
    EXPECT_EQ(LOG_ModuleIdReadConfig(), STATUS_COMPLETE);
    const std::uint32_t assigned = LOG_ModuleIdAssignDynamic("two");
    EXPECT_EQ(assigned, LOG_GetNumModules() - 1);
}

SCENARIO(LOG_ModuleIdAssignDynamic, kConfigured, Flag::KeepsBlocks, gives("221"),
         on(Call::open).with({EINTR}), on({Call::open, Call::fstat}).gives("219"),
         on(Call::read).with({EINTR}), on(Call::read).nth(1).gives("219"),
         on(Call::strdup).nth(1).gives("219"), on(Call::strdup).nth(2).gives("220"),
         on(Call::strdup).nth(3).gives("0"))
{
    CALL(LOG_ModuleIdAssignDynamic, "three");
    const std::uint32_t assigned = LOG_ModuleIdAssignDynamic("three");
    EXPECT_EQ(assigned, LOG_GetNumModules() - 1);
}

SCENARIO(ModulesAreLookedAt)
{
    EXPECT_EQ(CALL(LOG_GetNumModules), 219U);
    EXPECT_EQ(CALL(LOG_IsModuleIdValid, 218), 1U);
    EXPECT_STREQ(CALL(LOG_GetModuleName, LOG_MODULE_TIMER), "TIMER");
    EXPECT_EQ(CALL(LOG_SetPreFilterLevel, COMMON_LogLevelFatal), COMMON_LogLevelInfo);
    EXPECT_EQ(CALL(LOG_GetPreFilterLevel), COMMON_LogLevelInfo);
    void* const buffer = CALL(LOG_BufferCreate);
    CALL(LOG_BufferFlush, buffer);
    EXPECT_EQ(CALL(LOG_BufferDestroy, buffer), buffer);
}

// Debug output.

const harness::FreshSetup kRows{.env = {{"COMMON_DEBUG_ENABLE", "True"}}};

/// The first call takes the settings in, from a file that counts as missing when it cannot be read.
SCENARIO(COMMON_Debug_GetEnable, Flag::First, gives("1"),
         harness::FreshSetup{
             .files = {{"/config/common/debug/settings.txt", "COMMON_DEBUG_ENABLE=True\n"}}},
         Flag::Rows, on(Call::open).with({EINTR}),
         on(Call::pthread_once).gives("0").tells("The once control failed with error: {error}"),
         on({Call::open, Call::fstat}).gives("0"), on(Call::read).with({EINTR}),
         on(Call::read).nth(1).gives("0"),
         on(Call::close)
             .tells("Failed to close the global log file "
                    "\"/config/common/debug/settings.txt\" with error: "))
{
    CALL(COMMON_Debug_GetEnable);
    COMMON_Debug_Write(stdout, "file", "function", 1, "afterwards");
}

/// What happens when a row cannot be written: without local time the process ends, and what the
/// stream refuses is missing.
std::vector<Promise> rows_go_on()
{
    return {
        on(Call::localtime_r).asserts("common_debug", "debugWriteV", "((void *)0) != ptm").logs({}),
        on(Call::pthread_once).tells("The once control failed with error: {error}"),
        on(Call::clock_gettime)
            .adds({said(COMMON_LogLevelFatal, "", "common_system", "COMMON_System_GetTimeByClockId",
                        "Failed to get the CLOCK_REALTIME time with error: {error}")})};
}

SCENARIO(COMMON_Debug_Write, kRows, Flag::Rows, rows_go_on())
{
    CALL(COMMON_Debug_Write, stdout, "file", "function", 1, "message %d", 7);
    COMMON_Debug_Write(stdout, "file", "function", 1, "afterwards");
}

void debug_write_v(int count, ...)
{
    va_list args;
    va_start(args, count);
    CALL(COMMON_Debug_WriteV, stdout, "file", "function", 1, kFormat, args);
    va_end(args);
}

SCENARIO(COMMON_Debug_WriteV, kRows, Flag::Rows, rows_go_on())
{
    debug_write_v(1, 7);
}

SCENARIO(COMMON_Debug_HexDump, kRows, Flag::Rows, rows_go_on(), out_of_memory_ends())
{
    CALL(COMMON_Debug_HexDump, "file", "function", 1, "variable", "bytes", 6);
}

/// It ends with 1 also when the command cannot be run, of which the shell would tell.
SCENARIO(COMMON_Debug_Panic, Flag::Rows, gives("1"))
{
    note_result(shown(exit_status_of([] { CALL(COMMON_Debug_Panic); })));
}

}  // namespace
