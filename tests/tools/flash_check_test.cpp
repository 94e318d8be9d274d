// commonctl flash check, on a simulated target.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <linux/capability.h>
#include <set>
#include <string>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>

#include "flash/check.h"
#include "fresh_process.h"
#include "simulated_target.h"

using namespace harness;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

using Words = std::vector<std::string>;

/// What there is on the target: the entries of its partitions with the times of their last changes,
/// and its devices. A driver's devices are gone when it has ended.
std::string state_of_target()
{
    std::string all;
    for (const char* const folder : {"/config", "/config-mfg", "/log", "/dev"}) {
        std::error_code error;
        const auto skip = std::filesystem::directory_options::skip_permission_denied;
        for (std::filesystem::recursive_directory_iterator it(folder, skip, error), end;
             !error && it != end; it.increment(error)) {
            std::error_code gone;
            all += it->path().string() + "\n";
            // Terminals are the machine's, and others write to them.
            if (const auto kind = it->symlink_status(gone).type();
                kind == std::filesystem::file_type::regular ||
                kind == std::filesystem::file_type::directory) {
                const auto changed = std::filesystem::last_write_time(*it, gone).time_since_epoch();
                all += "    " + std::to_string(changed.count()) + "\n";
            }
        }
    }
    return all;
}

/// The ids of the target's processes.
std::set<std::string> processes_of_target()
{
    std::set<std::string> all;
    for (const auto& process : std::filesystem::directory_iterator("/proc")) {
        const std::string name = process.path().filename();
        if (name.find_first_not_of("0123456789") == std::string::npos) {
            all.insert(name);
        }
    }
    return all;
}

int run_tool(const Words& arguments)
{
    Words words{COMMONCTL, "flash", "check"};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> line;
    for (std::string& word : words) {
        line.push_back(word.data());
    }
    line.push_back(nullptr);
    const pid_t pid = fork();
    if (pid == 0) {
        execv(COMMONCTL, line.data());
        _exit(99);
    }
    int status = 0;
    return waitpid(pid, &status, 0) == pid && WIFEXITED(status) ? WEXITSTATUS(status) : 98;
}

/// Runs the tool on a target, and prints its exit status. It must not have changed anything, nor
/// have had a command run.
Outcome check(const Words& arguments, const std::function<void()>& prepare = {})
{
    return run_fresh([&] {
        const int status = support::run_on_target({}, [&] {
            if (prepare) {
                prepare();
            }
            const std::string before = state_of_target();
            const auto processes = processes_of_target();
            const int ended = run_tool(arguments);
            if (const std::string after = state_of_target(); after != before) {
                std::printf("something has changed:\n%sis now:\n%s", before.c_str(), after.c_str());
            }
            // A command that started the target may still be ending, but nothing has been started.
            if (const auto now = processes_of_target();
                !std::includes(processes.begin(), processes.end(), now.begin(), now.end())) {
                std::printf("a process was left\n");
            }
            return ended;
        });
        std::printf("exits with %d\n", status);
        EXPECT_THAT(support::target_journal(), IsEmpty());
    });
}

constexpr char kAdvice[] =
    "commonctl: a repair formats the partition, and all files on it are lost; a program does it, "
    "with FLASHSAFE_CheckPartition()\n";

TEST(CommonctlFlash, TellsSoundPartitions)
{
    for (const char* const log : {"/log", "log", "3"}) {
        const Outcome outcome = check({log, "--deep"});
        EXPECT_THAT(outcome, exited(0));
        EXPECT_EQ(outcome.out, "/log is sound\nexits with 0\n");
        EXPECT_EQ(outcome.err, "");
        EXPECT_THAT(outcome.log, IsEmpty());
    }
    EXPECT_EQ(check({"root"}).out, "/ is sound\nexits with 0\n");
    EXPECT_EQ(check({"/"}).out, "/ is sound\nexits with 0\n");
    EXPECT_EQ(check({"2", "-o", "json"}).out,
              "{\"partition\":2,\"mount_point\":\"/config\",\"check\":\"quick\","
              "\"state\":\"sound\"}\nexits with 0\n");
}

