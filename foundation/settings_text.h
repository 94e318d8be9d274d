// What the settings parsers of the log and the debug facility share.
#pragma once

#include <cstddef>

#include "common_system.h"
#include "log/report.h"
#include "platform/line_reader.h"

namespace common {

/// Compares texts without regard to the case of ASCII letters, whatever the locale.
bool equal_without_case(const char* first, const char* second) noexcept;

/// Reads "True" or "False" in any case: false when the text is neither.
bool parse_boolean(const char* text, bool& value) noexcept;

/// Whether the first `length` characters of `variable` are how `name` begins.
bool abbreviates(const char* variable, std::size_t length, const char* name) noexcept;

/// Closes a settings file. A failure is told in a debug row that names `path`.
void close_settings(LineReader& file, const char* source, const char* path, Here here) noexcept;

/// Hands each line of a settings file, without its newline, to `parse`: false when the file cannot
/// be opened.
/// @param path_told the file that the row about a failing close names.
template <typename Parse>
bool read_settings(const char* path, Parse parse, const char* source, const char* path_told,
                   Here here = Here::now()) noexcept
{
    LineReader file;
    if (!file.open(path)) {
        return false;
    }
    char line[256];
    while (file.next(line, sizeof line)) {
        cut_newline(line);
        parse(line);
    }
    close_settings(file, source, path_told, here);
    return true;
}

/// Hands each NAME=value of the environment to `parse`.
template <typename Parse>
void read_environment(Parse parse) noexcept
{
    char** const environment = COMMON_System_Environment();
    for (char** variable = environment; variable != nullptr && *variable != nullptr; ++variable) {
        parse(*variable);
    }
}

}  // namespace common
