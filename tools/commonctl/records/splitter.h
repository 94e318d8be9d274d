// Takes records out of the bytes of a log, of whichever form it is.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "records/buffer.h"
#include "records/parser.h"
#include "records/record.h"

namespace commonctl {

class Splitter {
public:
    virtual ~Splitter() = default;

    /// Gives the next record that is there as a whole. It lives until more is read.
    /// @param at_end nothing more comes: what is left is a record, too.
    virtual bool next(Buffer& buffer, bool at_end, Record& record) = 0;

    /// Whether each record is a line, so that counting lines counts records.
    virtual bool is_by_line() const = 0;
};

/// Gives the one for a log by its first bytes: the journal's export form, or lines.
/// @return nothing when more bytes are needed to tell.
std::unique_ptr<Splitter> splitter_for(std::string_view first_bytes, bool at_end);

/// Cuts lines off a buffer.
class LineCutter {
public:
    /// @return whether there is a whole line, without its newline. Of one that is longer than
    /// kLongestLine only that much is given; that is said once.
    bool next(Buffer& buffer, bool at_end, std::string_view& line);

private:
    bool skip(Buffer& buffer);

    std::size_t searched_ = 0;  ///< bytes at the front of the buffer that have no newline
    bool is_skipping_ = false;  ///< the rest of a line that was too long
};

}  // namespace commonctl
