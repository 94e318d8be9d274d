// Records that arrive: by a pipe or terminal, from journalctl(1), at a socket.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "descriptor.h"
#include "records/buffer.h"
#include "records/source.h"
#include "records/splitter.h"

namespace commonctl {

/// What can be read but not sought: it ends when its writer has closed it.
class StreamSource : public RecordSource {
public:
    /// @param name for messages.
    StreamSource(Descriptor fd, std::string name);

    Next next(Record& record) override;
    std::vector<int> descriptors() const override { return {fd_.get()}; }

private:
    /// Called once, when all is read.
    virtual void ended() {}

    Descriptor fd_;
    std::string name_;
    Buffer buffer_;
    std::unique_ptr<Splitter> splitter_;
    bool has_ended_ = false;
};

/// What journalctl(1), which is looked for in PATH, gives of the journal.
/// @param follow, last as in SourceOptions.
/// @throws std::system_error; the source throws std::runtime_error when journalctl fails.
std::unique_ptr<RecordSource> open_journal(bool follow, std::optional<std::uint64_t> last);

/// Receives at a path, where it takes the place of a daemon that is gone.
/// @throws as ListenSocket.
std::unique_ptr<RecordSource> open_socket(const std::string& path);

}  // namespace commonctl
