// The counter of errors that outlives the process.
#include "common.h"

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include "fault.h"
#include "file_reports.h"
#include "fresh_process.h"

using namespace harness;
using fault::Call;
using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

namespace fs = std::filesystem;

constexpr char kFile[] = "/dev/shmem/bterrors.log";

void make_folder()
{
    fs::create_directory("/dev/shmem");
}

const FreshSetup kWithFolder{.prepare = make_folder};

std::string byte(int value)
{
    return std::string(1, static_cast<char>(value));
}

void hold(const std::string& content)
{
    make_content(kFile, content);
}

std::string held()
{
    return fs::exists(kFile) ? content_of(kFile) : "(no file)";
}

/// Runs a body that logs nothing. @return what it prints, to standard error behind a bar.
std::string printed_by(const FreshSetup& setup, const std::function<void()>& body)
{
    const Outcome outcome = well(setup, body);
    EXPECT_THAT(outcome.log, IsEmpty());
    return outcome.out + (outcome.err.empty() ? "" : "|" + outcome.err);
}

std::string printed_by(const std::function<void()>& body)
{
    return printed_by(kWithFolder, body);
}

FRESH_TEST(ErrorCounter, NoFileIsACountOfNone)
{
    make_folder();
    EXPECT_EQ(bterrors_ReadErrorCount(), 0);
    EXPECT_EQ(BTE_IsErrorLimitReached(), 0U);
    EXPECT_EQ(held(), "(no file)") << "reading makes none";
}

FRESH_TEST(ErrorCounter, FirstErrorMakesTheFile)
{
    make_folder();
    EXPECT_EQ(BTE_LogError(), 1);
    EXPECT_EQ(held(), byte(1));
    EXPECT_EQ(bterrors_ReadErrorCount(), 1);
}

FRESH_TEST(ErrorCounter, FiftyErrorsReachTheLimit)
{
    make_folder();
    for (int count = 1; count <= 50; ++count) {
        EXPECT_EQ(BTE_IsErrorLimitReached(), 0U) << count;
        EXPECT_EQ(BTE_LogError(), count);
        EXPECT_EQ(held(), byte(count));
    }
    EXPECT_EQ(BTE_IsErrorLimitReached(), 1U);
    fault::reset();
    EXPECT_EQ(BTE_LogError(), 50);
    EXPECT_EQ(BTE_LogError(), 50);
    EXPECT_EQ(held(), byte(50));
    EXPECT_EQ(fault::calls(Call::fopen), 2) << "to be read, not to be written";
    EXPECT_EQ(fault::calls(Call::fwrite), 0);
}

FRESH_TEST(ErrorCounter, CountOutlivesTheProcess)
{
    make_folder();
    hold(byte(48));
    EXPECT_EQ(bterrors_ReadErrorCount(), 48);
    EXPECT_EQ(BTE_IsErrorLimitReached(), 0U);
    EXPECT_EQ(BTE_LogError(), 49);
    EXPECT_EQ(BTE_IsErrorLimitReached(), 0U);
    EXPECT_EQ(BTE_LogError(), 50);
    EXPECT_EQ(held(), byte(50));
    EXPECT_EQ(BTE_IsErrorLimitReached(), 1U);
}

// Somebody else wrote it; it is a limit for good.
FRESH_TEST(ErrorCounter, CountAboveTheLimitIsNeverRewritten)
{
    make_folder();
    for (const int count : {50, 51, 127, 128, 200, 255}) {
        hold(byte(count));
        EXPECT_EQ(bterrors_ReadErrorCount(), count);
        EXPECT_EQ(BTE_IsErrorLimitReached(), 1U) << count;
        EXPECT_EQ(BTE_LogError(), count);
        EXPECT_EQ(held(), byte(count));
    }
}

FRESH_TEST(ErrorCounter, CountIsABinaryNumber)
{
    make_folder();
    hold("7");
    EXPECT_EQ(bterrors_ReadErrorCount(), 55);
    hold(byte(0));
    EXPECT_EQ(bterrors_ReadErrorCount(), 0);
    EXPECT_EQ(BTE_LogError(), 1);
}

FRESH_TEST(ErrorCounter, OnlyTheFirstByteCountsAndOnlyOneIsWritten)
{
    make_folder();
    hold(byte(5) + byte(60) + "more");
    EXPECT_EQ(bterrors_ReadErrorCount(), 5);
    EXPECT_EQ(BTE_LogError(), 6);
    EXPECT_EQ(held(), byte(6));
}

