#include "judge.h"

#include <algorithm>
#include <cstring>
#include <ostream>
#include <regex>

namespace faults {
namespace {

using harness::ForcedFailure;
using harness::Outcome;
using harness::Report;
using testing::AssertionFailure;
using testing::AssertionResult;
using testing::AssertionSuccess;

void replace(std::string& text, const std::string& word, const std::string& with)
{
    for (auto at = text.find(word); at != std::string::npos; at = text.find(word, at)) {
        text.replace(at, word.size(), with);
        at += with.size();
    }
}

/// A text without what is another one in each run: addresses, threads named by theirs, the process.
/// Its number stands for it only where a process is named: elsewhere it may be any number.
std::string generalised(std::string text, pid_t process)
{
    static const std::regex address("0x[0-9A-Fa-f]{5,}( = [0-9]+)?");
    static const std::regex thread("thread [0-9]+");
    text = std::regex_replace(text, address, "{address}");
    static const std::regex child("pid[ =][0-9]+");
    text = std::regex_replace(text, thread, "{thread}");
    text = std::regex_replace(text, child, "{child}");
    const std::string number = std::to_string(process);
    replace(text, "/proc/" + number + "/", "/proc/{pid}/");
    replace(text, "/ (" + number + ")", "/ ({pid})");
    return text;
}

/// Takes the first of each of these records out, if it is there.
void take_out(std::vector<Report>& records, const std::vector<Report>& those)
{
    for (const Report& record : those) {
        const auto found = std::find(records.begin(), records.end(), record);
        if (found != records.end()) {
            records.erase(found);
        }
    }
}

/// Empties the message of the first record that is empty among the others. @return whether one is.
bool empty_the_same(std::vector<Report>& records, const std::vector<Report>& others)
{
    for (std::size_t i = 0; i < std::min(records.size(), others.size()); ++i) {
        if (others[i].message.empty()) {
            records[i].message.clear();
            return true;
        }
    }
    return false;
}

bool is_mark(const Report& record, const char* message)
{
    return record.file == kMarkFile && record.message == message;
}

template <class Value>
bool has(const std::vector<Value>& values, const Value& value)
{
    return std::find(values.begin(), values.end(), value) != values.end();
}

}  // namespace

std::ostream& operator<<(std::ostream& stream, const Seen& seen)
{
    stream << "gives " << seen.results << ", prints '" << seen.printed << "', logs";
    for (const Report& record : seen.records) {
        stream << "\n    " << record;
    }
    return stream;
}

AssertionResult Judge::take(const Outcome& outcome, bool whole, Seen& seen) const
{
    seen = {generalised(told_.results, told_.process), reports(outcome),
            whole ? generalised(outcome.out + outcome.err, told_.process) : ""};
    for (Report& record : seen.records) {
        record.message = generalised(record.message, told_.process);
    }
    if (!scenario_.has(Flag::First)) {
        if (seen.records.empty() || !is_mark(seen.records.front(), kBefore)) {
            return AssertionFailure() << "the log does not work before: " << seen;
        }
        seen.records.erase(seen.records.begin());
    }
    if (whole) {
        if (seen.records.empty() || !is_mark(seen.records.back(), kAfter)) {
            return AssertionFailure() << "the log does not work after: " << seen;
        }
        seen.records.pop_back();
    }
    return AssertionSuccess();
}

std::string Judge::expected(std::string text, int error) const
{
    const std::string number = std::to_string(error);
    replace(text, "{error}", std::string(std::strerror(error)) + " (" + number + ")");
    replace(text, "{errno}", number);
    replace(text, "{text}", std::strerror(error));
    return text;
}

std::vector<Report> Judge::expected(std::vector<Report> records, int error) const
{
    for (Report& record : records) {
        record.message = expected(record.message, error);
    }
    return records;
}

void Judge::look_at_undisturbed(const Outcome& outcome)
{
    Seen seen;
    EXPECT_TRUE(take(outcome, true, seen));
    if (scenario_.has(Flag::Rows)) {
        seen.printed.clear();
    }
    if (undisturbed_) {
        EXPECT_EQ(seen, *undisturbed_) << "other than the first time";
        return;
    }
    kept_blocks_ = told_.kept_blocks;
    EXPECT_TRUE(kept_blocks_ == 0 || scenario_.has(Flag::KeepsBlocks) || scenario_.has(Flag::First))
        << kept_blocks_ << " blocks were not freed";
    undisturbed_ = seen;
    Seen promised = seen;
    if (!scenario_.has(Flag::Talks)) {
        promised.records.clear();
        promised.printed.clear();
    }
    for (const Promise& promise : scenario_.promises) {
        if (promise.calls_.empty()) {
            promised.results = promise.results_.value_or(promised.results);
            promised.records = expected(promise.records_.value_or(promised.records), 0);
            promised.printed = promise.printed_.value_or(promised.printed);
        }
    }
    EXPECT_EQ(seen, promised) << "without a forced failure";
}

const Promise* Judge::promise_for(const ForcedFailure& failure) const
{
    for (const Promise& promise : scenario_.promises) {
        if (has(promise.calls_, failure.call) &&
            (promise.errors_.empty() || has(promise.errors_, failure.error)) &&
            promise.nth_.value_or(failure.nth) == failure.nth &&
            promise.thread_.value_or(failure.thread) == failure.thread) {
            promise.met_by_.push_back(failure.call);
            return &promise;
        }
    }
    return nullptr;
}

AssertionResult Judge::verdict(const ForcedFailure& failure, const Outcome& outcome)
{
    const Promise* const found = promise_for(failure);
    const Promise nothing;
    const Promise& promise = found != nullptr ? *found : nothing;
    const bool whole = !promise.end_;
    testing::StringMatchResultListener why;
    if (!testing::ExplainMatchResult(promise.end_.value_or(harness::exited(0)), outcome, &why)) {
        return AssertionFailure() << "another end than promised: " << why.str();
    }
    Seen seen;
    if (const AssertionResult taken = take(outcome, whole, seen); !taken) {
        return taken;
    }
    const Seen before = undisturbed_.value_or(Seen{});
    Seen promised;
    promised.results =
        whole ? expected(promise.results_.value_or(before.results), failure.error) : seen.results;
    promised.records = expected(promise.records_.value_or(before.records), failure.error);
    const std::vector<Report> added = expected(promise.added_, failure.error);
    if (const auto all = seen.records.size(); !added.empty()) {
        take_out(seen.records, added);
        if (seen.records.size() + added.size() != all) {
            return AssertionFailure() << "a record is missing: " << seen;
        }
    }
    if (promise.empties_ && !empty_the_same(promised.records, seen.records)) {
        return AssertionFailure() << "no message is empty: " << seen;
    }
    promised.printed =
        whole ? expected(promise.printed_.value_or(before.printed), failure.error) : "";
    if (scenario_.has(Flag::Rows)) {
        const std::string told = expected(promise.told_, failure.error);
        if (whole && seen.printed.find(told) == std::string::npos) {
            return AssertionFailure() << "it does not tell: " << told;
        }
        seen.printed = promised.printed;
    }
    if (whole && told_.kept_blocks > kept_blocks_) {
        return AssertionFailure() << told_.kept_blocks - kept_blocks_ << " blocks were not freed";
    }
    if (seen == promised) {
        return AssertionSuccess();
    }
    return AssertionFailure() << (found != nullptr ? "promised: " : "promised no difference: ")
                              << promised << "\nbut it\n"
                              << seen;
}

bool Judge::is_reachable(const Promise& promise, Call call, bool every_error) const
{
    if (every_error) {
        return true;
    }
    const int usual = harness::fault::errors(call)[0];
    for (const Promise& other : scenario_.promises) {
        if (has(other.calls_, call) && (other.errors_.empty() || has(other.errors_, usual))) {
            if (&other == &promise) {
                return true;
            }
            if (!other.nth_ && !other.thread_) {
                return false;
            }
        }
    }
    return false;
}

void Judge::expect_that_all_were_met(bool every_error) const
{
    for (const Promise& promise : scenario_.promises) {
        for (const Call call : promise.calls_) {
            EXPECT_TRUE(has(promise.met_by_, call) || !is_reachable(promise, call, every_error))
                << "no run meets the promise for " << harness::fault::name(call);
        }
    }
}

}  // namespace faults
