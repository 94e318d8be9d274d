#include "platform/line_reader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

namespace common {

bool LineReader::open(const char* path) noexcept
{
    close();
    position_ = end_ = 0;
    do {
        descriptor_ = ::open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    } while (descriptor_ < 0 && errno == EINTR);
    struct stat status;
    if (descriptor_ >= 0 && (fstat(descriptor_, &status) != 0 || !S_ISREG(status.st_mode))) {
        close();
        errno = EINVAL;
    }
    return descriptor_ >= 0;
}

bool LineReader::fill() noexcept
{
    ssize_t count;
    do {
        count = ::read(descriptor_, buffer_, sizeof buffer_);
    } while (count < 0 && errno == EINTR);
    position_ = 0;
    end_ = count > 0 ? static_cast<std::size_t>(count) : 0;
    return end_ != 0;
}

bool LineReader::next(char* line, std::size_t capacity) noexcept
{
    std::size_t length = 0;
    while (length + 1 < capacity && (position_ < end_ || fill())) {
        const char byte = buffer_[position_++];
        line[length++] = byte;
        if (byte == '\n') {
            break;
        }
    }
    line[length] = '\0';
    return length != 0;
}

int LineReader::close() noexcept
{
    const int descriptor = std::exchange(descriptor_, -1);
    return descriptor >= 0 && ::close(descriptor) != 0 ? errno : 0;
}

void cut_newline(char* line) noexcept
{
    if (char* const newline = std::strchr(line, '\n')) {
        *newline = '\0';
    }
}

}  // namespace common
