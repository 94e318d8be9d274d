// Levels of live processes, listed and changed from outside. The test's own process is the one that
// is changed: it has the library loaded.
#include <linux/capability.h>
#include <sys/syscall.h>

#include "level_calls.h"
#include "simulated_target.h"

using namespace harness;
using testing::AllOf;
using testing::Contains;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

TEST(CommonctlLevel, ReachesAProcessThatLooks)
{
    executed(looking(), [] {
        COMMON_Log_LevelGet();
        const Logging logging;
        const Ran ran = level("debug");
        EXPECT_EQ(ran.status, 0);
        EXPECT_THAT(ran.text, HasSubstr(own_file() + " has been read\n"));
        EXPECT_EQ(COMMON_Log_LevelGet(), COMMON_LogLevelDebug);
        EXPECT_EQ(content_of(own_file()), "COMMON_LOG_LEVEL=Debug\n");
    });
}

TEST(CommonctlLevel, AProcessThatLooksAndDoesNotLogIsToldSo)
{
    executed(looking(), [] {
        const Ran ran = level("Debug");
        EXPECT_EQ(ran.status, 0);
        EXPECT_THAT(ran.text,
                    HasSubstr("is written; the process reads it when it logs, at most every 1 ms"));
        EXPECT_TRUE(becomes(COMMON_LogLevelDebug));
    });
}

TEST(CommonctlLevel, WhoeverElseLooksIsNotTakenForTheProcess)
{
    executed(looking(), [] {
        const pid_t onlooker = fork();
        if (onlooker == 0) {
            for (;;) {
                commonctl("level");
                commonctl("settings --pid " + std::to_string(getppid()));
            }
        }
        EXPECT_TRUE(wait_until([&] { return level("").status == 0; }));
        EXPECT_THAT(level("Debug").text, HasSubstr(" is written; the process reads it when"));
        EXPECT_EQ(kill(onlooker, SIGKILL), 0);
        EXPECT_EQ(waitpid(onlooker, nullptr, 0), onlooker);
    });
}

TEST(CommonctlLevel, AProcessThatDoesNotLookIsToldSoWithTheRemedy)
{
    const struct {
        std::map<std::string, std::string> env;
        const char* why;
    } kWays[] = {
        {{}, "peakload control is None: start it with COMMON_LOG_PEAKLOAD_CONTROL=Off\n"},
        {{{"COMMON_LOG_PEAKLOAD_CONTROL", "On"}, {"COMMON_LOG_PEAKLOAD_GRANULARITY", "0"}},
         "the granularity is 0: start it with COMMON_LOG_PEAKLOAD_GRANULARITY=1000\n"},
        {{{"COMMON_LOG_PEAKLOAD_GRANULARITY", "0"}},
         "peakload control is None and the granularity 0: start it with "
         "COMMON_LOG_PEAKLOAD_CONTROL=Off COMMON_LOG_PEAKLOAD_GRANULARITY=1000\n"},
    };
    for (const auto& way : kWays) {
        executed({.env = way.env, .open_log_socket = false}, [&] {
            const Ran ran = level("Debug --no-wait");
            EXPECT_EQ(ran.status, 1);
            EXPECT_THAT(ran.text, AllOf(StartsWith("commonctl: "), HasSubstr("does not look"),
                                        EndsWith(way.why)));
            EXPECT_EQ(COMMON_Log_LevelGet(), COMMON_LogLevelInfo);
            EXPECT_THAT(level("").text, HasSubstr(way.why));
        });
    }
}

TEST(CommonctlLevel, AProcessThatLooksByACallOfItsOwnIsReached)
{
    executed(kNotLooking, [] {
        COMMON_Log_PeakloadControlSet(COMMON_LogPeakloadControlOff);
        const Logging logging;
        EXPECT_THAT(level("Error").text, HasSubstr("has been read\n"));
        EXPECT_EQ(COMMON_Log_LevelGet(), COMMON_LogLevelError);
    });
}

