// Both blocking queues step by step: which locks are held, and calls of the platform that fail.
#include "queues.h"

#include <cerrno>
#include <pthread.h>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "fault.h"
#include "fresh_process.h"
#include "log_expect.h"
#include "wait_until.h"

using namespace harness;
using fault::Call;
using testing::ElementsAre;

namespace {

Report said(const char* function, const char* message)
{
    return harness::said(COMMON_LogLevelError, "COMMON", "common_blockQEx", function, message);
}

/// A queue of four bytes that the test destroys by itself.
template <class Kind>
struct Undestroyed : Kind::Record {
    Undestroyed() { EXPECT_EQ(Kind::init(this, storage, sizeof storage), 0); }

    char storage[4];
};

/// A thread that holds a mutex until it is told to let go.
class Holder {
public:
    explicit Holder(pthread_mutex_t& mutex)
        : thread_([this, &mutex] {
              pthread_mutex_lock(&mutex);
              holds_.set();
              EXPECT_TRUE(told_.wait());
              has_let_go_ = true;
              pthread_mutex_unlock(&mutex);
          })
    {
        EXPECT_TRUE(holds_.wait());
    }
    Holder(const Holder&) = delete;
    Holder& operator=(const Holder&) = delete;
    ~Holder() { thread_.join(); }

