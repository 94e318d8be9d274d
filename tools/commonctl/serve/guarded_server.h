// The HTTP server, with limits on what each client may take of it.
#pragma once

#include <string>
#include <sys/socket.h>

#include "serve/http.h"

#include "serve/connection_pool.h"
#include "serve/limits.h"

namespace commonctl {

/// The server of cpp-httplib, which parses requests and finds their handlers, behind what it does
/// not do itself: requests are read whole and within limits before it sees them, and connections
/// have threads without being able to hold them.
class GuardedServer : public httplib::Server {
public:
    explicit GuardedServer(const ServerLimits& limits);

    /// Takes a port.
    /// @param address a numeric address.
    /// @param port 0 for any that is free.
    /// @return the port.
    /// @throws std::runtime_error
    int bind(const std::string& address, int port);

private:
    bool process_and_close_socket(socket_t fd) override;
    void serve(socket_t fd, ConnectionPool::Connection& connection);

    ServerLimits limits_;
    ConnectionPool* pool_ = nullptr;  ///< belongs to the base, which has it made when it listens
};

}  // namespace commonctl
