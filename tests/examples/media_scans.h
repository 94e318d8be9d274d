// Scans of the media scanner as its user sees them: what it is run over, its summary, and the
// records that arrive.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <linux/capability.h>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <sys/prctl.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fresh_process.h"
#include "log_layout.h"

namespace media_scans {

using namespace harness;

inline constexpr char kTree[] = "/tmp/media";

/// A record in whichever of the scanner's three layouts it is.
struct Record : LayoutFields {
    std::string layout;
};

inline Record parse(const LogRecord& record)
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
inline std::vector<Record> records_of_scanner(const Outcome& outcome)
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
inline std::vector<std::string> fields(const Outcome& outcome, const std::string& level,
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

inline std::vector<std::string> messages(const Outcome& outcome, const std::string& level)
{
    return fields(outcome, level, &Record::message);
}

inline std::vector<std::string> layouts(const Outcome& outcome, const std::string& level)
{
    return fields(outcome, level, &Record::layout);
}

using Counts = std::map<std::string, std::uint64_t>;

/// A part of the summary, which has empty lines between them.
inline std::string section(const Outcome& outcome, int index)
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
inline Counts found(const Outcome& outcome)
{
    Counts counts;
    std::istringstream lines{section(outcome, 0)};
    std::string line;
    std::getline(lines, line);
    EXPECT_THAT(line, testing::MatchesRegex("Scanned /tmp/media in [0-9]+\\.[0-9]{3} s"));
    std::string name;
    for (std::uint64_t count = 0; lines >> name >> count;) {
        counts[name] = count;
    }
    return counts;
}

/// Column 0 (accepted) or 1 (rejected) of the summary's table of levels, without the zeros.
inline Counts level_counts(const Outcome& outcome, std::size_t column)
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
inline Counts arrived(const Outcome& outcome)
{
    Counts counts;
    for (const Record& record : records_of_scanner(outcome)) {
        ++counts[record.level];
    }
    return counts;
}

/// Without records of progress, of which there are as many as the scan takes time.
inline Outcome scan(const Setup& setup, const std::string& folder = kTree)
{
    return run_program(setup, {MEDIA_SCANNER, folder, "--interval=0"});
}

/// Two folders, one with a folder below it and one with links and a folder that nobody may read.
inline Setup known_tree()
{
    Setup setup;
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

/// Runs the scanner over the tree with options behind the folder.
inline Outcome scan_with(const std::vector<std::string>& options, const Setup& setup = known_tree())
{
    std::vector<std::string> line{MEDIA_SCANNER, kTree, "--interval=0"};
    line.insert(line.end(), options.begin(), options.end());
    return run_program(setup, line);
}

}  // namespace media_scans
