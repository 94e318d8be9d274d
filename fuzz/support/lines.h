// How the library reads text files, told plainly.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace fuzz {

/// What fgets(3) gives of a text, one after the other, for a buffer of this size.
inline std::vector<std::string> pieces_of(std::string_view text, std::size_t capacity)
{
    std::vector<std::string> pieces;
    while (!text.empty()) {
        const std::size_t line = std::min(text.find('\n'), text.size() - 1) + 1;
        const std::size_t length = std::min(line, capacity - 1);
        pieces.emplace_back(text.substr(0, length));
        text.remove_prefix(length);
    }
    return pieces;
}

/// What a reader of C texts sees of such a piece, without its newline.
inline std::string seen_of(const std::string& piece)
{
    return piece.substr(0, piece.find_first_of(std::string_view("\n\0", 2)));
}

}  // namespace fuzz
