// Names of threads, as the kernel shows them in lists of threads and to debuggers.
#pragma once

#include <cstddef>

namespace common {

/// What the kernel keeps of a name, with its terminating zero.
inline constexpr std::size_t kThreadNameSize = 16;

// The names of the library's own threads. Callers' threads are never named.
inline constexpr char kTimerThreadName[] = "common-timer";
inline constexpr char kWatchdogThreadName[] = "common-wdm";

/// Names the calling thread, for which it takes one system call; a failure leaves it as it was, and
/// errno, too. The threads that it starts inherit the name.
void name_own_thread(const char* name) noexcept;

/// Whether the calling thread has one of these names, of its own or inherited.
bool has_library_name() noexcept;

/// Reads the name of the process, which is that of its first thread. False without the file, such
/// as when no descriptor is left.
bool read_process_name(char (&name)[kThreadNameSize]) noexcept;

}  // namespace common
