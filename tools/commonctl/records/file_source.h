// Records of a file on disk, which may grow, be renamed and made anew, or be emptied meanwhile.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <sys/types.h>

#include "records/buffer.h"
#include "records/source.h"
#include "records/splitter.h"
#include "records/stream_source.h"

namespace commonctl {

/// Following, a file that was renamed is read on until there is something in the new one of its
/// name, as its writer may go on with it until then. One that was emptied is read from its start:
/// what was written meanwhile is missed if it had grown as long again by the next look.
class FileSource : public RecordSource {
public:
    /// @param path for messages, and to find a new file.
    /// @param fd of a regular file; none for one that is not there yet, which takes `follow`.
    FileSource(std::string path, Descriptor fd, bool follow);

    /// Begins with the last records. Takes counting lines.
    /// @return how many of `count` there are not.
    std::uint64_t skip_to_last(std::uint64_t count);

    /// Whether skip_to_last() may be called.
    bool is_by_line();

    Next next(Record& record) override;
    std::vector<int> descriptors() const override { return {}; }

private:
    bool open_new();
    bool read_more();
    bool found_more();
    void start_over();

    std::string path_;
    Descriptor fd_;
    bool follow_;
    std::int64_t offset_ = 0;   ///< of what is read next
    bool is_replaced_ = false;  ///< there is another file of the name, with something in it
    bool is_finished_ = false;  ///< what is in the buffer is all that comes of this file
    Buffer buffer_;
    std::unique_ptr<Splitter> splitter_;
};

}  // namespace commonctl