TEST(CommonctlLevel, ALevelAtPeakLoadThatIsInForceIsChangedToo)
{
    FreshSetup setup = looking();
    setup.env["COMMON_LOG_PEAKLOAD_CONTROL"] = "On";
    executed(setup, [] {
        EXPECT_EQ(level("Verbose --no-wait").status, 0);
        EXPECT_TRUE(becomes(COMMON_LogLevelVerbose));
        COMMON_Log_PeakloadControlSet(COMMON_LogPeakloadControlOff);
        EXPECT_EQ(COMMON_Log_LevelGet(), COMMON_LogLevelVerbose);
    });
}

TEST(CommonctlLevel, NamesMayHaveBlanksAndMustBeOfOneProcess)
{
    executed(looking(), [] {
        const std::string name = "my " + std::to_string(getpid());
        const Child child(name.c_str());
        const Ran one = commonctl("level '" + name + "'");
        EXPECT_EQ(one.status, 0);
        EXPECT_THAT(one.text,
                    HasSubstr("\n" +
                              std::string(7 - std::min<std::size_t>(7, child.id().size()), ' ') +
                              child.id() + "  " + name));
        {
            const Child other(name.c_str());
            const Ran two = commonctl("level '" + name + "' Debug");
            EXPECT_EQ(two.status, 1);
            EXPECT_THAT(two.text, AllOf(HasSubstr("several processes"), HasSubstr(child.id()),
                                        HasSubstr(other.id())));
        }
        const Ran none = commonctl("level 'no " + name + "'");
        EXPECT_EQ(none.status, 1);
        EXPECT_THAT(none.text, HasSubstr("\"commonctl level\" lists all"));
    });
}

TEST(CommonctlLevel, ListTellsSettingsFilesAndLooks)
{
    FreshSetup setup = looking({{kConfigured, "COMMON_LOG_LEVEL=Warn\n"}});
    setup.env["COMMON_LOG_STRIP"] = "False";
    executed(setup, [] {
        const Ran before = level("");
        EXPECT_THAT(before.text, AllOf(HasSubstr("  Warn      every 1 ms      -\n"),
                                       HasSubstr("         COMMON_LOG_STRIP=False\n"),
                                       HasSubstr("what a process sets by calls is not seen")));
        EXPECT_EQ(level("Debug --no-wait").status, 0);
        EXPECT_THAT(level("").text, HasSubstr("  Debug     every 1 ms      " + own_file() + "\n"));
        const Ran all = commonctl("level -o json");
        EXPECT_THAT(all.text,
                    HasSubstr("{\"pid\":" + std::to_string(getpid()) + ",\"name\":\"level_test\""));
        EXPECT_THAT(all.text,
                    HasSubstr("\"settings_file\":\"" + own_file() +
                              "\",\"stale_file\":\"\","
                              "\"readable\":true,\"level\":\"Debug\",\"enabled\":true,"
                              "\"peakload_control\":\"Off\",\"granularity_ms\":1,\"looks\":true,"
                              "\"why_not\":\"\"}\n"));
    });
}

TEST(CommonctlLevel, LoggingThatIsOffIsToldSo)
{
    FreshSetup setup = looking();
    setup.env["COMMON_LOG_ENABLE"] = "False";
    executed(setup, [] {
        EXPECT_THAT(level("").text, HasSubstr("  off       every 1 ms"));
        EXPECT_THAT(level("Debug --no-wait").text,
                    EndsWith("; logging is off (COMMON_LOG_ENABLE=False)\n"));
        EXPECT_THAT(level("ENABLE=True --no-wait").text, Not(HasSubstr("logging is off")));
        EXPECT_TRUE(wait_until([] { return COMMON_Log_EnableGet() == 1; }));
    });
}

