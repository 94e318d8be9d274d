// System calls that are refused, as by an older kernel (ENOSYS) or by a container's filter (EPERM).
#pragma once

#include <vector>

namespace harness {

/// Refuses system calls with an error number: those of the calling thread from now on, and of the
/// threads and processes that it starts. There is no way back.
/// @param numbers such as SYS_socket.
void refuse(const std::vector<long>& numbers, int error);

/// Refuses all system calls but these.
void refuse_all_but(const std::vector<long>& numbers, int error);

/// Refuses the library's own waits for a word of memory. The C library's waits go on: those for a
/// lock have no time limit, and its others are of another kind.
void refuse_own_waits(int error);

}  // namespace harness
