// Takes the rows of debug output (common_debug.h) apart:
//
//     EXPECT_THAT(row_texts(outcome.err),
//                 ElementsAre(RowText{"stderr", "common_log", "legacySet", "..."}));
#pragma once

#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

namespace harness {

/// What the first row of a process is preceded by.
inline constexpr std::string_view kDebugHeader =
    "\n"
    "------  ------:--:--.---------  ---  --------  ---------------  "
    "------------------------------  ------------------------------  ----  -------\n"
    "   FID  Day.HH:MM:SS.mmmuuunnn  TID  Level     Zone             "
    "File                            Function/Method                 Line  Message\n"
    "------  ------:--:--.---------  ---  --------  ---------------  "
    "------------------------------  ------------------------------  ----  -------\n";

struct DebugRow {
    unsigned count = 0;
    unsigned day = 0;
    std::string time;  ///< as written, such as "03:04:05"
    unsigned nanoseconds = 0;
    unsigned thread = 0;
    std::string stream;  ///< "stdout", "stderr" or "file"
    std::string file;
    std::string function;
    unsigned line = 0;
    std::string message;  ///< the whole line, if it does not have the form of a row
};

/// Writes a row as the format of common_debug.h demands, without its newline.
std::string render(const DebugRow& row);

/// Takes one line apart; one that is not a row in every byte only has a message.
DebugRow parse_row(const std::string& line);

/// Takes an output apart: a row for each line, without the header of the process.
std::vector<DebugRow> debug_rows(std::string_view output);

/// What a row says, without the count, the time, the thread and the line.
struct RowText {
    std::string stream;
    std::string file;
    std::string function;
    std::string message;

    bool operator==(const RowText&) const = default;
};

std::vector<RowText> row_texts(std::string_view output);

std::ostream& operator<<(std::ostream& stream, const RowText& row);

}  // namespace harness
