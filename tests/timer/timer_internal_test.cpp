// The deadlines that threads of a timer await, and the record as others see it.
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <functional>
#include <thread>

#include <gmock/gmock.h>
#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include "fault_table.h"
#include "fresh_process.h"
#include "replaced.h"
#include "shot.h"
#include "timer/detached_thread.h"
#include "timer/timer_thread.h"

using namespace harness;

REPLACED(int, pthread_attr_destroy, (pthread_attr_t * attributes));

#define CLOCK HARNESS_SYMBOL("clock_gettime", "__clock_gettime64")
extern "C" int real_clock(clockid_t clock, timespec* time) __asm__("__real_" CLOCK);
extern "C" int wrap_clock(clockid_t clock, timespec* time) __asm__("__wrap_" CLOCK);

namespace {

std::atomic<int> attributes_destroyed{0};

/// What the library's clock shows, when it is set.
const timespec* held_time = nullptr;

}  // namespace

int wrap_clock(clockid_t clock, timespec* time)
{
    if (held_time == nullptr) {
        return real_clock(clock, time);
    }
    *time = *held_time;
    return 0;
}

int wrap_pthread_attr_destroy(pthread_attr_t* attributes)
{
    ++attributes_destroyed;
    return real_pthread_attr_destroy(attributes);
}

