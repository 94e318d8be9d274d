// The steps of a commit, in order, and each call of the platform that fails.
#include <cerrno>
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

namespace {

/// Sets everything that a commit has a step for.
void set_all_attributes(COMMON_Mutex* mutex)
{
    COMMON_Mutex_SetPriorityCeiling(mutex, 17);
    COMMON_Mutex_SetProtocol(mutex, COMMON_MutexProtocolProtected);
    COMMON_Mutex_SetRecursive(mutex, 1);
    COMMON_Mutex_SetShared(mutex, 1);
    COMMON_Mutex_SetType(mutex, COMMON_MutexTypeErrorChecking);
}

// Order.

const Call kCalls[] = {Call::pthread_mutexattr_init,        Call::pthread_mutexattr_setprioceiling,
                       Call::pthread_mutexattr_setprotocol, Call::pthread_mutexattr_settype,
                       Call::pthread_mutexattr_setpshared,  Call::pthread_mutex_init};

/// Notes each function of the platform during a commit, that for the type at its `nth` call.
std::vector<std::string> trace_commit(COMMON_Mutex& mutex, int nth_type)
{
    std::vector<std::string> trace;
    for (const Call call : kCalls) {
        fault::on_call(call, call == Call::pthread_mutexattr_settype ? nth_type : 1,
                       [&trace, call] { trace.emplace_back(fault::name(call)); });
    }
    COMMON_Mutex_Commit(&mutex);
    return trace;
}

FRESH_TEST(CommonMutexFault, DefaultRecordTakesTwoSteps)
{
    COMMON_Mutex mutex;
    COMMON_Mutex_Initialize(&mutex);
    EXPECT_THAT(trace_commit(mutex, 1),
                ElementsAre("pthread_mutexattr_init", "pthread_mutex_init"));
    COMMON_Mutex_Destroy(&mutex);
}

FRESH_TEST(CommonMutexFault, FullRecordTakesAllSteps)
{
    COMMON_Mutex mutex;
    COMMON_Mutex_Initialize(&mutex);
    set_all_attributes(&mutex);
    EXPECT_THAT(trace_commit(mutex, 1),
                ElementsAre("pthread_mutexattr_init", "pthread_mutexattr_setprioceiling",
                            "pthread_mutexattr_setprotocol", "pthread_mutexattr_settype",
                            "pthread_mutexattr_setpshared", "pthread_mutex_init"));
    COMMON_Mutex_Destroy(&mutex);
    EXPECT_THAT(trace_commit(mutex, 2),
                ElementsAre("pthread_mutexattr_init", "pthread_mutexattr_setprioceiling",
                            "pthread_mutexattr_setprotocol", "pthread_mutexattr_setpshared",
                            "pthread_mutexattr_settype", "pthread_mutex_init"));
    EXPECT_EQ(fault::calls(Call::pthread_mutexattr_settype), 4);
    COMMON_Mutex_Destroy(&mutex);
}

// Steps that fail.

struct Step {
    const char* name;
    Call call;
    int nth;
    int error;
    const char* message;
};

void PrintTo(const Step& step, std::ostream* stream)
{
    *stream << step.name;
}

const Step kSteps[] = {
    {"Initialize", Call::pthread_mutexattr_init, 1, ENOMEM,
     "Failed to initialize the mutex attributes with error: Cannot allocate memory (12)"},
    {"Ceiling", Call::pthread_mutexattr_setprioceiling, 1, EINVAL,
     "Failed to set the priority ceiling with error: Invalid argument (22)"},
    {"Protocol", Call::pthread_mutexattr_setprotocol, 1, ENOTSUP,
     "Failed to set the mutexProtocol with error: Operation not supported (95)"},
    {"Recursive", Call::pthread_mutexattr_settype, 1, EINVAL,
     "Failed to set the recursive attribute with error: Invalid argument (22)"},
    {"Shared", Call::pthread_mutexattr_setpshared, 1, ENOTSUP,
     "Failed to set the shared attribute with error: Operation not supported (95)"},
    {"Type", Call::pthread_mutexattr_settype, 2, EINVAL,
     "Failed to set the type with error: Invalid argument (22)"},
    {"Mutex", Call::pthread_mutex_init, 1, EAGAIN,
     "Failed to initialize the mutex with error: Resource temporarily unavailable (11)"},
};

class CommonMutexStep : public testing::TestWithParam<Step> {};

TEST_P(CommonMutexStep, FailureIsReportedAndTheOtherStepsAreTaken)
{
    const Outcome outcome = well([] {
        COMMON_Mutex mutex;
        COMMON_Mutex_Initialize(&mutex);
        set_all_attributes(&mutex);
        fault::fail(GetParam().call, GetParam().nth, GetParam().error);
        COMMON_Mutex_Commit(&mutex);
        EXPECT_EQ(fault::fired(), 1);
        for (const Call call : kCalls) {
            EXPECT_EQ(fault::calls(call), call == Call::pthread_mutexattr_settype ? 2 : 1)
                << fault::name(call);
        }
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("COMMON_Mutex_Commit", GetParam().message)));
}

INSTANTIATE_TEST_SUITE_P(Steps, CommonMutexStep, testing::ValuesIn(kSteps),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(CommonMutexFault, AllStepsMayFail)
{
    const Outcome outcome = well([] {
        COMMON_Mutex mutex;
        COMMON_Mutex_Initialize(&mutex);
        set_all_attributes(&mutex);
        for (const Step& step : kSteps) {
            fault::fail_always(step.call, step.error);
        }
        COMMON_Mutex_Commit(&mutex);
    });
    std::vector<Report> all;
    for (const Step& step : kSteps) {
        all.push_back(said("COMMON_Mutex_Commit", step.message));
    }
    EXPECT_THAT(outcome.log, testing::ElementsAreArray(all));
}

TEST(CommonMutexFault, MutexAfterAFailedStepHasTheOtherAttributes)
{
    const Outcome outcome = well([] {
        fault::fail(Call::pthread_mutexattr_init);
        fault::fail(Call::pthread_mutexattr_setpshared);
        Built mutex([](COMMON_Mutex* record) {
            COMMON_Mutex_SetShared(record, 1);
            COMMON_Mutex_SetType(record, COMMON_MutexTypeRecursive);
        });
        EXPECT_EQ(relocking_by_holder(mutex), 0);
    });
    EXPECT_THAT(outcome.log, testing::SizeIs(2));
}

// Operations.

TEST(CommonMutexFault, LockAndUnlockThatFailAreReported)
{
    const Outcome outcome = well([] {
        Built mutex;
        fault::fail(Call::pthread_mutex_lock, 1, EAGAIN);
        COMMON_Mutex_Lock(&mutex);
        EXPECT_TRUE(is_free(mutex));
        COMMON_Mutex_Lock(&mutex);
        fault::fail(Call::pthread_mutex_unlock, 1, EPERM);
        COMMON_Mutex_Unlock(&mutex);
        EXPECT_EQ(fault::fired(), 2);
    });
    EXPECT_THAT(
        outcome.log,
        ElementsAre(
            said("common_mutexHandler",
                 "The mutex operation failed with error: Resource temporarily unavailable (11)"),
            said("common_mutexHandler",
                 "The mutex operation failed with error: Operation not permitted (1)")));
}

FRESH_TEST(CommonMutexFault, RelockUnlocksAndThenLocks)
{
    Built mutex;
    COMMON_Mutex_Lock(&mutex);
    std::vector<std::string> trace;
    for (const Call call : {Call::pthread_mutex_lock, Call::pthread_mutex_unlock}) {
        fault::on_call(call, 1, [&trace, call] { trace.emplace_back(fault::name(call)); });
    }
    COMMON_Mutex_Relock(&mutex);
    EXPECT_THAT(trace, ElementsAre("pthread_mutex_unlock", "pthread_mutex_lock"));
    COMMON_Mutex_Unlock(&mutex);
}

FRESH_TEST(CommonMutexFault, RelockLetsAnotherThreadInBetween)
{
    Built mutex;
    COMMON_Mutex_Lock(&mutex);
    bool was_free = false;
    fault::on_call(Call::pthread_mutex_lock, 1, [&] { was_free = is_free(mutex); });
    COMMON_Mutex_Relock(&mutex);
    EXPECT_TRUE(was_free);
    COMMON_Mutex_Unlock(&mutex);
}

TEST(CommonMutexFault, DestroyThatFailsIsReported)
{
    const Outcome outcome = well([] {
        Built mutex;
        fault::fail(Call::pthread_mutex_destroy, 1, EINVAL);
        COMMON_Mutex_Destroy(&mutex);
    });
    EXPECT_THAT(outcome.log,
                ElementsAre(said("COMMON_Mutex_Destroy", "Failed to destroy the mutex with error: "
                                                         "Invalid argument (22)")));
}

// New and delete.

FRESH_TEST(CommonMutexFault, NewDoesNotCommit)
{
    COMMON_Mutex* const mutex = COMMON_Mutex_New();
    EXPECT_EQ(fault::calls(Call::pthread_mutexattr_init), 0);
    EXPECT_EQ(fault::calls(Call::pthread_mutex_init), 0);
    COMMON_Mutex_Delete(mutex);
}

TEST(CommonMutexFault, DeleteDestroysAndFreesWhateverHappens)
{
    const Outcome outcome = well([] {
        COMMON_Log_CacheSet(0);
        const long blocks = fault::outstanding_blocks();
        COMMON_Mutex* const mutex = COMMON_Mutex_New();
        EXPECT_EQ(fault::outstanding_blocks(), blocks + 1);
        COMMON_Mutex_Delete(mutex);
        EXPECT_EQ(fault::outstanding_blocks(), blocks);
        EXPECT_EQ(fault::calls(Call::pthread_mutex_destroy), 1);
        COMMON_Mutex* const refused = COMMON_Mutex_New();
        fault::fail(Call::pthread_mutex_destroy, 1, EBUSY);
        bool freed_before = true;
        fault::on_call(Call::pthread_mutex_destroy, 1,
                       [&] { freed_before = fault::outstanding_blocks() == blocks; });
        COMMON_Mutex_Delete(refused);
        EXPECT_FALSE(freed_before);
        EXPECT_EQ(fault::outstanding_blocks(), blocks);
    });
    EXPECT_THAT(outcome.log,
                ElementsAre(said("COMMON_Mutex_Destroy", "Failed to destroy the mutex with error: "
                                                         "Device or resource busy (16)")));
}

TEST(CommonMutexFault, RecordWithoutMemoryEndsTheProcess)
{
    const Outcome outcome = run_fresh([] {
        fault::fail(Call::malloc);
        (void)COMMON_Mutex_New();
    });
    EXPECT_THAT(outcome, exited(1));
    EXPECT_THAT(outcome.log,
                ElementsAre(said(COMMON_LogLevelCritical, "MALLOC", "mem_malloc", "ErrorLog_Write",
                                 testing::EndsWith(") Could not allocate memory."))));
}

}  // namespace
