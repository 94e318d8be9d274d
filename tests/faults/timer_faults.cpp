// Scenarios of the fault sweep: timers, with the calls of their threads (thread 1 is the first).
#include <cerrno>
#include <thread>
#include <utility>

#include "asleep.h"
#include "scenario.h"
#include "wait_until.h"

using namespace faults;
using harness::Event;

namespace {

constexpr std::uint32_t kSoon_ms = 5;
constexpr std::uint32_t kLate_ms = 100'000;

/// The semaphores of a timer are its own and count its threads: a post cannot be refused.
constexpr Spared kPost{Call::sem_post};

harness::Report record(const char* function, const char* message,
                       COMMON_LogLevel_t level = COMMON_LogLevelError)
{
    return said(level, "TIMER", "timer", function, message);
}

void set_event(void* event)
{
    static_cast<Event*>(event)->set();
}

/// A timer that can be started when it is ended, and whose threads have ended then.
class Timer {
public:
    Timer() = default;
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;

    ~Timer()
    {
        if (timer_ == nullptr) {
            return;
        }
        Event called;
        EXPECT_EQ(TMR_Start(timer_, set_event, &called, kSoon_ms), 1U);
        EXPECT_TRUE(called.wait());
        TMR_Delete(timer_);
    }

    operator TMR*() const { return timer_; }

