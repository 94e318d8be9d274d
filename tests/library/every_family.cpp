#include "every_family.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include "common_library.h"
#include "wait_until.h"

namespace harness {
namespace {

constexpr COMMON_LogLevel_t kCritical = COMMON_LogLevelCritical;

/// What numbers are told by as words.
std::array<char, 1000> places;

void* word(std::size_t number)
{
    return &places.at(number);
}

std::string path_of(unsigned user, const char* name)
{
    return "/tmp/" + std::to_string(getpid()) + "." + std::to_string(user) + "." + name;
}

// Log, debug output, settings, module names.

void use_log(unsigned user)
{
    EXPECT_EQ(COMMON_Log_Acceptable(kCritical), 1U);
    COMMON_Log_Write(kCritical, 0, "SOAK", "every_family.cpp", __func__, 1, "user %u", user);
    COMMON_Log_LevelSet(user % 2 == 0 ? COMMON_LogLevelError : COMMON_LogLevelCritical);
    COMMON_Log_CacheSet(user % 3 == 0 ? 0 : 1);
    EXPECT_LE(COMMON_Log_LevelGet(), COMMON_LogLevelVerbose);
    EXPECT_EQ(COMMON_Log_LegacySet(1), 0);
    EXPECT_EQ(COMMON_Debug_GetEnable(), 0U);
    COMMON_Debug_Write(stderr, "file", "function", 1, "not to be seen");
}

void use_modules(unsigned user)
{
    const std::string name = "SOAK_" + std::to_string(user % 8);
    const std::uint32_t id = LOG_ModuleIdAssignDynamic(name.c_str());
    EXPECT_STREQ(LOG_GetModuleName(id), name.c_str());
    EXPECT_EQ(LOG_ModuleIdAssignDynamic(name.c_str()), id);
    EXPECT_EQ(LOG_Write(id, kCritical, "every_family.cpp", __func__, 1, "user %u", user), 1U);
}

// Ground.

void use_memory(unsigned user)
{
    auto* block = static_cast<char*>(MEM_Malloc(100));
    MEM_Set(block, user, 100);
    block = static_cast<char*>(MEM_Realloc(block, 1'000));
    auto* const copy = static_cast<char*>(MEM_Clone(100, block));
    EXPECT_EQ(MEM_Compare(block, copy, 100), MEM_CompareEqual);
    MEM_Free(copy);
    MEM_Free(block);
    char* const text = MEM_StrDup("text");
    EXPECT_STREQ(text, "text");
    MEM_Free(text);
    EXPECT_EQ(StatusStrToStatus("STATUS_NOT_FOUND"), STATUS_NOT_FOUND);
}

void use_process(unsigned /*user*/)
{
    const auto own = static_cast<std::uint32_t>(getpid());
    COMMON_Process record;
    EXPECT_EQ(COMMON_Process_GetById(own, &record), STATUS_SUCCESS);
    EXPECT_EQ(record.id, own);
    COMMON_Process_Get(&record);
    EXPECT_EQ(record.id, COMMON_Process_Id());
    char name[32] = "";
    EXPECT_EQ(UTIL_GetProcessName(own, name, sizeof name), 1U);
    EXPECT_STRNE(name, "");
    EXPECT_EQ(UTIL_FindPid(own), 1U);
    EXPECT_GT(COMMON_System_GetTimeByClockId(CLOCK_MONOTONIC), 0U);
    EXPECT_NE(COMMON_System_Variable("PATH"), nullptr);
}

/// Starts a process, which is a fork, too. Not in a child: system(3) has a lock of its own that
/// stays taken there if another thread was in it.
void use_commands(unsigned /*user*/)
{
    EXPECT_EQ(COMMON_System_Exec("exit 3"), 3 << 8);
}

// Locks, signals, queues.

void use_locks(unsigned /*user*/)
{
    COMMON_Mutex mutex;
    COMMON_Mutex_Initialize(&mutex);
    COMMON_Mutex_SetRecursive(&mutex, 1);
    COMMON_Mutex_Commit(&mutex);
    COMMON_Mutex_Lock(&mutex);
    COMMON_Mutex_Lock(&mutex);
    COMMON_Mutex_Unlock(&mutex);
    COMMON_Mutex_Unlock(&mutex);
    COMMON_Mutex_Destroy(&mutex);

    COMMON_Monitor* const monitor = COMMON_Monitor_New();
    COMMON_Monitor_Lock(monitor);
    EXPECT_EQ(COMMON_Monitor_WaitTimed(monitor, 1'000), 1U);
    COMMON_Monitor_Notify(monitor);
    COMMON_Monitor_Unlock(monitor);
    COMMON_Monitor_Delete(monitor);

    COMMON_sync sync;
    EXPECT_EQ(COMMON_sync_init(&sync, 0), 0);
    EXPECT_EQ(COMMON_sync_lock(&sync), 0);
    EXPECT_EQ(COMMON_sync_signal(&sync), 0);
    EXPECT_EQ(COMMON_sync_wait(&sync), 0);
    EXPECT_EQ(COMMON_sync_unlock(&sync), 0);
    EXPECT_EQ(COMMON_sync_destroy(&sync), 0);
}

void use_queues(unsigned /*user*/)
{
    std::array<char, 8> storage;
    std::array<char, 8> taken{};
    BlockQ queue;
    EXPECT_EQ(BlockQ_Init(&queue, storage.data(), storage.size()), 0);
    EXPECT_EQ(BlockQ_Add(&queue, "123456789", 9), 8U);
    EXPECT_EQ(BlockQ_Remove(&queue, taken.data(), 5), 5U);
    EXPECT_EQ(BlockQ_Len(&queue), 3U);
    EXPECT_EQ(BlockQ_Destroy(&queue), 0);
    COMMON_BlockQEx extended;
    EXPECT_EQ(COMMON_BlockQEx_Init(&extended, storage.data(), storage.size()), 0);
    EXPECT_EQ(COMMON_BlockQEx_Add(&extended, "abc", 3), 3U);
    EXPECT_EQ(COMMON_BlockQEx_Remove(&extended, taken.data(), 8), 3U);
    EXPECT_EQ(std::memcmp(taken.data(), "abc45", 5), 0);
    EXPECT_EQ(COMMON_BlockQEx_Destroy(&extended), 0);
}

// Containers.

void use_lists(unsigned user)
{
    LIST list = LIST_NewEx([](void*) {});
    AbsSET* const set = AbsSET_New();
    AbsSET_InitializeEx(set, [](void*) {});
    ListLight* const light = ListLight_New();
    Map* const map = Map_New(nullptr);
    for (unsigned i = 1; i <= 20; ++i) {
        EXPECT_EQ(LIST_PushBack(list, word(i)), 1U);
        EXPECT_EQ(AbsSET_PushFront(set, nullptr, word(i)), AbsSET_Success);
        ListLight_PushBack(light, word(i));
        Map_Add(map, word(i), word(i + user));
    }
    EXPECT_EQ(LIST_PopBack(list), word(20));
    EXPECT_EQ(AbsSET_ValuePopBack(set), word(1));
    EXPECT_EQ(ListLight_PopFront(light), word(1));
    EXPECT_EQ(Map_Find(map, word(7)), word(7 + user));
    EXPECT_EQ(LIST_Delete(list), 1U);
    EXPECT_EQ(AbsSET_Delete(set), AbsSET_Success);
    ListLight_Delete(light, nullptr);
    Map_Delete(map);
}

void use_descriptors(unsigned /*user*/)
{
    const std::int32_t first = Allocate_Descriptor();
    const std::int32_t second = Allocate_Descriptor();
    EXPECT_NE(first, second);
    EXPECT_GT(first, 0);
    Deallocate_Descriptor(first);
    Deallocate_Descriptor(second);

    ClientList clients{};
    EXPECT_NE(NodeMulti_AddClientNode(&clients, 7), nullptr);
    EXPECT_EQ(NodeMulti_AddEvent(&clients, "event", 6), nullptr);
    ClientNode* const client = NodeMulti_FindClientNode(&clients, 7);
    EXPECT_STREQ(static_cast<const char*>(NodeMulti_GetEvent(client)), "event");
    NodeMulti_DeleteEventHead(client);  // the client's end would keep it
    NodeMulti_DeleteClientNode(&clients, 7);
    EXPECT_EQ(clients.head, nullptr);
}

// Values.

void use_values(unsigned user)
{
    COMMON_OXAVar* const array = COMMON_OXAVarArrayAlloc(2);
    COMMON_OXAVarSetInt(&array->value.elements[0], static_cast<std::int32_t>(user));
    COMMON_OXAVarSetString(&array->value.elements[1], "text");
    std::array<char, 256> bytes;
    const std::uint32_t size = COMMON_OXAVarSerialize(bytes.data(), array, bytes.size());
    COMMON_OXAVar read{};
    EXPECT_EQ(COMMON_OXAVarDeserializeBounded(bytes.data(), size, &read, nullptr), STATUS_SUCCESS);
    EXPECT_STREQ(COMMON_OXAVarGetString(&read.value.elements[1]), "text");
    COMMON_OXAVarClear(&read);
    COMMON_OXAVarFree(array);

    RegExp* const regexp = RegExp_New("^([a-z]+)-\\d+$", 1);
    EXPECT_EQ(RegExp_Match(regexp, "soak-42"), 1U);
    EXPECT_STREQ(RegExp_Replace(regexp, "soak-42", "x", 0), "x");
    RegExp_Delete(regexp);

    std::uint32_t number = 0;
    errno = 0;
    EXPECT_EQ(CONVERT_HexStrToU32("0xff", &number), STATUS_SUCCESS);
    EXPECT_EQ(number, 255U);
    char* const hex = DATA_HexToAscii("abc", 3);
    EXPECT_STREQ(hex, "616263");
    MEM_Free(hex);
    COMMON_UUID uuid;
    COMMON_UUID_Set(&uuid, 4, "1234");
    EXPECT_EQ(COMMON_UUID_Equals(&uuid, &uuid), 1U);
    EXPECT_STRNE(CHARSET_GetName(106), "");
}

// State machines.

HsmEvent handle(Hsm* machine, HsmEvent event)
{
    if (event == 1 && machine->next == nullptr) {
        HsmStateTran_(machine, machine->source);
    }
    return event == 2 ? event : 0;
}

int call_back(ls_hsm_t* machine, const ls_hsm_event_t* event, void* state, ls_hsm_state_t*)
{
    if (event->type == LS_HSM_EVENT_USER) {
        ls_hsm_transition(machine, static_cast<ls_hsm_state_t*>(state));
    }
    return 0;
}

void use_machines(unsigned /*user*/)
{
    HsmRecorder* const recorder = static_cast<HsmRecorder*>(MEM_Malloc(sizeof(HsmRecorder)));
    Hsm machine;
    HsmRecorderInit(recorder, &machine, nullptr);
    State inner;
    HsmCtor(&machine, "soak", handle, 101, 102, 103);
    StateCtor(&inner, "inner", &machine.top, handle);
    HsmOnStart(&machine);
    HsmOnEvent(&machine, 1);
    HsmOnEvent(&machine, 2);
    EXPECT_EQ(machine.next, nullptr);
    MEM_Free(recorder);

    ls_hsm_t other;
    ls_hsm_state_t state;
    ls_hsm_init(&other, "soak", &state, call_back, nullptr, 4);
    ls_hsm_state_init(&state, "state", &other.master, call_back);
    EXPECT_EQ(ls_hsm_run(&other), 1);
    EXPECT_EQ(ls_hsm_dispatch(&other, 1), 1);
    EXPECT_EQ(other.current, &state);
}

// Files.

void use_files(unsigned user)
{
    const std::string path = path_of(user, "file");
    EXPECT_EQ(FILE_OpenAndWrite("content", 1, 7, path.c_str()), 7);
    char content[16] = "";
    EXPECT_EQ(FILE_OpenAndRead(content, 1, 7, path.c_str()), 7);
    EXPECT_STREQ(content, "content");
    EXPECT_EQ(UTIL_FileExists(path.c_str()), 1U);
    EXPECT_EQ(UTIL_DeleteFile(path.c_str()), 0);

    const std::string folder = path_of(user, "folder");
    EXPECT_EQ(UTIL_CreateFolderRecursive((folder + "/in/it").c_str(), 0700), STATUS_SUCCESS);
    UTIL_FolderItems items{};
    EXPECT_EQ(UTIL_GetFolderItems(folder.c_str(), "^i", UTIL_FOLDER_ITEMS_FOLDERS, &items),
              STATUS_SUCCESS);
    EXPECT_EQ(items.count, 1U);
    UTIL_ReleaseFolderItems(&items);
    rmdir((folder + "/in/it").c_str());
    rmdir((folder + "/in").c_str());
    EXPECT_EQ(rmdir(folder.c_str()), 0);

    const std::string link = path_of(user, "link");
    EXPECT_EQ(OXA_symlink(link.c_str(), "nowhere"), 0);
    EXPECT_EQ(OXA_unlink(link.c_str()), 0);
    char text[] = "  a b ";
    UTIL_StripSpace(text);
    EXPECT_STREQ(text, "a b");
}

void use_options(unsigned /*user*/)
{
    char program[] = "program";
    char option[] = "-l3";
    char* const words[] = {program, option, nullptr};
    optind = 0;
    EXPECT_EQ(OXA_getopt(2, words, "l:"), 'l');
    EXPECT_STREQ(optarg, "3");
    EXPECT_EQ(OXA_getopt(2, words, "l:"), -1);
}

void use_flash(unsigned /*user*/)
{
    std::uint32_t corrupt = 1;
    EXPECT_EQ(FLASHSAFE_CheckPartition(2, 1, 0, &corrupt), 1U);
    EXPECT_EQ(corrupt, 0U);
}

/// Its one file is the machine's: not in a child, beside its parent.
void use_error_counter(unsigned /*user*/)
{
    EXPECT_GE(BTE_LogError(), 0);
    EXPECT_EQ(unlink("/dev/shmem/bterrors.log"), 0);
}

// What the library starts threads for.

void use_timers(unsigned user)
{
    std::atomic<bool> called{false};
    TMR* const timer = TMR_New();
    const auto callback = [](void* argument) { *static_cast<std::atomic<bool>*>(argument) = true; };
    EXPECT_EQ(TMR_Start(timer, callback, &called, 1 + user % 3), 1U);
    EXPECT_TRUE(wait_until([&] { return called.load(); }));
    EXPECT_EQ(TMR_Start(timer, callback, &called, 60'000), 1U);
    EXPECT_EQ(TMR_Stop(timer), TMR_ReturnSuccess);
    TMR_Delete(timer);
}

void use_watchdogs(unsigned /*user*/)
{
    COMMON_wdm* const watchdog = COMMON_wdm_Init();
    COMMON_wdm_Subscriber* const subscriber = COMMON_wdm_Create_Subscriber(nullptr, nullptr);
    COMMON_wdm_Subscribe(watchdog, subscriber, 600);
    COMMON_wdm_Tickle(subscriber, 700);
    COMMON_wdm_Unsubscribe(subscriber);
    COMMON_wdm_Destroy(watchdog);
}

void use_threads(unsigned /*user*/)
{
    std::atomic<bool> ran{false};
    const auto run = [](void* argument) -> void* {
        *static_cast<std::atomic<bool>*>(argument) = true;
        return nullptr;
    };
    COMMON_Thread* const thread = COMMON_Thread_New(run, &ran);
    COMMON_Thread_SetDetachState(thread, COMMON_ThreadDetachDetached);
    EXPECT_EQ(COMMON_Thread_SetName(thread, "soak"), STATUS_SUCCESS);
    EXPECT_EQ(COMMON_Thread_Start(thread), STATUS_SUCCESS);
    EXPECT_TRUE(wait_until([&] { return ran && COMMON_Thread_GetId(thread) == 0; }));
    EXPECT_EQ(COMMON_Thread_Delete(thread), STATUS_SUCCESS);
}

}  // namespace

const std::vector<FamilyUse> kEveryFamily{
    {"log", use_log, true},
    {"module names", use_modules, true},
    {"memory", use_memory, true},
    {"process", use_process, true},
    {"commands", use_commands, false, false},
    {"locks", use_locks, true},
    {"queues", use_queues, true},
    {"lists", use_lists, true},
    {"descriptors", use_descriptors, true},
    {"values", use_values, true},
    {"state machines", use_machines, true},
    {"files", use_files, true},
    {"options", use_options, false},
    {"flash", use_flash, false},
    {"error counter", use_error_counter, false, false},
    {"timers", use_timers, true},
    {"watchdogs", use_watchdogs, true},
    {"threads", use_threads, true},
};

}  // namespace harness
