// Processes as the tool finds them, in a process file system that has just what a test puts there.
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include <gmock/gmock.h>

#include "fake_proc.h"
#include "fresh_process.h"
#include "processes/before.h"
#include "processes/level_change.h"
#include "processes/process_text.h"
#include "processes/processes.h"
#include "processes/settings_files.h"

using namespace harness;
using commonctl::Before;
using commonctl::find_processes;
using commonctl::LogSettings;
using commonctl::Process;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

const FreshSetup kNoDaemon{.open_log_socket = false};

void write(const std::string& path, const std::string& content)
{
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << content;
}

/// What a process file system has of a process.
struct Entry {
    std::string name = "player\n";
    std::string maps = "7f00-7f01 r-xp 00000000 00:01 5    /usr/lib/libcommon.so.1\n";
    std::string environ{};
    std::string started = "0";  ///< clock ticks since the boot
    char state = 'S';
    std::string status = "Name:\tplayer\nNSpid:\t12\n";
};

void add(FakeProcesses& processes, const std::string& id, const Entry& entry)
{
    processes.add(id, entry.status);
    const std::string folder = "/proc/" + id;
    write(folder + "/comm", entry.name);
    write(folder + "/maps", entry.maps);
    write(folder + "/environ", entry.environ);
    std::string stat = id + " (a) b) " + entry.state;
    for (int field = 4; field < 22; ++field) {
        stat += " 7";
    }
    write(folder + "/stat", stat + " " + entry.started + " 7 7\n");
    std::filesystem::create_symlink("/", folder + "/root");
}

std::vector<std::string> libraries_found()
{
    std::vector<std::string> libraries;
    for (const Process& process : find_processes()) {
        libraries.push_back(process.mapped_library);
    }
    return libraries;
}

TEST(CommonctlProcesses, AreThoseThatHaveTheLibraryLoaded)
{
    well(kNoDaemon, [] {
        FakeProcesses processes;
        int id = 10;
        const auto with = [&](const std::string& path, const char* permissions = "r-xp") {
            add(processes, std::to_string(id++),
                {.maps = "7f00-7f01 r--p 00000000 00:01 4 /lib/libc.so.6\n7f00-7f01 " +
                         std::string(permissions) + " 00000000 00:01 5      " + path + "\n"});
        };
        with("/usr/lib/libcommon.so.1");
        with("/usr/lib/libcommon.so");
        with("/opt/my folder/libcommon.so.1.2.3 (deleted)");
        with("/usr/lib/libcommon.so.0");
        with("/usr/lib/libcommonpp.so.1");
        with("/usr/lib/libcommon.so.gz");
        with("/usr/lib/libcommon.so.");
        with("/usr/lib/xlibcommon.so.1");
        with("/usr/lib/libcommon.so.1/x");
        with("/usr/lib/libcommon.so.1", "r--p");
        with("[heap]");
        add(processes, "50", {.state = 'Z'});
        add(processes, "51", {.maps = ""});
        processes.add("self", "");
        processes.add("99", "");  // one that is just ending
        EXPECT_THAT(libraries_found(),
                    ElementsAre("/usr/lib/libcommon.so.1", "/usr/lib/libcommon.so",
                                "/opt/my folder/libcommon.so.1.2.3 (deleted)",
                                "/usr/lib/libcommon.so.0"));
    });
}

TEST(CommonctlProcesses, SettingsComeFromFilesThenTheEnvironment)
{
    const FreshSetup setup{
        .files = {{"/tmp/common/log/settings.txt", "COMMON_LOG_LEVEL=Warn\nCOMMON_LOG_STRIP=False"},
                  {"/config/common/log/settings.txt", "COMMON_LOG_LEVEL=Fatal"}},
        .open_log_socket = false};
    well(setup, [] {
        FakeProcesses processes;
        const std::string later = "99999999999";
        add(processes, "12", {.name = "my player\n", .started = later});
        const std::string environ("PATH=/\0COMMON_LOG_LEVEL=Error\0XCOMMON_LOG_LEVEL=Note\0"
                                  "COMMON_LOG_PEAKLOAD_CONTROL=On\0",
                                  84);
        add(processes, "13", {.environ = environ, .started = later});
        const auto found = find_processes();
        ASSERT_THAT(found, SizeIs(2));
        EXPECT_EQ(found[0].name, "my player");
        EXPECT_EQ(found[0].level, "Warn");
        EXPECT_EQ(found[0].settings.strip, 0U);
        EXPECT_THAT(found[0].environment, IsEmpty());
        EXPECT_EQ(found[0].settings_file, "/tmp/common/log/settings.txt");
        EXPECT_FALSE(found[0].looks);
        EXPECT_THAT(found[1].environment,
                    ElementsAre("COMMON_LOG_LEVEL=Error", "COMMON_LOG_PEAKLOAD_CONTROL=On"));
        EXPECT_EQ(found[1].settings.levelAtPeakloadOff, COMMON_LogLevelError);
        EXPECT_EQ(found[1].level, "Info");
        EXPECT_TRUE(found[1].looks);
        EXPECT_EQ(found[1].why_not, "");
    });
}

