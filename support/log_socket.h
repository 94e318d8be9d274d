// The receiving end of the system log: what a log daemon has at "/dev/log".
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "log_record.h"

namespace support {

/// A datagram socket that receives log records. As long as nobody receives, senders wait once a few
/// datagrams are queued (net.unix.max_dgram_qlen), as they do with a daemon that hangs.
class LogSocket {
public:
    /// Makes the socket, bound to nothing yet. @throws std::system_error
    LogSocket();
    ~LogSocket();
    LogSocket(LogSocket&& other) noexcept;
    LogSocket& operator=(LogSocket&& other) noexcept;

    /// Binds the socket to a path that does not exist yet; everyone may send to it. The file stays
    /// when the socket is closed, as a stale one.
    /// @throws std::system_error
    void bind_at(const std::string& path = "/dev/log");

    /// Gives the next record if one is there; does not wait.
    std::optional<LogRecord> receive();

    /// Gives all records that are there now; does not wait.
    std::vector<LogRecord> receive_all();

    /// Gives the descriptor, for poll(2). It is readable while a record is there.
    int fd() const { return fd_; }

    /// Closes the socket in this process: a child that has bound it for its parent, say.
    void close();

private:
    int fd_ = -1;
};

}  // namespace support
