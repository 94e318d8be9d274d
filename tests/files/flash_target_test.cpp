// Stopping and starting drivers and remounting partitions on a simulated target.
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>

#include "common_log.h"
#include "common_process.h"
#include "fake_proc.h"
#include "fault_sweep.h"
#include "flash_safety.h"
#include "flash_target.h"

using namespace harness;
using fault::Call;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

// --------------------------------------------------------------------------------------- stopping

TEST(FlashTarget, StoppingEndsBothDrivers)
{
    const Outcome outcome = on_target({}, [] {
        const std::uint32_t nor = tell_pid(kNor);
        await_ends({nor, tell_pid(kNand)});
        EXPECT_EQ(FLASHSAFE_ShutdownDriver(10'000, 0), 1U);
        EXPECT_EQ(fault::calls(Call::usleep), 0) << "both were gone at once";
        EXPECT_EQ(pid_of(kNor) + pid_of(kNand), 0U);
        EXPECT_FALSE(is_up("/dev/fs0") || is_up("/dev/etfs1"));
        EXPECT_EQ(FLASHSAFE_ShutdownDriver(0, 1), 1U) << "nothing is left to end";
        EXPECT_THAT(target_journal(), IsEmpty());
    });
    const Lines pids = printed(outcome);
    ASSERT_EQ(pids.size(), 2U);
    EXPECT_THAT(flash_reports(outcome), ElementsAreArray(joined({nor_parameters(),
                                                                 stopping_nor(pids[0]),
                                                                 {nand_parameters()},
                                                                 stopping_nand(pids[1])})));
}

TEST(FlashTarget, ADriverThatIgnoresTheSignalStays)
{
    on_target({.behaviour = {{"nor-driver", "ignore-term"}}}, [] {
        const std::uint32_t pid = tell_pid(kNor);
        await_ends({0, pid_of(kNand)});
        EXPECT_EQ(FLASHSAFE_ShutdownDriver(250, 0), 0U);
        EXPECT_EQ(fault::calls(Call::usleep), 3);
        EXPECT_EQ(fault::calls(Call::kill), 2) << "one signal for each driver";
        EXPECT_EQ(pid_of(kNor), pid);
        EXPECT_TRUE(is_up("/dev/fs0"));
        EXPECT_FALSE(is_up("/dev/etfs1")) << "the other one is ended all the same";
    });
}

TEST(FlashTarget, ADriverThatIgnoresTheSignalIsKilled)
{
    const Outcome outcome = on_target({.behaviour = {{"nor-driver", "ignore-term"}}}, [] {
        const std::uint32_t pid = tell_pid(kNor);
        await_ends({0, pid, tell_pid(kNand)});
        EXPECT_EQ(FLASHSAFE_ShutdownDriver(100, 1), 1U);
        EXPECT_EQ(pid_of(kNor), 0U);
        EXPECT_FALSE(is_up("/dev/fs0"));
    });
    const Lines pids = printed(outcome);
    ASSERT_EQ(pids.size(), 2U);
    EXPECT_THAT(flash_reports(outcome),
                ElementsAreArray(joined({nor_parameters(),
                                         stopping_nor(pids[0]),
                                         {said(COMMON_LogLevelWarn, "flashsafe_ShutdownNorDriver",
                                               "Forcing Kill of NOR flash driver \"nor-driver\" "
                                               "(pid " +
                                                   pids[0] + ")"),
                                          nand_parameters()},
                                         stopping_nand(pids[1])})));
}

TEST(FlashTarget, AKilledDriverThatNobodyWaitsForIsNotGone)
{
    TargetSetup target = nor_only();
    target.running = false;
    on_target(target, [] {
        // Our own child: what has ended stays until we wait for it.
        const pid_t child = fork();
        if (child == 0) {
            prctl(PR_SET_NAME, kNor);
            for (;;) {
                pause();
            }
        }
        EXPECT_TRUE(wait_until([] { return pid_of(kNor) != 0; }));
        std::ofstream("/dev/fs0") << std::flush;
        EXPECT_EQ(FLASHSAFE_ShutdownDriver(100, 1), 0U);
        int status = 0;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFSIGNALED(status));
    });
}

TEST(FlashTarget, TheNandDriverHas200MillisecondsAndIsNeverKilled)
{
    on_target({.behaviour = {{"nand-driver", "ignore-term"}}}, [] {
        const std::uint32_t pid = pid_of(kNand);
        const std::uint32_t nor = pid_of(kNor);
        await_ends({nor});
        EXPECT_EQ(FLASHSAFE_ShutdownDriver(10'000, 1), 0U);
        EXPECT_EQ(fault::calls(Call::usleep), 2);
        EXPECT_EQ(pid_of(kNand), pid);
        EXPECT_EQ(pid_of(kNor), 0U);
    });
}

TEST(FlashTarget, ADriverTakesItsTimeToEnd)
{
    TargetSetup target = nor_only();
    target.behaviour = {{"nor-driver", "ignore-term"}};
    on_target(target, [] {
        const auto pid = static_cast<pid_t>(pid_of(kNor));
        fault::on_call(Call::usleep, 2, [pid] {
            kill(pid, SIGKILL);
            EXPECT_TRUE(wait_until([pid] { return kill(pid, 0) != 0 && errno == ESRCH; }));
        });
        EXPECT_EQ(FLASHSAFE_ShutdownDriver(10'000, 0), 1U);
        EXPECT_EQ(fault::calls(Call::usleep), 2);
        EXPECT_EQ(fault::calls(Call::kill), 1);
        EXPECT_FALSE(is_up("/dev/fs0"));
    });
}

TEST(FlashTarget, ADeviceWithoutADriverIsAFailure)
{
    const Outcome outcome = on_target({.running = false}, [] {
        std::ofstream("/dev/fs0") << std::flush;
        std::ofstream("/dev/etfs1") << std::flush;
        fault::fail(Call::opendir, 1, EMFILE);
        EXPECT_EQ(FLASHSAFE_ShutdownDriver(10'000, 1), 0U);
    });
    const Reports reports = flash_reports(outcome);
    ASSERT_EQ(reports.size(), 7U);
    EXPECT_EQ(reports[3], said(COMMON_LogLevelError, "flashsafe_ShutdownNorDriver",
                               "UTIL_GetPidFromProcessName(\"nor-driver\") failed "
                               "errno=24: Too many open files"));
    EXPECT_EQ(reports[6].level, "Error");
    EXPECT_EQ(reports[6].function, "flashsafe_ShutdownNandDriver");
    EXPECT_THAT(reports[6].message,
                StartsWith("UTIL_GetPidFromProcessName(\"nand-driver\") failed errno="));
}

TEST(FlashTarget, ADriverWithALongNameIsNeverFound)
{
    TargetSetup target = nor_only();
    target.env["FLASH_START_DRIVER_NAME"] = "flash-driver-of-16-letters";
    on_target(target, [] {
        EXPECT_TRUE(is_up("/dev/fs0"));
        EXPECT_EQ(FLASHSAFE_ShutdownDriver(10'000, 1), 0U);
        EXPECT_TRUE(is_up("/dev/fs0"));
    });
}

// --------------------------------------------------------------------------------------- starting

TEST(FlashTarget, StartingBringsBothDriversUp)
{
    const Outcome outcome = on_target({.running = false}, [] {
        EXPECT_EQ(FLASHSAFE_StartDriver(10'000), 1U);
        EXPECT_TRUE(is_up("/dev/fs0") && is_up("/dev/etfs1"));
        EXPECT_EQ(FLASHSAFE_StartDriver(10'000), 1U) << "nothing is left to start";
        EXPECT_THAT(target_journal(),
                    ElementsAreArray(joined_lines(
                        {{"nor-driver -s0x40000000,12M"}, kRemounts, {"nand-driver -c 4"}})));
    });
    EXPECT_THAT(flash_reports(outcome),
                ElementsAreArray(
                    joined({nor_parameters(), {kStartingNor, nand_parameters(), kStartingNand}})));
}

TEST(FlashTarget, ADriverThatComesLateIsWaitedFor)
{
    const struct {
        const char* driver;
        const char* device;
    } late[] = {{kNor, "/dev/fs0"}, {kNand, "/dev/etfs1"}};
    for (const auto& [driver, device] : late) {
        on_target({.behaviour = {{driver, "never"}}, .running = false}, [device = device] {
            fault::on_call(Call::nanosleep, 2, [device] { std::ofstream(device) << std::flush; });
            EXPECT_EQ(FLASHSAFE_StartDriver(10'000), 1U);
            EXPECT_EQ(fault::calls(Call::nanosleep), 2);
            EXPECT_EQ(target_journal().size(), 6U);
        });
    }
}

TEST(FlashTarget, ADriverThatNeverComesIsGivenUp)
{
    on_target({.behaviour = {{"nor-driver", "never"}}, .running = false}, [] {
        EXPECT_EQ(FLASHSAFE_StartDriver(250), 0U);
        EXPECT_EQ(fault::calls(Call::nanosleep), 3);
        EXPECT_NE(pid_of(kNor), 0U) << "it runs all the same";
        EXPECT_THAT(target_journal(),
                    ElementsAre("nor-driver -s0x40000000,12M", "nand-driver -c 4"));
    });
    on_target({.behaviour = {{"nand-driver", "never"}}, .running = false}, [] {
        EXPECT_EQ(FLASHSAFE_StartDriver(100), 0U);
        EXPECT_EQ(fault::calls(Call::nanosleep), 1);
        EXPECT_EQ(target_journal().size(), 6U) << "NOR is mounted all the same";
    });
}

TEST(FlashTarget, ADriverThatFailsIsReported)
{
    const Outcome outcome = on_target(
        {.behaviour = {{"nor-driver", "exit=3"}, {"nand-driver", "exit=1"}}, .running = false},
        [] { EXPECT_EQ(FLASHSAFE_StartDriver(10'000), 0U); });
    const Reports reports = flash_reports(outcome);
    ASSERT_EQ(reports.size(), 7U);
    EXPECT_EQ(reports[3].level, "Error");
    EXPECT_EQ(reports[3].function, "flashsafe_StartNorDriver");
    EXPECT_THAT(reports[3].message,
                StartsWith("system(\"nor-driver -s0x40000000,12M\") failed errno="));
    EXPECT_EQ(reports[6].level, "Error");
    EXPECT_EQ(reports[6].function, "flashsafe_StartNandDriver");
    EXPECT_THAT(reports[6].message, StartsWith("system(\"nand-driver -c 4\") failed errno="));
}

TEST(FlashTarget, ADriverThatIsNotThereIsReported)
{
    const Outcome outcome =
        on_target({.env = {{"FLASH_START_DRIVER_NAME", "./none"}, {"NAND_DRIVER_NAME", ""}},
                   .running = false},
                  [] { EXPECT_EQ(FLASHSAFE_StartDriver(10'000), 0U); });
    EXPECT_THAT(flash_reports(outcome).back().message, StartsWith("NAND flash driver"));
    EXPECT_THAT(flash_reports(outcome)[3].message,
                StartsWith("system(\"./none -s0x40000000,12M\") failed errno="));
}

TEST(FlashTarget, PartitionsThatCannotBeRemountedAreReportedOnly)
{
    const Outcome outcome = on_target({.behaviour = {{"mount", "exit=5"}}, .running = false}, [] {
        EXPECT_EQ(FLASHSAFE_StartDriver(10'000), 1U);
        EXPECT_THAT(target_journal(),
                    ElementsAreArray(joined_lines(
                        {{"nor-driver -s0x40000000,12M"}, kRemounts, {"nand-driver -c 4"}})));
    });
    const Reports reports = flash_reports(outcome);
    ASSERT_EQ(reports.size(), 9U);
    EXPECT_EQ(reports[3], said(COMMON_LogLevelError, "FLASHSAFE_MountReadOnly",
                               "Cannot mount / as read-only, cmdResult = 1280, exit status = 5"));
    EXPECT_EQ(reports[6], said(COMMON_LogLevelError, "FLASHSAFE_MountWritable",
                               "Cannot mount /log as writable, cmdResult = 1280, exit status = 5"));
}

// ------------------------------------------------------------------------------------- remounting

TEST(FlashTarget, RemountsRunTheCommand)
{
    const Outcome outcome = on_target({}, [] {
        EXPECT_EQ(FLASHSAFE_MountReadOnly(0), 1U);
        EXPECT_EQ(FLASHSAFE_MountWritable(1), 1U);
        EXPECT_EQ(FLASHSAFE_MountReadOnly(4), 0U);
        EXPECT_EQ(FLASHSAFE_MountWritable(4), 0U);
        EXPECT_THAT(target_journal(), ElementsAre("mount -u -r /", "mount -u -w /config-mfg"));
    });
    EXPECT_THAT(flash_reports(outcome), ElementsAreArray(nor_parameters()));
}

// ------------------------------------------------------------------------------------- failures

TEST(FlashTarget, ACommandThatCannotBeRunIsReported)
{
    const Outcome outcome = on_target({.running = false}, [] {
        fault::fail_always(Call::system, ENOMEM);
        EXPECT_EQ(FLASHSAFE_MountReadOnly(0), 0U);
        EXPECT_EQ(FLASHSAFE_StartDriver(10'000), 0U);
    });
    EXPECT_THAT(flash_reports(outcome),
                ElementsAreArray(
                    joined({nor_parameters(),
                            {said(COMMON_LogLevelError, "FLASHSAFE_MountReadOnly",
                                  "Cannot mount / as read-only, cmdResult = -1, exit status = 255"),
                             kStartingNor,
                             said(COMMON_LogLevelError, "flashsafe_StartNorDriver",
                                  "system(\"nor-driver -s0x40000000,12M\") failed errno=12: Cannot "
                                  "allocate memory"),
                             nand_parameters(), kStartingNand,
                             said(COMMON_LogLevelError, "flashsafe_StartNandDriver",
                                  "system(\"nand-driver -c 4\") failed "
                                  "errno=12: Cannot allocate memory")}})));
}

TEST(FlashTarget, DevicesThatCannotBeLookedForAreAbsent)
{
    on_target({}, [] {
        fault::fail_always(Call::glob);
        EXPECT_EQ(FLASHSAFE_ShutdownDriver(100, 1), 1U);
        EXPECT_NE(pid_of(kNor), 0U);
        EXPECT_EQ(fault::fired(), 2);
    });
}

TEST(FlashTarget, SignalsThatCannotBeSentAreAFailure)
{
    on_target({}, [] {
        fault::fail_always(Call::kill);
        EXPECT_EQ(FLASHSAFE_ShutdownDriver(10'000, 1), 0U);
        EXPECT_EQ(fault::calls(Call::kill), 3) << "NOR twice, NAND once";
        EXPECT_EQ(fault::calls(Call::usleep), 0);
    });
}

/// All that a partition can go through, where what stands for a driver makes its device, and is
/// nowhere to be found then, among few processes: the machine may have thousands.
void live_through_everything()
{
    COMMON_Process_Id();  // the records' own look at /proc
    FakeProcesses processes;
    processes.add("1", "Name:\tother\n");
    corrupt("/config/a/b");
    std::uint32_t flag = 7;
    EXPECT_LE(FLASHSAFE_CheckPartition(2, 0, 0, &flag), 1U);
    EXPECT_LE(FLASHSAFE_CheckPartition(2, 1, 1, &flag), 1U);
    EXPECT_LE(FLASHSAFE_MountReadOnly(1), 1U);
    EXPECT_LE(FLASHSAFE_MountWritable(1), 1U);
    EXPECT_LE(FLASHSAFE_ShutdownDriver(0, 1), 1U);
    EXPECT_LE(FLASHSAFE_StartDriver(0), 1U);
}

// Whatever fails, nothing is left open and every call returns.
TEST(FlashTarget, SurvivesEveryFailure)
{
    FreshSetup setup = with_debug_records();
    for (const auto& [name, value] : usual_target_environment()) {
        setup.env[name] = value;
    }
    setup.env["FLASH_START_DRIVER_NAME"] = "touch";
    setup.env["FLASH_START_DRIVER_OPTIONS"] = "/dev/fs0";
    setup.env["NAND_DRIVER_NAME"] = "touch";
    setup.env["NAND_DRIVER_OPTIONS"] = "/dev/etfs1";
    for (const Call call :
         {Call::stat, Call::fstatat, Call::readdir, Call::glob, Call::system, Call::opendir}) {
        EXPECT_GT(sweep(setup, live_through_everything, survives, {.only = call}).failures, 0)
            << fault::name(call);
    }
}

}  // namespace
