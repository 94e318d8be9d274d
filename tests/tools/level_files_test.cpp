// The files by which levels of live processes are changed: when they are seen, what stays of them,
// and what others may have put in their place.
#include <fcntl.h>
#include <set>
#include <sys/mount.h>

#include "level_calls.h"

using namespace harness;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

time_t modification_time(const std::string& path)
{
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0);
    return status.st_mtime;
}

void set_modification_time(const std::string& path, time_t seconds)
{
    const timespec times[2] = {{seconds, 0}, {seconds, 0}};
    EXPECT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
}

time_t now_s()
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return now.tv_sec;
}

TEST(CommonctlLevelFiles, ChangesWithinASecondAreAllSeen)
{
    executed(looking(), [] {
        COMMON_Log_LevelGet();
        std::set<time_t> times;
        for (const COMMON_LogLevel_t one :
             {COMMON_LogLevelDebug, COMMON_LogLevelError, COMMON_LogLevelVerbose,
              COMMON_LogLevelWarn, COMMON_LogLevelNote}) {
            EXPECT_EQ(level(std::string(COMMON_LogLevel_ToString(one)) + " --no-wait").status, 0);
            EXPECT_TRUE(becomes(one)) << COMMON_LogLevel_ToString(one);
            const time_t time = modification_time(own_file());
            EXPECT_TRUE(times.empty() || time > *times.rbegin());
            times.insert(time);
        }
    });
}

TEST(CommonctlLevelFiles, AFileFromTheFutureIsFollowedByALaterOne)
{
    executed(looking(), [] {
        write_file(own_file(), "COMMON_LOG_LEVEL=Warn\n");
        const time_t ahead = now_s() + 1000;
        set_modification_time(own_file(), ahead);
        EXPECT_TRUE(becomes(COMMON_LogLevelWarn));
        EXPECT_EQ(level("Debug --no-wait").status, 0);
        EXPECT_TRUE(becomes(COMMON_LogLevelDebug));
        EXPECT_EQ(modification_time(own_file()), ahead + 1);
    });
}

TEST(CommonctlLevelFiles, OtherLinesStay)
{
    executed(looking(), [] {
        write_file(own_file(), "# by hand\nCOMMON_LOG_STRIP=False\nCOMMON_LOG_LEV=Warn\n"
                               "COMMON_LOG_LEVEL_PEAKLOAD=Error\nno newline");
        EXPECT_EQ(level("Debug COLOR=true --no-wait").status, 0);
        EXPECT_EQ(content_of(own_file()),
                  "# by hand\nCOMMON_LOG_STRIP=False\nCOMMON_LOG_LEVEL_PEAKLOAD=Error\nno newline\n"
                  "COMMON_LOG_LEVEL=Debug\nCOMMON_LOG_COLOR=True\n");
        EXPECT_TRUE(becomes(COMMON_LogLevelDebug));
        EXPECT_EQ(COMMON_Log_StripGet(), 0U);
        EXPECT_EQ(COMMON_Log_ColorGet(), 1U);
    });
}

TEST(CommonctlLevelFiles, FoldersAndFilesHaveSaneRights)
{
    executed(looking(), [] {
        umask(077);
        EXPECT_EQ(level("Debug --no-wait").status, 0);
        const auto mode = [](const std::string& path) {
            struct stat status {};
            stat(path.c_str(), &status);
            return status.st_mode & 07777;
        };
        EXPECT_EQ(mode("/tmp/common"), 0755U);
        EXPECT_EQ(mode(kFolder), 0755U);
        EXPECT_EQ(mode(own_file()), 0644U);
        // A folder that is there already stays as it is.
        ASSERT_EQ(chmod(kFolder, 01777), 0);
        EXPECT_EQ(level("Debug --no-wait").status, 0);
        EXPECT_EQ(mode(kFolder), 01777U);
    });
}

TEST(CommonctlLevelFiles, RestoreBringsBackTheLevelAndRemovesTheFile)
{
    FreshSetup setup = looking();
    setup.env["COMMON_LOG_LEVEL"] = "Warn";
    executed(setup, [] {
        COMMON_Log_LevelGet();
        const Logging logging;
        EXPECT_EQ(level("Debug --no-wait").status, 0);
        EXPECT_TRUE(becomes(COMMON_LogLevelDebug));
        EXPECT_EQ(level("Verbose COLOR=True --no-wait").status, 0);
        EXPECT_TRUE(becomes(COMMON_LogLevelVerbose));
        const time_t changed_s = modification_time(own_file());
        const Ran ran = level("--restore");
        EXPECT_EQ(ran.status, 0) << ran.text;
        EXPECT_THAT(ran.text, HasSubstr("is as it was before, and the settings have been read"));
        EXPECT_EQ(COMMON_Log_LevelGet(), COMMON_LogLevelWarn);
        EXPECT_EQ(COMMON_Log_ColorGet(), 0U);
        EXPECT_TRUE(std::filesystem::is_empty(kFolder));
        // A new file is seen, although the last one was there a moment ago: it has a later time.
        EXPECT_GT(now_s(), changed_s + 1);
        EXPECT_EQ(level("Error --no-wait").status, 0);
        EXPECT_TRUE(becomes(COMMON_LogLevelError));
    });
}

