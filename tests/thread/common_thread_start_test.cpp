// The steps of a start, in order, and each call of the platform that fails.
#include <cerrno>
#include <cstdio>
#include <ostream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <unistd.h>

#include "common_log_settings.h"
#include "common_thread.h"
#include "fault.h"
#include "fresh_process.h"
#include "log_expect.h"
#include "parked_thread.h"

using namespace harness;
using fault::Call;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// Sets everything that the start has a step for.
void set_all_attributes(COMMON_Thread& thread)
{
    COMMON_Thread_SetSchedule(&thread, COMMON_ThreadScheduleOther);
    COMMON_Thread_SetPriority(&thread, 0);
    COMMON_Thread_SetDetachState(&thread, COMMON_ThreadDetachDetached);
    COMMON_Thread_SetStackSize(&thread, 1U << 20);
}

// Order.

/// Notes the name of each call of the platform.
std::vector<std::string> trace_start(COMMON_Thread& thread)
{
    std::vector<std::string> trace;
    for (const Call call : {Call::pthread_attr_init, Call::pthread_attr_setschedpolicy,
                            Call::pthread_attr_setdetachstate, Call::pthread_attr_setinheritsched,
                            Call::pthread_attr_setschedparam, Call::pthread_attr_setstacksize,
                            Call::pthread_create}) {
        fault::on_call(call, 1, [&trace, call] { trace.emplace_back(fault::name(call)); });
    }
    EXPECT_EQ(COMMON_Thread_Start(&thread), STATUS_SUCCESS);
    return trace;
}

FRESH_TEST(CommonThreadStart, DefaultRecordTakesFourSteps)
{
    ParkedThread parked;
    EXPECT_THAT(trace_start(parked.record),
                ElementsAre("pthread_attr_init", "pthread_attr_setschedpolicy",
                            "pthread_attr_setschedparam", "pthread_create"));
    ASSERT_TRUE(parked.running.wait());
    parked.end();
}

FRESH_TEST(CommonThreadStart, FullRecordTakesAllSteps)
{
    ParkedThread parked;
    set_all_attributes(parked.record);
    EXPECT_THAT(trace_start(parked.record),
                ElementsAre("pthread_attr_init", "pthread_attr_setschedpolicy",
                            "pthread_attr_setdetachstate", "pthread_attr_setinheritsched",
                            "pthread_attr_setschedparam", "pthread_attr_setstacksize",
                            "pthread_create"));
    parked.go.set();
    EXPECT_TRUE(has_ended(parked.record));
}

// Steps that fail.

struct Step {
    Call call;
    int error;
    const char* message;
};

void PrintTo(const Step& step, std::ostream* stream)
{
    *stream << fault::name(step.call);
}

const Step kSteps[] = {
    {Call::pthread_attr_init, ENOMEM,
     "Failed to initialize the attributes with error: Cannot allocate memory (12)"},
    {Call::pthread_attr_setschedpolicy, EINVAL,
     "Failed to set the scheduling policy with error: Invalid argument (22)"},
    {Call::pthread_attr_setdetachstate, EINVAL,
     "Failed to set the detach state with error: Invalid argument (22)"},
    {Call::pthread_attr_setinheritsched, EINVAL,
     "Failed to set explicit scheduling with error: Invalid argument (22)"},
    {Call::pthread_attr_setschedparam, ENOTSUP,
     "Failed to set the scheduling parameters with error: Operation not supported (95)"},
    {Call::pthread_attr_setstacksize, EINVAL,
     "Failed to set the stack size with error: Invalid argument (22)"},
    {Call::pthread_create, EAGAIN,
     "Failed to create the thread with error: Resource temporarily unavailable (11)"},
};

class CommonThreadStep : public testing::TestWithParam<Step> {};

