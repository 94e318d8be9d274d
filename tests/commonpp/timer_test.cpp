// timer: any callable, durations, and what its destructor waits for.
#include <chrono>
#include <memory>

#include <sched.h>

#include "bodies.h"

using commonpp::status;
using commonpp::timer;
using namespace std::chrono_literals;

namespace {

constexpr std::chrono::hours kNever{1};

BODY(CommonppTimer, CallsWhatItHolds)
{
    Flag called;
    int calls = 0;
    timer once([&calls, &called, kept = std::make_unique<int>(7)] {
        calls += *kept;
        called.set();
    });
    CHECK(once.native() != nullptr);
    CHECK(!once.in_use());
    CHECK(once.start(1ms) == status::success);
    called.wait();
    once = timer();
    CHECK_EQ(calls, 7);
}

int plain_calls = 0;
void plain_function()
{
    ++plain_calls;
}

BODY(CommonppTimer, TakesFunctionsToo)
{
    {
        timer once(plain_function);
        CHECK(once.start(1us) == status::success);
        while (once.in_use()) {
            sched_yield();
        }
    }
    CHECK_EQ(plain_calls, 1);
}

BODY(CommonppTimer, DurationsAreRoundedUpToMilliseconds)
{
    timer counted([] {});
    const auto interval_of = [&](auto time) {
        CHECK(counted.start(time) == status::success);
        return counted.native()->interval;
    };
    CHECK_EQ(interval_of(0s), 1U);
    CHECK_EQ(interval_of(-5s), 1U);
    CHECK_EQ(interval_of(std::chrono::nanoseconds::min()), 1U);
    CHECK_EQ(interval_of(1ns), 1U);
    CHECK_EQ(interval_of(1ms), 1U);
    CHECK_EQ(interval_of(1000001ns), 2U);
    CHECK_EQ(interval_of(std::chrono::duration<double>(0.0025)), 3U);
    CHECK_EQ(interval_of(1h), 3600000U);
    CHECK_EQ(interval_of(std::chrono::milliseconds(UINT32_MAX)), UINT32_MAX);
    timer late([] {});
    CHECK(late.start(std::chrono::milliseconds(UINT32_MAX) + 1ns) == status::invalid_param);
    CHECK(late.start(std::chrono::milliseconds(UINT32_MAX) + 1ms) == status::invalid_param);
    CHECK(late.start(std::chrono::hours::max()) == status::invalid_param);
    const double nan = __builtin_nan("");
    CHECK(late.start(std::chrono::duration<double>(nan)) == status::invalid_param);
    CHECK(!late.in_use());
}

BODY(CommonppTimer, StopTakesTheDeadlineBack)
{
    int calls = 0;
    timer never([&] { ++calls; });
    CHECK(!never.stop());
    CHECK(never.start(kNever) == status::success);
    CHECK(never.in_use());
    CHECK(never.stop());
    CHECK(!never.in_use());
    CHECK(!never.stop());
    never = timer();
    CHECK_EQ(calls, 0);
}

BODY(CommonppTimer, StartReplacesAnEarlierDeadline)
{
    std::atomic<int> calls{0};
    Flag called;
    timer again([&] {
        ++calls;
        called.set();
    });
    CHECK(again.start(kNever) == status::success);
    CHECK(again.start(1ms) == status::success);
    called.wait();
    CHECK(!again.in_use());
    CHECK(!again.stop());
    again = timer();
    CHECK_EQ(calls.load(), 1);
}

BODY(CommonppTimer, PeriodicOneIsEndedFromOutside)
{
    std::atomic<int> calls{0};
    Flag enough;
    timer* self = nullptr;
    timer periodic([&] {
        if (++calls == 3) {
            enough.set();
        }
        static_cast<void>(self->start(1ms));
    });
    self = &periodic;
    CHECK(periodic.start(1ms) == status::success);
    enough.wait();
}

BODY(CommonppTimer, DestructorWaitsForARunningCallAndRejectsItsStarts)
{
    Flag entered;
    std::atomic<bool> left{false};
    timer* self = nullptr;
    {
        timer slow([&] {
            entered.set();
            // Accepted until the destructor is at work.
            while (self->start(kNever) != status::rejected) {
                sched_yield();
            }
            CHECK(!self->stop());
            left = true;
        });
        self = &slow;
        CHECK(slow.start(1ms) == status::success);
        entered.wait();
    }
    CHECK(left.load());
}

BODY(CommonppTimer, DestroyedInItsOwnCallItLivesUntilThatReturns)
{
    std::atomic<int> alive{0};
    std::atomic<int> alive_inside{0};
    Flag returning;
    std::unique_ptr<timer> owner;
    owner = std::make_unique<timer>([&, kept = Counted(alive)] {
        owner.reset();
        alive_inside = alive.load();
        returning.set();
    });
    CHECK_EQ(alive.load(), 1);
    CHECK(owner->start(1ms) == status::success);
    returning.wait();
    CHECK_EQ(alive_inside.load(), 1);
    while (alive.load() != 0) {
        sched_yield();
    }
}

// Two calls at once, as the first one starts the timer and stays: the last one to return ends it.
BODY(CommonppTimer, DestroyedInOneOfTwoCallsItLivesUntilBothReturn)
{
    std::atomic<int> alive{0};
    std::atomic<int> calls{0};
    std::atomic<int> alive_late{0};
    Flag second_entered;
    Flag destroyed;
    Flag seen;
    std::unique_ptr<timer> owner;
    owner = std::make_unique<timer>([&, kept = Counted(alive)] {
        if (++calls == 1) {
            CHECK(owner->start(1ms) == status::success);
            second_entered.wait();
            owner.reset();
            destroyed.set();
            return;
        }
        second_entered.set();
        destroyed.wait();
        alive_late = alive.load();
        seen.set();
    });
    CHECK(owner->start(1ms) == status::success);
    seen.wait();
    CHECK_EQ(alive_late.load(), 1);
    while (alive.load() != 0) {
        sched_yield();
    }
    CHECK_EQ(calls.load(), 2);
}

// What the second of two starts took back holds the callable no more.
BODY(CommonppTimer, DestroyedInItsOwnCallAfterManyStartsItIsFreed)
{
    std::atomic<int> alive{0};
    std::unique_ptr<timer> owner;
    owner = std::make_unique<timer>([&, kept = Counted(alive)] { owner.reset(); });
    for (int start = 0; start < 3; ++start) {
        CHECK(owner->start(kNever) == status::success);
    }
    CHECK(owner->stop());
    CHECK(owner->start(kNever) == status::success);
    CHECK(owner->start(1ms) == status::success);
    while (alive.load() != 0) {
        sched_yield();
    }
}

BODY(CommonppTimer, DestroyedInItsOwnCallWithADeadlineAheadItIsFreed)
{
    std::atomic<int> alive{0};
    std::unique_ptr<timer> owner;
    owner = std::make_unique<timer>([&, kept = Counted(alive)] {
        CHECK(owner->start(kNever) == status::success);
        owner.reset();
    });
    CHECK(owner->start(1ms) == status::success);
    while (alive.load() != 0) {
        sched_yield();
    }
}

BODY(CommonppTimer, DestroyedInTheCallOfAnotherOneItIsEndedThere)
{
    std::atomic<int> alive{0};
    std::atomic<int> alive_inside{-1};
    Flag done;
    auto other = std::make_unique<timer>([kept = Counted(alive)] {});
    CHECK(other->start(kNever) == status::success);
    timer ending([&] {
        other.reset();
        alive_inside = alive.load();
        done.set();
    });
    CHECK(ending.start(1ms) == status::success);
    done.wait();
    CHECK_EQ(alive_inside.load(), 0);
}

BODY(CommonppTimer, MovesLeaveNothingBehind)
{
    std::atomic<int> alive{0};
    {
        timer first([kept = Counted(alive)] {});
        CHECK(first.start(kNever) == status::success);
        timer second(std::move(first));
        // NOLINTNEXTLINE(bugprone-use-after-move): what a move leaves behind is looked at.
        CHECK(!first.in_use());
        CHECK(!first.stop());
        CHECK(first.start(1ms) == status::no_resources);
        CHECK(first.native() == nullptr);
        CHECK(second.in_use());
        timer& same = second;
        second = std::move(same);
        CHECK(second.in_use());
        timer third([kept = Counted(alive)] {});
        CHECK_EQ(alive.load(), 2);
        third = std::move(second);
        CHECK_EQ(alive.load(), 1);
        CHECK(third.in_use());
        first = std::move(third);
        CHECK(first.stop());
    }
    CHECK_EQ(alive.load(), 0);
}

}  // namespace
