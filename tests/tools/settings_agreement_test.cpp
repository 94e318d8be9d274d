// What the tool makes of settings files is what the library makes of them.
#include <fcntl.h>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>

#include <common/common_log_settings.h>

#include "fresh_process.h"
#include "processes/settings_model.h"
#include "wait_until.h"

using namespace harness;
using commonctl::Effect;
using commonctl::LogSettings;
using commonctl::Reading;
using testing::EndsWith;

namespace {

constexpr char kShared[] = "/tmp/common/log/settings.txt";

/// Lines of all kinds, each with a case of its own.
const std::vector<std::string>& lines_of_all_kinds()
{
    static const std::vector<std::string> lines{
        "COMMON_LOG_CACHE=False",
        "COMMON_LOG_CACHE=yes",
        "COMMON_LOG_COLOR=TRUE",
        "COMMON_LOG_ENABLE=true",
        "COMMON_LOG_ENABLE=1",
        "COMMON_LOG_STRIP=fALSE",
        "COMMON_LOG_STRIP=",
        "COMMON_LOG_FORMAT=columns",
        "COMMON_LOG_FORMAT=Column",
        "COMMON_LOG_LEGACY=True",
        "COMMON_LOG_LEGACY=no",
        "COMMON_LOG_LEVEL=debug",
        "COMMON_LOG_LEVEL=Default",
        "COMMON_LOG_LEVEL=6",
        "COMMON_LOG_LEVEL=Debug ",
        "COMMON_LOG_LEVEL= Debug",
        "COMMON_LOG_LEVEL =Debug",
        "COMMON_LOG_LEVEL=Debug\r",
        "COMMON_LOG_LEVEL==Debug",
        "COMMON_LOG_LEVEL_PEAKLOAD=Error",
        "COMMON_LOG_LEVEL_PEAKLOA=Error",
        "COMMON_LOG_LEVEL_=Verbose",
        "COMMON_LOG_LEVEL_PEAKLOADS=Error",
        "COMMON_LOG_PEAKLOAD_CONTROL=off",
        "COMMON_LOG_PEAKLOAD_CONTROL=ON",
        "COMMON_LOG_PEAKLOAD_CONTROL=Offf",
        "COMMON_LOG_PEAK=On",
        "COMMON_LOG_PEAKLOAD_G=7",
        "COMMON_LOG_P=Off",
        "COMMON_LOG_PEAKLOAD_GRANULARITY=0x10",
        "COMMON_LOG_PEAKLOAD_GRANULARITY=010",
        "COMMON_LOG_PEAKLOAD_GRANULARITY=10ms",
        "COMMON_LOG_PEAKLOAD_GRANULARITY=+10",
        "COMMON_LOG_PEAKLOAD_GRANULARITY= 10",
        "COMMON_LOG_PEAKLOAD_GRANULARITY=-1",
        "COMMON_LOG_=False",
        "COMMON_LOG_C=False",
        "COMMON_LOG_L=False",
        "COMMON_LOG_LE=Debug",
        "COMMON_LOG_F=All",
        "COMMON_LOG_X=1",
        "COMMON_LOG=False",
        "common_log_level=Debug",
        " COMMON_LOG_LEVEL=Debug",
        "export COMMON_LOG_LEVEL=Debug",
        "LEVEL=Debug",
        "COMMON_LOG_LEVEL",
        "COMMON_LOG_LEVEL:Debug",
        "=",
        "=COMMON_LOG_LEVEL",
        "# COMMON_LOG_LEVEL=Debug",
        "",
        std::string("COMMON_LOG_LEVEL=Debug\0rest", 27),
        std::string("COMMON_LOG_LEV\0EL=Debug", 23),
        "COMMON_LOG_LEVEL=" + std::string(300, 'x'),
        std::string(255, 'x') + "COMMON_LOG_LEVEL=Debug",
        std::string(254, '#') + "COMMON_LOG_LEVEL=Debug",
        "COMMON_LOG_LEVEL=Debug" + std::string(233, ' '),
    };
    return lines;
}

/// Lines that stop a process from looking, or for long: good only at the start.
const std::vector<std::string>& lines_that_stop()
{
    static const std::vector<std::string> lines{
        "COMMON_LOG_PEAKLOAD_GRANULARITY=0",
        "COMMON_LOG_PEAKLOAD_GRANULARITY=0x",
        "COMMON_LOG_PEAKLOAD_GRANULARITY=99999999999",
        "COMMON_LOG_PEAKLOAD_GRANULARITY=2147483647",
        "COMMON_LOG_PEAKLOAD_CONTROL=None",
    };
    return lines;
}

/// The settings that have a getter, as the calling process has them.
LogSettings settings_seen(std::int32_t granularity_ms)
{
    LogSettings seen;
    seen.cache = COMMON_Log_CacheGet();
    seen.color = COMMON_Log_ColorGet();
    seen.enable = COMMON_Log_EnableGet();
    seen.strip = COMMON_Log_StripGet();
    seen.legacy = COMMON_Log_LegacyGet();
    seen.format = COMMON_Log_FormatGet();
    seen.peakloadControl = COMMON_Log_PeakloadControlGet();
    const auto level = [](COMMON_LogPeakloadControl_t which) {
        return static_cast<std::uint8_t>(COMMON_Log_LevelGetExtended(which));
    };
    seen.level = level(COMMON_LogPeakloadControlNone);
    seen.levelAtPeakloadOff = level(COMMON_LogPeakloadControlOff);
    seen.levelAtPeakloadOn = level(COMMON_LogPeakloadControlOn);
    seen.granularityPeakloadProcessing = granularity_ms;
    return seen;
}

std::string text_of(const LogSettings& settings)
{
    std::string text;
    for (int i = 0; i < static_cast<int>(commonctl::Setting::Unknown); ++i) {
        text += line_for(settings, static_cast<commonctl::Setting>(i)) + "\n";
    }
    return text + "level " + std::to_string(settings.level);
}

/// What the library complains of while debug output is on.
std::vector<std::string> complaints_in(const std::string& rows)
{
    std::vector<std::string> found;
    std::istringstream lines(rows);
    for (std::string line; std::getline(lines, line);) {
        if (const auto at = line.find("Invalid COMMON_LOG_"); at != std::string::npos) {
            found.push_back(line.substr(at));
        }
    }
    return found;
}

/// The same as the tool sees it.
std::vector<std::string> complaints_about(const std::string& content, Reading reading)
{
    std::vector<std::string> expected;
    for (const auto& piece : commonctl::pieces_of(content)) {
        LogSettings any;
        const Effect effect = take_in(any, piece.text, reading);
        if (effect.kind == Effect::Kind::BadValue) {
            expected.push_back(std::string("Invalid ") + common::log::variable_of(effect.setting) +
                               ": " + piece.text.substr(piece.text.find('=') + 1));
        }
    }
    return expected;
}

/// Compares what a process makes of a file at its start with what the tool makes of it.
void expect_agreement_at_start(const std::string& content)
{
    LogSettings expected;
    commonctl::take_in_file(expected, content, Reading::AtStart);
    const std::int32_t granularity_ms = expected.granularityPeakloadProcessing;
    expected.legacy = 1;  // without the handler library the built-in handler stays
    const FreshSetup setup{.env = {{"COMMON_DEBUG_ENABLE", "True"}}, .files = {{kShared, content}}};
    const Outcome outcome = well(setup, [&] {
        EXPECT_EQ(text_of(settings_seen(granularity_ms)), text_of(expected)) << content;
        COMMON_LogDumpLoggerStatus("");
    });
    EXPECT_EQ(complaints_in(outcome.err), complaints_about(content, Reading::AtStart)) << content;
    ASSERT_EQ(outcome.log.empty(), expected.enable == 0) << content;
    if (expected.enable == 1) {
        EXPECT_THAT(outcome.log.back().text,
                    EndsWith("granularityPeakloadProcessing: " + std::to_string(granularity_ms)))
            << content;
    }
}

TEST(CommonctlSettingsAgreement, SaysOfEachLineWhatTheLibraryDoesAtTheStart)
{
    for (const auto& lines : {lines_of_all_kinds(), lines_that_stop()}) {
        for (const std::string& line : lines) {
            expect_agreement_at_start(line + "\n");
        }
    }
}

/// A file that a process which looks takes for a new one.
class ChangingFile {
public:
    void put(const std::string& content)
    {
        const std::string path = "/tmp/common/log/settings_" + std::to_string(getpid()) + ".txt";
        std::ofstream("/tmp/beside", std::ios::binary) << content;
        const timespec times[2] = {{++time_s_, 0}, {time_s_, 0}};
        ASSERT_EQ(utimensat(AT_FDCWD, "/tmp/beside", times, 0), 0);
        ASSERT_EQ(rename("/tmp/beside", path.c_str()), 0);
    }

private:
    time_t time_s_ = 1000;
};

/// Compares what a process that looks makes of files with what the tool makes of them.
void expect_agreement_read_again(const std::vector<std::string>& contents)
{
    const FreshSetup setup{.env = {{"COMMON_DEBUG_ENABLE", "True"},
                                   {"COMMON_LOG_PEAKLOAD_CONTROL", "Off"},
                                   {"COMMON_LOG_PEAKLOAD_GRANULARITY", "1"}},
                           .files = {{kShared, ""}},
                           .open_log_socket = false};
    const Outcome outcome = well(setup, [&] {
        ChangingFile file;
        LogSettings expected;
        expected.peakloadControl = COMMON_LogPeakloadControlOff;
        std::uint32_t count = 0;
        for (const std::string& content : contents) {
            // A last line that each file has tells that all others have been read.
            const bool color = ++count % 2 == 0;
            const std::string whole = content +
                                      "\nCOMMON_LOG_PEAKLOAD_GRANULARITY=1\nCOMMON_LOG_COLOR=" +
                                      (color ? "True" : "False") + "\n";
            commonctl::take_in_file(expected, whole, Reading::Again);
            COMMON_Log_ColorSet(2);
            file.put(whole);
            ASSERT_TRUE(wait_until([&] { return COMMON_Log_ColorGet() != 2; }));
            ASSERT_EQ(text_of(settings_seen(1)), text_of(expected)) << content;
            if (!expected.looks()) {
                COMMON_Log_PeakloadControlSet(COMMON_LogPeakloadControlOff);
                commonctl::take_in(expected, "COMMON_LOG_PEAKLOAD_CONTROL=Off", Reading::Again);
            }
        }
    });
    std::vector<std::string> complaints;
    for (const std::string& content : contents) {
        const auto more = complaints_about(content, Reading::Again);
        complaints.insert(complaints.end(), more.begin(), more.end());
    }
    EXPECT_EQ(complaints_in(outcome.err), complaints);
}

TEST(CommonctlSettingsAgreement, SaysOfEachLineWhatTheLibraryDoesWhenItReadsAgain)
{
    auto contents = lines_of_all_kinds();
    contents.push_back("COMMON_LOG_PEAKLOAD_CONTROL=None");
    contents.push_back("COMMON_LOG_LEVEL_PEAKLOAD=Fatal\nCOMMON_LOG_PEAKLOAD_CONTROL=None");
    expect_agreement_read_again(contents);
}

/// Lines that are nearly settings, the same in every run.
std::vector<std::string> random_lines(unsigned seed, int count)
{
    std::mt19937 random(seed);
    const auto below = [&](std::size_t limit) { return random() % limit; };
    const std::vector<std::string> values{"True", "false", "All", "Legacy", "Debug", "WARN",
                                          "On",   "None",  "Off", "5",      "0x3",   "",
                                          " On",  "x",     "=",   "Info",   "fatal"};
    std::vector<std::string> lines;
    for (int i = 0; i < count; ++i) {
        std::string name =
            common::log::kSettings[below(std::size(common::log::kSettings))].variable;
        if (below(2) == 0) {
            name.resize(name.size() - below(name.size()));
        }
        if (below(8) == 0) {
            name[below(name.size())] = static_cast<char>('A' + below(26));
        }
        lines.push_back(name + (below(10) == 0 ? "" : "=") + values[below(values.size())]);
    }
    return lines;
}

TEST(CommonctlSettingsAgreement, SaysOfRandomLinesWhatTheLibraryDoes)
{
    expect_agreement_read_again(random_lines(1, 400));
    for (unsigned seed = 2; seed < 22; ++seed) {
        std::string content;
        for (const std::string& line : random_lines(seed, 20)) {
            content += line + "\n";
        }
        expect_agreement_at_start(content);
    }
}

}  // namespace
