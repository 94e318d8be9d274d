// Changes the level of its records while it runs, as an operator would do from another terminal.
#define _POSIX_C_SOURCE 200809L  // for setenv(), also with -std=c11
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <common/common.h>
#include <common/common_log_macros.h>
#include <common/common_log_settings.h>
#include <common/oxa_file.h>

COMMON_LOG_ZONE("TUNER");

static char settings[64];

/** The operator: echo COMMON_LOG_LEVEL=Debug >/tmp/common/log/settings_<pid>.txt */
static void change_settings(const char* line)
{
    snprintf(settings, sizeof settings, "/tmp/common/log/settings_%ld.txt", (long)getpid());
    UTIL_CreateFolderRecursive("/tmp/common/log", 0777);
    const int32_t length = (int32_t)strlen(line);
    if (FILE_OpenAndWrite(line, 1, length, settings) != length) {
        exit(1);  // why has been logged
    }
}

static void show(const char* when)
{
    printf("%-24s %s\n", when, COMMON_LogLevel_ToString(COMMON_Log_LevelGet()));
    COMMON_LOG_NOTE("note: %s", when);
    COMMON_LOG_DEBUG("debug: %s", when);
}

int main(void)
{
    // The same as "COMMON_LOG_LEVEL=Warn ./levels": the environment is read at the first use.
    setenv("COMMON_LOG_LEVEL", "Warn", 1);
    show("environment");

    change_settings("COMMON_LOG_LEVEL=Debug\n");
    show("nobody looks");

    // From now on each call looks for changed files, once a second at most. None has looked yet,
    // so the next one does.
    COMMON_Log_PeakloadControlSet(COMMON_LogPeakloadControlOff);
    show("peakload control Off");

    // A second level, for the time in which there is too much to do, and the change to it.
    COMMON_Log_LevelSetExtended(COMMON_LogLevelError, COMMON_LogPeakloadControlOn);
    show("prepared");
    COMMON_Log_PeakloadControlSet(COMMON_LogPeakloadControlOn);
    show("peakload control On");
    COMMON_Log_PeakloadControlSet(COMMON_LogPeakloadControlOff);
    show("back to Off");

    UTIL_DeleteFile(settings);
    return 0;
}