TEST_P(CommonThreadStep, FailureIsReportedAndMakesNoThread)
{
    const Outcome outcome = well([] {
        ParkedThread parked;
        set_all_attributes(parked.record);
        fault::fail(GetParam().call, 1, GetParam().error);
        EXPECT_EQ(COMMON_Thread_Start(&parked.record), STATUS_FAILED);
        EXPECT_EQ(fault::fired(), 1);
        EXPECT_EQ(fault::calls(Call::pthread_create), GetParam().call == Call::pthread_create);
        EXPECT_EQ(COMMON_Thread_GetId(&parked.record), pthread_t{});
        EXPECT_STREQ(COMMON_Thread_GetName(&parked.record), "");
        EXPECT_FALSE(parked.running.is_set());
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("COMMON_Thread_Start", GetParam().message)));
}

INSTANTIATE_TEST_SUITE_P(Calls, CommonThreadStep, testing::ValuesIn(kSteps),
                         [](const auto& test) { return fault::name(test.param.call); });

TEST(CommonThreadStart, RecordCanBeStartedAfterAFailure)
{
    well([] {
        ParkedThread parked;
        fault::fail(Call::pthread_create);
        EXPECT_EQ(COMMON_Thread_Start(&parked.record), STATUS_FAILED);
        parked.start();
        parked.end();
    });
}

// The platform has written an id by then, of a thread that is not there.
TEST(CommonThreadStart, RecordWhoseStartFailedIsOneWhoseThreadDoesNotRun)
{
    well([] {
        ParkedThread parked;
        COMMON_Thread* const thread =
            COMMON_Thread_New(parked.record.entry, parked.record.argument);
        fault::fail(Call::pthread_create);
        EXPECT_EQ(COMMON_Thread_Start(thread), STATUS_FAILED);
        EXPECT_EQ(COMMON_Thread_GetId(thread), pthread_t{});
        EXPECT_EQ(COMMON_Thread_Join(thread), STATUS_SUCCESS);
        EXPECT_EQ(COMMON_Thread_Cancel(thread), STATUS_INVALID_PARAM);
        EXPECT_EQ(COMMON_Thread_Kill(thread, 0), STATUS_FAILED);
        EXPECT_EQ(COMMON_Thread_Detach(thread), STATUS_FAILED);
        EXPECT_EQ(COMMON_Thread_Delete(thread), STATUS_SUCCESS);
    });
}

/// Values that the platform itself refuses.
TEST(CommonThreadStart, AttributesThatThePlatformRefusesAreReported)
{
    const Outcome outcome = well([] {
        ParkedThread parked;
        COMMON_Thread_SetSchedule(&parked.record, 99);
        EXPECT_EQ(COMMON_Thread_Start(&parked.record), STATUS_FAILED);
        // The default priority is set whatever the policy, and this one has no priorities.
        COMMON_Thread_SetSchedule(&parked.record, COMMON_ThreadScheduleOther);
        EXPECT_EQ(COMMON_Thread_Start(&parked.record), STATUS_FAILED);
        COMMON_Thread_SetSchedule(&parked.record, COMMON_ThreadScheduleRoundRobin);
        COMMON_Thread_SetPriority(&parked.record, 200);
        EXPECT_EQ(COMMON_Thread_Start(&parked.record), STATUS_FAILED);
        COMMON_Thread_SetPriority(&parked.record, COMMON_ThreadPriorityDefault);
        COMMON_Thread_SetStackSize(&parked.record, 1);
        EXPECT_EQ(COMMON_Thread_Start(&parked.record), STATUS_FAILED);
        EXPECT_EQ(fault::calls(Call::pthread_create), 0);
    });
    EXPECT_THAT(outcome.log,
                ElementsAre(said("COMMON_Thread_Start", kSteps[1].message),
                            said("COMMON_Thread_Start", "Failed to set the scheduling "
                                                        "parameters with error: Invalid "
                                                        "argument (22)"),
                            said("COMMON_Thread_Start", "Failed to set the scheduling "
                                                        "parameters with error: Invalid "
                                                        "argument (22)"),
                            said("COMMON_Thread_Start", kSteps[5].message)));
}

// Create.

