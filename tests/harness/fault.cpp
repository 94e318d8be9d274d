#include "fault.h"

#include <array>
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
};

/// What is requested for one function. Calls number `first` to `last` fail.
struct Rule {
    std::atomic<int> calls{0};
    std::atomic<int> first{0};
    std::atomic<int> last{0};
    std::atomic<int> error{0};
    std::atomic<Hook*> hook{nullptr};
};

struct Description {
    const char* name;
    int usual_error;
};

constexpr Description kDescriptions[] = {
#define HARNESS_DESCRIPTION(name, symbol, type, parameters, arguments, failure, style, error) \
    {#name, error},
    HARNESS_FALLIBLE_CALLS(HARNESS_DESCRIPTION)
#undef HARNESS_DESCRIPTION
};

constexpr int kNever = 0;
constexpr int kForever = std::numeric_limits<int>::max();

constinit std::array<Rule, std::size(kDescriptions)> rules;
constinit std::atomic<int> all_calls{0};
constinit std::atomic<int> failing_call{kNever};  // of all calls together
constinit std::atomic<int> forced{0};
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
    rule.last = all_after ? kForever : first;
    rule.first = first;
}

void tell(Call call, int nth)
{
    ++forced;
    if (Report* report = watcher) {
        report->call = static_cast<int>(call);
        report->nth = nth;
        ++report->fired;
    }
}

}  // namespace

int visit(Call call)
{
    Rule& rule = rule_of(call);
    const int nth = ++rule.calls;
    const int nth_of_all = ++all_calls;
    const Hook* hook = rule.hook;
    if (hook != nullptr && hook->at == nth) {
        hook->run();
    }
    const int usual = kDescriptions[static_cast<std::size_t>(call)].usual_error;
    if (rule.first != kNever && nth >= rule.first && nth <= rule.last) {
        tell(call, nth);
        return rule.error != kUsualError ? rule.error.load() : usual;
    }
    if (nth_of_all == failing_call) {
        tell(call, nth);
        return usual;
    }
    return 0;
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

void fail_any(int nth)
{
    failing_call = all_calls + nth;
}

void on_call(Call call, int nth, std::function<void()> hook)
{
    Rule& rule = rule_of(call);
    delete rule.hook.exchange(new Hook{rule.calls + nth, std::move(hook)});
}

int calls(Call call)
{
    return rule_of(call).calls;
}

int fired()
{
    return forced;
}

void reset()
{
    for (Rule& rule : rules) {
        rule.first = kNever;
        rule.calls = 0;
        delete rule.hook.exchange(nullptr);
    }
    failing_call = kNever;
    all_calls = 0;
    forced = 0;
}

long outstanding_blocks()
{
    return blocks;
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
