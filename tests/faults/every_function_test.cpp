// Every exported function has a scenario of the fault sweep.
#include <array>
#include <cstdio>
#include <fstream>
#include <memory>
#include <regex>
#include <set>
#include <sstream>
#include <string>

#include <gmock/gmock.h>

#include "scenario.h"
#include "scenario_run.h"

namespace {

std::string output_of(const std::string& command)
{
    const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "re"), pclose);
    std::string output;
    std::array<char, 4096> buffer{};
    while (const auto length = std::fread(buffer.data(), 1, buffer.size(), pipe.get())) {
        output.append(buffer.data(), length);
    }
    return output;
}

/// The names of the list of exports that are functions in the library.
std::set<std::string> exported_functions()
{
    std::set<std::string> code;
    std::istringstream symbols(output_of(HARNESS_NM " -D --defined-only " HARNESS_LIBRARY));
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
