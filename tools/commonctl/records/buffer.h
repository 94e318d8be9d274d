// Bytes of a log that were read and not used yet.
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include <sys/types.h>

namespace commonctl {

/// The most that is kept of a line: more than any datagram of the system log has as a rule.
inline constexpr std::size_t kLongestLine = std::size_t{256} * 1024;

class Buffer {
public:
    std::string_view bytes() const { return {bytes_.get() + begin_, end_ - begin_}; }

    /// Takes bytes away from the front. They stay where they are until more is read.
    void consume(std::size_t count) { begin_ += count; }

    void clear() { begin_ = end_ = 0; }

    /// Reads more behind what is there, which is kLongestLine at most. @return as read(2).
    ssize_t read_from(int fd);

    /// The same from memory. @return how much was taken.
    std::size_t append(std::string_view bytes);

private:
    void make_room();

    std::unique_ptr<char[]> bytes_;
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
};

}  // namespace commonctl
