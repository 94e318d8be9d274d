// Starts threads that nobody joins.
#pragma once

#include <csignal>
#include <cstdint>

namespace common {

/// Which step of a start failed.
enum class ThreadStart : std::uint8_t { Started, NoAttributes, NoProperties, NoThread };

/// Starts a detached thread, otherwise with the platform's default attributes. It blocks the
/// signals that are given or, with null, those that its starter blocks. Reports nothing.
ThreadStart start_detached(void* (*entry)(void*), void* argument,
                           const sigset_t* signals = nullptr) noexcept;

}  // namespace common
