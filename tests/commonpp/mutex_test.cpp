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

BODY(CommonppMutex, HasTheChosenType)
{
    mutex lock(COMMON_MutexTypeRecursive);
    CHECK_EQ(COMMON_Mutex_GetType(lock.native()), COMMON_MutexTypeRecursive);
    lock.lock();
    CHECK(lock.try_lock());
    lock.unlock();
    CHECK(!is_free(lock));
    lock.unlock();
    CHECK(is_free(lock));
    CHECK_EQ(COMMON_Mutex_GetType(mutex().native()), COMMON_MutexTypeDefault);
}

BODY(CommonppMutex, GetsOtherAttributesBeforeItsUse)
{
    mutex lock;
    COMMON_Mutex_Destroy(lock.native());
    COMMON_Mutex_SetShared(lock.native(), 1);
    COMMON_Mutex_SetType(lock.native(), COMMON_MutexTypeRecursive);
    COMMON_Mutex_Commit(lock.native());
    lock.lock();
    CHECK(lock.try_lock());
    lock.unlock();
    lock.unlock();
    CHECK(is_free(lock));
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
    const auto start = std::chrono::steady_clock::now();
    CHECK(!shared.wait_for(3ms, never));
    CHECK(std::chrono::steady_clock::now() >= start + 3ms);
    looks = 0;
    const auto at_the_end = [&] { return ++looks == 2; };
    CHECK(shared.wait_for(0s, at_the_end));
    CHECK(shared.wait_for(0s, [] { return true; }));
}

BODY(CommonppMonitor, LimitsOfAnyLengthDoNotWrap)
{
    using commonpp::detail::bounded;
    constexpr std::chrono::nanoseconds kForever = commonpp::detail::forever;
    CHECK(kForever > 24h * 365 * 100);
    CHECK(bounded(std::chrono::hours::max()) == kForever);
    CHECK(bounded(std::chrono::nanoseconds::max()) == kForever);
    CHECK(bounded(std::chrono::duration<double>(1e300)) == kForever);
    CHECK(bounded(std::chrono::duration<double>(__builtin_nan(""))) == kForever);
    CHECK(bounded(kForever - 1us) < kForever);
    CHECK(bounded(std::chrono::hours(24)) == 24h);
    CHECK(bounded(std::chrono::duration<double, std::nano>(1.5)) == 2ns);
    CHECK(bounded(std::chrono::hours::min()) == 0ns);
    CHECK(bounded(std::chrono::duration<double>(-1e300)) == 0ns);
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
