#include "common_thread.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstring>

#include "log/report.h"
#include "mem_malloc.h"
#include "platform/no_exceptions.h"

static_assert(offsetof(COMMON_Thread, id) == 0);
static_assert(offsetof(COMMON_Thread, schedule) == sizeof(pthread_t));
static_assert(offsetof(COMMON_Thread, detachState) == sizeof(pthread_t) + 4);
static_assert(offsetof(COMMON_Thread, priority) == sizeof(pthread_t) + 8);
static_assert(offsetof(COMMON_Thread, stackSize) == sizeof(pthread_t) + 12);
static_assert(offsetof(COMMON_Thread, entry) == sizeof(pthread_t) + 16);
static_assert(offsetof(COMMON_Thread, argument) == sizeof(pthread_t) + 16 + sizeof(void*));
static_assert(offsetof(COMMON_Thread, name) == sizeof(pthread_t) + 16 + 2 * sizeof(void*));
static_assert(sizeof(COMMON_Thread) == (sizeof(void*) == 4 ? 160 : 176));

// The schedule of a record is handed to the platform as it is.
static_assert(COMMON_ThreadScheduleOther == SCHED_OTHER);
static_assert(COMMON_ThreadScheduleFifo == SCHED_FIFO);
static_assert(COMMON_ThreadScheduleRoundRobin == SCHED_RR);

namespace {

using common::Here;

constexpr common::Source kSource{"common_thread"};
constexpr char kInvalidParameters[] = "One or more input parameters are invalid!";

/// The id is cleared by the thread itself while others look at it.
pthread_t thread_id(const COMMON_Thread& thread) noexcept
{
    return std::atomic_ref(const_cast<pthread_t&>(thread.id)).load(std::memory_order_acquire);
}

/// The id as records show it.
unsigned shown_id(pthread_t id) noexcept
{
    return static_cast<unsigned>(id);
}

/// Whether an argument is null, which is reported.
template <class Pointee>
bool is_null(Pointee* argument, Here here = Here::now()) noexcept
{
    if (argument == nullptr) {
        common::report(kSource, COMMON_LogLevelError, here, "%s", kInvalidParameters);
    }
    return argument == nullptr;
}

/// Whether a step failed, which is reported.
bool failed(int error, const char* what, Here here = Here::now()) noexcept
{
    return common::failed(kSource, COMMON_LogLevelError, error, what, here);
}

void clear_id(COMMON_Thread& thread) noexcept
{
    std::atomic_ref(thread.id).store(pthread_t{}, std::memory_order_release);
}

void common_threadStopHandler(void* argument) noexcept
{
    if (!is_null(argument)) {  // GCOVR_EXCL_BR_LINE can't happen: it is given a record
        clear_id(*static_cast<COMMON_Thread*>(argument));
    }
}

void* common_threadStartHandler(void* argument)
{
    auto* const thread = static_cast<COMMON_Thread*>(argument);
    // GCOVR_EXCL_BR_START can't happen: the thread is started with a record
    if (is_null(thread) || is_null(thread->entry)) {
        return nullptr;
    }
    // GCOVR_EXCL_BR_STOP
    void* result = nullptr;
    pthread_cleanup_push(common_threadStopHandler, thread);
    result = thread->entry(thread->argument);
    pthread_cleanup_pop(0);
    common_threadStopHandler(thread);
    return result;
}

/// Sets the attributes that the record asks for; false when a step fails, which is reported.
bool set_attributes(const COMMON_Thread& thread, pthread_attr_t& attributes, Here here) noexcept
{
    if (failed(pthread_attr_setschedpolicy(&attributes, static_cast<int>(thread.schedule)),
               "Failed to set the scheduling policy", here)) {
        return false;
    }
    if (thread.detachState == COMMON_ThreadDetachDetached &&
        failed(pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED),
               "Failed to set the detach state", here)) {
        return false;
    }
    if (thread.priority != COMMON_ThreadPriorityDefault &&
        failed(pthread_attr_setinheritsched(&attributes, PTHREAD_EXPLICIT_SCHED),
               "Failed to set explicit scheduling", here)) {
        return false;
    }
    // Oddity: also the default priority, whatever the policy, so that a policy without priorities
    // is refused. Test: CommonThreadStart.AttributesThatThePlatformRefusesAreReported.
    const sched_param parameters{.sched_priority = thread.priority};
    if (failed(pthread_attr_setschedparam(&attributes, &parameters),
               "Failed to set the scheduling parameters", here)) {
        return false;
    }
    return thread.stackSize == COMMON_ThreadStackSizeDefault ||
           !failed(pthread_attr_setstacksize(&attributes, thread.stackSize),
                   "Failed to set the stack size", here);
}

