#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>

#include "common.h"
#include "platform/thread_id.h"
#include "platform/uncancelled_scope.h"

namespace common::error_counter {
namespace {

/// On the platform's file system in memory: the count outlives the process, not a reboot.
constexpr char kCounterFile[] = "/dev/shmem/bterrors.log";

/// With so many errors the limit is reached.
constexpr std::uint32_t kLimit = 50;

void delete_corrupt_file() noexcept
{
    std::printf("ReadBTErrorCount: Corrupt file: %s, deleting...\n", kCounterFile);
    if (UTIL_DeleteFile(kCounterFile) != 0) {
        std::printf("ReadBTErrorCount: Error deleting file: %s\n", kCounterFile);
    }
}

void tell_unopened() noexcept
{
    std::printf("WriteBTErrorCount: Couldn't open file for writing: %s\n", kCounterFile);
}

bool write_byte(std::FILE* file, std::uint8_t byte) noexcept
{
    // A buffered byte always seems written.
    std::setvbuf(file, nullptr, _IONBF, 0);
    if (std::fwrite(&byte, 1, 1, file) == 1) {
        return true;
    }
    std::printf("WriteBTErrorCount: Not all byte(s) were written to file: %s\n", kCounterFile);
    return false;
}

/// Gives the file its name only when it has its byte.
void make_file(std::uint8_t count) noexcept
{
    // Nobody else writes to it: if it is there, who made it has gone.
    char unnamed[sizeof kCounterFile + 12];
    std::snprintf(unnamed, sizeof unnamed, "%s.%u", kCounterFile, kernel_thread_id());
    unlink(unnamed);
    std::FILE* const file = std::fopen(unnamed, "wx");
    if (file == nullptr) {
        tell_unopened();
        return;
    }
    const bool written = write_byte(file, count);
    std::fclose(file);
    if (!written) {
        unlink(unnamed);
    } else if (std::rename(unnamed, kCounterFile) != 0) {
        tell_unopened();
        unlink(unnamed);
    }
}

/// Writes the count without ever showing an empty file, which a reader would take away, and the
/// count that is just being written with it.
void write_count(std::uint8_t count) noexcept
{
    std::FILE* const file = std::fopen(kCounterFile, "r+");
    if (file == nullptr) {
        if (errno == ENOENT) {
            make_file(count);
        } else {
            tell_unopened();
        }
        return;
    }
    if (write_byte(file, count) && ftruncate(fileno(file), 1) != 0) {
        // Only the first byte counts: the others may stay.
    }
    std::fclose(file);
}

}  // namespace
}  // namespace common::error_counter

using namespace common;
using namespace common::error_counter;

extern "C" {

int32_t bterrors_ReadErrorCount(void)
{
    const UncancelledScope uncancelled;
    if (UTIL_FileExists(kCounterFile) == 0) {
        return 0;
    }
    std::FILE* const file = std::fopen(kCounterFile, "r");
    if (file == nullptr) {
        std::printf("ReadBTErrorCount: Couldn't open file: %s\n", kCounterFile);
        return -1;
    }
    std::uint8_t count = 0;
    const std::size_t length = std::fread(&count, 1, 1, file);
    std::int32_t result = -1;
    if (std::ferror(file) != 0) {
        std::perror("ReadBTErrorCount: Error reading from file");
    } else if (length == 0) {
        delete_corrupt_file();
    } else {
        result = count;
    }
    std::fclose(file);
    return result;
}

uint32_t BTE_IsErrorLimitReached(void)
{
    return bterrors_ReadErrorCount() >= static_cast<std::int32_t>(kLimit) ? 1 : 0;
}

int32_t BTE_LogError(void)
{
    const UncancelledScope uncancelled;
    const std::int32_t count = bterrors_ReadErrorCount();
    // Oddity: a count that could not be read, -1, is above the limit here, as it must not overwrite
    // the file.
    // Test: ErrorCounter.FileThatCannotBeReadIsAnUnknownCount.
    if ((static_cast<std::uint32_t>(count) & 0xFFFF) >= kLimit) {
        return count;
    }
    const auto raised = static_cast<std::uint8_t>(std::min<std::int32_t>(count + 1, kLimit));
    write_count(raised);
    return raised;
}

uint32_t FlashWriteErrorDTC(void)
{
    return 0;
}

}  // extern "C"
