#include "records/stream_source.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "listen_socket.h"

namespace commonctl {
namespace {

/// How a child ends that is no journalctl.
constexpr int kNotFound = 127;

bool is_readable(int fd)
{
    pollfd entry{fd, POLLIN, 0};
    return poll(&entry, 1, 0) > 0;
}

class JournalSource : public StreamSource {
public:
    JournalSource(Descriptor fd, pid_t child)
        : StreamSource(std::move(fd), "journalctl"), child_(child)
    {
    }
    ~JournalSource() override
    {
        if (child_ > 0) {
            kill(child_, SIGTERM);
            waitpid(child_, nullptr, 0);
        }
    }
    JournalSource(const JournalSource&) = delete;
    JournalSource& operator=(const JournalSource&) = delete;

private:
    void ended() override
    {
        int status = 0;
        const bool is_known = waitpid(std::exchange(child_, -1), &status, 0) > 0;
        if (is_known && WIFEXITED(status) && WEXITSTATUS(status) == kNotFound) {
            throw std::runtime_error("there is no journalctl; name a file of the log instead");
        }
        if (is_known && status != 0) {
            throw std::runtime_error("journalctl failed; try \"journalctl -o export\" to see why");
        }
    }

    pid_t child_;
};

class SocketSource : public RecordSource {
public:
    explicit SocketSource(const std::string& path) : listening_(path) {}

    Next next(Record& record) override
    {
        auto received = listening_.socket().receive();
        if (!received) {
            return Next::Later;
        }
        datagram_ = std::move(received->raw);
        parser_.parse_datagram(datagram_, record);
        return Next::Record;
    }

    std::vector<int> descriptors() const override { return {listening_.socket().fd()}; }

private:
    mutable ListenSocket listening_;
    std::string datagram_;
    Parser parser_;
};

[[noreturn]] void run_journalctl(const std::vector<std::string>& words, int output)
{
    // Whoever follows it may be killed.
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    dup2(output, STDOUT_FILENO);
    std::vector<char*> pointers;
    for (const auto& word : words) {
        pointers.push_back(const_cast<char*>(word.c_str()));
    }
    pointers.push_back(nullptr);
    execvp(pointers[0], pointers.data());
    _exit(kNotFound);
}

}  // namespace

StreamSource::StreamSource(Descriptor fd, std::string name)
    : fd_(std::move(fd)), name_(std::move(name))
{
}

RecordSource::Next StreamSource::next(Record& record)
{
    for (;;) {
        if (!splitter_) {
            splitter_ = splitter_for(buffer_.bytes(), has_ended_);
        }
        if (splitter_ && splitter_->next(buffer_, has_ended_, record)) {
            return Next::Record;
        }
        if (has_ended_) {
            return Next::End;
        }
        if (!is_readable(fd_.get())) {
            return Next::Later;
        }
        const ssize_t count = buffer_.read_from(fd_.get());
        if (count < 0 && errno != EAGAIN) {
            throw std::system_error(errno, std::generic_category(), name_);
        }
        if (count == 0) {
            has_ended_ = true;
            ended();
        }
    }
}

std::unique_ptr<RecordSource> open_journal(bool follow, std::optional<std::uint64_t> last)
{
    std::vector<std::string> words{"journalctl", "--quiet", "--output=export",
                                   last ? "--lines=" + std::to_string(*last) : "--lines=all"};
    if (follow) {
        words.emplace_back("--follow");
    }
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot make a pipe");
    }
    Descriptor reading(ends[0]);
    const Descriptor writing(ends[1]);
    const pid_t child = fork();
    if (child < 0) {
        throw std::system_error(errno, std::generic_category(), "cannot start a process");
    }
    if (child == 0) {
        run_journalctl(words, writing.get());
    }
    return std::make_unique<JournalSource>(std::move(reading), child);
}

std::unique_ptr<RecordSource> open_socket(const std::string& path)
{
    return std::make_unique<SocketSource>(path);
}

}  // namespace commonctl
