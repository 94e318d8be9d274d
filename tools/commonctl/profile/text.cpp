#include "profile/text.h"

#include <cstdio>
#include <ctime>

namespace commonctl::profile {
namespace {

std::uint8_t byte_at(std::string_view text, std::size_t i)
{
    return i < text.size() ? static_cast<std::uint8_t>(text[i]) : 0;
}

/// The bytes of the UTF-8 character that a text begins with; 0 when it begins with none.
std::size_t character_size(std::string_view text, std::uint32_t& code)
{
    const std::uint8_t first = byte_at(text, 0);
    const std::size_t size = first < 0x80                    ? 1
                             : first >= 0xc2 && first < 0xe0 ? 2
                             : first >= 0xe0 && first < 0xf0 ? 3
                             : first >= 0xf0 && first < 0xf5 ? 4
                                                             : 0;
    code = size == 1 ? first : first & (0x7fU >> size);
    for (std::size_t i = 1; i < size; ++i) {
        const std::uint8_t next = byte_at(text, i);
        if ((next & 0xc0U) != 0x80U) {
            return 0;
        }
        code = code << 6U | (next & 0x3fU);
    }
    const bool too_long = (size == 3 && code < 0x800) || (size == 4 && code < 0x10000);
    const bool no_character = (code >= 0xd800 && code < 0xe000) || code > 0x10ffff;
    return too_long || no_character ? 0 : size;
}

/// Whether a character shows itself and nothing else. Those that do not: control characters, line
/// and paragraph separators, the marks that turn the direction, and what XML does not have.
bool is_harmless(std::uint32_t code)
{
    return code >= 0x20 && (code < 0x7f || code >= 0xa0) && code != 0x061c &&
           (code < 0x200e || code > 0x200f) && (code < 0x2028 || code > 0x202e) &&
           (code < 0x2066 || code > 0x2069) && code != 0xfeff && (code & 0xfffeU) != 0xfffeU;
}

}  // namespace

std::string clean(std::string_view text)
{
    std::string result;
    while (!text.empty()) {
        std::uint32_t code = 0;
        const std::size_t size = character_size(text, code);
        if (size > 0 && is_harmless(code)) {
            result += text.substr(0, size);
        } else {
            for (const char c : text.substr(0, size > 0 ? size : 1)) {
                char escape[8];
                std::snprintf(escape, sizeof escape, "\\x%02x", static_cast<std::uint8_t>(c));
                result += escape;
            }
        }
        text.remove_prefix(size > 0 ? size : 1);
    }
    return result;
}

std::string_view cut(std::string_view text, std::size_t most)
{
    std::size_t end = 0;
    std::size_t count = 0;
    while (end < text.size()) {
        count += (static_cast<std::uint8_t>(text[end]) & 0xc0U) != 0x80U ? 1 : 0;
        if (count > most) {
            break;
        }
        ++end;
    }
    return text.substr(0, end);
}

std::string name_text(const std::string& name)
{
    return name.empty() ? "-" : name;
}

std::string decimal(double number)
{
    char text[400];
    std::snprintf(text, sizeof text, "%.1f", number);
    return text;
}

std::string bytes_text(double bytes)
{
    static constexpr const char* kUnits[] = {"B", "kB", "MB", "GB", "TB", "PB", "EB"};
    std::size_t unit = 0;
    // What would be shown as 1000.0 has the next unit.
    while (bytes >= (unit == 0 ? 999.5 : 999.95) && unit + 1 < std::size(kUnits)) {
        bytes /= 1000;
        ++unit;
    }
    char text[40];
    std::snprintf(text, sizeof text, "%.*f %s", unit == 0 ? 0 : 1, bytes, kUnits[unit]);
    return text;
}

std::string duration_text(std::int64_t seconds)
{
    char text[40];
    std::snprintf(text, sizeof text, "%02lld:%02d:%02d", static_cast<long long>(seconds / 3600),
                  static_cast<int>(seconds / 60 % 60), static_cast<int>(seconds % 60));
    return text;
}

std::string time_text(std::int64_t seconds)
{
    const auto time = static_cast<std::time_t>(seconds);
    std::tm local{};
    if (time != seconds || localtime_r(&time, &local) == nullptr) {
        return std::to_string(seconds) + " s";
    }
    char text[64];
    const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
    return {text, length};
}

std::string to_the_right(const std::string& text, std::size_t width)
{
    return text.size() < width ? std::string(width - text.size(), ' ') + text : text;
}

}  // namespace commonctl::profile
