// Thousands of timers, starts of one timer, and subscribers of a watchdog.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <deque>
#include <string>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

#include "common_wdm.h"
#include "held_resources.h"
#include "limits.h"
#include "log_expect.h"
#include "timer.h"
#include "wait_until.h"

using namespace harness;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace {

constexpr bool kHas64Bits = sizeof(void*) == 8;

/// Longer than any load: a deadline that is not reached.
constexpr std::uint32_t kLong_ms = 3'600'000;

/// A start, and when it called back.
struct Shot {
    TMR* timer = nullptr;
    std::uint32_t interval_ms = 0;
    steady_clock::time_point started{};
    steady_clock::time_point called{};
    std::atomic<int> calls{0};
    std::atomic<int> thread{0};

    static void call(void* argument)
    {
        auto* const shot = static_cast<Shot*>(argument);
        shot->called = steady_clock::now();
        shot->thread = gettid();
        ++shot->calls;
    }

    bool start(std::uint32_t after_ms)
    {
        interval_ms = after_ms;
        started = steady_clock::now();
        return TMR_Start(timer, call, this, after_ms) == 1;
    }

    bool was_early() const { return called - started < milliseconds(interval_ms); }

    bool was_late() const { return called - started > milliseconds(interval_ms + 100); }
};

/// Shorter than what a process may take, so that it tells what has not come.
milliseconds callbacks_time()
{
    return is_full() ? std::chrono::minutes(2) : kTimeLimit / 2;
}

/// Starts each with a deadline of its own and waits for all; what came of it.
std::string fire_all(std::deque<Shot>& shots, bool& holds)
{
    std::uint32_t interval_ms = 50;
    std::int64_t started = 0;
    for (Shot& shot : shots) {
        started += shot.start(++interval_ms) ? 1 : 0;
    }
    const auto count_if = [&](auto condition) {
        return static_cast<std::int64_t>(std::count_if(shots.begin(), shots.end(), condition));
    };
    const auto called = [](const Shot& shot) { return shot.calls != 0; };
    EXPECT_TRUE(wait_until([&] { return count_if(called) == started; }, callbacks_time()));
    const std::int64_t once = count_if([](const Shot& shot) { return shot.calls == 1; });
    const std::int64_t early = count_if([](const Shot& shot) { return shot.was_early(); });
    const std::int64_t late = count_if([](const Shot& shot) { return shot.was_late(); });
    holds = once == static_cast<std::int64_t>(shots.size()) && early == 0;
    return counted(once, static_cast<std::int64_t>(shots.size())) + " once, " + number(early) +
           " early, " + number(late) + " more than 0.1 s late";
}

/// Makes timers and arms them, as many as there may be; the size of a default stack.
double arm(std::deque<Shot>& shots, int timers)
{
    for (int i = 0; i < timers; ++i) {
        Shot& shot = shots.emplace_back();
        shot.timer = TMR_New();
        if (!shot.start(kLong_ms)) {
            TMR_Delete(shot.timer);
            shots.pop_back();
            break;
        }
    }
    rlimit stack{};
    getrlimit(RLIMIT_STACK, &stack);
    return static_cast<double>(stack.rlim_cur);
}

TEST(TimerLimits, ManyTimersAreArmedAtATime)
{
    const int timers = load(100, 10'000);
    const Outcome outcome = well(load_setup(), [=] {
        const std::string loaded = number(timers) + " timers";
        std::deque<Shot> shots;
        const int threads = thread_count();  // one, and an emulator's
        const std::int64_t before = resident_bytes();
        const double stack = arm(shots, timers);
        const auto armed = static_cast<int>(shots.size());
        const double each = static_cast<double>(resident_bytes() - before) / armed;
        if (kHas64Bits || armed == timers) {
            promise(loaded, "each armed timer has a thread",
                    counted(thread_count() - threads, timers),
                    armed == timers && thread_count() - threads == timers);
        } else {
            promise(loaded, "with 32-bit addresses a few hundred are armed at a time",
                    number(armed) + ", and the next start says that it failed", armed >= 200);
        }
        promise(
            loaded,
            "an armed one takes the addresses of a default stack, and memory only for the pages "
            "that were touched",
            bytes(stack) + " of addresses and " + bytes(each) + " of memory each",
            each * 64 < stack);
        for (const Shot& shot : shots) {
            EXPECT_EQ(TMR_Stop(shot.timer), static_cast<TMR_Return_t>(TMR_ReturnSuccess));
        }
        bool holds = false;
        const std::string fired = fire_all(shots, holds);
        promise(loaded + ", stopped and started again, 1 ms apart",
                "each calls back once, not before its time", fired, holds);
        for (const Shot& shot : shots) {
            TMR_Delete(shot.timer);
        }
        const bool none_left = wait_until([=] { return thread_count() == threads; });
        promise(loaded, "all threads end with TMR_Delete()",
                number(thread_count() - threads) + " are left", none_left);
    });
    // Of the one that there was no thread for.
    const Report refused =
        said(COMMON_LogLevelError, "TIMER", "timer", "TMR_Start", "Could not start timer");
    EXPECT_THAT(outcome.log, testing::AnyOf(testing::IsEmpty(), testing::ElementsAre(refused)));
    EXPECT_TRUE(!kHas64Bits || outcome.log.empty());
}

TEST(TimerLimits, ManyStartsOfOneTimerCallBackEach)
{
    const int starts = load(50, kHas64Bits ? 2'000 : 200);
    well(load_setup(), [=] {
        const std::string loaded = number(starts) + " starts of one timer";
        TMR* const timer = TMR_New();
        std::deque<Shot> shots(static_cast<std::size_t>(starts));
        for (Shot& shot : shots) {
            shot.timer = timer;
        }
        bool holds = false;
        const std::string fired = fire_all(shots, holds);
        promise(loaded, "each calls back once, not before its time", fired, holds);
        int started = 0;
        for (Shot& shot : shots) {
            shot.calls = 0;
            started += shot.start(kLong_ms) ? 1 : 0;
        }
        const bool stopped = TMR_Stop(timer) == TMR_ReturnSuccess && TMR_InUse(timer) == 0;
        TMR_Delete(timer);
        const auto called = std::count_if(shots.begin(), shots.end(),
                                          [](const Shot& shot) { return shot.calls != 0; });
        promise(loaded, "a stop takes them all back", counted(started - called, starts),
                stopped && started == starts && called == 0);
    });
}

TEST(TimerLimits, StartingAgainCostsNoThread)
{
    const int starts = load(2'000, 1'000'000);
    well(load_setup(), [=] {
        Shot shot;
        shot.timer = TMR_New();
        const auto thread_of_next_call = [&] {
            const int calls = shot.calls;
            EXPECT_TRUE(shot.start(1));
            EXPECT_TRUE(wait_until([&] { return shot.calls > calls; }));
            return shot.thread.load();
        };
        const int first = thread_of_next_call();
        // Who comes back after two seconds, on a machine that has other things to do, gets another.
        auto longest = steady_clock::duration::zero();
        auto last = steady_clock::now();
        for (int i = 0; i < starts; ++i) {
            EXPECT_TRUE(shot.start(kLong_ms));
            if (i % 3 == 0) {
                EXPECT_EQ(TMR_Restart(shot.timer), static_cast<TMR_Return_t>(TMR_ReturnSuccess));
            }
            EXPECT_EQ(TMR_Stop(shot.timer), static_cast<TMR_Return_t>(TMR_ReturnSuccess));
            const auto now = steady_clock::now();
            longest = std::max(longest, now - last);
            last = now;
        }
        const bool same = thread_of_next_call() == first;
        TMR_Delete(shot.timer);
        promise(number(starts) + " starts and stops of a timer, and a third as many restarts",
                "a thread stays for two seconds and serves them",
                same ? "1 thread" : "more than one", same || longest >= std::chrono::seconds(1));
    });
}

/// A watchdog and its subscribers, which nobody lets expire.
class Watched {
public:
    explicit Watched(int subscribers)
    {
        for (int i = 0; i < subscribers; ++i) {
            subscribers_.push_back(COMMON_wdm_Create_Subscriber(nullptr, nullptr));
            COMMON_wdm_Subscribe(watchdog_, subscribers_.back(), kTimeout_s);
        }
    }
    Watched(const Watched&) = delete;
    Watched& operator=(const Watched&) = delete;
    ~Watched()
    {
        for (COMMON_wdm_Subscriber* const subscriber : subscribers_) {
            COMMON_wdm_Unsubscribe(subscriber);
        }
        COMMON_wdm_Destroy(watchdog_);
    }

    /// Processor time of a number of tickles, one subscriber after the other.
    double tickle(int number) const
    {
        return processor_ns([&] {
            std::size_t next = 0;
            for (int i = 0; i < number; ++i) {
                COMMON_wdm_Tickle(subscribers_[next], kTimeout_s);
                next = next + 1 < subscribers_.size() ? next + 1 : 0;
            }
        });
    }

private:
    static constexpr std::uint32_t kTimeout_s = 100'000;
    COMMON_wdm* watchdog_ = COMMON_wdm_Init();
    std::vector<COMMON_wdm_Subscriber*> subscribers_;
};

TEST(WatchdogLimits, ManySubscribersShareAMonitor)
{
    const int many = load(2'000, 100'000);
    const int few = many / 100;
    well(load_setup(), [=] {
        const std::string loaded = number(many) + " subscribers";
        const int threads = thread_count();
        double of_few = 0;
        {
            const Watched watched(few);
            of_few = watched.tickle(many);
        }
        const std::int64_t before = heap_bytes();
        std::int64_t in_use = 0;
        {
            const Watched watched(many);
            in_use = heap_bytes();
            const double ratio = watched.tickle(many) / of_few;
            promise(loaded, "a watchdog has one thread",
                    number(thread_count() - threads) + " thread", thread_count() == threads + 1);
            promise(loaded, "to tickle one is one atomic exchange",
                    times(ratio) + " the time that it takes with " + number(few), ratio < 20);
        }
        promise_given_back(loaded + ", unsubscribed",
                           "the monitor, or the end of the watchdog, frees them", before, in_use);
    });
}

}  // namespace
