#include "scan.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "common.h"
#include "common_log_settings.h"
#include "common_system.h"
#include "counted_log.h"
#include "mem_malloc.h"

namespace scanner {

/// What is not in here by name is the finder's.
COMMON_LOG_MODULE(zones().finder);

namespace {

/// So many folders at the start are logged one by one, then only the top-level ones.
constexpr std::uint64_t kDetailedFolders = 30;

bool is_dots(const char* name) noexcept
{
    return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0;
}

/// Whether an entry is a folder itself, not a link to one.
bool is_folder(DIR* parent, const char* name) noexcept
{
    struct stat status;
    return fstatat(dirfd(parent), name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
           S_ISDIR(status.st_mode);
}

/// A copy that the list which it is put into releases. Without memory the library ends the process,
/// so there is one in any case.
void* copied(const char* name)
{
    return MEM_Clone(static_cast<std::uint32_t>(std::strlen(name) + 1), name);
}

std::string joined(const std::string& folder, const char* name)
{
    return folder.ends_with('/') ? folder + name : folder + '/' + name;
}

}  // namespace

Scan::Scan(const Options& options)
    : options_{options}, pattern_{options.pattern ? RegExp_New(options.pattern->c_str(), 1)
                                                  : nullptr}
{
}

int Scan::open(const std::string& path)
{
    path_ = path;
    handle_.reset(opendir(path.c_str()));
    return handle_ ? 0 : errno;
}

bool Scan::start()
{
    const bool started = start_threads();
    if (!started) {
        give_up();
        queue_.close();
        finds_.add({.type = Find::End});
        if (!has_counter_) {
            count_all();
        }
    }
    return started;
}

bool Scan::start_threads()
{
    for (unsigned examiner = 1; examiner <= options_.examiners; ++examiner) {
        if (!start_thread<&Scan::examine_all>("examiner-" + std::to_string(examiner))) {
            return false;
        }
    }
    has_counter_ = start_thread<&Scan::count_all>("counter");
    // Last, because it changes what is logged.
    return has_counter_ && start_thread<&Scan::find>("finder");
}

/// Starts a thread that nobody joins: one that ends before it is joined could not be any more.
template <void (Scan::*Work)()>
bool Scan::start_thread(const std::string& name)
{
    COMMON_LOG_IN(LOG_GetModuleName(zones().scanner), counted(COMMON_LogLevelDebug),
                  "Thread '%s' starts", name.c_str());
    const auto entry = [](void* scan) -> void* {
        (static_cast<Scan*>(scan)->*Work)();
        return nullptr;
    };
    threads_.emplace_back(COMMON_Thread_New(entry, this));
    COMMON_Thread* const thread = threads_.back().get();
    COMMON_Thread_SetName(thread, name.c_str());
    COMMON_Thread_SetDetachState(thread, COMMON_ThreadDetachDetached);
    return COMMON_Thread_Start(thread) == STATUS_SUCCESS;
}

void Scan::give_up()
{
    given_up_ = true;
    set_gate(true);
}

void Scan::wait()
{
    counted_.wait(false);
    // A record has to outlive its thread, which clears the id there when its function has returned.
    for (const ThreadRecord& thread : threads_) {
        while (COMMON_Thread_GetId(thread.get()) != 0) {
            OS_Sleep(1);
        }
    }
}

/// Waits while the scan is paused, and tells the watchdog that this thread goes on.
void Scan::pass_gate()
{
    gate_.pass([this] { watch_.alive(); });
}

void Scan::find()
{
    pass_gate();
    begin_details();
    std::vector<std::string> top_level;
    if (!given_up_) {
        top_level = take_in(path_, std::move(handle_));
        std::sort(top_level.begin(), top_level.end());
    }
    for (const std::string& folder : top_level) {
        if (given_up_) {
            break;
        }
        find_below(folder);
    }
    end_details();
    queue_.close();
    queue_.wait_until_idle();
    finds_.add({.type = Find::End});
}

void Scan::find_below(const std::string& top_level)
{
    std::uint64_t folders = 0;
    std::vector<std::string> to_visit{top_level};
    while (!to_visit.empty() && !given_up_) {
        std::string path = std::move(to_visit.back());
        to_visit.pop_back();
        // Not a link either, should something have taken the folder's place meanwhile.
        const int descriptor =
            ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        FolderHandle handle{descriptor < 0 ? nullptr : fdopendir(descriptor)};
        if (!handle) {
            report_unreadable(zones().finder, path, errno);
            continue;
        }
        ++folders;
        std::vector<std::string> below = take_in(std::move(path), std::move(handle));
        std::move(below.begin(), below.end(), std::back_inserter(to_visit));
    }
    COMMON_LOG_AT(counted(COMMON_LogLevelInfo), "Found %s with %llu folders", top_level.c_str(),
                  static_cast<unsigned long long>(folders));
}

/// Hands a folder to the workers. @return the folders in it.
std::vector<std::string> Scan::take_in(std::string path, FolderHandle handle)
{
    pass_gate();
    std::vector<std::string> folders;
    List names{LIST_New()};
    UTIL_FolderItems items{};
    errno = 0;
    if (UTIL_GetFolderItems(path.c_str(), nullptr, UTIL_FOLDER_ITEMS_ALL, &items) !=
        STATUS_SUCCESS) {
        report_unreadable(zones().finder, path, errno);
    }
    for (std::uint32_t i = 0; i < items.count; ++i) {
        const char* const name = items.items[i];
        if (is_dots(name)) {
            continue;
        }
        if (is_folder(handle.get(), name)) {
            folders.push_back(joined(path, name));
        } else if (pattern_ == nullptr || RegExp_Match(pattern_.get(), name) == 1) {
            LIST_PushBack(names.get(), copied(name));
        }
    }
    UTIL_ReleaseFolderItems(&items);
    queue_.push({std::move(path), std::move(handle), std::move(names)});
    finds_.add({.type = Find::Folder});
    if (++folders_ == kDetailedFolders) {
        end_details();
    }
    return folders;
}

/// From here on each folder is logged, in a layout that is easy to read in a terminal.
void Scan::begin_details()
{
    level_before_ = COMMON_Log_LevelGet();
    layout_before_ = COMMON_Log_FormatGet();
    // Whoever runs the scanner with fewer records than usual, or with more, or asks for a level,
    // wants it so.
    in_detail_ = level_before_ == COMMON_LogLevelInfo && !options_.level;
    if (in_detail_) {
        COMMON_LOG_AT(counted(COMMON_LogLevelNote), "Level Debug and layout %s from here",
                      options_.layout ? "as before" : "Columns");
        COMMON_Log_FormatSet(options_.layout.value_or(COMMON_LogFormatColumns));
        COMMON_Log_LevelSet(COMMON_LogLevelDebug);
    }
}

void Scan::end_details()
{
    if (!std::exchange(in_detail_, false)) {
        return;
    }
    // Otherwise a worker could find its record accepted, and have it dropped by the level set here.
    queue_.wait_until_idle();
    COMMON_Log_LevelSet(level_before_);
    COMMON_Log_FormatSet(layout_before_);
    COMMON_LOG_AT(counted(COMMON_LogLevelNote), "Level %s and the layout from before again",
                  COMMON_LogLevel_ToString(level_before_));
    COMMON_LogDumpLoggerStatus(LOG_GetModuleName(zones().finder));
}

void Scan::examine_all()
{
    MediaNames media;
    while (const std::optional<Folder> folder = queue_.pop()) {
        pass_gate();
        if (!given_up_) {
            examine(*folder, media);
        }
        queue_.finished();
    }
}

void Scan::examine(const Folder& folder, MediaNames& media)
{
    LIST names = folder.names.get();
    std::uint32_t readable = 0;
    for (LIST_IndexBegin(names); LIST_IsEnd(names) == 0; LIST_IndexNext(names)) {
        readable += examine_entry(folder, static_cast<const char*>(LIST_Get(names)), media) ? 1 : 0;
    }
    COMMON_LOG_IN(LOG_GetModuleName(zones().examiner), counted(COMMON_LogLevelDebug),
                  "Examined %s: %u of %u readable", folder.path.c_str(), readable,
                  LIST_Size(names));
}

/// Counts one entry of a folder. @return whether it can be read.
bool Scan::examine_entry(const Folder& folder, const char* name, MediaNames& media)
{
    const int parent = dirfd(folder.handle.get());
    struct stat status;
    if (fstatat(parent, name, &status, AT_SYMLINK_NOFOLLOW) != 0) {
        report_unreadable(zones().examiner, joined(folder.path, name), errno);
        return false;
    }
    if (S_ISREG(status.st_mode)) {
        Find find{.type = Find::File, .bytes = static_cast<std::uint64_t>(status.st_size)};
        if (const char* const ending = media.ending(name); ending != nullptr) {
            std::snprintf(find.ending, sizeof find.ending, "%s", ending);
        }
        finds_.add(find);
    } else if (S_ISLNK(status.st_mode)) {
        finds_.add({.type = Find::Link});
    }
    // For a link this says whether it leads anywhere.
    if (faccessat(parent, name, R_OK, 0) != 0) {
        report_unreadable(zones().examiner, joined(folder.path, name), errno);
        return false;
    }
    COMMON_LOG_IN(LOG_GetModuleName(zones().examiner), counted(COMMON_LogLevelVerbose),
                  "%s/%s: %lld bytes", folder.path.c_str(), name,
                  static_cast<long long>(status.st_size));
    return true;
}

void Scan::count_all()
{
    std::array<Find, 64> room;
    for (bool ended = false; !ended;) {
        for (const Find& find : finds_.take(room)) {
            count(find);
            ended = find.type == Find::End;
        }
    }
    counted_ = true;
    counted_.notify_all();
    kill(getpid(), SIGUSR1);
}

void Scan::count(const Find& find)
{
    switch (find.type) {
    case Find::File:
        totals_.files.fetch_add(1, std::memory_order_relaxed);
        totals_.bytes.fetch_add(find.bytes, std::memory_order_relaxed);
        if (find.ending[0] != '\0') {
            kinds_.count(find.ending, find.bytes);
        }
        break;
    case Find::Link:
        totals_.links.fetch_add(1, std::memory_order_relaxed);
        break;
    case Find::Unreadable:
        totals_.unreadable.fetch_add(1, std::memory_order_relaxed);
        break;
    case Find::Folder:
        totals_.folders.fetch_add(1, std::memory_order_relaxed);
        break;
    case Find::End:
        break;
    }
}

void Scan::report_unreadable(std::uint32_t zone, const std::string& path, int error)
{
    finds_.add({.type = Find::Unreadable});
    COMMON_LOG_IN(LOG_GetModuleName(zone), counted(COMMON_LogLevelWarn), "Cannot read %s: %s (%d)",
                  path.c_str(), std::strerror(error), error);
}

}  // namespace scanner
