// Where records come from: files, a journal, standard input, a socket.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "records/record.h"

namespace commonctl {

/// Where to read, as the command line says.
struct SourceOptions {
    /// Files of a system log, one behind the other; "-" is standard input. Without any (and without
    /// journal and socket): the system log of this machine, /var/log/syslog or /var/log/messages.
    std::vector<std::string> files{};
    bool journal = false;  ///< what journalctl(1) gives, instead
    std::string socket{};  ///< a socket to receive at, such as /dev/log, instead; empty for none
    bool follow = false;   ///< go on with what is written from now on, also over rotation
    /// Begin with the last so many records. What is there later is not waited for; of a pipe, all
    /// is. Of a journal that is followed, they are counted before `wanted` is asked.
    std::optional<std::uint64_t> last{};
    /// Tells which records to give; all without it.
    std::function<bool(const Record&)> wanted{};
};

/// Gives one record after the other. What concerns no single record (a line that had to be cut, a
/// file that is not there yet) is said once, in a line on standard error.
class RecordSource {
public:
    virtual ~RecordSource() = default;

    enum class Next {
        Record,  ///< there was one
        Later,   ///< none yet; more may come (when following, or from a pipe or socket)
        End      ///< there are no more
    };

    /// Gives the next record, without waiting. Its texts live until the next call.
    /// @throws std::system_error when the source cannot be read.
    virtual Next next(Record& record) = 0;

    /// Descriptors that become readable when more may have come, for poll(2); none for files, so
    /// look again after some 100 ms, too.
    virtual std::vector<int> descriptors() const = 0;
};

/// @throws std::system_error or std::runtime_error, with a text that says what to do.
std::unique_ptr<RecordSource> open_source(const SourceOptions& options);

}  // namespace commonctl
