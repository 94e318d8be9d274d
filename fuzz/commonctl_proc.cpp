// What commonctl reads of a process in /proc, with any text in these files: start, library and own
// id are those that a plain model finds.
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <string>
#include <vector>

#include "processes/proc.h"
#include "support/files.h"
#include "support/input.h"

namespace {

constexpr pid_t kPid = 2'000'000'000;  // of no process

std::vector<std::string> parts_of(std::string_view text, std::string_view separators)
{
    std::vector<std::string> parts;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find_first_of(separators, begin), text.size());
        parts.emplace_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return parts;
}

/// The 22nd field, counted as the kernel does: the name in parentheses is the second.
std::optional<std::uint64_t> start_in(std::string_view stat)
{
    const auto end = stat.rfind(')');
    if (end == std::string_view::npos) {
        return std::nullopt;
    }
    std::vector<std::string> fields = parts_of(stat.substr(end + 1), " \t\n\v\f\r");
    std::erase(fields, "");
    if (fields.size() < 20 || fields[0] == "Z" || fields[0] == "X") {
        return std::nullopt;
    }
    const std::string& field = fields[19];
    const bool is_signed = field[0] == '-' || field[0] == '+';
    if (field.find_first_of("0123456789") != (is_signed ? 1U : 0U)) {
        return std::nullopt;
    }
    errno = 0;
    const auto ticks = std::strtoull(field.c_str(), nullptr, 10);
    return errno == 0 ? std::optional<std::uint64_t>(ticks) : std::nullopt;
}

bool is_library(std::string path)
{
    const std::string deleted = " (deleted)";
    const auto end = path.rfind(deleted);
    if (end != std::string::npos && end + deleted.size() == path.size()) {
        path.erase(end);
    }
    const std::string name = path.substr(path.find_last_of('/') + 1);
    const std::string library = "libcommon.so";
    if (name.compare(0, library.size(), library) != 0) {
        return false;
    }
    const std::string version = name.substr(library.size());
    const auto digits = [](char c) { return c == '.' || (c >= '0' && c <= '9'); };
    return version.empty() || (version.size() > 1 && version[0] == '.' &&
                               std::all_of(version.begin(), version.end(), digits));
}

/// The path of the first mapping of the library that is code.
std::optional<std::string> library_in(std::string_view maps)
{
    for (const std::string& line : parts_of(maps, "\n")) {
        const auto slash = line.find('/');
        const auto blank = line.find(' ');
        if (slash == std::string::npos || blank == std::string::npos) {
            continue;
        }
        const std::string permissions = line.substr(blank + 1, 4);
        if (permissions.find('x') != std::string::npos && is_library(line.substr(slash))) {
            return line.substr(slash);
        }
    }
    return std::nullopt;
}

/// The last number of the line with the ids in all containers, from the outside in.
pid_t id_in(std::string_view status)
{
    for (const std::string& line : parts_of(status, "\n")) {
        if (line.rfind("NSpid:", 0) != 0) {
            continue;
        }
        const std::string word = line.substr(line.find_last_of(" \t") + 1);
        char* end = nullptr;
        errno = 0;
        const long long number = std::strtoll(word.c_str(), &end, 10);
        const std::size_t first = word[0] == '-' ? 1 : 0;
        const bool is_number = first < word.size() && word[first] >= '0' && word[first] <= '9';
        return is_number && errno == 0 && number >= INT32_MIN && number <= INT32_MAX
                   ? static_cast<pid_t>(number)
                   : kPid;
    }
    return kPid;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const std::string folder = commonctl::proc_folder(kPid);
    static fuzz::File stat(folder + "stat");
    static fuzz::File maps(folder + "maps");
    static fuzz::File status(folder + "status");
    static const fuzz::File root(folder + "root/");
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    stat.write(text);
    maps.write(text);
    status.write(text);

    FUZZ_CHECK(commonctl::start_ticks(kPid) == start_in(text));
    FUZZ_CHECK(commonctl::loaded_library(kPid) == library_in(text));
    FUZZ_CHECK(commonctl::own_id(kPid) == id_in(text));
    return 0;
}
