// Figures, times and names as text that harms neither a terminal nor a page.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace commonctl::profile {

/// A text that may hold any bytes, as one line of valid UTF-8 that can be shown: control
/// characters, those that turn the direction of writing, and bytes that are no UTF-8 become
/// escapes such as "\\x1b", byte by byte.
std::string clean(std::string_view text);

/// The first characters of a clean text, at most so many.
std::string_view cut(std::string_view text, std::size_t most);

/// "12", "-" for an empty name.
std::string name_text(const std::string& name);

/// "41.2": with one place.
std::string decimal(double number);

/// "900 B", "1.2 kB", "3.4 MB": in powers of 1000.
std::string bytes_text(double bytes);

/// "00:05:00", the hours with as many digits as it takes.
std::string duration_text(std::int64_t seconds);

/// Local time: "2026-11-22 10:00:00".
std::string time_text(std::int64_t seconds);

/// Puts blanks in front of a text up to a width.
std::string to_the_right(const std::string& text, std::size_t width);

}  // namespace commonctl::profile