TEST(CommonThreadStart, CreateWhoseStartFailsFreesTheRecordAndKeepsItsAddress)
{
    const Outcome outcome = well([] {
        COMMON_Log_Acceptable(COMMON_LogLevelInfo);
        COMMON_Log_CacheSet(0);
        const long blocks = fault::outstanding_blocks();
        ParkedThread parked;
        COMMON_Thread* thread = nullptr;
        fault::fail(Call::pthread_create);
        EXPECT_EQ(COMMON_Thread_Create(parked.record.entry, "name", &parked, &thread),
                  STATUS_FAILED);
        EXPECT_NE(thread, nullptr);
        EXPECT_EQ(fault::outstanding_blocks(), blocks);
    });
    EXPECT_THAT(outcome.log,
                ElementsAre(said("COMMON_Thread_Start", kSteps[6].message),
                            said("COMMON_Thread_Create", "Failed to start a new thread")));
}

FRESH_TEST(CommonThreadStart, CreateStoresTheRecordBeforeTheStart)
{
    ParkedThread parked;
    COMMON_Thread* thread = nullptr;
    bool stored = false;
    fault::on_call(Call::pthread_attr_init, 1, [&] { stored = thread != nullptr; });
    EXPECT_EQ(COMMON_Thread_Create(parked.record.entry, "name", &parked, &thread), STATUS_SUCCESS);
    EXPECT_TRUE(stored);
    ASSERT_TRUE(parked.running.wait());
    parked.end();
    ASSERT_TRUE(has_ended(*thread));
    EXPECT_EQ(COMMON_Thread_Delete(thread), STATUS_SUCCESS);
}

TEST(CommonThreadStart, RecordWithoutMemoryEndsTheProcess)
{
    const Outcome outcome = run_fresh([] {
        fault::fail(Call::malloc);
        (void)COMMON_Thread_New([](void*) -> void* { return nullptr; }, nullptr);
    });
    EXPECT_THAT(outcome, exited(1));
    EXPECT_THAT(outcome.log,
                ElementsAre(said(COMMON_LogLevelCritical, "MALLOC", "mem_malloc", "ErrorLog_Write",
                                 testing::EndsWith(") Could not allocate memory."))));
}

// Calls for a thread that runs.

struct Platform {
    const char* name;
    Call call;
    int error;
    COMMON_LogLevel_t level;
    STATUS result;
    const char* function;
    const char* before;  ///< the thread's name and id stand between these
    const char* after;
    STATUS (*run)(COMMON_Thread*);
};

void PrintTo(const Platform& platform, std::ostream* stream)
{
    *stream << platform.name;
}

const Platform kPlatformCalls[] = {
    {"JoinInvalid", Call::pthread_join, EINVAL, COMMON_LogLevelError, STATUS_FAILED,
     "COMMON_Thread_Join", "Failed to join '", " with error: Invalid argument (22)",
     COMMON_Thread_Join},
    {"JoinDenied", Call::pthread_join, EPERM, COMMON_LogLevelError, STATUS_FAILED,
     "COMMON_Thread_Join", "Failed to join '", " with error: Operation not permitted (1)",
     COMMON_Thread_Join},
    {"JoinGone", Call::pthread_join, ESRCH, COMMON_LogLevelWarn, STATUS_SUCCESS,
     "COMMON_Thread_Join", "Failed to join '", " with error: No such process (3)",
     COMMON_Thread_Join},
    {"JoinDeadlock", Call::pthread_join, EDEADLK, COMMON_LogLevelWarn, STATUS_SUCCESS,
     "COMMON_Thread_Join", "Failed to join '", " with error: Resource deadlock avoided (35)",
     COMMON_Thread_Join},
    {"DetachInvalid", Call::pthread_detach, EINVAL, COMMON_LogLevelError, STATUS_FAILED,
     "COMMON_Thread_Detach", "Failed to detach '", " with error: Invalid argument (22)",
     COMMON_Thread_Detach},
    {"DetachGone", Call::pthread_detach, ESRCH, COMMON_LogLevelError, STATUS_FAILED,
     "COMMON_Thread_Detach", "Failed to detach '", " with error: No such process (3)",
     COMMON_Thread_Detach},
    {"CancelGone", Call::pthread_cancel, ESRCH, COMMON_LogLevelError, STATUS_FAILED,
     "COMMON_Thread_Cancel", "Failed to cancel '", " with error: No such process (3)",
     COMMON_Thread_Cancel},
    {"KillGone", Call::pthread_kill, ESRCH, COMMON_LogLevelError, STATUS_FAILED,
     "COMMON_Thread_Kill", "Failed to send the signal to '", " with error: No such process (3)",
     [](COMMON_Thread* thread) { return COMMON_Thread_Kill(thread, 0); }},
};