FRESH_TEST(ErrorCounter, FileThatCannotBeCutKeepsWhatIsBehindTheCount)
{
    make_folder();
    hold(byte(5) + "more");
    fault::fail(Call::ftruncate, 1, EPERM);
    EXPECT_EQ(BTE_LogError(), 6);
    EXPECT_EQ(held(), byte(6) + "more");
    EXPECT_EQ(bterrors_ReadErrorCount(), 6);
}

// The call that finds the file empty removes it and counts nothing; the next one starts again.
TEST(ErrorCounter, EmptyFileIsRemoved)
{
    EXPECT_EQ(printed_by([] {
                  hold("");
                  EXPECT_EQ(BTE_LogError(), -1);
                  EXPECT_EQ(held(), "(no file)");
                  EXPECT_EQ(BTE_LogError(), 1);
                  EXPECT_EQ(held(), byte(1));
              }),
              "ReadBTErrorCount: Corrupt file: /dev/shmem/bterrors.log, deleting...\n");
    EXPECT_EQ(printed_by([] {
                  hold("");
                  EXPECT_EQ(BTE_IsErrorLimitReached(), 0U);
                  EXPECT_EQ(bterrors_ReadErrorCount(), 0);
              }),
              "ReadBTErrorCount: Corrupt file: /dev/shmem/bterrors.log, deleting...\n");
}

TEST(ErrorCounter, EmptyFileThatCannotBeRemovedStays)
{
    EXPECT_EQ(printed_by([] {
                  hold("");
                  fault::fail(Call::unlink, 1, EROFS);
                  EXPECT_EQ(bterrors_ReadErrorCount(), -1);
                  EXPECT_EQ(fault::fired(), 1);
                  EXPECT_EQ(held(), "");
              }),
              "ReadBTErrorCount: Corrupt file: /dev/shmem/bterrors.log, deleting...\n"
              "ReadBTErrorCount: Error deleting file: /dev/shmem/bterrors.log\n");
}

/// What is in the folder of the counter.
std::vector<std::string> names()
{
    std::vector<std::string> found;
    for (const auto& entry : fs::directory_iterator("/dev/shmem")) {
        found.push_back(entry.path().filename());
    }
    return found;
}

// A reader takes an empty file away, and with it what the writer is about to write.
TEST(ErrorCounter, ReaderBesideAWriterFindsACountAtEveryStep)
{
    for (const std::string& before : {byte(7), byte(7) + " and more"}) {
        EXPECT_EQ(printed_by([&] {
                      hold(before);
                      std::vector<std::string> found;
                      const auto look = [&] { found.push_back(held()); };
                      fault::on_call(Call::fopen, 2, look);  // the first one reads
                      fault::on_call(Call::fwrite, 1, look);
                      fault::on_call(Call::ftruncate, 1, look);
                      fault::on_call(Call::fclose, 2, look);
                      EXPECT_EQ(BTE_LogError(), 8);
                      EXPECT_THAT(found,
                                  ElementsAre(before, before, byte(8) + before.substr(1), byte(8)));
                      EXPECT_EQ(held(), byte(8));
                  }),
                  "");
    }
    EXPECT_EQ(printed_by([] {
                  std::vector<std::string> found;
                  const auto look = [&] { found.push_back(held()); };
                  fault::on_call(Call::fopen, 2, look);  // the first one looks for the file
                  fault::on_call(Call::fwrite, 1, look);
                  fault::on_call(Call::fclose, 1, look);
                  fault::on_call(Call::rename, 1, look);
                  EXPECT_EQ(BTE_LogError(), 1);
                  EXPECT_THAT(found, AllOf(SizeIs(4), Each("(no file)")));
                  EXPECT_EQ(held(), byte(1));
                  EXPECT_THAT(names(), ElementsAre("bterrors.log"));
              }),
              "");
}

TEST(ErrorCounter, FirstFileThatCannotBeMadeLeavesNone)
{
    const std::string text = "WriteBTErrorCount: Couldn't open file for writing: ";
    const std::string path = std::string(kFile) + "\n";
    EXPECT_EQ(printed_by([] {
                  fault::fail(Call::fopen, 2, EROFS);
                  BTE_LogError();
                  fault::fail(Call::fwrite, 1, ENOSPC);
                  BTE_LogError();
                  EXPECT_THAT(names(), IsEmpty());
                  fault::fail(Call::rename, 1, EACCES);
                  BTE_LogError();
                  EXPECT_EQ(fault::fired(), 3);
                  EXPECT_THAT(names(), IsEmpty());
              }),
              text + path + "WriteBTErrorCount: Not all byte(s) were written to file: " + path +
                  text + path);
}

