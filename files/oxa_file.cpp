#include "oxa_file.h"

#include <pthread.h>
#include <stdio_ext.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "files/arguments.h"
#include "log/report.h"
#include "platform/uncancelled_scope.h"

namespace common::file {
namespace {

constexpr Source kSource{"oxa_file", Module::Common};

/// Whether an argument is missing, which is reported.
bool is_missing(bool missing, const char* what, Here here = Here::now()) noexcept
{
    if (missing) {
        report(kSource, COMMON_LogLevelCritical, here, "%s() failed, %s", here.function, what);
    }
    return missing;
}

/// Reports what errno tells of the failure of a function's work.
// Oddity: with two blanks in it, as what reads the log looks for them.
// Test: OxaFileFault.IsReportedOnce.
void report_errno(Here here = Here::now()) noexcept
{
    report(kSource, COMMON_LogLevelCritical, here, "%s() failed, returned:  %s", here.function,
           std::strerror(errno));
}

/// A size or position as callers get it: -1, with errno as the system sets it, when it is too
/// large.
std::int32_t narrowed(std::int64_t bytes) noexcept
{
    if (bytes > INT32_MAX) {
        errno = EOVERFLOW;
        return -1;
    }
    return static_cast<std::int32_t>(bytes);
}

/// The size that fstat(2) or stat(2) has told of; -1, which is reported, when there is none.
std::int32_t size_of(int result, const struct stat& status, Here here = Here::now()) noexcept
{
    const std::int32_t size = result == 0 ? narrowed(status.st_size) : -1;
    if (size >= 0) {
        return size;
    }
    report(kSource, COMMON_LogLevelError, here, "Cannot get file attributes!");
    return -1;
}

/// An element size or count as the C library takes it. A negative one would stand for nearly all of
/// the memory.
constexpr std::size_t at_least_nothing(std::int32_t number) noexcept
{
    return number < 0 ? 0 : static_cast<std::size_t>(number);
}

/// Clean-up of a cancelled thread. What is in the stream's buffer is dropped: to hand it on could
/// block again, where nothing cancels it any more.
void abandon(void* argument) noexcept
{
    auto* const stream = static_cast<FILE*>(argument);
    __fpurge(stream);
    std::fclose(stream);
}

/// Lets errno go on telling of a failure that was before the last step, which has set it anew.
void prefer_earlier(int error) noexcept
{
    if (error != 0) {
        errno = error;
    }
}

/// Ends a stream that has been worked with. Cancelled meanwhile, it would stay half closed.
void close_at_last(FILE* stream) noexcept
{
    const UncancelledScope uncancelled;
    const int error = errno;
    FILE_Close(stream);
    prefer_earlier(error);
}

}  // namespace
}  // namespace common::file

using namespace common;
using namespace common::file;

