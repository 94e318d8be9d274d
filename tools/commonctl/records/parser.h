// Takes records apart, whichever log they come from and whichever layout they are in.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "records/prefix.h"
#include "records/record.h"
#include "records/time_reader.h"

namespace commonctl {

/// What the tool wants of an entry of the journal.
enum class JournalField : std::uint8_t {
    Message,
    Priority,
    Identifier,
    Command,
    SyslogPid,
    Pid,
    Host,
    SourceTime,
    JournalTime,
    Count
};

/// The fields of an entry; one that it does not have is empty.
class JournalFields {
public:
    std::string& operator[](JournalField field) { return texts_[static_cast<std::size_t>(field)]; }
    void clear();

private:
    std::array<std::string, static_cast<std::size_t>(JournalField::Count)> texts_{};
};

/// The field of a name, such as "MESSAGE"; Count for one that is not wanted.
JournalField journal_field(std::string_view name);

/// Takes any bytes: what is no record of the library is a foreign one, its whole text the message.
/// The parts of a record live as long as the text that was given, and until the next call. Nothing
/// is allocated for a record, as a rule. The instant is found as the layout allows: from the day of
/// the record and its local time, taken as this machine's; Syslogng takes its day from the log.
class Parser {
public:
    /// A line of a log file, without its newline; a record as it was written is one, too. The
    /// log daemon's escapes, such as "#011" for a tab, are undone.
    void parse_line(std::string_view line, Record& record);

    /// A datagram of the system log, in which nothing is escaped.
    void parse_datagram(std::string_view datagram, Record& record);

    /// An entry of the journal. @param fields live as long as the record.
    void parse_entry(JournalFields& fields, Record& record);

private:
    void fill(const Prefix& prefix, std::int64_t log_time_ns, Record& record);
    bool fill_from_layout(const Prefix& prefix, std::int64_t log_time_ns, Record& record);
    std::int64_t time_of(std::string_view stamp);
    bool undo_escapes(std::string_view text);

    TimeReader times_;
    std::string unescaped_;
};

}  // namespace commonctl
