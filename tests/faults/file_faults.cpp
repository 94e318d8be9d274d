// Scenarios of the fault sweep: streams.
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "scenario.h"

using namespace faults;

namespace {

namespace fs = std::filesystem;

constexpr char kPath[] = "/tmp/stream";

/// A file with a few bytes, that can be read again when it is over.
class File {
public:
    explicit File(const char* mode = nullptr)
    {
        std::ofstream(kPath) << "bytes";
        if (mode != nullptr) {
            stream_ = FILE_Open(kPath, mode);
        }
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    ~File()
    {
        if (stream_ != nullptr) {
            EXPECT_EQ(FILE_Close(stream_), 1U);
        }
        char text[8];
        EXPECT_GE(FILE_OpenAndRead(text, 1, 8, kPath), 0);
        fs::remove(kPath);
    }

    operator FILE*() const { return stream_; }

private:
    FILE* stream_ = nullptr;
};

std::string content()
{
    std::ifstream file(kPath);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// What a function reports of itself.
harness::Report record(const std::string& function)
{
    return said(COMMON_LogLevelCritical, "COMMON", "oxa_file", function,
                function + "() failed, returned:  {text}");
}

Promise reports(Call call, const char* function, const char* result)
{
    return on(call).gives(result).logs({record(function)});
}

Promise open_reports(const char* result)
{
    return on(Call::fopen)
        .gives(result)
        .logs({said(COMMON_LogLevelCritical, "COMMON", "oxa_file", "FILE_Open",
                    "FILE_Open() failed opening /tmp/stream, returned:  {text}")});
}

SCENARIO(FILE_Open, gives("set"), open_reports("null"))
{
    const File file;
    FILE* const stream = CALL(FILE_Open, kPath, "r");
    if (stream != nullptr) {
        EXPECT_EQ(FILE_GetChar(stream), 'b');
        FILE_Close(stream);
    }
}

SCENARIO(FILE_Close, gives("1"), reports(Call::fclose, "FILE_Close", "0"))
{
    const File file;
    FILE* const stream = FILE_Open(kPath, "r");
    CALL(FILE_Close, stream);
}

SCENARIO(FILE_Read, gives("5"), reports(Call::fread, "FILE_Read", "0"))
{
    const File file("r");
    char text[8];
    CALL(FILE_Read, text, 1, sizeof text, file);
    std::clearerr(file);
    EXPECT_EQ(FILE_Seek(file, 0, SEEK_SET), 1U);
    EXPECT_EQ(FILE_Read(text, 1, sizeof text, file), 5);
}

SCENARIO(FILE_Write, gives("4"), reports(Call::fwrite, "FILE_Write", "0"))
{
    const File file("w");
    CALL(FILE_Write, "four", 1, 4, file);
    std::clearerr(file);
    EXPECT_EQ(FILE_Write("more", 1, 4, file), 4);
}

SCENARIO(FILE_Seek, gives("1"), reports(Call::fseek, "FILE_Seek", "0"))
{
    const File file("r");
    CALL(FILE_Seek, file, 2, SEEK_SET);
    EXPECT_EQ(FILE_GetChar(file), failed() ? 'b' : 't');
}

SCENARIO(FILE_Tell, gives("2"), reports(Call::ftell, "FILE_Tell", "-1"))
{
    const File file("r");
    EXPECT_EQ(FILE_Seek(file, 2, SEEK_SET), 1U);
    CALL(FILE_Tell, file);
    EXPECT_EQ(FILE_Tell(file), 2);
}

SCENARIO(FILE_GetChar, gives("98"), reports(Call::fgetc, "FILE_GetChar", "-1"))
{
    const File file("r");
    CALL(FILE_GetChar, file);
    EXPECT_EQ(FILE_GetChar(file), failed() ? 'b' : 'y');
}

SCENARIO(FILE_PutChar, gives("1"), reports(Call::fputc, "FILE_PutChar", "0"))
{
    const File file("w");
    CALL(FILE_PutChar, 'x', file);
    EXPECT_EQ(FILE_PutChar('y', file), 1U);
}

SCENARIO(FILE_Flush, gives("1"), reports(Call::fflush, "FILE_Flush", "0"))
{
    const File file("w");
    EXPECT_EQ(FILE_PutChar('x', file), 1U);
    CALL(FILE_Flush, file);
    EXPECT_EQ(FILE_Flush(file), 1U);
    EXPECT_EQ(content(), "x");
}

harness::Report size_record(const char* function, const char* message)
{
    return said(COMMON_LogLevelError, "COMMON", "oxa_file", function, message);
}

SCENARIO(FILE_GetFileSize, gives("5"),
         on(Call::fileno)
             .gives("-1")
             .logs({size_record("FILE_GetFileSize",
                                "Conversion stream -> file descriptior failed!")}),
         on(Call::fstat)
             .gives("-1")
             .logs({size_record("FILE_GetFileSize", "Cannot get file attributes!")}))
{
    const File file("r");
    CALL(FILE_GetFileSize, file);
    EXPECT_EQ(FILE_GetFileSize(file), 5);
}

SCENARIO(FILE_GetFileSizeByName, gives("5"),
         on(Call::stat)
             .gives("-1")
             .logs({size_record("FILE_GetFileSizeByName", "Cannot get file attributes!")}))
{
    const File file;
    CALL(FILE_GetFileSizeByName, kPath);
    EXPECT_EQ(FILE_GetFileSizeByName(kPath), 5);
}

/// errno tells about the first that failed, whatever came of the rest.
SCENARIO(FILE_OpenAndRead, gives("5"), open_reports("0"), reports(Call::fread, "FILE_Read", "0"),
         reports(Call::fclose, "FILE_Close", "5"))
{
    const File file;
    char text[8];
    CALL(FILE_OpenAndRead, text, 1, sizeof text, kPath);
    EXPECT_EQ(errno, harness::fault::last_error());
}

SCENARIO(FILE_OpenAndWrite, gives("4"), open_reports("0"), reports(Call::fwrite, "FILE_Write", "0"),
         reports(Call::fflush, "FILE_Flush", "4"), reports(Call::fclose, "FILE_Close", "4"))
{
    const File file;
    CALL(FILE_OpenAndWrite, "four", 1, 4, kPath);
    EXPECT_EQ(errno, harness::fault::last_error());
    EXPECT_EQ(FILE_OpenAndWrite("more", 1, 4, kPath), 4);
    EXPECT_EQ(content(), "more");
}

}  // namespace