TEST(CommonctlLevel, ASharedFileReachesAllThatLook)
{
    executed(looking({{kConfigured, "COMMON_LOG_STRIP=False\n"}}), [] {
        COMMON_Log_LevelGet();
        const Logging logging;
        const Ran ran = commonctl("level --all Debug FORMAT=All --no-wait");
        EXPECT_EQ(ran.status, 0) << ran.text;
        EXPECT_TRUE(becomes(COMMON_LogLevelDebug));
        EXPECT_THAT(ran.text,
                    AllOf(StartsWith(std::string(kShared) + " is written"),
                          HasSubstr("\n" + std::to_string(getpid()) + " level_test: reads it")));
        // Processes that start from now on find what they would have found.
        EXPECT_EQ(content_of(kShared),
                  "COMMON_LOG_STRIP=False\nCOMMON_LOG_LEVEL=Debug\nCOMMON_LOG_FORMAT=All\n");
        EXPECT_EQ(commonctl("level --shared Error FORMAT=Legacy --no-wait").status, 0);
        EXPECT_TRUE(becomes(COMMON_LogLevelError));
        EXPECT_EQ(content_of(kShared),
                  "COMMON_LOG_STRIP=False\nCOMMON_LOG_LEVEL=Error\nCOMMON_LOG_FORMAT=Legacy\n");
        const Ran restored = commonctl("level --all --restore");
        EXPECT_EQ(restored.status, 0);
        EXPECT_THAT(restored.text, HasSubstr("is as it was before"));
        EXPECT_EQ(COMMON_Log_LevelGet(), COMMON_LogLevelInfo);
        EXPECT_TRUE(std::filesystem::is_empty(kFolder));
    });
}

TEST(CommonctlLevel, ASharedFileTellsWhomItDoesNotReach)
{
    executed(looking(), [] {
        write_file(own_file(), "");
        EXPECT_THAT(commonctl("level --all Debug").text,
                    HasSubstr("level_test: reads a file of its own instead"));
    });
    executed(kNotLooking, [] {
        EXPECT_THAT(commonctl("level --all Debug").text,
                    HasSubstr("level_test: does not look, as far as environment and files tell: "
                              "peakload control is None"));
    });
}

/// Runs a shell command as a user who may not look into a process that does not let itself be
/// looked into, as into one of another user.
Ran without_rights(const std::string& command, bool maps_too = true)
{
    Ran ran;
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    if (child == 0) {
        dup2(ends[1], STDOUT_FILENO);
        dup2(ends[1], STDERR_FILENO);
        prctl(PR_CAPBSET_DROP, CAP_SYS_PTRACE);
        if (maps_too) {
            prctl(PR_CAPBSET_DROP, CAP_PERFMON);
        }
        execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
        _exit(127);
    }
    close(ends[1]);
    char buffer[4096];
    for (ssize_t length = 0; (length = read(ends[0], buffer, sizeof buffer)) > 0;) {
        ran.text.append(buffer, static_cast<std::size_t>(length));
    }
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    ran.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return ran;
}

TEST(CommonctlLevel, AProcessThatMayNotBeLookedIntoIsToldSo)
{
    executed(looking(), [] {
        prctl(PR_SET_DUMPABLE, 0);
        const std::string id = std::to_string(getpid());
        for (const std::string& words : {"level " + id, "level " + id + " Debug"}) {
            for (const bool maps_too : {true, false}) {
                const Ran ran = without_rights(COMMONCTL " " + words, maps_too);
                EXPECT_EQ(ran.status, 1);
                EXPECT_THAT(
                    ran.text,
                    HasSubstr("may not be looked into by this user; run commonctl as root"));
            }
        }
        EXPECT_FALSE(exists(kFolder));
        EXPECT_THAT(without_rights(COMMONCTL " level").text,
                    HasSubstr("may not be looked into by this user; run commonctl as root"));
        EXPECT_THAT(without_rights(COMMONCTL " settings --pid " + id).text,
                    HasSubstr("may not be looked into by this user; run commonctl as root"));
        prctl(PR_SET_DUMPABLE, 1);
    });
}

