// The recovery example as its user sees it: exit status, table, records, and the commands that the
// simulated target ran.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <string>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>

#include "../../files/flash_partitions.h"
#include "fault.h"
#include "fresh_process.h"
#include "log_expect.h"
#include "recovery.h"
#include "simulated_target.h"

namespace {

using namespace harness;
using testing::AllOf;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Matcher;
using testing::MatchesRegex;

static_assert(recovery::kPartitionCount == common::flash::kPartitionCount);

constexpr int kNotRun = 99;

/// Runs the example on a target with damage; its standard output is followed by the journal.
Outcome recover(const TargetSetup& target, const std::vector<std::string>& damaged,
                const char* option = nullptr)
{
    return run_fresh([&] {
        const int status = run_on_target(target, [&] {
            for (const std::string& folder : damaged) {
                corrupt(folder);
            }
            execl(RECOVERY, "recovery", option, nullptr);
            return kNotRun;
        });
        std::printf("exits with %d\n", status);
        for (const std::string& line : target_journal()) {
            std::printf("> %s\n", line.c_str());
        }
        std::string line;
        for (std::ifstream notes("/config-mfg/repairs.txt"); std::getline(notes, line);) {
            std::printf("noted: %s\n", line.c_str());
        }
    });
}

/// The records without those that the log writes about itself.
std::vector<Report> records(const Outcome& outcome)
{
    std::vector<Report> found;
    for (const Report& report : reports(outcome)) {
        if (report.file == "recovery.cpp" || report.file == "flash_safety") {
            found.push_back(report);
        }
    }
    return found;
}

Matcher<Report> said(const std::string& level, const std::string& function,
                     const Matcher<std::string>& message)
{
    return AllOf(Field(&Report::level, level), Field(&Report::function, function),
                 Field(&Report::message, message));
}

Matcher<Report> noted(const std::string& level, const std::string& message)
{
    return AllOf(Field(&Report::zone, "RECOVERY"), Field(&Report::file, "recovery.cpp"),
                 said(level, "repair", message));
}

const std::vector<Matcher<Report>> kParameters{
    said("Info", "flashsafe_GetNorParams", HasSubstr("NOR flash driver: ")),
    said("Info", "flashsafe_GetNorParams", HasSubstr("NOR flash partitions: "))};

std::vector<Matcher<Report>> operator+(std::vector<Matcher<Report>> first,
                                       const std::vector<Matcher<Report>>& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

Matcher<Report> ok(const std::string& mount_point)
{
    return said("Info", "FLASHSAFE_CheckPartition", mount_point + " partition is OK");
}

std::vector<Matcher<Report>> found_corrupt(const std::string& mount_point)
{
    return {said("Warn", "flashsafe_DoRecursiveCheck",
                 "Detected corruption in file/dir: " + mount_point + "/lost"),
            said("Warn", "FLASHSAFE_CheckPartition", mount_point + " partition is corrupt")};
}

Matcher<Report> skipped(const std::string& mount_point)
{
    return said("Warn", "FLASHSAFE_CheckPartition",
                "skipping recovery of flash partition " + mount_point);
}

/// A NAND driver has no more than 200 milliseconds to end, which a busy machine may not give it.
const TargetSetup kWithoutNand{
    .env = {{"NAND_DRIVER_NAME", std::nullopt}, {"NAND_DRIVER_OPTIONS", std::nullopt}}};
const std::vector<Matcher<Report>> kNoNand{
    said("Error", "flashsafe_GetEnvVarPtr", HasSubstr("NAND_DRIVER_NAME")),
    said("Error", "flashsafe_GetEnvVarPtr", HasSubstr("NAND_DRIVER_OPTIONS")),
    said("Error", "flashsafe_GetNandParams",
         "Cannot get NAND driver parameters from the environment!")};

TEST(Recovery, SoundPartitionsAreLeftAlone)
{
    const Outcome outcome = recover({}, {});
    EXPECT_THAT(outcome, exited(0));
    EXPECT_EQ(outcome.out, "partition    found        left\n"
                           "/            sound        sound\n"
                           "/config-mfg  sound        sound\n"
                           "/config      sound        sound\n"
                           "/log         sound        sound\n"
                           "exits with 0\n");
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(records(outcome),
                ElementsAreArray(kParameters + std::vector{ok("/"), ok("/config-mfg"),
                                                           ok("/config"), ok("/log")}));
}

TEST(Recovery, ACorruptPartitionIsFormattedAndTheDriversRestarted)
{
    const Outcome outcome = recover(kWithoutNand, {"/log"});
    EXPECT_THAT(outcome, exited(0));
    EXPECT_EQ(outcome.out, "partition    found        left\n"
                           "/            sound        sound\n"
                           "/config-mfg  sound        sound\n"
                           "/config      sound        sound\n"
                           "/log         corrupt      repaired\n"
                           "exits with 0\n"
                           "> flashctl -o9984K -l2048K -p/dev/fs0 -vv -e\n"
                           "> flashctl -o9984K -l2048K -p/dev/fs0p0 -f -n/log -F\n"
                           "> nor-driver -s0x40000000,12M\n"
                           "> mount -u -r /\n"
                           "> mount -u -r /config-mfg\n"
                           "> mount -u -w /config\n"
                           "> mount -u -w /log\n"
                           "> mount -u -w /config-mfg\n"
                           "> mount -u -r /config-mfg\n"
                           "noted: formatted /log\n");
    EXPECT_EQ(outcome.err, "");
    const char* const check = "FLASHSAFE_CheckPartition";
    EXPECT_THAT(
        records(outcome),
        ElementsAreArray(
            kParameters + std::vector{ok("/"), ok("/config-mfg"), ok("/config")} +
            found_corrupt("/log") +
            std::vector{skipped("/log"),
                        noted("Note", "Repair of /log starts, and all files on it are lost")} +
            found_corrupt("/log") +
            std::vector{
                said("Info", check, "Executing: flashctl -o9984K -l2048K -p/dev/fs0 -vv -e"),
                said("Info", check,
                     "Executing: flashctl -o9984K -l2048K -p/dev/fs0p0 -f -n/log -F"),
                said("Info", check, "partition /log format complete"),
                said("Debug", "flashsafe_ShutdownNorDriver",
                     "Getting pid for NOR flash driver \"nor-driver\""),
                said(
                    "Debug", "flashsafe_ShutdownNorDriver",
                    MatchesRegex("Terminating NOR flash driver \"nor-driver\" \\(pid [0-9]+\\)"))} +
            kNoNand +
            std::vector{said("Debug", "flashsafe_StartNorDriver",
                             "Starting NOR flash driver \"nor-driver -s0x40000000,12M\"")} +
            kNoNand + std::vector{ok("/log"), noted("Note", "Repair of /log ended")}));
}

TEST(Recovery, OnlyCheckingFormatsNothing)
{
    const Outcome outcome = recover({}, {"/config", "/log"}, "--check");
    EXPECT_THAT(outcome, exited(0));
    EXPECT_EQ(outcome.out, "partition    found        left\n"
                           "/            sound        sound\n"
                           "/config-mfg  sound        sound\n"
                           "/config      corrupt      corrupt\n"
                           "/log         corrupt      corrupt\n"
                           "exits with 1\n");
    EXPECT_THAT(records(outcome),
                ElementsAreArray(kParameters + std::vector{ok("/"), ok("/config-mfg")} +
                                 found_corrupt("/config") + std::vector{skipped("/config")} +
                                 found_corrupt("/log") + std::vector{skipped("/log")}));
}

TEST(Recovery, APartitionThatStaysCorruptIsReported)
{
    const Outcome outcome = recover({.behaviour = {{"flashctl", "exit=1"}}}, {"/log"});
    EXPECT_THAT(outcome, exited(0));
    EXPECT_THAT(outcome.out, HasSubstr("/log         corrupt      not repaired\nexits with 1\n"));
    EXPECT_THAT(records(outcome).back(), noted("Critical", "Repair of /log failed"));
}

// The first look fails, the second one does not.
TEST(Recovery, APartitionFoundSoundAtASecondLookIsNotFormatted)
{
    const Outcome outcome = well([] {
        EXPECT_EQ(run_on_target({},
                                [] {
                                    std::ofstream("/log/kept") << "kept";
                                    fault::fail(fault::Call::fstatat, 1, EIO);
                                    return recovery::recover(false);
                                }),
                  0);
        EXPECT_TRUE(std::filesystem::exists("/log/kept"));
        EXPECT_FALSE(std::filesystem::exists("/config-mfg/repairs.txt"));
        EXPECT_THAT(target_journal(), IsEmpty());
    });
    EXPECT_THAT(outcome.out, HasSubstr("/log         corrupt      sound\n"));
    EXPECT_THAT(records(outcome).back(),
                noted("Note", "/log is sound at a second look and is not formatted"));
}

/// What is logged about the note of a repair. @param prepare changes the target before.
std::vector<Report> records_of_the_note(const std::function<void()>& prepare)
{
    const Outcome outcome = well([&] {
        const int status = run_on_target(kWithoutNand, [&] {
            corrupt("/log");
            prepare();
            return recovery::recover(false);
        });
        EXPECT_EQ(status, 0) << "a repair counts without its note";
    });
    EXPECT_THAT(outcome.out, HasSubstr("/log         corrupt      repaired\n"));
    std::vector<Report> found;
    for (const Report& report : records(outcome)) {
        if (report.function == "note_down") {
            found.push_back(report);
        }
    }
    return found;
}

TEST(Recovery, ANoteThatCannotBeWrittenIsReported)
{
    const auto not_noted = [](const std::string& reason) {
        return said("Error", "note_down", "Repair of /log is not noted: " + reason);
    };
    EXPECT_THAT(records_of_the_note([] { set_behaviour("mount", "exit=1"); }),
                ElementsAre(not_noted("/config-mfg is not writable")));
    EXPECT_THAT(
        records_of_the_note([] { std::filesystem::create_directory("/config-mfg/repairs.txt"); }),
        ElementsAre(not_noted("cannot write /config-mfg/repairs.txt: Is a directory (21)")));
    // Takes the line, and has no room for it when it is written.
    EXPECT_THAT(records_of_the_note([] {
                    std::filesystem::create_symlink("/dev/full", "/config-mfg/repairs.txt");
                }),
                ElementsAre(not_noted(
                    "cannot write /config-mfg/repairs.txt: No space left on device (28)")));
}

TEST(Recovery, APartitionThatStaysWritableIsReported)
{
    // Two commands format, one starts the driver, which four remount for, and then the two of the
    // note follow.
    EXPECT_THAT(records_of_the_note([] { fault::fail(fault::Call::system, 9); }),
                ElementsAre(said("Error", "note_down", "/config-mfg stays writable")));
    EXPECT_THAT(records_of_the_note([] { fault::fail(fault::Call::system, 10); }), IsEmpty());
}

TEST(Recovery, ADriverThatDoesNotStartIsReported)
{
    const Outcome outcome = well([] {
        EXPECT_EQ(run_on_target({},
                                [] {
                                    corrupt("/log");
                                    set_behaviour("nor-driver", "exit=1");
                                    execl(RECOVERY, "recovery", nullptr);
                                    return kNotRun;
                                }),
                  1);
    });
    EXPECT_THAT(outcome.out, HasSubstr("/log         corrupt      not repaired\n"));
    EXPECT_THAT(records(outcome).back(), noted("Critical", "Repair of /log failed"));
}

TEST(Recovery, WithoutParametersNothingIsKnown)
{
    const Outcome outcome =
        recover({.env = {{"FLASH_START_BOOT_SIZE", std::nullopt}}, .running = false}, {"/log"});
    EXPECT_THAT(outcome, exited(0));
    EXPECT_THAT(outcome.out, HasSubstr("/log         not known    not known\nexits with 1\n"));
}

TEST(Recovery, ExplainsItsUsage)
{
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"--repair"}, {"--check", "--check"}, {""}}) {
        std::vector<std::string> line{RECOVERY};
        line.insert(line.end(), arguments.begin(), arguments.end());
        const Outcome outcome = run_program({}, line);
        EXPECT_THAT(outcome, exited(2));
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(outcome.err, HasSubstr("usage: recovery"));
        EXPECT_THAT(outcome.log, IsEmpty());
    }
    const Outcome help = run_program({}, {RECOVERY, "--help"});
    EXPECT_THAT(help, exited(0));
    EXPECT_THAT(help.out, HasSubstr("usage: recovery"));
}

}  // namespace
