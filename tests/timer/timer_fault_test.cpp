// Calls of the platform that fail while a timer is made or started.
#include <cerrno>
#include <string>
#include <sys/prctl.h>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>

#include "common_log_settings.h"
#include "fault.h"
#include "forked.h"
#include "fresh_process.h"
#include "log_expect.h"
#include "shot.h"
#include "timer_faults.h"

using namespace harness;
using fault::Call;
using testing::ElementsAre;

namespace {

// New.

constexpr Call kStepsOfNew[] = {Call::pthread_mutexattr_init,
                                Call::pthread_mutexattr_settype,
                                Call::pthread_mutex_init,
                                Call::pthread_condattr_init,
                                Call::pthread_condattr_setclock,
                                Call::pthread_cond_init,
                                Call::sem_init};

FRESH_TEST(TimerFault, NewTakesItsStepsInOrder)
{
    settled_blocks();
    std::vector<std::string> trace;
    for (const Call call : kStepsOfNew) {
        fault::on_call(call, 1, [&, call] { trace.push_back(fault::name(call)); });
    }
    TMR* const timer = TMR_New();
    EXPECT_THAT(trace, ElementsAre("pthread_mutexattr_init", "pthread_mutexattr_settype",
                                   "pthread_mutex_init", "pthread_condattr_init",
                                   "pthread_condattr_setclock", "pthread_cond_init", "sem_init"));
    EXPECT_EQ(fault::calls(Call::sem_init), 2);
    TMR_Delete(timer);
}

FRESH_TEST(TimerFault, NewWithoutMemoryReportsNothing)
{
    fault::fail(Call::malloc);
    EXPECT_EQ(TMR_New(), nullptr);
    EXPECT_EQ(fault::fired(), 1);
}

class TimerNewStep : public testing::TestWithParam<std::pair<Call, int>> {};

TEST_P(TimerNewStep, FailureIsReportedAndFreesTheRecord)
{
    const Outcome outcome = well([] {
        COMMON_Log_Acceptable(COMMON_LogLevelInfo);
        COMMON_Log_CacheSet(0);
        const long blocks = settled_blocks();
        fault::fail(GetParam().first, GetParam().second);
        EXPECT_EQ(TMR_New(), nullptr);
        EXPECT_EQ(fault::fired(), 1);
        EXPECT_EQ(fault::outstanding_blocks(), blocks);
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("TMR_New", "Could not create timer")));
}

INSTANTIATE_TEST_SUITE_P(Calls, TimerNewStep,
                         testing::Values(std::pair{Call::pthread_mutexattr_init, 1},
                                         std::pair{Call::pthread_mutexattr_settype, 1},
                                         std::pair{Call::pthread_mutex_init, 1},
                                         std::pair{Call::pthread_condattr_init, 1},
                                         std::pair{Call::pthread_condattr_setclock, 1},
                                         std::pair{Call::pthread_cond_init, 1},
                                         std::pair{Call::sem_init, 1},
                                         std::pair{Call::sem_init, 2}),
                         [](const auto& test) {
                             return fault::name(test.param.first) +
                                    std::to_string(test.param.second);
                         });

// Start.

struct Launch {
    Call call;
    const char* restart_message;
};

const Launch kLaunches[] = {
    {Call::malloc, "The timer thread cannot be launched"},
    {Call::pthread_attr_init, "The thread initialization failed!"},
    {Call::pthread_attr_setdetachstate, "The timer thread properties cannot be set"},
    {Call::pthread_create, "The timer thread cannot be launched"},
};

class TimerLaunch : public testing::TestWithParam<Launch> {};

TEST_P(TimerLaunch, FailureOfAStartIsReportedAndLeavesTheTimerIdle)
{
    const Outcome outcome = well([] {
        const int threads = thread_count();
        COMMON_Log_CacheSet(0);
        TMR* const timer = TMR_New();
        Shot shot;
        const long blocks = settled_blocks();
        fault::fail(GetParam().call);
        EXPECT_EQ(shot.start(timer, 5), 0U);
        EXPECT_EQ(fault::fired(), 1);
        EXPECT_EQ(fault::outstanding_blocks(), blocks);
        EXPECT_EQ(TMR_InUse(timer), 0U);
        EXPECT_EQ(TMR_Stop(timer), TMR_ReturnNotSet);
        EXPECT_EQ(thread_count(), threads);
        EXPECT_EQ(shot.start(timer, 5), 1U);
        EXPECT_TRUE(shot.called.wait());
        TMR_Delete(timer);
        EXPECT_EQ(shot.calls, 1);
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("TMR_Start", "Could not start timer")));
}

/// The thread that the stop leaves idle is taken by another start, so that one is launched.
TEST_P(TimerLaunch, FailureOfARestartIsReported)
{
    const Outcome outcome = well([] {
        TMR* const timer = TMR_New();
        Shot shot;
        Shot other;
        EXPECT_EQ(shot.start(timer, kLong_ms), 1U);
        fault::on_call(Call::pthread_mutex_lock, 2, [&] {
            EXPECT_EQ(other.start(timer, kLong_ms), 1U);
            fault::fail(GetParam().call);
        });
        EXPECT_EQ(TMR_Restart(timer), TMR_ReturnFailed);
        EXPECT_EQ(fault::fired(), 1);
        EXPECT_EQ(TMR_Stop(timer), TMR_ReturnSuccess) << "the other start";
        TMR_Delete(timer);
        EXPECT_EQ(shot.calls + other.calls, 0);
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("TMR_Restart", GetParam().restart_message)));
}

INSTANTIATE_TEST_SUITE_P(Calls, TimerLaunch, testing::ValuesIn(kLaunches),
                         [](const auto& test) { return fault::name(test.param.call); });

FRESH_TEST(TimerFault, RestartLaunchesAThreadWhenAnotherStartHasTakenItsOwn)
{
    TMR* const timer = TMR_New();
    Shot shot;
    Shot other;
    EXPECT_EQ(shot.start(timer, kLong_ms), 1U);
    int before = 0;
    fault::on_call(Call::pthread_mutex_lock, 2, [&] {
        EXPECT_EQ(other.start(timer, 500), 1U);
        before = fault::calls(Call::pthread_create);
    });
    EXPECT_EQ(TMR_Restart(timer), TMR_ReturnSuccess);
    EXPECT_EQ(fault::calls(Call::pthread_create), before + 1);
    EXPECT_TRUE(other.called.wait());
    TMR_Delete(timer);
}

TEST(TimerFault, IdleThreadThatCannotBeWokenFailsTheStart)
{
    const Outcome outcome = well([] {
        until_idle_thread_was_met([] {
            TMR* const timer = TMR_New();
            EXPECT_TRUE(has_idle_thread(timer));
            Shot shot;
            fault::fail(Call::pthread_cond_signal);
            const std::uint32_t started = shot.start(timer, 5);
            const bool met = fault::fired() == 1;
            EXPECT_EQ(started, met ? 0U : 1U);
            EXPECT_TRUE(!met || TMR_InUse(timer) == 0);
            fault::reset();
            TMR_Delete(timer);
            EXPECT_TRUE(!met || shot.calls == 0);
            return met;
        });
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("TMR_Start", "Could not start timer")));
}

FRESH_TEST(TimerFault, StoppingAndArmingTakesNoThreadAndHardlyEverASignal)
{
    TMR* const timer = TMR_New();
    Shot shot;
    for (int i = 0; i < 100; ++i) {
        ASSERT_EQ(shot.start(timer, kLong_ms), 1U);
        ASSERT_EQ(TMR_Restart(timer), TMR_ReturnSuccess);
        ASSERT_EQ(TMR_Stop(timer), TMR_ReturnSuccess);
    }
    // For the first stop, and again only when the thread has slept for long.
    EXPECT_GE(fault::calls(Call::pthread_cond_signal), 1);
    EXPECT_LE(fault::calls(Call::pthread_cond_signal), 10);
    EXPECT_LE(fault::calls(Call::pthread_create), 3)
        << "one, unless the process stood still for seconds";
    TMR_Delete(timer);
}

FRESH_TEST(TimerFault, StopThatMeetsAStartHalfWayDoesNotHang)
{
    const int threads = thread_count();
    TMR* const timer = TMR_New();
    Shot shot;
    // Between the creation of the thread and its being in place.
    TMR_Return_t stopped = 7;
    fault::on_call(Call::sem_wait, 1, [&] { stopped = TMR_Stop(timer); });
    EXPECT_EQ(shot.start(timer, 1), 1U);
    EXPECT_NE(stopped, 7U);
    // And before the thread itself has got the mutex.
    TMR* const other = TMR_New();
    fault::on_call(Call::clock_gettime, 1, [&] {
        EXPECT_TRUE(wait_until([&] { return TMR_InUse(other) == 1; }));
        EXPECT_EQ(TMR_Stop(other), TMR_ReturnSuccess);
    });
    EXPECT_EQ(shot.start(other, kLong_ms), 1U);
    EXPECT_EQ(TMR_InUse(other), 0U);
    TMR_Delete(timer);
    EXPECT_EQ(shot.calls, stopped == TMR_ReturnSuccess ? 0 : 1);
    EXPECT_TRUE(has_threads(threads)) << "idle, it leaves after a while";
    TMR_Delete(other);
}

// Its start still has to go on when the callback has deleted the timer and its thread has ended.
FRESH_TEST(TimerFault, TimerThatIsDeletedBeforeItsStartGoesOnIsReleasedByIt)
{
    const long blocks = settled_blocks();
    const int threads = thread_count();
    struct Record {
        TMR* timer;
        Event deleted;
    } record{TMR_New(), {}};
    const auto call = [](void* argument) {
        auto* const self = static_cast<Record*>(argument);
        TMR_Delete(self->timer);
        self->deleted.set();
    };
    fault::on_call(Call::sem_wait, 1, [&] {
        EXPECT_TRUE(record.deleted.wait());
        EXPECT_TRUE(has_threads(threads));
        EXPECT_EQ(fault::calls(Call::sem_destroy), 0);
    });
    EXPECT_EQ(TMR_Start(record.timer, call, &record, 1), 1U);
    EXPECT_EQ(fault::calls(Call::sem_destroy), 2);
    EXPECT_EQ(fault::outstanding_blocks(), blocks);
}

// The clock.

TEST(TimerFault, ClockThatFailsInTheThreadIsReportedAndItGoesOn)
{
    const Outcome outcome = well([] {
        TMR* const timer = TMR_New();
        Shot shot;
        fault::fail(Call::clock_gettime);
        EXPECT_EQ(shot.start(timer, 5), 1U);
        EXPECT_TRUE(shot.called.wait()) << "the deadline is long past";
        TMR_Delete(timer);
    });
    EXPECT_THAT(outcome.log, ElementsAre(said(COMMON_LogLevelCritical, "TIMER", "timer",
                                              "TimerHandler", "Error getting current time")));
}

TEST(TimerFault, ClockThatFailsForAnIdleThreadIsReportedInItsName)
{
    const Outcome outcome = well([] {
        TMR* const timer = TMR_New();
        Shot shot;
        EXPECT_EQ(shot.start(timer, kLong_ms), 1U);
        fault::fail(Call::clock_gettime, 2);  // the stop reads it, too
        EXPECT_EQ(TMR_Restart(timer), TMR_ReturnSuccess);
        EXPECT_EQ(fault::fired(), 1);
        TMR_Delete(timer);
    });
    EXPECT_THAT(outcome.log, ElementsAre(said(COMMON_LogLevelCritical, "TIMER", "timer",
                                              "TimerHandler", "Error getting current time")));
}

TEST(TimerFault, ClockThatFailsForAnIdleThreadLetsItCallBackAtOnce)
{
    well([] {
        constexpr std::uint32_t kInterval_ms = 20'000;
        TMR* const timer = TMR_New();
        Shot shot;
        EXPECT_EQ(shot.start(timer, kInterval_ms), 1U);
        EXPECT_EQ(TMR_Stop(timer), TMR_ReturnSuccess);
        const std::int64_t before = now_ms();
        fault::fail(Call::clock_gettime);
        EXPECT_EQ(shot.start(timer, kInterval_ms), 1U);
        EXPECT_TRUE(shot.called.wait()) << "the deadline is long past";
        EXPECT_LT(now_ms() - before, std::int64_t{kInterval_ms});
        TMR_Delete(timer);
    });
}

// Names.

constexpr char kProgram[] = "the program";

void fork_while_the_name_cannot_be_read(void* done)
{
    fault::fail(Call::read, 1, EIO);
    const pid_t child = start_child([] {
        char name[16];
        prctl(PR_GET_NAME, name);
        _exit(std::string(name) == kProgram ? 0 : 1);
    });
    EXPECT_EQ(fault::fired(), 1);
    await_child(child);
    static_cast<Event*>(done)->set();
}

TEST(TimerFault, ChildOfACallbackHasTheCapturedNameWhenThatOfNowCannotBeRead)
{
    well({.prepare = [] { prctl(PR_SET_NAME, kProgram); }}, [] {
        EXPECT_EQ(COMMON_Log_Acceptable(COMMON_LogLevelError), 1U);
        prctl(PR_SET_NAME, "renamed");
        Event done;
        TMR* const timer = TMR_New();
        EXPECT_EQ(TMR_Start(timer, fork_while_the_name_cannot_be_read, &done, 1), 1U);
        EXPECT_TRUE(done.wait());
        TMR_Delete(timer);
    });
}

}  // namespace