extern "C" {

FILE* FILE_Open(const char* path, const char* mode)
{
    errno = 0;
    if (is_missing(path == nullptr || mode == nullptr, "Null Parameter")) {
        return nullptr;
    }
    FILE* const stream = std::fopen(path, mode);
    if (stream == nullptr) {
        COMMON_REPORT(kSource, Critical, "FILE_Open() failed opening %s, returned:  %s", path,
                      std::strerror(errno));
    }
    return stream;
}

uint32_t FILE_Close(FILE* stream)
{
    errno = 0;
    if (is_missing(stream == nullptr, "NULL fp")) {
        return 0;
    }
    if (std::fclose(stream) != 0) {
        report_errno();
        return 0;
    }
    return 1;
}

int32_t FILE_Read(void* buffer, int32_t size, int32_t count, FILE* stream)
{
    errno = 0;
    if (is_missing(buffer == nullptr || stream == nullptr, "NULL pointer")) {
        return 0;
    }
    const std::size_t done =
        std::fread(buffer, at_least_nothing(size), at_least_nothing(count), stream);
    if (std::ferror(stream) != 0) {
        report_errno();
    }
    return static_cast<std::int32_t>(done);
}

int32_t FILE_Write(const void* buffer, int32_t size, int32_t count, FILE* stream)
{
    errno = 0;
    if (is_missing(buffer == nullptr || stream == nullptr, "NULL pointer")) {
        return 0;
    }
    const std::size_t done =
        std::fwrite(buffer, at_least_nothing(size), at_least_nothing(count), stream);
    if (std::ferror(stream) != 0) {
        report_errno();
    }
    return static_cast<std::int32_t>(done);
}

uint32_t FILE_Seek(FILE* stream, int32_t offset, int32_t origin)
{
    errno = 0;
    if (is_missing(stream == nullptr, "NULL file pointer")) {
        return 0;
    }
    if (std::fseek(stream, offset, origin) != 0) {
        report_errno();
        return 0;
    }
    return 1;
}

int32_t FILE_GetChar(FILE* stream)
{
    errno = 0;
    if (is_missing(stream == nullptr, "NULL file pointer")) {
        return -1;
    }
    const int character = std::fgetc(stream);
    if (character == EOF && std::feof(stream) == 0) {
        report_errno();
    }
    return character;
}

uint32_t FILE_PutChar(int32_t character, FILE* stream)
{
    errno = 0;
    if (is_missing(stream == nullptr, "NULL file pointer")) {
        return 0;
    }
    // Oddity: compared with the number as given, so that callers learn that it was no character,
    // although one is written.
    // Test: OxaFile.CharacterThatIsNoneIsWrittenAndReported.
    if (std::fputc(character, stream) != character) {
        report_errno();
        return 0;
    }
    return 1;
}

uint32_t FILE_Flush(FILE* stream)
{
    errno = 0;
    // Oddity: null is allowed, as callers flush all streams that way.
    // Test: OxaFile.FlushOfNullFlushesEveryStream.
    if (std::fflush(stream) != 0) {
        report_errno();
        return 0;
    }
    return 1;
}

int32_t FILE_Tell(FILE* stream)
{
    errno = 0;
    if (stream == nullptr) {
        COMMON_REPORT(kSource, Critical, "The input parameter \"fp\" is invalid!");
        return -1;
    }
    const std::int32_t position = narrowed(std::ftell(stream));
    if (position < 0) {
        report_errno();
        return -1;
    }
    return position;
}

int32_t FILE_GetFileSize(FILE* stream)
{
    errno = 0;
    if (are_invalid(kSource, stream == nullptr)) {
        return -1;
    }
    const int descriptor = fileno(stream);
    if (descriptor == -1) {
        // Oddity: "descriptior", as what reads the log looks for that.
        // Test: OxaFileFault.IsReportedOnce.
        COMMON_REPORT(kSource, Error, "Conversion stream -> file descriptior failed!");
        return -1;
    }
    struct stat status;
    return size_of(fstat(descriptor, &status), status);
}

int32_t FILE_GetFileSizeByName(const char* path)
{
    errno = 0;
    if (are_invalid(kSource, path == nullptr)) {
        return -1;
    }
    struct stat status;
    return size_of(stat(path, &status), status);
}

int32_t FILE_OpenAndRead(void* buffer, int32_t size, int32_t count, const char* path)
{
    FILE* const stream = FILE_Open(path, "rb");
    if (stream == nullptr) {
        return 0;
    }
    std::int32_t done = 0;
    pthread_cleanup_push(abandon, stream);
    done = FILE_Read(buffer, size, count, stream);
    pthread_cleanup_pop(0);
    close_at_last(stream);
    return done;
}

int32_t FILE_OpenAndWrite(const void* buffer, int32_t size, int32_t count, const char* path)
{
    FILE* const stream = FILE_Open(path, "wb");
    if (stream == nullptr) {
        return 0;
    }
    std::int32_t done = 0;
    pthread_cleanup_push(abandon, stream);
    // Oddity: callers compare the count with what they gave, whatever becomes of it when it is
    // flushed.
    // Test: OxaFileWhole.FlushAndCloseDoNotChangeTheResult.
    done = FILE_Write(buffer, size, count, stream);
    const int error = errno;
    FILE_Flush(stream);
    prefer_earlier(error);
    pthread_cleanup_pop(0);
    close_at_last(stream);
    return done;
}

}  // extern "C"
