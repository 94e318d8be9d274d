// Remounting, checking and repairing step by step: which command is run, what is reported, in which
// order.
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "flash_safety.h"
#include "flash_script.h"

using namespace harness;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

namespace {

// ------------------------------------------------------------------------------------- remounting

struct Remount {
    const char* function;
    std::uint32_t (*call)(std::uint32_t);
    const char* command;
    const char* words;
};

const Remount kCalls[] = {
    {"FLASHSAFE_MountWritable", FLASHSAFE_MountWritable, "mount -u -w ", "writable"},
    {"FLASHSAFE_MountReadOnly", FLASHSAFE_MountReadOnly, "mount -u -r ", "read-only"}};

TEST(FlashMount, RunsTheCommandForEachPartition)
{
    for (const Remount& remount : kCalls) {
        for (std::uint32_t index = 0; index < kMountPoints.size(); ++index) {
            EXPECT_THAT(steps_of([&] { EXPECT_EQ(remount.call(index), 1U); }),
                        ElementsAre(step("system", remount.command + kMountPoints[index])));
        }
    }
}

TEST(FlashMount, ThereIsNoFifthPartition)
{
    for (const Remount& remount : kCalls) {
        for (const std::uint32_t index : {4U, UINT32_MAX}) {
            const Outcome outcome = with_parameters([&] { EXPECT_EQ(remount.call(index), 0U); });
            EXPECT_THAT(flash_reports(outcome), IsEmpty()) << "not even the parameters are read";
        }
    }
}

TEST(FlashMount, SaysHowTheCommandFailed)
{
    struct Result {
        int result;
        const char* text;  ///< null: it did not fail
    };
    const Result results[] = {{0, nullptr},
                              {0x100, "cmdResult = 256, exit status = 1"},
                              {0xFF00, "cmdResult = 65280, exit status = 255"},
                              {0x7F00, "cmdResult = 32512, exit status = 127"},
                              {-1, "cmdResult = -1, exit status = 255"},
                              {9, nullptr},  // killed by a signal
                              {0x10000, nullptr},
                              {0x10200, "cmdResult = 66048, exit status = 2"}};
    for (const Remount& remount : kCalls) {
        for (const Result& result : results) {
            Reports expected{step("system", remount.command + kMountPoints[2])};
            if (result.text != nullptr) {
                expected.push_back(said(COMMON_LogLevelError, remount.function,
                                        "Cannot mount /config as " + std::string(remount.words) +
                                            ", " + result.text));
            }
            EXPECT_THAT(steps_of([&] {
                            script.system_results = {result.result};
                            EXPECT_EQ(remount.call(2), result.text != nullptr ? 0U : 1U);
                        }),
                        ElementsAreArray(expected))
                << result.result;
        }
    }
}

// --------------------------------------------------------------------------------------- checking

const char* const kCheck = "FLASHSAFE_CheckPartition";

TEST(FlashCheck, BadArgumentsDoNothing)
{
    const Outcome outcome = with_parameters([] {
        std::uint32_t corrupt = 7;
        EXPECT_EQ(FLASHSAFE_CheckPartition(4, 1, 1, &corrupt), 0U);
        EXPECT_EQ(FLASHSAFE_CheckPartition(UINT32_MAX, 0, 0, &corrupt), 0U);
        EXPECT_EQ(corrupt, 7U);
        EXPECT_EQ(FLASHSAFE_CheckPartition(2, 1, 1, nullptr), 0U);
    });
    EXPECT_THAT(flash_reports(outcome), IsEmpty()) << "not even the parameters are read";
}

TEST(FlashCheck, SoundPartitionsAreOk)
{
    for (std::uint32_t index = 0; index < kMountPoints.size(); ++index) {
        EXPECT_THAT(steps_of([&] {
                        for (const std::uint32_t recover : {0U, 1U}) {
                            std::uint32_t corrupt = 7;
                            EXPECT_EQ(FLASHSAFE_CheckPartition(index, 0, recover, &corrupt), 1U);
                            EXPECT_EQ(corrupt, 0U);
                        }
                    }),
                    ElementsAreArray(repeated(2, said(COMMON_LogLevelInfo, kCheck,
                                                      kMountPoints[index] + " partition is OK"))));
    }
}

TEST(FlashCheck, OnlyOneModeIsDeep)
{
    for (const std::uint32_t mode : {0U, 2U, UINT32_MAX}) {
        EXPECT_THAT(steps_of([&] {
                        corrupt("/config");
                        std::uint32_t flag = 7;
                        EXPECT_EQ(FLASHSAFE_CheckPartition(2, mode, 1, &flag), 1U);
                        EXPECT_EQ(flag, 0U);
                    }),
                    ElementsAre(said(COMMON_LogLevelInfo, kCheck, "/config partition is OK")))
            << mode;
    }
}

TEST(FlashCheck, MissingMountPointIsCorruptInBothModes)
{
    const Reports corrupt{
        said(COMMON_LogLevelWarn, kCheck, "/config partition is corrupt"),
        said(COMMON_LogLevelWarn, kCheck, "skipping recovery of flash partition /config")};
    const Reports found{said(COMMON_LogLevelWarn, "flashsafe_DoRecursiveCheck",
                             "Detected corruption in file/dir: /config")};
    for (const std::uint32_t mode : {0U, 1U}) {
        EXPECT_THAT(steps_of([&] {
                        std::filesystem::remove("/config");
                        std::uint32_t flag = 7;
                        EXPECT_EQ(FLASHSAFE_CheckPartition(2, mode, 0, &flag), 1U);
                        EXPECT_EQ(flag, 1U);
                    }),
                    ElementsAreArray(joined({mode == 1 ? found : Reports{}, corrupt})));
    }
}

TEST(FlashCheck, OnlyOneValueRecovers)
{
    for (const std::uint32_t recover : {0U, 2U, UINT32_MAX}) {
        EXPECT_THAT(steps_of([&] {
                        corrupt("/log");
                        std::uint32_t flag = 7;
                        EXPECT_EQ(FLASHSAFE_CheckPartition(3, 1, recover, &flag), 1U);
                        EXPECT_EQ(flag, 1U);
                    }),
                    ElementsAre(said(COMMON_LogLevelWarn, "flashsafe_DoRecursiveCheck",
                                     "Detected corruption in file/dir: /log/lost"),
                                said(COMMON_LogLevelWarn, kCheck, "/log partition is corrupt"),
                                said(COMMON_LogLevelWarn, kCheck,
                                     "skipping recovery of flash partition /log")))
            << recover;
    }
}

/// What is run and said to format a partition.
Reports formatting(const std::string& mount_point, const std::string& place)
{
    const std::string erase = "flashctl " + place + " -p/dev/fs0 -vv -e";
    const std::string format = "flashctl " + place + " -p/dev/fs0p0 -f -n" + mount_point + " -F";
    return {said(COMMON_LogLevelWarn, kCheck, mount_point + " partition is corrupt"),
            said(COMMON_LogLevelInfo, kCheck, "Executing: " + erase),
            step("system", erase),
            said(COMMON_LogLevelInfo, kCheck, "Executing: " + format),
            step("system", format),
            said(COMMON_LogLevelInfo, kCheck, "partition " + mount_point + " format complete")};
}

TEST(FlashCheck, RecoveryFormatsAndRestarts)
{
    const struct {
        std::uint32_t index;
        const char* place;
    } partitions[] = {{1, "-o8448K -l512K"}, {2, "-o8960K -l1024K"}, {3, "-o9984K -l2048K"}};
    for (const auto& partition : partitions) {
        const std::uint32_t index = partition.index;
        EXPECT_THAT(steps_of(
                        [&] {
                            without_nand();
                            // The device is gone after the formatting, and does not come again.
                            script.on_system = [](const std::string& command) {
                                if (command.ends_with(" -F")) {
                                    std::filesystem::remove("/dev/fs0");
                                }
                            };
                            std::filesystem::remove(kMountPoints[index]);
                            std::uint32_t flag = 7;
                            EXPECT_EQ(FLASHSAFE_CheckPartition(index, 0, 1, &flag), 0U);
                            EXPECT_EQ(flag, 1U);
                        },
                        {"/dev/fs0"}),
                    ElementsAreArray(joined({formatting(kMountPoints[index], partition.place),
                                             {kStartingNor, kStartNor},
                                             repeated(100, step("sleep", "100"))})))
            << "ten seconds to come up";
    }
}

TEST(FlashCheck, RecoveryGivesTheDriverTenSecondsAndForce)
{
    EXPECT_THAT(steps_of(
                    [] {
                        without_nand();
                        script.terminate_results = {0};
                        std::filesystem::remove("/log");
                        std::uint32_t flag = 7;
                        EXPECT_EQ(FLASHSAFE_CheckPartition(3, 0, 1, &flag), 1U);
                        EXPECT_EQ(flag, 1U);
                    },
                    {"/dev/fs0"}),
                ElementsAreArray(
                    joined({formatting("/log", "-o9984K -l2048K"),
                            {kGettingNor, kFindNor, kStoppingNor, step("terminate", "4711 10000 0"),
                             said(COMMON_LogLevelWarn, "flashsafe_ShutdownNorDriver",
                                  "Forcing Kill of NOR flash driver \"nor-driver\" (pid 4711)"),
                             step("terminate", "4711 0 1")}})))
        << "the device is still there, so that there is nothing to start";
}

TEST(FlashCheck, ADriverThatDoesNotEndIsNotStarted)
{
    EXPECT_THAT(steps_of(
                    [] {
                        without_nand();
                        script.terminate_results = {0, 0};
                        std::filesystem::remove("/log");
                        std::uint32_t flag = 7;
                        EXPECT_EQ(FLASHSAFE_CheckPartition(3, 0, 1, &flag), 0U);
                        EXPECT_EQ(flag, 1U);
                        std::filesystem::remove("/dev/fs0");
                    },
                    {"/dev/fs0"})
                    .back(),
                step("terminate", "4711 0 1"));
}

TEST(FlashCheck, ResultsOfFlashctlAreNotLookedAt)
{
    EXPECT_THAT(
        steps_of([] {
            without_nand();
            script.system_results = {-1, 0x100};
            script.on_system = [](const std::string& command) {
                if (command.starts_with("nor-driver")) {
                    make("/dev/fs0");
                }
            };
            std::filesystem::remove("/log");
            std::uint32_t flag = 7;
            EXPECT_EQ(FLASHSAFE_CheckPartition(3, 0, 1, &flag), 1U);
            EXPECT_EQ(flag, 1U);
        }),
        ElementsAreArray(joined(
            {formatting("/log", "-o9984K -l2048K"), {kStartingNor, kStartNor}, kRemountAll})));
}

}  // namespace
