// The command line of the media scanner.
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "media_scans.h"
#include "mem_malloc.h"
#include "oxavar.h"

namespace {

using namespace media_scans;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;

TEST(MediaScannerOptions, HelpNamesEveryOption)
{
    for (const char* const option : {"--help", "-h", "--he"}) {
        const Outcome help = scan_with({option});
        EXPECT_THAT(help, exited(0));
        EXPECT_EQ(help.err, "");
        for (const char* const text :
             {"--pattern EXPR", "--threads N", "--layout NAME", "--level NAME", "--interval MS",
              "--report FILE", "--help", "Ctrl-C pauses",
              "Legacy, All, Columns, Syslogng, Syslogngext",
              "Fatal, Critical, Error, Warn, Note"}) {
            EXPECT_THAT(help.out, HasSubstr(text));
        }
        EXPECT_THAT(help.log, IsEmpty());
    }
}

TEST(MediaScannerOptions, PatternChoosesTheFilesThatCount)
{
    harness::Setup setup;
    setup.files = {{"/tmp/media/track1.mp3", "123"},
                   {"/tmp/media/track22.mp3", "4567"},
                   {"/tmp/media/deep.mp3/track3.ogg", "89"},
                   {"/tmp/media/Track4.mp3", "1"}};
    const Outcome outcome = scan_with({"--pattern", "^track\\d\\.(mp3|ogg)$"}, setup);
    EXPECT_THAT(outcome, exited(0));
    // Folders are scanned whatever their names.
    EXPECT_THAT(found(outcome),
                UnorderedElementsAre(Pair("folders", 2), Pair("files", 2), Pair("links", 0),
                                     Pair("bytes", 5), Pair("unreadable", 0)));
    EXPECT_EQ(section(outcome, 2), "media             files        bytes\n"
                                   "mp3                   1            3\n"
                                   "ogg                   1            2");
    // What does not count is not examined.
    EXPECT_THAT(messages(outcome, "Debug"),
                UnorderedElementsAre("Examined /tmp/media: 1 of 1 readable",
                                     "Examined /tmp/media/deep.mp3: 1 of 1 readable"));
    EXPECT_EQ(found(scan_with({"-p", "nothing"}, setup))["files"], 0u);
    EXPECT_EQ(found(scan_with({"--pattern="}, setup))["files"], 4u);
}

TEST(MediaScannerOptions, PatternThatDoesNotCompileIsTold)
{
    for (const char* const pattern : {"(", "[a", "*{", "a\\"}) {
        const Outcome outcome = scan_with({"--pattern", pattern});
        EXPECT_THAT(outcome, exited(2));
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(outcome.err, testing::StartsWith("media_scanner: '" + std::string(pattern) +
                                                     "' is no regular expression: "));
        EXPECT_THAT(outcome.log, IsEmpty());
    }
    EXPECT_EQ(scan_with({"--pattern=("}).err,
              "media_scanner: '(' is no regular expression: Unmatched ( or \\(\n");
}

TEST(MediaScannerOptions, ThreadsAreAsManyAsAskedFor)
{
    harness::Setup setup = known_tree();
    setup.env["COMMON_LOG_LEVEL"] = "Debug";
    for (const auto& [options, examiners] : {std::pair<std::vector<std::string>, int>{{}, 3},
                                             {{"--threads", "1"}, 1},
                                             {{"--threads=16"}, 16},
                                             {{"-t4"}, 4},
                                             {{"-t", "016"}, 16}}) {
        const Outcome outcome = scan_with(options, setup);
        EXPECT_THAT(outcome, exited(0));
        EXPECT_EQ(found(outcome)["files"], 3u);
        std::vector<std::string> expected;
        for (int examiner = 1; examiner <= examiners; ++examiner) {
            expected.push_back("Thread 'examiner-" + std::to_string(examiner) + "' starts");
        }
        expected.emplace_back("Thread 'counter' starts");
        expected.emplace_back("Thread 'finder' starts");
        std::vector<std::string> starts;
        for (const std::string& message : messages(outcome, "Debug")) {
            if (message.starts_with("Thread ")) {
                starts.push_back(message);
            }
        }
        EXPECT_EQ(starts, expected);
    }
}

TEST(MediaScannerOptions, WrongValuesAreTold)
{
    const struct {
        const char* option;
        const char* value;
        const char* problem;
    } kCases[] = {
        {"--threads", "0", "is no number of threads from 1 to 16"},
        {"--threads", "17", "is no number of threads from 1 to 16"},
        {"--threads", "-1", "is no number of threads from 1 to 16"},
        {"--threads", "+1", "is no number of threads from 1 to 16"},
        {"--threads", " 1", "is no number of threads from 1 to 16"},
        {"--threads", "1x", "is no number of threads from 1 to 16"},
        {"--threads", "", "is no number of threads from 1 to 16"},
        {"--threads", "4294967297", "is no number of threads from 1 to 16"},
        {"--threads", "99999999999999999999", "is no number of threads from 1 to 16"},
        {"--interval", "3600001", "is no number of milliseconds from 0 to 3600000"},
        {"--interval", "-1", "is no number of milliseconds from 0 to 3600000"},
        {"--interval", "1s", "is no number of milliseconds from 0 to 3600000"},
        {"--interval", "", "is no number of milliseconds from 0 to 3600000"},
        {"--layout", "None", "is no layout of records"},
        {"--layout", "Syslog", "is no layout of records"},
        {"--layout", "", "is no layout of records"},
        {"--level", "None", "is no level of records"},
        {"--level", "5", "is no level of records"},
        {"--level", "", "is no level of records"},
    };
    for (const auto& each : kCases) {
        const Outcome outcome = scan_with({each.option, each.value});
        EXPECT_THAT(outcome, exited(2));
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err,
                  std::string("media_scanner: '") + each.value + "' " + each.problem + "\n");
        EXPECT_THAT(outcome.log, IsEmpty());
    }
}

