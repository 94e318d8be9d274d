// Scenarios of the fault sweep: threads, and the record of a process.
#include <cerrno>
#include <unistd.h>

#include "asleep.h"
#include "sanitizer.h"
#include "scenario.h"
#include "wait_until.h"

using namespace faults;
using harness::Event;

namespace {

harness::Report thread_record(const char* function, const std::string& message,
                              COMMON_LogLevel_t level = COMMON_LogLevelError)
{
    return said(level, "", "common_thread", function, message);
}

/// Runs until it is told to end, or is cancelled.
HARNESS_CANCELLED_IN void* until(void* event)
{
    EXPECT_TRUE(static_cast<Event*>(event)->wait());
    return nullptr;
}

/// A thread that runs meanwhile.
class Thread {
public:
    explicit Thread(COMMON_ThreadDetach_t detached = COMMON_ThreadDetachJoinable)
    {
        COMMON_Thread_SetName(record_, "t");
        COMMON_Thread_SetDetachState(record_, detached);
        EXPECT_EQ(COMMON_Thread_Start(record_), STATUS_SUCCESS);
    }
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    /// It has ended, and nobody needs to join it, when the event is set.
    ~Thread()
    {
        end_.set();
        EXPECT_TRUE(harness::wait_until([&] { return COMMON_Thread_GetId(record_) == 0; }));
        EXPECT_EQ(COMMON_Thread_Delete(record_), STATUS_SUCCESS);
    }

