// Changes what the process file system says to a process in a private root (fresh_process.h).
#pragma once

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <system_error>
#include <unistd.h>

namespace harness {

/// The path of a process's status file.
inline std::string status_path(pid_t pid = getpid())
{
    return "/proc/" + std::to_string(pid) + "/status";
}

/// The name that the kernel keeps for the calling thread, of at most 15 characters.
inline std::string kernel_name()
{
    char name[16] = "";
    prctl(PR_GET_NAME, name);
    return name;
}

/// Gives the calling thread another name: in the main thread, the process.
inline void set_kernel_name(const char* name)
{
    prctl(PR_SET_NAME, name);
}

/// Puts a file with this content in the place of the calling process's status file.
inline void fake_status(std::string_view content)
{
    const char* const file = "/tmp/fake-status";
    std::ofstream(file, std::ios::binary) << content;
    if (mount(file, status_path().c_str(), nullptr, MS_BIND, nullptr) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot replace the status file");
    }
}

/// Takes the process file system away, until the process exits.
inline void hide_proc()
{
    if (mount("tmpfs", "/proc", "tmpfs", 0, nullptr) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot hide /proc");
    }
    // What sanitizers do at the exit needs it.
    std::atexit([] { umount2("/proc", MNT_DETACH); });
}

/// A process file system with nothing in it but what is put there, until the end of the scope.
class FakeProcesses {
public:
    FakeProcesses()
    {
        if (mount("tmpfs", "/proc", "tmpfs", 0, nullptr) != 0) {
            throw std::system_error(errno, std::generic_category(), "cannot replace /proc");
        }
    }
    ~FakeProcesses() { umount2("/proc", MNT_DETACH); }
    FakeProcesses(const FakeProcesses&) = delete;
    FakeProcesses& operator=(const FakeProcesses&) = delete;

    /// Adds an entry, a number or not, with a status file.
    void add(const std::string& entry, std::string_view status)
    {
        const std::string folder = "/proc/" + entry;
        std::filesystem::create_directories(folder);
        std::ofstream(folder + "/status", std::ios::binary) << status;
    }
};

}  // namespace harness
