// Runs one hot operation a number of times, for counting its instructions
// (bench/count_instructions).
#include <syslog.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common_log_macros.h"
#include "common_monitor.h"
#include "common_mutex.h"
#include "common_sync.h"
#include "data.h"
#include "hex_peers.h"
#include "hsm_calls.h"
#include "list_light.h"
#include "lock_peers.h"
#include "mem_malloc.h"
#include "memory_peers.h"
#include "oxavar.h"
#include "plain_expression.h"
#include "plain_record.h"
#include "regexp.h"
#include "ring_buffer.h"
#include "two_compares.h"

COMMON_LOG_ZONE("HOT_LOOP");

namespace {

volatile unsigned sink;

void check_level()
{
    sink = COMMON_Log_Acceptable(COMMON_LogLevelVerbose);
}

void macro_rejected()
{
    COMMON_LOG_VERBOSE("%u", sink);
}

void macro_rejected_limited()
{
    COMMON_LOG_PER_SECOND(VERBOSE, 10, "%u", sink);
}

void check_two_compares()
{
    sink = static_cast<unsigned>(two_compares(COMMON_LogLevelVerbose));
}

void record_ours()
{
    COMMON_Log_Write(COMMON_LogLevelInfo, 4095, "MEDIA", "media_scanner.cpp", "scan_folder", 217,
                     MESSAGE_FORMAT, MESSAGE_VALUES);
}

void record_syslog_formatting()
{
    bench::write_plain_record("hot_loop");
}

void zeroed_ours()
{
    MEM_Free(MEM_Salloc(128));
}

void zeroed_plain()
{
    plain_free(plain_zeroed(128));
}

void light_list_ours()
{
    static ListLight list;
    ListLight_PushBack(&list, &list);
    ListLight_PopFront(&list);
}

void light_list_chain()
{
    static plain_list list;
    plain_push(&list, &list);
    plain_pop(&list);
}

/// Built, serialised, read back and released: an integer, a text and an array of four integers.
void variant()
{
    COMMON_OXAVar var{};
    COMMON_OXAVarArrayAllocAt(&var, 3);
    COMMON_OXAVar* const elements = var.value.elements;
    COMMON_OXAVarSetInt(&elements[0], 4711);
    COMMON_OXAVarSetString(&elements[1], "a title");
    COMMON_OXAVarArrayAllocAt(&elements[2], 4);
    for (std::int32_t index = 0; index < 4; ++index) {
        COMMON_OXAVarSetInt(&elements[2].value.elements[index], index);
    }
    char buffer[128];
    sink = COMMON_OXAVarSerialize(buffer, &var, sizeof buffer);
    sink = COMMON_OXAVarDeserialize(buffer, &var);
    COMMON_OXAVarClear(&var);
}

constexpr char kArrayBytes[48] = {'a', 'b', 'c'};

void array_ours()
{
    DATA_ArrayDelete(DATA_ArrayNewWithDataLength(64, kArrayBytes, 48));
}

void array_plain()
{
    plain_array_delete(plain_array_new(64, kArrayBytes, 48));
}

void record_syslog_finished()
{
    static const char* const text = bench::finished_record();
    syslog(LOG_USER | LOG_INFO, "%s", text);
}

constexpr const char* kArtist = "an (artist)/(an album)";
constexpr const char* kName = "/media/music/an artist/an album/01 a title.flac";
constexpr const char* kComposer = "a composer";

void replace_first_ours()
{
    static RegExp* const regexp = RegExp_New(kArtist, 1);
    sink = static_cast<unsigned char>(*RegExp_Replace(regexp, kName, kComposer, 0));
}

void replace_first_by_hand()
{
    static bench::Expression expression(kArtist);
    sink = static_cast<unsigned char>(*expression.replace_first(kName, kComposer));
}

void groups_ours()
{
    static RegExp* const regexp = RegExp_New(kArtist, 1);
    sink = RegExp_MatchSubExp(regexp, kName, 0) != nullptr ? 1 : 0;
}

void groups_by_hand()
{
    static bench::Expression expression(kArtist);
    sink = expression.groups(kName) != nullptr ? 1 : 0;
}

constexpr char kDigits[] = "00112233445566778899AABBccddeeff";

void hex_to_text()
{
    MEM_Free(DATA_HexToAscii(kDigits, 16));
}

void hex_to_text_copied()
{
    give_back(text_copied(kDigits, 16));
}

void hex_from_text()
{
    DATA_ArrayDelete(DATA_AsciiToHex(kDigits));
}

void hex_from_text_copied()
{
    give_back_bytes(bytes_copied(kDigits));
}

void hex_dump()
{
    static char area[1024];
    MEM_Free(DATA_HexDump(area, sizeof area));
}

// Locks that are set up when they are first used.

void mutex_ours()
{
    static COMMON_Mutex* const mutex = [] {
        COMMON_Mutex* const made = COMMON_Mutex_New();
        COMMON_Mutex_Commit(made);
        return made;
    }();
    COMMON_Mutex_Lock(mutex);
    COMMON_Mutex_Unlock(mutex);
}

void mutex_bare()
{
    static pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    bare_lock(&mutex);
    bare_unlock(&mutex);
}

void notify_ours()
{
    static COMMON_Monitor* const monitor = COMMON_Monitor_New();
    COMMON_Monitor_Notify(monitor);
}

void notify_bare()
{
    static pthread_cond_t condition = PTHREAD_COND_INITIALIZER;
    bare_notify(&condition);
}

/// A sync object or its peer.
template <typename Sync, auto init>
Sync& made()
{
    static Sync sync;
    [[maybe_unused]] static const bool is_made = [] {
        init(&sync);
        return true;
    }();
    return sync;
}

void init_sync(COMMON_sync* sync)
{
    COMMON_sync_init(sync, 0);
}

void init_locked_sync(COMMON_sync* sync)
{
    COMMON_sync_init(sync, 0);
    COMMON_sync_lock(sync);
}

void init_locked_semaphores(two_semaphores* sync)
{
    two_semaphores_init(sync);
    sem_wait(&sync->lock);
}

void sync_ours()
{
    auto& sync = made<COMMON_sync, init_sync>();
    COMMON_sync_lock(&sync);
    COMMON_sync_unlock(&sync);
}

void sync_by_hand()
{
    auto& lock = made<owned_semaphore, by_hand_init>();
    by_hand_lock(&lock);
    by_hand_unlock(&lock);
}

void signal_ours()
{
    auto& sync = made<COMMON_sync, init_locked_sync>();
    COMMON_sync_signal(&sync);
    COMMON_sync_wait(&sync);
}

void signal_by_hand()
{
    auto& sync = made<two_semaphores, init_locked_semaphores>();
    two_semaphores_signal(&sync);
    two_semaphores_wait(&sync);
}

constexpr std::uint32_t kChunk = 256;
std::uint8_t chunk_in[kChunk];
std::uint8_t chunk_out[kChunk];
std::uint8_t storage[3 * kChunk + kChunk / 2];

void init_ring(RingBuf* ring)
{
    ringBufInit(ring, storage, sizeof storage);
}

void ring_ours()
{
    auto& ring = made<RingBuf, init_ring>();
    sink = ringWriteData(&ring, chunk_in, kChunk);
    sink = ringReadData(&ring, chunk_out, kChunk);
}

void ring_memcpy()
{
    static std::uint32_t position = 0;
    static volatile std::uint32_t chunk = kChunk;
    std::memcpy(storage + position, chunk_in, chunk);
    std::memcpy(chunk_out, storage + position, chunk);
    position = position + 2 * kChunk > sizeof storage ? 0 : position + kChunk;
}

template <typename Machine, auto load>
void dispatch()
{
    static Machine machine;
    (machine.*load)();
}

#define DISPATCHES(name, Machine)                                \
    {name "_internal", dispatch<Machine, &Machine::internal>},   \
        {name "_bubble", dispatch<Machine, &Machine::bubble>},   \
        {name "_sibling", dispatch<Machine, &Machine::sibling>}, \
    {                                                            \
        name "_deep", dispatch<Machine, &Machine::deep>          \
    }

struct Operation {
    const char* name;
    void (*run)();
};

constexpr Operation kOperations[] = {
    {"check_level", check_level},
    {"macro_rejected", macro_rejected},
    {"macro_rejected_limited", macro_rejected_limited},
    {"check_two_compares", check_two_compares},
    {"record_ours", record_ours},
    {"record_syslog_formatting", record_syslog_formatting},
    {"zeroed_ours", zeroed_ours},
    {"zeroed_plain", zeroed_plain},
    {"light_list_ours", light_list_ours},
    {"light_list_chain", light_list_chain},
    {"array_ours", array_ours},
    {"array_plain", array_plain},
    {"variant", variant},
    {"record_syslog_finished", record_syslog_finished},
    {"replace_first_ours", replace_first_ours},
    {"replace_first_by_hand", replace_first_by_hand},
    {"groups_ours", groups_ours},
    {"groups_by_hand", groups_by_hand},
    {"hex_to_text", hex_to_text},
    {"hex_to_text_copied", hex_to_text_copied},
    {"hex_from_text", hex_from_text},
    {"hex_from_text_copied", hex_from_text_copied},
    {"hex_dump", hex_dump},
    {"mutex_ours", mutex_ours},
    {"mutex_bare", mutex_bare},
    {"notify_ours", notify_ours},
    {"notify_bare", notify_bare},
    {"sync_ours", sync_ours},
    {"sync_by_hand", sync_by_hand},
    {"signal_ours", signal_ours},
    {"signal_by_hand", signal_by_hand},
    {"ring_ours", ring_ours},
    {"ring_memcpy", ring_memcpy},
    DISPATCHES("hsm", bench::HsmMachine),
    DISPATCHES("hsm_by_hand", bench::HsmByHand),
    DISPATCHES("ls_hsm", bench::LsMachine),
    DISPATCHES("ls_hsm_by_hand", bench::LsByHand),
};

}  // namespace

int main(int argc, char** argv)
{
    if (argc == 1) {
        for (const Operation& operation : kOperations) {
            std::puts(operation.name);
        }
        return 0;
    }
    for (const Operation& operation : kOperations) {
        if (argc == 3 && std::strcmp(argv[1], operation.name) == 0) {
            openlog(nullptr, LOG_NDELAY, LOG_USER);
            for (long count = std::strtol(argv[2], nullptr, 10); count > 0; --count) {
                operation.run();
            }
            return 0;
        }
    }
    std::fputs("usage: hot_loop [OPERATION COUNT]\n", stderr);
    return 2;
}
