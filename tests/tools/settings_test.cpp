// What the tool says of settings files.
#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "fresh_process.h"
#include "processes/settings_check.h"

using namespace harness;
using commonctl::CheckedLine;
using commonctl::FileUse;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

constexpr char kShared[] = "/tmp/common/log/settings.txt";
constexpr char kConfigured[] = "/config/common/log/settings.txt";

const FreshSetup kNoDaemon{.open_log_socket = false};

/// "LINE[.COLUMN][!]: what it says".
std::vector<std::string> said_of(const std::string& content, FileUse use)
{
    std::vector<std::string> said;
    for (const CheckedLine& line : commonctl::check_settings(content, use)) {
        said.push_back(std::to_string(line.line) +
                       (line.column > 1 ? "." + std::to_string(line.column) : "") +
                       (line.wrong ? "!: " : ": ") + line.says);
    }
    return said;
}

TEST(CommonctlSettings, LinesAreToldInWords)
{
    EXPECT_THAT(
        said_of("COMMON_LOG_LEVEL=debug\nCOMMON_LOG_PEAK=Off\nCOMMON_LOG_LEVEL_PEAK=Warn\n"
                "\n# LEVEL\nLEVEL=Warn\nCOMMON_LOG_X=1\nnothing\nCOMMON_LOG_STRIP=no\n"
                "COMMON_LOG_STRIP=True \nCOMMON_LOG_PEAKLOAD_CONTROL=none",
                FileUse::Both),
        ElementsAre(
            "1: sets COMMON_LOG_LEVEL to Debug, but line 3 sets it again",
            "2: sets COMMON_LOG_PEAKLOAD_CONTROL to Off, the first name that begins with "
            "COMMON_LOG_PEAK, but line 11 sets it again",
            "3: sets COMMON_LOG_LEVEL to Warn: COMMON_LOG_LEVEL_PEAKLOAD is meant by its "
            "full name only",
            "4: ", "5: a remark: ignored", "6!: ignored: the name does not begin with COMMON_LOG_",
            "7!: ignored: no setting's name begins with COMMON_LOG_X", "8!: ignored: it has no '='",
            "9!: changes nothing: COMMON_LOG_STRIP takes True, False",
            "10!: changes nothing: COMMON_LOG_STRIP takes True, False (blanks and carriage "
            "returns count)",
            "11: sets COMMON_LOG_PEAKLOAD_CONTROL to None, and the level at peak load to "
            "that of normal operation"));
}

TEST(CommonctlSettings, WhatCountsAtTheStartOnlyIsWrongInAFileThatIsReadLater)
{
    const std::string kLine = "COMMON_LOG_FORMAT=All\n";
    const std::string kIgnored = "ignored: COMMON_LOG_FORMAT counts at the start of a process only";
    EXPECT_THAT(said_of(kLine, FileUse::AtStart), ElementsAre("1: sets COMMON_LOG_FORMAT to All"));
    EXPECT_THAT(said_of(kLine, FileUse::Again), ElementsAre("1!: " + kIgnored));
    EXPECT_THAT(
        said_of(kLine, FileUse::Both),
        ElementsAre("1: at the start: sets COMMON_LOG_FORMAT to All; read again: " + kIgnored));
    EXPECT_EQ(commonctl::use_of("image/config/common/log/settings.txt"), FileUse::AtStart);
    EXPECT_EQ(commonctl::use_of("/tmp/common/log/settings_12.txt"), FileUse::Again);
    for (const char* path : {kShared, "settings_.txt", "settings_1a.txt", "-", "settings_12"}) {
        EXPECT_EQ(commonctl::use_of(path), FileUse::Both) << path;
    }
}

TEST(CommonctlSettings, PartsOfALongLineAreLinesOfTheirOwn)
{
    const std::string kPieces = " (a line is read in pieces of 255 characters, each as a line)";
    EXPECT_THAT(
        said_of(std::string(255, '#') + "COMMON_LOG_LEVEL=Warn\n", FileUse::Both),
        ElementsAre("1: a remark: ignored", "1.256!: sets COMMON_LOG_LEVEL to Warn" + kPieces));
    EXPECT_THAT(said_of(std::string(600, '#') + "\n", FileUse::Both),
                ElementsAre("1: a remark: ignored", "1.256: a remark: ignored",
                            "1.511: a remark: ignored"));
    EXPECT_THAT(said_of("COMMON_LOG_LEVEL=Warn" + std::string(234, '#') + "x\nx", FileUse::Both),
                ElementsAre(StartsWith("1!: changes nothing"),
                            "1.256!: ignored: it has no '='" + kPieces,
                            "2!: ignored: it has no '='"));
}

Outcome settings(const std::vector<std::string>& arguments, const FreshSetup& setup = kNoDaemon)
{
    std::vector<std::string> words{COMMONCTL, "settings"};
    words.insert(words.end(), arguments.begin(), arguments.end());
    return run_program(setup, words);
}

