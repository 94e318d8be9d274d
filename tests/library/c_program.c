/* A program in C that uses a function and an object of each header. */
#include <stdio.h>
#include <string.h>

#include <common/common_library.h>

static void* set_flag(void* flag)
{
    *(int*)flag = 1;
    return NULL;
}

static int use_locks(void)
{
    COMMON_Mutex mutex;
    COMMON_Monitor monitor;
    COMMON_sync sync;
    int failed;

    COMMON_Mutex_Initialize(&mutex);
    COMMON_Mutex_Commit(&mutex);
    COMMON_Mutex_Lock(&mutex);
    COMMON_Mutex_Unlock(&mutex);
    COMMON_Mutex_Destroy(&mutex);
    COMMON_Monitor_Initialize(&monitor, NULL);
    COMMON_Monitor_Lock(&monitor);
    failed = COMMON_Monitor_WaitTimed(&monitor, 0) != 1;
    COMMON_Monitor_Unlock(&monitor);
    COMMON_Monitor_Destroy(&monitor);
    return failed || COMMON_sync_init(&sync, 0) != 0 || COMMON_sync_lock(&sync) != 0 ||
           COMMON_sync_unlock(&sync) != 0 || COMMON_sync_destroy(&sync) != 0;
}

static int use_queues(void)
{
    char storage[8], text[8] = "";
    RingBuf ring;
    BlockQ queue;
    COMMON_BlockQEx queue_ex;

    ringBufInit(&ring, storage, sizeof storage);
    if (ringWriteData(&ring, "ab", 2) != 2 || ringReadData(&ring, text, 8) != 2 ||
        BlockQ_Init(&queue, storage, sizeof storage) != 0 || BlockQ_Add(&queue, "cd", 2) != 2 ||
        BlockQ_Remove(&queue, text + 2, 6) != 2 || BlockQ_Destroy(&queue) != 0 ||
        COMMON_BlockQEx_Init(&queue_ex, storage, sizeof storage) != 0 ||
        COMMON_BlockQEx_Add(&queue_ex, "ef", 2) != 2 ||
        COMMON_BlockQEx_Remove(&queue_ex, text + 4, 4) != 2 ||
        COMMON_BlockQEx_Destroy(&queue_ex) != 0) {
        return 1;
    }
    return strcmp(text, "abcdef");
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
    if (OXA_procmgr_daemon(0, 0U) != 1 || OXA_mmap_device_io(sizeof flag, UINT64_C(1)) != 0) {
        return 6;
    }
    if (COMMON_Log_LevelGet() != COMMON_LogLevelInfo) {
        return 5;
    }
    if (use_locks() != 0 || use_queues() != 0) {
        return 6;
    }
    COMMON_Log_Write(COMMON_LogLevelWarn, 4095, LOG_GetModuleName(LOG_MODULE_COMMON), "c_program",
                     "main", 7, "%s, %s", copy, DATA_BoolToString(1));
    MEM_Free(copy);
    printf("%s%s\n", COMMON_LogLevel_stringWarn, COMMON_Log_zoneDefault);
    return 0;
}