namespace {

std::int64_t to_ns(const timespec& time)
{
    return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

timespec now()
{
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time;
}

timespec awaited(TMR& timer)
{
    pthread_mutex_lock(&timer.mutex);
    const timespec deadline = timer.threads->until;
    pthread_mutex_unlock(&timer.mutex);
    return deadline;
}

/// How many threads of a timer there are of a kind.
int count_threads(TMR& timer, const std::function<bool(const TMR_Thread&)>& is_one)
{
    int count = 0;
    pthread_mutex_lock(&timer.mutex);
    for (const TMR_Thread* thread = timer.threads; thread != nullptr; thread = thread->next) {
        count += is_one(*thread) ? 1 : 0;
    }
    pthread_mutex_unlock(&timer.mutex);
    return count;
}

int armed_threads(TMR& timer)
{
    return count_threads(timer, [](const TMR_Thread& thread) { return thread.armed; });
}

/// How long an idle thread stays at least.
constexpr std::int64_t kIdle_ms = 2'000;

/// Waits until no thread waits for a deadline or calls back, but for `others`.
bool are_idle(TMR& timer, int others = 0)
{
    return wait_until([&] {
        return count_threads(timer, [](const TMR_Thread& thread) {
                   return thread.phase != common::timer::Phase::Waiting || thread.armed;
               }) == others;
    });
}

/// Starts a timer and waits until its callback has come to its end, too.
void fire(TMR& timer, Shot& shot)
{
    ASSERT_EQ(shot.start(&timer, 5), 1U);
    ASSERT_TRUE(shot.called.wait());
    ASSERT_TRUE(are_idle(timer));
}

FRESH_TEST(TimerInternal, AttributesOfAThreadAreGivenBack)
{
    std::atomic<bool> run{false};
    const int threads = thread_count();
    sigset_t signals;
    sigfillset(&signals);
    const auto entry = [](void* argument) -> void* {
        *static_cast<std::atomic<bool>*>(argument) = true;
        return nullptr;
    };
    EXPECT_EQ(common::start_detached(entry, &run, &signals), common::ThreadStart::Started);
    EXPECT_TRUE(harness::wait_until([&] { return run.load(); }));
    EXPECT_EQ(attributes_destroyed, 1);
    EXPECT_TRUE(has_threads(threads));
}

FRESH_TEST(TimerInternal, NullRecordEndsTheThread)
{
    EXPECT_EQ(common::timer::TimerHandler(nullptr), nullptr);
}

/// Starts timers, by a new thread and by a parked one, once the clock is in a part of its second.
void expect_deadline(std::uint32_t interval_ms, long from_ns, long to_ns_in_second,
                     std::time_t seconds, long nanoseconds)
{
    TMR* const timer = TMR_New();
    for (int round = 0; round < 2; ++round) {
        for (int attempt = 0;; ++attempt) {
            ASSERT_LT(attempt, 50);
            ASSERT_TRUE(wait_until([&] {
                const long in_second = now().tv_nsec;
                return in_second >= from_ns && in_second < to_ns_in_second;
            }));
            const timespec before = now();
            Shot shot;
            ASSERT_EQ(shot.start(timer, interval_ms), 1U);
            const timespec after = now();
            const timespec deadline = awaited(*timer);
            ASSERT_EQ(TMR_Stop(timer), TMR_ReturnSuccess);
            if (after.tv_sec != before.tv_sec || after.tv_nsec >= to_ns_in_second) {
                continue;  // preempted
            }
            EXPECT_EQ(deadline.tv_sec, before.tv_sec + seconds);
            EXPECT_GE(deadline.tv_nsec, before.tv_nsec + nanoseconds);
            EXPECT_LE(deadline.tv_nsec, after.tv_nsec + nanoseconds);
            EXPECT_LT(deadline.tv_nsec, 1'000'000'000);
            break;
        }
    }
    TMR_Delete(timer);
}

FRESH_TEST(TimerInternal, DeadlineIsTheIntervalAfterTheStart)
{
    expect_deadline(2500, 0, 499'000'000, 2, 500'000'000);
}

FRESH_TEST(TimerInternal, DeadlineCarriesASecond)
{
    expect_deadline(2500, 500'000'000, 999'000'000, 3, -500'000'000);
}

TEST(TimerInternal, NanosecondsOfADeadlineStayBelowASecond)
{
    const struct {
        timespec now;
        std::uint32_t interval_ms;
        timespec deadline;
    } kCases[] = {
        {{7, 499'999'999}, 500, {7, 999'999'999}},
        {{7, 500'000'000}, 500, {8, 0}},
        {{7, 500'000'001}, 500, {8, 1}},
        {{7, 999'999'999}, 999, {8, 998'999'999}},
        {{7, 1}, 1'000, {8, 1}},
        {{7, 1}, 999, {7, 999'000'001}},
    };
    for (const auto& each : kCases) {
        timespec deadline{};
        held_time = &each.now;
        EXPECT_TRUE(common::timer::deadline_after(each.interval_ms, deadline));
        held_time = nullptr;
        EXPECT_EQ(deadline.tv_sec, each.deadline.tv_sec);
        EXPECT_EQ(deadline.tv_nsec, each.deadline.tv_nsec);
    }
}

FRESH_TEST(TimerInternal, LongestIntervalIsKept)
{
    TMR* const timer = TMR_New();
    Shot shot;
    const std::int64_t before = to_ns(now());
    ASSERT_EQ(shot.start(timer, UINT32_MAX), 1U);
    EXPECT_GE(to_ns(awaited(*timer)) - before, 4'294'967'295'000'000);
    EXPECT_LE(to_ns(awaited(*timer)) - to_ns(now()), 4'294'967'295'000'000);
    TMR_Delete(timer);
}

FRESH_TEST(TimerInternal, CallbackIsWhereACancellationTakesEffect)
{
    const int threads = thread_count();
    TMR* const timer = TMR_New();
    Shot shot;
    const std::int64_t start = now_ms();
    fire(*timer, shot);
    pthread_mutex_lock(&timer->mutex);  // so that it stays
    const bool stayed = timer->threads != nullptr;
    EXPECT_TRUE(!stayed || pthread_cancel(shot.thread) == 0);
    pthread_mutex_unlock(&timer->mutex);
    struct Call {
        std::atomic<bool> begun{false};
        std::atomic<std::int64_t> went_on_ms{0};
    } call;
    const auto test = [](void* argument) {
        auto* const self = static_cast<Call*>(argument);
        self->begun = true;
        pthread_testcancel();
        self->went_on_ms = now_ms();
    };
    EXPECT_EQ(TMR_Start(timer, test, &call, 5), 1U);
    EXPECT_TRUE(has_threads(threads));
    EXPECT_TRUE(call.begun) << "not while it waits";
    // Not in another thread, where the process stood still for seconds.
    EXPECT_TRUE(call.went_on_ms == 0 || call.went_on_ms - start >= kIdle_ms);
    TMR_Delete(timer);
}

// Wake-ups, of which the C library gives another thread those that come too late for one.

/// Whether a thread waits, and was not woken.
bool waits(TMR& timer, const TMR_Thread& thread)
{
    pthread_mutex_lock(&timer.mutex);
    const bool waits = thread.wakes.tv_sec != 0;
    pthread_mutex_unlock(&timer.mutex);
    return waits;
}

/// A timer with two starts, the first of which awaits a deadline that is never reached.
struct TwoStarts {
    explicit TwoStarts(std::uint32_t second_ms)
    {
        EXPECT_EQ(first.start(timer, kLong_ms), 1U);
        of_first = timer->threads;
        for (;;) {
            EXPECT_EQ(second.start(timer, second_ms), 1U);
            ++starts_of_second;
            pthread_mutex_lock(&timer->mutex);
            of_second = timer->threads;
            if (of_second->armed && of_second->next == of_first) {
                return;
            }
            pthread_mutex_unlock(&timer->mutex);  // the machine was busy, and it has called back
        }
    }
    TwoStarts(const TwoStarts&) = delete;
    TwoStarts& operator=(const TwoStarts&) = delete;
    ~TwoStarts() { TMR_Delete(timer); }

    /// Says that the timer wakes the thread of the second start.
    void tell()
    {
        of_second->told = true;
        of_first->wakes = of_second->wakes = {};
    }

    /// Wakes one thread, as if the timer had meant that one.
    void wake()
    {
        tell();
        pthread_cond_signal(&timer->condition);
        pthread_mutex_unlock(&timer->mutex);
    }

    /// Waits for the callback of the second start.
    bool second_calls() const
    {
        return wait_until([&] { return second.calls == starts_of_second; });
    }

    TMR* timer = TMR_New();
    Shot first, second;
    int starts_of_second = 0;
    TMR_Thread* of_first;
    TMR_Thread* of_second;
};

FRESH_TEST(TimerInternal, WakeUpOnItsWayToAThreadStopsNoOther)
{
    TwoStarts starts(kLong_ms);
    starts.wake();
    EXPECT_TRUE(wait_until([&] {
        return waits(*starts.timer, *starts.of_first) || waits(*starts.timer, *starts.of_second);
    }));
    EXPECT_TRUE(starts.of_first->armed && starts.of_second->armed);
}

FRESH_TEST(TimerInternal, WakeUpThatComesTooLateForAThreadStopsNoOther)
{
    constexpr std::uint32_t kSoon_ms = 20;
    TwoStarts starts(kSoon_ms);
    std::this_thread::sleep_for(std::chrono::milliseconds(2 * kSoon_ms));
    starts.wake();  // the second's thread has come to its deadline, and waits for the mutex
    ASSERT_TRUE(starts.second_calls());
    EXPECT_TRUE(wait_until([&] { return waits(*starts.timer, *starts.of_first); }));
    EXPECT_TRUE(starts.of_first->armed);
}

FRESH_TEST(TimerInternal, WakeUpThatComesTooLateForAThreadMayComeToAnyOtherLater)
{
    TwoStarts starts(20);
    starts.tell();
    pthread_mutex_unlock(&starts.timer->mutex);
    ASSERT_TRUE(starts.second_calls()) << "its wait has timed out";
    pthread_mutex_lock(&starts.timer->mutex);
    pthread_cond_broadcast(&starts.timer->condition);
    pthread_mutex_unlock(&starts.timer->mutex);
    EXPECT_TRUE(wait_until([&] { return waits(*starts.timer, *starts.of_first); }));
    EXPECT_TRUE(starts.of_first->armed);
}

FRESH_TEST(TimerInternal, WakeUpByAnotherIsAStopBehindOneByTheTimer)
{
    TMR* const timer = TMR_New();
    Shot shot;
    EXPECT_EQ(shot.start(timer, kLong_ms), 1U);
    const TMR_Thread* const thread = timer->threads;
    EXPECT_EQ(TMR_Stop(timer), static_cast<TMR_Return_t>(TMR_ReturnSuccess));
    EXPECT_TRUE(wait_until([&] { return waits(*timer, *thread); }));
    EXPECT_EQ(shot.start(timer, kLong_ms), 1U);
    pthread_mutex_lock(&timer->mutex);
    pthread_cond_signal(&timer->condition);
    pthread_mutex_unlock(&timer->mutex);
    EXPECT_TRUE(wait_until([&] { return TMR_InUse(timer) == 0; }));
    TMR_Delete(timer);
}

// Whose starts a thread serves.

/// What a thread inherits from the one that made it.
struct Inherited {
    int policy = -1;
    int nice = -1;
    bool blocked = false;

    static Inherited of_this_thread()
    {
        Inherited own;
        sched_param parameters{};
        pthread_getschedparam(pthread_self(), &own.policy, &parameters);
        own.nice = getpriority(PRIO_PROCESS, static_cast<id_t>(gettid()));
        sigset_t mask;
        pthread_sigmask(SIG_BLOCK, nullptr, &mask);
        own.blocked = sigismember(&mask, SIGUSR1) == 1;
        return own;
    }

    bool operator==(const Inherited&) const = default;
};

struct InheritedShot : Shot {
    Inherited inherited;

    static void call(void* argument)
    {
        auto* const self = static_cast<InheritedShot*>(argument);
        self->inherited = Inherited::of_this_thread();
        Shot::call(static_cast<Shot*>(self));
    }
};

/// A callback, which must be as the calling thread, and its time.
struct Served {
    std::int64_t start_ms = now_ms();
    pthread_t thread{};

    explicit Served(TMR& timer)
    {
        InheritedShot shot;
        EXPECT_EQ(TMR_Start(&timer, InheritedShot::call, &shot, 5), 1U);
        EXPECT_TRUE(shot.called.wait());
        EXPECT_TRUE(are_idle(timer));
        EXPECT_EQ(shot.inherited, Inherited::of_this_thread());
        thread = shot.thread;
    }

    /// Whether it was the thread of another one. That leaves if the process stands still.
    bool is_by_thread_of(const Served& before) const
    {
        return pthread_equal(thread, before.thread) != 0 || now_ms() - before.start_ms >= kIdle_ms;
    }
};

FRESH_TEST(TimerInternal, IdleThreadServesOnlyStartsOfTheThreadThatHadItLaunched)
{
    TMR* const timer = TMR_New();
    const Served first(*timer);
    std::thread([&] {
        const sched_param parameters{};
        ASSERT_EQ(pthread_setschedparam(pthread_self(), SCHED_BATCH, &parameters), 0);
        ASSERT_EQ(setpriority(PRIO_PROCESS, static_cast<id_t>(gettid()), 7), 0);
        sigset_t set;
        sigemptyset(&set);
        sigaddset(&set, SIGUSR1);
        pthread_sigmask(SIG_BLOCK, &set, nullptr);
        const Served special(*timer);
        EXPECT_TRUE(Served(*timer).is_by_thread_of(special));
    }).join();
    // One that may have the same place in memory as its predecessor.
    std::thread([&] { const Served other(*timer); }).join();
    EXPECT_TRUE(Served(*timer).is_by_thread_of(first));
    TMR_Delete(timer);
}

FRESH_TEST(TimerInternal, PeriodicTimerUsesTwoThreadsInTurn)
{
    TMR* const timer = TMR_New();
    Periodic periodic{.timer = timer, .wanted = 20, .before_start = [timer] {
                          EXPECT_TRUE(are_idle(*timer, 1)) << "all but this one";
                      }};
    periodic.run();
    EXPECT_LE(count_threads(*timer, [](const auto&) { return true; }), 2);
    TMR_Delete(timer);
}

FRESH_TEST(TimerInternal, WakeUpsDoNotDisturbAnIdleThread)
{
    TMR* const timer = TMR_New();
    const Served first(*timer);
    for (int i = 0; i < 100; ++i) {
        pthread_cond_broadcast(&timer->condition);
    }
    EXPECT_TRUE(Served(*timer).is_by_thread_of(first));
    TMR_Delete(timer);
}

FRESH_TEST(TimerInternal, WakeUpOfOneOfTwoThreadsTakesItsDeadlineBack)
{
    TMR* const timer = TMR_New();
    Shot shot;
    EXPECT_EQ(shot.start(timer, kLong_ms), 1U);
    EXPECT_EQ(shot.start(timer, kLong_ms), 1U);
    EXPECT_EQ(armed_threads(*timer), 2);
    pthread_mutex_lock(&timer->mutex);  // both wait, then
    pthread_cond_signal(&timer->condition);
    pthread_mutex_unlock(&timer->mutex);
    EXPECT_TRUE(wait_until([&] { return armed_threads(*timer) == 1; }));
    EXPECT_EQ(TMR_InUse(timer), 1U);
    pthread_cond_broadcast(&timer->condition);
    EXPECT_TRUE(wait_until([&] { return armed_threads(*timer) == 0; }));
    EXPECT_EQ(TMR_InUse(timer), 0U);
    EXPECT_EQ(TMR_Stop(timer), TMR_ReturnNotSet);
    TMR_Delete(timer);
    EXPECT_EQ(shot.calls, 0);
}

TEST(TimerInternal, FieldsKeepTheirOrder)
{
    EXPECT_LT(offsetof(TMR, callback), offsetof(TMR, argument));
    EXPECT_LT(offsetof(TMR, argument), offsetof(TMR, interval));
    EXPECT_LT(offsetof(TMR, interval), offsetof(TMR, mutex));
    EXPECT_LT(offsetof(TMR, mutex), offsetof(TMR, condition));
    EXPECT_LT(offsetof(TMR, condition), offsetof(TMR, started));
    EXPECT_LT(offsetof(TMR, started), offsetof(TMR, stopped));
    EXPECT_LT(offsetof(TMR, stopped), offsetof(TMR, inUse));
    EXPECT_LT(offsetof(TMR, inUse), offsetof(TMR, stopRequested));
    EXPECT_LT(offsetof(TMR, stopRequested), offsetof(TMR, threads)) << "own fields come last";
}

FRESH_TEST(TimerInternal, InUseIsAFlag)
{
    TMR* const timer = TMR_New();
    Shot shot;
    EXPECT_EQ(timer->inUse, 0U);
    EXPECT_EQ(shot.start(timer, kLong_ms), 1U);
    EXPECT_EQ(timer->inUse, 1U);
    TMR_Delete(timer);
}

FRESH_TEST(TimerInternal, MutexIsNotRecursiveAndTheConditionIsMonotonic)
{
    TMR* const timer = TMR_New();
    ASSERT_EQ(pthread_mutex_lock(&timer->mutex), 0);
    EXPECT_EQ(pthread_mutex_trylock(&timer->mutex), EBUSY);
    // On the real-time clock this would be long past.
    const std::int64_t before = to_ns(now());
    const std::int64_t end = before + 50'000'000;
    const timespec soon{static_cast<std::time_t>(end / 1'000'000'000),
                        static_cast<long>(end % 1'000'000'000)};
    EXPECT_EQ(pthread_cond_timedwait(&timer->condition, &timer->mutex, &soon), ETIMEDOUT);
    EXPECT_GE(to_ns(now()), end);
    EXPECT_EQ(pthread_mutex_unlock(&timer->mutex), 0);
    int value = -1;
    EXPECT_EQ(sem_getvalue(&timer->started, &value), 0);
    EXPECT_EQ(value, 0);
    EXPECT_EQ(sem_getvalue(&timer->stopped, &value), 0);
    EXPECT_EQ(value, 0);
    TMR_Delete(timer);
}

}  // namespace
