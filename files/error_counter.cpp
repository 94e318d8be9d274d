#include <algorithm>
#include <cstdint>
#include <cstdio>

#include "common.h"
#include "platform/uncancelled_scope.h"

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

void write_count(std::uint8_t count) noexcept
{
    std::FILE* const file = std::fopen(kCounterFile, "w");
    if (file == nullptr) {
        std::printf("WriteBTErrorCount: Couldn't open file for writing: %s\n", kCounterFile);
        return;
    }
    // A buffered byte always seems written.
    std::setvbuf(file, nullptr, _IONBF, 0);
    if (std::fwrite(&count, 1, 1, file) != 1) {
        std::printf("WriteBTErrorCount: Not all byte(s) were written to file: %s\n", kCounterFile);
    }
    std::fclose(file);
}

}  // namespace

extern "C" {

int32_t bterrors_ReadErrorCount(void)
{
    const common::UncancelledScope uncancelled;
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
    const common::UncancelledScope uncancelled;
    const std::int32_t count = bterrors_ReadErrorCount();
    // A count that could not be read, -1, is above the limit here: it must not overwrite the file.
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
