// Stopping and starting the drivers step by step: which process is ended, which command is run, how
// long is waited, what is reported, in which order.
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "files/flash_device.h"
#include "flash_safety.h"
#include "flash_script.h"
#include "heap.h"

using namespace harness;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

namespace {

// --------------------------------------------------------------------------------------- stopping

TEST(FlashShutdown, WithoutDevicesThereIsNothingToStop)
{
    EXPECT_THAT(steps_of([] { EXPECT_EQ(FLASHSAFE_ShutdownDriver(500, 1), 1U); }), IsEmpty());
}

TEST(FlashShutdown, ADriverWithoutANameIsNotLookedFor)
{
    EXPECT_THAT(steps_of(
                    [] {
                        setenv("FLASH_START_DRIVER_NAME", "", 1);
                        setenv("NAND_DRIVER_NAME", "", 1);
                        EXPECT_EQ(FLASHSAFE_ShutdownDriver(500, 1), 1U);
                        std::filesystem::remove("/dev/fs0");
                        std::filesystem::remove("/dev/etfs1");
                        EXPECT_EQ(FLASHSAFE_StartDriver(500), 1U);
                    },
                    {"/dev/fs0", "/dev/etfs1"}),
                IsEmpty());
}

const Report kFindNand = step("find", "nand-driver");
const Report kStoppingNand = terminating_nand("4711");

TEST(FlashShutdown, BothDriversAreEnded)
{
    EXPECT_THAT(steps_of([] { EXPECT_EQ(FLASHSAFE_ShutdownDriver(500, 0), 1U); },
                         {"/dev/fs0", "/dev/etfs1"}),
                ElementsAre(kGettingNor, kFindNor, kStoppingNor, step("terminate", "4711 500 0"),
                            kGettingNand, kFindNand, kStoppingNand,
                            step("terminate", "4711 200 0")));
}

TEST(FlashShutdown, LookingForDevicesGivesItsMemoryBack)
{
    with_parameters([] {
        make("/dev/fs0");
        ASSERT_EQ(FLASHSAFE_ShutdownDriver(0, 0), 1U);
        expect_no_leak([] { EXPECT_TRUE(common::flash::is_up(common::flash::nor_driver)); });
    });
}

TEST(FlashShutdown, TheNandDriverGetsNoMoreThan200Milliseconds)
{
    for (const std::uint32_t timeout_ms : {0U, 199U, 200U, 201U, UINT32_MAX}) {
        const std::string expected = std::to_string(timeout_ms < 200 ? timeout_ms : 200);
        EXPECT_THAT(steps_of([&] { EXPECT_EQ(FLASHSAFE_ShutdownDriver(timeout_ms, 1), 1U); },
                             {"/dev/etfs1"}),
                    ElementsAre(kGettingNand, kFindNand, kStoppingNand,
                                step("terminate", "4711 " + expected + " 0")));
    }
}

TEST(FlashShutdown, OnlyOneValueForces)
{
    for (const std::uint32_t force : {0U, 2U, UINT32_MAX}) {
        EXPECT_THAT(
            steps_of(
                [&] {
                    script.terminate_results = {0};
                    EXPECT_EQ(FLASHSAFE_ShutdownDriver(300, force), 0U);
                },
                {"/dev/fs0"}),
            ElementsAre(kGettingNor, kFindNor, kStoppingNor, step("terminate", "4711 300 0")));
    }
}

TEST(FlashShutdown, AForcedKillHasTheLastWord)
{
    for (const std::uint32_t killed : {0U, 1U}) {
        EXPECT_THAT(steps_of(
                        [&] {
                            script.terminate_results = {0, killed};
                            EXPECT_EQ(FLASHSAFE_ShutdownDriver(300, 1), killed);
                        },
                        {"/dev/fs0"}),
                    ElementsAre(kGettingNor, kFindNor, kStoppingNor,
                                step("terminate", "4711 300 0"),
                                said(COMMON_LogLevelWarn, "flashsafe_ShutdownNorDriver",
                                     "Forcing Kill of NOR flash driver \"nor-driver\" "
                                     "(pid 4711)"),
                                step("terminate", "4711 0 1")));
    }
}

TEST(FlashShutdown, TheNandDriverIsNeverKilled)
{
    EXPECT_THAT(
        steps_of(
            [] {
                script.terminate_results = {0};
                EXPECT_EQ(FLASHSAFE_ShutdownDriver(500, 1), 0U);
            },
            {"/dev/etfs1"}),
        ElementsAre(kGettingNand, kFindNand, kStoppingNand, step("terminate", "4711 200 0")));
}

TEST(FlashShutdown, BothResultsCount)
{
    const struct {
        std::uint32_t nor;
        std::uint32_t nand;
    } results[] = {{0, 0}, {0, 1}, {1, 0}, {1, 1}};
    for (const auto& [nor, nand] : results) {
        const Reports steps = steps_of(
            [nor = nor, nand = nand] {
                script.terminate_results = {nor, nand};
                EXPECT_EQ(FLASHSAFE_ShutdownDriver(500, 0), nor & nand);
            },
            {"/dev/fs0", "/dev/etfs1"});
        EXPECT_THAT(steps.back(), step("terminate", "4711 200 0")) << "ended whatever NOR does";
    }
}

TEST(FlashShutdown, TheResultOfNorIsThatWithoutNand)
{
    for (const std::uint32_t ended : {0U, 1U}) {
        steps_of(
            [&] {
                script.terminate_results = {ended};
                EXPECT_EQ(FLASHSAFE_ShutdownDriver(500, 0), ended);
            },
            {"/dev/fs0"});
    }
}

Report lookup_failed(const char* function, const std::string& name)
{
    return said(COMMON_LogLevelError, function,
                "UTIL_GetPidFromProcessName(\"" + name +
                    "\") failed errno=24: Too many open files");
}

TEST(FlashShutdown, ADriverThatIsNotFoundIsAFailure)
{
    EXPECT_THAT(steps_of(
                    [] {
                        script.pid = 0;
                        script.find_errno = EMFILE;
                        EXPECT_EQ(FLASHSAFE_ShutdownDriver(500, 1), 0U);
                    },
                    {"/dev/fs0", "/dev/etfs1"}),
                ElementsAre(kGettingNor, kFindNor,
                            lookup_failed("flashsafe_ShutdownNorDriver", "nor-driver"),
                            kGettingNand, kFindNand,
                            lookup_failed("flashsafe_ShutdownNandDriver", "nand-driver")));
    for (const char* const device : {"/dev/fs0", "/dev/etfs1"}) {
        steps_of(
            [] {
                script.pid = 0;
                EXPECT_EQ(FLASHSAFE_ShutdownDriver(500, 1), 0U);
            },
            {device});
    }
}

// --------------------------------------------------------------------------------------- starting

const Report kStartNand = step("system", "nand-driver -c 4");
const Report kSleep = step("sleep", "100");

TEST(FlashStart, WhatIsUpIsLeftAlone)
{
    EXPECT_THAT(
        steps_of([] { EXPECT_EQ(FLASHSAFE_StartDriver(500), 1U); }, {"/dev/fs0", "/dev/etfs1"}),
        IsEmpty());
}

TEST(FlashStart, DriversThatAreUpAtOnce)
{
    EXPECT_THAT(steps_of([] {
                    script.on_system = [](const std::string& command) {
                        if (command.starts_with("n")) {
                            make(command.starts_with("nor") ? "/dev/fs0p1" : "/dev/etfs2");
                        }
                    };
                    EXPECT_EQ(FLASHSAFE_StartDriver(0), 1U);
                }),
                ElementsAreArray(
                    joined({{kStartingNor, kStartNor}, kRemountAll, {kStartingNand, kStartNand}})));
}

TEST(FlashStart, ADriverIsLookedForAfterEverySleep)
{
    // The number of the sleep at whose end the device is there; 0 for never.
    struct Wait {
        std::uint32_t timeout_ms;
        int comes_at;
        int sleeps;
        std::uint32_t result;
    };
    const Wait waits[] = {{0, 0, 0, 0},   {1, 0, 1, 0},   {1, 1, 1, 1},   {100, 0, 1, 0},
                          {100, 1, 1, 1}, {250, 0, 3, 0}, {250, 3, 3, 1}, {250, 1, 1, 1},
                          {300, 0, 3, 0}, {300, 3, 3, 1}, {301, 0, 4, 0}, {301, 4, 4, 1}};
    for (const bool nand : {false, true}) {
        const char* const device = nand ? "/dev/etfs1" : "/dev/fs0";
        for (const Wait& wait : waits) {
            const Reports found = steps_of(
                [&] {
                    script.on_sleep = [wait, device](int sleep) {
                        if (sleep == wait.comes_at) {
                            make(device);
                        }
                    };
                    EXPECT_EQ(FLASHSAFE_StartDriver(wait.timeout_ms), wait.result);
                },
                {nand ? "/dev/fs0" : "/dev/etfs1"});
            const Reports start =
                nand ? Reports{kStartingNand, kStartNand} : Reports{kStartingNor, kStartNor};
            EXPECT_THAT(found, ElementsAreArray(
                                   joined({start, repeated(wait.sleeps, kSleep),
                                           wait.result == 1 && !nand ? kRemountAll : Reports{}})))
                << wait.timeout_ms << " " << wait.comes_at;
        }
    }
}

// The longest one takes 50 days.
TEST(FlashStart, AnyTimeIsRoundedUpToSleeps)
{
    const struct {
        std::uint32_t timeout_ms;
        std::uint32_t sleeps;
    } times[] = {{0, 0},
                 {1, 1},
                 {99, 1},
                 {100, 1},
                 {101, 2},
                 {10'000, 100},
                 {4'294'967'200, 42'949'672},
                 {4'294'967'201, 42'949'673},
                 {UINT32_MAX, 42'949'673}};
    for (const auto& [timeout_ms, sleeps] : times) {
        EXPECT_EQ(common::flash::sleeps_within(timeout_ms), sleeps) << timeout_ms;
    }
}

TEST(FlashStart, BothHalvesAreTriedAndBothCount)
{
    // Neither comes up; then each of them alone.
    EXPECT_THAT(steps_of([] { EXPECT_EQ(FLASHSAFE_StartDriver(100), 0U); }),
                ElementsAre(kStartingNor, kStartNor, kSleep, kStartingNand, kStartNand, kSleep));
    EXPECT_THAT(steps_of([] { EXPECT_EQ(FLASHSAFE_StartDriver(100), 0U); }, {"/dev/etfs1"}),
                ElementsAre(kStartingNor, kStartNor, kSleep));
    EXPECT_THAT(steps_of([] { EXPECT_EQ(FLASHSAFE_StartDriver(100), 0U); }, {"/dev/fs0"}),
                ElementsAre(kStartingNand, kStartNand, kSleep));
    // That NAND is up does not make good for NOR.
    steps_of([] {
        script.on_system = [](const std::string& command) {
            if (command.starts_with("nand")) {
                make("/dev/etfs1");
            }
        };
        EXPECT_EQ(FLASHSAFE_StartDriver(100), 0U);
    });
}

Report start_failed(const char* function, const std::string& command)
{
    return said(COMMON_LogLevelError, function,
                "system(\"" + command + "\") failed errno=12: Cannot allocate memory");
}

TEST(FlashStart, ACommandThatFailsIsReported)
{
    for (const int result : {-1, 0x100, 0xFF00}) {
        EXPECT_THAT(
            steps_of([&] {
                script.system_results = {result, result};
                script.system_errno = ENOMEM;
                EXPECT_EQ(FLASHSAFE_StartDriver(500), 0U);
            }),
            ElementsAre(kStartingNor, kStartNor,
                        start_failed("flashsafe_StartNorDriver", "nor-driver -s0x40000000,12M"),
                        kStartingNand, kStartNand,
                        start_failed("flashsafe_StartNandDriver", "nand-driver -c 4")))
            << result;
    }
}

TEST(FlashStart, ACommandThatASignalKilledDidNotFail)
{
    EXPECT_THAT(steps_of(
                    [] {
                        script.system_results = {9};
                        EXPECT_EQ(FLASHSAFE_StartDriver(0), 0U);
                    },
                    {"/dev/etfs1"}),
                ElementsAre(kStartingNor, kStartNor));
}

TEST(FlashStart, RemountsThatFailAreReportedOnly)
{
    const Reports steps = steps_of(
        [] {
            script.system_results = {0, 0x100, 0x100, -1, 0x200};
            script.on_system = [](const std::string&) { make("/dev/fs0"); };
            EXPECT_EQ(FLASHSAFE_StartDriver(0), 1U);
        },
        {"/dev/etfs1"});
    EXPECT_THAT(steps,
                ElementsAre(kStartingNor, kStartNor, kRemountAll[0],
                            said(COMMON_LogLevelError, "FLASHSAFE_MountReadOnly",
                                 "Cannot mount / as read-only, cmdResult = 256, exit status = 1"),
                            kRemountAll[1],
                            said(COMMON_LogLevelError, "FLASHSAFE_MountReadOnly",
                                 "Cannot mount /config-mfg as read-only, cmdResult = 256, exit "
                                 "status = 1"),
                            kRemountAll[2],
                            said(COMMON_LogLevelError, "FLASHSAFE_MountWritable",
                                 "Cannot mount /config as writable, cmdResult = -1, exit status = "
                                 "255"),
                            kRemountAll[3],
                            said(COMMON_LogLevelError, "FLASHSAFE_MountWritable",
                                 "Cannot mount /log as writable, cmdResult = 512, exit status = "
                                 "2")));
}

TEST(FlashStart, ACommandIsCutWhereItsBufferEnds)
{
    for (const std::size_t length : {254U, 255U, 256U, 300U, 5000U}) {
        const std::string options(length - std::string("driver ").size(), 'o');
        const std::string whole = "driver " + options;
        const std::string cut = whole.substr(0, 255);
        const Reports steps = steps_of([&] {
            setenv("FLASH_START_DRIVER_NAME", "driver", 1);
            setenv("FLASH_START_DRIVER_OPTIONS", options.c_str(), 1);
            setenv("NAND_DRIVER_NAME", "driver", 1);
            setenv("NAND_DRIVER_OPTIONS", options.c_str(), 1);
            script.system_results = {-1, -1};
            script.system_errno = ENOMEM;
            EXPECT_EQ(FLASHSAFE_StartDriver(0), 0U);
        });
        ASSERT_EQ(steps.size(), 6U);
        EXPECT_EQ(steps[1], step("system", cut));
        EXPECT_EQ(steps[2], start_failed("flashsafe_StartNorDriver", cut));
        EXPECT_EQ(steps[4], step("system", cut));
        EXPECT_EQ(steps[5], start_failed("flashsafe_StartNandDriver", cut));
    }
}

TEST(FlashStart, NamesAndOptionsReachTheShellAsTheyStand)
{
    EXPECT_THAT(steps_of(
                    [] {
                        setenv("FLASH_START_DRIVER_NAME", "a b;c", 1);
                        setenv("FLASH_START_DRIVER_OPTIONS", "\"$x\" %d & ", 1);
                        EXPECT_EQ(FLASHSAFE_StartDriver(0), 0U);
                    },
                    {"/dev/etfs1"}),
                ElementsAre(said(COMMON_LogLevelDebug, "flashsafe_StartNorDriver",
                                 "Starting NOR flash driver \"a b;c \"$x\" %d & \""),
                            step("system", "a b;c \"$x\" %d & ")));
}

}  // namespace
