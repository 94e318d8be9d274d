// The kernel's id of the calling thread.
#pragma once

#include <unistd.h>

#include <cstdint>

namespace common {

inline std::uint32_t kernel_thread_id() noexcept
{
    return static_cast<std::uint32_t>(gettid());
}

}  // namespace common
