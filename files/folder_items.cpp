#include <dirent.h>
#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "common.h"
#include "files/arguments.h"
#include "log/report.h"
#include "mem_malloc.h"
#include "platform/uncancelled_scope.h"
#include "regexp.h"

static_assert(offsetof(UTIL_FolderItems, items) == 0);
static_assert(offsetof(UTIL_FolderItems, count) == sizeof(void*));
static_assert(sizeof(UTIL_FolderItems) == 2 * sizeof(void*));

namespace common::folder {
namespace {

constexpr Source kSource{"common", Module::Common};

/// Who reports whatever goes wrong while a folder is listed.
constexpr char kListing[] = "UTIL_GetFolderItems";

/// The slots of a new list, and by how many a short one grows.
constexpr std::uint32_t kSlots = 10;

/// From so many slots on, a list is long.
constexpr std::uint32_t kLongList = 100;

/// Releases the names and their array, which is there also before the first name is.
void release(UTIL_FolderItems& list) noexcept
{
    for (std::uint32_t index = 0; index < list.count; ++index) {
        MEM_Free(list.items[index]);
    }
    MEM_Free(list.items);
    list = {};
}

/// Changes the number of slots; the names are lost when that fails.
bool resize(UTIL_FolderItems& list, std::uint32_t slots) noexcept
{
    void* const items =
        slots > UINT32_MAX / sizeof(char*)
            ? nullptr
            : MEM_Realloc(list.items, static_cast<std::uint32_t>(slots * sizeof(char*)));
    if (items == nullptr) {
        COMMON_REPORT_AS(kListing, kSource, Error, "Memory reallocation failed!");
        // Oddity: callers rely on a count of 0 then, with which nobody could release the names.
        // Test: FolderRefused.NoMoreSlotsLoseTheNames.
        release(list);
        return false;
    }
    list.items = static_cast<char**>(items);
    return true;
}

/// A list that is being filled.
class Names {
public:
    explicit Names(UTIL_FolderItems& list) noexcept : list_(list) {}

    bool append(const char* name) noexcept
    {
        const std::size_t size = std::strlen(name) + 1;
        auto* const copy = static_cast<char*>(MEM_Malloc(static_cast<std::uint32_t>(size)));
        if (copy == nullptr) {
            COMMON_REPORT_AS(kListing, kSource, Error, "Cannot be allocated memory!");
            return false;
        }
        if (list_.count == slots_ && !grow()) {
            MEM_Free(copy);
            return false;
        }
        std::memcpy(copy, name, size);
        list_.items[list_.count++] = copy;
        return true;
    }

    /// Gives back the slots that are left.
    bool shrink() noexcept { return list_.count == slots_ || resize(list_, list_.count); }

private:
    /// By ten slots, but a long list doubles: each step may have to move all that is there.
    bool grow() noexcept
    {
        const std::uint32_t more = slots_ < kLongList ? kSlots : slots_;
        if (!resize(list_, slots_ + more)) {
            return false;
        }
        std::memset(list_.items + slots_, 0, more * sizeof(char*));
        slots_ += more;
        return true;
    }

    UTIL_FolderItems& list_;
    std::uint32_t slots_ = kSlots;
};

enum class Verdict { Kept, Dropped, Failed };

/// Keeps entries by their type, as stat(2) tells it.
class TypeFilter {
public:
    TypeFilter(const char* folder, std::int32_t filter) noexcept : filter_(filter)
    {
        prefix_length_ = strnlen(folder, sizeof path_ - 1);
        std::memcpy(path_, folder, prefix_length_);
        if (prefix_length_ != 0 && prefix_length_ < sizeof path_ - 1 &&
            path_[prefix_length_ - 1] != '/') {
            path_[prefix_length_++] = '/';
        }
    }

    Verdict judge(const dirent& entry) noexcept
    {
        if (filter_ == UTIL_FOLDER_ITEMS_ALL) {
            return Verdict::Kept;
        }
        bool is_folder = false;
        if (!is_surely_no_folder(entry)) {
            struct stat status;
            build_path(entry.d_name);
            if (stat(path_, &status) != 0) {
                COMMON_REPORT_AS(kListing, kSource, Warn, "stat(%s) failed!", path_);
                return Verdict::Failed;
            }
            is_reachable_ = prefix_length_ + sizeof entry.d_name < kPathSize;
            is_folder = S_ISDIR(status.st_mode);
        }
        const std::int32_t kept = is_folder ? UTIL_FOLDER_ITEMS_FOLDERS : UTIL_FOLDER_ITEMS_FILES;
        return filter_ == kept ? Verdict::Kept : Verdict::Dropped;
    }

private:
    /// Whether the entry's own type settles what it is, so that stat(2) need not be called.
    ///
    /// A link or an unknown type says nothing. A folder can be a mount point whose file system does
    /// not answer, which has to end the listing. For the other types stat(2) could still fail: for
    /// all of them when the path is too long or the folder must not be searched, which the first
    /// entry tells, whatever its type is; and for one that was removed meanwhile or that its file
    /// system cannot read. The last two are listed by their names, as the header says.
    bool is_surely_no_folder(const dirent& entry) const noexcept
    {
        return is_reachable_ && entry.d_type != DT_UNKNOWN && entry.d_type != DT_LNK &&
               entry.d_type != DT_DIR;
    }

