// Bytes as hexadecimal text.
#pragma once

#include <string>
#include <string_view>

namespace commonctl {

/// Reads hexadecimal text: two digits a byte, with "0x" in front of any of them. Between bytes
/// there may be blanks, tabs, line ends, colons and commas.
/// @throws std::runtime_error, whose text says at which line and column it is wrong.
std::string bytes_of_hex(std::string_view text);

/// Two digits a byte, and nothing between them.
std::string hex_of(std::string_view bytes);

}  // namespace commonctl
