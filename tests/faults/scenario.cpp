#include "scenario.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <set>

#include "scenario_run.h"

namespace faults {

using harness::Outcome;

Promise Promise::with(std::initializer_list<int> errors) &&
{
    errors_ = errors;
    return std::move(*this);
}

Promise Promise::nth(int nth) &&
{
    nth_ = nth;
    return std::move(*this);
}

Promise Promise::in_thread(int number) &&
{
    thread_ = number;
    return std::move(*this);
}

Promise Promise::gives(const std::string& results) &&
{
    results_ = results;
    return std::move(*this);
}

Promise Promise::logs(std::vector<harness::Report> records) &&
{
    records_ = std::move(records);
    return std::move(*this);
}

Promise Promise::adds(std::vector<harness::Report> records) &&
{
    added_ = std::move(records);
    return std::move(*this);
}

Promise Promise::empties_a_message() &&
{
    empties_ = true;
    return std::move(*this);
}

Promise Promise::prints(const std::string& text) &&
{
    printed_ = text;
    return std::move(*this);
}

Promise Promise::tells(const std::string& text) &&
{
    told_ = text;
    return std::move(*this);
}

Promise Promise::exits(int status) &&
{
    end_ = harness::exited(status);
    return std::move(*this);
}

Promise Promise::dies_of(int signal) &&
{
    end_ = harness::killed_by(signal);
    return std::move(*this);
}

Promise Promise::asserts(const std::string& file, const std::string& function,
                         const std::string& condition) &&
{
    // The last of what is printed: debug rows may come before.
    const std::string place = file.empty() ? "" : ": " + file + ":";
    const std::string text = function + ": Assertion `" + condition + "' failed.\n";
    end_ = testing::AllOf(
        harness::killed_by(SIGABRT),
        testing::Field("standard error", &Outcome::err,
                       testing::AllOf(testing::HasSubstr(place), testing::EndsWith(text))));
    return std::move(*this);
}

Promise on(Call call)
{
    return Promise({call});
}

Promise on(std::initializer_list<Call> calls)
{
    return Promise(calls);
}

Promise gives(const std::string& results)
{
    return Promise().gives(results);
}

Promise logs(std::vector<harness::Report> records)
{
    return Promise().logs(std::move(records));
}

Promise out_of_memory_ends(Call call)
{
    const std::string what = call == Call::realloc ? "reallocate" : "allocate";
    return on(call).exits(1).logs(
        {said(COMMON_LogLevelCritical, "MALLOC", "mem_malloc", "ErrorLog_Write",
              "faults_test/ ({pid}) Could not " + what + " memory.")});
}

std::vector<Promise> logging_goes_on()
{
    return {
        on(Call::clock_gettime)
            .adds({said(COMMON_LogLevelFatal, "", "common_system", "COMMON_System_GetTimeByClockId",
                        "Failed to get the CLOCK_REALTIME time with error: {error}")}),
        on(Call::vsnprintf).empties_a_message()};
}

bool Scenario::has(Flag flag) const
{
    return std::find(flags.begin(), flags.end(), flag) != flags.end();
}

namespace {

std::vector<Scenario>& known()
{
    static std::vector<Scenario> all;
    return all;
}

/// What was tried by all tests of this process; shown when they have ended.
class Total : public testing::Environment {
public:
    void add(const Tried& tried)
    {
        functions_.insert(tried.functions.begin(), tried.functions.end());
        ++scenarios_;
        calls_ += tried.counts.calls;
        failures_ += tried.counts.failures;
        runs_ += tried.counts.runs;
    }

    void TearDown() override
    {
        std::printf("%zu functions in %d scenarios, %d calls, %d failures, %d runs\n",
                    functions_.size(), scenarios_, calls_, failures_, runs_);
    }

private:
    std::set<std::string> functions_;
    int scenarios_ = 0;
    int calls_ = 0;
    int failures_ = 0;
    int runs_ = 0;
};

Total* total()
{
    static Total* const all =
        static_cast<Total*>(testing::AddGlobalTestEnvironment(new Total));  // which owns it
    return all;
}

class ScenarioTest : public testing::Test {
public:
    explicit ScenarioTest(const Scenario& scenario) : scenario_(scenario) {}

    void TestBody() override { total()->add(sweep(scenario_)); }

private:
    Scenario scenario_;
};

}  // namespace

bool add_scenario(const char* name, void (*body)(), const char* file, int line,
                  const std::vector<Clause>& clauses)
{
    Scenario scenario{name, body};
    for (const Clause& clause : clauses) {
        if (const auto* promise = std::get_if<Promise>(&clause)) {
            scenario.promises.push_back(*promise);
        } else if (const auto* several = std::get_if<std::vector<Promise>>(&clause)) {
            scenario.promises.insert(scenario.promises.end(), several->begin(), several->end());
        } else if (const auto* spared = std::get_if<Spared>(&clause)) {
            scenario.spared.push_back(spared->call);
        } else if (const auto* denied = std::get_if<Denied>(&clause)) {
            scenario.denied.push_back(*denied);
        } else if (const auto* setup = std::get_if<harness::FreshSetup>(&clause)) {
            scenario.setup = *setup;
        } else {
            scenario.flags.push_back(std::get<Flag>(clause));
        }
    }
    total();
    known().push_back(scenario);
    testing::RegisterTest("Faults", name, nullptr, nullptr, file, line,
                          [scenario]() -> testing::Test* { return new ScenarioTest(scenario); });
    return true;
}

const std::vector<Scenario>& scenarios()
{
    return known();
}

}  // namespace faults