// Of a process that was killed, say.
FRESH_TEST(ErrorCounter, WhatAnotherWriterLeftIsNoObstacle)
{
    make_folder();
    std::string left;
    fault::on_call(Call::fwrite, 1, [&] { left = names().at(0); });
    BTE_LogError();
    fs::rename(kFile, "/dev/shmem/" + left);
    BTE_LogError();
    EXPECT_THAT(names(), ElementsAre("bterrors.log"));
    EXPECT_EQ(held(), byte(1));
}

TEST(ErrorCounter, FileThatCannotBeOpenedIsAnUnknownCount)
{
    const std::string text = "ReadBTErrorCount: Couldn't open file: /dev/shmem/bterrors.log\n";
    EXPECT_EQ(printed_by([] {
                  hold(byte(49));
                  fault::fail_always(Call::fopen, EMFILE);
                  EXPECT_EQ(bterrors_ReadErrorCount(), -1);
                  EXPECT_EQ(BTE_IsErrorLimitReached(), 0U);
                  EXPECT_EQ(BTE_LogError(), -1);
                  EXPECT_EQ(fault::fired(), 3) << "it is not opened for writing then";
                  EXPECT_EQ(held(), byte(49));
              }),
              text + text + text);
}

TEST(ErrorCounter, FileThatCannotBeOpenedForWritingIsNotReplaced)
{
    EXPECT_EQ(printed_by([] {
                  hold(byte(7));
                  fault::fail(Call::fopen, 2, EACCES);
                  BTE_LogError();
                  EXPECT_EQ(fault::fired(), 1);
                  EXPECT_EQ(held(), byte(7));
              }),
              "WriteBTErrorCount: Couldn't open file for writing: /dev/shmem/bterrors.log\n");
}

TEST(ErrorCounter, FileThatCannotBeReadIsAnUnknownCount)
{
    const std::string text = "ReadBTErrorCount: Error reading from file: Input/output error\n";
    EXPECT_EQ(printed_by([] {
                  hold(byte(49));
                  fault::fail_always(Call::fread, EIO);
                  EXPECT_EQ(bterrors_ReadErrorCount(), -1);
                  EXPECT_EQ(BTE_IsErrorLimitReached(), 0U);
                  EXPECT_EQ(BTE_LogError(), -1);
                  EXPECT_EQ(held(), byte(49));
              }),
              "|" + text + text + text);
}

TEST(ErrorCounter, WhatIsNoFileIsACountOfNoneThatCannotBeRaised)
{
    EXPECT_EQ(printed_by([] {
                  fs::create_directory(kFile);
                  EXPECT_EQ(bterrors_ReadErrorCount(), 0);
                  EXPECT_EQ(BTE_LogError(), 1);
                  EXPECT_TRUE(fs::is_directory(kFile));
              }),
              "WriteBTErrorCount: Couldn't open file for writing: /dev/shmem/bterrors.log\n");
}

TEST(ErrorCounter, MissingFolderIsToldByWriting)
{
    EXPECT_EQ(printed_by({},
                         [] {
                             EXPECT_EQ(bterrors_ReadErrorCount(), 0);
                             EXPECT_EQ(BTE_IsErrorLimitReached(), 0U);
                             BTE_LogError();
                         }),
              "WriteBTErrorCount: Couldn't open file for writing: /dev/shmem/bterrors.log\n");
}

TEST(ErrorCounter, ByteThatCannotBeWrittenIsTold)
{
    const std::string text =
        "WriteBTErrorCount: Not all byte(s) were written to file: /dev/shmem/bterrors.log\n";
    EXPECT_EQ(printed_by([] {
                  hold(byte(7));
                  fault::fail(Call::fwrite, 1, ENOSPC);
                  BTE_LogError();
                  EXPECT_EQ(fault::fired(), 1);
                  EXPECT_EQ(fault::calls(Call::fclose), 2);
              }),
              text);
    // A real one: the link is followed, and the device is always full.
    EXPECT_EQ(printed_by([] {
                  fs::create_symlink("/dev/full", kFile);
                  BTE_LogError();
              }),
              text);
}

TEST(ErrorCounter, FileThatCannotBeExaminedIsPrintedAndACountOfNone)
{
    EXPECT_EQ(printed_by([] {
                  hold(byte(7));
                  fault::fail(Call::stat, 1, EIO);
                  EXPECT_EQ(bterrors_ReadErrorCount(), 0);
              }),
              "UTIL_FileExists: Error running stat routine: Input/output error\n");
}

FRESH_TEST(ErrorCounter, FlashWriteErrorIsAPlaceholder)
{
    make_folder();
    EXPECT_EQ(FlashWriteErrorDTC(), 0U);
}

}  // namespace