TEST(CommonctlLevelFiles, RestoreBringsBackTheFileThatWasThere)
{
    executed(looking(), [] {
        const std::string content = "# by hand\nCOMMON_LOG_LEVEL=Error\nno newline";
        write_file(own_file(), content);
        const Logging logging;
        EXPECT_TRUE(becomes(COMMON_LogLevelError));
        EXPECT_EQ(level("Debug --no-wait").status, 0);
        EXPECT_TRUE(becomes(COMMON_LogLevelDebug));
        EXPECT_EQ(level("Note --no-wait").status, 0);
        EXPECT_TRUE(becomes(COMMON_LogLevelNote));
        EXPECT_EQ(level("--restore").status, 0);
        EXPECT_TRUE(becomes(COMMON_LogLevelError));
        EXPECT_EQ(content_of(own_file()), content);
        EXPECT_FALSE(exists(own_file() + ".before"));
    });
}

TEST(CommonctlLevelFiles, RestoreOfAProcessThatDoesNotLogCanBeFinishedLater)
{
    executed(looking(), [] {
        COMMON_Log_LevelGet();
        EXPECT_EQ(level("Debug --no-wait").status, 0);
        EXPECT_TRUE(becomes(COMMON_LogLevelDebug));
        const Ran ran = level("--restore --no-wait");
        EXPECT_EQ(ran.status, 0);
        EXPECT_THAT(ran.text, HasSubstr("--restore\" again"));
        EXPECT_TRUE(becomes(COMMON_LogLevelInfo));
        const Logging logging;
        EXPECT_EQ(level("--restore").status, 0);
        EXPECT_TRUE(std::filesystem::is_empty(kFolder));
        EXPECT_EQ(COMMON_Log_LevelGet(), COMMON_LogLevelInfo);
    });
}

TEST(CommonctlLevelFiles, RestoreOfAProcessThatDoesNotLookRemovesTheFileAtOnce)
{
    executed(kNotLooking, [] {
        EXPECT_EQ(level("Debug --no-wait").status, 1);
        EXPECT_TRUE(exists(own_file()));
        const Ran ran = level("--restore --no-wait");
        EXPECT_EQ(ran.status, 0);
        EXPECT_THAT(ran.text, EndsWith("is as it was before\n"));
        EXPECT_TRUE(std::filesystem::is_empty(kFolder));
    });
}

TEST(CommonctlLevelFiles, WhatSomebodyLeftWhoWasKilledIsReplaced)
{
    executed(looking(), [] {
        write_file(own_file() + ".new", "half");
        EXPECT_THAT(level("Debug --no-wait").text, HasSubstr("try again in some seconds"));
        set_modification_time(own_file() + ".new", now_s() - 60);
        EXPECT_EQ(level("Debug --no-wait").status, 0);
        EXPECT_TRUE(becomes(COMMON_LogLevelDebug));
        EXPECT_FALSE(exists(own_file() + ".new"));
    });
}

TEST(CommonctlLevelFiles, NothingToRestoreIsToldSo)
{
    executed(looking(), [] {
        for (const char* content : {"", "something else"}) {
            const Ran ran = level("--restore");
            EXPECT_EQ(ran.status, 1);
            EXPECT_THAT(ran.text, HasSubstr("there is nothing to restore\n"));
            write_file(own_file() + ".before", content);
        }
        EXPECT_EQ(commonctl("level --all --restore").status, 1);
    });
}

TEST(CommonctlLevelFiles, SymbolicLinksAreNotFollowed)
{
    const auto refused = [](const std::string& words, const std::string& why) {
        const Ran ran = level(words);
        EXPECT_EQ(ran.status, 1) << ran.text;
        EXPECT_THAT(ran.text, AllOf(StartsWith("commonctl: "), HasSubstr(why)));
    };
    const auto link = [](const std::string& to, const std::string& at) {
        std::filesystem::create_directories(std::filesystem::path(at).parent_path());
        ASSERT_EQ(symlink(to.c_str(), at.c_str()), 0);
    };
    executed(looking(), [&] {
        link("/tmp/elsewhere", "/tmp/common");
        mkdir("/tmp/elsewhere", 0755);
        refused("Debug", "/tmp/common is no folder; remove it");
        unlink("/tmp/common");
        link("/tmp/elsewhere", kFolder);
        refused("Debug", "/tmp/common/log is no folder; remove it");
        unlink(kFolder);
        EXPECT_TRUE(std::filesystem::is_empty("/tmp/elsewhere"));

        write_file("/tmp/victim", "precious");
        link("/tmp/victim", own_file());
        refused("Debug", own_file() + " is a symbolic link; remove it");
        EXPECT_TRUE(std::filesystem::is_symlink(own_file()));
        unlink(own_file().c_str());
        for (const char* beside : {".new", ".before.new"}) {
            link("/tmp/victim", own_file() + beside);
            refused("Debug", "somebody else is changing settings");
            unlink((own_file() + beside).c_str());
        }
        link("/tmp/victim", own_file() + ".before");
        refused("Debug", ".before is a symbolic link; remove it");
        refused("--restore", ".before is a symbolic link; remove it");
        EXPECT_EQ(content_of("/tmp/victim"), "precious");
        EXPECT_FALSE(exists(own_file()));
    });
}

