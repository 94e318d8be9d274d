// What goes to a terminal: colors, and text that cannot steer it.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>

namespace commonctl {

enum class Color { Auto, Always, Never };

/// Whether to color what goes to a stream: as chosen; by itself on a terminal that is not dumb,
/// unless NO_COLOR is set to something.
bool wants_color(Color color, FILE* stream);

/// A text in one line that neither looks like two nor steers the terminal: each control character
/// but the tab becomes an escape such as "\\x1b".
std::string printable(std::string_view text);

}  // namespace commonctl