    void build_path(const char* name) noexcept
    {
        const std::size_t length = strnlen(name, sizeof path_ - 1 - prefix_length_);
        std::memcpy(path_ + prefix_length_, name, length);
        path_[prefix_length_ + length] = '\0';
    }

    const std::int32_t filter_;
    bool is_reachable_ = false;
    std::size_t prefix_length_;
    char path_[kPathSize + 1];
};

/// Reads a folder to its end, which a folder that cannot be read on has come to, too.
STATUS list_entries(const char* folder_path, const RegExp* regexp, std::int32_t filter,
                    Names& names) noexcept
{
    DIR* const folder = opendir(folder_path);
    if (folder == nullptr) {
        COMMON_REPORT_AS(kListing, kSource, Warn, "opendir(\"%s\") failed!", folder_path);
        return STATUS_FAILED;
    }
    TypeFilter types(folder_path, filter);
    STATUS status = STATUS_SUCCESS;
    while (const dirent* const entry = readdir(folder)) {
        if (entry->d_name[0] == '\0') {
            continue;
        }
        const Verdict verdict = types.judge(*entry);
        const bool is_kept = verdict == Verdict::Kept &&
                             (regexp == nullptr || RegExp_Match(regexp, entry->d_name) == 1);
        if (verdict == Verdict::Failed || (is_kept && !names.append(entry->d_name))) {
            status = STATUS_FAILED;
            break;
        }
    }
    closedir(folder);
    return status;
}

STATUS fill(const char* folder, const char* pattern, std::int32_t filter,
            UTIL_FolderItems& list) noexcept
{
    RegExp* regexp = nullptr;
    if (pattern != nullptr) {
        regexp = RegExp_New(pattern, 1);
        if (regexp == nullptr) {
            COMMON_REPORT_AS(kListing, kSource, Error, "RegExp_New() failed!");
            return STATUS_FAILED;
        }
    }
    Names names(list);
    const STATUS status = list_entries(folder, regexp, filter, names);
    if (regexp != nullptr) {
        RegExp_Delete(regexp);
    }
    if (status == STATUS_SUCCESS && list.count != 0 && !names.shrink()) {
        return STATUS_FAILED;
    }
    return status;
}

}  // namespace
}  // namespace common::folder

using namespace common;
using namespace common::folder;

extern "C" {

STATUS UTIL_GetFolderItems(const char* folder, const char* regex, int32_t filter,
                           UTIL_FolderItems* items)
{
    if (are_invalid(kSource, folder == nullptr || items == nullptr)) {
        return STATUS_INVALID_PARAM;
    }
    const UncancelledScope uncancelled;
    items->count = 0;
    items->items = static_cast<char**>(MEM_Salloc(kSlots * sizeof(char*)));
    if (items->items == nullptr) {
        COMMON_REPORT(kSource, Error, "Not enough memory for the output data!");
        return STATUS_FAILED;
    }
    const STATUS status = fill(folder, regex, filter, *items);
    if (items->count == 0) {
        release(*items);
    }
    return status;
}

STATUS UTIL_GetFolderItemsCount(const UTIL_FolderItems* items, uint32_t* count)
{
    if (are_invalid(kSource, items == nullptr || count == nullptr)) {
        return STATUS_INVALID_PARAM;
    }
    *count = items->count;
    return STATUS_SUCCESS;
}

STATUS UTIL_GetFolderItemByIndex(const UTIL_FolderItems* items, uint32_t index, char* buffer,
                                 uint32_t size)
{
    if (are_invalid(kSource, items == nullptr || buffer == nullptr || size == 0)) {
        return STATUS_INVALID_PARAM;
    }
    if (items->items == nullptr || index >= items->count || items->items[index] == nullptr) {
        COMMON_REPORT(kSource, Warn, "The specified index is out of range!");
        return STATUS_FAILED;
    }
    const char* const name = items->items[index];
    const std::size_t required = std::strlen(name) + 1;
    if (size < required) {
        *buffer = '\0';
        COMMON_REPORT(kSource, Warn, "Insufficient buffer, Required: %d, Given: %d",
                      static_cast<int>(required), static_cast<int>(size));
        return STATUS_FAILED;
    }
    // Oddity: callers rely on the rest of the buffer being cleared.
    // Test: FolderItems.NameIsCopiedAsStrncpyDoes.
    std::strncpy(buffer, name, size);
    return STATUS_SUCCESS;
}

STATUS UTIL_ReleaseFolderItems(UTIL_FolderItems* items)
{
    if (are_invalid(kSource, items == nullptr)) {
        return STATUS_INVALID_PARAM;
    }
    if (items->items != nullptr && items->count != 0) {
        release(*items);
    }
    return STATUS_SUCCESS;
}

}  // extern "C"
