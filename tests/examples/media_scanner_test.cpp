// The media scanner as its user sees it: exit status, summary, and the records that arrive.
#include <array>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <linux/capability.h>
#include <map>
#include <optional>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <sys/prctl.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fresh_process.h"
#include "log_layout.h"
#include "mem_malloc.h"
#include "oxavar.h"

namespace {

using namespace bench;
using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;

constexpr char kTree[] = "/tmp/media";

/// A record in whichever of the scanner's three layouts it is.
struct Record : LayoutFields {
    std::string layout;
};

Record parse(const LogRecord& record)
{
    if (const auto fields = parse_syslogngext(record.text)) {
        return {*fields, "Syslogngext"};
    }
    if (const auto fields = parse_columns(record.text)) {
        return {*fields, "Columns"};
    }
    if (const auto fields = parse_legacy(record.text)) {
        return {*fields, "Legacy"};
    }
    ADD_FAILURE() << "in none of the layouts: " << record.text;
    return {};
}

/// The records that the scanner itself wrote, without those of the library.
std::vector<Record> records_of_scanner(const Outcome& outcome)
{
    static const std::set<std::string> kFiles{"control.cpp", "main.cpp",    "progress.cpp",
                                              "scan.cpp",    "summary.cpp", "watch.cpp"};
    std::vector<Record> records;
    for (const LogRecord& arrived : outcome.log) {
        const Record record = parse(arrived);
        if (kFiles.count(record.file) != 0) {
            records.push_back(record);
        }
    }
    return records;
}

/// One field of the scanner's records of a level.
std::vector<std::string> fields(const Outcome& outcome, const std::string& level,
                                std::string Record::*field)
{
    std::vector<std::string> texts;
    for (const Record& record : records_of_scanner(outcome)) {
        if (record.level == level) {
            texts.push_back(record.*field);
        }
    }
    return texts;
}

std::vector<std::string> messages(const Outcome& outcome, const std::string& level)
{
    return fields(outcome, level, &Record::message);
}

std::vector<std::string> layouts(const Outcome& outcome, const std::string& level)
{
    return fields(outcome, level, &Record::layout);
}

using Counts = std::map<std::string, std::uint64_t>;

/// A part of the summary, which has empty lines between them.
std::string section(const Outcome& outcome, int index)
{
    std::size_t begin = 0;
    for (; index > 0; --index) {
        const std::size_t end = outcome.out.find("\n\n", begin);
        if (end == std::string::npos) {
            ADD_FAILURE() << "too short: " << outcome.out;
            return {};
        }
        begin = end + 2;
    }
    const std::size_t end = outcome.out.find("\n\n", begin);
    return outcome.out.substr(begin, end == std::string::npos ? end : end - begin);
}

/// What the summary says above its table of levels.
Counts found(const Outcome& outcome)
{
    Counts counts;
    std::istringstream lines{section(outcome, 0)};
    std::string line;
    std::getline(lines, line);
    EXPECT_TRUE(std::regex_match(line, std::regex{"Scanned /tmp/media in [0-9]+\\.[0-9]{3} s"}))
        << line;
    std::string name;
    for (std::uint64_t count = 0; lines >> name >> count;) {
        counts[name] = count;
    }
    return counts;
}

/// Column 0 (accepted) or 1 (rejected) of the summary's table of levels, without the zeros.
Counts level_counts(const Outcome& outcome, std::size_t column)
{
    Counts counts;
    std::istringstream lines{section(outcome, 1)};
    std::string name;
    lines >> name >> name >> name;
    EXPECT_EQ(name, "rejected");
    for (std::array<std::uint64_t, 2> row{}; lines >> name >> row[0] >> row[1];) {
        if (row[column] != 0) {
            counts[name] = row[column];
        }
    }
    return counts;
}

/// How many records of each level arrived.
Counts arrived(const Outcome& outcome)
{
    Counts counts;
    for (const Record& record : records_of_scanner(outcome)) {
        ++counts[record.level];
    }
    return counts;
}

/// Without records of progress, of which there are as many as the scan takes time.
Outcome scan(const Setup& setup, const std::string& folder = kTree)
{
    return run_program(setup, {MEDIA_SCANNER, folder, "--interval=0"});
}

/// Two folders, one with a folder below it and one with links and a folder that nobody may read.
Setup known_tree()
{
    bench::Setup setup;
    setup.files = {{"/tmp/media/music/one", "0123456789"},
                   {"/tmp/media/music/two", "01234"},
                   {"/tmp/media/music/deep/empty", ""},
                   {"/tmp/media/other/locked/hidden", "never seen"}};
    setup.prepare = [] {
        namespace fs = std::filesystem;
        fs::create_symlink("..", "/tmp/media/other/loop");
        fs::create_symlink("nowhere", "/tmp/media/other/dangling");
        fs::permissions("/tmp/media/other/locked", fs::perms::none);
        // Root reads everything unless the programs that it starts may not. For other users, who
        // may not give up what they do not have, the permissions are enough.
        prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE);
        prctl(PR_CAPBSET_DROP, CAP_DAC_READ_SEARCH);
    };
    return setup;
}

