// Monitors that are misused or whose calls of the platform fail.
#include "common_monitor.h"

#include <cerrno>
#include <csignal>
#include <ctime>
#include <ostream>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "built_mutex.h"
#include "common_log_settings.h"
#include "fault.h"

using namespace harness;
using fault::Call;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// Initialisation.

const Call kCalls[] = {Call::pthread_condattr_init,  Call::pthread_condattr_setclock,
                       Call::pthread_cond_init,      Call::pthread_condattr_destroy,
                       Call::pthread_mutexattr_init, Call::pthread_mutex_init};

FRESH_TEST(CommonMonitorFault, InitializeTakesTheStepsInOrder)
{
    std::vector<std::string> trace;
    for (const Call call : kCalls) {
        fault::on_call(call, 1, [&trace, call] { trace.emplace_back(fault::name(call)); });
    }
    COMMON_Monitor monitor;
    COMMON_Monitor_Initialize(&monitor, nullptr);
    EXPECT_THAT(trace, ElementsAre("pthread_condattr_init", "pthread_condattr_setclock",
                                   "pthread_cond_init", "pthread_condattr_destroy",
                                   "pthread_mutexattr_init", "pthread_mutex_init"));
    EXPECT_EQ(fault::calls(Call::pthread_mutexattr_settype), 0);
    COMMON_Monitor_Destroy(&monitor);
}

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
    {Call::pthread_condattr_init, ENOMEM,
     "Failed to initialize the condition variable attributes with error: Cannot allocate memory "
     "(12)"},
    {Call::pthread_condattr_setclock, EINVAL,
     "Failed to set clock for the condition variable attribute with error: Invalid argument (22)"},
    {Call::pthread_cond_init, EAGAIN,
     "Failed to initialize the condition variable with error: Resource temporarily unavailable "
     "(11)"},
    {Call::pthread_condattr_destroy, EINVAL,
     "Failed to destroy the condition variable attributes with error: Invalid argument (22)"},
};

class CommonMonitorStep : public testing::TestWithParam<Step> {};

TEST_P(CommonMonitorStep, FailureIsReportedAndTheOtherStepsAreTaken)
{
    const Outcome outcome = well([] {
        fault::fail(GetParam().call, 1, GetParam().error);
        COMMON_Monitor monitor{};
        COMMON_Monitor_Initialize(&monitor, nullptr);
        EXPECT_EQ(fault::fired(), 1);
        for (const Call call : kCalls) {
            EXPECT_EQ(fault::calls(call), 1) << fault::name(call);
        }
        EXPECT_EQ(monitor.clockId, CLOCK_MONOTONIC);
        EXPECT_EQ(monitor.mutex.type, COMMON_MutexTypeDefault);
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("COMMON_Monitor_Initialize", GetParam().message)));
}

INSTANTIATE_TEST_SUITE_P(Steps, CommonMonitorStep, testing::ValuesIn(kSteps),
                         [](const auto& test) { return fault::name(test.param.call); });

TEST(CommonMonitorFault, AllStepsMayFail)
{
    const Outcome outcome = well([] {
        for (const Step& step : kSteps) {
            fault::fail(step.call, 1, step.error);
        }
        fault::fail(Call::pthread_mutex_init, 1, EAGAIN);
        COMMON_Monitor monitor{};
        COMMON_Monitor_Initialize(&monitor, nullptr);
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("COMMON_Monitor_Initialize", kSteps[0].message),
                                         said("COMMON_Monitor_Initialize", kSteps[1].message),
                                         said("COMMON_Monitor_Initialize", kSteps[2].message),
                                         said("COMMON_Monitor_Initialize", kSteps[3].message),
                                         said("COMMON_Mutex_Commit",
                                              "Failed to initialize the mutex with error: Resource "
                                              "temporarily unavailable (11)")));
}

TEST(CommonMonitorFault, ClockThatThePlatformRefusesIsReportedAndKept)
{
    const Outcome outcome = well([] {
        const std::int32_t clock = CLOCK_PROCESS_CPUTIME_ID;
        COMMON_Monitor monitor;
        COMMON_Monitor_Initialize(&monitor, &clock);
        EXPECT_EQ(monitor.clockId, clock);
        COMMON_Monitor_Destroy(&monitor);
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("COMMON_Monitor_Initialize", kSteps[1].message)));
}

// Waits, notifications and destruction.

