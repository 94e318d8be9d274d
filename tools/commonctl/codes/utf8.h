// UTF-8, looked at byte by byte.
#pragma once

#include <cstddef>
#include <string_view>

namespace commonctl {

/// Gives the bytes of the character that a text begins with: 1 to 4, or 0 when it begins with no
/// whole character of UTF-8 (a longer form than needed and a surrogate are none).
constexpr std::size_t utf8_length(std::string_view text)
{
    const auto byte = [text](std::size_t i) {
        return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
    };
    const auto first = byte(0);
    if (first < 0x80) {
        return text.empty() ? 0 : 1;
    }
    const std::size_t length = first < 0xc2   ? 0
                               : first < 0xe0 ? 2
                               : first < 0xf0 ? 3
                               : first < 0xf5 ? 4
                                              : 0;
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xc0) != 0x80) {
            return 0;
        }
    }
    const auto second = byte(1);
    const bool wrong = (first == 0xe0 && second < 0xa0) || (first == 0xed && second >= 0xa0) ||
                       (first == 0xf0 && second < 0x90) || (first == 0xf4 && second >= 0x90);
    return wrong ? 0 : length;
}

constexpr bool is_utf8(std::string_view text)
{
    while (!text.empty()) {
        const std::size_t length = utf8_length(text);
        if (length == 0) {
            return false;
        }
        text.remove_prefix(length);
    }
    return true;
}

}  // namespace commonctl