TEST(CommonctlLevel, WrongUsageIsExplained)
{
    for (const char* const words : {"level 1 Loud", "level 1 FORMAT=All", "level 1 NONE=1",
                                    "level 1 =", "level 1 LEVEL=", "level --all", "level --restore",
                                    "level 1 Debug --restore", "level --all Debug --restore",
                                    "level --clean 1", "level --clean --all", "level -o yaml"}) {
        const Ran ran = commonctl(words);
        EXPECT_EQ(ran.status, 2) << words;
        EXPECT_THAT(ran.text,
                    AllOf(StartsWith("commonctl: "), EndsWith("(see \"commonctl help\")\n")))
            << words;
    }
    EXPECT_THAT(commonctl("level 1 Loud").text, HasSubstr("\"Loud\" is no value of COMMON_LOG_LEVEL"
                                                          ", which takes Fatal, "));
    EXPECT_THAT(commonctl("level 1 FORMAT=All").text, HasSubstr("counts at the start"));
    // Would be more than a line, or one of which processes read a part.
    for (const std::string& value : {std::string("'1\nX'"), std::string(250, '0') + "1"}) {
        const Ran ran = commonctl("level 1 PEAKLOAD_GRANULARITY=" + value);
        EXPECT_EQ(ran.status, 2) << ran.text;
        EXPECT_THAT(ran.text, HasSubstr(" is no line of a settings file (see"));
    }
}

TEST(CommonctlLevel, TheScannerLogsMoreAfterAChange)
{
    FreshSetup setup = looking();
    setup.open_log_socket = true;
    setup.files["/tmp/media/song.mp3"] = "";
    const Outcome outcome = run_fresh(setup, [] {
        // The kernel keeps no more than 15 characters of a name.
        const std::string name = "the scanner started by " + std::to_string(getpid());
        const pid_t scanner = fork();
        if (scanner == 0) {
            // A scan that finds an interrupt at its start begins paused.
            sigset_t interrupt;
            sigemptyset(&interrupt);
            sigaddset(&interrupt, SIGINT);
            sigaddset(&interrupt, SIGCONT);  // which may come before the scanner asks for it
            sigprocmask(SIG_BLOCK, &interrupt, nullptr);
            raise(SIGINT);
            execl(MEDIA_SCANNER, ("/a/" + name).c_str(), "/tmp/media", nullptr);
            _exit(127);
        }
        const std::string id = std::to_string(scanner);
        EXPECT_TRUE(wait_until([&] {
            return commonctl("level " + id).text.find("media_scanner") != std::string::npos;
        }));
        EXPECT_EQ(commonctl("level '" + name + "' Verbose --no-wait").status, 0);
        kill(scanner, SIGCONT);
        int status = -1;
        EXPECT_EQ(waitpid(scanner, &status, 0), scanner);
        EXPECT_EQ(status, 0);
    });
    EXPECT_THAT(outcome, exited(0));
    EXPECT_THAT(outcome.log_texts(), Contains(HasSubstr(", Debug, scan.cpp, ")));
}

/// Gives up what a user without rights has in a private root, and the tool, being executed, has
/// not: it may not look into a process that has more rights than itself.
void give_up_capabilities()
{
    __user_cap_header_struct header{.version = _LINUX_CAPABILITY_VERSION_3, .pid = 0};
    const __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3]{};
    EXPECT_EQ(syscall(SYS_capset, &header, none), 0);
}

TEST(CommonctlLevel, WorksInTheSimulatedTarget)
{
    well(looking(), [] {
        const int status = support::run_on_target({}, [] {
            give_up_capabilities();
            COMMON_Log_LevelGet();
            const Logging logging;
            const Ran ran = level("Debug");
            EXPECT_THAT(ran.text, HasSubstr(own_file() + " has been read"));
            EXPECT_EQ(COMMON_Log_LevelGet(), COMMON_LogLevelDebug);
            EXPECT_THAT(commonctl("level").text, HasSubstr("level_test"));
            return testing::Test::HasFailure() ? 1 : 0;
        });
        EXPECT_EQ(status, 0);
    });
}

}  // namespace
