// Checks the flash partitions and repairs those that are corrupt.
#pragma once

#include <cstdint>

namespace recovery {

/// All that there are: flash_safety.h describes them.
inline constexpr std::uint32_t kPartitionCount = 4;

/// Checks all partitions and prints what was found and what is left.
/// @param only_check leaves corrupt partitions alone.
/// @return the exit status: 0 when all partitions are sound in the end, else 1.
int recover(bool only_check);

}  // namespace recovery
