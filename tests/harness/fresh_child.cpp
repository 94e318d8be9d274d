#include "fresh_child.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <cxxabi.h>
#include <exception>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string_view>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include <gtest/gtest.h>

#include "build_tree.h"
#include "held_resources.h"
#include "private_root.h"

namespace harness::child {
namespace {

constexpr const char* kSanitizerVariables[] = {"ASAN_OPTIONS", "LSAN_OPTIONS", "TSAN_OPTIONS",
                                               "UBSAN_OPTIONS"};
constexpr const char* kKeptVariables[] = {
    "PATH",
    "COMMON_TEST_PREEMPTIONS",
    "COMMON_TEST_TIME_FACTOR",
    "ASAN_SYMBOLIZER_PATH",
    "TSAN_SYMBOLIZER_PATH",
    "GCOV_PREFIX",
    "GCOV_PREFIX_STRIP",
    "LLVM_PROFILE_FILE",
};

std::atomic<int>* failed_checks = nullptr;

/// Counts failed checks where the parent can see them, also those of the child's own children.
class FailureCounter : public testing::EmptyTestEventListener {
    void OnTestPartResult(const testing::TestPartResult& result) override
    {
        if (result.failed()) {
            failed_checks->fetch_add(1);
        }
    }
};

/// Exit handler: a body that ends the process by exit() must not hide a failed check.
void exit_for_failed_checks()
{
    if (failed_checks->load() != 0) {
        std::fflush(nullptr);
        _exit(kCheckFailed);
    }
}

void connect_standard_streams(const Ends& ends)
{
    const int null = open("/dev/null", O_RDONLY);
    if (null < 0 || dup2(null, STDIN_FILENO) < 0 || dup2(ends.out, STDOUT_FILENO) < 0 ||
        dup2(ends.err, STDERR_FILENO) < 0) {
        throw std::runtime_error("cannot connect the standard streams");
    }
    close(null);
    close(ends.out);
    close(ends.err);
}

void set_environment(const std::map<std::string, std::string>& chosen)
{
    std::map<std::string, std::string> variables{{"TZ", "UTC"}};
    for (const char* name : kKeptVariables) {
        if (const char* value = std::getenv(name)) {
            variables[name] = value;
        }
    }
    for (const char* name : kSanitizerVariables) {
        const char* value = std::getenv(name);
        variables[name] = std::string(value != nullptr ? value : "") +
                          ":exitcode=" + std::to_string(kSanitizerReport);
    }
    for (const auto& [name, value] : chosen) {
        variables[name] = value;
    }
    clearenv();
    for (const auto& [name, value] : variables) {
        setenv(name.c_str(), value.c_str(), 1);
    }
    // localtime_r() keeps the zone of the parent's first call otherwise.
    tzset();
}

void write_file(const std::string& path, const std::string& content, mode_t mode)
{
    if (!is_private(path)) {
        throw std::runtime_error(path + " would be written to the machine's own disk");
    }
    const std::filesystem::path file(path);
    std::filesystem::create_directories(file.parent_path());
    std::ofstream stream(file, std::ios::binary);
    stream << content;
    stream.close();
    if (!stream) {
        throw std::runtime_error("cannot write " + path);
    }
    std::filesystem::permissions(file, static_cast<std::filesystem::perms>(mode));
}

void set_up(const FreshSetup& setup, const Ends& ends)
{
    // A group of its own, so that the parent can end what the process leaves running; the process
    // must not outlive its parent either.
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const rlimit no_core{0, 0};
    setrlimit(RLIMIT_CORE, &no_core);
    umask(022);

    connect_standard_streams(ends);
    set_environment(setup.env);
    if (setup.own_root) {
        enter_private_root(build_tree());
    } else if (!is_private("/dev/log")) {
        throw std::runtime_error("there is no private root that could be shared");
    }
    unlink("/dev/log");
    if (setup.open_log_socket) {
        ends.log->bind_at("/dev/log");
    }
    ends.log->close();
    for (const auto& [path, content] : setup.files) {
        write_file(path, content, 0644);
    }
    for (const auto& [path, content] : setup.programs) {
        write_file(path, content, 0755);
    }
    start_sanitizer_thread();
    if (setup.prepare) {
        setup.prepare();
    }
}

void set_up_or_exit(const FreshSetup& setup, const Ends& ends)
{
    try {
        set_up(setup, ends);
    } catch (const std::exception& error) {
        dprintf(ends.err, "%s\n", error.what());
        dprintf(STDERR_FILENO, "%s\n", error.what());
        _exit(kSetupFailed);
    }
}

void run_and_report_exceptions(const std::function<void()>& body)
{
    try {
        body();
    } catch (const abi::__forced_unwind&) {
        throw;  // the body ends its thread
    } catch (const std::exception& error) {
        ADD_FAILURE() << "exception: " << error.what();
    } catch (...) {
        ADD_FAILURE() << "exception of an unknown type";
    }
}

}  // namespace

void run_body(const FreshSetup& setup, const Ends& ends, const std::function<void()>& body)
{
    set_up_or_exit(setup, ends);
    // A fresh process inside a fresh process has the counter already; it answers for itself only.
    if (std::exchange(failed_checks, ends.failed_checks) == nullptr) {
        testing::UnitTest::GetInstance()->listeners().Append(new FailureCounter);
        std::atexit(exit_for_failed_checks);
    }

    const HeldResources before = held_resources();
    run_and_report_exceptions(body);
    const auto differences = differences_from(before);
    if (!differences.empty()) {
        ADD_FAILURE() << "the body left something behind:\n" << differences;
    }
    std::exit(EXIT_SUCCESS);
}

void run_program(const FreshSetup& setup, const Ends& ends,
                 const std::vector<std::string>& arguments)
{
    set_up_or_exit(setup, ends);
    std::vector<char*> pointers;
    for (const auto& argument : arguments) {
        pointers.push_back(const_cast<char*>(argument.c_str()));
    }
    pointers.push_back(nullptr);
    execvp(pointers[0], pointers.data());
    std::fprintf(stderr, "cannot execute %s: %s\n", pointers[0], std::strerror(errno));
    std::fflush(stderr);
    _exit(kSetupFailed);
}

}  // namespace harness::child
