// A client that sends whatever it is told to, well-formed or not.
#pragma once

#include <arpa/inet.h>
#include <cstddef>
#include <cstdlib>
#include <netinet/in.h>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "wait_until.h"

/// A connection to a port of this machine.
class Client {
public:
    explicit Client(int port) : fd_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        const auto patience = harness::stretched(harness::kPatience).count();
        const timeval limit{patience / 1000, 0};
        setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    }
    ~Client() { close(fd_); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    /// @return whether all of it could be sent.
    bool send_text(std::string_view text) const
    {
        while (!text.empty()) {
            const ssize_t sent = send(fd_, text.data(), text.size(), MSG_NOSIGNAL);
            if (sent <= 0) {
                return false;
            }
            text.remove_prefix(static_cast<std::size_t>(sent));
        }
        return true;
    }

    /// All that comes until the server ends the connection; "late" when it does not.
    std::string rest() const
    {
        std::string text;
        char bytes[65536];
        for (;;) {
            const ssize_t count = recv(fd_, bytes, sizeof bytes, 0);
            if (count <= 0) {
                return count == 0 || errno == ECONNRESET ? text : "late";
            }
            text.append(bytes, static_cast<std::size_t>(count));
        }
    }

    /// The next answer: its head and as much of a body as that tells.
    std::string answer()
    {
        std::size_t end = 0;
        while ((end = buffer_.find("\r\n\r\n")) == buffer_.npos && receive()) {
        }
        const auto length = buffer_.find("Content-Length: ");
        const std::size_t body =
            length < end ? std::strtoul(buffer_.c_str() + length + 16, nullptr, 10) : 0;
        while (end != buffer_.npos && buffer_.size() < end + 4 + body && receive()) {
        }
        std::string text = buffer_.substr(0, end == buffer_.npos ? end : end + 4 + body);
        buffer_.erase(0, text.size());
        return text;
    }

    int fd() const { return fd_; }

private:
    bool receive()
    {
        char bytes[4096];
        const ssize_t count = recv(fd_, bytes, sizeof bytes, 0);
        buffer_.append(bytes, count > 0 ? static_cast<std::size_t>(count) : 0);
        return count > 0;
    }

    int fd_;
    std::string buffer_;
};

/// Whether connections to a port of this machine are accepted.
inline bool is_open(int port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool connected =
        connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    close(fd);
    return connected;
}

/// The status of an answer; 0 when there is none.
inline int status_of(const std::string& answer)
{
    return answer.starts_with("HTTP/1.1 ") ? std::atoi(answer.c_str() + 9) : 0;
}

inline std::string body_of(const std::string& answer)
{
    const auto end = answer.find("\r\n\r\n");
    return end == answer.npos ? "" : answer.substr(end + 4);
}

/// A request with the usual fields.
inline std::string request(const std::string& method, const std::string& path,
                           const std::string& fields = "", const std::string& body = "",
                           const std::string& host = "127.0.0.1")
{
    return method + " " + path + " HTTP/1.1\r\nHost: " + host + "\r\n" + fields +
           (method == "POST" ? "Content-Length: " + std::to_string(body.size()) + "\r\n" : "") +
           "\r\n" + body;
}

/// What a server answers to one request.
inline std::string ask(int port, const std::string& text)
{
    Client client(port);
    EXPECT_TRUE(client.send_text(text));
    return client.answer();
}
