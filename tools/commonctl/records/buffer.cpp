#include "records/buffer.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace commonctl {
namespace {

/// Small enough to be in the processor's cache when it is looked at.
constexpr std::size_t kBlock = std::size_t{128} * 1024;
constexpr std::size_t kCapacity = kLongestLine + kBlock;

}  // namespace

void Buffer::make_room()
{
    if (!bytes_) {
        bytes_.reset(new char[kCapacity]);  // not cleared: little of it is used, as a rule
    }
    if (begin_ != 0) {
        std::memmove(bytes_.get(), bytes_.get() + begin_, end_ - begin_);
        end_ -= begin_;
        begin_ = 0;
    }
}

ssize_t Buffer::read_from(int fd)
{
    make_room();
    for (;;) {
        const ssize_t count = read(fd, bytes_.get() + end_, std::min(kBlock, kCapacity - end_));
        if (count >= 0) {
            end_ += static_cast<std::size_t>(count);
        }
        if (count >= 0 || errno != EINTR) {
            return count;
        }
    }
}

std::size_t Buffer::append(std::string_view bytes)
{
    make_room();
    const std::size_t count = std::min({bytes.size(), kBlock, kCapacity - end_});
    bytes.copy(bytes_.get() + end_, count);
    end_ += count;
    return count;
}

}  // namespace commonctl
