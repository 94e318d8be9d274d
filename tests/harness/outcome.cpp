#include "outcome.h"

#include <csignal>
#include <cstring>
#include <ostream>

namespace harness {
namespace {

std::string describe_end(Outcome::End end, int number)
{
    switch (end) {
    case Outcome::End::Exited: {
        const auto text = "exited with status " + std::to_string(number);
        return number == kSanitizerReport ? text + " (a sanitizer's report)"
               : number == kCheckFailed   ? text + " (a failed check)"
               : number == kSetupFailed   ? text + " (could not be set up)"
                                          : text;
    }
    case Outcome::End::Killed: {
        const char* name = sigabbrev_np(number);
        return "was killed by signal " + std::to_string(number) + " (SIG" +
               (name != nullptr ? name : "?") + ")";
    }
    case Outcome::End::TimedOut:
        return "was still running at its time limit";
    }
    return "?";
}

void print_text(std::ostream& stream, const char* title, const std::string& text)
{
    if (!text.empty()) {
        stream << "\n--- " << title << " ---\n" << text << (text.ends_with('\n') ? "" : "\n");
    }
}

class EndMatcher : public testing::MatcherInterface<const Outcome&> {
public:
    EndMatcher(Outcome::End end, int number) : end_(end), number_(number) {}

    bool MatchAndExplain(const Outcome& outcome, testing::MatchResultListener*) const override
    {
        return outcome.end == end_ && outcome.number == number_ && outcome.failed_checks == 0;
    }

    void DescribeTo(std::ostream* stream) const override
    {
        *stream << "a process that " << describe_end(end_, number_) << ", without a failed check";
    }

private:
    Outcome::End end_;
    int number_;
};

}  // namespace

std::vector<std::string> Outcome::log_texts() const
{
    std::vector<std::string> texts;
    for (const auto& record : log) {
        texts.push_back(record.text);
    }
    return texts;
}

std::ostream& operator<<(std::ostream& stream, const Outcome& outcome)
{
    stream << "a process that " << describe_end(outcome.end, outcome.number) << " after "
           << outcome.duration.count() << " ms";
    if (outcome.failed_checks != 0) {
        stream << ", with " << outcome.failed_checks << " failed checks";
    }
    print_text(stream, "standard output", outcome.out);
    print_text(stream, "standard error", outcome.err);
    if (!outcome.log.empty()) {
        stream << "\n--- system log ---\n";
        for (const auto& record : outcome.log) {
            stream << record << '\n';
        }
    }
    return stream;
}

testing::Matcher<const Outcome&> exited(int status)
{
    return testing::MakeMatcher(new EndMatcher(Outcome::End::Exited, status));
}

testing::Matcher<const Outcome&> killed_by(int signal)
{
    return testing::MakeMatcher(new EndMatcher(Outcome::End::Killed, signal));
}

testing::Matcher<const Outcome&> timed_out()
{
    return testing::MakeMatcher(new EndMatcher(Outcome::End::TimedOut, SIGKILL));
}

}  // namespace harness
