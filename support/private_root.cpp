#include "private_root.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <sched.h>
#include <string_view>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace support {
namespace {

// The new root is put together here. What a kept folder below it needs is opened beforehand.
constexpr const char* kAssembly = "/tmp";

constexpr std::array<std::string_view, 6> kFreshFolders{"config", "config-mfg", "dev",
                                                        "log",    "oxa",        "tmp"};
constexpr std::array<const char*, 6> kDevices{"null", "zero", "full", "random", "urandom", "tty"};

[[noreturn]] void fail(const std::string& what)
{
    const int error = errno;
    throw PrivateRootError("private root: " + what + ": " + std::strerror(error) + " (" +
                           std::to_string(error) + ")");
}

[[noreturn]] void fail_not_allowed()
{
    fail("cannot make a mount namespace; run as root with CAP_SYS_ADMIN, or let users make user "
         "namespaces (user.max_user_namespaces above 0, kernel.unprivileged_userns_clone=1 and "
         "kernel.apparmor_restrict_unprivileged_userns=0 where they exist), from a process that "
         "has one thread");
}

void bind(const std::string& source, const std::string& target)
{
    if (mount(source.c_str(), target.c_str(), nullptr, MS_BIND | MS_REC, nullptr) != 0) {
        fail("cannot bind " + source + " to " + target);
    }
}

void make_folder(const std::string& path, mode_t mode = 0755)
{
    if (mkdir(path.c_str(), mode) != 0 && errno != EEXIST) {
        fail("cannot make the folder " + path);
    }
}

void make_link(const std::string& content, const std::string& path)
{
    if (symlink(content.c_str(), path.c_str()) != 0) {
        fail("cannot make the link " + path);
    }
}

void write_map(const char* path, const std::string& content)
{
    const int fd = open(path, O_WRONLY | O_CLOEXEC);
    const bool written = fd >= 0 && write(fd, content.data(), content.size()) ==
                                        static_cast<ssize_t>(content.size());
    if (!written) {
        fail(std::string("cannot write ") + path);
    }
    close(fd);
}

void enter_namespace()
{
    const auto user = std::to_string(geteuid());
    const auto group = std::to_string(getegid());
    if (unshare(CLONE_NEWNS) == 0) {
        return;
    }
    if (errno != EPERM || unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
        fail_not_allowed();
    }
    // The kernel lets a process map its own group only after it gave up setgroups(2).
    write_map("/proc/self/setgroups", "deny");
    write_map("/proc/self/uid_map", user + " " + user + " 1");
    write_map("/proc/self/gid_map", group + " " + group + " 1");
}

std::string_view top_level_name(std::string_view path)
{
    path.remove_prefix(1);
    return path.substr(0, path.find('/'));
}

bool is_fresh(std::string_view name)
{
    return std::find(kFreshFolders.begin(), kFreshFolders.end(), name) != kFreshFolders.end();
}

/// A folder that the fresh folders would hide, held open so that it can be bound later.
struct KeptFolder {
    std::string path;
    int fd;
};

std::vector<KeptFolder> open_kept(std::vector<std::string> paths)
{
    std::error_code ignored;
    paths.push_back(std::filesystem::read_symlink("/proc/self/exe", ignored).parent_path());
    // Outer folders come first, or they would cover the inner ones.
    std::sort(paths.begin(), paths.end());

    std::vector<KeptFolder> kept;
    for (const auto& path : paths) {
        // A fresh folder itself cannot be kept: it would not be fresh.
        if (path.empty() || path[0] != '/' || path.find('/', 1) == std::string::npos ||
            !is_fresh(top_level_name(path))) {
            continue;
        }
        const int fd = open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
        if (fd >= 0) {
            kept.push_back({path, fd});
        }
    }
    return kept;
}

void copy_top_level(const std::string& root)
{
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir("/"), closedir);
    if (!folder) {
        fail("cannot list /");
    }
    while (const dirent* entry = readdir(folder.get())) {
        const std::string name = entry->d_name;
        if (name == "." || name == ".." || is_fresh(name)) {
            continue;
        }
        struct stat status {};
        if (lstat(("/" + name).c_str(), &status) != 0) {
            continue;
        }
        if (S_ISLNK(status.st_mode)) {
            std::error_code ignored;
            make_link(std::filesystem::read_symlink("/" + name, ignored), root + "/" + name);
        } else if (S_ISDIR(status.st_mode)) {
            make_folder(root + "/" + name);
            bind("/" + name, root + "/" + name);
        }
    }
}

