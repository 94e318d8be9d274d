// What each line of a settings file does, in words.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "processes/settings_model.h"

namespace commonctl {

/// When a file is read.
enum class FileUse : unsigned char {
    AtStart,  ///< only at the start of a process
    Again,    ///< only while a process runs
    Both
};

/// When a file of this path is read, as far as its name tells; by itself Both.
FileUse use_of(const std::string& path);

/// A line, or a part of one that is too long.
struct CheckedLine {
    std::size_t line = 1;
    std::size_t column = 1;
    std::string text{};
    Effect at_start{};    ///< what it does at the start
    Effect read_again{};  ///< what it does in a process that runs
    bool wrong = false;   ///< whether it has no effect, or one that nobody means
    std::string says{};   ///< what it does or why it is ignored; empty for a blank line
};

/// What a line, or a variable of the environment, does.
std::string words_for(const Effect& effect, const std::string& line);

std::vector<CheckedLine> check_settings(std::string_view content, FileUse use);

}  // namespace commonctl