    operator COMMON_Thread*() { return record_; }
    void end() { end_.set(); }

private:
    Event end_;
    COMMON_Thread* record_ = COMMON_Thread_New(until, &end_);
};

SCENARIO(COMMON_Thread_New, gives("set"), out_of_memory_ends())
{
    COMMON_Thread* const thread = CALL(COMMON_Thread_New, until, nullptr);
    EXPECT_EQ(COMMON_Thread_Delete(thread), STATUS_SUCCESS);
}

Promise start_fails(Call call, const char* what)
{
    return on(call)
        .gives(shown(STATUS_FAILED))
        .logs({thread_record("COMMON_Thread_Start", std::string(what) + " with error: {error}")});
}

/// With all attributes that a user without rights may ask for.
SCENARIO(COMMON_Thread_Start, gives(shown(STATUS_SUCCESS)),
         start_fails(Call::pthread_attr_init, "Failed to initialize the attributes"),
         start_fails(Call::pthread_attr_setschedpolicy, "Failed to set the scheduling policy"),
         start_fails(Call::pthread_attr_setdetachstate, "Failed to set the detach state"),
         start_fails(Call::pthread_attr_setinheritsched, "Failed to set explicit scheduling"),
         start_fails(Call::pthread_attr_setschedparam, "Failed to set the scheduling parameters"),
         start_fails(Call::pthread_attr_setstacksize, "Failed to set the stack size"),
         start_fails(Call::pthread_create, "Failed to create the thread"))
{
    Event end;
    COMMON_Thread thread;
    COMMON_Thread_Initialize(&thread, until, &end);
    COMMON_Thread_SetSchedule(&thread, COMMON_ThreadScheduleOther);
    COMMON_Thread_SetPriority(&thread, 0);
    COMMON_Thread_SetDetachState(&thread, COMMON_ThreadDetachDetached);
    COMMON_Thread_SetStackSize(&thread, 1 << 20);
    if (CALL(COMMON_Thread_Start, &thread) != STATUS_SUCCESS) {
        EXPECT_EQ(COMMON_Thread_GetId(&thread), pthread_t{});
        EXPECT_EQ(COMMON_Thread_Start(&thread), STATUS_SUCCESS);
    }
    end.set();
    EXPECT_TRUE(harness::wait_until([&] { return COMMON_Thread_GetId(&thread) == 0; }));
}

Promise create_fails(Call call, const char* what)
{
    return on(call)
        .gives(shown(STATUS_FAILED))
        .logs({thread_record("COMMON_Thread_Start", std::string(what) + " with error: {error}"),
               thread_record("COMMON_Thread_Create", "Failed to start a new thread")});
}

SCENARIO(COMMON_Thread_Create, gives(shown(STATUS_SUCCESS)), out_of_memory_ends(),
         create_fails(Call::pthread_attr_init, "Failed to initialize the attributes"),
         create_fails(Call::pthread_attr_setschedpolicy, "Failed to set the scheduling policy"),
         create_fails(Call::pthread_attr_setschedparam, "Failed to set the scheduling parameters"),
         create_fails(Call::pthread_create, "Failed to create the thread"))
{
    Event end;
    COMMON_Thread* thread = nullptr;
    if (CALL(COMMON_Thread_Create, until, "t", &end, &thread) != STATUS_SUCCESS) {
        EXPECT_EQ(COMMON_Thread_Create(until, "t", &end, &thread), STATUS_SUCCESS);
    }
    {
        const OnceAsleep ends([&] { end.set(); });
        EXPECT_EQ(COMMON_Thread_Join(thread), STATUS_SUCCESS);
    }
    EXPECT_EQ(COMMON_Thread_Delete(thread), STATUS_SUCCESS);
}

harness::Report failed_to(const char* function, const char* what,
                          COMMON_LogLevel_t level = COMMON_LogLevelError)
{
    return thread_record(
        function, std::string("Failed to ") + what + " 't' {thread} with error: {error}", level);
}

/// A thread that is not there counts as joined.
SCENARIO(
    COMMON_Thread_Join, gives(shown(STATUS_SUCCESS)),
    on(Call::pthread_join)
        .with({EINVAL})
        .gives(shown(STATUS_FAILED))
        .logs({failed_to("COMMON_Thread_Join", "join")}),
    on(Call::pthread_join).logs({failed_to("COMMON_Thread_Join", "join", COMMON_LogLevelWarn)}))
{
    Thread thread;
    const pthread_t id = COMMON_Thread_GetId(thread);
    const OnceAsleep ends([&] { thread.end(); });
    CALL(COMMON_Thread_Join, thread);
    const int error = harness::fault::last_error();
    if (error != 0) {
        thread.end();
        EXPECT_EQ(pthread_join(id, nullptr), 0);
    }
}

SCENARIO(COMMON_Thread_Detach, gives(shown(STATUS_SUCCESS)),
         on(Call::pthread_detach)
             .gives(shown(STATUS_FAILED))
             .logs({failed_to("COMMON_Thread_Detach", "detach")}))
{
    Thread thread;
    const pthread_t id = COMMON_Thread_GetId(thread);
    CALL(COMMON_Thread_Detach, thread);
    if (failed()) {
        EXPECT_EQ(pthread_detach(id), 0);
    }
}

SCENARIO(COMMON_Thread_Cancel, gives(shown(STATUS_SUCCESS)),
         on(Call::pthread_cancel)
             .gives(shown(STATUS_FAILED))
             .logs({failed_to("COMMON_Thread_Cancel", "cancel")}))
{
    Thread thread(COMMON_ThreadDetachDetached);
    CALL(COMMON_Thread_Cancel, thread);
}

SCENARIO(COMMON_Thread_Kill, gives(shown(STATUS_SUCCESS)),
         on(Call::pthread_kill)
             .gives(shown(STATUS_FAILED))
             .logs({failed_to("COMMON_Thread_Kill", "send the signal to")}))
{
    Thread thread(COMMON_ThreadDetachDetached);
    CALL(COMMON_Thread_Kill, thread, 0);
}

void* exit_by_the_library(void* /*argument*/)
{
    COMMON_Thread own;
    CALL(COMMON_Thread_Exit, &own, nullptr);
    ADD_FAILURE() << "the thread goes on";
    return nullptr;
}

SCENARIO(COMMON_Thread_Exit, Flag::OwnThreads)
{
    COMMON_Thread thread;
    COMMON_Thread_Initialize(&thread, exit_by_the_library, nullptr);
    COMMON_Thread_SetDetachState(&thread, COMMON_ThreadDetachDetached);
    EXPECT_EQ(COMMON_Thread_Start(&thread), STATUS_SUCCESS);
    EXPECT_TRUE(harness::wait_until([&] { return COMMON_Thread_GetId(&thread) == 0; }));
}

int times_run = 0;

/// The log may not be there yet: the failure is printed.
SCENARIO(COMMON_Thread_Once, gives("0"),
         on(Call::pthread_once).prints("The once control failed with error: {error}"))
{
    pthread_once_t control = PTHREAD_ONCE_INIT;
    CALL(COMMON_Thread_Once, &control, [] { ++times_run; });
    EXPECT_EQ(times_run, failed() ? 0 : 1);
    EXPECT_EQ(COMMON_Thread_Once(&control, [] { ++times_run; }), 0);
    EXPECT_EQ(times_run, 1);
}

SCENARIO(ThreadAttributesAreStored)
{
    COMMON_Thread* const thread = COMMON_Thread_New(until, nullptr);
    EXPECT_EQ(CALL(COMMON_Thread_Initialize, thread, until, nullptr), STATUS_SUCCESS);
    CALL(COMMON_Thread_SetDetachState, thread, COMMON_ThreadDetachDetached);
    CALL(COMMON_Thread_SetPriority, thread, 3);
    CALL(COMMON_Thread_SetSchedule, thread, COMMON_ThreadScheduleFifo);
    CALL(COMMON_Thread_SetStackSize, thread, 1 << 20);
    EXPECT_EQ(CALL(COMMON_Thread_SetName, thread, "name"), STATUS_SUCCESS);
    EXPECT_EQ(CALL(COMMON_Thread_GetId, thread), pthread_t{});
    EXPECT_STREQ(CALL(COMMON_Thread_GetName, thread), "name");
    EXPECT_EQ(CALL(COMMON_Thread_GetDetachState, thread), COMMON_ThreadDetachDetached);
    EXPECT_EQ(CALL(COMMON_Thread_GetPriority, thread), 3U);
    EXPECT_EQ(CALL(COMMON_Thread_GetSchedule, thread), COMMON_ThreadScheduleFifo);
    EXPECT_EQ(CALL(COMMON_Thread_GetStackSize, thread), 1U << 20);
    EXPECT_STREQ(CALL(COMMON_ThreadSchedule_ToString, COMMON_ThreadScheduleOther), "Other");
    EXPECT_STREQ(CALL(COMMON_ThreadDetach_StateToString, COMMON_ThreadDetachDetached), "Detached");
    EXPECT_EQ(CALL(COMMON_Thread_Self), pthread_self());
    EXPECT_EQ(CALL(COMMON_Thread_Delete, thread), STATUS_SUCCESS);
}

/// A process by its number, or as the calling one.
std::string shown_process(std::uint32_t id)
{
    return id == static_cast<std::uint32_t>(getpid()) ? "{pid}" : shown(id);
}

/// What the first reading of a process's own record promises.
std::vector<Promise> own_record()
{
    const char* const kFunction = "load_calling_process";
    return {
        on(Call::open).with({EINTR}),
        on({Call::open, Call::fstat})
            .asserts("common_process", kFunction, "STATUS_SUCCESS == status")
            .logs({}),
        on(Call::pthread_once).prints("The once control failed with error: {error}").gives("0")};
}

SCENARIO(COMMON_Process_Get, Flag::First, own_record())
{
    COMMON_Process process;
    CALL(COMMON_Process_Get, &process);
    note_result(shown_process(process.id));
    if (failed() && process.id != 0) {
        EXPECT_THAT(process.name,
                    testing::AnyOf(testing::StrEq(""), testing::StrEq("faults_test")));
    }
    EXPECT_EQ(COMMON_Process_Id(), static_cast<std::uint32_t>(getpid()));
}

SCENARIO(COMMON_Process_Id, Flag::First, own_record())
{
    const std::uint32_t id = UNTOLD_CALL(COMMON_Process_Id);
    note_result(shown_process(id));
    EXPECT_TRUE(id == static_cast<std::uint32_t>(getpid()) || failed());
    EXPECT_EQ(COMMON_Process_Id(), static_cast<std::uint32_t>(getpid()));
}

/// A name that cannot be read is empty; what is told of the rest are debug rows, which are off.
SCENARIO(COMMON_Process_GetById, gives(shown(STATUS_SUCCESS) + " \"faults_test\""),
         on(Call::pthread_once).prints("The once control failed with error: {error}"),
         on({Call::open, Call::read}).with({EINTR}),
         on({Call::open, Call::fstat}).gives(shown(STATUS_FAILED)),
         on(Call::read).gives(shown(STATUS_SUCCESS) + " \"\""))
{
    COMMON_Process process;
    const STATUS status =
        CALL(COMMON_Process_GetById, static_cast<std::uint32_t>(getpid()), &process);
    if (status == STATUS_SUCCESS) {
        note_result(shown(process.name));
    }
    EXPECT_EQ(COMMON_Process_GetById(static_cast<std::uint32_t>(getpid()), &process),
              STATUS_SUCCESS);
    EXPECT_STREQ(process.name, "faults_test");
}

}  // namespace
