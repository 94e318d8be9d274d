// The media scanner as its user sees it: exit status, summary, and the records that arrive.
#include <array>
#include <cstdint>
#include <filesystem>
#include <linux/capability.h>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <sys/prctl.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fresh_process.h"
#include "log_layout.h"

namespace {

using namespace bench;
using testing::AllOf;
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
    std::vector<Record> records;
    for (const LogRecord& arrived : outcome.log) {
        const Record record = parse(arrived);
        if (record.file == "main.cpp" || record.file == "scan.cpp" ||
            record.file == "summary.cpp") {
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

Outcome scan(const Setup& setup, const std::string& folder = kTree)
{
    return run_program(setup, {MEDIA_SCANNER, folder});
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
    // The starts of the four threads come before the detailed stretch; four entries are readable.
    EXPECT_THAT(level_counts(outcome, 1),
                UnorderedElementsAre(Pair("Debug", 4), Pair("Verbose", 4)));
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

}  // namespace