    void let_go() { told_.set(); }
    bool is_told() const { return told_.is_set(); }
    /// Guarded by the mutex.
    bool has_let_go() const { return has_let_go_; }

private:
    Event holds_;
    Event told_;
    bool has_let_go_ = false;
    std::thread thread_;
};

// BlockQ.

FRESH_TEST(BlockQFault, EachFullAddSignalsOnce)
{
    Queue<BlockQKind> queue(4);
    queue.add("ab");
    queue.add("cd");
    queue.add("");
    EXPECT_EQ(fault::calls(Call::pthread_cond_signal), 3);
    queue.add("e");
    EXPECT_EQ(fault::calls(Call::pthread_cond_signal), 3);
    EXPECT_EQ(fault::calls(Call::pthread_cond_broadcast), 0);
}

/// Which of the queue's mutexes another thread finds locked.
std::string locked_ones(BlockQ& queue)
{
    std::string locked;
    std::thread([&] {
        for (auto [name, mutex] :
             {std::pair{"queue ", &queue.queueMutex}, std::pair{"buffer ", &queue.bufferMutex}}) {
            if (pthread_mutex_trylock(mutex) == 0) {
                pthread_mutex_unlock(mutex);
            } else {
                locked += name;
            }
        }
    }).join();
    return locked;
}

FRESH_TEST(BlockQFault, LocksAreTakenInOrder)
{
    Queue<BlockQKind> queue(4);
    std::vector<std::string> seen;
    const auto see_at = [&](Call call, int nth) {
        fault::on_call(call, nth, [&] { seen.push_back(locked_ones(queue.record)); });
    };
    see_at(Call::pthread_mutex_trylock, 1);
    see_at(Call::pthread_mutex_lock, 1);
    see_at(Call::pthread_mutex_unlock, 1);
    see_at(Call::pthread_cond_signal, 1);
    queue.add("a");
    EXPECT_THAT(seen, ElementsAre("", "queue ", "queue buffer ", "queue "));
    seen.clear();
    see_at(Call::pthread_mutex_lock, 1);
    EXPECT_EQ(queue.remove(1), "a");
    EXPECT_THAT(seen, ElementsAre("queue "));
    // The others take the buffer's mutex only.
    seen.clear();
    for (const auto& look : {BlockQ_Size, BlockQ_FreeSpace, BlockQ_Len}) {
        see_at(Call::pthread_mutex_unlock, 1);
        look(&queue.record);
    }
    see_at(Call::pthread_mutex_unlock, 1);
    BlockQ_Flush(&queue.record);
    EXPECT_THAT(seen, ElementsAre("buffer ", "buffer ", "buffer ", "buffer "));
}

FRESH_TEST(BlockQFault, QueueThatStaysTakenIsWaitedFor)
{
    Queue<BlockQKind> queue(4);
    {
        Holder holder(queue.record.queueMutex);
        fault::fail(Call::sysconf);  // for one processor there is no second look
        fault::on_call(Call::pthread_mutex_lock, 1, [&] {
            EXPECT_GT(fault::calls(Call::pthread_mutex_trylock), 1) << "it did not look again";
            holder.let_go();
        });
        EXPECT_EQ(queue.add("a"), 1U);
        EXPECT_TRUE(holder.is_told());
    }
    EXPECT_EQ(queue.remove(1), "a");
}

FRESH_TEST(BlockQFault, WaitHoldsNoMutexOfTheBuffer)
{
    Queue<BlockQKind> queue(4);
    std::string seen = "?";
    fault::on_call(Call::pthread_cond_wait, 1, [&] {
        seen = locked_ones(queue.record);
        (void)ringWriteData(&queue.record.ring, "a", 1);
        fault::fail(Call::pthread_cond_wait, 0, EINVAL);
    });
    EXPECT_EQ(queue.remove(1), "a") << "a wait that fails is one that ends";
    EXPECT_EQ(seen, "queue ");
}

FRESH_TEST(BlockQFault, FlushGivesTheResultOfTheUnlock)
{
    Queue<BlockQKind> queue(4);
    queue.add("abc");
    fault::fail(Call::pthread_mutex_unlock, 1, EPERM);
    EXPECT_EQ(BlockQ_Flush(&queue.record), EPERM);
    EXPECT_EQ(queue.record.ring.count, 0U);
    EXPECT_EQ(BlockQ_Flush(&queue.record), 0);
}

FRESH_TEST(BlockQFault, FlushWithoutTheLockLeavesTheLockAlone)
{
    Queue<BlockQKind> queue(4);
    queue.add("abc");
    const int unlocked = fault::calls(Call::pthread_mutex_unlock);
    fault::fail(Call::pthread_mutex_lock);
    EXPECT_EQ(BlockQ_Flush(&queue.record), 0);
    EXPECT_EQ(queue.record.ring.count, 0U);
    EXPECT_EQ(fault::calls(Call::pthread_mutex_unlock), unlocked);
}

FRESH_TEST(BlockQFault, FailuresOfThePlatformAreNotTold)
{
    for (const Call call :
         {Call::pthread_cond_init, Call::pthread_mutex_init, Call::pthread_mutex_lock,
          Call::pthread_cond_signal, Call::pthread_cond_destroy}) {
        char storage[4];
        BlockQ queue{};
        fault::reset();
        fault::fail(call);
        EXPECT_EQ(BlockQ_Init(&queue, storage, 4), 0) << fault::name(call);
        EXPECT_EQ(BlockQ_Add(&queue, "ab", 2), 2U) << fault::name(call);
        char text[2];
        EXPECT_EQ(BlockQ_Remove(&queue, text, 2), 2U) << fault::name(call);
        EXPECT_EQ(BlockQ_Destroy(&queue), 0) << fault::name(call);
        EXPECT_EQ(fault::fired(), 1) << fault::name(call);
    }
}

FRESH_TEST(BlockQFault, QueueThatCannotBeLockedIsUsedWithoutTheLock)
{
    Queue<BlockQKind> queue(4);
    fault::fail_always(Call::pthread_mutex_trylock, EINVAL);
    fault::fail(Call::pthread_mutex_lock, 1, EINVAL);
    EXPECT_EQ(queue.add("a"), 1U);
    EXPECT_EQ(locked_ones(queue.record), "") << "the buffer's mutex was given back";
    EXPECT_EQ(queue.remove(1), "a");
}

FRESH_TEST(BlockQFault, InitMakesTheConditionAndBothMutexes)
{
    Queue<BlockQKind> queue(4);
    EXPECT_EQ(fault::calls(Call::pthread_cond_init), 1);
    EXPECT_EQ(fault::calls(Call::pthread_mutex_init), 2);
    EXPECT_EQ(fault::calls(Call::pthread_mutexattr_init), 0);
    EXPECT_EQ(fault::calls(Call::pthread_condattr_init), 0);
}

/// A mutex that the C library has destroyed refuses to be locked.
bool is_destroyed(pthread_mutex_t& mutex)
{
    const int error = pthread_mutex_trylock(&mutex);
    if (error == 0) {
        pthread_mutex_unlock(&mutex);
    }
    return error == EINVAL;
}

FRESH_TEST(BlockQFault, DestroyTakesTheBuffersMutexFirstAndTheConditionLast)
{
    Undestroyed<BlockQKind> queue;
    fault::on_call(Call::pthread_mutex_destroy, 2, [&] {
        EXPECT_TRUE(is_destroyed(queue.bufferMutex));
        EXPECT_FALSE(is_destroyed(queue.queueMutex));
        EXPECT_EQ(fault::calls(Call::pthread_cond_destroy), 0);
    });
    EXPECT_EQ(BlockQ_Destroy(&queue), 0);
    EXPECT_EQ(fault::calls(Call::pthread_mutex_destroy), 2);
    EXPECT_EQ(fault::calls(Call::pthread_cond_destroy), 1);
    EXPECT_TRUE(is_destroyed(queue.queueMutex));
}

FRESH_TEST(BlockQFault, DestroyTriesAgainAsLongAsAMutexIsBusy)
{
    Undestroyed<BlockQKind> queue;
    fault::reset();
    // Three times busy for the buffer's mutex: four attempts, and one for the other mutex.
    fault::fail_from(Call::pthread_mutex_destroy, 1, EBUSY);
    fault::on_call(Call::pthread_mutex_destroy, 4,
                   [] { fault::fail(Call::pthread_mutex_destroy, 1'000); });
    EXPECT_EQ(BlockQ_Destroy(&queue), 0);
    EXPECT_EQ(fault::fired(), 3);
    EXPECT_EQ(fault::calls(Call::pthread_mutex_destroy), 5);
    EXPECT_EQ(fault::calls(Call::pthread_mutex_lock), 5) << "both for the ring";
    EXPECT_EQ(fault::calls(Call::pthread_mutex_unlock), 5);
    EXPECT_TRUE(is_destroyed(queue.bufferMutex));
    EXPECT_TRUE(is_destroyed(queue.queueMutex));
}

FRESH_TEST(BlockQFault, DestroyDoesNotTryAgainAfterOtherErrors)
{
    Undestroyed<BlockQKind> queue;
    fault::fail(Call::pthread_mutex_destroy, 1, EINVAL);
    EXPECT_EQ(BlockQ_Destroy(&queue), 0);
    EXPECT_EQ(fault::calls(Call::pthread_mutex_destroy), 2);
}

FRESH_TEST(BlockQFault, DestroyWaitsForWhoHoldsAMutex)
{
    Undestroyed<BlockQKind> queue;
    Holder holder(queue.queueMutex);
    fault::on_call(Call::pthread_mutex_lock, 1, [&] {
        EXPECT_FALSE(holder.has_let_go());
        holder.let_go();
    });
    fault::on_call(Call::pthread_mutex_destroy, 1, [&] { EXPECT_TRUE(holder.has_let_go()); });
    EXPECT_EQ(BlockQ_Destroy(&queue), 0);
    EXPECT_GE(fault::calls(Call::pthread_mutex_destroy), 2);
    EXPECT_TRUE(is_destroyed(queue.queueMutex));
}

// The C library gives up its count of who uses a mutex before it gives the mutex free, so that it
// may be destroyed while somebody is still at it.
FRESH_TEST(BlockQFault, DestroyWaitsForWhoIsInsideAnUnlock)
{
    Undestroyed<BlockQKind> queue;
    Event destroys;
    Event destroyed;
    std::thread destroyer;
    const auto unlock_slowly = [&] {
        --queue.queueMutex.__data.__nusers;
        fault::on_call(Call::pthread_mutex_lock, 1, [&] { destroys.set(); });
        destroyer = std::thread([&] {
            EXPECT_EQ(BlockQ_Destroy(&queue), 0);
            destroyed.set();
        });
        EXPECT_TRUE(wait_until([&] { return destroys.is_set() || destroyed.is_set(); }));
        EXPECT_FALSE(is_destroyed(queue.bufferMutex));
        EXPECT_FALSE(destroyed.is_set());
        ++queue.queueMutex.__data.__nusers;
    };
    // The buffer's mutex is unlocked first.
    fault::on_call(Call::pthread_mutex_unlock, 2, unlock_slowly);
    EXPECT_EQ(BlockQ_Add(&queue, "a", 1), 1U);
    destroyer.join();
    EXPECT_TRUE(is_destroyed(queue.queueMutex));
}

FRESH_TEST(BlockQFault, DestroyEmptiesTheRingUnderBothLocks)
{
    Undestroyed<BlockQKind> queue;
    EXPECT_EQ(BlockQ_Add(&queue, "abc", 3), 3U);
    fault::reset();
    fault::on_call(Call::pthread_mutex_lock, 2, [&] {
        EXPECT_EQ(locked_ones(queue), "queue ");
        EXPECT_EQ(queue.ring.count, 3U);
    });
    fault::on_call(Call::pthread_mutex_unlock, 1, [&] {
        EXPECT_EQ(locked_ones(queue), "queue buffer ");
        EXPECT_EQ(queue.ring.count, 0U);
    });
    EXPECT_EQ(BlockQ_Destroy(&queue), 0);
}

// BlockQEx.

TEST(BlockQExFault, SyncObjectThatCannotBeMadeIsReported)
{
    for (const int nth : {1, 2}) {
        const Outcome outcome = well([&] {
            char storage[4];
            COMMON_BlockQEx queue;
            fault::fail(Call::sem_init, nth, ENOSPC);
            EXPECT_EQ(COMMON_BlockQEx_Init(&queue, storage, 4), -1);
            EXPECT_EQ(queue.ring.end - queue.ring.start, 4) << "the ring comes first";
        });
        EXPECT_THAT(outcome.log,
                    ElementsAre(said("COMMON_BlockQEx_Init", "COMMON_sync_init err: 28")));
    }
}

TEST(BlockQExFault, SignalThatFailsIsReportedAndTheBytesAreThere)
{
    const Outcome outcome = well([] {
        Queue<BlockQExKind> queue(8);
        fault::fail(Call::sem_getvalue, 2, EINVAL);  // the first one looks at the lock
        EXPECT_EQ(queue.add("abc"), 3U);
        fault::fail(Call::sem_post, 1, EOVERFLOW);
        EXPECT_EQ(queue.add("d"), 1U);
        EXPECT_EQ(queue.remove(9), "abcd");
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("COMMON_BlockQEx_Add", "Failed to signal BlockQ"),
                                         said("COMMON_BlockQEx_Add", "Failed to signal BlockQ")));
    for (const LogRecord& sent : outcome.log) {
        EXPECT_THAT(sent.raw, testing::EndsWith(", Failed to signal BlockQ\n"));
    }
}

FRESH_TEST(BlockQExFault, LockThatFailsLeavesTheQueueAsItIs)
{
    Queue<BlockQExKind> queue(8);
    queue.add("abc");
    sem_wait(&queue.record.sync.lock);  // another thread has it
    const auto fail_next = [] { fault::fail(Call::sem_wait, 1, EINTR); };
    fail_next();
    EXPECT_EQ(queue.add("d"), 0U);
    fail_next();
    EXPECT_EQ(queue.remove(9), "");
    fail_next();
    COMMON_BlockQEx_Flush(&queue.record);
    fail_next();
    EXPECT_EQ(COMMON_BlockQEx_Size(&queue.record), 0U);
    fail_next();
    EXPECT_EQ(COMMON_BlockQEx_FreeSpace(&queue.record), 0U);
    fail_next();
    EXPECT_EQ(COMMON_BlockQEx_Len(&queue.record), 0U);
    EXPECT_EQ(fault::fired(), 6);
    sem_post(&queue.record.sync.lock);
    EXPECT_EQ(queue.remove(9), "abc");
}

// The sync object does not lock again after an interrupted wait; the queue does.
FRESH_TEST(BlockQExFault, InterruptedWaitGoesOnWithTheLock)
{
    Queue<BlockQExKind> queue(8);
    // Interrupted as it waits, and twice more while it locks again and another thread has the lock.
    sem_t& lock = queue.record.sync.lock;
    fault::fail_from(Call::sem_wait, 1, EINTR);
    fault::on_call(Call::sem_wait, 1, [&] {
        sem_wait(&lock);
        fault::on_call(Call::sem_wait, 3, [&] {
            (void)ringWriteData(&queue.record.ring, "abc", 3);
            fault::fail(Call::sem_wait, 1'000);
            sem_post(&lock);
        });
    });
    EXPECT_EQ(queue.remove(9), "abc");
    EXPECT_EQ(fault::fired(), 3);
    EXPECT_EQ(queue.len(), 0U) << "the lock was not given back";
}

FRESH_TEST(BlockQExFault, WaitThatFailsEndsTheRemoveWithoutTheLock)
{
    Queue<BlockQExKind> queue(8);
    fault::fail(Call::sem_wait, 1, EINVAL);
    EXPECT_EQ(queue.remove(9), "");
    EXPECT_EQ(queue.add("abc"), 3U) << "the lock is still held";
    EXPECT_EQ(queue.remove(9), "abc");
}

FRESH_TEST(BlockQExFault, DestroyEndsWithTheLockHeld)
{
    Undestroyed<BlockQExKind> queue;
    EXPECT_EQ(COMMON_BlockQEx_Add(&queue, "abc", 3), 3U);
    fault::reset();
    fault::on_call(Call::sem_getvalue, 1, [&] { EXPECT_EQ(queue.ring.count, 3U); });
    fault::on_call(Call::sem_destroy, 1, [&] {
        int value = -1;
        EXPECT_EQ(sem_getvalue(&queue.sync.lock, &value), 0);
        EXPECT_EQ(value, 0);
        EXPECT_EQ(queue.ring.count, 0U);
    });
    EXPECT_EQ(COMMON_BlockQEx_Destroy(&queue), 0);
    EXPECT_EQ(fault::calls(Call::sem_destroy), 2);
}

FRESH_TEST(BlockQExFault, DestroyGoesOnWhateverFails)
{
    Undestroyed<BlockQExKind> queue;
    sem_wait(&queue.sync.lock);  // another thread has it
    fault::fail(Call::sem_wait, 1, EINTR);
    fault::fail_always(Call::sem_destroy, EBUSY);
    EXPECT_EQ(COMMON_BlockQEx_Destroy(&queue), 0);
    EXPECT_EQ(fault::calls(Call::sem_destroy), 2);
}

}  // namespace
