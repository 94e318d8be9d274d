#include "debug_rows.h"

#include <algorithm>
#include <cstdio>
#include <ostream>
#include <regex>

namespace harness {

std::string render(const DebugRow& row)
{
    char text[4096];
    std::snprintf(text, sizeof text, "%6u  %03u.%s.%09u   %2u  %-8s  %-15s  %-30s  %-30s  %4u  %s",
                  row.count, row.day, row.time.c_str(), row.nanoseconds, row.thread,
                  row.stream.c_str(), "", row.file.c_str(), row.function.c_str(), row.line,
                  row.message.c_str());
    return text;
}

DebugRow parse_row(const std::string& line)
{
    static const std::regex kForm(
        R"( *(\d+)  (\d+)\.(\d\d:\d\d:\d\d)\.(\d{9})   +(\d+)  (\w+) +(\S+) +(\S+) +(\d+)  )");
    std::smatch parts;
    DebugRow row;
    if (std::regex_search(line, parts, kForm, std::regex_constants::match_continuous)) {
        const auto number = [&](std::size_t i) {
            return static_cast<unsigned>(std::stoull(parts[i]));
        };
        row = {number(1), number(2), parts[3], number(4), number(5),
               parts[6],  parts[7],  parts[8], number(9), parts.suffix()};
    }
    if (render(row) != line) {
        row = {};
        row.message = line;
    }
    return row;
}

std::vector<DebugRow> debug_rows(std::string_view output)
{
    std::string text(output);
    if (const auto header = text.find(kDebugHeader); header != std::string::npos) {
        text.erase(header, kDebugHeader.size());
    }
    std::vector<DebugRow> rows;
    for (std::size_t begin = 0; begin < text.size();) {
        const auto end = std::min(text.find('\n', begin), text.size());
        rows.push_back(parse_row(text.substr(begin, end - begin)));
        begin = end + 1;
    }
    return rows;
}

std::vector<RowText> row_texts(std::string_view output)
{
    std::vector<RowText> texts;
    for (const auto& row : debug_rows(output)) {
        texts.push_back({row.stream, row.file, row.function, row.message});
    }
    return texts;
}

std::ostream& operator<<(std::ostream& stream, const RowText& row)
{
    return stream << "{" << row.stream << " " << row.file << " " << row.function << ": "
                  << row.message << "}";
}

}  // namespace harness
