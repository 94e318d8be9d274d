// What a sub-command reads as a whole, and how it writes.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace commonctl {

/// Reads all of a file, or of standard input for "-".
/// @throws std::system_error; std::runtime_error when there are more bytes than `most`.
std::string read_input(const std::string& path, std::size_t most);

/// Writes to standard output, in large pieces. @throws std::system_error when it takes no more.
void write_output(std::string_view text);

/// Brings out what was written: at the end, and in front of an error. @throws as write_output().
void flush_output();

}  // namespace commonctl
