/* A program in C that uses a function and an object of each header. */
#include <stdio.h>
#include <string.h>

#include "common_library.h"

static void* set_flag(void* flag)
{
    *(int*)flag = 1;
    return NULL;
}

int main(void)
{
    COMMON_Process process = COMMON_Process_NULL;
    COMMON_Thread thread;
    int flag = 0;
    char name[64] = "";
    char* copy = MEM_StrDup(StatusToStr(STATUS_TIMEOUT));

    COMMON_Process_Get(&process);
    if (COMMON_Thread_Initialize(&thread, set_flag, &flag) != STATUS_SUCCESS ||
        thread.entry(thread.argument) != NULL || flag != 1) {
        return 2;
    }
    if (UTIL_GetProcessName(process.id, name, sizeof name) != 1 ||
        strcmp(name, process.name) != 0) {
        return 3;
    }
    if (COMMON_System_Time() == 0 || COMMON_Debug_GetEnable() != 0) {
        return 4;
    }
    if (COMMON_Log_LevelGet() != COMMON_LogLevelInfo) {
        return 5;
    }
    COMMON_Log_Write(COMMON_LogLevelWarn, 4095, LOG_GetModuleName(LOG_MODULE_COMMON), "c_program",
                     "main", 7, "%s, %s", copy, DATA_BoolToString(1));
    MEM_Free(copy);
    printf("%s%s\n", COMMON_LogLevel_stringWarn, COMMON_Log_zoneDefault);
    return 0;
}