TEST(MediaScanner, CountsWhatIsThere)
{
    const Outcome outcome = scan(known_tree());
    EXPECT_THAT(outcome, exited(0));
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(found(outcome),
                UnorderedElementsAre(Pair("folders", 4), Pair("files", 3), Pair("links", 2),
                                     Pair("bytes", 15), Pair("unreadable", 2)));
}

TEST(MediaScanner, CountsTheMediaFilesOfEachKind)
{
    bench::Setup setup;
    setup.files = {{"/tmp/media/a.mp3", "123"},     {"/tmp/media/b.MP3", "4567"},
                   {"/tmp/media/deep/c.mp3", "89"}, {"/tmp/media/deep/d.Jpeg", "1"},
                   {"/tmp/media/e.txt", "12345"},   {"/tmp/media/f.mp3.part", "1"},
                   {"/tmp/media/mp3", "1"},         {"/tmp/media/g.ogg", ""}};
    const Outcome outcome = scan(setup);
    EXPECT_THAT(outcome, exited(0));
    EXPECT_EQ(section(outcome, 2), "media             files        bytes\n"
                                   "mp3                   3            9\n"
                                   "jpeg                  1            1\n"
                                   "ogg                   1            0");
    EXPECT_EQ(section(outcome, 3),
              "{\"/tmp/media\", {\"folders\", 2}, {\"files\", 8}, {\"links\", 0}, "
              "{\"unreadable\", 0}, {{\"mp3\", 3}, {\"jpeg\", 1}, {\"ogg\", 1}}}\n");
}

TEST(MediaScanner, WarnsOfWhatItCannotRead)
{
    EXPECT_THAT(
        messages(scan(known_tree()), "Warn"),
        UnorderedElementsAre("Cannot read /tmp/media/other/dangling: No such file or directory (2)",
                             "Cannot read /tmp/media/other/locked: Permission denied (13)"));
}

TEST(MediaScanner, EveryAcceptedRecordArrives)
{
    const Outcome outcome = scan(known_tree());
    EXPECT_EQ(arrived(outcome), level_counts(outcome, 0));
    EXPECT_THAT(level_counts(outcome, 0), UnorderedElementsAre(Pair("Warn", 2), Pair("Note", 4),
                                                               Pair("Info", 2), Pair("Debug", 4)));
    // The starts of the five threads come before the detailed stretch; four entries are readable.
    EXPECT_THAT(level_counts(outcome, 1),
                UnorderedElementsAre(Pair("Debug", 5), Pair("Verbose", 4)));
}

TEST(MediaScanner, ChangesLevelAndLayoutAtTheNotes)
{
    const Outcome outcome = scan(known_tree());
    EXPECT_THAT(messages(outcome, "Note"),
                ElementsAre("Scan of /tmp/media starts", "Level Debug and layout Columns from here",
                            "Level Info and the layout from before again",
                            "Scan of /tmp/media ended: 4 folders, 3 files, 2 unreadable"));
    EXPECT_THAT(layouts(outcome, "Note"),
                ElementsAre("Syslogngext", "Syslogngext", "Syslogngext", "Legacy"));
    EXPECT_THAT(layouts(outcome, "Debug"), Each("Columns"));
}

TEST(MediaScanner, ShowsTheLogSettingsOnce)
{
    const Outcome outcome = scan(known_tree());
    EXPECT_EQ(outcome.log.size(), records_of_scanner(outcome).size() + 11);
}

TEST(MediaScanner, LogsOnlyTheFirstThirtyFoldersOneByOne)
{
    bench::Setup setup;
    for (int folder = 0; folder < 100; ++folder) {
        setup.files["/tmp/media/" + std::to_string(folder) + "/file"] = "x";
    }
    const Outcome outcome = scan(setup);
    EXPECT_THAT(outcome, exited(0));
    EXPECT_EQ(found(outcome)["folders"], 101u);
    EXPECT_EQ(messages(outcome, "Debug").size(), 30u);
    EXPECT_EQ(messages(outcome, "Info").size(), 100u);
    EXPECT_EQ(arrived(outcome), level_counts(outcome, 0));
}

TEST(MediaScanner, KeepsTheLevelThatItsUserChose)
{
    bench::Setup setup = known_tree();
    setup.env["COMMON_LOG_LEVEL"] = "Warn";
    const Outcome outcome = scan(setup);
    EXPECT_THAT(outcome, exited(0));
    EXPECT_EQ(outcome.log.size(), 2u);
    EXPECT_THAT(level_counts(outcome, 0), UnorderedElementsAre(Pair("Warn", 2)));
}

