// Scenarios of the fault sweep: the sync object, and the queue that is made of it.
#include <cerrno>
#include <ctime>

#include "asleep.h"
#include "scenario.h"

using namespace faults;

namespace {

/// A sync object that works, whatever befell it, when it is ended.
class Sync {
public:
    Sync() { COMMON_sync_init(&sync_, 0); }
    Sync(const Sync&) = delete;
    Sync& operator=(const Sync&) = delete;

    /// A semaphore that refuses a call stays as it is, so the object is made anew after a failure.
    ~Sync()
    {
        if (failed()) {
            COMMON_sync_destroy(&sync_);
            COMMON_sync_init(&sync_, 0);
        }
        EXPECT_EQ(COMMON_sync_lock(&sync_), 0);
        EXPECT_EQ(COMMON_sync_signal(&sync_), 0);
        EXPECT_EQ(COMMON_sync_wait(&sync_), 0);
        EXPECT_EQ(COMMON_sync_unlock(&sync_), 0);
        EXPECT_EQ(COMMON_sync_destroy(&sync_), 0);
    }

    operator COMMON_sync*() { return &sync_; }

private:
    COMMON_sync sync_{};
};

const timespec* in_a_minute()
{
    static timespec deadline;
    clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_sec += 60;
    return &deadline;
}

SCENARIO(COMMON_sync_init, gives("0"), on(Call::sem_init).gives("{errno}"))
{
    COMMON_sync sync;
    if (CALL(COMMON_sync_init, &sync, 0) != 0) {
        EXPECT_EQ(COMMON_sync_init(&sync, 0), 0);
    }
    EXPECT_EQ(COMMON_sync_lock(&sync), 0);
    EXPECT_EQ(COMMON_sync_destroy(&sync), 0);
}

SCENARIO(COMMON_sync_destroy, gives("0"), on(Call::sem_destroy).gives("{errno}"))
{
    COMMON_sync sync;
    COMMON_sync_init(&sync, 0);
    if (CALL(COMMON_sync_destroy, &sync) != 0) {
        EXPECT_EQ(COMMON_sync_destroy(&sync), 0);
    }
}

/// What is only a look, or a try, is left to the wait.
SCENARIO(COMMON_sync_lock, gives("0"))
{
    Sync sync;
    CALL(COMMON_sync_lock, sync);
    EXPECT_EQ(COMMON_sync_unlock(sync), 0);
}

SCENARIO(LockIsWaitedFor, gives("0"), on(Call::sem_wait).gives("{errno}"))
{
    Sync sync;
    COMMON_sync* const object = sync;
    sem_wait(&object->lock);
    const OnceAsleep gives_back([&] { sem_post(&object->lock); });
    const bool has_it = CALL(COMMON_sync_lock, sync) == 0;
    EXPECT_EQ(COMMON_sync_unlock(sync), has_it ? 0 : EACCES);
}

SCENARIO(LockIsLookedAt, Flag::Looks, gives("0"), on(Call::sem_wait).gives("{errno}"))
{
    Sync sync;
    COMMON_sync* const object = sync;
    sem_wait(&object->lock);
    const OnceAsleep gives_back([&] { sem_post(&object->lock); });
    const bool has_it = CALL(COMMON_sync_lock, sync) == 0;
    EXPECT_EQ(COMMON_sync_unlock(sync), has_it ? 0 : EACCES);
}

SCENARIO(COMMON_sync_timedlock, gives("0"))
{
    Sync sync;
    CALL(COMMON_sync_timedlock, sync, in_a_minute());
    EXPECT_EQ(COMMON_sync_unlock(sync), 0);
}

SCENARIO(LockIsWaitedForWithADeadline, gives("0"), on(Call::sem_timedwait).gives("{errno}"))
{
    Sync sync;
    COMMON_sync* const object = sync;
    sem_wait(&object->lock);
    const OnceAsleep gives_back([&] { sem_post(&object->lock); });
    const bool has_it = CALL(COMMON_sync_timedlock, sync, in_a_minute()) == 0;
    EXPECT_EQ(COMMON_sync_unlock(sync), has_it ? 0 : EACCES);
}

SCENARIO(COMMON_sync_unlock, gives("0"), on({Call::sem_getvalue, Call::sem_post}).gives("{errno}"))
{
    Sync sync;
    EXPECT_EQ(COMMON_sync_lock(sync), 0);
    CALL(COMMON_sync_unlock, sync);
}

SCENARIO(COMMON_sync_signal, gives("0"), on({Call::sem_getvalue, Call::sem_post}).gives("{errno}"))
{
    Sync sync;
    CALL(COMMON_sync_signal, sync);
}

/// The signal is there: nothing sleeps.
SCENARIO(COMMON_sync_wait, gives("0"), on(Call::sem_getvalue).nth(1).gives("{errno}"),
         on(Call::sem_post).gives("{errno}"))
{
    Sync sync;
    EXPECT_EQ(COMMON_sync_signal(sync), 0);
    EXPECT_EQ(COMMON_sync_lock(sync), 0);
    if (CALL(COMMON_sync_wait, sync) == 0) {
        EXPECT_EQ(COMMON_sync_unlock(sync), 0);
    }
}

/// A wait that fails does not lock again.
SCENARIO(SignalIsWaitedFor, gives("0"), on(Call::sem_getvalue).nth(1).gives("{errno}"),
         on({Call::sem_post, Call::sem_wait}).gives("{errno}"))
{
    Sync sync;
    COMMON_sync* const object = sync;
    EXPECT_EQ(COMMON_sync_lock(sync), 0);
    const OnceAsleep signals([&] { sem_post(&object->signal); });
    if (CALL(COMMON_sync_wait, sync) == 0) {
        EXPECT_EQ(COMMON_sync_unlock(sync), 0);
    }
}

/// A wait that fails locks again.
SCENARIO(COMMON_sync_timedwait, gives("0"), on(Call::sem_getvalue).nth(1).gives("{errno}"),
         on({Call::sem_post, Call::sem_timedwait}).gives("{errno}"))
{
    Sync sync;
    COMMON_sync* const object = sync;
    EXPECT_EQ(COMMON_sync_lock(sync), 0);
    const OnceAsleep signals([&] { sem_post(&object->signal); });
    CALL(COMMON_sync_timedwait, sync, in_a_minute());
    const bool was_unlocked = !failed() || harness::fault::calls(Call::sem_timedwait) > 1;
    EXPECT_EQ(COMMON_sync_unlock(sync), was_unlocked ? 0 : EACCES);
}

constexpr char kText[] = "some bytes";
constexpr std::uint32_t kCapacity = 64;

/// A queue that works when it is ended.
class Queue {
public:
    explicit Queue(const char* text = "")
    {
        EXPECT_EQ(COMMON_BlockQEx_Init(&queue_, storage_, kCapacity), 0);
        if (*text != '\0') {
            EXPECT_EQ(COMMON_BlockQEx_Add(&queue_, text, sizeof kText), sizeof kText);
        }
    }
    Queue(const Queue&) = delete;
    Queue& operator=(const Queue&) = delete;

