#include "codes/hex_text.h"

#include <algorithm>
#include <stdexcept>

#include "terminal.h"

namespace commonctl {
namespace {

constexpr std::string_view kDigits = "0123456789abcdef";

/// @return 0 to 15, or -1.
int digit_at(std::string_view text, std::size_t at)
{
    if (at >= text.size()) {
        return -1;
    }
    const char c = text[at];
    const char lower = c >= 'A' && c <= 'F' ? static_cast<char>(c - 'A' + 'a') : c;
    const auto found = kDigits.find(lower);
    return found == std::string_view::npos ? -1 : static_cast<int>(found);
}

bool is_separator(char c)
{
    return std::string_view(" \t\r\n:,").find(c) != std::string_view::npos;
}

[[noreturn]] void refuse(std::string_view text, std::size_t at)
{
    const std::string_view before = text.substr(0, at);
    const auto line = 1 + std::count(before.begin(), before.end(), '\n');
    const std::size_t column = at - (before.rfind('\n') + 1) + 1;  // npos + 1 is 0
    const std::string what = at == text.size()
                                 ? "it ends within a byte"
                                 : "\"" + printable(text.substr(at, 1)) + "\" is no digit here";
    throw std::runtime_error("hexadecimal text, line " + std::to_string(line) + ", column " +
                             std::to_string(column) + ": " + what + "; a byte has two of 0-9a-f");
}

}  // namespace

std::string bytes_of_hex(std::string_view text)
{
    std::string bytes;
    bytes.reserve(text.size() / 2);
    for (std::size_t at = 0; at < text.size();) {
        if (is_separator(text[at])) {
            ++at;
            continue;
        }
        if (text[at] == '0' && at + 1 < text.size() &&
            (text[at + 1] == 'x' || text[at + 1] == 'X')) {
            at += 2;
        }
        const int high = digit_at(text, at);
        const int low = digit_at(text, at + 1);
        if (high < 0 || low < 0) {
            refuse(text, high < 0 ? at : at + 1);
        }
        bytes += static_cast<char>(high * 16 + low);
        at += 2;
    }
    return bytes;
}

std::string hex_of(std::string_view bytes)
{
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
    return text;
}

}  // namespace commonctl
