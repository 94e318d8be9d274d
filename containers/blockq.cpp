#include "blockq.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>

#include "containers/ring_space.h"
#include "platform/lock_scope.h"
#include "platform/no_exceptions.h"
#include "platform/short_look.h"

/// Where a field goes that follows others. On some 32-bit machines a condition has 64-bit fields.
template <class Field>
constexpr std::size_t place_behind(std::size_t end)
{
    return (end + alignof(Field) - 1) / alignof(Field) * alignof(Field);
}

static_assert(offsetof(BlockQ, ring) == 0);
static_assert(offsetof(BlockQ, queueMutex) == sizeof(RingBuf));
static_assert(offsetof(BlockQ, condition) ==
              place_behind<pthread_cond_t>(sizeof(RingBuf) + sizeof(pthread_mutex_t)));
static_assert(offsetof(BlockQ, bufferMutex) ==
              offsetof(BlockQ, condition) + sizeof(pthread_cond_t));
static_assert(sizeof(BlockQ) ==
              place_behind<BlockQ>(offsetof(BlockQ, bufferMutex) + sizeof(pthread_mutex_t)));

namespace common::blockq {
namespace {

// Why there are two mutexes where one would do: callers know the record and the order of its locks,
// and who asks for the length, or flushes, must not wait behind the queue's mutex. So an add takes
// both, which costs it one more lock that nobody else wants.

/// Holds the queue's mutex over a scope, like LockScope. As it is held for moments only, whoever
/// finds it taken looks again before it sleeps: that doubles what a producer passes to a consumer.
class TurnScope {
public:
    explicit TurnScope(pthread_mutex_t& mutex) noexcept
        : mutex_(is_had(&mutex) || comes_true_shortly(is_had, &mutex) ||
                         pthread_mutex_lock(&mutex) == 0
                     ? &mutex
                     : nullptr)
    {
    }
    TurnScope(const TurnScope&) = delete;
    TurnScope& operator=(const TurnScope&) = delete;
    ~TurnScope()
    {
        if (mutex_ != nullptr) {
            pthread_mutex_unlock(mutex_);
        }
    }

private:
    static bool is_had(void* mutex) noexcept
    {
        return pthread_mutex_trylock(static_cast<pthread_mutex_t*>(mutex)) == 0;
    }

    pthread_mutex_t* mutex_;
};

/// Whoever holds a mutex is waited for.
void destroy_when_free(pthread_mutex_t& mutex) noexcept
{
    while (pthread_mutex_destroy(&mutex) == EBUSY) {
        const LockScope others_leave(mutex);
    }
}

void unlock(void* mutex) noexcept
{
    pthread_mutex_unlock(static_cast<pthread_mutex_t*>(mutex));
}

/// Waits for an add. A thread that is cancelled here leaves the mutex free for the others.
void wait_for_add_locked(BlockQ& queue)
{
    pthread_cleanup_push(unlock, &queue.queueMutex);
    pthread_cond_wait(&queue.condition, &queue.queueMutex);
    pthread_cleanup_pop(0);
}

/// Reads by one of the ring's functions, waiting until that gives something.
// Oddity: a length of 0 never does: callers use it as a wait without an end, and are cancelled.
// Test: QueueWait.RemoveOfNothingNeverReturns.
template <class Read>
std::uint32_t read_waiting(BlockQ& queue, Read read)
{
    const TurnScope in_turn(queue.queueMutex);
    for (;;) {
        {
            const LockScope ring_is_ours(queue.bufferMutex);
            const std::uint32_t length = read(queue.ring);
            if (length != 0) {
                return length;
            }
        }
        wait_for_add_locked(queue);
    }
}

}  // namespace
}  // namespace common::blockq

using namespace common::blockq;
using common::LockScope;

extern "C" {

int32_t BlockQ_Init(BlockQ* q, void* storage, uint32_t capacity)
{
    if (q == nullptr) {
        return -1;
    }
    ringBufInit(&q->ring, storage, capacity);
    pthread_cond_init(&q->condition, nullptr);
    pthread_mutex_init(&q->queueMutex, nullptr);
    pthread_mutex_init(&q->bufferMutex, nullptr);
    return 0;
}

int32_t BlockQ_Destroy(BlockQ* q)
{
    if (q == nullptr) {
        return -1;
    }
    {
        // Both, so that nobody is inside any more, not even in an unlock: the platform takes a
        // mutex for one that can be destroyed before it has given it free.
        const LockScope in_turn(q->queueMutex);
        const LockScope ring_is_ours(q->bufferMutex);
        ringBufFlush(&q->ring);
        ringBufDelete(&q->ring, q->ring.count);
    }
    destroy_when_free(q->bufferMutex);
    destroy_when_free(q->queueMutex);
    pthread_cond_destroy(&q->condition);
    return 0;
}

uint32_t BlockQ_Add(BlockQ* q, const void* data, uint32_t len)
{
    if (q == nullptr) {
        return 0;
    }
    const TurnScope in_turn(q->queueMutex);
    std::uint32_t stored = 0;
    {
        const LockScope ring_is_ours(q->bufferMutex);
        stored = ringWriteData(&q->ring, data, len);
    }
    // Oddity: a part wakes nobody, but a length of 0 does: a reader that knows how long messages
    // are does not get to see a cut one by being woken for it.
    // Test: QueueWait.PartialAddWakesNobody.
    if (stored == len) {
        pthread_cond_signal(&q->condition);
    }
    return stored;
}

uint32_t BlockQ_Remove(BlockQ* q, void* dst, uint32_t len)
{
    if (q == nullptr) {
        return 0;
    }
    return read_waiting(*q, [=](RingBuf& ring) { return ringReadData(&ring, dst, len); });
}

uint32_t BlockQ_Peek(BlockQ* q, void* dst, uint32_t len)
{
    if (q == nullptr) {
        return 0;
    }
    return read_waiting(*q, [=](const RingBuf& ring) { return ringPeekData(&ring, dst, len); });
}

int32_t BlockQ_Flush(BlockQ* q)
{
    const bool is_held = pthread_mutex_lock(&q->bufferMutex) == 0;
    ringBufFlush(&q->ring);
    return is_held ? pthread_mutex_unlock(&q->bufferMutex) : 0;
}

uint32_t BlockQ_Size(BlockQ* q)
{
    const LockScope ring_is_ours(q->bufferMutex);
    return common::ring::capacity(q->ring);
}

uint32_t BlockQ_FreeSpace(BlockQ* q)
{
    const LockScope ring_is_ours(q->bufferMutex);
    return common::ring::free_space(q->ring);
}

uint32_t BlockQ_Len(BlockQ* q)
{
    const LockScope ring_is_ours(q->bufferMutex);
    return q->ring.count;
}

}  // extern "C"