/// Runs a body with a monitor whose lock is held.
Outcome run_locked(const std::function<void(COMMON_Monitor*)>& body)
{
    return well([&] {
        COMMON_Monitor monitor;
        COMMON_Monitor_Initialize(&monitor, nullptr);
        COMMON_Monitor_Lock(&monitor);
        body(&monitor);
        COMMON_Monitor_Unlock(&monitor);
        COMMON_Monitor_Destroy(&monitor);
    });
}

TEST(CommonMonitorFault, WaitThatFailsIsReported)
{
    const Outcome outcome = run_locked([](COMMON_Monitor* monitor) {
        fault::fail(Call::pthread_cond_wait, 1, EPERM);
        COMMON_Monitor_Wait(monitor);
    });
    EXPECT_THAT(outcome.log,
                ElementsAre(said("COMMON_Monitor_Wait", "Failed to wait on the monitor with error: "
                                                        "Operation not permitted (1)")));
}

TEST(CommonMonitorFault, WaitWithADeadlineThatFailsIsReportedAndHasNotTimedOut)
{
    const Outcome outcome = run_locked([](COMMON_Monitor* monitor) {
        fault::fail(Call::pthread_cond_timedwait, 1, EINVAL);
        EXPECT_EQ(COMMON_Monitor_WaitAbsolute(monitor, 1), 0U);
        fault::fail(Call::pthread_cond_timedwait, 1, EPERM);
        EXPECT_EQ(COMMON_Monitor_WaitTimed(monitor, 1), 0U);
    });
    EXPECT_THAT(outcome.log,
                ElementsAre(said("COMMON_Monitor_WaitAbsolute",
                                 "Failed to wait on the monitor with error: Invalid argument (22)"),
                            said("COMMON_Monitor_WaitAbsolute",
                                 "Failed to wait on the monitor with error: Operation not "
                                 "permitted (1)")));
}

TEST(CommonMonitorFault, TimeOutIsNoFailure)
{
    const Outcome outcome = run_locked([](COMMON_Monitor* monitor) {
        fault::fail(Call::pthread_cond_timedwait, 1, ETIMEDOUT);
        EXPECT_EQ(COMMON_Monitor_WaitAbsolute(monitor, UINT64_MAX), 1U);
        EXPECT_EQ(fault::fired(), 1);
    });
    EXPECT_THAT(outcome.log, IsEmpty());
}

TEST(CommonMonitorFault, ClockThatCannotBeReadCountsAsZero)
{
    const Outcome outcome = run_locked([](COMMON_Monitor* monitor) {
        fault::fail(Call::clock_gettime);
        EXPECT_EQ(COMMON_Monitor_WaitTimed(monitor, 1'000'000), 1U);
    });
    EXPECT_THAT(outcome.log,
                ElementsAre(said(COMMON_LogLevelFatal, "", "common_system",
                                 "COMMON_System_GetTimeByClockId",
                                 "Failed to get the CLOCK_MONOTONIC time with error: Invalid "
                                 "argument (22)")));
}

TEST(CommonMonitorFault, NotificationThatFailsIsReported)
{
    const Outcome outcome = run_locked([](COMMON_Monitor* monitor) {
        fault::fail(Call::pthread_cond_signal, 1, EINVAL);
        COMMON_Monitor_Notify(monitor);
        fault::fail(Call::pthread_cond_broadcast, 1, EPERM);
        COMMON_Monitor_NotifyAll(monitor);
        EXPECT_EQ(fault::fired(), 2);
    });
    EXPECT_THAT(
        outcome.log,
        ElementsAre(said("common_monitorHandler", "Failed to notify the condition variable with "
                                                  "error: Invalid argument (22)"),
                    said("common_monitorHandler", "Failed to notify the condition variable with "
                                                  "error: Operation not permitted (1)")));
}

TEST(CommonMonitorFault, LockThatFailsIsReportedByTheMutex)
{
    const Outcome outcome = run_locked([](COMMON_Monitor* monitor) {
        fault::fail(Call::pthread_mutex_unlock, 1, EPERM);
        COMMON_Monitor_Unlock(monitor);
        fault::fail(Call::pthread_mutex_lock, 1, EAGAIN);
        COMMON_Monitor_Lock(monitor);
        COMMON_Monitor_Lock(monitor);
    });
    EXPECT_THAT(
        outcome.log,
        ElementsAre(
            said("common_mutexHandler",
                 "The mutex operation failed with error: Operation not permitted (1)"),
            said("common_mutexHandler",
                 "The mutex operation failed with error: Resource temporarily unavailable (11)")));
}

