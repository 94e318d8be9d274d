#include "fault.h"

#include <cerrno>
#include <cstdio>
#include <limits>

#include <glob.h>
#include <regex.h>

#include "fault_rules.h"

namespace harness::fault {
namespace {

struct Hook {
    int at;
    std::function<void()> run;
    Hook* older;
};

/// All that there were: a thread may still be in one that is no longer requested.
constinit std::atomic<Hook*> hooks{nullptr};

/// What is requested for one function. Calls number `first` to `last` fail.
struct Rule {
    std::atomic<int> calls{0};
    std::atomic<int> first{0};
    std::atomic<int> last{0};
    std::atomic<int> error{0};
    std::atomic<bool> counts{true};
    std::atomic<Hook*> hook{nullptr};
};

// The error numbers of each function: open_errors and so on.
#define HARNESS_LIST(...) __VA_ARGS__
#define HARNESS_ERRORS(name, symbol, type, parameters, arguments, failure, style, errors, ...) \
    constexpr int name##_errors[] = {HARNESS_LIST errors};
HARNESS_FALLIBLE_CALLS(HARNESS_ERRORS)

struct Description {
    const char* name;
    std::span<const int> errors;
};

constexpr Description kDescriptions[] = {
#define HARNESS_DESCRIPTION(name, ...) {#name, name##_errors},
    HARNESS_FALLIBLE_CALLS(HARNESS_DESCRIPTION)
#undef HARNESS_DESCRIPTION
};

constexpr int kNever = 0;
constexpr int kForever = std::numeric_limits<int>::max();

constinit std::array<Rule, std::size(kDescriptions)> rules;

// Of fail_any(): the calls of each thread that count, and the one that fails.
struct Counts {
    std::atomic<int> all{0};
    std::array<std::atomic<int>, std::size(kDescriptions)> each{};
};
constinit std::array<Counts, kMostThreads> counts;
constinit std::atomic<int> failing_call{kNever};
constinit std::atomic<int> failing_thread{0};
constinit std::atomic<std::size_t> failing_error{0};
constinit std::atomic<bool> sparing{false};
constinit std::atomic<bool> all_spared{false};
constinit std::atomic<bool> acted{false};
constinit std::array<std::atomic<bool>, std::size(kDescriptions)> spared{};
constinit std::atomic<int> threads_made{0};
constinit thread_local int thread_number = 0;
constinit thread_local int acts = 0;

constinit std::atomic<int> forced{0};
constinit std::atomic<int> woken{0};
constinit std::atomic<int> forced_error{0};
constinit std::atomic<long> blocks{0};
constinit std::atomic<Report*> watcher{nullptr};

Rule& rule_of(Call call)
{
    return rules[static_cast<std::size_t>(call)];
}

void request(Call call, int nth, int error, bool all_after)
{
    Rule& rule = rule_of(call);
    const int first = rule.calls + nth;
    rule.error = error;
    rule.counts = true;
    rule.last = all_after ? kForever : first;
    rule.first = first;
}

void tell(Call call, int nth, int error)
{
    ++forced;
    forced_error = error;
    if (Report* report = watcher) {
        report->call = static_cast<int>(call);
        report->nth = nth;
        report->error = error;
        ++report->fired;
    }
}

Counts& counts_of(int thread)
{
    return counts[static_cast<std::size_t>(thread) % kMostThreads];
}

/// Counts a call of this thread, if it counts for fail_any().
/// @return which call of the function it is, if it shall fail; else 0.
int failing_nth(Call call)
{
    if (all_spared || (sparing && (thread_number == 0 ? acts == 0 : !acted)) ||
        spared[static_cast<std::size_t>(call)]) {
        return 0;
    }
    Counts& own = counts_of(thread_number);
    const int nth = ++own.each[static_cast<std::size_t>(call)];
    if (Report* report = watcher) {
        ++report->counted[static_cast<std::size_t>(thread_number) % kMostThreads];
    }
    return ++own.all == failing_call && thread_number == failing_thread ? nth : 0;
}

}  // namespace

int visit(Call call)
{
    Rule& rule = rule_of(call);
    const int nth = ++rule.calls;
    if (Report* report = watcher) {
        ++report->calls[static_cast<std::size_t>(call)];
    }
    const Hook* hook = rule.hook;
    if (hook != nullptr && hook->at == nth) {
        hook->run();
    }
    const std::span<const int> choice = errors(call);
    if (rule.first != kNever && nth >= rule.first && nth <= rule.last) {
        const int error = rule.error != kUsualError ? rule.error.load() : choice[0];
        if (rule.counts) {
            tell(call, nth, error);
        }
        return error;
    }
    const int counted_nth = failing_nth(call);
    if (counted_nth != 0 && failing_error < choice.size()) {
        const int error = choice[failing_error];
        tell(call, counted_nth, error);
        return error;
    }
    return 0;
}

int next_thread()
{
    if (Report* report = watcher) {
        ++report->threads;
    }
    return ++threads_made;
}

void become_thread(int number)
{
    thread_number = number;
}

void count_blocks(long gained)
{
    blocks += gained;
}

void fail(Call call, int nth, int error)
{
    request(call, nth, error, false);
}

void fail_from(Call call, int nth, int error)
{
    request(call, nth, error, true);
}

void fail_always(Call call, int error)
{
    request(call, 1, error, true);
}

void fail_any(int nth, int thread, std::size_t error)
{
    failing_error = error;
    failing_thread = thread;
    failing_call = counts_of(thread).all + nth;
}

void spare_all_but_acts()
{
    sparing = true;
    for (Counts& each : counts) {
        each.all = 0;
        for (auto& calls : each.each) {
            calls = 0;
        }
    }
}

void deny(Call call, int error)
{
    fail_always(call, error);
    rule_of(call).counts = false;
}

void spare(Call call)
{
    spared[static_cast<std::size_t>(call)] = true;
}

void spare_all()
{
    all_spared = true;
}

void count_own_threads()
{
    acted = true;
}

Act::Act()
{
    acted = true;
    ++acts;
}

Act::~Act()
{
    --acts;
}

void on_call(Call call, int nth, std::function<void()> hook)
{
    Rule& rule = rule_of(call);
    Hook* const added = new Hook{rule.calls + nth, std::move(hook), hooks};
    while (!hooks.compare_exchange_weak(added->older, added)) {
    }
    rule.hook = added;
}

int calls(Call call)
{
    return rule_of(call).calls;
}

void count_wake()
{
    ++woken;
}

int wakes()
{
    return woken;
}

int fired()
{
    return forced;
}

int last_error()
{
    return forced_error;
}

void reset()
{
    for (Rule& rule : rules) {
        rule.first = kNever;
        rule.calls = 0;
        rule.hook = nullptr;
    }
    failing_call = kNever;
    counts_of(0).all = 0;
    forced = 0;
    forced_error = 0;
    woken = 0;
}

long outstanding_blocks()
{
    return blocks;
}

std::span<const int> errors(Call call)
{
    return kDescriptions[static_cast<std::size_t>(call)].errors;
}

const char* name(Call call)
{
    return kDescriptions[static_cast<std::size_t>(call)].name;
}

void report_to(Report* report)
{
    watcher = report;
}

}  // namespace harness::fault
