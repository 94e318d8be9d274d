/* A process with one of each record, for a debugger to look at: it stops in reached(). */
#include <errno.h>
#include <semaphore.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <common/common_library.h>

static void demand(int condition)
{
    if (!condition) {
        abort();
    }
}

/* Numbers with names. */
STATUS status = STATUS_TIMEOUT;
STATUS results[2] = {STATUS_SUCCESS, 999};
SERVICE service = MUSIC_SERVICE;
TRANSPORT transport = TRANSPORT_BLUETOOTH;
COMMON_LogLevel_t level = COMMON_LogLevelWarn;
COMMON_LogFormat_t format = COMMON_LogFormatColumns;
COMMON_LogPeakloadControl_t control = COMMON_LogPeakloadControlOn;
TMR_Return_t stopped = TMR_ReturnNotSet;
MEM_CompareResult compared = MEM_CompareLess;

/* Values. */
static int anchor;
static char text_of_500[501];
static char first[] = "first";
static char second[] = "second";
static char rome[] = "Rome";
static char oslo[] = "Oslo";
COMMON_OXAVar integer, real, empty, word, longest, array, unknown, itself, broken, no_elements;
ListLight* tracks;
ListLight* no_tracks;
LIST gains;
Map* capitals;
uint8_t bytes_of_ring[8], bytes_of_queue[64], bytes_of_queue_ex[4];
RingBuf ring, unset_ring;
BlockQ queue, busy_queue;
COMMON_BlockQEx queue_ex, busy_queue_ex;
DATA_Array* data;
RegExp* expression;
RegExp replacing;
COMMON_UUID short_id, long_id, no_id;
ClientList clients, no_clients;

struct Track {
    const char* title;
    STATUS state;
};
static struct Track first_track = {"Intro", STATUS_COMPLETE};
static struct Track second_track = {"Outro", STATUS_PENDING};

/* Copies, which stand elsewhere. */
AbsSET copied_set;

/* What cannot be: a debugger has to show it without harm. */
static ListLight_Node nodes[2];
static Map_Pair pair = {(void*)47, oslo};
static ListLight_Node node_of_pair = {&pair, NULL};
static ListLight_Node node_of_broken_pair = {(void*)256, &node_of_pair};
static ListLight list_of_broken_pair = {&node_of_broken_pair, &node_of_pair, 2};
ListLight cyclic, broken_list;
AbsSET broken_set;
Map no_list, broken_map, broken_pair;
RingBuf broken_ring, far_ring;
DATA_Array broken_data;
COMMON_UUID broken_id;
static State loop;
Hsm broken_machine;

static void make_values(void)
{
    COMMON_OXAVarSetInt(&integer, -5);
    COMMON_OXAVarSetFloat(&real, 1.5F);
    COMMON_OXAVarSetPVoid(&word, &anchor);
    memset(text_of_500, 'x', sizeof text_of_500 - 1);
    COMMON_OXAVarSetString(&longest, text_of_500);
    COMMON_OXAVarArrayAllocAt(&array, 3);
    COMMON_OXAVarSetString(&array.value.elements[0], "ra\"dio");
    COMMON_OXAVarArrayAllocAt(&array.value.elements[1], 2);
    COMMON_OXAVarSetInt(&array.value.elements[1].value.elements[0], 7);

    tracks = ListLight_New();
    ListLight_PushBack(tracks, first);
    ListLight_PushBack(tracks, second);
    no_tracks = ListLight_New();
    gains = LIST_New();
    LIST_PushBack(gains, &first_track);
    LIST_PushBack(gains, &second_track);
    copied_set = *gains;
    capitals = Map_New(NULL);
    Map_Add(capitals, (void*)39, rome);
    Map_Add(capitals, (void*)47, oslo);

    ringBufInit(&ring, bytes_of_ring, sizeof bytes_of_ring);
    demand(ringWriteData(&ring, "abcdef", 6) == 6 && ringReadData(&ring, text_of_500, 4) == 4);
    demand(ringWriteData(&ring, "ghi", 3) == 3); /* the last one at the start of the storage */
    text_of_500[0] = 'x';
    BlockQ_Init(&queue, bytes_of_queue, sizeof bytes_of_queue);
    demand(BlockQ_Add(&queue, "hello", 5) == 5);
    COMMON_BlockQEx_Init(&queue_ex, bytes_of_queue_ex, sizeof bytes_of_queue_ex);
    data = DATA_ArrayNewWithDataLength(4, "\x01\xfe", 2);
    expression = RegExp_New("(a)(b*)", 1);
    demand(RegExp_MatchSubExp(expression, "xabbx", 0) != NULL);
    RegExp* const letter = RegExp_New("a", 1);
    demand(strcmp(RegExp_Replace(letter, "xax", "y", 1), "xyx") == 0);
    replacing = *letter;
    COMMON_UUID_Set(&short_id, 2, "\x11\x0a");
    COMMON_UUID_Set(&long_id, 16, "0123456789abcdef");
    ClientNode* const client = NodeMulti_AddClientNode(&clients, 5);
    NodeMulti_AddEventNode("one", 4, client);
    NodeMulti_AddEventNode("two", 4, client);
    NodeMulti_AddClientNode(&clients, 6);
}

