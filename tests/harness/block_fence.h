// A fence behind each block that the library allocates, where its calls are intercepted: who writes
// behind the end of a block is found when it is given back. The sanitizers do this by themselves,
// and better.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <malloc.h>

#include "sanitizer.h"

namespace harness::fault {

#if defined(HARNESS_ADDRESS_SANITIZER) || defined(HARNESS_THREAD_SANITIZER)
inline constexpr std::size_t kFence = 0;
#else
inline constexpr std::size_t kFence = 16;
#endif
inline constexpr unsigned char kPost = 0xA5;

/// At the very end of what the allocator has given: how many bytes were not asked for.
struct FenceEnd {
    std::uint32_t magic;
    std::uint32_t slack;
};
inline constexpr std::uint32_t kMagic = 0xF3C3E17D;

/// The size to allocate for a block of `size` bytes.
inline std::size_t with_fence(std::size_t size)
{
    return size > PTRDIFF_MAX - kFence ? size : size + kFence;
}

/// Puts up the fence behind the `size` bytes of a block. @return the block.
inline void* fenced(void* block, std::size_t size)
{
    const std::size_t usable = block == nullptr ? 0 : malloc_usable_size(block);
    if (kFence != 0 && block != nullptr && usable - size <= UINT32_MAX) {
        auto* const bytes = static_cast<unsigned char*>(block);
        const FenceEnd end{kMagic, static_cast<std::uint32_t>(usable - size)};
        std::memset(bytes + size, kPost, usable - size - sizeof end);
        std::memcpy(bytes + usable - sizeof end, &end, sizeof end);
    }
    return block;
}

/// Ends the process when something was written behind the end of a block. A block without a fence
/// is one that the C library has allocated.
inline void look_at_fence(void* block)
{
    if (kFence == 0 || block == nullptr) {
        return;
    }
    const std::size_t usable = malloc_usable_size(block);
    if (usable < kFence) {
        return;
    }
    auto* const bytes = static_cast<unsigned char*>(block);
    FenceEnd end{};
    std::memcpy(&end, bytes + usable - sizeof end, sizeof end);
    if (end.magic != kMagic || end.slack > usable || end.slack < kFence) {
        return;
    }
    if (!std::all_of(bytes + usable - end.slack, bytes + usable - sizeof end,
                     [](unsigned char post) { return post == kPost; })) {
        std::fprintf(stderr, "written behind the end of a block of %zu bytes\n",
                     usable - end.slack);
        std::abort();
    }
    // Whoever gets the block next may put up none.
    std::memset(bytes + usable - sizeof end, 0, sizeof end);
}

}  // namespace harness::fault