    ~Queue()
    {
        if (failed()) {
            COMMON_sync_destroy(&queue_.sync);
            EXPECT_EQ(COMMON_sync_init(&queue_.sync, 0), 0);
        }
        COMMON_BlockQEx_Flush(&queue_);
        EXPECT_EQ(COMMON_BlockQEx_Add(&queue_, kText, 3), 3U);
        char text[8];
        EXPECT_EQ(COMMON_BlockQEx_Remove(&queue_, text, sizeof text), 3U);
        EXPECT_EQ(COMMON_BlockQEx_Destroy(&queue_), 0);
    }

    operator COMMON_BlockQEx*() { return &queue_; }

private:
    COMMON_BlockQEx queue_{};
    char storage_[kCapacity];
};

Promise reports(Call call, const char* function, const char* message)
{
    return on(call).logs(
        {said(COMMON_LogLevelError, "COMMON", "common_blockQEx", function, message)});
}

SCENARIO(
    COMMON_BlockQEx_Init, gives("0"),
    reports(Call::sem_init, "COMMON_BlockQEx_Init", "COMMON_sync_init err: {errno}").gives("-1"))
{
    COMMON_BlockQEx queue;
    char storage[kCapacity];
    if (CALL(COMMON_BlockQEx_Init, &queue, storage, kCapacity) != 0) {
        EXPECT_EQ(COMMON_BlockQEx_Init(&queue, storage, kCapacity), 0);
    }
    EXPECT_EQ(COMMON_BlockQEx_Size(&queue), kCapacity);
    EXPECT_EQ(COMMON_BlockQEx_Destroy(&queue), 0);
}

SCENARIO(COMMON_BlockQEx_Destroy, gives("0"))
{
    COMMON_BlockQEx queue;
    char storage[kCapacity];
    EXPECT_EQ(COMMON_BlockQEx_Init(&queue, storage, kCapacity), 0);
    CALL(COMMON_BlockQEx_Destroy, &queue);
}

/// The second look at a semaphore and the first post are those of the signal.
SCENARIO(COMMON_BlockQEx_Add, gives("11"),
         reports(Call::sem_getvalue, "COMMON_BlockQEx_Add", "Failed to signal BlockQ").nth(2),
         reports(Call::sem_post, "COMMON_BlockQEx_Add", "Failed to signal BlockQ").nth(1))
{
    Queue queue;
    CALL(COMMON_BlockQEx_Add, queue, kText, sizeof kText);
}

SCENARIO(COMMON_BlockQEx_Remove, gives("11"))
{
    Queue queue(kText);
    char text[kCapacity];
    CALL(COMMON_BlockQEx_Remove, queue, text, sizeof text);
    EXPECT_STREQ(text, kText);
}

/// A wait that cannot go on gives nothing; one that is interrupted goes on.
SCENARIO(BytesAreWaitedFor, gives("11"), on(Call::sem_getvalue).nth(2).gives("0"),
         on(Call::sem_post).nth(1).gives("0"),
         on(Call::sem_wait).with({EDEADLK, EINVAL}).gives("0"))
{
    Queue queue;
    COMMON_BlockQEx* const object = queue;
    char text[kCapacity];
    const OnceAsleep adds([&] {
        EXPECT_EQ(ringWriteData(&object->ring, kText, sizeof kText), sizeof kText);
        sem_post(&object->sync.signal);
    });
    CALL(COMMON_BlockQEx_Remove, queue, text, sizeof text);
}

SCENARIO(COMMON_BlockQEx_Flush)
{
    Queue queue(kText);
    COMMON_BlockQEx* const object = queue;
    CALL(COMMON_BlockQEx_Flush, queue);
    EXPECT_EQ(object->ring.count, 0U);
}

SCENARIO(COMMON_BlockQEx_Size, gives("64"))
{
    Queue queue(kText);
    CALL(COMMON_BlockQEx_Size, queue);
}

SCENARIO(COMMON_BlockQEx_FreeSpace, gives("53"))
{
    Queue queue(kText);
    CALL(COMMON_BlockQEx_FreeSpace, queue);
}

SCENARIO(COMMON_BlockQEx_Len, gives("11"))
{
    Queue queue(kText);
    CALL(COMMON_BlockQEx_Len, queue);
}

}  // namespace