static void make_corrupt(void)
{
    unknown.type = 77;
    itself = (COMMON_OXAVar){.type = OXAVAR_TYPE_ARRAY, .count = 2, .value.elements = &itself};
    broken = (COMMON_OXAVar){.type = OXAVAR_TYPE_ARRAY, .count = 500000, .value.word = 16};
    no_elements = (COMMON_OXAVar){.type = OXAVAR_TYPE_ARRAY, .count = 3, .value.word = 0};
    nodes[0] = (ListLight_Node){&anchor, &nodes[1]};
    nodes[1] = (ListLight_Node){&anchor, &nodes[0]};
    broken_map.list = (ListLight*)256;
    broken_pair.list = &list_of_broken_pair;
    cyclic = (ListLight){nodes, &nodes[1], 2};
    broken_list = (ListLight){(ListLight_Node*)16, NULL, 7};
    broken_set.sentinel.flink = (AbsSET_Entry*)16;
    broken_ring = (RingBuf){bytes_of_ring, bytes_of_ring + 8, bytes_of_ring, bytes_of_ring, 9};
    far_ring = (RingBuf){(uint8_t*)16, (uint8_t*)24, (uint8_t*)16, (uint8_t*)16, 4};
    broken_data = (DATA_Array){bytes_of_ring, 9, 8};
    broken_id.size = 200;
    loop.super = &loop;
    loop.name = "loop";
    broken_machine.name = (const char*)16;
    broken_machine.current = &loop;
}

/* State machines: from "stopped" to "playing" below "on". */
static State off, on, playing;
Hsm player, unstarted, moving;

static HsmEvent on_event(Hsm* machine, HsmEvent event)
{
    if (event == 10) {
        HsmStateTran_(machine, &playing);
        return 0;
    }
    return event;
}

static ls_hsm_state_t idle_state, busy_state;
ls_hsm_t worker_machine, moving_machine, stopped_machine;

static int on_ls_event(ls_hsm_t* machine, const ls_hsm_event_t* event, void* user,
                       ls_hsm_state_t* state)
{
    (void)user;
    (void)state;
    if (event->type == LS_HSM_EVENT_USER) {
        ls_hsm_transition(machine, &busy_state);
    }
    return 0;
}

static void make_machines(void)
{
    HsmCtor(&player, "player", on_event, 1, 2, 3);
    StateCtor(&off, "off", &player.top, on_event);
    StateCtor(&on, "on", &player.top, on_event);
    StateCtor(&playing, NULL, &on, on_event);
    HsmOnStart(&player);
    HsmOnEvent(&player, 10);
    HsmCtor(&unstarted, "unstarted", on_event, 1, 2, 3);
    unstarted.current = NULL;
    ls_hsm_init(&worker_machine, "worker", NULL, on_ls_event, NULL, 8);
    ls_hsm_state_init(&idle_state, "idle", &worker_machine.master, on_ls_event);
    ls_hsm_state_init(&busy_state, "busy", &idle_state, on_ls_event);
    demand(ls_hsm_run(&worker_machine) == 1 && ls_hsm_dispatch(&worker_machine, 1) == 1);
    /* As it is while a state is left. */
    moving = player;
    moving.next = &off;
    moving_machine = worker_machine;
    moving_machine.target = &idle_state;
    moving_machine.busy = 1;
    /* As it is after a transition that went wrong. */
    stopped_machine = moving_machine;
    stopped_machine.busy = 0;
}

/* Threads, locks, timers and watchdogs. */
static sem_t entered, never;
COMMON_Mutex* held;
COMMON_Mutex* let_go;
COMMON_Monitor* monitor;
COMMON_sync held_sync, signalled;
COMMON_Thread* thread;
COMMON_Process process;
TMR* armed;
TMR* idle;
TMR* calling;
COMMON_wdm* watchdog;
COMMON_wdm* busy_watchdog;
COMMON_wdm_Subscriber* subscriber;
COMMON_wdm_Subscriber* late;
COMMON_wdm_Subscriber gone, overdue;
static COMMON_wdm_Node watched_again = {0, &gone};
COMMON_wdm broken_watchdog;
ClientNode broken_client;

