// Says what is the same on 32 and 64 bits, and what is not; its output is the same on both.
#include <inttypes.h>
#include <stdio.h>
#include <time.h>

#include <common/common_log_macros.h>
#include <common/data.h>
#include <common/hsm.h>
#include <common/mem_malloc.h>
#include <common/oxa_shims.h>
#include <common/oxavar.h>

COMMON_LOG_ZONE("PORTING");

// What a program relies on, it asks for where it is compiled.
_Static_assert(sizeof(time_t) == 8, "compile with -D_TIME_BITS=64 -D_FILE_OFFSET_BITS=64");
_Static_assert(sizeof(COMMON_OXAVar) == 8 + sizeof(void*), "two 32-bit words and a pointer");
_Static_assert(sizeof(HsmEvent) == sizeof(void*), "an event holds the address of a message");
_Static_assert(sizeof(STATUS) == 4 && sizeof(COMMON_LogLevel_t) == 4, "codes have 32 bits");

int main(void)
{
    // Fixed widths: "%u" and "%d" for 32 bits, the macros of inttypes.h for 64.
    const uint32_t interval_ms = 250;
    const uint64_t elapsed_ns = UINT64_C(5000000001);
    printf("%u ms, %" PRIu64 " ns\n", interval_ms, elapsed_ns);
    // "%zu" for what sizeof gives, PRIuPTR for words as wide as a pointer.
    printf("a status has %zu bytes\n", sizeof(STATUS));
    const HsmEvent event = 42;
    printf("event %" PRIuPTR "\n", event);
    COMMON_LOG_INFO("it took %" PRIu64 " ns", elapsed_ns);

    // A timespec goes to the library as it was built: with 64-bit times.
    struct timespec time;
    OXA_nsec2timespec(&time, elapsed_ns);
    printf("%jd s and %ld ns\n", (intmax_t)time.tv_sec, time.tv_nsec);

    // The flat form of a variant has the same bytes, the record itself has not the same size.
    COMMON_OXAVar value = {0};
    uint8_t bytes[16];
    COMMON_OXAVarSetInt(&value, 1000);
    const uint32_t size = COMMON_OXAVarSerialize(bytes, &value, sizeof bytes);
    char* const text = DATA_HexDump(bytes, size);
    printf("%s\n", text);
    MEM_Free(text);

    // An event has room for an address, also of 64 bits; an int has not.
    const HsmEvent message = (HsmEvent)&value;
    printf("the address fits: %s\n", message == (uintptr_t)&value ? "yes" : "no");
    return 0;
}
