// The one allocation of the library that may fail.
#pragma once

#include <cstddef>

namespace common {

/// Allocates a block filled with zero bytes; null without memory. For the log facility, which has
/// to go on without: ending the process there would log, which would allocate again.
void* try_allocate_zeroed(std::size_t size_bytes) noexcept;

}  // namespace common
