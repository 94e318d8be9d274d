// Scenarios of the fault sweep. Each calls one function of the library (or a few that never call
// the C library), and the sweep lets every call of the C library that this makes fail, each with
// its errors, one in each run:
//
//     SCENARIO(LIST_PushBack, gives("1"), out_of_memory_ends())
//     {
//         ListOfThree list;
//         CALL(LIST_PushBack, list, kValue);
//         EXPECT_EQ(LIST_Size(list), 4U);
//     }
//
// Only what stands in CALL() fails and, if the scenario says so, what the library's own threads
// call from the first CALL() on. The rest prepares, looks and gives back. What the clauses do not
// promise is that a failure makes no difference: the process lives, the results are the same and
// nothing is logged. In no run may blocks, descriptors, threads or children be left, and in each
// the log must work when the body has ended. A promise that no run meets is a failure, too.
#pragma once

#include <initializer_list>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include <gmock/gmock.h>

#include "common_library.h"
#include "fault.h"
#include "fault_sweep.h"
#include "fresh_process.h"
#include "log_expect.h"

namespace faults {

using harness::said;
using harness::fault::Call;

/// What happens when some calls fail. In results and messages of records "{error}" stands for the
/// text and the number of the error, "{text}" and "{errno}" for each of them alone, "{pid}" for the
/// process,
/// "{address}" for an address, "{thread}" for a thread by its id, "{child}" for "pid" and a number.
class Promise {
public:
    Promise() = default;
    explicit Promise(std::initializer_list<Call> calls) : calls_(calls) {}

    /// Only with these errors; only when it is this one of the function's calls; only in this
    /// thread of the library.
    Promise with(std::initializer_list<int> errors) &&;
    Promise nth(int nth) &&;
    Promise in_thread(int number) &&;

    /// What the CALL()s give, one after another; as without a failure when it is not said.
    Promise gives(const std::string& results) &&;
    /// What is logged; as without a failure when it is not said.
    Promise logs(std::vector<harness::Report> records) &&;
    /// It is logged besides what is logged without a failure; one message is empty.
    Promise adds(std::vector<harness::Report> records) &&;
    Promise empties_a_message() &&;
    /// What is printed to both standard streams; as without a failure when it is not said.
    Promise prints(const std::string& text) &&;
    /// This is among what is printed. For scenarios with Flag::Rows.
    Promise tells(const std::string& text) &&;
    /// The process ends: with a status, or by an assertion, anywhere when file and function are
    /// empty.
    Promise exits(int status) &&;
    Promise dies_of(int signal) &&;
    Promise asserts(const std::string& file, const std::string& function,
                    const std::string& condition) &&;

private:
    friend class Judge;
    std::vector<Call> calls_;  // none: without a failure
    std::vector<int> errors_;  // none: all
    std::optional<int> nth_;
    std::optional<int> thread_;
    std::optional<std::string> results_;
    std::optional<std::vector<harness::Report>> records_;
    std::vector<harness::Report> added_;
    bool empties_ = false;

    std::optional<std::string> printed_;
    std::string told_;
    std::optional<testing::Matcher<const harness::Outcome&>> end_;
    mutable std::vector<Call> met_by_;
};

/// What happens when a call fails.
Promise on(Call call);
Promise on(std::initializer_list<Call> calls);

/// What the CALL()s give when nothing fails; and what is logged.
Promise gives(const std::string& results);
Promise logs(std::vector<harness::Report> records);

/// A lack of memory ends the process, with one record.
Promise out_of_memory_ends(Call call = Call::malloc);

/// What happens when writing a record fails, to what logs also without a failure.
std::vector<Promise> logging_goes_on();

enum class Flag {
    First,        ///< what it calls is the first that the process does with the library, which
                  ///< keeps some blocks then
    Looks,        ///< whoever finds a lock taken looks at it once before it waits for it
    AllStill,     ///< the monotonic clock stands still
    OwnThreads,   ///< calls of the library's own threads fail, too
    KeepsBlocks,  ///< some blocks stay for good
    Talks,        ///< it logs or prints also without a failure: what, is for other tests
    Rows,         ///< debug output is on: what is printed is not compared
};

/// A call that is left alone: it cannot fail as it is called there, or does so in another scenario.
struct Spared {
    Call call;
};

/// A call that always fails with this error, in every run: what the scenario is about comes behind
/// it.
struct Denied {
    Call call;
    int error;
};

using Clause =
    std::variant<Promise, std::vector<Promise>, Spared, Denied, harness::FreshSetup, Flag>;

struct Scenario {
    const char* name;
    void (*body)();
    std::vector<Promise> promises{};
    harness::FreshSetup setup{};
    std::vector<Flag> flags{};
    std::vector<Call> spared{};
    std::vector<Denied> denied{};

    bool has(Flag flag) const;
};

/// Makes a test of a scenario.
bool add_scenario(const char* name, void (*body)(), const char* file, int line,
                  const std::vector<Clause>& clauses);

/// All scenarios.
const std::vector<Scenario>& scenarios();

/// Notes that a function is called, and what it gives.
void note_function(const char* name);
void note_result(const std::string& text);

/// Whether a failure was forced in this run.
inline bool failed()
{
    return harness::fault::fired() != 0;
}

template <class Value>
std::string shown(Value value)
{
    if constexpr (std::is_convertible_v<Value, const char*>) {
        return value == nullptr ? "null" : '"' + std::string(value) + '"';
    } else if constexpr (std::is_pointer_v<Value>) {
        return value == nullptr ? "null" : "set";
    } else if constexpr (std::is_enum_v<Value>) {
        return std::to_string(static_cast<std::underlying_type_t<Value>>(value));
    } else {
        return std::to_string(value);
    }
}

/// Calls a function whose calls of the C library may fail.
/// @param name of the function.
/// @param told whether its result is compared.
template <class Function>
auto call(const char* name, Function function, bool told = true)
{
    note_function(name);
    std::optional<harness::fault::Act> act(std::in_place);
    if constexpr (std::is_void_v<std::invoke_result_t<Function>>) {
        function();
    } else {
        const auto result = function();
        act.reset();
        if constexpr (std::is_scalar_v<decltype(result)>) {
            if (told) {
                note_result(shown(result));
            }
        }
        return result;
    }
}

}  // namespace faults

/// CALL(function, arguments...)
#define CALL(function, ...) ::faults::call(#function, [&] { return function(__VA_ARGS__); })

/// The same for a result that is another one each time: it is not compared.
#define UNTOLD_CALL(function, ...) \
    ::faults::call(                \
        #function, [&] { return function(__VA_ARGS__); }, false)

#define SCENARIO(name, ...)                                                            \
    static void name##_Body();                                                         \
    [[maybe_unused]] static const bool name##_known =                                  \
        ::faults::add_scenario(#name, name##_Body, __FILE__, __LINE__, {__VA_ARGS__}); \
    static void name##_Body()
