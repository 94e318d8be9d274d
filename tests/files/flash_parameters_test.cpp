// The parameters of the flash devices: what is read from the environment, when, and what is said.
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "files/flash_device.h"
#include "flash_safety.h"
#include "flash_support.h"

using namespace harness;
using namespace common::flash;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

namespace {

const std::vector<std::string> kNorVariables{
    "FLASH_START_DRIVER_NAME", "FLASH_START_DRIVER_OPTIONS",  "FLASH_START_BOOT_SIZE",
    "FLASH_START_ROOT_SIZE",   "FLASH_START_CONFIG_MFG_SIZE", "FLASH_START_CONFIG_SIZE",
    "FLASH_START_LOG_SIZE"};
static_assert(kPartitionCount == 4, "the size of each is among the variables");

const Report kNoNorParameters = said(COMMON_LogLevelError, "flashsafe_GetNorParams",
                                     "Cannot get flash driver parameters from the environment!");
const Report kNoNandParameters = said(COMMON_LogLevelError, "flashsafe_GetNandParams",
                                      "Cannot get NAND driver parameters from the environment!");

void expect_partition(std::uint32_t index, const char* mount_point, std::int32_t offset,
                      std::int32_t size)
{
    EXPECT_STREQ(kPartitions[index].mount_point, mount_point);
    EXPECT_EQ(extents[index].offset, offset) << mount_point;
    EXPECT_EQ(extents[index].size, size) << mount_point;
}

TEST(FlashParameters, PartitionsLieBackToBackBehindTheBootArea)
{
    const Outcome outcome = with_parameters([] {
        EXPECT_FALSE(nor_driver.is_known);
        EXPECT_TRUE(flashsafe_GetNorParams());
        EXPECT_TRUE(nor_driver.is_known);
        expect_partition(0, "/", 256, 8192);
        expect_partition(1, "/config-mfg", 8448, 512);
        expect_partition(2, "/config", 8960, 1024);
        expect_partition(3, "/log", 9984, 2048);
    });
    EXPECT_THAT(flash_reports(outcome), ElementsAreArray(nor_parameters()));
}

TEST(FlashParameters, TextsAreThoseOfTheEnvironment)
{
    with_parameters([] {
        EXPECT_TRUE(flashsafe_GetNorParams());
        EXPECT_EQ(nor_driver.name, std::getenv("FLASH_START_DRIVER_NAME"));
        EXPECT_EQ(nor_driver.options, std::getenv("FLASH_START_DRIVER_OPTIONS"));
        EXPECT_TRUE(flashsafe_GetNandParams());
        EXPECT_EQ(nand_driver.name, std::getenv("NAND_DRIVER_NAME"));
        EXPECT_EQ(nand_driver.options, std::getenv("NAND_DRIVER_OPTIONS"));
    });
}

TEST(FlashParameters, EveryMissingVariableIsReportedInOrder)
{
    const Outcome outcome = well(with_debug_records(), [] {
        EXPECT_FALSE(flashsafe_GetNorParams());
        EXPECT_FALSE(nor_driver.is_known);
        EXPECT_FALSE(flashsafe_GetNandParams());
        EXPECT_FALSE(nand_driver.is_known);
    });
    Reports expected;
    for (const std::string& variable : kNorVariables) {
        expected.push_back(missing(variable));
    }
    expected.push_back(kNoNorParameters);
    expected.push_back(missing("NAND_DRIVER_NAME"));
    expected.push_back(missing("NAND_DRIVER_OPTIONS"));
    expected.push_back(kNoNandParameters);
    EXPECT_THAT(flash_reports(outcome), ElementsAreArray(expected));
}

TEST(FlashParameters, OneMissingVariableIsEnough)
{
    for (const std::string& variable : kNorVariables) {
        const Outcome outcome = with_parameters([&] {
            unsetenv(variable.c_str());
            EXPECT_FALSE(flashsafe_GetNorParams());
            // Nothing is remembered: the next call tries again, and so does the one that succeeds.
            EXPECT_FALSE(flashsafe_GetNorParams());
            setenv(variable.c_str(), usual_target_environment()[variable].c_str(), 1);
            EXPECT_TRUE(flashsafe_GetNorParams());
        });
        EXPECT_THAT(flash_reports(outcome),
                    ElementsAreArray(joined({{missing(variable), kNoNorParameters},
                                             {missing(variable), kNoNorParameters},
                                             nor_parameters()})))
            << variable;
    }
    for (const std::string variable : {"NAND_DRIVER_NAME", "NAND_DRIVER_OPTIONS"}) {
        const Outcome outcome = with_parameters([&] {
            unsetenv(variable.c_str());
            EXPECT_FALSE(flashsafe_GetNandParams());
            setenv(variable.c_str(), usual_target_environment()[variable].c_str(), 1);
            EXPECT_TRUE(flashsafe_GetNandParams());
        });
        EXPECT_THAT(flash_reports(outcome),
                    ElementsAre(missing(variable), kNoNandParameters, nand_parameters()))
            << variable;
    }
}

TEST(FlashParameters, AreLoadedOnceForTheLifeOfTheProcess)
{
    const Outcome outcome = with_parameters([] {
        EXPECT_TRUE(flashsafe_GetNorParams());
        EXPECT_TRUE(flashsafe_GetNandParams());
        EXPECT_TRUE(nand_driver.is_known);
        setenv("FLASH_START_LOG_SIZE", "1", 1);
        unsetenv("FLASH_START_BOOT_SIZE");
        unsetenv("NAND_DRIVER_OPTIONS");
        EXPECT_TRUE(flashsafe_GetNorParams());
        EXPECT_TRUE(flashsafe_GetNandParams());
        expect_partition(3, "/log", 9984, 2048);
    });
    EXPECT_THAT(flash_reports(outcome),
                ElementsAreArray(joined({nor_parameters(), {nand_parameters()}})));
}

TEST(FlashParameters, SetToNothingIsNotMissing)
{
    const Outcome outcome = with_parameters([] {
        for (const std::string& variable : kNorVariables) {
            setenv(variable.c_str(), "", 1);
        }
        EXPECT_TRUE(flashsafe_GetNorParams());
        expect_partition(0, "/", 0, 0);
        expect_partition(3, "/log", 0, 0);
    });
    EXPECT_THAT(
        flash_reports(outcome),
        ElementsAre(said(COMMON_LogLevelInfo, "flashsafe_GetNorParams", "NOR flash driver: \" \""),
                    said(COMMON_LogLevelInfo, "flashsafe_GetNorParams",
                         "NOR flash partitions: b=[0,0] r=[0,0] m=[0,0] c=[0,0] "
                         "l=[0,0]")));
}

struct Size {
    const char* text;
    std::int32_t value;
};

TEST(FlashParameters, SizesAreNumbersOfAnyBase)
{
    const Size sizes[] = {
        {"0", 0},
        {"2048", 2048},
        {"0x800", 2048},
        {"0X1f", 31},
        {"0400", 256},
        {"08", 0},
        {"  12", 12},
        {"+7", 7},
        {"-5", -5},
        {"12K", 12},
        {"K", 0},
        {"2147483647", INT32_MAX},
        // A number of 64 bits loses its upper half, one of 32 bits is the largest.
        {"0x180000001", sizeof(long) == 8 ? INT32_MIN + 1 : INT32_MAX}};
    for (const Size& size : sizes) {
        SCOPED_TRACE(size.text);
        with_parameters([&] {
            setenv("FLASH_START_LOG_SIZE", size.text, 1);
            EXPECT_TRUE(flashsafe_GetNorParams());
            expect_partition(3, "/log", 9984, size.value);
        });
    }
}

TEST(FlashParameters, NumbersOfAnyLengthAreReportedWhole)
{
    const char* const least = "-2147483648";
    const Outcome outcome = with_parameters([&] {
        for (const char* const area : {"BOOT", "ROOT", "CONFIG_MFG", "CONFIG", "LOG"}) {
            setenv(("FLASH_START_" + std::string(area) + "_SIZE").c_str(), least, 1);
        }
        EXPECT_TRUE(flashsafe_GetNorParams());
    });
    auto expected = nor_parameters();
    expected[1].message = "NOR flash partitions: b=[0,-2147483648] r=[-2147483648,-2147483648] "
                          "m=[0,-2147483648] c=[-2147483648,-2147483648] l=[0,-2147483648]";
    EXPECT_THAT(flash_reports(outcome), ElementsAreArray(expected));
}

TEST(FlashParameters, OffsetsWrapBeyondAllDevices)
{
    with_parameters([] {
        setenv("FLASH_START_BOOT_SIZE", "0x7fffffff", 1);
        EXPECT_TRUE(flashsafe_GetNorParams());
        expect_partition(0, "/", INT32_MAX, 8192);
        expect_partition(1, "/config-mfg", INT32_MIN + 8191, 512);
    });
}

TEST(FlashParameters, DriversAreUpWhenTheirDevicesAreThere)
{
    struct Devices {
        const char* path;
        bool nor;
        bool nand;
    };
    const Devices all[] = {{"/dev/nothing", false, false}, {"/dev/fs0", true, false},
                           {"/dev/fs0p3", true, false},    {"/dev/fs1", false, false},
                           {"/dev/xfs0", false, false},    {"/dev/etfs", false, true},
                           {"/dev/etfs2", false, true},    {"/dev/etf", false, false},
                           {"/dev/sub/fs0", false, false}, {"/dev/.fs0", false, false}};
    for (const Devices& devices : all) {
        const Outcome outcome = well([&] {
            std::filesystem::create_directory("/dev/sub");
            std::ofstream(devices.path) << std::flush;
            EXPECT_EQ(is_up(nor_driver), devices.nor) << devices.path;
            EXPECT_EQ(is_up(nand_driver), devices.nand) << devices.path;
        });
        EXPECT_THAT(outcome.log, IsEmpty());
    }
}

FRESH_TEST(FlashParameters, ManyDevicesAreTheSameAsOne)
{
    for (int i = 0; i < 100; ++i) {
        std::ofstream("/dev/fs0p" + std::to_string(i)) << std::flush;
    }
    EXPECT_TRUE(is_up(nor_driver));
    EXPECT_FALSE(is_up(nand_driver));
}

// What is missing is nothing to do for those who stop and start drivers, and a failure for all
// else.
TEST(FlashParameters, MissingOnesInEveryExportedFunction)
{
    const Outcome outcome = with_parameters([] {
        unsetenv("FLASH_START_LOG_SIZE");
        std::ofstream("/dev/fs0") << std::flush;
        std::uint32_t corrupt = 7;
        EXPECT_EQ(FLASHSAFE_CheckPartition(1, 0, 1, &corrupt), 0U);
        EXPECT_EQ(corrupt, 0U);
        EXPECT_EQ(FLASHSAFE_MountWritable(1), 0U);
        EXPECT_EQ(FLASHSAFE_MountReadOnly(1), 0U);
        setenv("NAND_DRIVER_NAME", "", 1);
        EXPECT_EQ(FLASHSAFE_ShutdownDriver(100, 1), 1U);
        EXPECT_EQ(FLASHSAFE_StartDriver(100), 1U);
    });
    const Reports nor{missing("FLASH_START_LOG_SIZE"), kNoNorParameters};
    const Reports nand{
        said(COMMON_LogLevelInfo, "flashsafe_GetNandParams", "NAND flash driver: \" -c 4\"")};
    EXPECT_THAT(flash_reports(outcome), ElementsAreArray(joined({nor, nor, nor, nor, nand, nor})));
}

TEST(FlashParameters, WithoutNandEveryCallOfADriverFunctionSaysSo)
{
    const Outcome outcome = with_parameters([] {
        unsetenv("NAND_DRIVER_NAME");
        unsetenv("NAND_DRIVER_OPTIONS");
        setenv("FLASH_START_DRIVER_NAME", "", 1);
        EXPECT_EQ(FLASHSAFE_ShutdownDriver(100, 1), 1U);
        EXPECT_EQ(FLASHSAFE_StartDriver(100), 1U);
    });
    Reports nor = nor_parameters();
    nor[0].message = "NOR flash driver: \" -s0x40000000,12M\"";
    EXPECT_THAT(flash_reports(outcome), ElementsAreArray(joined({nor, no_nand(), no_nand()})));
}

}  // namespace
