// A receiver that empties /dev/log as fast as it can and counts, for benchmarks that send to it.
#pragma once

#include <sys/types.h>

#include <cstdint>

namespace bench {

/// Moves the calling process, which has one thread, to a private root and starts a process that
/// receives at /dev/log there. It ends with the object.
class LogDrain {
public:
    LogDrain();
    LogDrain(const LogDrain&) = delete;
    LogDrain& operator=(const LogDrain&) = delete;
    ~LogDrain();

    /// Datagrams received so far, by a program of this process's making.
    std::uint64_t received() const;

private:
    volatile std::uint64_t* count_;
    pid_t receiver_;
};

}  // namespace bench
