// The part of the tour that is about files, and memory.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "common.h"
#include "flash_safety.h"
#include "mem_malloc.h"
#include "oxa_file.h"
#include "oxa_shims.h"
#include "tour.h"

namespace harness {
namespace {

StepResult make_folder()
{
    const STATUS status = UTIL_CreateFolderRecursive("/tmp/tour/folder", 0755);
    if (status != STATUS_SUCCESS) {
        return said("status " + std::to_string(status));
    }
    return UTIL_DirExists("/tmp/tour/folder") == 1 ? works() : said("0");
}

StepResult list_folder()
{
    UTIL_FolderItems items{};
    const STATUS status =
        UTIL_GetFolderItems("/log", "^(one|two|three)$", UTIL_FOLDER_ITEMS_FILES, &items);
    const std::uint32_t count = items.count;
    UTIL_ReleaseFolderItems(&items);
    if (status != STATUS_SUCCESS) {
        return said("status " + std::to_string(status));
    }
    if (count != 3) {
        return silent(std::to_string(count) + " of 3 entries");
    }
    return UTIL_FileExists("/log/*.three") == 1 ? works() : said("0");
}

StepResult write_and_read_file()
{
    const char* const path = "/tmp/written";
    if (FILE_OpenAndWrite("text", 1, 4, path) != 4) {
        return said("not written");
    }
    char text[8] = "";
    if (FILE_OpenAndRead(text, 1, 4, path) != 4 || FILE_GetFileSizeByName(path) != 4) {
        return said("not read");
    }
    if (std::strcmp(text, "text") != 0) {
        return silent("another text");
    }
    if (UTIL_FileExists(path) == 0) {
        return said("0");
    }
    const std::int32_t error = UTIL_DeleteFile(path);
    return error == 0 ? works() : said("error " + std::to_string(error));
}

StepResult move_in_file()
{
    FILE* const file = FILE_Open("/log/one", "r");
    if (file == nullptr) {
        return said("null");
    }
    const bool moved = FILE_Seek(file, 1, SEEK_SET) == 1 && FILE_Tell(file) == 1;
    const std::int32_t character = FILE_GetChar(file);
    const bool closed = FILE_Close(file) == 1;
    if (!moved || !closed || character == -1) {
        return said("not moved, read or closed");
    }
    return character == 'n' ? works() : silent("another character");
}

StepResult make_link()
{
    if (OXA_symlink("/tmp/link", "/log/one") != 0) {
        return said(std::strerror(errno));
    }
    const int removed = OXA_unlink("/tmp/link");
    return removed == 0 ? works() : said(std::strerror(errno));
}

/// The first error makes the file, the second one writes to it.
StepResult count_errors()
{
    for (const std::int32_t expected : {1, 2}) {
        const std::int32_t count = BTE_LogError();
        if (count != expected) {
            return said(std::to_string(count));
        }
    }
    const std::int32_t count = bterrors_ReadErrorCount();
    return count == 2 ? works() : said(std::to_string(count));
}

StepResult check_partition()
{
    std::uint32_t corrupt = 2;
    const std::uint32_t done = FLASHSAFE_CheckPartition(2, 1, 0, &corrupt);
    if (done != 1) {
        return said("0");
    }
    return corrupt == 0 ? works() : said("corrupt");
}

// Memory.

StepResult take_memory()
{
    auto* block = static_cast<char*>(MEM_Salloc(1 << 20));
    block = static_cast<char*>(MEM_Realloc(block, 8 << 20));
    const bool zero = block[0] == 0 && block[(1 << 20) - 1] == 0;
    block[(8 << 20) - 1] = 1;
    MEM_Free(block);
    return zero ? works() : silent("not zero");
}

}  // namespace

std::vector<Step> tour_of_files()
{
    return {
        {"new folder", make_folder},    {"folder", list_folder}, {"file", write_and_read_file},
        {"position", move_in_file},     {"link", make_link},     {"error counter", count_errors},
        {"partition", check_partition}, {"memory", take_memory},
    };
}

}  // namespace harness