/// The STATUS of a call of the platform for a running thread; what failed is reported.
STATUS result_of(int error, const COMMON_Thread& thread, pthread_t id, const char* what,
                 COMMON_LogLevel_t level = COMMON_LogLevelError, Here here = Here::now()) noexcept
{
    if (error == 0) {
        return STATUS_SUCCESS;
    }
    common::report_failure(kSource, level, here, error, "Failed to %s '%s' thread %u", what,
                           thread.name, shown_id(id));
    return level == COMMON_LogLevelError ? STATUS_FAILED : STATUS_SUCCESS;
}

}  // namespace

extern "C" {

STATUS COMMON_Thread_Initialize(COMMON_Thread* thread, COMMON_ThreadEntry_t entry, void* argument)
{
    if (is_null(thread) || is_null(entry)) {
        return STATUS_INVALID_PARAM;
    }
    std::memset(thread, 0, sizeof *thread);
    thread->schedule = COMMON_ThreadScheduleDefault;
    thread->priority = COMMON_ThreadPriorityDefault;
    thread->stackSize = COMMON_ThreadStackSizeDefault;
    thread->entry = entry;
    thread->argument = argument;
    return STATUS_SUCCESS;
}

COMMON_Thread* COMMON_Thread_New(COMMON_ThreadEntry_t entry, void* argument)
{
    if (is_null(entry)) {
        return nullptr;
    }
    auto* const thread = static_cast<COMMON_Thread*>(MEM_Malloc(sizeof(COMMON_Thread)));
    // GCOVR_EXCL_START unreachable text: both arguments are there
    if (COMMON_Thread_Initialize(thread, entry, argument) != STATUS_SUCCESS) {
        COMMON_REPORT(kSource, Error, "Failed to initialize the thread!");
        MEM_Free(thread);
        return nullptr;
    }
    // GCOVR_EXCL_STOP
    return thread;
}

STATUS COMMON_Thread_Start(COMMON_Thread* thread)
{
    if (is_null(thread)) {
        return STATUS_INVALID_PARAM;
    }
    pthread_attr_t attributes;
    if (failed(pthread_attr_init(&attributes), "Failed to initialize the attributes") ||
        !set_attributes(*thread, attributes, Here::now())) {
        return STATUS_FAILED;
    }
    // Into the record, as the thread may clear its id before this returns.
    const int error = pthread_create(&thread->id, &attributes, common_threadStartHandler, thread);
    if (error != 0) {
        clear_id(*thread);  // the platform writes one even then
    }
    if (failed(error, "Failed to create the thread")) {
        return STATUS_FAILED;
    }
    if (thread->name[0] == '\0') {
        std::snprintf(thread->name, sizeof thread->name, "Unnamed-%u",
                      shown_id(thread_id(*thread)));
    }
    // GCOVR_EXCL_START unreachable text: both arguments are there
    if (COMMON_Thread_SetName(thread, thread->name) != STATUS_SUCCESS) {
        COMMON_REPORT(kSource, Error, "Failed to set name to the thread");
    }
    // GCOVR_EXCL_STOP
    return STATUS_SUCCESS;
}

STATUS COMMON_Thread_Create(COMMON_ThreadEntry_t entry, const char* name, void* argument,
                            COMMON_Thread** thread)
{
    if (is_null(entry) || is_null(name) || is_null(thread)) {
        return STATUS_INVALID_PARAM;
    }
    *thread = COMMON_Thread_New(entry, argument);
    // GCOVR_EXCL_START unreachable text: there is an entry and a name, and memory does not run out
    if (*thread == nullptr) {
        COMMON_REPORT(kSource, Error, "Failed to initialize and create a new thread");
        return STATUS_FAILED;
    }
    if (COMMON_Thread_SetName(*thread, name) != STATUS_SUCCESS) {
        COMMON_REPORT(kSource, Error, "Failed to set the name for thread");
        COMMON_Thread_Delete(*thread);
        return STATUS_FAILED;
    }
    // GCOVR_EXCL_STOP
    if (COMMON_Thread_Start(*thread) != STATUS_SUCCESS) {
        COMMON_REPORT(kSource, Error, "Failed to start a new thread");
        // Oddity: the caller's pointer is left as it is: it tells a start that failed from none.
        // Test: CommonThreadStart.CreateWhoseStartFailsFreesTheRecordAndKeepsItsAddress.
        COMMON_Thread_Delete(*thread);
        return STATUS_FAILED;
    }
    return STATUS_SUCCESS;
}

STATUS COMMON_Thread_Delete(COMMON_Thread* thread)
{
    if (thread == nullptr || thread_id(*thread) != 0) {
        COMMON_REPORT(kSource, Error, "%s", kInvalidParameters);
        return STATUS_INVALID_PARAM;
    }
    MEM_Free(thread);
    return STATUS_SUCCESS;
}

STATUS COMMON_Thread_Join(COMMON_Thread* thread)
{
    if (is_null(thread)) {
        return STATUS_INVALID_PARAM;
    }
    const pthread_t id = thread_id(*thread);
    if (id == 0) {
        return STATUS_SUCCESS;
    }
    const int error = pthread_join(id, nullptr);
    // Oddity: a thread that is gone, or is the caller, leaves nothing to wait for, so that it
    // counts as joined. Test: CommonThreadPlatform.FailureIsReported.
    const bool tolerated = error == ESRCH || error == EDEADLK;
    return result_of(error, *thread, id, "join",
                     tolerated ? COMMON_LogLevelWarn : COMMON_LogLevelError);
}

STATUS COMMON_Thread_Detach(COMMON_Thread* thread)
{
    if (is_null(thread)) {
        return STATUS_INVALID_PARAM;
    }
    const pthread_t id = thread_id(*thread);
    return result_of(id == 0 ? ESRCH : pthread_detach(id), *thread, id, "detach");
}

STATUS COMMON_Thread_Cancel(COMMON_Thread* thread)
{
    if (is_null(thread)) {
        return STATUS_INVALID_PARAM;
    }
    const pthread_t id = thread_id(*thread);
    if (id == 0) {
        COMMON_REPORT(kSource, Error, "%s", kInvalidParameters);
        return STATUS_INVALID_PARAM;
    }
    return result_of(pthread_cancel(id), *thread, id, "cancel");
}

STATUS COMMON_Thread_Kill(COMMON_Thread* thread, int32_t signal)
{
    if (is_null(thread)) {
        return STATUS_INVALID_PARAM;
    }
    const pthread_t id = thread_id(*thread);
    return result_of(id == 0 ? ESRCH : pthread_kill(id, signal), *thread, id, "send the signal to");
}

STATUS COMMON_Thread_Exit(COMMON_Thread* thread, void* result)
{
    if (is_null(thread)) {
        return STATUS_INVALID_PARAM;
    }
    pthread_exit(result);
}

pthread_t COMMON_Thread_Self(void)
{
    return pthread_self();
}

int32_t COMMON_Thread_Once(pthread_once_t* control, void (*function)(void))
{
    // Oddity: failures go to standard output, as the log itself is initialised by this.
    // Test: CommonThreadRun.OnceComplainsOnStandardOutput.
    if (control == nullptr || function == nullptr) {
        std::fputs(kInvalidParameters, stdout);
        return std::fflush(stdout);
    }
    const int error = pthread_once(control, function);
    if (error != 0) {
        std::printf("The once control failed with error: %s (%d)", std::strerror(error), error);
        return std::fflush(stdout);
    }
    return 0;
}

pthread_t COMMON_Thread_GetId(const COMMON_Thread* thread)
{
    return is_null(thread) ? pthread_t{} : thread_id(*thread);
}

const char* COMMON_Thread_GetName(const COMMON_Thread* thread)
{
    return is_null(thread) ? nullptr : thread->name;
}

COMMON_ThreadDetach_t COMMON_Thread_GetDetachState(const COMMON_Thread* thread)
{
    return is_null(thread) ? std::uint32_t{COMMON_ThreadDetachJoinable} : thread->detachState;
}

uint32_t COMMON_Thread_GetPriority(const COMMON_Thread* thread)
{
    return is_null(thread) ? std::uint32_t{COMMON_ThreadPriorityDefault} : thread->priority;
}

COMMON_ThreadSchedule_t COMMON_Thread_GetSchedule(const COMMON_Thread* thread)
{
    return is_null(thread) ? std::uint32_t{COMMON_ThreadScheduleDefault} : thread->schedule;
}

uint32_t COMMON_Thread_GetStackSize(const COMMON_Thread* thread)
{
    return is_null(thread) ? std::uint32_t{COMMON_ThreadStackSizeDefault} : thread->stackSize;
}

void COMMON_Thread_SetDetachState(COMMON_Thread* thread, COMMON_ThreadDetach_t detachState)
{
    if (!is_null(thread)) {
        thread->detachState = detachState;
    }
}

void COMMON_Thread_SetPriority(COMMON_Thread* thread, uint32_t priority)
{
    if (!is_null(thread)) {
        thread->priority = static_cast<std::uint8_t>(priority);
    }
}

void COMMON_Thread_SetSchedule(COMMON_Thread* thread, COMMON_ThreadSchedule_t schedule)
{
    if (!is_null(thread)) {
        thread->schedule = schedule;
    }
}

void COMMON_Thread_SetStackSize(COMMON_Thread* thread, uint32_t stackSize)
{
    if (!is_null(thread)) {
        thread->stackSize = stackSize;
    }
}

STATUS COMMON_Thread_SetName(COMMON_Thread* thread, const char* name)
{
    if (is_null(thread) || is_null(name)) {
        return STATUS_INVALID_PARAM;
    }
    const std::size_t length = strnlen(name, COMMON_ThreadNameLength);
    // The start sets the record's own name while the new thread may be reading it: nothing is
    // written then.
    if (name != thread->name) {
        std::memmove(thread->name, name, length);
    }
    if (thread->name[length] != '\0') {
        thread->name[length] = '\0';
    }
    return STATUS_SUCCESS;
}

const char* COMMON_ThreadSchedule_ToString(COMMON_ThreadSchedule_t schedule)
{
    switch (schedule) {
    case COMMON_ThreadScheduleOther:
        return "Other";
    case COMMON_ThreadScheduleFifo:
        return "First In, First Out (FIFO)";
    case COMMON_ThreadScheduleRoundRobin:
        return "Round Robin";
    default:
        return "Invalid";
    }
}

const char* COMMON_ThreadDetach_StateToString(COMMON_ThreadDetach_t detachState)
{
    switch (detachState) {
    case COMMON_ThreadDetachJoinable:
        return "Joinable";
    case COMMON_ThreadDetachDetached:
        return "Detached";
    default:
        return "Invalid";
    }
}

}  // extern "C"
