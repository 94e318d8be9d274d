#include "serve/guarded_server.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <stdexcept>
#include <unistd.h>

#include "serve/request_reader.h"

namespace commonctl {
namespace {

using Clock = std::chrono::steady_clock;

/// Connections that may wait to be accepted.
constexpr int kBacklog = 256;

void set_option(int fd, int level, int option)
{
    const int on = 1;
    setsockopt(fd, level, option, &on, sizeof on);
}

bool wait_for(int fd, short events, Clock::time_point deadline)
{
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    pollfd entry{fd, events, 0};
    return left > 0 && poll(&entry, 1, static_cast<int>(left)) != 0;
}

/// What one request is read from, and its answer is written to.
class Exchange final : public httplib::Stream {
public:
    Exchange(int fd, ConnectionPool::Connection& connection, std::string request,
             std::chrono::milliseconds limit)
        : fd_(fd), connection_(connection), request_(std::move(request)), limit_(limit)
    {
    }

    bool is_readable() const override { return position_ < request_.size(); }
    bool is_writable() const override { return !failed_; }

    ssize_t read(char* bytes, size_t size) override
    {
        const size_t count = std::min(size, request_.size() - position_);
        std::memcpy(bytes, request_.data() + position_, count);
        position_ += count;
        return static_cast<ssize_t>(count);
    }

    ssize_t write(const char* bytes, size_t size) override
    {
        if (!answering_) {
            answering_ = true;
            deadline_ = Clock::now() + limit_;
            connection_.wait();
        }
        for (size_t sent = 0; sent < size && !failed_;) {
            const ssize_t count = send(fd_, bytes + sent, size - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
            if (count >= 0) {
                sent += static_cast<size_t>(count);
            } else {
                failed_ = errno != EINTR && (errno != EAGAIN || !wait_for(fd_, POLLOUT, deadline_));
            }
        }
        return failed_ ? -1 : static_cast<ssize_t>(size);
    }

    void get_remote_ip_and_port(std::string&, int&) const override {}
    void get_local_ip_and_port(std::string&, int&) const override {}
    socket_t socket() const override { return fd_; }

private:
    int fd_;
    ConnectionPool::Connection& connection_;
    std::string request_;
    size_t position_ = 0;
    std::chrono::milliseconds limit_;
    Clock::time_point deadline_{};
    bool answering_ = false;
    bool failed_ = false;
};

/// Tells a client what it cannot have, and takes what it is still sending: closing earlier would
/// take the answer from it.
void refuse(int fd, int status)
{
    const std::string answer = "HTTP/1.1 " + std::to_string(status) +
                               " Refused\r\nConnection: close\r\nContent-Length: 0\r\n"
                               "X-Content-Type-Options: nosniff\r\n\r\n";
    if (send(fd, answer.data(), answer.size(), MSG_NOSIGNAL | MSG_DONTWAIT) < 0) {
        return;
    }
    ::shutdown(fd, SHUT_WR);
    const auto deadline = Clock::now() + std::chrono::seconds(1);
    char bytes[4096];
    while (wait_for(fd, POLLIN, deadline) && recv(fd, bytes, sizeof bytes, MSG_DONTWAIT) > 0) {
    }
}

}  // namespace

GuardedServer::GuardedServer(const ServerLimits& limits) : limits_(limits)
{
    new_task_queue = [this] { return pool_ = new ConnectionPool(limits_.threads); };
    // Not SO_REUSEPORT, which the base would set: two servers would share a port.
    set_socket_options([](socket_t fd) {
        set_option(fd, SOL_SOCKET, SO_REUSEADDR);
        fcntl(fd, F_SETFD, FD_CLOEXEC);
    });
}

int GuardedServer::bind(const std::string& address, int port)
{
    errno = 0;
    const int bound =
        port != 0 ? bind_to_port(address, port) ? port : -1 : bind_to_any_port(address);
    if (bound < 0) {
        const int error = errno;
        throw std::runtime_error("cannot serve at " + address + " port " + std::to_string(port) +
                                 ": " + std::strerror(error) +
                                 (error == EADDRINUSE ? "; --port 0 takes one that is free" : ""));
    }
    ::listen(svr_sock_, kBacklog);
    return bound;
}

bool GuardedServer::process_and_close_socket(socket_t fd)
{
    fcntl(fd, F_SETFD, FD_CLOEXEC);
    set_option(fd, IPPROTO_TCP, TCP_NODELAY);
    {
        ConnectionPool::Connection connection(*pool_, fd);
        serve(fd, connection);
    }
    close(fd);
    return true;
}

void GuardedServer::serve(socket_t fd, ConnectionPool::Connection& connection)
{
    RequestReader reader(fd, limits_);
    for (;;) {
        connection.wait();
        auto [request, refused] = reader.next();
        if (refused != 0) {
            refuse(fd, refused);
            return;
        }
        if (request.empty()) {
            return;
        }
        connection.work();
        Exchange exchange(fd, connection, std::move(request), limits_.answer);
        bool closed = false;
        if (!process_request(exchange, false, closed, nullptr) || closed) {
            return;
        }
    }
}

}  // namespace commonctl
