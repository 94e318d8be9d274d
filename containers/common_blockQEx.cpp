#include "common_blockQEx.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>

#include "containers/ring_space.h"
#include "log/report.h"
#include "platform/no_exceptions.h"

static_assert(offsetof(COMMON_BlockQEx, ring) == 0);
static_assert(offsetof(COMMON_BlockQEx, sync) == sizeof(RingBuf));
static_assert(sizeof(COMMON_BlockQEx) == sizeof(RingBuf) + sizeof(COMMON_sync));

namespace common::blockq {
namespace {

constexpr Source kSource{"common_blockQEx", Module::Common};

void signal_others(void* sync) noexcept
{
    COMMON_sync_signal(static_cast<COMMON_sync*>(sync));
}

/// Holds the queue's lock over a scope, if it can be had.
class SyncScope {
public:
    explicit SyncScope(COMMON_BlockQEx* queue) noexcept
        : sync_(queue != nullptr && COMMON_sync_lock(&queue->sync) == 0 ? &queue->sync : nullptr)
    {
    }
    SyncScope(const SyncScope&) = delete;
    SyncScope& operator=(const SyncScope&) = delete;
    ~SyncScope()
    {
        if (sync_ != nullptr) {
            COMMON_sync_unlock(sync_);
        }
    }

    explicit operator bool() const noexcept { return sync_ != nullptr; }

    /// Waits for a signal; false when that failed, and the lock is lost then.
    bool wait() noexcept
    {
        int error = COMMON_sync_wait(sync_);
        // An interrupted wait does not lock again, and locking can be interrupted, too. As it may
        // have taken a signal by then, a thread that is cancelled here signals the others.
        pthread_cleanup_push(signal_others, sync_);
        while (error == EINTR) {
            error = COMMON_sync_lock(sync_);
        }
        pthread_cleanup_pop(0);
        if (error != 0) {
            sync_ = nullptr;
        }
        return error == 0;
    }

private:
    COMMON_sync* sync_;
};

}  // namespace
}  // namespace common::blockq

using namespace common::blockq;

extern "C" {

int32_t COMMON_BlockQEx_Init(COMMON_BlockQEx* q, void* storage, uint32_t capacity)
{
    if (q == nullptr) {
        return -1;
    }
    ringBufInit(&q->ring, storage, capacity);
    const std::int32_t error = COMMON_sync_init(&q->sync, 1);
    if (error != 0) {
        COMMON_REPORT(kSource, Error, "COMMON_sync_init err: %d", error);
        return -1;
    }
    return 0;
}

int32_t COMMON_BlockQEx_Destroy(COMMON_BlockQEx* q)
{
    if (q == nullptr) {
        return -1;
    }
    // Held until the end, so that nobody gets in once more; its error does not matter any more.
    COMMON_sync_lock(&q->sync);
    ringBufFlush(&q->ring);
    ringBufDelete(&q->ring, q->ring.count);
    COMMON_sync_destroy(&q->sync);
    return 0;
}

uint32_t COMMON_BlockQEx_Add(COMMON_BlockQEx* q, const void* data, uint32_t len)
{
    const SyncScope lock(q);
    if (!lock) {
        return 0;
    }
    const std::uint32_t stored = ringWriteData(&q->ring, data, len);
    // Oddity: also for a length of 0, but not for a part. Test: QueueWait.PartialAddWakesNobody.
    if (stored == len && COMMON_sync_signal(&q->sync) != 0) {
        COMMON_REPORT(kSource, Error, "Failed to signal BlockQ\n");
    }
    return stored;
}

uint32_t COMMON_BlockQEx_Remove(COMMON_BlockQEx* q, void* dst, uint32_t len)
{
    SyncScope lock(q);
    if (!lock) {
        return 0;
    }
    std::uint32_t taken = ringReadData(&q->ring, dst, len);
    while (taken == 0 && lock.wait()) {
        taken = ringReadData(&q->ring, dst, len);
    }
    return taken;
}

void COMMON_BlockQEx_Flush(COMMON_BlockQEx* q)
{
    const SyncScope lock(q);
    if (lock) {
        ringBufFlush(&q->ring);
    }
}

uint32_t COMMON_BlockQEx_Size(COMMON_BlockQEx* q)
{
    const SyncScope lock(q);
    return lock ? common::ring::capacity(q->ring) : 0;
}

uint32_t COMMON_BlockQEx_FreeSpace(COMMON_BlockQEx* q)
{
    const SyncScope lock(q);
    return lock ? common::ring::free_space(q->ring) : 0;
}

uint32_t COMMON_BlockQEx_Len(COMMON_BlockQEx* q)
{
    const SyncScope lock(q);
    return lock ? q->ring.count : 0;
}

}  // extern "C"