TEST(MediaScannerOptions, LayoutIsThatOfAllRecords)
{
    const struct {
        const char* name;
        std::optional<LayoutFields> (*parse)(std::string_view);
    } kCases[] = {{"Legacy", parse_legacy},           {"All", parse_all},
                  {"Columns", parse_columns},         {"Syslogng", parse_syslogng},
                  {"Syslogngext", parse_syslogngext}, {"COLUMNS", parse_columns}};
    for (const auto& each : kCases) {
        const Outcome outcome = scan_with({"--layout", each.name});
        EXPECT_THAT(outcome, exited(0));
        // Two notes at both ends, two around what is shown in detail, with what is in it.
        EXPECT_GE(outcome.log.size(), 12u);
        for (const LogRecord& record : outcome.log) {
            EXPECT_TRUE(each.parse(record.text)) << each.name << ": " << record.text;
        }
    }
}

TEST(MediaScannerOptions, LevelIsThatOfTheWholeScan)
{
    const struct {
        const char* name;
        Counts levels;
    } kCases[] = {
        {"Fatal", {}},
        {"warn", {{"Warn", 2}}},
        {"Note", {{"Warn", 2}, {"Note", 2}}},
        {"Info", {{"Warn", 2}, {"Note", 2}, {"Info", 2}}},
        {"Debug", {{"Warn", 2}, {"Note", 2}, {"Info", 2}, {"Debug", 9}}},
        {"Verbose", {{"Warn", 2}, {"Note", 2}, {"Info", 2}, {"Debug", 9}, {"Verbose", 4}}},
    };
    for (const auto& each : kCases) {
        const Outcome outcome = scan_with({"--level", each.name});
        EXPECT_THAT(outcome, exited(0));
        EXPECT_EQ(arrived(outcome), each.levels) << each.name;
        EXPECT_EQ(level_counts(outcome, 0), each.levels) << each.name;
    }
}

TEST(MediaScannerOptions, MayStandOnBothSidesOfTheFolder)
{
    const Outcome outcome =
        run_program(known_tree(), {MEDIA_SCANNER, "--level=Warn", kTree, "-p", "^one$"});
    EXPECT_THAT(outcome, exited(0));
    EXPECT_EQ(found(outcome)["files"], 1u);
    EXPECT_THAT(arrived(outcome), UnorderedElementsAre(Pair("Warn", 1)));
    EXPECT_THAT(run_program(known_tree(), {MEDIA_SCANNER, "--", kTree}), exited(0));
}

TEST(MediaScannerOptions, MisuseIsToldByTheParser)
{
    const struct {
        std::vector<std::string> options;
        const char* diagnostic;
    } kCases[] = {
        {{"-x"}, "media_scanner: unknown option -- x\n"},
        {{"--none"}, "media_scanner: unknown option -- none\n"},
        {{"--l", "Warn"}, "media_scanner: ambiguous option -- l\n"},
        {{"--level"}, "media_scanner: option requires an argument -- level\n"},
        {{"-t"}, "media_scanner: option requires an argument -- t\n"},
        {{"--help=me"}, "media_scanner: option does not take an argument -- help\n"},
        {{"/tmp"}, ""},
        {{"--", "-x"}, ""},
    };
    for (const auto& each : kCases) {
        const Outcome outcome = scan_with(each.options);
        EXPECT_THAT(outcome, exited(2));
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(outcome.err, testing::StartsWith(std::string(each.diagnostic) +
                                                     "usage: media_scanner FOLDER"));
        EXPECT_THAT(outcome.log, IsEmpty());
    }
}

TEST(MediaScannerOptions, ReportIsTheSummaryForAnotherProcess)
{
    const std::string line = std::string{MEDIA_SCANNER} +
                             " /tmp/media --interval=0 --report=/tmp/report >/tmp/out && "
                             "cat /tmp/report && printf '<end>' && tail -n 1 /tmp/out";
    const Outcome outcome = run_program(known_tree(), {"/bin/sh", "-c", line});
    EXPECT_THAT(outcome, exited(0));
    const std::size_t end = outcome.out.find("<end>");
    ASSERT_NE(end, std::string::npos);
    COMMON_OXAVar summary{};
    std::uint32_t consumed = 0;
    EXPECT_EQ(COMMON_OXAVarDeserializeBounded(outcome.out.data(), static_cast<std::uint32_t>(end),
                                              &summary, &consumed),
              std::uint32_t{STATUS_SUCCESS});
    EXPECT_EQ(consumed, end);
    char* const text = COMMON_OXAVarToString(&summary);
    EXPECT_EQ(std::string{text} + "\n", outcome.out.substr(end + 5));
    EXPECT_THAT(text, HasSubstr("{\"files\", 3}"));
    MEM_Free(text);
    COMMON_OXAVarClear(&summary);
}

TEST(MediaScannerOptions, ReportThatCannotBeWrittenIsTold)
{
    const Outcome outcome = scan_with({"--report", "/tmp/none/report"});
    EXPECT_THAT(outcome, exited(1));
    EXPECT_EQ(outcome.err, "media_scanner: cannot write /tmp/none/report\n");
}

}  // namespace