void fill_dev(const std::string& dev)
{
    // Device files cannot be made in a user namespace, but the machine's can be bound.
    for (const char* name : kDevices) {
        const auto source = std::string("/dev/") + name;
        const auto target = dev + "/" + name;
        if (access(source.c_str(), F_OK) != 0) {
            continue;
        }
        const int fd = open(target.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0666);
        if (fd < 0) {
            fail("cannot make " + target);
        }
        close(fd);
        bind(source, target);
    }
    make_link("/proc/self/fd", dev + "/fd");
    make_link("/proc/self/fd/0", dev + "/stdin");
    make_link("/proc/self/fd/1", dev + "/stdout");
    make_link("/proc/self/fd/2", dev + "/stderr");
    make_folder(dev + "/shm");
    chmod((dev + "/shm").c_str(), 01777);
}

void restore_kept(const std::string& root, const std::vector<KeptFolder>& kept)
{
    for (const auto& folder : kept) {
        const auto target = root + folder.path;
        std::error_code error;
        std::filesystem::create_directories(target, error);
        if (error) {
            errno = error.value();
            fail("cannot make the folder " + target);
        }
        bind("/proc/self/fd/" + std::to_string(folder.fd), target);
        close(folder.fd);
    }
}

void change_root(const std::string& root)
{
    if (chdir(root.c_str()) != 0) {
        fail("cannot enter " + root);
    }
    // The old root ends up below the new one at the same place, from where it is taken away. Where
    // the present root is no mount of its own (a chroot, an initial ram disk) it stays,
    // unreachable.
    if (syscall(SYS_pivot_root, ".", ".") == 0) {
        if (umount2(".", MNT_DETACH) != 0) {
            fail("cannot let go of the old root");
        }
    } else if (chroot(".") != 0) {
        fail("cannot change the root");
    }
    if (chdir("/") != 0) {
        fail("cannot enter the new root");
    }
}

}  // namespace

void enter_private_root(const std::vector<std::string>& keep)
{
    std::error_code unknown_folder;
    const auto folder = std::filesystem::current_path(unknown_folder);
    const mode_t mask = umask(0);

    enter_namespace();
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        fail("cannot cut the mounts off from the machine's");
    }
    const auto kept = open_kept(keep);
    if (mount("tmpfs", kAssembly, "tmpfs", MS_NOSUID, "mode=755") != 0) {
        fail("cannot mount a file system in memory");
    }
    const std::string root = kAssembly;
    copy_top_level(root);
    for (const auto name : kFreshFolders) {
        make_folder(root + "/" + std::string(name));
    }
    chmod((root + "/tmp").c_str(), 01777);
    fill_dev(root + "/dev");
    restore_kept(root, kept);
    change_root(root);

    umask(mask);
    if (!unknown_folder && chdir(folder.c_str()) != 0 && chdir("/") != 0) {
        fail("cannot enter the new root");
    }
}

void enter_private_network()
{
    if (unshare(CLONE_NEWNET) != 0) {
        fail("cannot make a network namespace");
    }
}

bool is_private(const std::string& path)
{
    struct stat root {};
    struct stat status {};
    std::filesystem::path existing(path);
    while (stat(existing.c_str(), &status) != 0) {
        if (!existing.has_parent_path() || existing == existing.parent_path()) {
            return false;
        }
        existing = existing.parent_path();
    }
    return stat("/", &root) == 0 && status.st_dev == root.st_dev;
}

}  // namespace support
