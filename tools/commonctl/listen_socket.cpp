#include "listen_socket.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace commonctl {
namespace {

/// @return 0 when somebody listens at the path, else the error number of connect(2).
int try_to_connect(const std::string& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        return ENAMETOOLONG;
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        return errno;
    }
    const int result = connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    const int error = result == 0 ? 0 : errno;
    close(fd);
    return error;
}

void remove_stale(const std::string& path)
{
    // Connecting to a file of any other kind is refused as well; such a file is not ours to remove.
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0 || !S_ISSOCK(status.st_mode)) {
        throw std::runtime_error(path + " is there already and is no socket");
    }
    unlink(path.c_str());
}

void make_way(const std::string& path)
{
    const int error = try_to_connect(path);
    switch (error) {
    case ENOENT:
        return;
    case 0:
    case EPROTOTYPE:  // a daemon that wants connections
        throw std::runtime_error("a log daemon listens at " + path +
                                 " already; stop it, or use --private-root or --socket");
    case ECONNREFUSED:
        remove_stale(path);
        return;
    default:
        throw std::runtime_error(path + ": " + std::strerror(error));
    }
}

}  // namespace

ListenSocket::ListenSocket(const std::string& path) : path_(path)
{
    make_way(path);
    socket_.bind_at(path);
}

ListenSocket::~ListenSocket()
{
    unlink(path_.c_str());
}

}  // namespace commonctl