TEST(CommonctlProcesses, ASharedFileThatIsNewerCountsOnlyForThoseThatLook)
{
    const FreshSetup setup{
        .files = {{"/tmp/common/log/settings.txt", "COMMON_LOG_LEVEL=Warn\nCOMMON_LOG_FORMAT=All"},
                  {"/config/common/log/settings.txt", "COMMON_LOG_LEVEL=Error"}},
        .open_log_socket = false};
    well(setup, [] {
        FakeProcesses processes;
        const timespec ahead[2] = {{4'000'000'000, 0}, {4'000'000'000, 0}};
        ASSERT_EQ(utimensat(AT_FDCWD, "/tmp/common/log/settings.txt", ahead, 0), 0);
        add(processes, "12", {});
        add(processes, "13", {.environ = "COMMON_LOG_PEAKLOAD_CONTROL=Off"});
        const auto found = find_processes();
        ASSERT_THAT(found, SizeIs(2));
        EXPECT_EQ(found[0].level, "Error");
        EXPECT_EQ(found[1].level, "Warn");
        EXPECT_EQ(found[1].settings.format, COMMON_LogFormatSyslogngext);
    });
}

TEST(CommonctlProcesses, AnEnvironmentThatMayNotBeReadIsToldSo)
{
    well(kNoDaemon, [] {
        FakeProcesses processes;
        add(processes, "12", {});
        unlink("/proc/12/environ");
        mkdir("/proc/12/environ", 0755);
        const auto found = find_processes();
        ASSERT_THAT(found, SizeIs(1));
        EXPECT_FALSE(found[0].readable);
        EXPECT_FALSE(found[0].looks);
        EXPECT_EQ(found[0].level, std::nullopt);
        EXPECT_THAT(found[0].why_not, HasSubstr("run commonctl as root"));
    });
}

TEST(CommonctlProcesses, AProcessInAContainerHasItsFileByItsIdThere)
{
    well(kNoDaemon, [] {
        FakeProcesses processes;
        add(processes, "4711", {.status = "Name:\tplayer\nNSpid:\t4711\t300\t12\nx:\t5\n"});
        write("/tmp/common/log/settings_12.txt", "");
        const auto found = find_processes();
        ASSERT_THAT(found, SizeIs(1));
        EXPECT_EQ(found[0].pid, 4711);
        EXPECT_EQ(found[0].own_pid, 12);
        EXPECT_EQ(found[0].settings_file, "/tmp/common/log/settings_12.txt");
    });
}

TEST(CommonctlProcesses, AContainerCannotLeadElsewhere)
{
    well(kNoDaemon, [] {
        FakeProcesses processes;
        add(processes, "12", {});
        unlink("/proc/12/root");
        std::filesystem::create_directories("/tmp/container");
        std::filesystem::create_directories("/tmp/elsewhere");
        ASSERT_EQ(symlink("/tmp/container", "/proc/12/root"), 0);
        ASSERT_EQ(symlink("/tmp/elsewhere", "/tmp/container/tmp"), 0);
        EXPECT_THROW(commonctl::change_level(12, "Debug"), std::system_error);
        EXPECT_TRUE(std::filesystem::is_empty("/tmp/elsewhere"));
        unlink("/tmp/container/tmp");
        std::filesystem::create_directories("/tmp/container/tmp");
        commonctl::change_level(12, "Debug");
        EXPECT_TRUE(std::filesystem::exists("/tmp/container/tmp/common/log/settings_12.txt"));
        EXPECT_FALSE(std::filesystem::exists("/tmp/common"));
    });
}

TEST(CommonctlProcesses, WhatBelongsToAnotherUserIsLeftAlone)
{
    using commonctl::SettingsFolder;
    constexpr uid_t kSomebody = 12345;
    const std::string folder = commonctl::kSettingsFolder;
    for (const std::string& path : {std::string("/tmp/common"), folder, folder + "/settings.txt"}) {
        well(kNoDaemon, [&] {
            // Only root may give files away; for others these are then another user's.
            const uid_t user = geteuid() == 0 ? 0 : geteuid() + 1;
            write(folder + "/settings.txt", "");
            if (geteuid() == 0) {
                ASSERT_EQ(chown(path.c_str(), kSomebody, kSomebody), 0);
            }
            try {
                SettingsFolder("", SettingsFolder::Missing::Make, user).read("settings.txt");
                ADD_FAILURE() << path;
            } catch (const std::runtime_error& error) {
                EXPECT_THAT(error.what(), HasSubstr(" belongs to another user ("));
                EXPECT_TRUE(user != 0 || std::string(error.what()).starts_with(path + " "));
            }
        });
    }
}

