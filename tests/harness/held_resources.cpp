#include "held_resources.h"

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>

#include "sanitizer.h"
#include "wait_until.h"

namespace harness {
namespace {

// A thread that was joined stays in the process file system until the kernel is done with it.
constexpr std::chrono::milliseconds kThreadEndTime{2'000};

using Folder = std::unique_ptr<DIR, int (*)(DIR*)>;

Folder open_folder(const char* path)
{
    Folder folder(opendir(path), closedir);
    if (!folder) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    return folder;
}

bool is_connected_to_log(int fd)
{
    sockaddr_un peer{};
    socklen_t size = sizeof peer;
    return getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &size) == 0 &&
           peer.sun_family == AF_UNIX && std::string_view(peer.sun_path) == "/dev/log";
}

std::string target_of(int fd)
{
    char target[256];
    const auto link = "/proc/self/fd/" + std::to_string(fd);
    const ssize_t length = readlink(link.c_str(), target, sizeof target);
    return length < 0 ? "?" : std::string(target, static_cast<std::size_t>(length));
}

std::string numbers_of(int fd)
{
    struct stat status {};
    return fstat(fd, &status) != 0
               ? ""
               : std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
}

std::map<int, OpenDescriptor> open_descriptors()
{
    std::map<int, OpenDescriptor> descriptors;
    const Folder folder = open_folder("/proc/self/fd");
    while (const dirent* entry = readdir(folder.get())) {
        if (entry->d_name[0] == '.') {
            continue;
        }
        const int fd = std::stoi(entry->d_name);
        if (fd != dirfd(folder.get()) && !is_connected_to_log(fd)) {
            const std::string target = target_of(fd);
            descriptors[fd] = {target, target.starts_with('/') ? numbers_of(fd) : ""};
        }
    }
    return descriptors;
}

std::string describe_child()
{
    int status = 0;
    const pid_t child = waitpid(-1, &status, WNOHANG);
    if (child < 0) {
        return {};
    }
    return child == 0 ? "a child is still running\n"
                      : "child " + std::to_string(child) + " has ended but nobody waited for it\n";
}

}  // namespace

bool OpenDescriptor::leads_to_the_same(const OpenDescriptor& other) const
{
    return file.empty() ? target == other.target : file == other.file;
}

void start_sanitizer_thread()
{
#if defined(HARNESS_THREAD_SANITIZER)
    const int before = thread_count();
    std::thread([] {}).join();
    if (!wait_until([&] { return thread_count() <= before + 1; }, kThreadEndTime)) {
        throw std::runtime_error("a thread that was joined does not go away");
    }
#endif
}

int thread_count()
{
    int count = 0;
    const Folder folder = open_folder("/proc/self/task");
    while (const dirent* entry = readdir(folder.get())) {
        count += entry->d_name[0] == '.' ? 0 : 1;
    }
    return count;
}

HeldResources held_resources()
{
    return {open_descriptors(), thread_count()};
}

std::string differences_from(const HeldResources& before)
{
    std::string text;
    const auto descriptors = open_descriptors();
    for (const auto& [fd, descriptor] : descriptors) {
        const auto old = before.descriptors.find(fd);
        if (old == before.descriptors.end() || !old->second.leads_to_the_same(descriptor)) {
            text +=
                "descriptor " + std::to_string(fd) + " is left open: " + descriptor.target + "\n";
        }
    }
    for (const auto& [fd, descriptor] : before.descriptors) {
        if (!descriptors.contains(fd)) {
            text += "descriptor " + std::to_string(fd) + " was closed: " + descriptor.target + "\n";
        }
    }
    if (!wait_until([&] { return thread_count() == before.threads; }, kThreadEndTime)) {
        text += "threads: " + std::to_string(before.threads) + " before, " +
                std::to_string(thread_count()) + " after\n";
    }
    return text + describe_child();
}

}  // namespace harness
