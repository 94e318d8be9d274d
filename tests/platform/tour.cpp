#include "tour.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "blockq.h"
#include "common.h"
#include "common_log_macros.h"
#include "common_log_settings.h"
#include "common_monitor.h"
#include "common_process.h"
#include "common_sync.h"
#include "common_system.h"
#include "common_thread.h"
#include "common_wdm.h"
#include "oxa_logger.h"
#include "oxa_shims.h"
#include "timer.h"
#include "wait_until.h"

COMMON_LOG_ZONE("TOUR");

namespace harness {
namespace {

/// Children that the steps have made themselves: one that ends by itself, and one that does not.
std::atomic<pid_t> ending_child{0};
std::atomic<pid_t> endless_child{0};

/// Something that happens in another thread.
class Mark {
public:
    static void set(void* mark) { static_cast<Mark*>(mark)->set_ = true; }
    static void* set_in_thread(void* mark)
    {
        set(mark);
        return nullptr;
    }
    [[nodiscard]] bool wait(std::chrono::milliseconds limit = kPatience) const
    {
        return wait_until([this] { return set_.load(); }, limit);
    }

private:
    std::atomic<bool> set_{false};
};

// The log and the process.

StepResult write_record()
{
    COMMON_LOG_WARN("a record");
    return works();
}

StepResult take_in_settings()
{
    return COMMON_Log_LevelGet() == COMMON_LogLevelVerbose ? works() : silent("not read");
}

StepResult read_modules()
{
    const STATUS status = LOG_ModuleIdReadConfig();
    return status == STATUS_SUCCESS ? works() : said("status " + std::to_string(status));
}

StepResult describe_processes()
{
    COMMON_Process own{};
    COMMON_Process_Get(&own);
    COMMON_Process other{};
    const STATUS status = COMMON_Process_GetById(static_cast<std::uint32_t>(getppid()), &other);
    if (status != STATUS_SUCCESS) {
        return said("status " + std::to_string(status));
    }
    return own.nameLength != 0 && own.id == static_cast<std::uint32_t>(getpid())
               ? works()
               : silent("no name");
}

StepResult log_in_child()
{
    const pid_t child = fork();
    if (child == 0) {
        COMMON_LOG_WARN("a record of a child");
        _exit(0);
    }
    if (child < 0) {
        return said("there is no child");
    }
    ending_child = child;
    return works();
}

// Threads and locks.

StepResult run_thread()
{
    Mark mark;
    COMMON_Thread* thread = nullptr;
    const STATUS status = COMMON_Thread_Create(Mark::set_in_thread, "thread", &mark, &thread);
    if (status != STATUS_SUCCESS) {
        return said("status " + std::to_string(status));
    }
    const bool ran = mark.wait();
    COMMON_Thread_Join(thread);
    const bool ended = wait_until([=] { return COMMON_Thread_GetId(thread) == 0; });
    COMMON_Thread_Delete(thread);
    return ran && ended ? works() : silent("it did not run");
}

/// The platform's ordinary policy, which everybody may choose.
StepResult run_thread_with_policy()
{
    Mark mark;
    COMMON_Thread thread;
    COMMON_Thread_Initialize(&thread, Mark::set_in_thread, &mark);
    COMMON_Thread_SetDetachState(&thread, COMMON_ThreadDetachDetached);
    COMMON_Thread_SetSchedule(&thread, COMMON_ThreadScheduleOther);
    COMMON_Thread_SetPriority(&thread, 0);
    const STATUS status = COMMON_Thread_Start(&thread);
    if (status != STATUS_SUCCESS) {
        return said("status " + std::to_string(status));
    }
    const bool ran = mark.wait();
    const bool ended = wait_until([&] { return COMMON_Thread_GetId(&thread) == 0; });
    return ran && ended ? works() : silent("it did not run");
}

std::atomic<bool> may_end{false};

/// Goes on until it is cancelled, or told to end.
void* go_on(void* /*argument*/)
{
    while (!may_end) {
        usleep(1'000);
    }
    return nullptr;
}

StepResult cancel_thread()
{
    may_end = false;
    COMMON_Thread thread;
    COMMON_Thread_Initialize(&thread, go_on, nullptr);
    if (COMMON_Thread_Start(&thread) != STATUS_SUCCESS) {
        return said("not started");
    }
    const STATUS status = COMMON_Thread_Cancel(&thread);
    may_end = status != STATUS_SUCCESS;
    COMMON_Thread_Join(&thread);
    return status == STATUS_SUCCESS ? works() : said("status " + std::to_string(status));
}

StepResult wait_with_monitor()
{
    COMMON_Monitor* const monitor = COMMON_Monitor_New();
    COMMON_Monitor_Lock(monitor);
    const std::uint64_t before = COMMON_System_GetTimeByClockId(1);
    const std::uint32_t timed_out = COMMON_Monitor_WaitTimed(monitor, 2'000'000);
    const bool in_time = COMMON_System_GetTimeByClockId(1) - before >= 2'000'000;
    COMMON_Monitor_Unlock(monitor);
    COMMON_Monitor_Delete(monitor);
    return timed_out == 1 && in_time ? works() : silent("it did not wait");
}

StepResult wait_with_sync()
{
    COMMON_sync sync;
    COMMON_sync_init(&sync, 0);
    timespec deadline{};
    clock_gettime(CLOCK_REALTIME, &deadline);
    const int locked = COMMON_sync_lock(&sync);
    const int waited = COMMON_sync_timedwait(&sync, &deadline);
    const int unlocked = COMMON_sync_unlock(&sync);
    COMMON_sync_destroy(&sync);
    return locked == 0 && waited == ETIMEDOUT && unlocked == 0
               ? works()
               : said(std::to_string(locked) + ", " + std::to_string(waited));
}

StepResult pass_through_queue()
{
    char storage[8];
    BlockQ queue;
    BlockQ_Init(&queue, storage, sizeof storage);
    char byte = 0;
    const bool passed = BlockQ_Add(&queue, "x", 1) == 1 && BlockQ_Remove(&queue, &byte, 1) == 1;
    BlockQ_Destroy(&queue);
    return passed && byte == 'x' ? works() : silent("not passed");
}

// Timers.

StepResult run_timer()
{
    Mark mark;
    TMR* const timer = TMR_New();
    if (TMR_Start(timer, Mark::set, &mark, 1) != 1) {
        TMR_Delete(timer);
        return said("not started");
    }
    const bool called = mark.wait();
    TMR_Delete(timer);
    return called ? works() : silent("not called");
}

std::atomic<bool> has_name{false};

StepResult name_thread_of_timer()
{
    Mark mark;
    TMR* const timer = TMR_New();
    const auto look = [](void* argument) {
        char name[16] = "";
        prctl(PR_GET_NAME, name);
        has_name = std::strcmp(name, "common-timer") == 0;
        Mark::set(argument);
    };
    if (TMR_Start(timer, look, &mark, 1) != 1) {
        TMR_Delete(timer);
        return said("not started");
    }
    const bool called = mark.wait();
    TMR_Delete(timer);
    return called && has_name ? works() : silent("no name");
}

/// A subscriber comes while the monitor sleeps until the deadline of another one.
StepResult watch()
{
    Mark mark;
    COMMON_wdm* const watchdog = COMMON_wdm_Init();
    COMMON_wdm_Subscriber* const patient = COMMON_wdm_Create_Subscriber(nullptr, nullptr);
    COMMON_wdm_Subscriber* const expired = COMMON_wdm_Create_Subscriber(Mark::set_in_thread, &mark);
    COMMON_wdm_Subscribe(watchdog, patient, 1'000);
    std::this_thread::sleep_for(std::chrono::milliseconds(1));  // it may sleep by then
    bool started = false;
    // A second that is over before the monitor has looked is not made up for.
    for (int i = 0; i < 10 && !started; ++i) {
        COMMON_wdm_Subscribe(watchdog, expired, 0);
        started = mark.wait(std::chrono::milliseconds(watchdog->monitored == 1 ? 3'000 : 10));
    }
    COMMON_wdm_Unsubscribe(patient);
    COMMON_wdm_Unsubscribe(expired);
    COMMON_wdm_Destroy(watchdog);
    return started ? works() : silent("not started");
}

// The system.

StepResult read_clocks()
{
    return COMMON_System_Time() != 0 && COMMON_System_GetTimeResByClockId(0) != 0 ? works()
                                                                                  : said("0");
}

StepResult read_system_time()
{
    const std::uint64_t before = GetSystemTime();
    const bool goes_on =
        wait_until([=] { return GetSystemTime() > before; }, std::chrono::milliseconds(500));
    return goes_on ? works() : silent("it stands still");
}

StepResult sleep()
{
    const auto before = std::chrono::steady_clock::now();
    OS_Sleep(3);
    return std::chrono::steady_clock::now() - before >= std::chrono::milliseconds(3)
               ? works()
               : silent("it did not sleep");
}

StepResult run_command()
{
    const std::int32_t status = COMMON_System_Exec("exit 3");
    return status == 3 << 8 ? works() : said("status " + std::to_string(status));
}

StepResult run_program()
{
    const int result = OXA_posix_spawnp(0, "true", "true", nullptr);
    return result == 0 ? works() : said("result " + std::to_string(result));
}

StepResult find_processes()
{
    COMMON_Process own{};
    COMMON_Process_Get(&own);
    std::uint32_t pid = 0;
    const bool found = UTIL_GetPidFromProcessName(own.name, &pid) == 1 &&
                       UTIL_FindPid(static_cast<std::uint32_t>(getpid())) == 1;
    return found ? works() : said("not found");
}

StepResult end_process()
{
    const auto before = std::signal(SIGCHLD, SIG_IGN);  // so that nobody has to wait for it
    const pid_t child = fork();
    if (child == 0) {
        for (;;) {
            pause();
        }
    }
    if (child < 0) {
        return said("there is no child");
    }
    endless_child = child;
    const bool ended = UTIL_TerminatePid(static_cast<std::uint32_t>(child), 2'000, 1) == 1;
    const bool gone = kill(child, 0) != 0;
    std::signal(SIGCHLD, before);
    return ended ? (gone ? works() : silent("it is still there")) : said("0");
}

/// Adds what is about files and memory.
std::vector<Step> with_files(std::vector<Step> steps)
{
    const std::vector<Step> more = tour_of_files();
    steps.insert(steps.end(), more.begin(), more.end());
    return steps;
}

}  // namespace

const std::vector<Step>& tour()
{
    static const std::vector<Step> steps = with_files({
        {"record", write_record, true},
        {"settings", take_in_settings},
        {"modules", read_modules},
        {"process", describe_processes},
        {"child", log_in_child, true},
        {"thread", run_thread},
        {"thread with a policy", run_thread_with_policy},
        {"cancelled thread", cancel_thread},
        {"monitor", wait_with_monitor},
        {"sync", wait_with_sync},
        {"queue", pass_through_queue},
        {"timer", run_timer},
        {"name of a timer's thread", name_thread_of_timer},
        {"watchdog", watch},
        {"clocks", read_clocks},
        {"system time", read_system_time},
        {"sleep", sleep},
        {"command", run_command},
        {"program", run_program},
        {"processes", find_processes},
        {"end of a process", end_process},
    });
    return steps;
}

bool end_children_of_tour()
{
    if (const pid_t child = ending_child.exchange(0)) {
        waitpid(child, nullptr, 0);
    }
    if (const pid_t child = endless_child.exchange(0)) {
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
    }
    bool left = false;
    while (waitpid(-1, nullptr, 0) > 0) {
        left = true;
    }
    return left;
}

}  // namespace harness