TEST(CommonctlProcesses, FilesOfAnEarlierProcessOfTheSameIdAreStale)
{
    well(kNoDaemon, [] {
        FakeProcesses processes;
        const std::string file = "/tmp/common/log/settings_12.txt";
        write(file, "COMMON_LOG_LEVEL=Debug\n");
        write(file + ".before", Before{}.text());
        write("/tmp/common/log/settings_13.txt", "");
        add(processes, "12", {.started = "99999999999"});
        add(processes, "13", {.status = ""});
        const auto found = find_processes();
        ASSERT_THAT(found, SizeIs(2));
        EXPECT_EQ(found[0].stale_file, file);
        EXPECT_EQ(found[1].stale_file, "");
        EXPECT_THROW(restore_settings(found[0], commonctl::Wait::No), std::runtime_error);
        const auto cleaned = commonctl::clean_settings();
        EXPECT_TRUE(cleaned.changed);
        EXPECT_EQ(cleaned.text, file + ": removed, process 12 is another one by now\n" + file +
                                    ".before: removed, process 12 is another one by now\n");
        EXPECT_EQ(access("/tmp/common/log/settings_13.txt", F_OK), 0);
    });
}

TEST(CommonctlProcesses, ALevelIsChangedByOneCall)
{
    well(kNoDaemon, [] {
        FakeProcesses processes;
        add(processes, "12", {.environ = "COMMON_LOG_PEAKLOAD_CONTROL=Off"});
        EXPECT_TRUE(commonctl::change_level(12, "Debug").changed);
        EXPECT_EQ(find_processes().front().level, "Debug");
        EXPECT_TRUE(commonctl::change_level(12, "").changed);
        EXPECT_EQ(find_processes().front().level, "Info");
        EXPECT_THROW(commonctl::change_level(13, "Debug"), std::runtime_error);
    });
}

TEST(CommonctlProcesses, AreShownWithWhatIsStrangeAboutThem)
{
    Process process{
        .pid = 12, .name = "my\033player", .mapped_library = "/lib/libcommon.so.1 (deleted)"};
    process.environment = {"COMMON_LOG_LEVEL=\033[2J\xff"};
    process.why_not = "why";
    process.stale_file = "/tmp/common/log/settings_12.txt";
    process.settings_file = process.stale_file;
    EXPECT_EQ(
        text_of(process),
        "     12  my\\x1bplayer     ?         no              /tmp/common/log/settings_12.txt\n"
        "         does not look: why\n"
        "         /tmp/common/log/settings_12.txt is older than the process; \"commonctl level "
        "--clean\" removes it\n"
        "         its library has been replaced since it started: /lib/libcommon.so.1 "
        "(deleted)\n"
        "         COMMON_LOG_LEVEL=\\x1b[2J\xff\n");
    EXPECT_THAT(json_of(process),
                AllOf(HasSubstr("\"name\":\"my\\u001bplayer\""), HasSubstr("[2J\xef\xbf\xbd\"]"),
                      HasSubstr("\"level\":null")));
}

TEST(CommonctlBefore, KeepsEachSettingAsItWasFirst)
{
    LogSettings now;
    now.levelAtPeakloadOff = COMMON_LogLevelWarn;
    Before before{.content = "# and no file\n"};
    before.keep(commonctl::touched_by("COMMON_LOG_LEVEL=Debug\n"), now);
    now.levelAtPeakloadOff = COMMON_LogLevelDebug;
    now.peakloadControl = COMMON_LogPeakloadControlOff;
    before.keep(commonctl::touched_by("COMMON_LOG_LEVEL=Note\nCOMMON_LOG_PEAK=None\n"), now);
    EXPECT_EQ(before.settings, "COMMON_LOG_PEAKLOAD_CONTROL=Off\nCOMMON_LOG_LEVEL=Warn\n"
                               "COMMON_LOG_LEVEL_PEAKLOAD=Info\n");
    const auto parsed = Before::parse(before.text());
    ASSERT_TRUE(parsed);
    EXPECT_EQ(parsed->settings, before.settings);
    EXPECT_EQ(parsed->content, before.content);
    const auto none = Before::parse(Before{}.text());
    ASSERT_TRUE(none);
    EXPECT_FALSE(none->content);
    EXPECT_FALSE(Before::parse(""));
    EXPECT_FALSE(Before::parse("# and no file\n"));
    EXPECT_FALSE(Before::parse(before.text().substr(0, 60)));
}

TEST(CommonctlBefore, PartsOfALongLineStay)
{
    const std::string long_line =
        "COMMON_LOG_LEVEL=Debug" + std::string(233, ' ') + "COMMON_LOG_LEVEL=Warn\n";
    EXPECT_EQ(commonctl::with_lines(long_line, "COMMON_LOG_LEVEL=Error\n"),
              long_line + "COMMON_LOG_LEVEL=Error\n");
    EXPECT_EQ(commonctl::with_lines("", "COMMON_LOG_LEVEL=Error\n"), "COMMON_LOG_LEVEL=Error\n");
}

}  // namespace
