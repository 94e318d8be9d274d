// How much a ring buffer holds.
#pragma once

#include <cstdint>

#include "ring_buffer.h"

namespace common::ring {

inline std::uint32_t distance(const std::uint8_t* from, const std::uint8_t* to) noexcept
{
    return static_cast<std::uint32_t>(to - from);
}

inline std::uint32_t capacity(const RingBuf& ring) noexcept
{
    return distance(ring.start, ring.end);
}

inline std::uint32_t free_space(const RingBuf& ring) noexcept
{
    return capacity(ring) - ring.count;
}

}  // namespace common::ring
