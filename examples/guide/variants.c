// Sends a value to another process, and reads values from bytes that may be anything.
#include <stdio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <common/common_log_macros.h>
#include <common/mem_malloc.h>
#include <common/oxavar.h>

COMMON_LOG_ZONE("STATIONS");

/** The sender's side: {"Radio 1", 98.5, {1, 2}} in its flat form. */
static ssize_t send_station(int pipe_end)
{
    COMMON_OXAVar station = {0};
    COMMON_OXAVarArrayAllocAt(&station, 3);
    COMMON_OXAVar* const fields = station.value.elements;
    COMMON_OXAVarSetString(&fields[0], "Radio 1");
    COMMON_OXAVarSetFloat(&fields[1], 98.5F);
    COMMON_OXAVarArrayAllocAt(&fields[2], 2);
    COMMON_OXAVarSetInt(&fields[2].value.elements[0], 1);
    COMMON_OXAVarSetInt(&fields[2].value.elements[1], 2);

    uint8_t bytes[256];
    const uint32_t size = COMMON_OXAVarSerialize(bytes, &station, sizeof bytes);
    COMMON_OXAVarClear(&station);  // and all that it owns
    return size == 0 ? -1 : write(pipe_end, bytes, size);
}

/** The receiver's side: trusts neither the number of bytes nor what is in them. */
static void receive(const void* bytes, uint32_t size)
{
    COMMON_OXAVar value = {0};
    const STATUS status = COMMON_OXAVarDeserializeBounded(bytes, size, &value, NULL);
    if (status != STATUS_SUCCESS) {
        COMMON_LOG_WARN("%u bytes are no value: %s", size, StatusToStr(status));
        printf("refused: %s\n", StatusToStr(status));
        return;
    }
    char* const text = COMMON_OXAVarToString(&value);
    printf("received %s\n", text);
    MEM_Free(text);
    COMMON_OXAVarClear(&value);
}

int main(void)
{
    int ends[2];
    if (pipe(ends) != 0) {
        return 1;
    }
    const pid_t sender = fork();
    if (sender == 0) {
        _exit(send_station(ends[1]) > 0 ? 0 : 1);
    }
    close(ends[1]);
    uint8_t bytes[256];
    uint32_t size = 0;
    for (ssize_t got = 0; (got = read(ends[0], bytes + size, sizeof bytes - size)) > 0;) {
        size += (uint32_t)got;
    }
    waitpid(sender, NULL, 0);

    receive(bytes, size);
    receive(bytes, size / 2);                                      // cut short
    receive((uint32_t[]){OXAVAR_TYPE_ARRAY, 1000000000}, 8);       // elements that are not there
    receive((uint32_t[]){OXAVAR_TYPE_STRING, UINT32_MAX, 0}, 12);  // nor is this text
    uint32_t nested[2 * (OXAVAR_DEPTH_MAX + 1)];
    for (size_t i = 0; i <= OXAVAR_DEPTH_MAX; ++i) {
        nested[2 * i] = OXAVAR_TYPE_ARRAY;
        nested[2 * i + 1] = 1;
    }
    receive(nested, sizeof nested);
    return 0;
}
