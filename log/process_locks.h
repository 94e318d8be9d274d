// The process-wide locks, and their answer to fork.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>

namespace common {

/// Guards the table of client descriptors (containers/client_descriptor.cpp). Recursive. Taken
/// first: a failure is reported while it is held.
extern constinit pthread_mutex_t descriptor_mutex;
/// Guards the replacement of the log handler and the making of the record slot.
extern constinit pthread_mutex_t handler_lock;
/// Guards the reading of the module configuration file.
extern constinit pthread_mutex_t module_config_lock;
/// Guards the registration of module names.
extern constinit pthread_mutex_t module_assign_lock;
/// Held around the C library's local time, whose own lock would stay taken in a child forked
/// meanwhile.
extern constinit pthread_mutex_t local_time_lock;
/// Held while a record is handed to the system log. Taken last; nothing is taken under it.
extern constinit pthread_mutex_t send_lock;

/// How many forks this process descends from since the library was loaded.
extern constinit std::atomic<std::uint32_t> fork_count;

/// Set in a child that was forked while a record could not be handed over: the C library's log lock
/// stays taken there for good, so records are dropped rather than waited for.
extern constinit std::atomic<bool> cannot_send;

/// Makes forks find these locks free. May be called any number of times, from any thread.
void install_fork_guard() noexcept;

}  // namespace common
