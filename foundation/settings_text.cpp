#include "foundation/settings_text.h"

#include <cstdio>
#include <cstring>

namespace common {
namespace {

constexpr char lower(char byte) noexcept
{
    return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte - 'A' + 'a') : byte;
}

}  // namespace

bool equal_without_case(const char* first, const char* second) noexcept
{
    while (*first != '\0' && lower(*first) == lower(*second)) {
        ++first;
        ++second;
    }
    return lower(*first) == lower(*second);
}

bool parse_boolean(const char* text, bool& value) noexcept
{
    value = equal_without_case(text, "True");
    return value || equal_without_case(text, "False");
}

bool abbreviates(const char* variable, std::size_t length, const char* name) noexcept
{
    return std::strncmp(variable, name, length) == 0;
}

void close_settings(LineReader& file, const char* source, const char* path, Here here) noexcept
{
    if (const int error = file.close(); error != 0) {
        COMMON_Debug_Write(stderr, source, here.function, here.line,
                           "Failed to close the global log file \"%s\" with error: %s", path,
                           std::strerror(error));
    }
}

}  // namespace common