TEST(CommonctlSettings, ExitStatusTellsWhetherALineIsWrong)
{
    const FreshSetup setup{.files = {{"/tmp/good", "COMMON_LOG_LEVEL=Warn\n"},
                                     {"/tmp/bad", "# why\n\nCOMMON_LOG_LEVEL=Loud\n"}},
                           .open_log_socket = false};
    const Outcome good = settings({"/tmp/good"}, setup);
    EXPECT_THAT(good, exited(0));
    EXPECT_EQ(good.out, "/tmp/good: read at the start of a process, and while it runs\n"
                        "    1  COMMON_LOG_LEVEL=Warn  sets COMMON_LOG_LEVEL to Warn\n");
    const Outcome bad = settings({"/tmp/bad", "/tmp/good"}, setup);
    EXPECT_THAT(bad, exited(1));
    EXPECT_THAT(bad.out,
                HasSubstr("\n    2\n    3  COMMON_LOG_LEVEL=Loud  WRONG: changes nothing: "));
    EXPECT_EQ(bad.err, "");
    EXPECT_THAT(settings({"--color=always", "/tmp/bad"}, setup).out, HasSubstr("\033[31m    3"));
}

TEST(CommonctlSettings, ReadsStandardInputAndTheUsualFiles)
{
    const Outcome input = run_program(
        kNoDaemon, {"sh", "-c", "printf 'COMMON_LOG_LEVEL=Warn' | " COMMONCTL " settings -"});
    EXPECT_THAT(input, exited(0));
    EXPECT_THAT(input.out, HasSubstr("sets COMMON_LOG_LEVEL to Warn\n"));

    const Outcome usual =
        settings({}, {.files = {{kConfigured, "COMMON_LOG_FORMAT=All"}}, .open_log_socket = false});
    EXPECT_THAT(usual, exited(0));
    EXPECT_EQ(usual.out, std::string(kConfigured) +
                             ": read at the start of a process\n"
                             "    1  COMMON_LOG_FORMAT=All  sets COMMON_LOG_FORMAT to All\n" +
                             kShared + ": there is none\n");
}

TEST(CommonctlSettings, ALinkIsFollowedAsProcessesFollowIt)
{
    const FreshSetup setup{
        .files = {{"/tmp/common/log/other.txt", "COMMON_LOG_LEVEL=Warn\n"}},
        .open_log_socket = false,
        .prepare = [] { std::filesystem::create_symlink("other.txt", kShared); }};
    EXPECT_THAT(settings({}, setup).out, HasSubstr("sets COMMON_LOG_LEVEL to Warn\n"));
}

TEST(CommonctlSettings, HostileBytesDoNotReachTheTerminal)
{
    const FreshSetup setup{
        .files = {{"/tmp/file", "\033[2J\001\nCOMMON_LOG_\033=1\nCOMMON_LOG_LEVEL=\033[2J\n"}},
        .open_log_socket = false};
    const Outcome outcome = settings({"/tmp/file"}, setup);
    EXPECT_THAT(outcome, exited(1));
    EXPECT_THAT(outcome.out, testing::Not(HasSubstr("\033")));
    EXPECT_THAT(outcome.out, HasSubstr("\\x1b[2J\\x01"));
}

TEST(CommonctlSettings, WhatCannotBeReadIsToldInOneLine)
{
    for (const char* path : {"/tmp/none", "/tmp"}) {
        const Outcome outcome = settings({path});
        EXPECT_THAT(outcome, exited(1));
        EXPECT_THAT(outcome.err,
                    AllOf(StartsWith(std::string("commonctl: ") + path), EndsWith("\n")));
    }
    EXPECT_THAT(settings({"--pid", "1", "/tmp/x"}), exited(2));
    EXPECT_THAT(settings({"--pid", "-1"}), exited(2));
    EXPECT_THAT(settings({"--pid=99999999"}).err, HasSubstr("there is no process 99999999"));
}

TEST(CommonctlSettings, ChecksWhatAppliesToAProcess)
{
    const FreshSetup setup{.env = {{"COMMON_LOG_LEVEL", "Warn"}, {"COMMON_LOG_LEVEL2", "Warn"}},
                           .files = {{kConfigured, "COMMON_LOG_STRIP=False\n"}},
                           .open_log_socket = false};
    const Outcome outcome =
        run_program(setup, {"sh", "-c",
                            COMMONCTL " settings --pid $$ ; " COMMONCTL
                                      " listen --socket=/tmp/socket --output=/tmp/records & "
                                      "while ! test -S /tmp/socket; do sleep 0.01; done; " COMMONCTL
                                      " settings --pid $!; echo $?; kill $!"});
    EXPECT_THAT(outcome.err, HasSubstr("has not loaded the library"));  // the shell
    EXPECT_THAT(outcome.out,
                AllOf(HasSubstr("COMMON_LOG_STRIP=False  sets COMMON_LOG_STRIP to False\n"),
                      HasSubstr("COMMON_LOG_LEVEL=Warn   sets COMMON_LOG_LEVEL to Warn\n"),
                      HasSubstr("COMMON_LOG_LEVEL2=Warn  WRONG: ignored: no setting"),
                      HasSubstr("Level Warn, as far as environment and files tell; peakload "
                                "control is None"),
                      EndsWith("\n1\n")));
}

}  // namespace
