// Starts threads that nobody joins.
#pragma once

#include <cstddef>
#include <cstdint>

namespace common {

/// Which step of a start failed.
enum class ThreadStart : std::uint8_t { Started, NoAttributes, NoProperties, NoThread };

/// The platform's stack size.
inline constexpr std::size_t kDefaultStack = 0;

/// Starts a detached thread. Reports nothing.
ThreadStart start_detached(void* (*entry)(void*), void* argument, std::size_t stack_bytes) noexcept;

}  // namespace common
