// Streams when the C library fails: each of its functions in turn.
#include "oxa_file.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <fcntl.h>
#include <ostream>
#include <pthread.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>

#include "fault.h"
#include "file_reports.h"
#include "wait_until.h"

using namespace harness;
using fault::Call;
using testing::ElementsAre;

namespace {

constexpr char kPath[] = "/tmp/file";

/// A call that fails with EIO because one of the C library does.
struct Failure {
    const char* function;
    Call call;
    std::int32_t result;
    std::int32_t (*run)(FILE* stream);
    const char* message;  ///< null: the usual one
};

void PrintTo(const Failure& failure, std::ostream* stream)
{
    *stream << failure.function;
}

std::int32_t number(std::uint32_t boolean)
{
    return static_cast<std::int32_t>(boolean);
}

class OxaFileFault : public testing::TestWithParam<Failure> {};

TEST_P(OxaFileFault, IsReportedOnce)
{
    const Failure& failure = GetParam();
    const std::string function = failure.function;
    const std::string message = failure.message != nullptr
                                    ? std::string(failure.message)
                                    : function + "() failed, returned:  Input/output error";
    const auto expected = failure.message != nullptr && failure.call != Call::fopen
                              ? COMMON_LogLevelError
                              : COMMON_LogLevelCritical;
    EXPECT_THAT(records_of([&] {
                    make_content(kPath, "abc");
                    FILE* const stream = std::fopen(kPath, "r+");
                    fault::fail(failure.call, 1, EIO);
                    EXPECT_EQ(failure.run(stream), failure.result);
                    EXPECT_EQ(fault::fired(), 1);
                    if (failure.call != Call::fclose) {
                        std::fclose(stream);
                    }
                }),
                ElementsAre(said(expected, function, message)));
}

const Failure kFailures[] = {
    {"FILE_Open", Call::fopen, 1, [](FILE*) { return number(FILE_Open(kPath, "r") == nullptr); },
     "FILE_Open() failed opening /tmp/file, returned:  Input/output error"},
    {"FILE_Close", Call::fclose, 0, [](FILE* stream) { return number(FILE_Close(stream)); },
     nullptr},
    {"FILE_Read", Call::fread, 0,
     [](FILE* stream) {
         char byte = 0;
         return FILE_Read(&byte, 1, 1, stream);
     },
     nullptr},
    {"FILE_Write", Call::fwrite, 0, [](FILE* stream) { return FILE_Write("x", 1, 1, stream); },
     nullptr},
    {"FILE_Seek", Call::fseek, 0,
     [](FILE* stream) { return number(FILE_Seek(stream, 1, SEEK_SET)); }, nullptr},
    {"FILE_GetChar", Call::fgetc, -1, [](FILE* stream) { return FILE_GetChar(stream); }, nullptr},
    {"FILE_PutChar", Call::fputc, 0, [](FILE* stream) { return number(FILE_PutChar('x', stream)); },
     nullptr},
    {"FILE_Flush", Call::fflush, 0, [](FILE* stream) { return number(FILE_Flush(stream)); },
     nullptr},
    {"FILE_Tell", Call::ftell, -1, [](FILE* stream) { return FILE_Tell(stream); }, nullptr},
    {"FILE_GetFileSize", Call::fileno, -1, [](FILE* stream) { return FILE_GetFileSize(stream); },
     "Conversion stream -> file descriptior failed!"},
    {"FILE_GetFileSize", Call::fstat, -1, [](FILE* stream) { return FILE_GetFileSize(stream); },
     "Cannot get file attributes!"},
    {"FILE_GetFileSizeByName", Call::stat, -1, [](FILE*) { return FILE_GetFileSizeByName(kPath); },
     "Cannot get file attributes!"},
};

INSTANTIATE_TEST_SUITE_P(Calls, OxaFileFault, testing::ValuesIn(kFailures), [](const auto& test) {
    return std::string(test.param.function) + "_" + fault::name(test.param.call);
});

// ------------------------------------------------------------------------------------ whole files

TEST(OxaFileWhole, FailureToOpenIsTheOnlyReport)
{
    EXPECT_THAT(records_of([] {
                    make_content(kPath, "abc");
                    char byte = 0;
                    fault::fail_always(Call::fopen, EMFILE);
                    EXPECT_EQ(FILE_OpenAndRead(&byte, 1, 1, kPath), 0);
                    EXPECT_EQ(FILE_OpenAndWrite("x", 1, 1, kPath), 0);
                    EXPECT_EQ(content_of(kPath), "abc");
                    EXPECT_EQ(fault::calls(Call::fclose), 0);
                }),
                ElementsAre(said("FILE_Open", "FILE_Open() failed opening /tmp/file, returned:  "
                                              "Too many open files"),
                            said("FILE_Open", "FILE_Open() failed opening /tmp/file, returned:  "
                                              "Too many open files")));
}

TEST(OxaFileWhole, FailureToReadStillClosesTheFile)
{
    EXPECT_THAT(records_of([] {
                    make_content(kPath, "abc");
                    char byte = 0;
                    fault::fail(Call::fread);
                    EXPECT_EQ(FILE_OpenAndRead(&byte, 1, 1, kPath), 0);
                    EXPECT_EQ(fault::calls(Call::fclose), 1);
                }),
                ElementsAre(said("FILE_Read", "FILE_Read() failed, returned:  Input/output "
                                              "error")));
}

TEST(OxaFileWhole, FailureToWriteStillFlushesAndClosesTheFile)
{
    EXPECT_THAT(records_of([] {
                    fault::fail(Call::fwrite, 1, ENOSPC);
                    EXPECT_EQ(FILE_OpenAndWrite("x", 1, 1, kPath), 0);
                    EXPECT_EQ(fault::calls(Call::fflush), 1);
                    EXPECT_EQ(fault::calls(Call::fclose), 1);
                }),
                ElementsAre(said("FILE_Write", "FILE_Write() failed, returned:  No space left "
                                               "on device")));
}

// Callers compare the count with what they gave; they get what the stream took.
TEST(OxaFileWhole, FlushAndCloseDoNotChangeTheResult)
{
    EXPECT_THAT(records_of([] {
                    fault::fail(Call::fflush, 1, ENOSPC);
                    fault::fail(Call::fclose, 1, EIO);
                    EXPECT_EQ(FILE_OpenAndWrite("abc", 1, 3, kPath), 3);
                    char buffer[4];
                    fault::fail(Call::fclose, 1, EIO);
                    EXPECT_EQ(FILE_OpenAndRead(buffer, 1, 3, kPath), 3);
                    EXPECT_EQ(fault::fired(), 3);
                }),
                ElementsAre(said("FILE_Flush", "FILE_Flush() failed, returned:  No space left "
                                               "on device"),
                            said("FILE_Close", "FILE_Close() failed, returned:  Input/output "
                                               "error"),
                            said("FILE_Close", "FILE_Close() failed, returned:  Input/output "
                                               "error")));
}

// Flushed before it is closed, so that a full disk is told by both names.
FRESH_TEST(OxaFileWhole, FileIsFlushedBeforeItIsClosed)
{
    std::string at_flush;
    fault::on_call(Call::fclose, 1, [&] { at_flush = content_of(kPath); });
    EXPECT_EQ(FILE_OpenAndWrite("abc", 1, 3, kPath), 3);
    EXPECT_EQ(at_flush, "abc");
}

// What follows a failure must not hide it: each step sets errno to 0 by itself.
TEST(OxaFileWhole, ErrnoTellsTheFirstFailure)
{
    const struct {
        std::int32_t (*run)(char* bytes);
        std::vector<Call> failing;  ///< in their order, the first one with EDOM
    } cases[] = {
        {[](char* bytes) { return FILE_OpenAndRead(bytes, 1, 3, kPath); }, {Call::fopen}},
        {[](char* bytes) { return FILE_OpenAndRead(bytes, 1, 3, kPath); },
         {Call::fread, Call::fclose}},
        {[](char* bytes) { return FILE_OpenAndRead(bytes, 1, 3, kPath); }, {Call::fclose}},
        {[](char* bytes) { return FILE_OpenAndWrite(bytes, 1, 3, kPath); }, {Call::fopen}},
        {[](char* bytes) { return FILE_OpenAndWrite(bytes, 1, 3, kPath); },
         {Call::fwrite, Call::fflush, Call::fclose}},
        {[](char* bytes) { return FILE_OpenAndWrite(bytes, 1, 3, kPath); },
         {Call::fflush, Call::fclose}},
        {[](char* bytes) { return FILE_OpenAndWrite(bytes, 1, 3, kPath); }, {Call::fclose}},
    };
    for (const auto& [run, failing] : cases) {
        const auto log = records_of([run = run, &failing = failing] {
            make_content(kPath, "abc");
            for (const Call call : failing) {
                fault::fail(call, 1, call == failing.front() ? EDOM : EIO);
            }
            char bytes[] = "abc";
            run(bytes);
            EXPECT_EQ(errno, EDOM) << fault::name(failing.front());
            fault::reset();
            EXPECT_EQ(run(bytes), 3);
            EXPECT_EQ(errno, 0);
        });
        EXPECT_EQ(log.size(), failing.size());
    }
}

// ---------------------------------------------------------------------------------- cancellation

constexpr char kFifo[] = "/tmp/fifo";

std::vector<char> more_than_a_pipe_holds()
{
    return std::vector<char>(4'000'000, 'x');
}

/// A thread in a function that does not come back by itself.
struct Blocked {
    const char* where;
    Call call;                ///< the function of the C library that blocks
    int (*open_other_end)();  ///< -1: there is none
    void* (*run)(void*);
};

void PrintTo(const Blocked& blocked, std::ostream* stream)
{
    *stream << blocked.where;
}

class OxaFileBlocked : public testing::TestWithParam<Blocked> {};

/// Whatever it waits for, the thread can be cancelled there, and leaves no descriptor open.
TEST_P(OxaFileBlocked, ThreadIsCancelled)
{
    const Outcome outcome = well([] {
        ASSERT_EQ(mkfifo(kFifo, 0600), 0);
        const int other_end = GetParam().open_other_end();
        pthread_t thread;
        ASSERT_EQ(pthread_create(&thread, nullptr, GetParam().run, nullptr), 0);
        EXPECT_TRUE(wait_until([] { return fault::calls(GetParam().call) == 1; }));
        EXPECT_EQ(pthread_cancel(thread), 0);
        void* result = nullptr;
        EXPECT_EQ(pthread_join(thread, &result), 0);
        EXPECT_EQ(result, PTHREAD_CANCELED);
        if (other_end >= 0) {
            close(other_end);
        }
    });
    EXPECT_THAT(outcome.log, testing::IsEmpty());
}

const Blocked kBlocked[] = {
    {"ReadOpening", Call::fopen, [] { return -1; },
     [](void*) -> void* {
         char byte = 0;
         (void)FILE_OpenAndRead(&byte, 1, 1, kFifo);
         return nullptr;
     }},
    {"Reading", Call::fread, [] { return open(kFifo, O_RDWR | O_CLOEXEC); },
     [](void*) -> void* {
         char byte = 0;
         (void)FILE_OpenAndRead(&byte, 1, 1, kFifo);
         return nullptr;
     }},
    {"WriteOpening", Call::fopen, [] { return -1; },
     [](void*) -> void* {
         (void)FILE_OpenAndWrite("x", 1, 1, kFifo);
         return nullptr;
     }},
    {"Writing", Call::fwrite, [] { return open(kFifo, O_RDWR | O_CLOEXEC); },
     [](void*) -> void* {
         static const std::vector<char> bytes = more_than_a_pipe_holds();
         (void)FILE_OpenAndWrite(bytes.data(), 1, static_cast<std::int32_t>(bytes.size()), kFifo);
         return nullptr;
     }},
    {"Flushing", Call::fflush,
     [] {
         const int fifo = open(kFifo, O_RDWR | O_NONBLOCK | O_CLOEXEC);
         const std::vector<char> bytes = more_than_a_pipe_holds();
         while (write(fifo, bytes.data(), bytes.size()) > 0) {
         }
         return fifo;
     },
     [](void*) -> void* {
         (void)FILE_OpenAndWrite("x", 1, 1, kFifo);
         return nullptr;
     }},
};

INSTANTIATE_TEST_SUITE_P(Fifo, OxaFileBlocked, testing::ValuesIn(kBlocked),
                         [](const auto& test) { return std::string(test.param.where); });

}  // namespace
