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

/// Writes bytes that reach the end of the storage or go on at its start. Out of line, like reading
/// them: what does not wrap is a copy and two sums.
[[gnu::noinline]] void write_wrapping(RingBuf& ring, const void* source,
                                      std::uint32_t length) noexcept
{
    const std::uint32_t contiguous = distance(ring.write, ring.end);
    std::memcpy(ring.write, source, contiguous);
    std::memcpy(ring.start, static_cast<const std::uint8_t*>(source) + contiguous,
                length - contiguous);
    ring.write = ring.start + (length - contiguous);
    ring.count += length;
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

[[gnu::noinline]] void read_wrapping(RingBuf& ring, void* destination,
                                     std::uint32_t length) noexcept
{
    copy_out(ring, destination, length);
    ring.read = advanced(ring, ring.read, length);
    ring.count -= length;
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
    std::uint8_t* const write = rb->write;
    if (stored >= distance(write, rb->end)) [[unlikely]] {
        write_wrapping(*rb, src, stored);
        return stored;
    }
    // Before the copy, so that nothing is kept over its call or fetched again.
    rb->write = write + stored;
    rb->count += stored;
    std::memcpy(write, src, stored);
    return stored;
}

uint32_t ringReadData(RingBuf* rb, void* dst, uint32_t len)
{
    const std::uint32_t taken = std::min(len, rb->count);
    if (taken == 0) {
        return 0;  // also for a null destination
    }
    const std::uint8_t* const read = rb->read;
    if (taken >= distance(read, rb->end)) [[unlikely]] {
        read_wrapping(*rb, dst, taken);
        return taken;
    }
    rb->read += taken;
    rb->count -= taken;
    std::memcpy(dst, read, taken);
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
