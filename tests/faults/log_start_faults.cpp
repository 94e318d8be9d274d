// Scenarios of the fault sweep: the first call of the log facility, and the first record of a
// thread.
#include <cerrno>
#include <filesystem>

#include "asleep.h"
#include "scenario.h"

using namespace faults;

namespace {

namespace fs = std::filesystem;

const harness::FreshSetup kRows{.env = {{"COMMON_DEBUG_ENABLE", "True"}}};

harness::Report record(const char* message)
{
    return said(COMMON_LogLevelError, "", "file", "function", message);
}

std::vector<Promise> operator+(std::vector<Promise> first, const std::vector<Promise>& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

Promise once_fails()
{
    return on(Call::pthread_once)
        .prints("The once control failed with error: {error}")
        .tells("The once control failed with error: {error}");
}

/// The initialisation. Where no promise is, the process goes on, with what it has.
/// @param own_status which of the files that are opened is that of the process's own record.
/// @param handler_lock which of the locks that are taken is that of the handler.
std::vector<Promise> start(int own_status, int handler_lock)
{
    const char* const kLock = "Failed to lock with retval: {error}";
    const char* const kUnlock = "Failed to unlock with retval: {error}";
    return {once_fails(), on(Call::open).with({EINTR}),
            on(Call::open)
                .nth(own_status)
                .asserts("common_process", "load_calling_process", "STATUS_SUCCESS == status")
                .logs({}),
            on(Call::pthread_mutex_lock)
                .nth(handler_lock)
                .asserts("common_log", "legacySet", "0 == retval")
                .logs({})
                .tells(kLock),
            on(Call::pthread_mutex_unlock)
                .nth(handler_lock)
                .asserts("common_log", "legacySet", "0 == retval")
                .logs({})
                .tells(kUnlock)};
}

/// The first record of a thread.
std::vector<Promise> first_record()
{
    return logging_goes_on() +
           std::vector<Promise>{
               on(Call::malloc)
                   .adds({said(COMMON_LogLevelError, "", "common_log", "handlerLegacy",
                               "Failed to allocate memory for log data")}),
               on(Call::pthread_setspecific)
                   .nth(1)
                   .adds({said(COMMON_LogLevelError, "", "common_log", "handlerLegacy",
                               "Failed to set the thread-specific key with error: {error}")}),
               on(Call::localtime_r).asserts("", "", "((void *)0) != ptm").logs({})};
}

void write_record()
{
    CALL(COMMON_Log_Write, COMMON_LogLevelError, 0, "", "file", "function", 1, "%s", "message");
}

/// Locks of the start: that of the slot comes first, and with rows the local time of two of them.
constexpr int kHandlerLock = 2;
constexpr int kHandlerLockWithRows = 4;

/// The status file of the process is the second one, behind the settings of debug output, and the
/// only one that is there.
std::vector<Promise> start_without_files(int handler_lock)
{
    return start(2, handler_lock) +
           std::vector<Promise>{
               on(Call::fstat)
                   .asserts("common_process", "load_calling_process", "STATUS_SUCCESS == status")
                   .logs({})};
}

SCENARIO(TheFirstRecord, Flag::First, logs({record("message")}), start_without_files(kHandlerLock),
         first_record())
{
    write_record();
    EXPECT_EQ(COMMON_Log_LevelGet(), COMMON_LogLevelInfo);
}

SCENARIO(TheFirstRecordWithRows, kRows, Flag::First, Flag::Rows, Flag::Talks,
         logs({record("message")}), start_without_files(kHandlerLockWithRows),
         on(Call::pthread_key_create)
             .tells("Disabling caching due to failure creating the key with error: {error}"),
         on(Call::close).nth(1).tells("Failed to fclose the file /proc/{pid}/status with error: "),
         first_record())
{
    write_record();
    EXPECT_EQ(COMMON_Log_LevelGet(), COMMON_LogLevelInfo);
}

/// A settings file that cannot be read counts as one that is not there.
SCENARIO(TheFirstLookAtSettings, Flag::First, gives("6"),
         harness::FreshSetup{
             .files = {{"/config/common/debug/settings.txt", "COMMON_DEBUG_ROW_LENGTH=16\n"},
                       {"/tmp/common/log/settings.txt", "COMMON_LOG_LEVEL=Debug\n"}}},
         once_fails().nth(1).gives("5"), start(2, kHandlerLock),
         on({Call::fstat, Call::read}).nth(1),
         on(Call::fstat)
             .nth(2)
             .asserts("common_process", "load_calling_process", "STATUS_SUCCESS == status")
             .logs({}),
         on(Call::stat).nth(2).gives("5"), on(Call::open).nth(3).gives("5"),
         on(Call::fstat).nth(3).gives("5"), on(Call::read).with({EINTR}),
         on(Call::read).nth(4).gives("5"))
{
    CALL(COMMON_Log_LevelGet);
    EXPECT_EQ(COMMON_Log_EnableGet(), 1U);
}

Promise clock_fails()
{
    return on(Call::clock_gettime)
        .adds({said(COMMON_LogLevelFatal, "", "common_system", "COMMON_System_GetTimeByClockId",
                    "Failed to get the CLOCK_REALTIME time with error: {error}")});
}

/// Puts a handler library where it is looked for.
harness::FreshSetup with_library(const char* built)
{
    harness::FreshSetup setup = kRows;
    setup.prepare = [built] {
        fs::copy_file(built, "/oxa/lib/liboxa.so", fs::copy_options::overwrite_existing);
    };
    setup.files = {{"/oxa/lib/ready", ""}};
    return setup;
}

SCENARIO(TheFirstCallWithAHandlerLibrary, with_library(RECORDING_HANDLER), Flag::First, Flag::Rows,
         gives("1"), start_without_files(kHandlerLockWithRows),
         on(Call::dlopen).tells("Failed to load the library with error: forced failure of dlopen"),
         on(Call::dlsym).tells("Failed to find the symbol with error: forced failure of dlsym"),
         on(Call::pthread_key_create)
             .tells("Disabling caching due to failure creating the key with error: {error}"),
         on(Call::localtime_r).asserts("", "", "((void *)0) != ptm").logs({}), clock_fails())
{
    CALL(COMMON_Log_LegacyGet);
}

SCENARIO(TheFirstCallWithAWrongLibrary, with_library(WITHOUT_ENTRY_POINT), Flag::First, Flag::Rows,
         gives("1"), start_without_files(kHandlerLockWithRows),
         on(Call::dlopen).tells("Failed to load the library with error: forced failure of dlopen"),
         on(Call::dlclose).tells("with return value -1 and error: forced failure of dlclose"),
         on(Call::localtime_r).asserts("", "", "((void *)0) != ptm").logs({}), clock_fails())
{
    CALL(COMMON_Log_LegacyGet);
}

void* log_and_end(void* /*argument*/)
{
    COMMON_Log_Write(COMMON_LogLevelError, 0, "", "file", "function", 1, "%s", "message");
    return nullptr;
}

/// Only the thread's own calls fail, also those that give its record back when it ends.
SCENARIO(TheFirstRecordOfAThread, Flag::OwnThreads, logs({record("message")}), first_record())
{
    COMMON_Thread thread;
    COMMON_Thread_Initialize(&thread, log_and_end, nullptr);
    COMMON_Thread_SetDetachState(&thread, COMMON_ThreadDetachDetached);
    harness::fault::count_own_threads();
    EXPECT_EQ(COMMON_Thread_Start(&thread), STATUS_SUCCESS);
    EXPECT_TRUE(harness::wait_until([&] { return COMMON_Thread_GetId(&thread) == 0; }));
}

}  // namespace
