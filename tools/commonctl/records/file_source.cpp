#include "records/file_source.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace commonctl {
namespace {

constexpr std::size_t kBlock = std::size_t{64} * 1024;

[[noreturn]] void fail(const std::string& path)
{
    throw std::system_error(errno, std::generic_category(), path);
}

/// Finds where the last lines of a file begin, from its end on. Empty ones do not count.
/// @return how many of `count` there are not.
std::uint64_t find_last_lines(int fd, const std::string& path, std::int64_t end,
                              std::uint64_t count, std::int64_t& start)
{
    const std::unique_ptr<char[]> block(new char[kBlock]);
    char next = '\n';  // the byte behind the block
    start = end;
    for (std::int64_t at = end; at > 0 && count > 0;) {
        const auto size = static_cast<std::size_t>(std::min<std::int64_t>(at, kBlock));
        const ssize_t got = pread(fd, block.get(), size, at - static_cast<std::int64_t>(size));
        if (got < 0) {
            fail(path);
        }
        at -= static_cast<std::int64_t>(size);
        if (static_cast<std::size_t>(got) < size) {  // emptied meanwhile
            start = 0;
            return count;
        }
        for (std::size_t i = size; i > 0 && count > 0;) {
            const auto* const found = static_cast<const char*>(memrchr(block.get(), '\n', i));
            if (found == nullptr) {
                break;
            }
            const auto newline = static_cast<std::size_t>(found - block.get());
            const char behind = newline + 1 < size ? block[newline + 1] : next;
            if (behind != '\n') {
                start = at + static_cast<std::int64_t>(newline) + 1;
                --count;
            }
            i = newline;
        }
        next = block[0];
    }
    if (count > 0 && next != '\n') {
        start = 0;
        --count;
    }
    return count;
}

}  // namespace

FileSource::FileSource(std::string path, Descriptor fd, bool follow)
    : path_(std::move(path)), fd_(std::move(fd)), follow_(follow)
{
    // Standard input may have been read from before.
    offset_ = fd_ ? std::max<std::int64_t>(lseek(fd_.get(), 0, SEEK_CUR), 0) : 0;
}

bool FileSource::is_by_line()
{
    if (!fd_) {
        return true;
    }
    char first[32];
    const ssize_t count = pread(fd_.get(), first, sizeof first, 0);
    if (count < 0) {
        fail(path_);
    }
    return splitter_for({first, static_cast<std::size_t>(count)}, true)->is_by_line();
}

std::uint64_t FileSource::skip_to_last(std::uint64_t count)
{
    struct stat status {};
    if (!fd_) {
        return count;
    }
    if (fstat(fd_.get(), &status) != 0) {
        fail(path_);
    }
    const std::uint64_t missing = find_last_lines(fd_.get(), path_, status.st_size, count, offset_);
    if (lseek(fd_.get(), offset_, SEEK_SET) < 0) {
        fail(path_);
    }
    // From the middle of a file on nothing tells its form.
    splitter_ = splitter_for({}, true);
    return missing;
}

bool FileSource::open_new()
{
    Descriptor fd(open(path_.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status {};
    if (!fd || fstat(fd.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return false;
    }
    fd_ = std::move(fd);
    return true;
}

RecordSource::Next FileSource::next(Record& record)
{
    for (;;) {
        if (!fd_ && !open_new()) {
            return Next::Later;
        }
        if (!splitter_) {
            splitter_ = splitter_for(buffer_.bytes(), is_finished_);
        }
        if (splitter_ && splitter_->next(buffer_, is_finished_, record)) {
            return Next::Record;
        }
        if (is_finished_ && !follow_) {
            return Next::End;
        }
        if (is_finished_) {
            start_over();
        } else if (!read_more()) {
            if (!follow_) {
                is_finished_ = true;
            } else if (!found_more()) {
                return Next::Later;
            }
        }
    }
}

bool FileSource::read_more()
{
    const ssize_t count = buffer_.read_from(fd_.get());
    if (count < 0) {
        fail(path_);
    }
    offset_ += count;
    return count > 0;
}

/// Looks, at the end of the file, whether anything happened to it.
bool FileSource::found_more()
{
    struct stat own {};
    struct stat named {};
    if (fstat(fd_.get(), &own) != 0) {
        fail(path_);
    }
    if (is_replaced_ || own.st_size < offset_) {
        is_finished_ = true;
    } else if (stat(path_.c_str(), &named) == 0 && S_ISREG(named.st_mode) && named.st_size > 0 &&
               (named.st_ino != own.st_ino || named.st_dev != own.st_dev)) {
        // What was written between the last look and this one is read first.
        is_replaced_ = true;
    }
    return is_finished_ || is_replaced_;
}

void FileSource::start_over()
{
    if (is_replaced_) {
        fd_ = Descriptor();
    } else if (lseek(fd_.get(), 0, SEEK_SET) < 0) {
        fail(path_);
    }
    offset_ = 0;
    is_replaced_ = is_finished_ = false;
    buffer_.clear();
    splitter_.reset();
}

}  // namespace commonctl
