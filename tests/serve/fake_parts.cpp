#include "fake_parts.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <map>
#include <mutex>
#include <poll.h>
#include <stdexcept>
#include <system_error>
#include <unistd.h>

#include "diagram/diagram.h"
#include "processes/processes.h"
#include "records/source.h"

namespace commonctl {
namespace {

std::mutex lock;
std::map<pid_t, std::string> levels{{101, "Info"}, {102, "Warn"}};
std::string change;

std::string next_field(std::string_view& rest, std::string_view mark)
{
    const auto end = rest.find(mark);
    std::string field(rest.substr(0, end));
    rest.remove_prefix(end == rest.npos ? rest.size() : end + mark.size());
    return field;
}

int level_of(const std::string& name)
{
    constexpr const char* kNames[] = {"Fatal", "Critical", "Error", "Warn",
                                      "Note",  "Info",     "Debug", "Verbose"};
    for (int i = 0; i < 8; ++i) {
        if (name == kNames[i]) {
            return i;
        }
    }
    return -1;
}

/// Lines of the default layout from a file or standard input; other lines are messages.
class FakeSource final : public RecordSource {
public:
    explicit FakeSource(const std::string& file)
        : fd_(file == "-" ? STDIN_FILENO : open(file.c_str(), O_RDONLY | O_CLOEXEC))
    {
        if (fd_ < 0) {
            throw std::system_error(errno, std::generic_category(), file);
        }
    }

    Next next(Record& record) override
    {
        std::size_t end = 0;
        while ((end = buffer_.find('\n', begin_)) == buffer_.npos) {
            buffer_.erase(0, begin_);
            begin_ = 0;
            pollfd entry{fd_, POLLIN, 0};
            if (poll(&entry, 1, 0) == 0) {
                return Next::Later;
            }
            char bytes[65536];
            const ssize_t count = read(fd_, bytes, sizeof bytes);
            if (count <= 0) {
                return Next::End;
            }
            buffer_.append(bytes, static_cast<std::size_t>(count));
        }
        line_ = buffer_.substr(begin_, end - begin_);
        begin_ = end + 1;
        parse(record);
        return Next::Record;
    }

    std::vector<int> descriptors() const override { return {fd_}; }

private:
    void parse(Record& record)
    {
        std::string_view rest = line_;
        if (!rest.starts_with('[')) {
            record.message = line_;
            return;
        }
        const std::string time = next_field(rest, ", ");
        zone_ = next_field(rest, ", ");
        const std::string pid = next_field(rest, ", ");
        process_ = next_field(rest, ", ");
        const std::string tid = next_field(rest, ", ");
        const std::string level = next_field(rest, ", ");
        file_ = next_field(rest, ", ");
        function_ = next_field(rest, " ");
        const std::string line = next_field(rest, ", ");
        message_ = rest;
        long day = 0;
        long hours = 0;
        long minutes = 0;
        long seconds = 0;
        long nanoseconds = 0;
        std::sscanf(time.c_str(), "[%ld.%ld:%ld:%ld.%ld]", &day, &hours, &minutes, &seconds,
                    &nanoseconds);
        const std::int64_t second = ((day * 24LL + hours) * 60 + minutes) * 60 + seconds;
        record = {.layout = Layout::Syslogngext,
                  .time_ns = second * 1'000'000'000 + nanoseconds,
                  .pid = std::atoi(pid.c_str()),
                  .tid = std::atoi(tid.c_str()),
                  .line = std::atoi(line.c_str()),
                  .level = level_of(level),
                  .process = process_,
                  .zone = zone_,
                  .file = file_,
                  .function = function_,
                  .message = message_};
    }

    int fd_;
    std::string buffer_;
    std::size_t begin_ = 0;
    std::string line_, zone_, process_, file_, function_, message_;
};

}  // namespace

std::unique_ptr<RecordSource> open_source(const SourceOptions& options)
{
    return std::make_unique<FakeSource>(options.files.empty() ? "/dev/null" : options.files[0]);
}

std::vector<Process> find_processes()
{
    const std::lock_guard held(lock);
    std::vector<Process> found;
    found.push_back({.pid = 101, .name = "tuner", .level = levels[101], .looks = true});
    found.push_back(
        {.pid = 102,
         .name = "navigation",
         .level = levels[102],
         .why_not = "does not look at files: start it with COMMON_LOG_PEAKLOADCONTROL"});
    found.push_back({.pid = 103, .name = "phone", .readable = false});
    found.push_back({.pid = 104, .name = "<b>bold</b>"});
    return found;
}

LevelChange change_level(pid_t pid, const std::string& level, Wait)
{
    const std::lock_guard held(lock);
    change = std::to_string(pid) + " " + level;
    if (pid == 103) {
        throw std::runtime_error("cannot write its file: Permission denied");
    }
    if (pid != 101) {
        return {.changed = false, .text = "it does not look at files"};
    }
    levels[pid] = level.empty() ? "Info" : level;
    return {.changed = true, .text = "tuner (101) logs up to " + levels[pid]};
}

std::string svg_of_recording(const std::string& text)
{
    if (text.find("stateDiagram") == text.npos && text.find("digraph") == text.npos) {
        throw std::runtime_error("this is no recorded machine; paste Mermaid or DOT");
    }
    return R"(<svg xmlns="http://www.w3.org/2000/svg" width="200" height="80">)"
           R"(<rect x="10" y="20" width="80" height="40" rx="8" fill="none" stroke="#000"/>)"
           R"(<rect x="110" y="20" width="80" height="40" rx="8" fill="none" stroke="#000"/>)"
           R"(<text x="30" y="45">Idle</text><text x="125" y="45">Playing</text></svg>)";
}

}  // namespace commonctl

namespace fake {

std::string last_change()
{
    const std::lock_guard held(commonctl::lock);
    return commonctl::change;
}

void forget_change()
{
    const std::lock_guard held(commonctl::lock);
    commonctl::change.clear();
}

}  // namespace fake
