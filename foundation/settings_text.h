// What the settings parsers of the log and the debug facility share.
#pragma once

#include <cstddef>

#include "platform/line_reader.h"

namespace common {

/// Compares texts without regard to the case of ASCII letters, whatever the locale.
bool equal_without_case(const char* first, const char* second) noexcept;

/// Reads "True" or "False" in any case: false when the text is neither.
bool parse_boolean(const char* text, bool& value) noexcept;

/// Whether the first `length` characters of `variable` are how `name` begins.
bool abbreviates(const char* variable, std::size_t length, const char* name) noexcept;

/// Hands each line of a settings file, without its newline, to `parse`, and closes the file.
/// @return 0, or the error number of a close that failed.
template <typename Parse>
int for_each_setting(LineReader& file, Parse parse) noexcept
{
    char line[256];
    while (file.next(line, sizeof line)) {
        cut_newline(line);
        parse(line);
    }
    return file.close();
}

}  // namespace common