TEST(CommonMonitorFault, DestroyReportsBothPartsAndDeleteFreesThem)
{
    const Outcome outcome = well([] {
        COMMON_Log_CacheSet(0);
        const long blocks = fault::outstanding_blocks();
        COMMON_Monitor* const monitor = COMMON_Monitor_New();
        EXPECT_EQ(fault::outstanding_blocks(), blocks + 1);
        fault::fail(Call::pthread_cond_destroy, 1, EBUSY);
        fault::fail(Call::pthread_mutex_destroy, 1, EINVAL);
        COMMON_Monitor_Delete(monitor);
        EXPECT_EQ(fault::fired(), 2);
        EXPECT_EQ(fault::outstanding_blocks(), blocks);
    });
    EXPECT_THAT(outcome.log,
                ElementsAre(said("COMMON_Monitor_Destroy",
                                 "Failed to destroy the condition variabe with error: Device or "
                                 "resource busy (16)"),
                            said("COMMON_Mutex_Destroy",
                                 "Failed to destroy the mutex with error: Invalid argument "
                                 "(22)")));
}

FRESH_TEST(CommonMonitorFault, DestroyTakesTheConditionFirst)
{
    COMMON_Monitor monitor;
    COMMON_Monitor_Initialize(&monitor, nullptr);
    fault::on_call(Call::pthread_cond_destroy, 1,
                   [] { EXPECT_EQ(fault::calls(Call::pthread_mutex_destroy), 0); });
    COMMON_Monitor_Destroy(&monitor);
    EXPECT_EQ(fault::calls(Call::pthread_cond_destroy), 1);
    EXPECT_EQ(fault::calls(Call::pthread_mutex_destroy), 1);
}

TEST(CommonMonitorFault, RecordWithoutMemoryEndsTheProcess)
{
    const Outcome outcome = run_fresh([] {
        fault::fail(Call::malloc);
        (void)COMMON_Monitor_New();
    });
    EXPECT_THAT(outcome, exited(1));
    EXPECT_THAT(outcome.log,
                ElementsAre(said(COMMON_LogLevelCritical, "MALLOC", "mem_malloc", "ErrorLog_Write",
                                 testing::EndsWith(") Could not allocate memory."))));
}

// Null records.

struct NullCall {
    const char* function;
    void (*call)();
};

void PrintTo(const NullCall& null_call, std::ostream* stream)
{
    *stream << null_call.function;
}

const NullCall kNullCalls[] = {
    {"COMMON_Monitor_Initialize", [] { COMMON_Monitor_Initialize(nullptr, nullptr); }},
    {"COMMON_Monitor_Lock", [] { COMMON_Monitor_Lock(nullptr); }},
    {"COMMON_Monitor_Unlock", [] { COMMON_Monitor_Unlock(nullptr); }},
    {"COMMON_Monitor_Wait", [] { COMMON_Monitor_Wait(nullptr); }},
    {"COMMON_Monitor_WaitAbsolute", [] { COMMON_Monitor_WaitAbsolute(nullptr, 0); }},
    {"COMMON_Monitor_WaitTimed", [] { COMMON_Monitor_WaitTimed(nullptr, 0); }},
    {"COMMON_Monitor_Notify", [] { COMMON_Monitor_Notify(nullptr); }},
    {"COMMON_Monitor_NotifyAll", [] { COMMON_Monitor_NotifyAll(nullptr); }},
    {"COMMON_Monitor_Destroy", [] { COMMON_Monitor_Destroy(nullptr); }},
    {"COMMON_Monitor_Delete", [] { COMMON_Monitor_Delete(nullptr); }},
};

class CommonMonitorNull : public testing::TestWithParam<NullCall> {};

TEST_P(CommonMonitorNull, EndsTheProcess)
{
    const Outcome outcome = run_fresh([] { GetParam().call(); });
    EXPECT_THAT(outcome, killed_by(SIGABRT));
    EXPECT_THAT(outcome.err,
                assertion_text("common_monitor", GetParam().function, "((void *)0) != monitor"));
    EXPECT_THAT(outcome.log, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Calls, CommonMonitorNull, testing::ValuesIn(kNullCalls),
                         [](const auto& test) { return std::string(test.param.function); });

}  // namespace
