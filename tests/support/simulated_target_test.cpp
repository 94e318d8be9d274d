// A simulated target is furnished as it says, its programs are real, and nothing of it is left.
#include "simulated_target.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>

#include "fresh_process.h"
#include "wait_until.h"

using namespace harness;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

/// A body that runs on a target, with checks that count.
std::function<void()> on_target(const TargetSetup& setup, const std::function<void()>& body)
{
    return [=] {
        EXPECT_EQ(run_on_target(setup,
                                [&] {
                                    body();
                                    return 0;
                                }),
                  0);
    };
}

Outcome play(const TargetSetup& setup, const std::function<void()>& body)
{
    return well(on_target(setup, body));
}

/// The devices of both drivers.
std::set<std::string> devices()
{
    std::set<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator("/dev")) {
        const std::string name = entry.path().filename();
        if (name.starts_with("fs0") || name.starts_with("etfs")) {
            found.insert(name);
        }
    }
    return found;
}

const std::set<std::string> kNor{"fs0", "fs0p0", "fs0p1", "fs0p2", "fs0p3"};
const std::set<std::string> kNand{"etfs1", "etfs2"};
const std::set<std::string> kBoth{"etfs1", "etfs2", "fs0", "fs0p0", "fs0p1", "fs0p2", "fs0p3"};

/// The ids of the processes that the kernel knows by a name.
std::vector<pid_t> processes(const std::string& name)
{
    std::vector<pid_t> ids;
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        std::string found;
        if (std::getline(std::ifstream(entry.path() / "comm"), found) && found == name) {
            ids.push_back(std::atoi(entry.path().filename().c_str()));
        }
    }
    return ids;
}

/// How a shell command exited.
int shell(const std::string& command)
{
    const int status = std::system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

TEST(SimulatedTarget, IsFurnished)
{
    const Outcome outcome = play({}, [] {
        for (const char* folder : {"/config", "/config-mfg", "/log"}) {
            EXPECT_TRUE(std::filesystem::is_empty(folder)) << folder;
        }
        EXPECT_EQ(devices(), kBoth);
        EXPECT_EQ(processes("nor-driver").size(), 1U);
        EXPECT_EQ(processes("nand-driver").size(), 1U);
        EXPECT_THAT(target_journal(), IsEmpty());
        for (const auto& [name, value] : usual_target_environment()) {
            const char* const found = std::getenv(name.c_str());
            EXPECT_EQ(std::string(found != nullptr ? found : "missing"), value);
        }
    });
    EXPECT_EQ(outcome.out + outcome.err, "");
}

TEST(SimulatedTarget, ItsEnvironmentIsAsChosen)
{
    play({.env = {{"FLASH_START_LOG_SIZE", std::nullopt},
                  {"FLASH_START_DRIVER_NAME", "my-driver"},
                  {"NAND_DRIVER_NAME", ""}}},
         [] {
             EXPECT_EQ(std::getenv("FLASH_START_LOG_SIZE"), nullptr);
             EXPECT_EQ(devices(), kNor);
             EXPECT_EQ(processes("my-driver").size(), 1U);
             EXPECT_THAT(processes("nor-driver"), IsEmpty());
         });
}

TEST(SimulatedTarget, NothingOfTheMachineIsAmongItsProcesses)
{
    play({.running = false}, [] {
        EXPECT_LE(getpid(), 10);
        EXPECT_EQ(devices(), std::set<std::string>{});
        const pid_t parent = getppid();
        EXPECT_EQ(parent, 1);
        for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
            if (const int id = std::atoi(entry.path().filename().c_str()); id > 0) {
                EXPECT_TRUE(id == 1 || id == getpid()) << id;
            }
        }
    });
}

TEST(SimulatedTarget, TellsHowTheFunctionEnded)
{
    const Outcome outcome = well([] {
        EXPECT_EQ(run_on_target({.running = false}, [] { return 7; }), 7);
        const auto die = [] {
            kill(getpid(), SIGKILL);
            return 0;
        };
        EXPECT_EQ(run_on_target({.running = false}, die), 128 + SIGKILL);
    });
    EXPECT_EQ(outcome.err, "");
}

TEST(SimulatedTarget, AFailedCheckIsNoticed)
{
    EXPECT_THAT(run_fresh(on_target({.running = false}, [] { ADD_FAILURE() << "on purpose"; })),
                Not(exited(0)));
}

TEST(SimulatedTarget, NeedsAPrivateRoot)
{
    const Outcome outcome = well([] {
        std::filesystem::remove("/log");
        std::filesystem::create_symlink("/usr", "/log");
        EXPECT_EQ(run_on_target({}, [] { return 0; }), kTargetFailed);
    });
    EXPECT_THAT(outcome.err, HasSubstr("/log is the machine's own"));
}

TEST(SimulatedTarget, NoProcessIsLeft)
{
    well([] {
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        // A sleeper that nobody ends holds the pipe open.
        run_on_target({.behaviour = {{"nor-driver", "ignore-term"}}}, [&] {
            EXPECT_EQ(shell("setsid sleep 1000 &"), 0);
            return 0;
        });
        close(ends[1]);
        char byte = 0;
        EXPECT_EQ(read(ends[0], &byte, 1), 0);
        close(ends[0]);
    });
}

TEST(SimulatedTarget, JournalHasExactCommandLines)
{
    play({}, [] {
        EXPECT_EQ(shell("mount -u -w /config"), 0);
        EXPECT_EQ(shell("flashctl '' \"two words\" \"it's\" '$x' a=b,c/d:1.2+3@4%5_6-7"), 2);
        EXPECT_EQ(shell("pidin > /dev/null"), 0);
        EXPECT_THAT(target_journal(),
                    ElementsAre("mount -u -w /config",
                                "flashctl '' 'two words' 'it'\\''s' '$x' a=b,c/d:1.2+3@4%5_6-7",
                                "pidin"));
    });
}

