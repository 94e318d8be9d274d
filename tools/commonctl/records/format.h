// Records as text for people and for programs.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "records/record.h"

namespace commonctl {

enum class Format : std::uint8_t { Short, Full, Columns, Json };

/// Writes records one behind the other, each in one line. Control characters are shown as "\x1b",
/// in JSON as JSON does; what the record does not tell is left out.
class RecordFormatter {
public:
    RecordFormatter(Format format, bool colored);

    /// Appends the line of a record, with its newline.
    void append(const Record& record, std::string& out);

private:
    void append_short(const Record& record, std::string& out);
    void append_full(const Record& record, std::string& out);
    void append_columns(const Record& record, std::string& out);
    void append_json(const Record& record, std::string& out);
    void look_up(std::int64_t second);

    Format format_;
    bool colored_;
    // The texts of the second that was looked up last.
    std::int64_t second_ = kNoTime;
    std::string syslog_text_;  ///< "Nov 22 10:00:00"
    std::string iso_text_;     ///< "2026-11-22 10:00:00"
    std::string offset_text_;  ///< "+01:00"
};

}  // namespace commonctl
