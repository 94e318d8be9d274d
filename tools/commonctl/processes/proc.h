// What /proc tells of a process.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace commonctl {

/// "/proc/PID/", for what is in it.
std::string proc_folder(pid_t pid);

/// Ids of all processes, sorted.
std::vector<pid_t> all_processes();

/// The content of a file; nothing when it cannot be read. What is no regular file is not, and no
/// open waits.
/// @param most bytes to read; a longer file is cut.
std::optional<std::string> read_file(const std::string& path, std::size_t most = 1u << 20);

/// The same for a settings file that processes look for. Who waits for one of them to read it
/// (ReadWatch) does not take this for that.
std::optional<std::string> look_into(const std::string& path, std::size_t most = 1u << 20);

/// Clock ticks from the boot to the start of a process, which tell it from a later one of the same
/// id: nothing when there is none.
std::optional<std::uint64_t> start_ticks(pid_t pid);

/// The wall clock's time of such a number of ticks, in nanoseconds since the epoch.
std::int64_t time_of_ticks(std::uint64_t ticks);

/// The library's path, as the kernel has it: nothing when the process has not loaded the library.
/// @throws std::system_error when this user may not look into the process or its files.
std::optional<std::string> loaded_library(pid_t pid);

/// The id of a process where it lives: another one in a container.
pid_t own_id(pid_t pid);

}  // namespace commonctl
