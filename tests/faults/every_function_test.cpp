// Every exported function has a scenario of the fault sweep.
#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <string>

#include <gmock/gmock.h>

#include "output_of.h"
#include "scenario.h"
#include "scenario_run.h"

namespace {

/// The names of the list of exports that are functions in the library.
std::set<std::string> exported_functions()
{
    std::set<std::string> code;
    std::istringstream symbols(
        harness::output_of(HARNESS_NM " -D --defined-only " HARNESS_LIBRARY));
    for (std::string address, type, name; symbols >> address >> type >> name;) {
        if (type == "T") {
            code.insert(name.substr(0, name.find('@')));
        }
    }
    std::set<std::string> functions;
    std::ifstream exports(HARNESS_EXPORTS);
    for (std::string line; std::getline(exports, line);) {
        std::smatch name;
        if (std::regex_match(line, name, std::regex(R"(\s+(\w+);)")) && code.contains(name[1])) {
            functions.insert(name[1]);
        }
    }
    return functions;
}

TEST(EveryFunction, HasAScenario)
{
    const std::set<std::string> exported = exported_functions();
    ASSERT_GT(exported.size(), 400U);
    const std::set<std::string> called = faults::called_functions();
    for (const std::string& function : exported) {
        EXPECT_TRUE(called.contains(function)) << function << " has no scenario";
    }
    for (const std::string& function : called) {
        EXPECT_TRUE(exported.contains(function)) << function << " is not exported";
    }
}

}  // namespace