static void wait_for(sem_t* semaphore)
{
    while (sem_wait(semaphore) != 0 && errno == EINTR) {
    }
}

static void on_tick(void* argument)
{
    (void)argument;
    sem_post(&entered);
    wait_for(&never);
}

static void* on_late(void* argument)
{
    on_tick(argument);
    return NULL;
}

static const struct timespec short_while = {0, 10000000};

static void await_handler(void)
{
    while (sem_trywait(&entered) != 0) {
        struct timespec now;
        clock_gettime(CLOCK_MONOTONIC, &now);
        if ((int32_t)((uint32_t)now.tv_sec - late->deadline) > 0) {
            COMMON_wdm_Tickle(late, 2); /* its second passed unseen on a busy machine */
        }
        nanosleep(&short_while, NULL);
    }
}

/* Until the monitors sleep: one until its deadline, the other one for want of subscribers. */
static void await_monitors(void)
{
    while (__atomic_load_n(&watchdog->waiting, __ATOMIC_ACQUIRE) != 1 ||
           __atomic_load_n(&busy_watchdog->anchor.next, __ATOMIC_ACQUIRE) != UINTPTR_MAX) {
        nanosleep(&short_while, NULL);
    }
}

static void* wait_in_monitor(void* given)
{
    COMMON_Monitor_Lock(monitor);
    sem_post(&entered);
    COMMON_Monitor_Wait(monitor);
    COMMON_Monitor_Unlock(monitor);
    return given;
}

/* Has the lock of a monitor that another thread waits in. */
static void await_monitor(void)
{
    monitor = COMMON_Monitor_New();
    pthread_t waiting;
    demand(pthread_create(&waiting, NULL, wait_in_monitor, NULL) == 0);
    wait_for(&entered);
    COMMON_Monitor_Lock(monitor); /* which it only gives away in its wait */
}

static void make_threads(void)
{
    sem_init(&entered, 0, 0);
    sem_init(&never, 0, 0);
    held = COMMON_Mutex_New();
    COMMON_Mutex_SetType(held, COMMON_MutexTypeRecursive);
    COMMON_Mutex_SetRecursive(held, 1);
    COMMON_Mutex_Commit(held);
    COMMON_Mutex_Lock(held);
    COMMON_Mutex_Lock(held);
    let_go = COMMON_Mutex_New();
    await_monitor();
    BlockQ_Init(&busy_queue, bytes_of_ring, sizeof bytes_of_ring);
    pthread_mutex_lock(&busy_queue.queueMutex);
    COMMON_BlockQEx_Init(&busy_queue_ex, bytes_of_queue_ex, sizeof bytes_of_queue_ex);
    COMMON_sync_lock(&busy_queue_ex.sync);
    COMMON_sync_signal(&busy_queue_ex.sync);
    COMMON_sync_init(&held_sync, 0);
    COMMON_sync_lock(&held_sync);
    COMMON_sync_init(&signalled, 0);
    COMMON_sync_lock(&signalled);
    COMMON_sync_signal(&signalled);
    COMMON_sync_unlock(&signalled);
    demand(COMMON_Thread_Create(on_late, "tuner", NULL, &thread) == STATUS_SUCCESS);
    wait_for(&entered);
    COMMON_Process_Get(&process);

    armed = TMR_New();
    demand(TMR_Start(armed, on_tick, NULL, 3600000) == 1);
    idle = TMR_New();
    calling = TMR_New();
    demand(TMR_Start(calling, on_tick, NULL, 1) == 1);
    wait_for(&entered);
    watchdog = COMMON_wdm_Init();
    subscriber = COMMON_wdm_Create_Subscriber(on_late, &anchor);
    COMMON_wdm_Subscribe(watchdog, subscriber, 3600);
    busy_watchdog = COMMON_wdm_Init();
    late = COMMON_wdm_Create_Subscriber(on_late, NULL);
    COMMON_wdm_Subscribe(busy_watchdog, late, 0);
    await_handler();
    await_monitors();
    gone = *late;
    gone.unsubscribed = 1;
    overdue.handler = on_late;
    overdue.deadline = 1;
    watched_again.next = (uintptr_t)&watched_again;
    broken_watchdog.head = &watched_again;
    broken_client.clientId = 7;
    broken_client.eventHead = (EventNode*)16;
}

__attribute__((noinline)) void reached(const RingBuf* given)
{
    __asm__ volatile("" : : "r"(given) : "memory");
}

int main(void)
{
    make_values();
    make_corrupt();
    make_machines();
    make_threads();
    COMMON_Log_LevelSet(COMMON_LogLevelNote);
    COMMON_Log_FormatSet(COMMON_LogFormatColumns);
    reached(&ring);
    return 0;
}