TEST(SimulatedTarget, MountTakesWhatIsThere)
{
    play({}, [] {
        EXPECT_EQ(shell("mount -u -w /config && mount -u -r /"), 0);
        EXPECT_EQ(shell("mount -u -r /nowhere 2> /dev/null"), 1);
        EXPECT_EQ(shell("mount -u /config 2> /dev/null"), 2);
        EXPECT_EQ(shell("mount /config -u -r 2> /dev/null"), 2);
        std::filesystem::remove("/dev/fs0");
        EXPECT_EQ(shell("mount -u -w /config 2> /dev/null"), 1);
    });
}

TEST(SimulatedTarget, ProgramsBehaveAsTheyAreTold)
{
    play({.behaviour = {{"mount", "exit=3"}}}, [] {
        EXPECT_EQ(shell("mount -u -w /config"), 3);
        set_behaviour("mount", "signal=9");
        EXPECT_EQ(shell("exec mount -u -w /config"), -9);
        set_behaviour("mount", "");
        EXPECT_EQ(shell("mount -u -w /config"), 0);
        EXPECT_EQ(target_journal().size(), 3U);
    });
}

TEST(SimulatedTarget, FormattingEmptiesOnePartition)
{
    play({}, [] {
        namespace fs = std::filesystem;
        fs::create_directories("/log/a/b");
        std::ofstream("/log/a/b/file") << "x";
        fs::permissions("/log/a", fs::perms::none);
        corrupt("/log/c");
        corrupt("/config");
        fs::create_directory_symlink("/config", "/log/config");
        EXPECT_EQ(shell("flashctl -o0K -l1K -p/dev/fs0 -vv -e"), 0);
        EXPECT_FALSE(fs::is_empty("/log"));
        EXPECT_EQ(shell("flashctl -o0K -l1K -p/dev/fs0p0 -f -n/log -F"), 0);
        EXPECT_TRUE(fs::is_empty("/log"));
        EXPECT_TRUE(fs::is_symlink("/config/lost"));
        // What the root shows is the machine's.
        EXPECT_EQ(shell("flashctl -o0K -l1K -p/dev/fs0p0 -f -n/ -F"), 0);
        EXPECT_TRUE(fs::is_symlink("/config/lost"));
        fs::remove("/dev/fs0");
        EXPECT_EQ(shell("flashctl -o0K -l1K -p/dev/fs0 -vv -e 2> /dev/null"), 1);
    });
}

TEST(SimulatedTarget, PidinListsItsProcesses)
{
    const Outcome outcome = play({}, [] { EXPECT_EQ(shell("pidin"), 0); });
    EXPECT_THAT(outcome.out, AllOf(HasSubstr(" 1 "), HasSubstr(" nor-driver\n"),
                                   HasSubstr(" nand-driver\n"), EndsWith(" pidin\n")));
}

/// Ends a driver and waits until the kernel has forgotten it.
void end_driver(const std::string& name, int signal)
{
    for (const pid_t id : processes(name)) {
        EXPECT_EQ(kill(id, signal), 0);
        EXPECT_TRUE(wait_until([&] { return kill(id, 0) != 0 && errno == ESRCH; }));
    }
}

TEST(SimulatedTarget, DevicesGoWithTheirDriver)
{
    play({}, [] {
        end_driver("nor-driver", SIGTERM);
        EXPECT_EQ(devices(), kNand) << "at once";
        end_driver("nand-driver", SIGKILL);
        EXPECT_EQ(devices(), std::set<std::string>{}) << "at once";
        EXPECT_EQ(shell("nor-driver -x"), 0);
        EXPECT_EQ(devices(), kNor) << "at once";
        EXPECT_THAT(target_journal(), ElementsAre("nor-driver -x"));
    });
}

TEST(SimulatedTarget, DriverIgnoresTerm)
{
    play({.behaviour = {{"nor-driver", "ignore-term"}}}, [] {
        const pid_t driver = processes("nor-driver").at(0);
        EXPECT_EQ(kill(driver, SIGTERM), 0);
        EXPECT_FALSE(
            wait_until([&] { return kill(driver, 0) != 0; }, std::chrono::milliseconds{100}));
        EXPECT_EQ(devices(), kBoth);
        end_driver("nor-driver", SIGKILL);
        EXPECT_EQ(devices(), kNand);
    });
}

TEST(SimulatedTarget, DriverTakesItsTimeToEnd)
{
    play({.behaviour = {{"nor-driver", "slow-term=200"}}}, [] {
        const auto start = std::chrono::steady_clock::now();
        end_driver("nor-driver", SIGTERM);
        EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds{200});
    });
}

TEST(SimulatedTarget, DriverComesLateOrNever)
{
    play({.running = false}, [] {
        set_behaviour("nor-driver", "late=200");
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(shell("nor-driver"), 0);
        EXPECT_TRUE(wait_until([] { return devices() == kNor; }));
        EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds{200});

        set_behaviour("nand-driver", "never");
        EXPECT_EQ(shell("nand-driver"), 0);
        EXPECT_EQ(processes("nand-driver").size(), 1U);
        EXPECT_EQ(devices(), kNor);
        end_driver("nand-driver", SIGTERM);

        set_behaviour("nand-driver", "late=1000000");
        EXPECT_EQ(shell("nand-driver"), 0);
        end_driver("nand-driver", SIGTERM);

        set_behaviour("nand-driver", "exit=4");
        EXPECT_EQ(shell("nand-driver"), 4);
        EXPECT_THAT(processes("nand-driver"), IsEmpty());
    });
}

}  // namespace