class CommonThreadPlatform : public testing::TestWithParam<Platform> {};

TEST_P(CommonThreadPlatform, FailureIsReported)
{
    const Platform& platform = GetParam();
    const Outcome outcome = well([&] {
        ParkedThread parked;
        COMMON_Thread_SetName(&parked.record, "100% busy");
        parked.start();
        fault::fail(platform.call, 1, platform.error);
        EXPECT_EQ(platform.run(&parked.record), platform.result);
        EXPECT_EQ(fault::fired(), 1);
        EXPECT_EQ(COMMON_Thread_GetId(&parked.record), parked.self);
        dprintf(STDOUT_FILENO, "%s", shown_id(parked.self).c_str());
        parked.end();
    });
    EXPECT_THAT(
        outcome.log,
        ElementsAre(said(platform.function,
                         platform.before + ("100% busy' thread " + outcome.out) + platform.after,
                         platform.level)));
}

INSTANTIATE_TEST_SUITE_P(Calls, CommonThreadPlatform, testing::ValuesIn(kPlatformCalls),
                         [](const auto& test) { return std::string(test.param.name); });

FRESH_TEST(CommonThreadStart, JoinWaitsForTheThread)
{
    ParkedThread parked;
    parked.start();
    fault::on_call(Call::pthread_join, 1, [&] { parked.go.set(); });
    EXPECT_EQ(COMMON_Thread_Join(&parked.record), STATUS_SUCCESS);
    EXPECT_EQ(COMMON_Thread_GetId(&parked.record), pthread_t{});
    EXPECT_EQ(fault::calls(Call::pthread_join), 1);
}

TEST(CommonThreadStart, ThreadThatDoesNotRunIsNotHandedToThePlatform)
{
    well([] {
        ParkedThread parked;
        EXPECT_EQ(COMMON_Thread_Join(&parked.record), STATUS_SUCCESS);
        EXPECT_EQ(COMMON_Thread_Cancel(&parked.record), STATUS_INVALID_PARAM);
        EXPECT_EQ(COMMON_Thread_Detach(&parked.record), STATUS_FAILED);
        EXPECT_EQ(fault::calls(Call::pthread_join), 0);
        EXPECT_EQ(fault::calls(Call::pthread_detach), 0);
        EXPECT_EQ(fault::calls(Call::pthread_cancel), 0);
    });
}

// Once.

TEST(CommonThreadStart, OnceThatFailsIsPrinted)
{
    pthread_once_t control = PTHREAD_ONCE_INIT;
    const Outcome outcome = well([&] {
        fault::fail(Call::pthread_once, 1, EINVAL);
        const int result = COMMON_Thread_Once(&control, [] { ADD_FAILURE(); });
        _exit(result);
    });
    EXPECT_EQ(outcome.out, "The once control failed with error: Invalid argument (22)");
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(outcome.log, IsEmpty());
}

TEST(CommonThreadStart, OnceGivesTheResultOfTheFlush)
{
    pthread_once_t control = PTHREAD_ONCE_INIT;
    well([&] {
        fault::fail_always(Call::fflush);
        EXPECT_EQ(COMMON_Thread_Once(nullptr, nullptr), EOF);
        fault::fail(Call::pthread_once);
        EXPECT_EQ(COMMON_Thread_Once(&control, [] {}), EOF);
        EXPECT_EQ(COMMON_Thread_Once(&control, [] {}), 0);
    });
}

}  // namespace
