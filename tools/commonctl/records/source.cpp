#include "records/source.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <stdexcept>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "records/combined_source.h"
#include "records/file_source.h"
#include "records/stream_source.h"

namespace commonctl {
namespace {

constexpr const char* kSystemLogs[] = {"/var/log/syslog", "/var/log/messages"};

std::string system_log()
{
    for (const char* path : kSystemLogs) {
        if (access(path, F_OK) == 0) {
            return path;
        }
    }
    throw std::runtime_error("there is no /var/log/syslog or /var/log/messages; name a file, or "
                             "take --journal");
}

/// Refuses a file that a rotation has packed.
void check_form(int fd, const std::string& path)
{
    constexpr std::pair<std::string_view, const char*> kPacked[] = {{"\x1f\x8b", "zcat"},
                                                                    {"\xfd\x37zXZ", "xzcat"},
                                                                    {"\x28\xb5\x2f\xfd", "zstdcat"},
                                                                    {"BZh", "bzcat"}};
    char first[8];
    const ssize_t count = pread(fd, first, sizeof first, 0);
    const std::string_view start(first, count > 0 ? static_cast<std::size_t>(count) : 0);
    for (const auto& [magic, tool] : kPacked) {
        if (start.starts_with(magic)) {
            throw std::runtime_error(path + " is compressed; try \"" + tool + " " + path +
                                     " | commonctl log -\"");
        }
    }
}

struct OpenedFile {
    std::unique_ptr<RecordSource> source;
    FileSource* file;  ///< the same, when records can be counted from its end
    bool is_stream = false;
};

OpenedFile open_file(const std::string& path, bool follow)
{
    const bool is_standard = path == "-";
    Descriptor fd(is_standard ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)
                              : open(path.c_str(), O_RDONLY | O_NOCTTY | O_CLOEXEC));
    const std::string name = is_standard ? "standard input" : path;
    if (!fd && errno == ENOENT && follow) {
        std::fprintf(stderr, "commonctl: %s is not there yet; waiting for it\n", name.c_str());
        auto source = std::make_unique<FileSource>(path, Descriptor(), true);
        auto* const file = source.get();
        return {std::move(source), file};
    }
    struct stat status {};
    if (!fd || fstat(fd.get(), &status) != 0) {
        throw std::system_error(errno, std::generic_category(), name);
    }
    if (S_ISDIR(status.st_mode)) {
        throw std::runtime_error(name + " is a folder; name the files in it");
    }
    if (!S_ISREG(status.st_mode)) {
        return {std::make_unique<StreamSource>(std::move(fd), name), nullptr, true};
    }
    check_form(fd.get(), name);
    auto source =
        std::make_unique<FileSource>(is_standard ? "/dev/stdin" : path, std::move(fd), follow);
    auto* const file = source->is_by_line() ? source.get() : nullptr;
    return {std::move(source), file};
}

/// A source, and what beginning with the last records takes.
struct Opened {
    std::unique_ptr<RecordSource> source;
    bool has_skipped;  ///< it begins with them already
    bool has_streams;  ///< which tell only by their end that there is no more
};

Opened open_files(const std::vector<std::string>& paths, const SourceOptions& options)
{
    std::vector<std::unique_ptr<RecordSource>> parts;
    std::vector<FileSource*> files;
    bool has_streams = false;
    for (const auto& path : paths) {
        auto opened = open_file(path, options.follow);
        has_streams = has_streams || opened.is_stream;
        if (opened.file != nullptr) {
            files.push_back(opened.file);
        }
        parts.push_back(std::move(opened.source));
    }
    const bool can_skip = options.last && !options.wanted && files.size() == parts.size();
    if (can_skip) {
        std::uint64_t count = *options.last;
        for (std::size_t i = files.size(); i-- > 0;) {
            count = files[i]->skip_to_last(count);
        }
    }
    auto source = parts.size() == 1
                      ? std::move(parts[0])
                      : std::make_unique<ChainedSource>(std::move(parts), options.follow);
    return {std::move(source), can_skip, has_streams};
}

Opened open_unfiltered(const SourceOptions& options)
{
    if (options.journal) {
        // Of one that is followed nothing tells when all that is old has come.
        const bool can_skip = options.follow || !options.wanted;
        return {open_journal(options.follow, can_skip ? options.last : std::nullopt), can_skip,
                true};
    }
    if (!options.socket.empty()) {
        return {open_socket(options.socket), true, true};
    }
    return open_files(
        options.files.empty() ? std::vector<std::string>{system_log()} : options.files, options);
}

}  // namespace

std::unique_ptr<RecordSource> open_source(const SourceOptions& options)
{
    Opened opened = open_unfiltered(options);
    std::unique_ptr<RecordSource> source = std::move(opened.source);
    if (options.wanted) {
        source = std::make_unique<FilteredSource>(std::move(source), options.wanted);
    }
    if (options.last && !opened.has_skipped) {
        source = std::make_unique<LastSource>(std::move(source), *options.last,
                                              options.follow && !opened.has_streams);
    }
    return source;
}

}  // namespace commonctl
