// A process whose level is changed from outside, and the tool that changes it.
#pragma once

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include <gmock/gmock.h>

#include <common/common_log_settings.h>

#include "fresh_process.h"
#include "wait_until.h"

namespace harness {

inline constexpr char kFolder[] = "/tmp/common/log";
inline constexpr char kShared[] = "/tmp/common/log/settings.txt";
inline constexpr char kConfigured[] = "/config/common/log/settings.txt";

/// A process that looks for changed files at each call, a millisecond apart at least.
inline FreshSetup looking(std::map<std::string, std::string> files = {})
{
    return {
        .env = {{"COMMON_LOG_PEAKLOAD_CONTROL", "Off"}, {"COMMON_LOG_PEAKLOAD_GRANULARITY", "1"}},
        .files = std::move(files),
        .open_log_socket = false};
}

inline const FreshSetup kNotLooking{.open_log_socket = false};

/// Runs a body in a fresh process that was executed with its environment: what a process sets
/// itself is not seen from outside. The test's program runs once more, its test of the same name,
/// and of the bodies in it the one that is meant.
inline void executed(FreshSetup setup, const std::function<void()>& body)
{
    static std::map<std::string, int> counts;
    const auto* const test = testing::UnitTest::GetInstance()->current_test_info();
    const std::string number = std::to_string(++counts[test->name()]);
    if (const char* const meant = std::getenv("LEVEL_TEST_BODY")) {
        if (meant == number) {
            body();
            std::puts("the body has run");
        }
        return;
    }
    setup.env["LEVEL_TEST_BODY"] = number;
    const Outcome outcome = run_program(
        setup, {std::filesystem::read_symlink("/proc/self/exe"),
                std::string("--gtest_filter=") + test->test_suite_name() + "." + test->name()});
    EXPECT_THAT(outcome, exited(0)) << "body " << number;
    EXPECT_THAT(outcome.out, testing::HasSubstr("the body has run\n"));
}

inline std::string own_file()
{
    return std::string(kFolder) + "/settings_" + std::to_string(getpid()) + ".txt";
}

inline std::string content_of(const std::string& path)
{
    std::ostringstream content;
    content << std::ifstream(path).rdbuf();
    return content.str();
}

inline bool exists(const std::string& path)
{
    struct stat status {};
    return lstat(path.c_str(), &status) == 0;
}

inline void write_file(const std::string& path, const std::string& content)
{
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path) << content;
}

struct Ran {
    int status = -1;
    std::string text{};  ///< of both outputs
};

/// Runs "commonctl" with words of a shell's.
inline Ran commonctl(const std::string& words)
{
    Ran ran;
    FILE* const output = popen(("exec 2>&1; " COMMONCTL " " + words).c_str(), "re");
    char buffer[4096];
    for (std::size_t length = 0; (length = fread(buffer, 1, sizeof buffer, output)) > 0;) {
        ran.text.append(buffer, length);
    }
    const int status = pclose(output);
    ran.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return ran;
}

/// "commonctl level" for the calling process.
inline Ran level(const std::string& words)
{
    return commonctl("level " + std::to_string(getpid()) + " " + words);
}

/// Calls the log again and again until the end of the scope.
class Logging {
public:
    Logging()
        : thread_([this] {
              while (!end_) {
                  COMMON_Log_LevelGet();
                  std::this_thread::sleep_for(std::chrono::milliseconds(1));
              }
          })
    {
    }
    ~Logging()
    {
        end_ = true;
        thread_.join();
    }
    Logging(const Logging&) = delete;
    Logging& operator=(const Logging&) = delete;

private:
    std::atomic<bool> end_{false};
    std::thread thread_;
};

inline bool becomes(COMMON_LogLevel_t level)
{
    return wait_until([=] { return COMMON_Log_LevelGet() == level; });
}

/// A child that has the library, until it is killed.
class Child {
public:
    explicit Child(const char* name = "a child") : pid_(fork())
    {
        if (pid_ == 0) {
            prctl(PR_SET_NAME, name);
            for (;;) {
                pause();
            }
        }
        const std::string comm = "/proc/" + std::to_string(pid_) + "/comm";
        EXPECT_TRUE(wait_until([&] { return content_of(comm) == std::string(name) + "\n"; }));
    }
    ~Child()
    {
        end();
        waitpid(pid_, nullptr, 0);
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    void end() const { kill(pid_, SIGKILL); }
    std::string id() const { return std::to_string(pid_); }

private:
    pid_t pid_;
};

}  // namespace harness