TEST(CommonctlFlash, ADeepCheckTellsWhatIsCorruptAndLeavesItAlone)
{
    const auto damage = [] {
        support::corrupt("/log/journal");
        // What is configured for programs does not hide what is found.
        setenv("COMMON_LOG_LEVEL", "Fatal", 1);
        setenv("COMMON_LOG_ENABLE", "False", 1);
    };
    const Outcome quick = check({"/log"}, damage);
    EXPECT_EQ(quick.out, "/log is sound\nexits with 0\n");

    const Outcome deep = check({"/log", "--deep"}, damage);
    EXPECT_THAT(deep, exited(0));
    EXPECT_EQ(deep.out,
              "/log is corrupt: /log/journal/lost: No such file or directory\nexits with 1\n");
    EXPECT_EQ(deep.err, kAdvice);

    const Outcome json = check({"--deep", "-o", "json", "/log"}, damage);
    EXPECT_EQ(json.out, "{\"partition\":3,\"mount_point\":\"/log\",\"check\":\"deep\","
                        "\"state\":\"corrupt\",\"path\":\"/log/journal/lost\","
                        "\"reason\":\"No such file or directory\"}\nexits with 1\n");
}

TEST(CommonctlFlash, AMissingMountPointIsCorrupt)
{
    for (const Words& arguments : {Words{"/log"}, Words{"/log", "--deep"}}) {
        const Outcome outcome = check(arguments, [] { std::filesystem::remove_all("/log"); });
        EXPECT_EQ(outcome.out, "/log is corrupt: /log: No such file or directory\nexits with 1\n");
        EXPECT_EQ(outcome.err, kAdvice);
    }
}

TEST(CommonctlFlash, FoldersThatAreTooDeepAreCorrupt)
{
    const Outcome outcome = check({"/log", "--deep"}, [] {
        std::string path = "/log";
        for (int i = 0; i < 99; ++i) {
            path += "/d";
        }
        std::filesystem::create_directories(path);
    });
    EXPECT_EQ(outcome.out, "/log is corrupt: folders are nested more than 98 levels deep\n"
                           "exits with 1\n");
}

TEST(CommonctlFlash, ANameCannotSteerTheTerminal)
{
    const auto damage = [] { std::filesystem::create_symlink("none", "/log/a\n\x1b\xff"); };
    EXPECT_THAT(check({"/log", "--deep"}, damage).out,
                StartsWith("/log is corrupt: /log/a\\x0a\\x1b\xff: No such file"));
    EXPECT_THAT(check({"/log", "--deep", "-o", "json"}, damage).out,
                HasSubstr("\"path\":\"/log/a\\n\\u001b\xef\xbf\xbd\""));
}

TEST(CommonctlFlash, WithoutRightsTheStateIsUnknown)
{
    const auto closed = [] {
        std::filesystem::create_directory("/log/closed");
        std::filesystem::permissions("/log/closed", std::filesystem::perms::none);
        // Even root is refused without these.
        EXPECT_EQ(prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE), 0);
        EXPECT_EQ(prctl(PR_CAPBSET_DROP, CAP_DAC_READ_SEARCH), 0);
    };
    const Outcome outcome = check({"/log", "--deep"}, closed);
    EXPECT_EQ(outcome.out, "/log is unknown: /log/closed: Permission denied\nexits with 1\n");
    EXPECT_EQ(outcome.err, "commonctl: not all could be looked at; run it as a user who may read "
                           "everything\n");
    EXPECT_THAT(check({"/log", "--deep", "-o", "json"}, closed).out,
                HasSubstr("\"state\":\"unknown\""));
}

TEST(CommonctlFlash, RaisesItsLimitOfDescriptors)
{
    const auto few = [](rlim_t hard) {
        return [hard] {
            std::string path = "/log";
            for (int i = 0; i < 98; ++i) {
                path += "/d";
            }
            std::filesystem::create_directories(path);
            const rlimit limit{20, hard};
            setrlimit(RLIMIT_NOFILE, &limit);
        };
    };
    EXPECT_EQ(check({"/log", "--deep"}, few(200)).out, "/log is sound\nexits with 0\n");
    const Outcome outcome = check({"/log", "--deep"}, few(100));
    EXPECT_EQ(outcome.out, "exits with 1\n");
    EXPECT_EQ(outcome.err, "commonctl: a check takes up to 128 descriptors, and this shell allows "
                           "100; raise \"ulimit -Hn\"\n");
}

