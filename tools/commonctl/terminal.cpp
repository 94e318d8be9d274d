#include "terminal.h"

#include <cstdlib>
#include <unistd.h>

namespace commonctl {

bool wants_color(Color color, FILE* stream)
{
    if (color != Color::Auto) {
        return color == Color::Always;
    }
    const char* const terminal = std::getenv("TERM");
    const char* const refused = std::getenv("NO_COLOR");
    return (refused == nullptr || *refused == '\0') && terminal != nullptr &&
           std::string_view(terminal) != "dumb" && isatty(fileno(stream)) == 1;
}

std::string printable(std::string_view text)
{
    std::string result;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if ((byte < 0x20 && c != '\t') || byte == 0x7f) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\x%02x", byte);
            result += escape;
        } else {
            result += c;
        }
    }
    return result;
}

}  // namespace commonctl
