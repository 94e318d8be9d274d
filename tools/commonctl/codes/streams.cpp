#include "codes/streams.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <stdexcept>
#include <system_error>
#include <unistd.h>

#include "terminal.h"

namespace commonctl {
namespace {

class InputFile {
public:
    explicit InputFile(const std::string& path)
        : own_(path != "-"), fd_(own_ ? open(path.c_str(), O_RDONLY | O_CLOEXEC) : STDIN_FILENO)
    {
    }
    ~InputFile()
    {
        if (own_ && fd_ >= 0) {
            close(fd_);
        }
    }
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    int fd() const { return fd_; }

private:
    bool own_;
    int fd_;
};

[[noreturn]] void refuse_output()
{
    throw std::system_error(errno, std::generic_category(), "standard output");
}

}  // namespace

std::string read_input(const std::string& path, std::size_t most)
{
    const std::string name = path == "-" ? "standard input" : printable(path);
    const InputFile file(path);
    std::string content;
    char block[65536];
    for (;;) {
        const ssize_t count = file.fd() < 0 ? -1 : read(file.fd(), block, sizeof block);
        if (count < 0 && file.fd() >= 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            throw std::system_error(errno, std::generic_category(), name);
        }
        if (count == 0) {
            return content;
        }
        content.append(block, static_cast<std::size_t>(count));
        if (content.size() > most) {
            throw std::runtime_error(name + " has more than " + std::to_string(most) +
                                     " bytes; give a part of it");
        }
    }
}

void write_output(std::string_view text)
{
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) {
        refuse_output();
    }
}

void flush_output()
{
    if (std::fflush(stdout) != 0) {
        refuse_output();
    }
}

}  // namespace commonctl
