// Processes are found by their names and ids, and ended.
#include "common.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <dirent.h>
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include "fake_proc.h"
#include "fault.h"
#include "fresh_process.h"
#include "wait_until.h"

using namespace harness;
using fault::Call;

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

/// What is in the place for an id beforehand: no process has this id.
constexpr std::uint32_t kKept = 4'000'000'000;

/// With debug output on, so that whatever is told there is seen, too.
const FreshSetup kDebugOn{.env = {{"COMMON_DEBUG_ENABLE", "True"}}};

std::uint32_t id(pid_t process)
{
    return static_cast<std::uint32_t>(process);
}

/// The id found for a name; kKept when there is none.
std::uint32_t found(const char* name)
{
    std::uint32_t pid = kKept;
    const std::uint32_t result = UTIL_GetPidFromProcessName(name, &pid);
    EXPECT_LE(result, 1U);
    EXPECT_EQ(result == 0, pid == kKept);
    return pid;
}

/// A child that does nothing until a signal ends it.
class Child {
public:
    /// @param stubborn whether it ignores SIGTERM. @param name null keeps the parent's.
    explicit Child(bool stubborn = false, const char* name = nullptr)
    {
        Event ready;
        pid_ = fork();
        if (pid_ == 0) {
            signal(SIGTERM, stubborn ? SIG_IGN : SIG_DFL);
            if (name != nullptr) {
                set_kernel_name(name);
            }
            ready.set();
            for (;;) {
                pause();
            }
        }
        EXPECT_TRUE(ready.wait());
    }
    ~Child()
    {
        if (pid_ > 0) {
            kill(pid_, SIGKILL);
            wait();
        }
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    std::uint32_t pid() const { return id(pid_); }

    /// Waits for its end. @return the signal that ended it.
    int wait()
    {
        const pid_t child = std::exchange(pid_, -1);
        int status = 0;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    }

private:
    pid_t pid_ = -1;
};

// ------------------------------------------------------------------------------------ by its name

/// A name as long as the kernel keeps them, which no other test that runs now gives a process.
std::string own_long_name()
{
    const std::string number = std::to_string(getpid());
    return "n" + std::string(14 - number.size(), '-') + number;
}

TEST(ProcessLookup, ProcessIsFoundByItsKernelName)
{
    run_silently(kDebugOn, [] {
        const std::string name = own_long_name();
        const Child child(false, name.c_str());
        EXPECT_EQ(found(name.c_str()), child.pid());
    });
}

// Callers that ask for a longer name than the kernel keeps get none, not one that begins alike.
TEST(ProcessLookup, NameMustBeTheWholeShortName)
{
    run_silently(kDebugOn, [] {
        const std::string name = own_long_name();
        const Child child(false, (name + "-and-more").c_str());
        EXPECT_EQ(found(name.c_str()), child.pid());
        EXPECT_EQ(found((name + "-and-more").c_str()), kKept);
        EXPECT_EQ(found(name.substr(0, 14).c_str()), kKept);
        EXPECT_EQ(found(("N" + name.substr(1)).c_str()), kKept);
        EXPECT_EQ(found(""), kKept);
    });
}

TEST(ProcessLookup, OnlyEntriesThatBeginWithADigitCount)
{
    run_silently(kDebugOn, [] {
        FakeProcesses processes;
        processes.add("self", "Name:\twanted\n");
        processes.add("x12", "Name:\twanted\n");
        processes.add(".12", "Name:\twanted\n");
        processes.add("-12", "Name:\twanted\n");
        processes.add(":12", "Name:\twanted\n");
        EXPECT_EQ(found("wanted"), kKept);
        processes.add("0", "Name:\tzero\n");
        EXPECT_EQ(found("zero"), 0U);
        processes.add("9", "Name:\tnine\n");
        EXPECT_EQ(found("nine"), 9U);
    });
}

TEST(ProcessLookup, EntryIsReadAsADecimalNumber)
{
    run_silently(kDebugOn, [] {
        FakeProcesses processes;
        processes.add("010", "Name:\tten\n");
        processes.add("12abc", "Name:\ttwelve\n");
        processes.add("4294967", "Name:\tlarge\n");
        EXPECT_EQ(found("ten"), 10U);
        EXPECT_EQ(found("twelve"), 12U);
        EXPECT_EQ(found("large"), 4'294'967U);
    });
}

TEST(ProcessLookup, EntriesWithoutANameArePassed)
{
    run_silently(kDebugOn, [] {
        FakeProcesses processes;
        processes.add("1", "State:\tR\n");
        processes.add("2", "");
        std::filesystem::create_directories("/proc/3");
        processes.add("4", "Name:\twanted\n");
        EXPECT_EQ(found("wanted"), 4U);
    });
}

TEST(ProcessLookup, LongNameOfAFakeIsComparedWhole)
{
    run_silently(kDebugOn, [] {
        FakeProcesses processes;
        const std::string longest(248, 'n');
        processes.add("7", "Name:\t" + longest + "more\n");
        EXPECT_EQ(found(longest.c_str()), 7U);
        EXPECT_EQ(found((longest + "more").c_str()), kKept);
    });
}

std::vector<std::string> entries_of_proc()
{
    std::vector<std::string> names;
    DIR* const folder = opendir("/proc");
    while (const dirent* entry = readdir(folder)) {
        if (entry->d_name[0] != '.') {
            names.emplace_back(entry->d_name);
        }
    }
    closedir(folder);
    return names;
}

TEST(ProcessLookup, FirstOneInTheOrderOfTheFolderStopsTheScan)
{
    run_silently(kDebugOn, [] {
        FakeProcesses processes;
        for (int pid = 100; pid < 120; ++pid) {
            processes.add(std::to_string(pid), "Name:\tother\n");
        }
        const std::vector<std::string> order = entries_of_proc();
        processes.add(order[5], "Name:\twanted\n");
        processes.add(order[12], "Name:\twanted\n");
        ASSERT_EQ(entries_of_proc(), order);
        fault::reset();
        EXPECT_EQ(std::to_string(found("wanted")), order[5]);
        EXPECT_EQ(fault::calls(Call::open), 6);
    });
}

TEST(ProcessLookup, EachStatusFileIsReadOnceUpToTheName)
{
    run_silently(kDebugOn, [] {
        FakeProcesses processes;
        const std::string rest(100'000, 'r');
        for (int pid = 1; pid <= 50; ++pid) {
            processes.add(std::to_string(pid), "Name:\tother\n" + rest);
        }
        fault::reset();
        EXPECT_EQ(found("wanted"), kKept);
        EXPECT_EQ(fault::calls(Call::open), 50);
        EXPECT_EQ(fault::calls(Call::read), 50);
        EXPECT_EQ(fault::calls(Call::malloc), 0);
    });
}

TEST(ProcessLookup, NullIsNotFound)
{
    run_silently(kDebugOn, [] {
        std::uint32_t pid = kKept;
        EXPECT_EQ(UTIL_GetPidFromProcessName(nullptr, &pid), 0U);
        EXPECT_EQ(pid, kKept);
        EXPECT_EQ(UTIL_GetPidFromProcessName(kernel_name().c_str(), nullptr), 0U);
    });
}

TEST(ProcessLookup, WithoutTheProcessFolderNothingIsFound)
{
    run_silently(kDebugOn, [] {
        fault::fail(Call::opendir, 1, EMFILE);
        EXPECT_EQ(found(kernel_name().c_str()), kKept);
        EXPECT_EQ(fault::fired(), 1);
        EXPECT_NE(found(kernel_name().c_str()), kKept);
    });
}

TEST(ProcessLookup, FolderThatCannotBeReadOnEndsTheScan)
{
    run_silently(kDebugOn, [] {
        fault::fail_always(Call::readdir);
        EXPECT_EQ(found(kernel_name().c_str()), kKept);
        EXPECT_EQ(fault::calls(Call::open), 0);
    });
}

TEST(ProcessLookup, StatusFileThatCannotBeOpenedOrReadIsPassed)
{
    run_silently(kDebugOn, [] {
        FakeProcesses processes;
        processes.add("1", "Name:\twanted\n");
        processes.add("2", "Name:\twanted\n");
        const std::uint32_t first = found("wanted");
        for (const Call call : {Call::open, Call::read}) {
            fault::reset();
            fault::fail(call, 1, EACCES);
            EXPECT_EQ(found("wanted"), 3 - first);
            EXPECT_EQ(fault::fired(), 1);
        }
    });
}

// -------------------------------------------------------------------------------------- by its id

TEST(ProcessLookup, ProcessExistsUntilSomebodyHasWaitedForIt)
{
    run_silently(kDebugOn, [] {
        Child child;
        const std::uint32_t pid = child.pid();
        EXPECT_EQ(UTIL_FindPid(pid), 1U);
        kill(static_cast<pid_t>(pid), SIGKILL);
        siginfo_t info{};
        EXPECT_EQ(waitid(P_PID, pid, &info, WEXITED | WNOWAIT), 0);
        EXPECT_EQ(UTIL_FindPid(pid), 1U) << "it has ended, but nobody has waited for it";
        EXPECT_EQ(child.wait(), SIGKILL);
        EXPECT_EQ(UTIL_FindPid(pid), 0U);
        EXPECT_EQ(UTIL_FindPid(id(getpid())), 1U);
        EXPECT_EQ(UTIL_FindPid(UINT32_MAX), 0U);
        EXPECT_EQ(UTIL_FindPid(0), 0U);
    });
}

TEST(ProcessLookup, OnlyTheStatusFileCounts)
{
    run_silently(kDebugOn, [] {
        FakeProcesses processes;
        std::filesystem::create_directories("/proc/12");
        EXPECT_EQ(UTIL_FindPid(12), 0U);
        processes.add("12", "");
        processes.add("4294967295", "");
        fault::reset();
        EXPECT_EQ(UTIL_FindPid(12), 1U);
        EXPECT_EQ(UTIL_FindPid(UINT32_MAX), 1U);
        EXPECT_EQ(fault::calls(Call::read), 0);
        fault::fail(Call::open, 1, EMFILE);
        EXPECT_EQ(UTIL_FindPid(12), 0U);
    });
}

// ----------------------------------------------------------------------------------------- ending

/// Ends a child whose end is waited for inside the first sleep. @return the signal it got.
int signal_for(std::uint32_t force)
{
    Child child;
    int signal = 0;
    fault::reset();
    fault::on_call(Call::usleep, 1, [&] { signal = child.wait(); });
    EXPECT_EQ(UTIL_TerminatePid(child.pid(), 10'000, force), 1U);
    EXPECT_EQ(fault::calls(Call::kill), 1);
    EXPECT_EQ(fault::calls(Call::usleep), 1);
    return signal;
}

// Only 1 forces: callers pass flags of other kinds.
TEST(ProcessTermination, ForceFlagChoosesTheSignal)
{
    run_silently(kDebugOn, [] {
        EXPECT_EQ(signal_for(0), SIGTERM);
        EXPECT_EQ(signal_for(1), SIGKILL);
        EXPECT_EQ(signal_for(2), SIGTERM);
        EXPECT_EQ(signal_for(UINT32_MAX), SIGTERM);
    });
}

TEST(ProcessTermination, ProcessThatIsGoneAtOnceIsNotWaitedFor)
{
    run_silently(kDebugOn, [] {
        Child child;
        const std::uint32_t pid = child.pid();
        fault::on_call(Call::open, 1, [&] { EXPECT_EQ(child.wait(), SIGTERM); });
        EXPECT_EQ(UTIL_TerminatePid(pid, 0, 0), 1U);
        EXPECT_EQ(fault::calls(Call::usleep), 0);
    });
}

TEST(ProcessTermination, SignalThatCannotBeSentFailsAtOnce)
{
    run_silently(kDebugOn, [] {
        Child child;
        fault::fail(Call::kill, 1, EPERM);
        EXPECT_EQ(UTIL_TerminatePid(child.pid(), 1000, 0), 0U);
        EXPECT_EQ(fault::fired(), 1);
        EXPECT_EQ(fault::calls(Call::open), 0);
        EXPECT_EQ(fault::calls(Call::usleep), 0);

        const std::uint32_t pid = child.pid();
        kill(static_cast<pid_t>(pid), SIGKILL);
        child.wait();
        EXPECT_EQ(UTIL_TerminatePid(pid, 1000, 1), 0U) << "there is no such process any more";
        EXPECT_EQ(fault::calls(Call::usleep), 0);
    });
}

// kill(2) would take these for groups of processes, the caller's own among them.
TEST(ProcessTermination, NumbersThatAreNoProcessGetNoSignal)
{
    run_silently(kDebugOn, [] {
        fault::on_call(Call::kill, 1, [] { std::abort(); });
        for (const std::uint32_t pid : {0U, 0x8000'0000U, UINT32_MAX - 1, UINT32_MAX}) {
            EXPECT_EQ(UTIL_TerminatePid(pid, 1000, 0), 0U);
            EXPECT_EQ(UTIL_TerminatePid(pid, 1000, 1), 0U);
        }
        EXPECT_EQ(fault::calls(Call::kill), 0);
    });
}

struct Polls {
    std::uint32_t timeout_ms;
    int sleeps;
};

class ProcessTerminationPolls : public testing::TestWithParam<Polls> {};

TEST_P(ProcessTerminationPolls, GiveUpWhenTheTimeIsOver)
{
    run_silently(kDebugOn, [] {
        const Child child(true);
        fault::fail_always(Call::usleep);  // which makes it return at once
        EXPECT_EQ(UTIL_TerminatePid(child.pid(), GetParam().timeout_ms, 0), 0U);
        EXPECT_EQ(fault::calls(Call::usleep), GetParam().sleeps);
        EXPECT_EQ(fault::calls(Call::open), GetParam().sleeps) << "no look after the last sleep";
        EXPECT_EQ(fault::calls(Call::kill), 1) << "the signal is never repeated";
    });
}

constexpr Polls kPolls[] = {{0, 1},   {1, 1},   {99, 1},  {100, 1},  {101, 2},
                            {250, 3}, {300, 3}, {301, 4}, {1000, 10}};

INSTANTIATE_TEST_SUITE_P(Times, ProcessTerminationPolls, testing::ValuesIn(kPolls),
                         [](const auto& test) {
                             return std::to_string(test.param.timeout_ms) + "ms";
                         });

TEST(ProcessTermination, ProcessThatEndsMeanwhileIsNoticed)
{
    run_silently(kDebugOn, [] {
        Child child(true);
        const std::uint32_t pid = child.pid();
        fault::fail_always(Call::usleep);
        fault::on_call(Call::usleep, 3, [&] {
            kill(static_cast<pid_t>(pid), SIGKILL);
            child.wait();
        });
        EXPECT_EQ(UTIL_TerminatePid(pid, 1000, 0), 1U);
        EXPECT_EQ(fault::calls(Call::usleep), 3);
    });
}

// What the sleeps really take.
TEST(ProcessTermination, TimeOfZeroStillWaitsOneStep)
{
    run_silently(kDebugOn, [] {
        const Child child(true);
        const auto start = Clock::now();
        EXPECT_EQ(UTIL_TerminatePid(child.pid(), 0, 0), 0U);
        EXPECT_GE(Clock::now() - start, milliseconds(100));
    });
}

TEST(ProcessTermination, ThreeStepsAreWaitedForAQuarterOfASecond)
{
    run_silently(kDebugOn, [] {
        const Child child(true);
        const auto start = Clock::now();
        EXPECT_EQ(UTIL_TerminatePid(child.pid(), 250, 0), 0U);
        EXPECT_GE(Clock::now() - start, milliseconds(300));
    });
}

}  // namespace