TEST(CommonctlFlash, NamesTheVariablesThatAreMissing)
{
    const Outcome outcome = check({"/log"}, [] {
        unsetenv("FLASH_START_LOG_SIZE");
        unsetenv("FLASH_START_DRIVER_NAME");
    });
    EXPECT_EQ(outcome.out, "exits with 1\n");
    EXPECT_EQ(outcome.err, "commonctl: the environment does not tell the flash device "
                           "(FLASH_START_DRIVER_NAME, FLASH_START_LOG_SIZE); run this with the "
                           "environment of the platform's start-up\n");
}

TEST(CommonctlFlash, RefusesToRepair)
{
    const std::pair<Words, const char*> cases[] = {
        {{"flash", "repair", "/log"}, "flash only checks; a program repairs"},
        {{"flash", "check", "/log", "--repair"}, "--repair"},
        {{"flash", "check", "/tmp"}, "there is no partition \"/tmp\""},
        {{"flash", "check", "4"}, "there is no partition \"4\""},
        {{"flash", "check", ""}, "there is no partition \"\""},
        {{"flash", "check"}, "PARTITION is required"},
        {{"flash"}, "required"},
    };
    for (const auto& [arguments, why] : cases) {
        Words words{COMMONCTL};
        words.insert(words.end(), arguments.begin(), arguments.end());
        const Outcome outcome = run_program({}, words);
        EXPECT_THAT(outcome, exited(2));
        EXPECT_THAT(outcome.err, HasSubstr(why));
    }
}

TEST(CommonctlFlash, FindsTheFolderThatIsLookedAt)
{
    run_fresh([] {
        std::filesystem::create_directories("/tmp/a/b");
        EXPECT_EQ(commonctl::open_folder_of(getpid(), "/tmp/a"), "");
        const int outer = open("/tmp/a", O_RDONLY | O_DIRECTORY);
        const int inner = open("/tmp/a/b", O_RDONLY | O_DIRECTORY);
        const int beside = open("/tmp/ab", O_RDONLY | O_CREAT, 0600);
        EXPECT_EQ(commonctl::open_folder_of(getpid(), "/tmp/a"), "/tmp/a/b");
        close(inner);
        EXPECT_EQ(commonctl::open_folder_of(getpid(), "/tmp/a"), "/tmp/a");
        EXPECT_EQ(commonctl::open_folder_of(getpid(), "/tmp/ab"), "");
        close(outer);
        close(beside);
        EXPECT_EQ(commonctl::open_folder_of(-1, "/"), "");
    });
}

TEST(CommonctlFlash, OnATerminalItShowsHowFarItIs)
{
    // Opened where there are terminals: the target has none.
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_GE(terminal, 0);
    ASSERT_EQ(grantpt(terminal), 0);
    ASSERT_EQ(unlockpt(terminal), 0);
    const int end = open(ptsname(terminal), O_RDWR | O_NOCTTY);
    ASSERT_GE(end, 0);
    const Outcome outcome = check({"/log", "--deep"}, [&] { dup2(end, STDERR_FILENO); });
    char shown[512];
    const ssize_t count = read(terminal, shown, sizeof shown);
    close(end);
    close(terminal);
    EXPECT_THAT(std::string(shown, static_cast<std::size_t>(std::max<ssize_t>(count, 0))),
                AllOf(StartsWith("\rlooking through /log: 0 s"), EndsWith("\r\033[K")));
    EXPECT_EQ(outcome.out, "/log is sound\nexits with 0\n");
}

TEST(CommonctlFlash, ReadsReportsWhateverThePathIs)
{
    const auto read = [](const std::string& text) { return commonctl::read_flash_reports(text); };
    const std::string front(commonctl::kFlashReport);
    const std::string corrupt =
        front + "325.1 Warn flashsafe_DoRecursiveCheck: Detected corruption in file/dir: ";
    EXPECT_EQ(read(corrupt + "/log/a\n/b\n" + front + "/log partition is corrupt\n").path,
              "/log/a\n/b");
    EXPECT_EQ(read(corrupt + "/log/a").path, "/log/a");
    EXPECT_EQ(read("").path, "");
    EXPECT_TRUE(read(front + "Too many directory levels (99), assuming corruption\n").too_deep);
    EXPECT_THAT(read(front + "getenv(\"A\") returned NULL\n" + front + "getenv(\"B\")\n").missing,
                ElementsAre("A", "B"));
}

}  // namespace
