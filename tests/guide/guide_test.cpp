// The programs of the guide do what their pages show. For each examples/guide/NAME.c there are
//
//     NAME.out   what it prints, to the byte
//     NAME.log   the records that reach the system log, in order: one a line, as
//                "Level ZONE file function: message", without what is another one in each run (the
//                time, the process, the thread) or in each version (the line)
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>

#include "fresh_process.h"
#include "log_expect.h"
#include "sanitizer.h"
#include "simulated_target.h"

using namespace harness;
using testing::HasSubstr;

namespace {

constexpr int kNotRun = 99;

/// What a program is called with and what it finds, as its page says.
struct Call {
    std::vector<std::string> arguments;
    std::map<std::string, std::string> files;
};

const std::map<std::string, Call> kCalls{
    {"files",
     {{"--pattern=\\.(mp3|ogg)$", "/tmp/music", "/tmp/films"},
      {{"/tmp/music/one.mp3", ""}, {"/tmp/music/two.ogg", ""}, {"/tmp/music/cover.png", ""}}}}};

std::vector<std::string> program_names()
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(GUIDE_SOURCES)) {
        if (entry.path().extension() == ".c") {
            names.push_back(entry.path().stem());
        }
    }
    std::sort(names.begin(), names.end());
#if defined(HARNESS_THREAD_SANITIZER)
    std::erase(names, "fork_and_signals");  // the sanitizer lets no child of fork start threads
#endif
    return names;
}

std::string content_of(const std::filesystem::path& path)
{
    std::ifstream stream(path, std::ios::binary);
    EXPECT_TRUE(stream.good()) << path;
    std::ostringstream content;
    content << stream.rdbuf();
    return content.str();
}

/// The records as a page shows them.
std::string shown(const Outcome& outcome)
{
    std::string lines;
    for (const Report& report : reports(outcome)) {
        lines += report.level + " " + report.zone + " " + report.file + " " + report.function +
                 ": " + report.message + "\n";
    }
    return lines;
}

/// On a target whose partition "/log" is corrupt, and which has no NAND device: how long its driver
/// takes to end is up to the machine.
Outcome repair(const std::string& program)
{
    return well([&] {
        const int status = run_on_target({.env = {{"NAND_DRIVER_NAME", ""}}}, [&] {
            corrupt("/log/journal");
            execl(program.c_str(), program.c_str(), nullptr);
            return kNotRun;
        });
        EXPECT_EQ(status, 0);
    });
}

Outcome run(const std::string& name)
{
    const std::string program = GUIDE_PROGRAMS "/" + name;
    if (name == "flash_repair") {
        return repair(program);
    }
    std::vector<std::string> words{program};
    FreshSetup setup;
    if (const auto call = kCalls.find(name); call != kCalls.end()) {
        words.insert(words.end(), call->second.arguments.begin(), call->second.arguments.end());
        setup.files = call->second.files;
    }
    Outcome outcome = run_program(setup, words);
    EXPECT_THAT(outcome, exited(0));
    return outcome;
}

class GuideProgram : public testing::TestWithParam<std::string> {};

INSTANTIATE_TEST_SUITE_P(Guide, GuideProgram, testing::ValuesIn(program_names()),
                         [](const auto& test) { return test.param; });

TEST_P(GuideProgram, PrintsAndLogsWhatItsPageShows)
{
    const std::filesystem::path folder(GUIDE_SOURCES);
    const Outcome outcome = run(GetParam());
    EXPECT_EQ(outcome.out, content_of(folder / (GetParam() + ".out")));
    EXPECT_EQ(shown(outcome), content_of(folder / (GetParam() + ".log")));
    EXPECT_EQ(outcome.err, "");
}

/// The picture is made of what the program prints, by "dot -Gnodesep=0.6 -Tsvg": it has its names
/// and arrows.
TEST(Guide, PictureOfTheMachineIsTheRecordedOne)
{
    const std::string text = content_of(GUIDE_SOURCES "/state_machine.out");
    const std::string picture = content_of(GUIDE_PAGES "/state_machine.svg");
    const std::regex label("label=\"([^\"]+)\"");
    const std::regex arrow("(\\w+) -> (\\w+)");
    const std::sregex_iterator end;
    std::ptrdiff_t arrows = 0;
    for (std::sregex_iterator found(text.begin(), text.end(), label); found != end; ++found) {
        EXPECT_THAT(picture, HasSubstr(">" + found->str(1) + "<"));
    }
    for (std::sregex_iterator found(text.begin(), text.end(), arrow); found != end; ++found) {
        EXPECT_THAT(picture, HasSubstr("<title>" + found->str(1) + "&#45;&gt;" + found->str(2)));
        ++arrows;
    }
    const std::regex drawn("class=\"edge\"");
    EXPECT_EQ(std::distance(std::sregex_iterator(picture.begin(), picture.end(), drawn), end),
              arrows);
    EXPECT_GT(arrows, 0);
}

}  // namespace
