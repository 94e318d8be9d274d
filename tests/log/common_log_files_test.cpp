// Settings files at the initialisation: which one is read, and how its lines are taken.
#include <sys/stat.h>
#include <unistd.h>

#include "common_debug.h"
#include "log_socket.h"
#include "oxa_logger.h"
#include "settings_files.h"
#include "settings_seen.h"

namespace {

using namespace harness;
using testing::IsEmpty;

constexpr std::size_t kPiece = 255;

/// Starts a process with this configured file and compares what it then sees, and what it
/// complains about.
void expect_settings(const std::string& content, const Settings& expected,
                     const std::vector<std::string>& expected_complaints = {})
{
    const FreshSetup setup{.env = kDebugOn, .files = {{kConfiguredFile, content}}};
    SCOPED_TRACE(testing::PrintToString(content));
    const Outcome outcome = well(setup, [&] { EXPECT_EQ(settings(), expected); });
    std::vector<std::string> complaints;
    for (const RowText& row : row_texts(outcome.err)) {
        if (row.function != "threadOnce") {
            EXPECT_EQ(row, log_row("stderr", "parseVariable", row.message));
            complaints.push_back(row.message);
        }
    }
    EXPECT_EQ(complaints, expected_complaints);
    EXPECT_THAT(outcome.log, IsEmpty());
}

TEST(CommonLogFiles, TheConfiguredFileIsReadWhenThereIsNoSharedOne)
{
    expect_settings("COMMON_LOG_CACHE=False\n"
                    "COMMON_LOG_COLOR=true\n"
                    "COMMON_LOG_ENABLE=False\n"
                    "COMMON_LOG_FORMAT=Legacy\n"
                    "COMMON_LOG_LEGACY=True\n"
                    "COMMON_LOG_LEVEL=Verbose\n"
                    "COMMON_LOG_LEVEL_PEAKLOAD=Warn\n"
                    "COMMON_LOG_PEAKLOAD_CONTROL=On\n"
                    "COMMON_LOG_STRIP=False\n",
                    {.cache = 0,
                     .color = 1,
                     .enable = 0,
                     .strip = 0,
                     .format = COMMON_LogFormatLegacy,
                     .control = kOn,
                     .level = kWarn,
                     .off = kVerbose,
                     .on = kWarn});
}

TEST(CommonLogFiles, TheSharedFileKeepsTheConfiguredOneFromBeingRead)
{
    const FreshSetup setup{.files = {{kConfiguredFile, "COMMON_LOG_STRIP=False\n"},
                                     {kSharedFile, "COMMON_LOG_LEVEL=Debug\n"}}};
    well(setup, [] { EXPECT_EQ(settings(), (Settings{.level = kDebug, .off = kDebug})); });
}

/// Puts something that is no regular file in the place of one: reading a pipe or a device might
/// never end. Sockets and folders are told from the start.
const struct {
    const char* name;
    void (*put)(const char* path);
} kNoFiles[] = {
    {"pipe", [](const char* path) { EXPECT_EQ(mkfifo(path, 0666), 0); }},
    {"device", [](const char* path) { EXPECT_EQ(symlink("/dev/zero", path), 0); }},
    {"folder", [](const char* path) { EXPECT_EQ(mkdir(path, 0777), 0); }},
};

TEST(CommonLogFiles, WhatIsNoRegularFileIsNotRead)
{
    const std::string kDebugFile = "/config/common/debug/settings.txt";
    for (const auto& other : kNoFiles) {
        FreshSetup setup{.files = {{kConfiguredFile, "COMMON_LOG_STRIP=False\n"},
                                   {"/config/common/debug/other", ""},
                                   {"/tmp/common/log/other", ""},
                                   {"/oxa/slog/other", ""}}};
        setup.prepare = [&] {
            other.put(kSharedFile.c_str());
            other.put(kDebugFile.c_str());
            other.put("/oxa/slog/oxa_logger.cfg");
        };
        SCOPED_TRACE(other.name);
        const Outcome outcome = well(setup, [] {
            EXPECT_EQ(settings(), Settings{.strip = 0}) << "of the configured file";
            EXPECT_EQ(LOG_ModuleIdReadConfig(), STATUS_NOT_FOUND);
            EXPECT_EQ(COMMON_Debug_GetEnable(), 0u);
        });
        EXPECT_EQ(outcome.out + outcome.err, "");
    }
}

TEST(CommonLogFiles, AnEmptySharedFileCountsAsRead)
{
    const FreshSetup setup{
        .files = {{kConfiguredFile, "COMMON_LOG_STRIP=False\n"}, {kSharedFile, ""}}};
    well(setup, [] { EXPECT_EQ(settings(), Settings{}); });
}

TEST(CommonLogFiles, FormatAndLegacyOfTheSharedFileCountAtTheStart)
{
    const FreshSetup setup{
        .env = kDebugOn,
        .files = {{kSharedFile, "COMMON_LOG_FORMAT=Columns\nCOMMON_LOG_LEGACY=False\n"}}};
    const Outcome outcome =
        well(setup, [] { EXPECT_EQ(settings(), Settings{.format = COMMON_LogFormatColumns}); });
    EXPECT_THAT(
        row_texts(outcome.err),
        testing::Contains(log_row("stderr", "legacySet", "liboxa.so library was not loaded")));
}

TEST(CommonLogFiles, ASharedFileThatCannotBeOpenedLeavesTheConfiguredOne)
{
    // A socket can be looked at but not opened.
    const FreshSetup setup{
        .files = {{kConfiguredFile, "COMMON_LOG_STRIP=False\n"}, {"/tmp/common/log/other", ""}},
        .prepare = [] {
            LogSocket socket;
            socket.bind_at(kSharedFile);
        }};
    const Outcome outcome = well(setup, [] { EXPECT_EQ(settings(), Settings{.strip = 0}); });
    EXPECT_EQ(outcome.out + outcome.err, "");
}

TEST(CommonLogFiles, FoldersInPlaceOfTheFilesDoNoHarm)
{
    const FreshSetup setup{.prepare = [] {
        std::filesystem::create_directories(kConfiguredFile);
        std::filesystem::create_directories(kSharedFile);
        std::filesystem::create_directories(own_file());
    }};
    const Outcome outcome = well(setup, [] {
        EXPECT_EQ(settings(), Settings{});
        COMMON_Log_PeakloadControlSet(kOff);
        EXPECT_EQ(settings(), Settings{.control = kOff});
    });
    EXPECT_EQ(outcome.out + outcome.err, "");
}

TEST(CommonLogFiles, TheFileOfTheProcessIsNotReadAtTheStart)
{
    const FreshSetup setup{.prepare = [] {
        put_file(own_file(), "COMMON_LOG_LEVEL=Debug\nCOMMON_LOG_FORMAT=All\n", 1000);
    }};
    well(setup, [] { EXPECT_EQ(settings(), Settings{}); });
}

TEST(CommonLogFiles, TheFileOfTheProcessIsReadRightAfterTheStartUnderPeakloadControl)
{
    // As in every re-reading: FORMAT does not count any more.
    const FreshSetup setup{.env = {{"COMMON_LOG_PEAKLOAD_CONTROL", "Off"}}, .prepare = [] {
                               put_file(own_file(),
                                        "COMMON_LOG_LEVEL=Debug\nCOMMON_LOG_FORMAT=All\n", 1000);
                           }};
    well(setup, [] {
        EXPECT_EQ(COMMON_Log_Acceptable(kDebug), 1u);
        EXPECT_EQ(settings(), (Settings{.control = kOff, .level = kDebug, .off = kDebug}));
    });
}

TEST(CommonLogFiles, LaterLinesOverrideEarlierOnes)
{
    expect_settings("COMMON_LOG_LEVEL=Debug\nCOMMON_LOG_STRIP=False\nCOMMON_LOG_LEV=Error\n",
                    {.strip = 0, .level = kError, .off = kError});
}

TEST(CommonLogFiles, TheLastLineNeedsNoNewline)
{
    expect_settings("COMMON_LOG_STRIP=False", {.strip = 0});
    expect_settings("COMMON_LOG_COLOR=True\nCOMMON_LOG_STRIP=False", {.color = 1, .strip = 0});
}

TEST(CommonLogFiles, OtherLinesAreIgnored)
{
    expect_settings("\n\n# COMMON_LOG_STRIP=False\n"
                    " COMMON_LOG_STRIP=False\n"
                    "COMMON_LOG_STRIP\n"
                    "COMMON_LOG_\n"
                    "=\n"
                    "COMMON_DEBUG_ENABLE=False\n"
                    "COMMON_LOG_COLOR=True\n",
                    {.color = 1});
    expect_settings("", {});
    expect_settings("\n", {});
    expect_settings("COMMON_LOG_STRIP", {});
}

TEST(CommonLogFiles, BadValuesAreTold)
{
    expect_settings("COMMON_LOG_LEVEL=loud\nCOMMON_LOG_STRIP=False \nCOMMON_LOG_COLOR=True\r\n"
                    "COMMON_LOG_CACHE=\nCOMMON_LOG_PEAKLOAD_GRANULARITY=soon\n",
                    {},
                    {"Invalid COMMON_LOG_LEVEL: loud", "Invalid COMMON_LOG_STRIP: False ",
                     "Invalid COMMON_LOG_COLOR: True\r", "Invalid COMMON_LOG_CACHE: ",
                     "Invalid COMMON_LOG_PEAKLOAD_GRANULARITY: soon"});
}

TEST(CommonLogFiles, LongLinesAreTakenInPieces)
{
    const std::string setting = "COMMON_LOG_STRIP=False\n";
    // What comes after the first piece is a line of its own.
    expect_settings(std::string(kPiece, 'x') + setting, {.strip = 0});
    expect_settings(std::string(2 * kPiece, 'x') + setting, {.strip = 0});
    // One character less or more, and the setting's name is not at the beginning of a piece.
    expect_settings(std::string(kPiece - 1, 'x') + setting, {});
    expect_settings(std::string(kPiece + 1, 'x') + setting, {});
    // The newline of a line that fills a piece is an empty line.
    expect_settings(std::string(kPiece, 'x') + "\n" + setting, {.strip = 0});
    expect_settings(std::string(kPiece - 1, 'x') + "\n" + setting, {.strip = 0});
}

TEST(CommonLogFiles, AValueEndsWithItsPiece)
{
    const std::string name = "COMMON_LOG_LEVEL";
    const std::string value(kPiece - name.size() - 1, 'v');
    expect_settings(name + "=" + value + "vCOMMON_LOG_STRIP=False\n", {},
                    {"Invalid COMMON_LOG_LEVEL: " + value});
    // A good value is cut, too: what is left of it is a line without meaning.
    const std::string granularity = "COMMON_LOG_PEAKLOAD_GRANULARITY=";
    expect_settings(granularity + std::string(kPiece - granularity.size(), '0') + "9\n", {});
}

TEST(CommonLogFiles, ManyLinesAreAllRead)
{
    std::string content;
    for (int i = 0; i < 500; ++i) {
        content += "COMMON_LOG_COLOR=" + std::string(i % 2 == 0 ? "True" : "False") + "\n";
    }
    expect_settings(content + "COMMON_LOG_STRIP=False\n", {.strip = 0});
}

}  // namespace
