// Sync objects: their lock, their signal and their waits, with real threads.
#include "common_sync.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <ctime>
#include <functional>
#include <thread>
#include <utility>

#include <gmock/gmock.h>

#include "wait_until.h"

using namespace harness;

namespace {

constexpr auto kNobody = static_cast<pthread_t>(-1);

int value_of(sem_t& semaphore)
{
    int value = -1;
    EXPECT_EQ(sem_getvalue(&semaphore, &value), 0);
    return value;
}

/// A sync object that is set up, and must be free at the end.
struct Sync : COMMON_sync {
    Sync() { EXPECT_EQ(COMMON_sync_init(this, 0), 0); }
    Sync(const Sync&) = delete;
    Sync& operator=(const Sync&) = delete;
    ~Sync()
    {
        EXPECT_EQ(COMMON_sync_lock(this), 0);
        EXPECT_EQ(COMMON_sync_destroy(this), 0);
    }
};

/// The real-time clock, some time from now.
timespec after(std::chrono::milliseconds duration)
{
    timespec time{};
    clock_gettime(CLOCK_REALTIME, &time);
    const auto nanoseconds = time.tv_nsec + duration.count() % 1'000 * 1'000'000;
    time.tv_sec += static_cast<time_t>(duration.count() / 1'000 + nanoseconds / 1'000'000'000);
    time.tv_nsec = static_cast<long>(nanoseconds % 1'000'000'000);
    return time;
}

constexpr timespec kPast{0, 0};
constexpr std::chrono::hours kLong{1};

/// Runs a function in another thread and gives its result.
int in_another_thread(const std::function<int()>& function)
{
    int result = -1;
    std::thread([&] { result = function(); }).join();
    return result;
}

// The record.

TEST(CommonSync, InitSetsTheRecordUpWhateverTheSecondArgument)
{
    for (const std::uint32_t ignored : {0U, 1U, 2U, 3U, UINT32_MAX}) {
        COMMON_sync sync;
        std::memset(&sync, 0xA5, sizeof sync);
        ASSERT_EQ(COMMON_sync_init(&sync, ignored), 0);
        EXPECT_EQ(sync.owner, kNobody);
        EXPECT_EQ(sync.flags, 0U);
        EXPECT_EQ(value_of(sync.lock), 1);
        EXPECT_EQ(value_of(sync.signal), 0);
        EXPECT_EQ(COMMON_sync_destroy(&sync), 0);
    }
}

TEST(CommonSync, DestroyLeavesNoOwner)
{
    COMMON_sync sync;
    ASSERT_EQ(COMMON_sync_init(&sync, 0), 0);
    ASSERT_EQ(COMMON_sync_lock(&sync), 0);
    EXPECT_EQ(COMMON_sync_destroy(&sync), 0);
    EXPECT_EQ(sync.owner, kNobody);
}

TEST(CommonSync, NullArgumentsAreInvalid)
{
    Sync sync;
    EXPECT_EQ(COMMON_sync_init(nullptr, 0), EINVAL);
    EXPECT_EQ(COMMON_sync_destroy(nullptr), EINVAL);
    EXPECT_EQ(COMMON_sync_lock(nullptr), EINVAL);
    EXPECT_EQ(COMMON_sync_timedlock(nullptr, &kPast), EINVAL);
    EXPECT_EQ(COMMON_sync_timedlock(&sync, nullptr), EINVAL);
    EXPECT_EQ(COMMON_sync_unlock(nullptr), EINVAL);
    EXPECT_EQ(COMMON_sync_signal(nullptr), EINVAL);
    EXPECT_EQ(COMMON_sync_wait(nullptr), EINVAL);
    EXPECT_EQ(COMMON_sync_timedwait(nullptr, &kPast), EINVAL);
    ASSERT_EQ(COMMON_sync_lock(&sync), 0);
    EXPECT_EQ(COMMON_sync_timedwait(&sync, nullptr), EINVAL);
    EXPECT_EQ(COMMON_sync_unlock(&sync), 0) << "no longer held";
}

// The lock.

TEST(CommonSync, OwnerIsWhoHoldsTheLock)
{
    Sync sync;
    EXPECT_EQ(COMMON_sync_lock(&sync), 0);
    EXPECT_EQ(sync.owner, pthread_self());
    EXPECT_EQ(value_of(sync.lock), 0);
    EXPECT_EQ(COMMON_sync_unlock(&sync), 0);
    EXPECT_EQ(sync.owner, kNobody);
    EXPECT_EQ(value_of(sync.lock), 1);
}

TEST(CommonSync, OwnerCannotLockAgain)
{
    Sync sync;
    ASSERT_EQ(COMMON_sync_lock(&sync), 0);
    EXPECT_EQ(COMMON_sync_lock(&sync), EACCES);
    const timespec deadline = after(kLong);
    EXPECT_EQ(COMMON_sync_timedlock(&sync, &deadline), EACCES) << "and at once";
    EXPECT_EQ(COMMON_sync_unlock(&sync), 0);
}

TEST(CommonSync, OnlyTheOwnerUnlocks)
{
    Sync sync;
    EXPECT_EQ(COMMON_sync_unlock(&sync), EACCES) << "nobody holds it";
    ASSERT_EQ(COMMON_sync_lock(&sync), 0);
    EXPECT_EQ(in_another_thread([&] { return COMMON_sync_unlock(&sync); }), EACCES);
    EXPECT_EQ(value_of(sync.lock), 0);
    EXPECT_EQ(COMMON_sync_unlock(&sync), 0);
    EXPECT_EQ(COMMON_sync_unlock(&sync), EACCES);
    EXPECT_EQ(value_of(sync.lock), 1);
}

// A record of zeroes has an owner that is nobody's id.
TEST(CommonSync, OwnerZeroIsNobody)
{
    Sync sync;
    sync.owner = 0;
    EXPECT_EQ(COMMON_sync_unlock(&sync), EACCES);
    EXPECT_EQ(COMMON_sync_lock(&sync), 0);
    EXPECT_EQ(COMMON_sync_unlock(&sync), 0);
}

TEST(CommonSync, UnlockNeverRaisesTheSemaphoreAboveOne)
{
    Sync sync;
    ASSERT_EQ(COMMON_sync_lock(&sync), 0);
    sem_post(&sync.lock);
    EXPECT_EQ(COMMON_sync_unlock(&sync), 0);
    EXPECT_EQ(value_of(sync.lock), 1);
}

TEST(CommonSync, OnlyOneThreadHoldsTheLock)
{
    Sync sync;
    int count = 0;
    const auto add = [&] {
        for (int i = 0; i < 5'000; ++i) {
            ASSERT_EQ(COMMON_sync_lock(&sync), 0);
            ++count;
            ASSERT_EQ(COMMON_sync_unlock(&sync), 0);
        }
    };
    std::thread first(add);
    std::thread second(add);
    first.join();
    second.join();
    EXPECT_EQ(count, 10'000);
}

TEST(CommonSync, TimedLockTakesAFreeLockWhateverTheDeadline)
{
    Sync sync;
    EXPECT_EQ(COMMON_sync_timedlock(&sync, &kPast), 0);
    EXPECT_EQ(sync.owner, pthread_self());
    EXPECT_EQ(COMMON_sync_unlock(&sync), 0);
}

TEST(CommonSync, TimedLockRefusesWhatIsNoTimeAlsoIfTheLockIsFree)
{
    Sync sync;
    for (const long nanoseconds : {-1L, 1'000'000'000L}) {
        const timespec no_time{after(kLong).tv_sec, nanoseconds};
        EXPECT_EQ(COMMON_sync_timedlock(&sync, &no_time), EINVAL) << nanoseconds;
        EXPECT_EQ(value_of(sync.lock), 1);
    }
    const timespec last{after(kLong).tv_sec, 999'999'999};
    EXPECT_EQ(COMMON_sync_timedlock(&sync, &last), 0);
    EXPECT_EQ(COMMON_sync_unlock(&sync), 0);
}

TEST(CommonSync, TimedLockEndsAtADeadlineOfTheRealTimeClock)
{
    Sync sync;
    ASSERT_EQ(COMMON_sync_lock(&sync), 0);
    const pthread_t owner = sync.owner;
    EXPECT_EQ(in_another_thread([&] { return COMMON_sync_timedlock(&sync, &kPast); }), ETIMEDOUT);
    const timespec deadline = after(std::chrono::milliseconds(30));
    EXPECT_EQ(in_another_thread([&] { return COMMON_sync_timedlock(&sync, &deadline); }),
              ETIMEDOUT);
    const timespec now = after(std::chrono::milliseconds(0));
    EXPECT_GE(std::make_pair(now.tv_sec, now.tv_nsec),
              std::make_pair(deadline.tv_sec, deadline.tv_nsec));
    EXPECT_EQ(sync.owner, owner);
    EXPECT_EQ(COMMON_sync_unlock(&sync), 0);
}

TEST(CommonSync, TimedLockGetsALockThatIsGivenBackInTime)
{
    Sync sync;
    ASSERT_EQ(COMMON_sync_lock(&sync), 0);
    Event started;
    std::thread waiting([&] {
        const timespec deadline = after(kLong);
        started.set();
        EXPECT_EQ(COMMON_sync_timedlock(&sync, &deadline), 0);
        EXPECT_EQ(COMMON_sync_unlock(&sync), 0);
    });
    EXPECT_TRUE(started.wait());
    EXPECT_EQ(COMMON_sync_unlock(&sync), 0);
    waiting.join();
}

// The signal.

TEST(CommonSync, SignalsDoNotAddUp)
{
    Sync sync;
    EXPECT_EQ(COMMON_sync_signal(&sync), 0);
    EXPECT_EQ(COMMON_sync_signal(&sync), 0);
    EXPECT_EQ(value_of(sync.signal), 1);
    ASSERT_EQ(COMMON_sync_lock(&sync), 0);
    EXPECT_EQ(COMMON_sync_wait(&sync), 0) << "the next wait returns at once";
    EXPECT_EQ(COMMON_sync_timedwait(&sync, &kPast), ETIMEDOUT) << "the one after it waits";
    EXPECT_EQ(COMMON_sync_unlock(&sync), 0);
}

TEST(CommonSync, WaitLetsTheLockGoAndHoldsItAfterwards)
{
    Sync sync;
    Event locked;
    Event returned;
    std::thread waiting([&] {
        ASSERT_EQ(COMMON_sync_lock(&sync), 0);
        locked.set();
        EXPECT_EQ(COMMON_sync_wait(&sync), 0);
        EXPECT_EQ(sync.owner, pthread_self());
        returned.set();
        EXPECT_EQ(COMMON_sync_unlock(&sync), 0);
    });
    EXPECT_TRUE(locked.wait());
    // This lock can only be had while the other thread waits.
    EXPECT_EQ(COMMON_sync_lock(&sync), 0);
    EXPECT_EQ(COMMON_sync_signal(&sync), 0);
    EXPECT_FALSE(returned.is_set());
    EXPECT_EQ(COMMON_sync_unlock(&sync), 0);
    waiting.join();
    EXPECT_TRUE(returned.is_set());
}

TEST(CommonSync, WaitsNeedTheLock)
{
    Sync sync;
    const timespec deadline = after(kLong);
    EXPECT_EQ(COMMON_sync_wait(&sync), EACCES);
    EXPECT_EQ(COMMON_sync_timedwait(&sync, &deadline), EACCES);
    ASSERT_EQ(COMMON_sync_lock(&sync), 0);
    EXPECT_EQ(in_another_thread([&] { return COMMON_sync_wait(&sync); }), EACCES);
    EXPECT_EQ(COMMON_sync_unlock(&sync), 0);
}

TEST(CommonSync, TimedWaitThatTimesOutHoldsTheLock)
{
    Sync sync;
    ASSERT_EQ(COMMON_sync_lock(&sync), 0);
    const timespec deadline = after(std::chrono::milliseconds(30));
    EXPECT_EQ(COMMON_sync_timedwait(&sync, &deadline), 110);
    const timespec now = after(std::chrono::milliseconds(0));
    EXPECT_GE(std::make_pair(now.tv_sec, now.tv_nsec),
              std::make_pair(deadline.tv_sec, deadline.tv_nsec));
    EXPECT_EQ(sync.owner, pthread_self());
    EXPECT_EQ(value_of(sync.lock), 0);
    EXPECT_EQ(COMMON_sync_unlock(&sync), 0);
}

TEST(CommonSync, TimedWaitIsEndedByASignal)
{
    Sync sync;
    ASSERT_EQ(COMMON_sync_lock(&sync), 0);
    const timespec deadline = after(kLong);
    std::thread signalling([&] { EXPECT_EQ(COMMON_sync_signal(&sync), 0); });
    EXPECT_EQ(COMMON_sync_timedwait(&sync, &deadline), 0);
    EXPECT_EQ(sync.owner, pthread_self());
    EXPECT_EQ(COMMON_sync_unlock(&sync), 0);
    signalling.join();
}

// Each thread has an object of its own to wait with: of a shared one, a thread might take the
// signal that it gave itself.
TEST(CommonSync, ThreadsTakeTurns)
{
    Sync ours;
    Sync theirs;
    std::atomic<int> turn{0};
    const auto play = [&](int own, COMMON_sync& wait, COMMON_sync& signal) {
        ASSERT_EQ(COMMON_sync_lock(&wait), 0);
        for (int i = 0; i < 500; ++i) {
            while (turn % 2 != own) {
                ASSERT_EQ(COMMON_sync_wait(&wait), 0);
            }
            ++turn;
            ASSERT_EQ(COMMON_sync_signal(&signal), 0);
        }
        ASSERT_EQ(COMMON_sync_unlock(&wait), 0);
    };
    std::thread first(play, 0, std::ref(ours), std::ref(theirs));
    std::thread second(play, 1, std::ref(theirs), std::ref(ours));
    first.join();
    second.join();
    EXPECT_EQ(turn, 1'000);
}

// Interruptions.

std::atomic<int> interruptions{0};

/// Counts SIGUSR1 and lets it interrupt what the thread waits for.
class Interruptible {
public:
    Interruptible()
    {
        interruptions = 0;
        struct sigaction action {};
        action.sa_handler = [](int) { ++interruptions; };
        sigaction(SIGUSR1, &action, &before_);
    }
    Interruptible(const Interruptible&) = delete;
    Interruptible& operator=(const Interruptible&) = delete;
    ~Interruptible() { sigaction(SIGUSR1, &before_, nullptr); }

private:
    struct sigaction before_ {};
};

TEST(CommonSync, InterruptionEndsTheWaitForTheLock)
{
    const Interruptible interruptible;
    Sync sync;
    ASSERT_EQ(COMMON_sync_lock(&sync), 0);
    Event ended;
    std::thread waiting([&] {
        EXPECT_EQ(COMMON_sync_lock(&sync), EINTR);
        ended.set();
    });
    EXPECT_TRUE(wait_until([&] {
        pthread_kill(waiting.native_handle(), SIGUSR1);
        return ended.is_set();
    }));
    waiting.join();
    EXPECT_EQ(sync.owner, pthread_self());
    EXPECT_EQ(COMMON_sync_unlock(&sync), 0);
}

TEST(CommonSync, InterruptionEndsTheWaitForASignalWithoutTheLock)
{
    const Interruptible interruptible;
    Sync sync;
    Event ended;
    std::thread waiting([&] {
        ASSERT_EQ(COMMON_sync_lock(&sync), 0);
        EXPECT_EQ(COMMON_sync_wait(&sync), EINTR);
        EXPECT_EQ(COMMON_sync_unlock(&sync), EACCES) << "the lock was taken again";
        ended.set();
    });
    EXPECT_TRUE(wait_until([&] {
        pthread_kill(waiting.native_handle(), SIGUSR1);
        return ended.is_set();
    }));
    waiting.join();
}

TEST(CommonSync, InterruptionEndsATimedWaitWithTheLock)
{
    const Interruptible interruptible;
    Sync sync;
    Event ended;
    std::thread waiting([&] {
        const timespec deadline = after(kLong);
        ASSERT_EQ(COMMON_sync_lock(&sync), 0);
        EXPECT_EQ(COMMON_sync_timedwait(&sync, &deadline), EINTR);
        EXPECT_EQ(COMMON_sync_unlock(&sync), 0);
        ended.set();
    });
    EXPECT_TRUE(wait_until([&] {
        pthread_kill(waiting.native_handle(), SIGUSR1);
        return ended.is_set();
    }));
    waiting.join();
}

TEST(CommonSync, WaitsGoOnAfterAnInterruptionWhenTheFlagSaysSo)
{
    const Interruptible interruptible;
    Sync sync;
    sync.flags = COMMON_SyncRetryInterrupted;
    Event locked;
    Event ended;
    std::thread waiting([&] {
        ASSERT_EQ(COMMON_sync_lock(&sync), 0);
        locked.set();
        EXPECT_EQ(COMMON_sync_wait(&sync), 0);
        EXPECT_EQ(COMMON_sync_unlock(&sync), 0);
        ended.set();
    });
    EXPECT_TRUE(locked.wait());
    ASSERT_EQ(COMMON_sync_lock(&sync), 0) << "the other thread waits now";
    EXPECT_EQ(COMMON_sync_unlock(&sync), 0);
    EXPECT_TRUE(wait_until([&] {
        pthread_kill(waiting.native_handle(), SIGUSR1);
        return interruptions >= 20;
    }));
    EXPECT_FALSE(ended.is_set());
    EXPECT_EQ(COMMON_sync_signal(&sync), 0);
    waiting.join();
}

}  // namespace