    /// The timer is the function's that is tried.
    TMR* given() { return std::exchange(timer_, nullptr); }

private:
    TMR* timer_ = TMR_New();
};

SCENARIO(TMR_New, gives("set"), on(Call::malloc).gives("null"),
         on({Call::pthread_mutexattr_init, Call::pthread_mutexattr_settype,
             Call::pthread_mutex_init, Call::pthread_condattr_init, Call::pthread_condattr_setclock,
             Call::pthread_cond_init, Call::sem_init})
             .gives("null")
             .logs({record("TMR_New", "Could not create timer")}))
{
    TMR* timer = CALL(TMR_New);
    if (timer == nullptr) {
        timer = TMR_New();
    }
    Event called;
    EXPECT_EQ(TMR_Start(timer, set_event, &called, kSoon_ms), 1U);
    EXPECT_TRUE(called.wait());
    TMR_Delete(timer);
}

/// What fails in a thread of a timer, which is thread 1.
std::vector<Promise> thread_fails()
{
    const char* const kThread = "TimerHandler";
    return {on(Call::clock_gettime)
                .in_thread(1)
                .nth(1)
                .logs({record(kThread, "Error getting current time", COMMON_LogLevelCritical)}),
            // Before it is in place, and after the callback.
            on(Call::pthread_mutex_lock)
                .in_thread(1)
                .nth(1)
                .gives("0 0")
                .logs({record(kThread, "Could not lock mutex: {errno}"),
                       record("TMR_Start", "Could not start timer")}),
            on(Call::pthread_mutex_lock)
                .in_thread(1)
                .nth(2)
                .logs({record(kThread, "Could not lock mutex: {errno}")}),
            on(Call::pthread_mutex_unlock)
                .in_thread(1)
                .logs({record(kThread, "Could not unlock mutex")}),
            // Its deadline has come, or it goes.
            on(Call::pthread_cond_timedwait).in_thread(1).with({ETIMEDOUT}),
            on(Call::pthread_cond_timedwait)
                .in_thread(1)
                .nth(1)
                .gives("1 0")
                .logs({record(kThread, "Error waiting")}),
            on(Call::pthread_cond_timedwait)
                .in_thread(1)
                .nth(2)
                .logs({record(kThread, "Error waiting")})};
}

Promise start_fails(std::initializer_list<Call> calls)
{
    return on(calls).gives("0 0").logs({record("TMR_Start", "Could not start timer")});
}

SCENARIO(TMR_Start, kPost, Flag::OwnThreads, gives("1 1"), thread_fails(),
         on(Call::pthread_mutex_lock)
             .nth(1)
             .gives("0 0")
             .logs({record("TMR_Start", "Could not lock mutex: {errno}")}),
         on(Call::pthread_mutex_unlock)
             .nth(1)
             .logs({record("TMR_Start", "Could not unlock mutex: {errno}")}),
         start_fails({Call::malloc, Call::pthread_attr_init, Call::pthread_attr_setdetachstate,
                      Call::pthread_create}))
{
    Event called;
    {
        Timer timer;
        if (CALL(TMR_Start, timer, set_event, &called, kSoon_ms) == 1) {
            EXPECT_TRUE(harness::wait_until([&] { return TMR_InUse(timer) == 0; }));
            // Now it waits for another start.
            EXPECT_TRUE(harness::wait_until([&] {
                return harness::fault::calls(Call::pthread_cond_timedwait) > 1 || failed();
            }));
        }
        harness::fault::spare_all();
    }
    note_result(shown(called.is_set()));
}

/// What fails when a deadline is given to a thread that is there.
std::vector<Promise> handing_over_fails(const char* function, const char* failed_result)
{
    return {
        on(Call::clock_gettime)
            .logs({record("TimerHandler", "Error getting current time", COMMON_LogLevelCritical)}),
        on(Call::pthread_mutex_unlock).logs({record(function, "Could not unlock mutex: {errno}")}),
        on(Call::pthread_mutex_lock)
            .gives(failed_result)
            .logs({record(function, "Could not lock mutex: {errno}")})};
}

/// A timer whose thread has called back and waits for another start.
bool has_idle_thread(const Timer& timer)
{
    Event called;
    const int waits = harness::fault::calls(Call::pthread_cond_timedwait);
    return TMR_Start(timer, set_event, &called, kSoon_ms) == 1 && called.wait() &&
           harness::wait_until(
               [&] { return harness::fault::calls(Call::pthread_cond_timedwait) >= waits + 2; });
}

/// The thread is used again.
SCENARIO(
    TimerWithAnIdleThreadIsStarted, gives("1"), handing_over_fails("TMR_Start", "0"),
    on(Call::pthread_cond_signal).gives("0").logs({record("TMR_Start", "Could not start timer")}))
{
    const Timer timer;
    EXPECT_TRUE(has_idle_thread(timer));
    Event called;
    if (CALL(TMR_Start, timer, set_event, &called, kSoon_ms) == 1) {
        EXPECT_TRUE(called.wait());
    }
}

SCENARIO(
    TMR_Stop, gives(shown(TMR_ReturnSuccess)),
    on(Call::pthread_mutex_lock)
        .gives(shown(TMR_ReturnFailed))
        .logs({record("TMR_Stop", "Could not lock mutex: {errno}")}),
    on(Call::pthread_mutex_unlock).logs({record("TMR_Stop", "Could not unlock mutex: {errno}")}),
    on(Call::pthread_cond_signal)
        .gives(shown(TMR_ReturnFailed))
        .logs({record("TMR_Stop", "Could not signal timer")}))
{
    const Timer timer;
    Event called;
    EXPECT_EQ(TMR_Start(timer, set_event, &called, kLate_ms), 1U);
    CALL(TMR_Stop, timer);
    TMR_Stop(timer);
    EXPECT_EQ(TMR_InUse(timer), 0U);
    EXPECT_FALSE(called.is_set());
}

/// In the thread that started it, its thread is used again.
SCENARIO(TMR_Restart, gives(shown(TMR_ReturnSuccess)),
         on(Call::pthread_mutex_lock)
             .nth(1)
             .gives(shown(TMR_ReturnFailed))
             .logs({record("TMR_Stop", "Could not lock mutex: {errno}")}),
         on(Call::pthread_mutex_unlock)
             .nth(1)
             .logs({record("TMR_Stop", "Could not unlock mutex: {errno}")}),
         on(Call::pthread_cond_signal)
             .nth(1)
             .gives(shown(TMR_ReturnFailed))
             .logs({record("TMR_Stop", "Could not signal timer")}),
         // The first is that of the stop, which nobody needs.
         on(Call::clock_gettime).nth(1),
         handing_over_fails("TMR_Restart", shown(TMR_ReturnFailed).c_str()))
{
    const Timer timer;
    Event called;
    EXPECT_EQ(TMR_Start(timer, set_event, &called, kLate_ms), 1U);
    const bool restarted = CALL(TMR_Restart, timer) == TMR_ReturnSuccess;
    EXPECT_TRUE(TMR_InUse(timer) == 1 || failed() || !restarted);
    TMR_Stop(timer);
}

Promise restart_fails(Call call, const char* what)
{
    return on(call).gives(shown(TMR_ReturnFailed)).logs({record("TMR_Restart", what)});
}

/// In another thread, one more thread is launched.
SCENARIO(TimerOfAnotherThreadIsRestarted, kPost, gives(shown(TMR_ReturnSuccess)),
         on(Call::pthread_mutex_lock)
             .nth(1)
             .gives(shown(TMR_ReturnFailed))
             .logs({record("TMR_Stop", "Could not lock mutex: {errno}")}),
         on(Call::pthread_mutex_lock)
             .nth(2)
             .gives(shown(TMR_ReturnFailed))
             .logs({record("TMR_Restart", "Could not lock mutex: {errno}")}),
         on(Call::pthread_mutex_unlock)
             .nth(1)
             .logs({record("TMR_Stop", "Could not unlock mutex: {errno}")}),
         on(Call::pthread_mutex_unlock)
             .nth(2)
             .logs({record("TMR_Restart", "Could not unlock mutex: {errno}")}),
         on(Call::pthread_cond_signal)
             .gives(shown(TMR_ReturnFailed))
             .logs({record("TMR_Stop", "Could not signal timer")}),
         restart_fails(Call::pthread_attr_init, "The thread initialization failed!"),
         restart_fails(Call::pthread_attr_setdetachstate,
                       "The timer thread properties cannot be set"),
         restart_fails(Call::pthread_create, "The timer thread cannot be launched"),
         restart_fails(Call::malloc, "The timer thread cannot be launched"))
{
    const Timer timer;
    Event called;
    std::thread([&] { EXPECT_EQ(TMR_Start(timer, set_event, &called, kLate_ms), 1U); }).join();
    CALL(TMR_Restart, timer);
    TMR_Stop(timer);
}

/// A timer whose mutex cannot be taken is left to its threads; here it is deleted once more. Whose
/// threads cannot be woken is released by the last one, which goes within two seconds.
SCENARIO(
    TMR_Delete,
    on(Call::pthread_mutex_lock).nth(1).logs({record("TMR_Stop", "Could not lock mutex: {errno}")}),
    on(Call::pthread_mutex_lock)
        .nth(2)
        .logs({record("TMR_Delete", "Could not lock mutex: {errno}")}),
    on(Call::pthread_mutex_unlock)
        .nth(1)
        .logs({record("TMR_Stop", "Could not unlock mutex: {errno}")}),
    on(Call::pthread_cond_signal).logs({record("TMR_Delete", "Could not signal timer")}))
{
    const int threads = harness::thread_count();
    Timer timer;
    EXPECT_TRUE(has_idle_thread(timer));
    TMR* const given = timer.given();
    const long blocks = harness::fault::outstanding_blocks();
    CALL(TMR_Delete, given);
    if (harness::fault::outstanding_blocks() == blocks &&
        harness::fault::calls(Call::pthread_cond_signal) == 0) {
        TMR_Delete(given);
    }
    wait_for_threads(threads);
}

SCENARIO(TimerIsLookedAt)
{
    const Timer timer;
    EXPECT_EQ(CALL(TMR_InUse, timer), 0U);
    EXPECT_STREQ(CALL(TMR_ReturnToStr, TMR_ReturnSuccess), "Success");
}

}  // namespace
