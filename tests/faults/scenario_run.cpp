#include "scenario_run.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <map>
#include <sstream>
#include <string_view>
#include <unistd.h>
#include <utility>
#include <vector>

#include "held_resources.h"
#include "judge.h"
#include "shared_memory.h"

namespace faults {
namespace {

using harness::FreshSetup;
using harness::Outcome;

/// What one run is told by, in memory that it shares with the process that judges it.
Told* told = nullptr;

void append(Told::Text& list, const std::string& text)
{
    const std::size_t length = std::strlen(list);
    if (length + text.size() + 2 > sizeof list) {
        ADD_FAILURE() << "there is no room for " << text;
        return;
    }
    std::strcat(list, length == 0 ? "" : " ");
    std::strcat(list, text.c_str());
}

void write_mark(const char* message)
{
    COMMON_Log_Write(COMMON_LogLevelError, 0, "", kMarkFile, "", 0, "%s", message);
}

void settle_for(const Scenario& scenario)
{
    using harness::fault::Settled;
    harness::fault::settle(scenario.has(Flag::Looks)      ? Settled::Looks
                           : scenario.has(Flag::AllStill) ? Settled::AllStill
                                                          : Settled::Still);
    for (const Call call : scenario.spared) {
        harness::fault::spare(call);
    }
}

/// The setup of a run, in the private root that the scenario's process has made.
FreshSetup run_setup(const Scenario& scenario)
{
    FreshSetup setup{.env = scenario.setup.env, .own_root = false};
    setup.time_limit = scenario.setup.time_limit;
    setup.prepare = [&scenario] {
        *told = {};
        told->process = getpid();
        if (scenario.setup.prepare) {
            scenario.setup.prepare();
        }
        settle_for(scenario);
        if (!scenario.has(Flag::First)) {
            write_mark(kBefore);
        }
        for (const Denied& denied : scenario.denied) {
            harness::fault::deny(denied.call, denied.error);
        }
        harness::fault::spare_all_but_acts();
    };
    return setup;
}

void run_body(const Scenario& scenario)
{
    const harness::HeldResources before = harness::held_resources();
    const long blocks = harness::fault::outstanding_blocks();
    scenario.body();
    write_mark(kAfter);
    // What a thread has is given back when it ends.
    EXPECT_EQ(harness::differences_from(before), "");
    told->kept_blocks = harness::fault::outstanding_blocks() - blocks;
}

/// The setup of the process that makes the private root.
FreshSetup root_setup(const Scenario& scenario)
{
    FreshSetup setup{.files = scenario.setup.files, .programs = scenario.setup.programs};
    setup.time_limit = kSweepLimit;
    setup.open_log_socket = false;
    return setup;
}

/// Calls a function in a process with the scenario's files, in which runs may be started.
void in_root(const Scenario& scenario, const std::function<void(Told*)>& function)
{
    const harness::SharedMemory<Told> shared;
    told = shared.get();
    const Outcome outcome = run_fresh(root_setup(scenario), [&] { function(shared.get()); });
    told = nullptr;
    EXPECT_THAT(outcome, harness::exited(0));
}

std::set<std::string> words(const char* text)
{
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), {}};
}

}  // namespace

void note_function(const char* name)
{
    append(told->functions, name);
}

void note_result(const std::string& text)
{
    append(told->results, text);
}

bool every_error()
{
    const char* const value = std::getenv("COMMON_FAULTS");
    return value != nullptr && std::string_view(value) == "all";
}

Tried sweep(const Scenario& scenario)
{
    const bool all = every_error();
    struct Result {
        Told::Text functions;
        harness::SweepCounts counts;
    };
    const harness::SharedMemory<Result> result;
    in_root(scenario, [&](Told* shared) {
        Judge judge(scenario, *shared);
        const harness::SweepOptions options{.every_error = all,
                                            .own_threads = scenario.has(Flag::OwnThreads),
                                            .undisturbed = [&](const Outcome& outcome) {
                                                judge.look_at_undisturbed(outcome);
                                                std::memcpy(result->functions, shared->functions,
                                                            sizeof shared->functions);
                                            }};
        result->counts = harness::sweep(
            run_setup(scenario), [&] { run_body(scenario); },
            [&](const harness::ForcedFailure& failure, const Outcome& outcome) {
                return judge.verdict(failure, outcome);
            },
            options);
        judge.expect_that_all_were_met(all);
    });
    return {words(result->functions), result->counts};
}

std::set<std::string> called_functions()
{
    using Root = std::pair<decltype(FreshSetup::files), decltype(FreshSetup::programs)>;
    std::map<Root, std::vector<const Scenario*>> by_root;
    for (const Scenario& scenario : scenarios()) {
        by_root[{scenario.setup.files, scenario.setup.programs}].push_back(&scenario);
    }
    struct Names {
        char text[32'768];
    };
    std::set<std::string> functions;
    for (const auto& [root, alike] : by_root) {
        const harness::SharedMemory<Names> names;
        in_root(*alike.front(), [&, &scenarios = alike](Told* shared) {
            std::string all;
            for (const Scenario* const scenario : scenarios) {
                EXPECT_THAT(run_fresh(run_setup(*scenario), [&] { run_body(*scenario); }),
                            harness::exited(0))
                    << scenario->name;
                all += std::string(shared->functions) + " ";
            }
            ASSERT_LT(all.size(), sizeof names->text);
            std::memcpy(names->text, all.c_str(), all.size() + 1);
        });
        functions.merge(words(names->text));
    }
    return functions;
}

}  // namespace faults
