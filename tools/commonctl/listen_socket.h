// The socket that "listen" receives at, for as long as it does.
#pragma once

#include <string>

#include "log_socket.h"

namespace commonctl {

/// A log socket bound to a path, which is removed again with it.
class ListenSocket {
public:
    /// Binds the socket. A socket file that nobody listens at any more is replaced.
    /// @throws std::runtime_error when somebody does, when something else is there, or as
    /// LogSocket.
    explicit ListenSocket(const std::string& path);
    ~ListenSocket();
    ListenSocket(const ListenSocket&) = delete;
    ListenSocket& operator=(const ListenSocket&) = delete;

    support::LogSocket& socket() { return socket_; }

private:
    support::LogSocket socket_;
    std::string path_;
};

}  // namespace commonctl
