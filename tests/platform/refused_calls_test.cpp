// What the library does where the kernel refuses a system call that it, or the C library for it,
// makes.
#include "refused_calls.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <functional>
#include <optional>
#include <sstream>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>

#include "common_wdm.h"
#include "fresh_process.h"
#include "log_expect.h"
#include "system_call_numbers.h"
#include "tour.h"

using namespace harness;
using Kind = StepResult::Kind;

namespace {

/// How a step went, with what else was said meanwhile.
struct StepReport {
    StepResult result{};
    std::vector<LogRecord> records{};
    std::string output{};
    std::optional<Outcome> end{};  ///< of the process, if the step ended it
};

struct TourReport {
    std::vector<StepReport> steps{};
    Outcome end{};  ///< of the process that came to the end of the tour
};

constexpr char kMark[] = "step ";
constexpr char kMarkOfOutput = '\1';

/// Sends what came of a step behind the records of that step.
class Marker {
public:
    Marker() : socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::snprintf(address.sun_path, sizeof address.sun_path, "/dev/log");
        EXPECT_EQ(connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    }
    Marker(const Marker&) = delete;
    Marker& operator=(const Marker&) = delete;
    ~Marker() { close(socket_); }

    void send(const StepResult& result) const
    {
        const std::string text =
            kMark + std::to_string(static_cast<int>(result.kind)) + " " + result.what;
        EXPECT_EQ(::send(socket_, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
    }

private:
    int socket_;
};

FreshSetup tour_setup()
{
    return {.env = {{"FLASH_START_BOOT_SIZE", "1"},
                    {"FLASH_START_ROOT_SIZE", "1"},
                    {"FLASH_START_CONFIG_MFG_SIZE", "1"},
                    {"FLASH_START_CONFIG_SIZE", "1"},
                    {"FLASH_START_LOG_SIZE", "1"},
                    {"FLASH_START_DRIVER_NAME", "driver"},
                    {"FLASH_START_DRIVER_OPTIONS", "-o"}},
            .files = {{"/config/common/log/settings.txt", "COMMON_LOG_LEVEL=Verbose\n"},
                      {"/oxa/slog/oxa_logger.cfg", "NEW\n"},
                      {"/dev/shmem/another", ""},
                      {"/log/one", "one"},
                      {"/log/two", "two"},
                      {"/log/three", "three"}}};
}

/// Makes the tour from a step on, each step in a thread in which calls are refused.
void make_tour(std::size_t from, const std::function<void()>& refuse_calls)
{
    const Marker marker;
    for (std::size_t i = from; i < tour().size(); ++i) {
        StepResult result;
        std::thread([&] {
            refuse_calls();
            result = tour()[i].run();
        }).join();
        if (end_children_of_tour() && result.kind == Kind::Works) {
            result = {Kind::Silent, "nobody has waited for a child"};
        }
        std::fputc(kMarkOfOutput, stdout);
        std::fputc(kMarkOfOutput, stderr);
        std::fflush(stdout);
        marker.send(result);
    }
}

/// Parts of an output, each of which ends with a mark, but for the last one.
std::vector<std::string> parts_of(const std::string& output)
{
    std::vector<std::string> parts(1);
    for (const char character : output) {
        if (character == kMarkOfOutput) {
            parts.emplace_back();
        } else {
            parts.back() += character;
        }
    }
    return parts;
}

/// What the steps of one process said.
std::vector<StepReport> reports_of(const Outcome& outcome)
{
    std::vector<StepReport> reports(1);
    for (const LogRecord& record : outcome.log) {
        StepReport& report = reports.back();
        if (record.raw.starts_with(kMark)) {
            report.result.kind = static_cast<Kind>(record.raw[sizeof kMark - 1] - '0');
            report.result.what = record.raw.substr(sizeof kMark + 1);
            reports.emplace_back();
        } else {
            report.records.push_back(record);
        }
    }
    for (const std::string& output : {outcome.out, outcome.err}) {
        const auto parts = parts_of(output);
        for (std::size_t i = 0; i < parts.size() && i < reports.size(); ++i) {
            reports[i].output += parts[i];
        }
    }
    return reports;
}

/// Makes the tour; where a step ends the process, another one goes on behind it.
TourReport report_of(const std::function<void()>& refuse_calls)
{
    TourReport report;
    while (report.steps.size() <= tour().size()) {
        const std::size_t from = report.steps.size();
        report.end = run_fresh(tour_setup(), [&] { make_tour(from, refuse_calls); });
        auto more = reports_of(report.end);
        more.back().end = report.end;
        report.steps.insert(report.steps.end(), more.begin(), more.end());
    }
    report.steps.pop_back();  // what came behind the last step
    return report;
}

/// System calls that do one thing, and what it is called.
struct Call {
    const char* name;
    std::vector<long> numbers;
    /// Steps that do not work then, although nothing says so, as their headers tell.
    std::vector<std::string> silent_steps{};
    /// Whether nothing can be closed then: the check for what is left open must fail.
    bool leaves_descriptors = false;
};

std::ostream& operator<<(std::ostream& stream, const Call& call)
{
    return stream << call.name;
}

// Those that the library makes, or the C library for it.
const Call kCalls[] = {
    {"brk", {SYS_brk}},
    {"clock_getres", {SYS_clock_getres, SYS_clock_getres_time64}},
    {"clock_nanosleep", {SYS_clock_nanosleep, SYS_clock_nanosleep_time64}, {"sleep"}},
    {"clone", {SYS_clone, SYS_fork, SYS_vfork}},
    {"clone3", {SYS_clone3}, {"watchdog"}},
    {"close", {SYS_close}, {}, true},
    {"connect", {SYS_connect, SYS_socketcall}, {"record", "child"}},
    {"execve", {SYS_execve}},
    {"ftruncate", {SYS_ftruncate, SYS_ftruncate64}},
    {"getdents64", {SYS_getdents64}, {"folder"}},
    {"kill", {SYS_kill}},
    {"lseek", {SYS_lseek, kSysLongSeek}},
    {"madvise", {SYS_madvise}},
    {"mkdir", {SYS_mkdir, SYS_mkdirat}},
    {"mmap", {SYS_mmap, SYS_mmap2}, {"watchdog"}},
    {"mprotect", {SYS_mprotect}, {"watchdog"}},
    {"mremap", {SYS_mremap}},
    {"munmap", {SYS_munmap}},
    {"openat", {SYS_openat}, {"end of a process"}},
    {"prctl", {SYS_prctl}, {"name of a timer's thread"}},
    {"read", {SYS_read}, {"settings", "process"}},
    {"rename", {SYS_rename, SYS_renameat, SYS_renameat2}},
    {"rt_sigprocmask", {SYS_rt_sigprocmask}},
    {"sched_get_priority_max", {SYS_sched_get_priority_max}},
    {"sched_get_priority_min", {SYS_sched_get_priority_min}},
    {"sched_setscheduler", {SYS_sched_setscheduler}},
    {"sendto", {SYS_sendto, SYS_socketcall}, {"record", "child"}},
    {"set_robust_list", {SYS_set_robust_list}},
    {"socket", {SYS_socket, SYS_socketcall}, {"record", "child"}},
    {"stat",
     {SYS_fstat, SYS_fstat64, SYS_fstatat64, SYS_newfstatat, SYS_statx},
     {"end of a process"}},
    {"symlink", {SYS_symlink, SYS_symlinkat}},
    {"times", {SYS_times}, {"system time"}},
    {"unlink", {SYS_unlink, SYS_unlinkat}},
    {"wait", {SYS_wait4, SYS_waitid}, {"program"}},
    {"write", {SYS_write}},
};

bool is_of_tour(const LogRecord& record)
{
    return record.text.find(", TOUR, ") != std::string::npos;
}

bool works(const Step& step, const StepReport& report)
{
    return report.result.kind == Kind::Works &&
           (!step.writes_record ||
            std::any_of(report.records.begin(), report.records.end(), is_of_tour));
}

/// Whether somebody who looks knows that a step did not work.
bool is_told(const StepReport& report)
{
    return report.result.kind == Kind::Said || !report.records.empty() || !report.output.empty();
}

/// The library ends the process where it cannot learn what this is called, and nowhere else.
bool is_end_by_library(const StepReport& report)
{
    return testing::Value(*report.end, killed_by(SIGABRT)) &&
           testing::Value(report.output, assertion_text("common_process", "load_calling_process",
                                                        "STATUS_SUCCESS == status"));
}

/// What is wrong with a step; empty when it works, or says that it does not.
std::string problem_of(const Step& step, const StepReport& report, const Call& call)
{
    std::ostringstream problem;
    if (report.end) {
        if (!is_end_by_library(report)) {
            problem << step.name << ": " << *report.end << '\n';
        }
    } else if (!works(step, report) && !is_told(report) &&
               std::find(call.silent_steps.begin(), call.silent_steps.end(), step.name) ==
                   call.silent_steps.end()) {
        problem << step.name << ": " << report.result.what << '\n';
    }
    return problem.str();
}

std::string problems_of(const TourReport& report, const Call& call)
{
    std::ostringstream problems;
    for (std::size_t i = 0; i < report.steps.size(); ++i) {
        problems << problem_of(tour()[i], report.steps[i], call);
    }
    if (!call.leaves_descriptors && !testing::Value(report.end, exited(0))) {
        problems << "behind the last step: " << report.end << '\n';
    }
    return problems.str();
}

TEST(RefusedCalls, NoneIsATourOfEverything)
{
    const TourReport report = report_of([] {});
    for (std::size_t i = 0; i < report.steps.size(); ++i) {
        const StepReport& step = report.steps[i];
        EXPECT_TRUE(works(tour()[i], step)) << tour()[i].name << ": " << step.result.what;
        EXPECT_FALSE(step.end) << tour()[i].name << ": " << *step.end;
    }
    EXPECT_THAT(report.end, exited(0));
}

class RefusedCall : public testing::TestWithParam<Call> {};
INSTANTIATE_TEST_SUITE_P(OfTheLibrary, RefusedCall, testing::ValuesIn(kCalls),
                         [](const auto& call) { return call.param.name; });

TEST_P(RefusedCall, WorksOrIsTold)
{
    const Call& call = GetParam();
    for (const int error : {ENOSYS, EPERM}) {
        EXPECT_EQ(problems_of(report_of([&] { refuse(call.numbers, error); }), call), "")
            << std::strerror(error);
    }
}

/// What the C library cannot do without: threads would wait for ever, or end the process.
const std::vector<long> kNeededCalls{
    SYS_clock_gettime, SYS_clock_gettime64, SYS_exit,      SYS_exit_group,  SYS_futex,
    SYS_futex_time64,  SYS_getpid,          SYS_getppid,   SYS_gettid,      SYS_rseq,
    SYS_rt_sigaction,  SYS_rt_sigreturn,    SYS_sigreturn, SYS_sched_yield, SYS_tgkill,
};

TEST(RefusedCalls, NoOthersAreMade)
{
    std::vector<long> allowed = kNeededCalls;
    for (const Call& call : kCalls) {
        allowed.insert(allowed.end(), call.numbers.begin(), call.numbers.end());
    }
    for (const int error : {ENOSYS, EPERM}) {
        const TourReport report = report_of([&] { refuse_all_but(allowed, error); });
        for (std::size_t i = 0; i < report.steps.size(); ++i) {
            const StepReport& step = report.steps[i];
            // Programs that are started make calls of their own.
            const bool runs_program = std::string_view(tour()[i].name) == "command";
            EXPECT_TRUE(step.result.kind == Kind::Works || runs_program)
                << tour()[i].name << ": " << step.result.what << ", " << std::strerror(error);
            EXPECT_FALSE(step.end) << tour()[i].name << ": " << *step.end;
        }
        EXPECT_THAT(report.end, exited(0)) << std::strerror(error);
    }
}

/// Calls that newer C libraries make, each with an answer of its own to a refusal.
const std::vector<long> kNewCalls{SYS_close_range,       SYS_faccessat2,     SYS_getrandom,
                                  SYS_inotify_init1,     SYS_io_uring_setup, SYS_membarrier,
                                  SYS_memfd_create,      SYS_openat2,        SYS_pidfd_open,
                                  SYS_pidfd_send_signal, SYS_prlimit64,      SYS_rseq,
                                  SYS_sched_setaffinity, SYS_set_robust_list};

TEST(RefusedCalls, ProgramStartsAndWorksWithoutNewCalls)
{
    for (const int error : {ENOSYS, EPERM}) {
        FreshSetup setup = tour_setup();
        setup.prepare = [error] {
            std::vector<long> refused = kNewCalls;
            if (error == ENOSYS) {
                // Containers once refused these with EPERM; the C library takes that for an answer.
                refused.insert(refused.end(), {SYS_clone3, SYS_statx});
            }
            refuse(refused, error);
        };
        const Outcome outcome = run_program(setup, {TOUR_PROGRAM});
        EXPECT_THAT(outcome, exited(0)) << std::strerror(error);
        EXPECT_EQ(outcome.out + outcome.err, "") << std::strerror(error);
        EXPECT_EQ(std::count_if(outcome.log.begin(), outcome.log.end(), is_of_tour), 2);
    }
}

/// The library's own wait, that of a watchdog's monitor, becomes a look every few milliseconds.
TEST(RefusedCalls, OwnWaitsAreAnsweredByLooks)
{
    const Call none{"own waits", {}, {}};
    for (const int error : {ENOSYS, EPERM}) {
        EXPECT_EQ(problems_of(report_of([&] { refuse_own_waits(error); }), none), "");
    }
}

TEST(RefusedCalls, OwnWaitsThatAreRefusedTakeNoProcessor)
{
    run_silently([] {
        double share = 1;
        std::thread([&] {
            refuse_own_waits(ENOSYS);
            COMMON_wdm* const watchdog = COMMON_wdm_Init();
            COMMON_wdm_Subscriber* const subscriber =
                COMMON_wdm_Create_Subscriber(nullptr, nullptr);
            COMMON_wdm_Subscribe(watchdog, subscriber, 1'000);
            const auto before = std::chrono::steady_clock::now();
            const std::clock_t processor_before = std::clock();
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
            const double processor_s =
                static_cast<double>(std::clock() - processor_before) / CLOCKS_PER_SEC;
            const std::chrono::duration<double> real = std::chrono::steady_clock::now() - before;
            share = processor_s / real.count();
            COMMON_wdm_Unsubscribe(subscriber);
            COMMON_wdm_Destroy(watchdog);
        }).join();
        EXPECT_LT(share, 0.2);
    });
}

}  // namespace
