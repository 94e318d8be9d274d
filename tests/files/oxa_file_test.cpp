// Streams with checked arguments: what they do, and what wrong arguments and streams give.
#include "oxa_file.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include "common_log_settings.h"
#include "file_reports.h"

using namespace harness;
using testing::ElementsAre;

namespace {

namespace fs = std::filesystem;

constexpr char kPath[] = "/tmp/file";

/// A stream that is closed at the end of the scope.
class Stream {
public:
    Stream(const char* path, const char* mode) : stream_(std::fopen(path, mode))
    {
        EXPECT_NE(stream_, nullptr) << path;
    }
    ~Stream() { std::fclose(stream_); }
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    operator FILE*() const { return stream_; }

private:
    FILE* stream_;
};

// ------------------------------------------------------------------------------------- at work

FRESH_TEST(OxaFile, WhatIsWrittenIsReadBack)
{
    FILE* stream = FILE_Open(kPath, "w");
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(FILE_Write("abcdef", 2, 3, stream), 3);
    EXPECT_EQ(FILE_PutChar('g', stream), 1U);
    EXPECT_EQ(FILE_Tell(stream), 7);
    EXPECT_EQ(FILE_Close(stream), 1U);
    EXPECT_EQ(content_of(kPath), "abcdefg");

    stream = FILE_Open(kPath, "r");
    ASSERT_NE(stream, nullptr);
    char buffer[8] = "-------";
    EXPECT_EQ(FILE_Read(buffer, 2, 2, stream), 2);
    EXPECT_STREQ(buffer, "abcd---");
    EXPECT_EQ(FILE_GetChar(stream), 'e');
    EXPECT_EQ(FILE_Tell(stream), 5);
    EXPECT_EQ(FILE_Close(stream), 1U);
}

FRESH_TEST(OxaFile, ModeIsThatOfTheCLibrary)
{
    for (int round = 0; round < 2; ++round) {
        FILE* const stream = FILE_Open(kPath, "ab");
        EXPECT_EQ(FILE_PutChar('x', stream), 1U);
        EXPECT_EQ(FILE_Close(stream), 1U);
    }
    EXPECT_EQ(content_of(kPath), "xx");
}

FRESH_TEST(OxaFile, PositionMovesFromEachOrigin)
{
    make_content(kPath, "0123456789");
    const Stream stream(kPath, "r");
    EXPECT_EQ(FILE_Seek(stream, 4, SEEK_SET), 1U);
    EXPECT_EQ(FILE_GetChar(stream), '4');
    EXPECT_EQ(FILE_Seek(stream, -2, SEEK_CUR), 1U);
    EXPECT_EQ(FILE_GetChar(stream), '3');
    EXPECT_EQ(FILE_Seek(stream, -1, SEEK_END), 1U);
    EXPECT_EQ(FILE_GetChar(stream), '9');
    EXPECT_EQ(FILE_Tell(stream), 10);
}

// The end of the file, and a file that is shorter than asked for, are for the caller to notice.
FRESH_TEST(OxaFile, EndOfTheFileIsNoFailure)
{
    make_content(kPath, "abcde");
    const Stream stream(kPath, "r");
    char buffer[8];
    EXPECT_EQ(FILE_Read(buffer, 2, 4, stream), 2);
    EXPECT_EQ(FILE_GetChar(stream), -1);
    EXPECT_EQ(FILE_Read(buffer, 1, 1, stream), 0);
}

FRESH_TEST(OxaFile, EveryCharacterIsANumberFrom0)
{
    const Stream stream(kPath, "w+");
    for (int character = 0; character < 256; ++character) {
        EXPECT_EQ(FILE_PutChar(character, stream), 1U);
    }
    EXPECT_EQ(FILE_Seek(stream, 0, SEEK_SET), 1U);
    for (int character = 0; character < 256; ++character) {
        EXPECT_EQ(FILE_GetChar(stream), character);
    }
    EXPECT_EQ(FILE_GetChar(stream), -1);
}

FRESH_TEST(OxaFile, FlushHandsTheBufferOver)
{
    const Stream stream(kPath, "w");
    FILE_PutChar('x', stream);
    EXPECT_EQ(content_of(kPath), "");
    EXPECT_EQ(FILE_GetFileSize(stream), 0) << "without what is in the buffer";
    EXPECT_EQ(FILE_Flush(stream), 1U);
    EXPECT_EQ(content_of(kPath), "x");
    EXPECT_EQ(FILE_GetFileSize(stream), 1);
}

// Callers flush everything that way before they let the power go.
FRESH_TEST(OxaFile, FlushOfNullFlushesEveryStream)
{
    const Stream one("/tmp/one", "w");
    const Stream two("/tmp/two", "w");
    FILE_PutChar('1', one);
    FILE_PutChar('2', two);
    EXPECT_EQ(FILE_Flush(nullptr), 1U);
    EXPECT_EQ(content_of("/tmp/one") + content_of("/tmp/two"), "12");
}

FRESH_TEST(OxaFile, SizesAreGiven)
{
    make_content(kPath, "");
    {
        const Stream stream(kPath, "r");
        EXPECT_EQ(FILE_GetFileSize(stream), 0);
        EXPECT_EQ(FILE_GetFileSizeByName(kPath), 0);
    }
    make_content(kPath, std::string(4711, 'x'));
    const Stream stream(kPath, "r");
    FILE_Seek(stream, 100, SEEK_SET);
    EXPECT_EQ(FILE_GetFileSize(stream), 4711);
    EXPECT_EQ(FILE_Tell(stream), 100) << "the position is left alone";
    fs::create_symlink(kPath, "/tmp/link");
    EXPECT_EQ(FILE_GetFileSizeByName("/tmp/link"), 4711);
}

FRESH_TEST(OxaFile, WholeFilesAreReadAndWritten)
{
    make_content(kPath, "what was there before");
    EXPECT_EQ(FILE_OpenAndWrite("abcdef", 2, 3, kPath), 3);
    EXPECT_EQ(content_of(kPath), "abcdef");
    char buffer[8] = "-------";
    EXPECT_EQ(FILE_OpenAndRead(buffer, 4, 2, kPath), 1) << "one whole element";
    EXPECT_EQ(std::string(buffer, 4), "abcd");
    EXPECT_EQ(FILE_OpenAndRead(buffer, 1, 6, kPath), 6);
    EXPECT_EQ(std::string(buffer, 6), "abcdef");
    EXPECT_EQ(FILE_OpenAndWrite("new", 1, 3, "/tmp/new"), 3);
    EXPECT_EQ(content_of("/tmp/new"), "new");
}

// A negative number would be taken for nearly all of the memory.
FRESH_TEST(OxaFile, NegativeSizesAndCountsMoveNothing)
{
    make_content(kPath, "abcdef");
    const Stream stream(kPath, "r+");
    char buffer[4] = "---";
    for (const std::int32_t number : {0, -1, INT32_MIN}) {
        EXPECT_EQ(FILE_Read(buffer, number, 1, stream), 0);
        EXPECT_EQ(FILE_Read(buffer, 1, number, stream), 0);
        EXPECT_EQ(FILE_Read(buffer, number, number, stream), 0);
        EXPECT_EQ(FILE_Write(buffer, number, 1, stream), 0);
        EXPECT_EQ(FILE_Write(buffer, 1, number, stream), 0);
        EXPECT_EQ(FILE_Write(buffer, number, number, stream), 0);
        EXPECT_EQ(FILE_OpenAndRead(buffer, number, number, kPath), 0);
    }
    EXPECT_STREQ(buffer, "---");
    EXPECT_EQ(FILE_Tell(stream), 0);
}

FRESH_TEST(OxaFile, ErrnoTellsAboutTheLastCall)
{
    make_content(kPath, "x");
    const auto leaves_no_error = [](const std::function<void()>& call) {
        errno = ERANGE;
        call();
        return errno == 0;
    };
    FILE* stream = nullptr;
    char byte = 0;
    EXPECT_TRUE(leaves_no_error([&] { stream = FILE_Open(kPath, "r+"); }));
    EXPECT_TRUE(leaves_no_error([&] { (void)FILE_Read(&byte, 1, 1, stream); }));
    EXPECT_TRUE(leaves_no_error([&] { FILE_GetChar(stream); }));
    EXPECT_TRUE(leaves_no_error([&] { FILE_Seek(stream, 0, SEEK_SET); }));
    EXPECT_TRUE(leaves_no_error([&] { FILE_Write(&byte, 1, 1, stream); }));
    EXPECT_TRUE(leaves_no_error([&] { FILE_PutChar('y', stream); }));
    EXPECT_TRUE(leaves_no_error([&] { FILE_Flush(stream); }));
    EXPECT_TRUE(leaves_no_error([&] { FILE_Tell(stream); }));
    EXPECT_TRUE(leaves_no_error([&] { FILE_GetFileSize(stream); }));
    EXPECT_TRUE(leaves_no_error([&] { FILE_GetFileSizeByName(kPath); }));
    EXPECT_TRUE(leaves_no_error([&] { FILE_Close(stream); }));
}

// ----------------------------------------------------------------------------------- large files

// 2 GiB less one byte is the last size and position that there is a number for.
TEST(OxaFile, SizeThatIsTooLargeIsAFailure)
{
    const auto no_attributes = [](const char* function) {
        return said(COMMON_LogLevelError, function, "Cannot get file attributes!");
    };
    EXPECT_THAT(
        records_of([] {
            const Stream stream(kPath, "w");
            ASSERT_EQ(ftruncate(fileno(stream), INT32_MAX), 0);
            EXPECT_EQ(FILE_GetFileSize(stream), INT32_MAX);
            EXPECT_EQ(FILE_GetFileSizeByName(kPath), INT32_MAX);
            for (const std::int64_t size : {0x8000'0000LL, 0x1'0000'0005LL}) {
                ASSERT_EQ(ftruncate(fileno(stream), size), 0);
                EXPECT_EQ(FILE_GetFileSize(stream), -1);
                EXPECT_EQ(errno, EOVERFLOW);
                EXPECT_EQ(FILE_GetFileSizeByName(kPath), -1);
                EXPECT_EQ(errno, EOVERFLOW);
            }
        }),
        ElementsAre(no_attributes("FILE_GetFileSize"), no_attributes("FILE_GetFileSizeByName"),
                    no_attributes("FILE_GetFileSize"), no_attributes("FILE_GetFileSizeByName")));
}

TEST(OxaFile, PositionThatIsTooLargeIsAFailureButCanBeUsed)
{
    const auto too_large =
        said("FILE_Tell", "FILE_Tell() failed, returned:  Value too large for defined data type");
    EXPECT_THAT(records_of([] {
                    const Stream stream(kPath, "w+");
                    EXPECT_EQ(FILE_Seek(stream, INT32_MAX, SEEK_SET), 1U);
                    EXPECT_EQ(FILE_Tell(stream), INT32_MAX);
                    EXPECT_EQ(FILE_PutChar('x', stream), 1U);
                    EXPECT_EQ(FILE_Flush(stream), 1U);
                    EXPECT_EQ(FILE_Tell(stream), -1);
                    EXPECT_EQ(errno, EOVERFLOW);
                    EXPECT_EQ(FILE_Seek(stream, -1, SEEK_CUR), 1U);
                    EXPECT_EQ(FILE_GetChar(stream), 'x');
                }),
                ElementsAre(too_large));
}

// --------------------------------------------------------------------------------------- misuse

TEST(OxaFile, NullIsReportedByEachFunction)
{
    EXPECT_THAT(records_of([] {
                    make_content(kPath, "x");
                    const Stream stream(kPath, "r");
                    char byte = 0;
                    EXPECT_EQ(FILE_Open(nullptr, "r"), nullptr);
                    EXPECT_EQ(FILE_Open(kPath, nullptr), nullptr);
                    EXPECT_EQ(FILE_Open(nullptr, nullptr), nullptr);
                    EXPECT_EQ(FILE_Close(nullptr), 0U);
                    EXPECT_EQ(FILE_Read(nullptr, 1, 1, stream), 0);
                    EXPECT_EQ(FILE_Read(&byte, 1, 1, nullptr), 0);
                    EXPECT_EQ(FILE_Write(nullptr, 1, 1, stream), 0);
                    EXPECT_EQ(FILE_Write(&byte, 1, 1, nullptr), 0);
                    EXPECT_EQ(FILE_Seek(nullptr, 0, SEEK_SET), 0U);
                    EXPECT_EQ(FILE_GetChar(nullptr), -1);
                    EXPECT_EQ(FILE_PutChar('x', nullptr), 0U);
                    EXPECT_EQ(FILE_Tell(nullptr), -1);
                    EXPECT_EQ(FILE_GetFileSize(nullptr), -1);
                    EXPECT_EQ(FILE_GetFileSizeByName(nullptr), -1);
                }),
                ElementsAre(said("FILE_Open", "FILE_Open() failed, Null Parameter"),
                            said("FILE_Open", "FILE_Open() failed, Null Parameter"),
                            said("FILE_Open", "FILE_Open() failed, Null Parameter"),
                            said("FILE_Close", "FILE_Close() failed, NULL fp"),
                            said("FILE_Read", "FILE_Read() failed, NULL pointer"),
                            said("FILE_Read", "FILE_Read() failed, NULL pointer"),
                            said("FILE_Write", "FILE_Write() failed, NULL pointer"),
                            said("FILE_Write", "FILE_Write() failed, NULL pointer"),
                            said("FILE_Seek", "FILE_Seek() failed, NULL file pointer"),
                            said("FILE_GetChar", "FILE_GetChar() failed, NULL file pointer"),
                            said("FILE_PutChar", "FILE_PutChar() failed, NULL file pointer"),
                            said("FILE_Tell", "The input parameter \"fp\" is invalid!"),
                            said(COMMON_LogLevelError, "FILE_GetFileSize",
                                 "One or more invalid parameters are detected!"),
                            said(COMMON_LogLevelError, "FILE_GetFileSizeByName",
                                 "One or more invalid parameters are detected!")));
}

TEST(OxaFile, MissingFileIsReported)
{
    EXPECT_THAT(records_of([] {
                    EXPECT_EQ(FILE_Open("/tmp/missing", "r"), nullptr);
                    EXPECT_EQ(FILE_Open("", "r"), nullptr);
                    EXPECT_EQ(FILE_Open("/tmp/x", "?"), nullptr);
                    EXPECT_EQ(FILE_GetFileSizeByName("/tmp/missing"), -1);
                }),
                ElementsAre(said("FILE_Open", "FILE_Open() failed opening /tmp/missing, "
                                              "returned:  No such file or directory"),
                            said("FILE_Open", "FILE_Open() failed opening , returned:  No such "
                                              "file or directory"),
                            said("FILE_Open", "FILE_Open() failed opening /tmp/x, returned:  "
                                              "Invalid argument"),
                            said(COMMON_LogLevelError, "FILE_GetFileSizeByName",
                                 "Cannot get file attributes!")));
}

TEST(OxaFile, StreamThatCannotBeReadOrWrittenIsReported)
{
    EXPECT_THAT(records_of([] {
                    make_content(kPath, "abc");
                    const Stream reader(kPath, "r");
                    const Stream writer("/tmp/other", "w");
                    char byte = 0;
                    EXPECT_EQ(FILE_Write("x", 1, 1, reader), 0);
                    EXPECT_EQ(FILE_PutChar('x', reader), 0U);
                    EXPECT_EQ(FILE_Read(&byte, 1, 1, writer), 0);
                    EXPECT_EQ(FILE_GetChar(writer), -1);
                }),
                ElementsAre(said("FILE_Write", "FILE_Write() failed, returned:  Bad file "
                                               "descriptor"),
                            said("FILE_PutChar", "FILE_PutChar() failed, returned:  Bad file "
                                                 "descriptor"),
                            said("FILE_Read", "FILE_Read() failed, returned:  Bad file "
                                              "descriptor"),
                            said("FILE_GetChar", "FILE_GetChar() failed, returned:  Bad file "
                                                 "descriptor")));
}

// The indicator is the stream's, and may be from before: then there is no error to tell about.
TEST(OxaFile, StreamInErrorStateIsReadAndReported)
{
    EXPECT_THAT(records_of([] {
                    make_content(kPath, "abc");
                    const Stream stream(kPath, "r+");
                    static_cast<FILE*>(stream)->_flags |= _IO_ERR_SEEN;
                    char buffer[4] = "---";
                    EXPECT_EQ(FILE_Read(buffer, 1, 2, stream), 2);
                    EXPECT_STREQ(buffer, "ab-");
                    EXPECT_EQ(FILE_Seek(stream, 0, SEEK_CUR), 1U);
                    EXPECT_EQ(FILE_Write("x", 1, 1, stream), 1);
                }),
                ElementsAre(said("FILE_Read", "FILE_Read() failed, returned:  Success"),
                            said("FILE_Write", "FILE_Write() failed, returned:  Success")));
}

TEST(OxaFile, CharacterThatIsNoneIsWrittenAndReported)
{
    const auto differs = said("FILE_PutChar", "FILE_PutChar() failed, returned:  Success");
    EXPECT_THAT(records_of([] {
                    const Stream stream(kPath, "w");
                    EXPECT_EQ(FILE_PutChar(-2, stream), 0U);
                    EXPECT_EQ(FILE_PutChar(256 + 'x', stream), 0U);
                    EXPECT_EQ(FILE_PutChar(-1, stream), 0U);
                    std::fflush(stream);
                    EXPECT_EQ(content_of(kPath), "\xFEx\xFF");
                }),
                ElementsAre(differs, differs, differs));
}

TEST(OxaFile, WrongPositionIsReported)
{
    EXPECT_THAT(records_of([] {
                    make_content(kPath, "abc");
                    const Stream stream(kPath, "r");
                    EXPECT_EQ(FILE_Seek(stream, -1, SEEK_SET), 0U);
                    EXPECT_EQ(FILE_Seek(stream, 0, 4711), 0U);
                    int ends[2];
                    ASSERT_EQ(pipe(ends), 0);
                    FILE* const end = fdopen(ends[0], "r");
                    EXPECT_EQ(FILE_Seek(end, 0, SEEK_SET), 0U);
                    EXPECT_EQ(FILE_Tell(end), -1);
                    std::fclose(end);
                    close(ends[1]);
                }),
                ElementsAre(said("FILE_Seek", "FILE_Seek() failed, returned:  Invalid argument"),
                            said("FILE_Seek", "FILE_Seek() failed, returned:  Invalid argument"),
                            said("FILE_Seek", "FILE_Seek() failed, returned:  Illegal seek"),
                            said("FILE_Tell", "FILE_Tell() failed, returned:  Illegal seek")));
}

TEST(OxaFile, StreamInMemoryHasNoFile)
{
    EXPECT_THAT(records_of([] {
                    char memory[8] = "memory";
                    FILE* const stream = fmemopen(memory, sizeof memory, "r");
                    EXPECT_EQ(FILE_GetFileSize(stream), -1);
                    EXPECT_EQ(FILE_Close(stream), 1U);
                }),
                ElementsAre(said(COMMON_LogLevelError, "FILE_GetFileSize",
                                 "Conversion stream -> file descriptior "
                                 "failed!")));
}

TEST(OxaFile, FullDiskShowsWhereTheBufferIsHandedOver)
{
    EXPECT_THAT(records_of([] {
                    FILE* const stream = FILE_Open("/dev/full", "w");
                    EXPECT_EQ(FILE_Write("x", 1, 1, stream), 1);
                    EXPECT_EQ(FILE_Flush(stream), 0U);
                    EXPECT_EQ(FILE_PutChar('x', stream), 1U);
                    EXPECT_EQ(FILE_Close(stream), 0U);
                }),
                ElementsAre(said("FILE_Flush", "FILE_Flush() failed, returned:  No space left "
                                               "on device"),
                            said("FILE_Close", "FILE_Close() failed, returned:  No space left "
                                               "on device")));
}

TEST(OxaFile, WholeFileThatCannotBeOpenedIsReportedOnce)
{
    EXPECT_THAT(records_of([] {
                    char byte = 'k';
                    EXPECT_EQ(FILE_OpenAndRead(&byte, 1, 1, "/tmp/missing"), 0);
                    EXPECT_EQ(byte, 'k');
                    EXPECT_EQ(FILE_OpenAndWrite(&byte, 1, 1, "/tmp/missing/file"), 0);
                    EXPECT_EQ(FILE_OpenAndRead(&byte, 1, 1, nullptr), 0);
                    EXPECT_EQ(FILE_OpenAndWrite(&byte, 1, 1, nullptr), 0);
                }),
                ElementsAre(said("FILE_Open", "FILE_Open() failed opening /tmp/missing, "
                                              "returned:  No such file or directory"),
                            said("FILE_Open", "FILE_Open() failed opening /tmp/missing/file, "
                                              "returned:  No such file or directory"),
                            said("FILE_Open", "FILE_Open() failed, Null Parameter"),
                            said("FILE_Open", "FILE_Open() failed, Null Parameter")));
}

TEST(OxaFile, WholeFileWithoutABufferIsOpenedAndClosed)
{
    EXPECT_THAT(records_of([] {
                    make_content(kPath, "abc");
                    EXPECT_EQ(FILE_OpenAndRead(nullptr, 1, 1, kPath), 0);
                    EXPECT_EQ(content_of(kPath), "abc");
                    EXPECT_EQ(FILE_OpenAndWrite(nullptr, 1, 1, kPath), 0);
                    EXPECT_EQ(content_of(kPath), "");
                }),
                ElementsAre(said("FILE_Read", "FILE_Read() failed, NULL pointer"),
                            said("FILE_Write", "FILE_Write() failed, NULL pointer")));
}

TEST(OxaFile, FolderCanBeOpenedButNotRead)
{
    EXPECT_THAT(records_of([] {
                    char byte = 0;
                    EXPECT_EQ(FILE_OpenAndRead(&byte, 1, 1, "/tmp"), 0);
                }),
                ElementsAre(said("FILE_Read", "FILE_Read() failed, returned:  Is a directory")));
}

TEST(OxaFile, NothingIsReportedBelowTheLevel)
{
    EXPECT_THAT(records_of([] {
                    COMMON_Log_LevelSet(COMMON_LogLevelCritical);
                    EXPECT_EQ(FILE_GetFileSize(nullptr), -1);
                    EXPECT_EQ(FILE_Close(nullptr), 0U);
                }),
                ElementsAre(said("FILE_Close", "FILE_Close() failed, NULL fp")));
}

}  // namespace
