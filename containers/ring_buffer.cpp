#include "ring_buffer.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "containers/ring_space.h"

static_assert(offsetof(RingBuf, start) == 0);
static_assert(offsetof(RingBuf, end) == sizeof(void*));
static_assert(offsetof(RingBuf, read) == 2 * sizeof(void*));
static_assert(offsetof(RingBuf, write) == 3 * sizeof(void*));
static_assert(offsetof(RingBuf, count) == 4 * sizeof(void*));
static_assert(sizeof(RingBuf) == (sizeof(void*) == 4 ? 20 : 40));

namespace common::ring {
namespace {

/// The position that lies `length` bytes behind another one; never the end.
std::uint8_t* advanced(const RingBuf& ring, std::uint8_t* position, std::uint32_t length) noexcept
{
    const std::uint32_t contiguous = distance(position, ring.end);
    return length < contiguous ? position + length : ring.start + (length - contiguous);
}

/// Copies the oldest bytes, in two pieces when they wrap.
void copy_out(const RingBuf& ring, void* destination, std::uint32_t length) noexcept
{
    const std::uint32_t contiguous = distance(ring.read, ring.end);
    if (length <= contiguous) [[likely]] {
        std::memcpy(destination, ring.read, length);
        return;
    }
    std::memcpy(destination, ring.read, contiguous);
    std::memcpy(static_cast<std::uint8_t*>(destination) + contiguous, ring.start,
                length - contiguous);
}

}  // namespace
}  // namespace common::ring

using namespace common::ring;

extern "C" {

void ringBufInit(RingBuf* rb, void* storage, uint32_t capacity)
{
    rb->start = static_cast<std::uint8_t*>(storage);
    rb->end = rb->start + capacity;
    ringBufFlush(rb);
}

void ringBufFlush(RingBuf* rb)
{
    rb->read = rb->start;
    rb->write = rb->start;
    rb->count = 0;
}

uint32_t ringWriteData(RingBuf* rb, const void* src, uint32_t len)
{
    const std::uint32_t stored = std::min(len, free_space(*rb));
    if (stored == 0) {
        return 0;  // also for a null source, which memcpy() must not get
    }
    const std::uint32_t contiguous = distance(rb->write, rb->end);
    if (stored < contiguous) [[likely]] {
        std::memcpy(rb->write, src, stored);
        rb->write += stored;
    } else {
        std::memcpy(rb->write, src, contiguous);
        std::memcpy(rb->start, static_cast<const std::uint8_t*>(src) + contiguous,
                    stored - contiguous);
        rb->write = rb->start + (stored - contiguous);
    }
    rb->count += stored;
    return stored;
}

uint32_t ringReadData(RingBuf* rb, void* dst, uint32_t len)
{
    const std::uint32_t taken = ringPeekData(rb, dst, len);
    rb->read = advanced(*rb, rb->read, taken);
    rb->count -= taken;
    return taken;
}

uint32_t ringPeekData(const RingBuf* rb, void* dst, uint32_t len)
{
    const std::uint32_t seen = std::min(len, rb->count);
    if (seen != 0) {
        copy_out(*rb, dst, seen);
    }
    return seen;
}

void ringGetDataPtr(const RingBuf* rb, uint8_t** out_ptr, uint32_t* in_out_len)
{
    *out_ptr = rb->read;
    *in_out_len = std::min({*in_out_len, distance(rb->read, rb->end), rb->count});
}

void ringBufDelete(RingBuf* rb, uint32_t n)
{
    const std::uint32_t dropped = std::min(n, rb->count);
    rb->read = advanced(*rb, rb->read, dropped);
    rb->count -= dropped;
}

}  // extern "C"
