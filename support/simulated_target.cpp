#include "simulated_target.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

#include "private_root.h"
#include "target/target_files.h"

namespace support {
namespace {

namespace fs = std::filesystem;

constexpr const char* kPrograms = "/oxa/bin";

[[noreturn]] void fail(const std::string& what)
{
    throw std::system_error(errno, std::generic_category(), "simulated target: " + what);
}

void set_environment(const TargetSetup& setup)
{
    std::map<std::string, std::optional<std::string>> variables;
    for (const auto& [name, value] : usual_target_environment()) {
        variables[name] = value;
    }
    for (const auto& [name, value] : setup.env) {
        variables[name] = value;
    }
    for (const auto& [name, value] : variables) {
        if (value) {
            setenv(name.c_str(), value->c_str(), 1);
        } else {
            unsetenv(name.c_str());
        }
    }
    const char* const path = std::getenv("PATH");
    setenv("PATH",
           (std::string(kPrograms) + ":" + (path != nullptr ? path : "/bin:/usr/bin")).c_str(), 1);
}

void link_program(const std::string& program, const std::string& name)
{
    const fs::path link = fs::path(kPrograms) / name;
    fs::remove(link);  // of an earlier target in this root
    fs::create_symlink(fs::path(SUPPORT_TARGET_PROGRAMS) / program, link);
}

/// A driver's program bears the name of the driver, if that is a name at all.
void link_driver(const char* variable)
{
    const char* const name = std::getenv(variable);
    if (name != nullptr && *name != '\0' && std::strchr(name, '/') == nullptr) {
        link_program("driver", name);
    }
}

void start_driver(const std::string& name_variable, const std::string& options_variable)
{
    const char* const name = std::getenv(name_variable.c_str());
    const char* const options = std::getenv(options_variable.c_str());
    if (name == nullptr || *name == '\0') {
        return;
    }
    const std::string command = std::string(name) + " " + (options != nullptr ? options : "");
    if (std::system(command.c_str()) != 0) {
        throw std::runtime_error("simulated target: cannot run " + command);
    }
}

void furnish(const TargetSetup& setup)
{
    for (const char* folder : {kPrograms, target::kFolder, target::kDeviceFolder}) {
        fs::create_directories(folder);
    }
    for (const auto& [folder, variable, kilobytes] : kTargetPartitions) {
        if (std::strcmp(folder, "/") != 0 && !is_private(folder)) {
            throw std::runtime_error(std::string(folder) + " is the machine's own");
        }
        fs::create_directories(folder);
    }
    for (const char* program : {"flashctl", "mount", "pidin"}) {
        link_program(program, program);
    }
    set_environment(setup);
    link_driver("FLASH_START_DRIVER_NAME");
    link_driver("NAND_DRIVER_NAME");
    for (const auto& [program, words] : setup.behaviour) {
        set_behaviour(program, words);
    }
    if (setup.running) {
        start_driver("FLASH_START_DRIVER_NAME", "FLASH_START_DRIVER_OPTIONS");
        start_driver("NAND_DRIVER_NAME", "NAND_DRIVER_OPTIONS");
    }
    std::ofstream(target::kJournal) << std::flush;  // nothing that was run until now counts
}

/// A driver's devices are gone when it is, however it ended; only then is it waited for.
void remove_devices(pid_t driver)
{
    std::ifstream list(target::device_list(driver));
    for (std::string device; std::getline(list, device);) {
        fs::remove(device);
    }
}

int exit_status(int status)
{
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

/// Waits for whatever ends on the target, until that process does. @return its wait status.
int wait_for_all_until(pid_t last)
{
    for (;;) {
        siginfo_t ended{};
        int status = 0;
        if (waitid(P_ALL, 0, &ended, WEXITED | WNOWAIT) != 0) {
            if (errno == EINTR) {
                continue;
            }
            fail("cannot wait for a process");
        }
        remove_devices(ended.si_pid);
        waitpid(ended.si_pid, &status, 0);
        if (ended.si_pid == last) {
            return status;
        }
    }
}

/// The first process of the target: when it ends, all others do.
int run_first_process(const TargetSetup& setup, const std::function<int()>& body)
{
    // Of its own, so that the others of the private root keep theirs.
    if (unshare(CLONE_NEWNS) != 0 || mount("proc", "/proc", "proc", MS_NOSUID, nullptr) != 0) {
        fail("cannot mount a process file system; nothing may cover any part of /proc");
    }
    furnish(setup);
    const pid_t child = fork();
    if (child < 0) {
        fail("cannot fork");
    }
    if (child == 0) {
        std::exit(body());
    }
    return exit_status(wait_for_all_until(child));
}

/** Goes on in a child that dies with its parent. @return in the parent only: how the child ended.
 */
int in_child(const std::function<int()>& body)
{
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child < 0) {
        fail("cannot fork");
    }
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        int status = kTargetFailed;
        try {
            status = body();
        } catch (const std::exception& error) {
            std::fprintf(stderr, "%s\n", error.what());
        }
        std::fflush(nullptr);
        _exit(status);
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            fail("cannot wait for a process");
        }
    }
    return exit_status(status);
}

}  // namespace

std::map<std::string, std::string> usual_target_environment()
{
    std::map<std::string, std::string> variables{{"FLASH_START_DRIVER_NAME", "nor-driver"},
                                                 {"FLASH_START_DRIVER_OPTIONS", "-s0x40000000,12M"},
                                                 {"FLASH_START_BOOT_SIZE", "256"},
                                                 {"NAND_DRIVER_NAME", "nand-driver"},
                                                 {"NAND_DRIVER_OPTIONS", "-c 4"}};
    for (const auto& [folder, variable, kilobytes] : kTargetPartitions) {
        variables[variable] = kilobytes;
    }
    return variables;
}

int run_on_target(const TargetSetup& setup, const std::function<int()>& body)
{
    // Two generations: what a process does to get a new world of process ids concerns its later
    // children, and after the first of them has ended it can have no other.
    return in_child([&] {
        if (unshare(CLONE_NEWPID) != 0) {
            fail("cannot make a process namespace");
        }
        return in_child([&] { return run_first_process(setup, body); });
    });
}

std::vector<std::string> target_journal()
{
    std::vector<std::string> lines;
    std::ifstream journal(target::kJournal);
    for (std::string line; std::getline(journal, line);) {
        lines.push_back(line);
    }
    return lines;
}

void set_behaviour(const std::string& program, const std::string& words)
{
    std::ofstream(std::string(target::kFolder) + "/" + program) << words << '\n';
}

void corrupt(const std::string& folder)
{
    fs::create_directories(folder);
    fs::create_symlink("nowhere", fs::path(folder) / "lost");
}

}  // namespace support
