#include "fault_sweep.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <new>
#include <ostream>
#include <sys/mman.h>
#include <system_error>

namespace harness {
namespace {

/// A report in memory that a child shares with the parent.
class SharedReport {
public:
    SharedReport()
    {
        void* memory = mmap(nullptr, sizeof(fault::Report), PROT_READ | PROT_WRITE,
                            MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) {
            throw std::system_error(errno, std::generic_category(), "cannot map shared memory");
        }
        report_ = new (memory) fault::Report;
    }
    ~SharedReport() { munmap(report_, sizeof *report_); }
    SharedReport(const SharedReport&) = delete;
    SharedReport& operator=(const SharedReport&) = delete;

    fault::Report* get() const { return report_; }

private:
    fault::Report* report_;
};

Outcome run_with_failure(int number, const FreshSetup& setup, const std::function<void()>& scenario,
                         const SweepOptions& options, fault::Report* report)
{
    return run_fresh(setup, [&] {
        const long blocks = fault::outstanding_blocks();
        fault::report_to(report);
        if (options.only) {
            fault::fail(*options.only, number);
        } else {
            fault::fail_any(number);
        }
        scenario();
        if (options.blocks_return) {
            EXPECT_EQ(fault::outstanding_blocks(), blocks) << "blocks were not freed";
        }
    });
}

bool is_memory_fault(const Outcome& outcome)
{
    constexpr int kSignals[] = {SIGSEGV, SIGBUS, SIGILL};
    return outcome.end == Outcome::End::Killed &&
           std::find(std::begin(kSignals), std::end(kSignals), outcome.number) !=
               std::end(kSignals);
}

/// @return what is wrong with a run whatever the verdict; empty when nothing is.
const char* unacceptable(const Outcome& outcome)
{
    if (outcome.end == Outcome::End::TimedOut) {
        return "time limit exceeded";
    }
    if (is_memory_fault(outcome)) {
        return "memory fault";
    }
    if (outcome.failed_checks != 0) {
        return "failed check";
    }
    const bool harness_status =
        outcome.end == Outcome::End::Exited &&
        (outcome.number == kSanitizerReport || outcome.number == kSetupFailed);
    return harness_status ? "sanitizer report or failed setup" : "";
}

}  // namespace

std::ostream& operator<<(std::ostream& stream, const ForcedFailure& failure)
{
    return stream << "forced failure " << failure.number << " (" << failure.call << " number "
                  << failure.nth << ")";
}

testing::AssertionResult survives(const ForcedFailure&, const Outcome& outcome)
{
    if (testing::Value(outcome, exited(0))) {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << "does not survive";
}

int sweep(const FreshSetup& setup, const std::function<void()>& scenario, const Verdict& verdict,
          const SweepOptions& options)
{
    for (int number = 1; number <= options.most; ++number) {
        const SharedReport report;
        const Outcome outcome = run_with_failure(number, setup, scenario, options, report.get());
        if (report.get()->fired == 0) {
            EXPECT_THAT(outcome, exited(0)) << "without a forced failure";
            return number - 1;
        }
        const ForcedFailure failure{
            number, fault::name(static_cast<fault::Call>(report.get()->call.load())),
            report.get()->nth};
        EXPECT_STREQ(unacceptable(outcome), "") << failure << ": " << outcome;
        EXPECT_TRUE(verdict(failure, outcome)) << failure << ": " << outcome;
    }
    ADD_FAILURE() << "still failing after " << options.most << " runs";
    return options.most;
}

}  // namespace harness
