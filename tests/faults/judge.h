// Compares the runs of a scenario with what it promises.
#pragma once

#include <chrono>
#include <iosfwd>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

#include "scenario.h"

namespace faults {

/// What a run tells besides its outcome.
struct Told {
    using Text = char[2048];
    pid_t process;
    Text functions;    ///< those that were called, one after another
    Text results;      ///< what they gave
    long kept_blocks;  ///< that were not given back
};

/// The records that a run writes before and after its body: the log works there.
inline constexpr char kMarkFile[] = "faults";
inline constexpr char kBefore[] = "before";
inline constexpr char kAfter[] = "after";

/// A sweep takes no longer.
inline constexpr std::chrono::milliseconds kSweepLimit{600'000};

/// What is compared of a run.
struct Seen {
    std::string results;
    std::vector<harness::Report> records;
    std::string printed;

    bool operator==(const Seen&) const = default;
};

std::ostream& operator<<(std::ostream& stream, const Seen& seen);

class Judge {
public:
    /// @param told by the last run.
    Judge(const Scenario& scenario, const Told& told) : scenario_(scenario), told_(told) {}

    /// Looks at a run without a forced failure. The first is what others are compared with.
    void look_at_undisturbed(const harness::Outcome& outcome);

    testing::AssertionResult verdict(const harness::ForcedFailure& failure,
                                     const harness::Outcome& outcome);

    /// Fails for a promise that no run has met. @param every_error whether each was tried.
    void expect_that_all_were_met(bool every_error) const;

private:
    /// What a run let see. @param whole whether its body came to its end.
    testing::AssertionResult take(const harness::Outcome& outcome, bool whole, Seen& seen) const;
    /// Whether one of the runs should meet a promise for a call.
    bool is_reachable(const Promise& promise, Call call, bool every_error) const;
    const Promise* promise_for(const harness::ForcedFailure& failure) const;
    std::vector<harness::Report> expected(std::vector<harness::Report> records, int error) const;
    std::string expected(std::string text, int error) const;

    const Scenario& scenario_;
    const Told& told_;
    std::optional<Seen> undisturbed_;
    long kept_blocks_ = 0;
};

}  // namespace faults
