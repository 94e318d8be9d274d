// The server of the page: all of it, running.
#pragma once

#include <atomic>
#include <string>
#include <thread>

#include "serve/access.h"
#include "serve/api.h"
#include "serve/guarded_server.h"

namespace commonctl {

/// Serves the page and its interface, from threads of its own, for as long as it lives.
class PageServer {
public:
    struct Options {
        std::string bind{};  ///< a numeric address; empty for the loopback address
        int port = 0;        ///< 0 for any that is free
        bool allow_changes = false;
        std::string source{};  ///< what the page says of where records come from
        ServerLimits limits{};
    };

    /// @throws std::runtime_error when the port is not to be had.
    PageServer(const Options& options, RecordRing& ring, const RateCounter& rates);
    ~PageServer();
    PageServer(const PageServer&) = delete;
    PageServer& operator=(const PageServer&) = delete;

    /// What to open in a browser. A token is behind "#", the part of an address that a browser
    /// sends to nobody.
    std::string address() const;

    int port() const { return port_; }
    const std::string& token() const { return token_; }

private:
    int bind();
    void listen();

    const Options options_;
    RecordRing& ring_;
    const std::string token_;
    const Access access_;
    Api api_;
    GuardedServer server_;
    int port_ = 0;
    std::atomic<bool> ending_ = false;
    std::atomic<bool> ended_ = false;
    std::thread thread_;
};

}  // namespace commonctl
