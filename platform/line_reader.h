// Reads a text file line by line without allocating.
#pragma once

#include <cstddef>

#include "platform/uncancelled_scope.h"

namespace common {

/// A small text file. It needs no heap, so that settings and process names can be read when memory
/// is exhausted. The descriptor is closed on exec. The calling thread cannot be cancelled
/// meanwhile.
class LineReader {
public:
    LineReader() noexcept = default;
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;
    ~LineReader() { close(); }

    /// Opens the file for reading; false with errno set when that fails. Folders of these files are
    /// writable by others: what is no regular file is not read (EINVAL), and opening never waits,
    /// as it would for a pipe that nobody writes to.
    bool open(const char* path) noexcept;

    /// Reads as fgets(3) does: at most `capacity` - 1 bytes, up to and with a newline; what is left
    /// of a longer line comes as the next one. False at the end of the file or on a read error.
    bool next(char* line, std::size_t capacity) noexcept;

    /// Closes the file: 0, or the error number when that fails. The descriptor is gone either way.
    int close() noexcept;

private:
    bool fill() noexcept;

    UncancelledScope uncancelled_;
    int descriptor_ = -1;
    std::size_t position_ = 0;
    std::size_t end_ = 0;
    char buffer_[512];
};

/// Cuts the text at its first newline.
void cut_newline(char* line) noexcept;

}  // namespace common