TEST(CommonctlLevelFiles, WhatIsNoSettingsFileIsLeftAlone)
{
    executed(looking(), [] {
        std::filesystem::create_directories(kFolder);
        ASSERT_EQ(mkfifo(own_file().c_str(), 0644), 0);
        EXPECT_THAT(level("Debug").text, HasSubstr("is no settings file; remove it"));
        unlink(own_file().c_str());
        write_file(own_file(), std::string(100'000, '\n'));
        EXPECT_THAT(level("Debug").text, HasSubstr("is no settings file; remove it"));
        EXPECT_EQ(content_of(own_file()).size(), 100'000U);
        unlink(own_file().c_str());
        std::filesystem::create_directories(own_file());
        EXPECT_EQ(level("Debug").status, 1);
        EXPECT_TRUE(std::filesystem::is_directory(own_file()));
    });
}

TEST(CommonctlLevelFiles, AFullDiskChangesNothing)
{
    FreshSetup setup = looking();
    setup.prepare = [] {
        std::filesystem::create_directories(kFolder);
        const std::string size = "size=" + std::to_string(4 * sysconf(_SC_PAGESIZE));
        ASSERT_EQ(mount("tmpfs", kFolder, "tmpfs", 0, size.c_str()), 0);
    };
    executed(setup, [] {
        write_file(own_file(), "COMMON_LOG_LEVEL=Error\n");
        const std::string filler = std::string(kFolder) + "/filler";
        for (int left = 0; left < 2; ++left) {
            // First nothing can be written any more, then one of the two files.
            std::ofstream(filler) << std::string(
                static_cast<std::size_t>((3 - left) * sysconf(_SC_PAGESIZE)), 'x');
            const Ran ran = level("Debug --no-wait");
            EXPECT_EQ(ran.status, 1);
            EXPECT_THAT(ran.text, AllOf(HasSubstr("is as it was: the new one cannot be written"),
                                        HasSubstr("No space left on device")));
            EXPECT_EQ(content_of(own_file()), "COMMON_LOG_LEVEL=Error\n");
            EXPECT_FALSE(exists(own_file() + ".before"));
            EXPECT_FALSE(exists(own_file() + ".new"));
            EXPECT_FALSE(exists(own_file() + ".before.new"));
        }
    });
}

TEST(CommonctlLevelFiles, AProcessThatEndsMeanwhileLeavesNothing)
{
    FreshSetup setup = looking();
    setup.env["COMMON_LOG_PEAKLOAD_GRANULARITY"] = "5000";
    executed(setup, [] {
        const Child child;
        const std::string file = std::string(kFolder) + "/settings_" + child.id() + ".txt";
        std::thread killer([&] {
            EXPECT_TRUE(wait_until([&] { return exists(file); }));
            child.end();  // it stays a zombie
        });
        const Ran ran = commonctl("level " + child.id() + " Debug");
        killer.join();
        EXPECT_EQ(ran.status, 1);
        EXPECT_THAT(ran.text, HasSubstr("has ended meanwhile; its file is removed"));
        EXPECT_TRUE(std::filesystem::is_empty(kFolder));
        EXPECT_THAT(commonctl("level " + child.id()).text, HasSubstr("there is no process"));
    });
}

TEST(CommonctlLevelFiles, CleanRemovesFilesOfProcessesThatHaveEnded)
{
    executed(looking(), [] {
        std::string dead;
        {
            const Child child;
            dead = std::string(kFolder) + "/settings_" + child.id() + ".txt";
        }
        for (const std::string& path :
             {dead, dead + ".before", dead + ".new", dead + ".before.new", own_file(),
              std::string(kShared), dead + "x", std::string(kFolder) + "/settings_x.txt"}) {
            write_file(path, "");
        }
        symlink(own_file().c_str(), (std::string(kFolder) + "/settings_0.txt").c_str());
        const Ran ran = commonctl("level --clean");
        EXPECT_EQ(ran.status, 0) << ran.text;
        EXPECT_THAT(ran.text,
                    AllOf(HasSubstr(dead + ": removed, process "), HasSubstr("has ended")));
        for (const char* back : {"", ".before", ".new", ".before.new"}) {
            EXPECT_FALSE(exists(dead + back)) << back;
        }
        for (const std::string& path :
             {own_file(), std::string(kShared), dead + "x",
              std::string(kFolder) + "/settings_x.txt", std::string(kFolder) + "/settings_0.txt"}) {
            EXPECT_TRUE(exists(path)) << path;
        }
        EXPECT_EQ(commonctl("level --clean").text, "");
    });
}

}  // namespace
