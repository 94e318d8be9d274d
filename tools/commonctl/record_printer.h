// Log records as lines of text.
#pragma once

#include <cstdio>
#include <string>

#include "log_record.h"
#include "terminal.h"

namespace commonctl {

/// Prints "priority program: text", one line for each record, in the color of its priority.
class RecordPrinter {
public:
    /// @param output path of a file that is made or emptied; empty for standard output.
    /// @throws std::system_error
    RecordPrinter(const std::string& output, Color color);
    ~RecordPrinter();
    RecordPrinter(const RecordPrinter&) = delete;
    RecordPrinter& operator=(const RecordPrinter&) = delete;

    void print(const support::LogRecord& record);

    /// Brings out what was printed. @return false when the output takes nothing any more.
    bool flush();

private:
    FILE* stream_;
    bool colored_;
};

/// One line for a record, without its newline: control characters are shown as "\x1b".
std::string line_of(const support::LogRecord& record, bool colored);

}  // namespace commonctl
