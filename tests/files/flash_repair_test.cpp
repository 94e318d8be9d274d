// Checking and repairing partitions on a simulated target: real commands, real drivers, and the
// journal of what was run.
#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "cancelled.h"
#include "common_log.h"
#include "flash_safety.h"
#include "flash_target.h"

using namespace harness;
namespace fs = std::filesystem;
using fault::Call;
using testing::Contains;
using testing::ElementsAreArray;
using testing::IsEmpty;

namespace {

// --------------------------------------------------------------------------------------- checking

TEST(FlashRepair, SoundPartitionsNeedNoCommand)
{
    const Outcome outcome = on_target({}, [] {
        fs::create_directories("/config/a/b");
        std::ofstream("/config/a/b/file") << "x";
        for (const std::uint32_t index : {1U, 2U, 3U}) {
            std::uint32_t corrupt = 7;
            EXPECT_EQ(FLASHSAFE_CheckPartition(index, 1, 1, &corrupt), 1U);
            EXPECT_EQ(corrupt, 0U);
        }
        EXPECT_THAT(target_journal(), IsEmpty());
    });
    EXPECT_THAT(
        flash_reports(outcome),
        ElementsAreArray(joined({nor_parameters(),
                                 {said(COMMON_LogLevelInfo, kCheck, "/config-mfg partition is OK"),
                                  said(COMMON_LogLevelInfo, kCheck, "/config partition is OK"),
                                  said(COMMON_LogLevelInfo, kCheck, "/log partition is OK")}})));
}

struct Damage {
    const char* what;
    std::function<void(const std::string&)> make;
    const char* path;  ///< below the mount point; null: it is too deep
};

const std::vector<Damage> kDamages{
    {"a dangling entry", [](const std::string& folder) { corrupt(folder + "/a"); }, "/a/lost"},
    {"a level too many",
     [](const std::string& folder) {
         std::string path = folder;
         for (int i = 0; i < 99; ++i) {
             path += "/d";
         }
         fs::create_directories(path);
     },
     nullptr}};

struct Partition {
    std::uint32_t index;
    std::string mount_point;
    std::string place;
};

static_assert(common::flash::kPartitionCount == 4, "all but the root, which nothing can empty");
const std::vector<Partition> kPartitions{{1, "/config-mfg", "-o8448K -l512K"},
                                         {2, "/config", "-o8960K -l1024K"},
                                         {3, "/log", "-o9984K -l2048K"}};

Lines flashctl_lines(const Partition& partition)
{
    return {"flashctl " + partition.place + " -p/dev/fs0 -vv -e",
            "flashctl " + partition.place + " -p/dev/fs0p0 -f -n" + partition.mount_point + " -F"};
}

void expect_repaired(const Partition& partition, const Damage& damage)
{
    const Outcome outcome = on_target({}, [&] {
        damage.make(partition.mount_point);
        const std::uint32_t nor = tell_pid(kNor);
        const std::uint32_t nand = tell_pid(kNand);
        await_ends({nor, nand});
        std::uint32_t corrupt = 7;
        EXPECT_EQ(FLASHSAFE_CheckPartition(partition.index, 1, 1, &corrupt), 1U);
        EXPECT_EQ(corrupt, 1U);
        EXPECT_THAT(target_journal(),
                    ElementsAreArray(joined_lines({flashctl_lines(partition),
                                                   {"nor-driver -s0x40000000,12M"},
                                                   kRemounts,
                                                   {"nand-driver -c 4"}})));
        // Both run again, as other processes.
        EXPECT_TRUE(is_up("/dev/fs0") && is_up("/dev/etfs1"));
        EXPECT_GT(pid_of(kNor), nor);
        EXPECT_GT(pid_of(kNand), nand);
        EXPECT_TRUE(fs::is_empty(partition.mount_point));
        EXPECT_EQ(FLASHSAFE_CheckPartition(partition.index, 1, 0, &corrupt), 1U);
        EXPECT_EQ(corrupt, 0U);
    });
    const Lines pids = printed(outcome);
    ASSERT_EQ(pids.size(), 2U);
    const std::string& place = partition.mount_point;
    const Lines flashctl = flashctl_lines(partition);
    EXPECT_THAT(flash_reports(outcome),
                ElementsAreArray(joined(
                    {nor_parameters(),
                     {said(COMMON_LogLevelWarn, "flashsafe_DoRecursiveCheck",
                           damage.path == nullptr
                               ? "Too many directory levels (99), assuming corruption"
                               : "Detected corruption in file/dir: " + place + damage.path),
                      said(COMMON_LogLevelWarn, kCheck, place + " partition is corrupt"),
                      said(COMMON_LogLevelInfo, kCheck, "Executing: " + flashctl[0]),
                      said(COMMON_LogLevelInfo, kCheck, "Executing: " + flashctl[1]),
                      said(COMMON_LogLevelInfo, kCheck, "partition " + place + " format complete")},
                     stopping_nor(pids[0]),
                     {nand_parameters()},
                     stopping_nand(pids[1]),
                     {kStartingNor, kStartingNand,
                      said(COMMON_LogLevelInfo, kCheck, place + " partition is OK")}})))
        << damage.what;
}

TEST(FlashRepair, CorruptPartitionsAreRepaired)
{
    for (const Partition& partition : kPartitions) {
        for (const Damage& damage : kDamages) {
            expect_repaired(partition, damage);
        }
    }
}

TEST(FlashRepair, TheRootIsFormattedByItsName)
{
    on_target({}, [] {
        await_ends({pid_of(kNor), pid_of(kNand)});
        COMMON_Log_Acceptable(COMMON_LogLevelInfo);  // looks for settings files now
        fault::fail(Call::stat, 1, EIO);
        std::uint32_t corrupt = 7;
        EXPECT_EQ(FLASHSAFE_CheckPartition(0, 0, 1, &corrupt), 1U);
        EXPECT_EQ(corrupt, 1U);
        EXPECT_THAT(target_journal(),
                    Contains("flashctl -o256K -l8192K -p/dev/fs0p0 -f -n/ -F").Times(1));
    });
}

TEST(FlashRepair, WithoutNandTheRepairIsTheSame)
{
    const Outcome outcome = on_target(nor_only(), [] {
        await_ends({tell_pid(kNor)});
        corrupt("/log");
        std::uint32_t flag = 7;
        EXPECT_EQ(FLASHSAFE_CheckPartition(3, 1, 1, &flag), 1U);
        EXPECT_EQ(flag, 1U);
        EXPECT_THAT(
            target_journal(),
            ElementsAreArray(joined_lines(
                {flashctl_lines(kPartitions[2]), {"nor-driver -s0x40000000,12M"}, kRemounts})));
    });
    const Reports reports = flash_reports(outcome);
    ASSERT_EQ(reports.size(), 16U);
    EXPECT_THAT(Reports(reports.begin() + 7, reports.end()),
                ElementsAreArray(joined(
                    {stopping_nor(printed(outcome)[0]), no_nand(), {kStartingNor}, no_nand()})));
}

TEST(FlashRepair, WhatFlashctlSaysDoesNotMatter)
{
    on_target({.behaviour = {{"flashctl", "exit=1"}}}, [] {
        await_ends({pid_of(kNor), pid_of(kNand)});
        corrupt("/log");
        std::uint32_t flag = 7;
        EXPECT_EQ(FLASHSAFE_CheckPartition(3, 1, 1, &flag), 1U);
        EXPECT_EQ(flag, 1U);
        // The next check tells.
        EXPECT_EQ(FLASHSAFE_CheckPartition(3, 1, 0, &flag), 1U);
        EXPECT_EQ(flag, 1U);
    });
}

TEST(FlashRepair, ARepairFailsWithTheDriverThatDoesNotEnd)
{
    const Outcome outcome = on_target({.behaviour = {{"nor-driver", "ignore-term"}}}, [] {
        tell_pid(kNor);
        corrupt("/log");
        // The sleeps between the looks at a process take no time.
        fault::fail_always(Call::usleep);
        fault::fail(Call::kill, 2);
        std::uint32_t flag = 7;
        EXPECT_EQ(FLASHSAFE_CheckPartition(3, 1, 1, &flag), 0U);
        EXPECT_EQ(flag, 1U);
        EXPECT_GE(fault::calls(Call::usleep), 100) << "ten seconds";
        EXPECT_LE(fault::calls(Call::usleep), 102) << "and 200 milliseconds for NAND";
        EXPECT_TRUE(is_up("/dev/fs0"));
        EXPECT_THAT(target_journal(), ElementsAreArray(flashctl_lines(kPartitions[2])));
    });
    EXPECT_THAT(flash_reports(outcome),
                Contains(said(COMMON_LogLevelWarn, "flashsafe_ShutdownNorDriver",
                              "Forcing Kill of NOR flash driver \"nor-driver\" (pid " +
                                  printed(outcome).at(0) + ")"))
                    .Times(1));
}

// Half way the partition would be erased, and its drivers down.
TEST(FlashRepair, ARepairIsNotCancelled)
{
    on_target({}, [] {
        await_ends({pid_of(kNor), pid_of(kNand)});
        corrupt("/log");
        expect_uncancelled(Call::system, [] {
            std::uint32_t flag = 7;
            EXPECT_EQ(FLASHSAFE_CheckPartition(3, 1, 1, &flag), 1U);
            EXPECT_EQ(flag, 1U);
        });
        EXPECT_TRUE(is_up("/dev/fs0") && is_up("/dev/etfs1"));
        EXPECT_THAT(target_journal(),
                    ElementsAreArray(joined_lines({flashctl_lines(kPartitions[2]),
                                                   {"nor-driver -s0x40000000,12M"},
                                                   kRemounts,
                                                   {"nand-driver -c 4"}})));
    });
}

}  // namespace
