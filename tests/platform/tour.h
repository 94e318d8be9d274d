// A tour of the library: something of each family that asks the kernel for anything.
#pragma once

#include <string>
#include <vector>

namespace harness {

/// How a step of the tour went.
struct StepResult {
    enum class Kind {
        Works,
        Said,   ///< it did not work, and the function's result says so
        Silent  ///< it did not work, and the function's result does not say so
    };
    Kind kind = Kind::Works;
    std::string what{};
};

inline StepResult works()
{
    return {};
}

inline StepResult said(const std::string& what)
{
    return {StepResult::Kind::Said, what};
}

inline StepResult silent(const std::string& what)
{
    return {StepResult::Kind::Silent, what};
}

/// What the functions of a family do together.
struct Step {
    const char* name;
    StepResult (*run)();
    bool writes_record = false;  ///< under the zone TOUR: it works if that arrives
};

/// The steps that are about files and memory.
std::vector<Step> tour_of_files();

/// All steps, in the order in which they are to be run; the first one is the first use of the log.
const std::vector<Step>& tour();

/// Ends the children that a step has made itself, and awaits those that the library has: whether it
/// had left any.
bool end_children_of_tour();

}  // namespace harness
