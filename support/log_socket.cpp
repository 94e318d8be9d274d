#include "log_socket.h"

#include <cerrno>
#include <cstring>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace support {
namespace {

// More than any sender of this library can put into one datagram.
constexpr std::size_t kLargestDatagram = 65536;

[[noreturn]] void fail(const std::string& what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

LogSocket::LogSocket() : fd_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0))
{
    if (fd_ < 0) {
        fail("cannot make a log socket");
    }
}

LogSocket::~LogSocket()
{
    close();
}

LogSocket::LogSocket(LogSocket&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}

LogSocket& LogSocket::operator=(LogSocket&& other) noexcept
{
    std::swap(fd_, other.fd_);
    return *this;
}

void LogSocket::bind_at(const std::string& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        fail("cannot bind the log socket to " + path);
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    if (bind(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        chmod(path.c_str(), 0666) != 0) {
        fail("cannot bind the log socket to " + path);
    }
}

std::optional<LogRecord> LogSocket::receive()
{
    char buffer[kLargestDatagram];
    for (;;) {
        const ssize_t length = recv(fd_, buffer, sizeof buffer, MSG_DONTWAIT);
        if (length >= 0) {
            return parse_datagram({buffer, static_cast<std::size_t>(length)});
        }
        if (errno == EAGAIN) {
            return std::nullopt;
        }
        if (errno != EINTR) {
            fail("cannot read the log socket");
        }
    }
}

std::vector<LogRecord> LogSocket::receive_all()
{
    std::vector<LogRecord> records;
    while (auto record = receive()) {
        records.push_back(std::move(*record));
    }
    return records;
}

void LogSocket::close()
{
    if (fd_ >= 0) {
        ::close(fd_);
        fd_ = -1;
    }
}

}  // namespace support
