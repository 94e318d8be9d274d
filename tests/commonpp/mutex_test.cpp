// mutex and monitor with the locks of the standard library.
#include <chrono>
#include <mutex>

#include "bodies.h"

using commonpp::monitor;
using commonpp::mutex;
using namespace std::chrono_literals;

namespace {

static_assert(sizeof(mutex) == sizeof(COMMON_Mutex));
static_assert(sizeof(monitor) == sizeof(COMMON_Monitor));

/// Whether another thread gets the lock at once.
bool is_free(mutex& lock)
{
    bool had = false;
    commonpp::thread other;
    CHECK(ok(other.start([&] {
        had = lock.try_lock();
        if (had) {
            lock.unlock();
        }
    })));
    CHECK(ok(other.join()));
    return had;
}

BODY(CommonppMutex, IsLockedByTheGuardsOfTheStandard)
{
    mutex lock;
    {
        const std::lock_guard<mutex> held(lock);
        CHECK(!is_free(lock));
    }
    CHECK(is_free(lock));
    {
        std::unique_lock<mutex> held(lock, std::try_to_lock);
        CHECK(held.owns_lock());
        CHECK(!is_free(lock));
        held.unlock();
        CHECK(is_free(lock));
    }
}

BODY(CommonppMutex, HasTheChosenAttributes)
{
    commonpp::mutex_options options;
    options.type = COMMON_MutexTypeRecursive;
    options.shared = true;
    mutex lock(options);
    CHECK_EQ(COMMON_Mutex_GetType(lock.native()), COMMON_MutexTypeRecursive);
    CHECK_EQ(COMMON_Mutex_GetShared(lock.native()), 1U);
    lock.lock();
    CHECK(lock.try_lock());
    lock.unlock();
    CHECK(!is_free(lock));
    lock.unlock();
    CHECK(is_free(lock));
    CHECK_EQ(COMMON_Mutex_GetType(mutex().native()), COMMON_MutexTypeDefault);
    CHECK_EQ(COMMON_Mutex_GetShared(mutex().native()), 0U);
}

BODY(CommonppMonitor, WaitsForAConditionWithTheLockHeld)
{
    monitor shared;
    int turn = 0;
    commonpp::thread other;
    CHECK(ok(other.start([&] {
        std::unique_lock<monitor> held(shared);
        for (int round = 0; round < 100; ++round) {
            shared.wait([&] { return turn == 2 * round + 1; });
            ++turn;
            shared.notify_one();
        }
    })));
    std::unique_lock<monitor> held(shared);
    for (int round = 0; round < 100; ++round) {
        ++turn;
        shared.notify_one();
        CHECK(shared.wait_for(1h, [&] { return turn == 2 * round + 2; }));
    }
    held.unlock();
    CHECK(ok(other.join()));
    CHECK_EQ(turn, 200);
}

BODY(CommonppMonitor, NotifyAllWakesEveryWaiter)
{
    monitor shared;
    int waiting = 0;
    bool go = false;
    commonpp::thread others[3];
    for (commonpp::thread& other : others) {
        CHECK(ok(other.start([&] {
            const std::lock_guard<monitor> held(shared);
            ++waiting;
            shared.notify_all();
            shared.wait([&] { return go; });
        })));
    }
    const std::lock_guard<monitor> held(shared);
    shared.wait([&] { return waiting == 3; });
    go = true;
    shared.notify_all();
    shared.unlock();
    for (commonpp::thread& other : others) {
        CHECK(ok(other.join()));
    }
    shared.lock();
}

BODY(CommonppMonitor, TimeLimitGivesWhatTheConditionGaveLast)
{
    monitor shared;
    const std::lock_guard<monitor> held(shared);
    int looks = 0;
    const auto never = [&] {
        ++looks;
        return false;
    };
    CHECK(!shared.wait_for(0s, never));
    CHECK_EQ(looks, 2);
    CHECK(!shared.wait_for(-1h, never));
    CHECK(!shared.wait_until(std::chrono::steady_clock::time_point::min(), never));
    const auto start = std::chrono::steady_clock::now();
    CHECK(!shared.wait_for(3ms, never));
    CHECK(std::chrono::steady_clock::now() >= start + 3ms);
    CHECK(!shared.wait_until(start, never));
    looks = 0;
    const auto at_the_end = [&] { return ++looks == 2; };
    CHECK(shared.wait_for(0s, at_the_end));
    CHECK(shared.wait_for(0s, [] { return true; }));
}

BODY(CommonppMonitor, LimitsOfAnyLengthDoNotWrap)
{
    using commonpp::detail::deadline_after;
    constexpr auto kEnd = std::chrono::steady_clock::time_point::max();
    const auto now = std::chrono::steady_clock::now();
    CHECK(deadline_after(std::chrono::hours::max()) == kEnd);
    CHECK(deadline_after(std::chrono::nanoseconds::max()) == kEnd);
    CHECK(deadline_after(std::chrono::duration<double>(1e300)) == kEnd);
    CHECK(deadline_after(std::chrono::hours(24)) >= now + std::chrono::hours(24));
    CHECK(deadline_after(std::chrono::hours(24)) < now + std::chrono::hours(48));
    CHECK(deadline_after(std::chrono::hours::min()) < now + std::chrono::hours(24));
    monitor shared;
    bool go = false;
    commonpp::thread other;
    CHECK(ok(other.start([&] {
        const std::lock_guard<monitor> held(shared);
        go = true;
        shared.notify_one();
    })));
    const std::lock_guard<monitor> held(shared);
    CHECK(shared.wait_for(std::chrono::hours::max(), [&] { return go; }));
}

}  // namespace