TEST(MediaScanner, ReportsAFolderThatItCannotOpen)
{
    bench::Setup setup;
    setup.files["/tmp/media/file"] = "x";
    for (const auto& [folder, why] : {std::pair{"/tmp/media/none", "No such file or directory (2)"},
                                      std::pair{"/tmp/media/file", "Not a directory (20)"}}) {
        const Outcome outcome = scan(setup, folder);
        EXPECT_THAT(outcome, exited(1));
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(outcome.err, HasSubstr(folder));
        EXPECT_THAT(
            records_of_scanner(outcome),
            ElementsAre(
                AllOf(Field(&Record::level, "Error"), Field(&Record::zone, "SCANNER"),
                      Field(&Record::message, std::string{"Cannot scan "} + folder + ": " + why))));
    }
}

TEST(MediaScanner, ExplainsItsUsage)
{
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{}, {"/tmp", "/tmp"}, {"-x"}, {""}}) {
        std::vector<std::string> line{MEDIA_SCANNER};
        line.insert(line.end(), arguments.begin(), arguments.end());
        const Outcome outcome = run_program({}, line);
        EXPECT_THAT(outcome, exited(2));
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(outcome.err, HasSubstr("usage: media_scanner FOLDER"));
        EXPECT_THAT(outcome.log, IsEmpty());
    }
    const Outcome help = run_program({}, {MEDIA_SCANNER, "--help"});
    EXPECT_THAT(help, exited(0));
    EXPECT_THAT(help.out, HasSubstr("usage: media_scanner FOLDER"));
}

/// Runs the scanner over the tree with options behind the folder.
Outcome scan_with(const std::vector<std::string>& options, const Setup& setup = known_tree())
{
    std::vector<std::string> line{MEDIA_SCANNER, kTree, "--interval=0"};
    line.insert(line.end(), options.begin(), options.end());
    return run_program(setup, line);
}

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
    bench::Setup setup;
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
    bench::Setup setup = known_tree();
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

/// Whether a signal is on its way to a process that holds it back.
bool is_pending(pid_t process, int signal)
{
    std::ifstream status{"/proc/" + std::to_string(process) + "/status"};
    for (std::string key; status >> key;) {
        if (key == "ShdPnd:") {
            std::uint64_t pending = 0;
            status >> std::hex >> pending;
            return (pending >> (signal - 1) & 1) != 0;
        }
    }
    return false;
}

/// The known tree, for a scanner that finds an interrupt when it starts, and gets another signal
/// when it has taken that.
Setup interrupted_tree(int next_signal)
{
    Setup setup = known_tree();
    setup.prepare = [make_tree = setup.prepare, next_signal] {
        make_tree();
        sigset_t interrupt;
        sigemptyset(&interrupt);
        sigaddset(&interrupt, SIGINT);
        sigprocmask(SIG_BLOCK, &interrupt, nullptr);
        const pid_t scanner = getpid();
        kill(scanner, SIGINT);
        if (fork() == 0) {
            while (is_pending(scanner, SIGINT)) {
                usleep(1000);
            }
            kill(scanner, next_signal);
            _exit(0);
        }
    };
    return setup;
}

TEST(MediaScannerControl, PausesAtAnInterruptAndGoesOn)
{
    const Outcome outcome = scan(interrupted_tree(SIGCONT));
    EXPECT_THAT(outcome, exited(0));
    EXPECT_THAT(messages(outcome, "Note"),
                ElementsAre("Scan of /tmp/media starts",
                            "Scan paused: SIGCONT goes on, another interrupt ends it",
                            "Scan goes on", "Level Debug and layout Columns from here",
                            "Level Info and the layout from before again",
                            "Scan of /tmp/media ended: 4 folders, 3 files, 2 unreadable"));
    EXPECT_EQ(found(outcome), found(scan(known_tree())));
}

TEST(MediaScannerControl, GivesUpAtASecondInterrupt)
{
    const Outcome outcome = scan(interrupted_tree(SIGINT));
    EXPECT_THAT(outcome, exited(128 + SIGINT));
    EXPECT_THAT(messages(outcome, "Note"),
                ElementsAre("Scan of /tmp/media starts",
                            "Scan paused: SIGCONT goes on, another interrupt ends it",
                            "Level Debug and layout Columns from here",
                            "Level Info and the layout from before again",
                            "Scan of /tmp/media was given up: 0 folders, 0 files, 0 unreadable"));
    EXPECT_THAT(found(outcome),
                UnorderedElementsAre(Pair("folders", 0), Pair("files", 0), Pair("links", 0),
                                     Pair("bytes", 0), Pair("unreadable", 0)));
}

TEST(MediaScannerControl, TellsOfItsProgress)
{
    bench::Setup setup;
    for (int folder = 0; folder < 3000; ++folder) {
        setup.files["/tmp/media/" + std::to_string(folder) + "/file"] = "x";
    }
    const Outcome outcome = run_program(setup, {MEDIA_SCANNER, kTree, "--interval", "1"});
    EXPECT_THAT(outcome, exited(0));
    EXPECT_EQ(found(outcome)["files"], 3000u);
    EXPECT_THAT(messages(outcome, "Info"),
                Contains(testing::MatchesRegex("Progress: [0-9]+ folders, [0-9]+ files")));
    // There is no terminal to show a line on.
    EXPECT_EQ(outcome.err, "");
}

}  // namespace
