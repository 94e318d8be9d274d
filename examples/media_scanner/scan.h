// One walk over a folder: a thread that finds the folders, and workers that examine them.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "common_log.h"
#include "common_thread.h"
#include "media_kinds.h"
#include "options.h"
#include "work_queue.h"

namespace scanner {

/// What a scan has found.
struct Totals {
    std::atomic<std::uint64_t> folders{0};  // with the one that was given
    std::atomic<std::uint64_t> files{0};
    std::atomic<std::uint64_t> links{0};  // not followed
    std::atomic<std::uint64_t> bytes{0};  // in files
    std::atomic<std::uint64_t> unreadable{0};
};

struct DeleteThread {
    void operator()(COMMON_Thread* thread) const noexcept { COMMON_Thread_Delete(thread); }
};
using ThreadRecord = std::unique_ptr<COMMON_Thread, DeleteThread>;

class Scan {
public:
    explicit Scan(const Options& options);

    /// Opens the folder to scan. @return 0 or the error number.
    int open(const std::string& path);

    /// Scans the opened folder and returns when all of it has been examined. @return false when a
    /// thread could not be started; the library has reported why.
    bool run();

    const Totals& totals() const noexcept { return totals_; }
    const MediaKinds& kinds() const noexcept { return kinds_; }

private:
    bool start(const std::string& name, COMMON_ThreadEntry_t entry);
    bool start_all();

    void find();
    void find_below(const std::string& top_level);
    std::vector<std::string> take_in(std::string path, FolderHandle handle);
    void begin_details();
    void end_details();

    void examine_all();
    void examine(const Folder& folder, MediaNames& media);
    bool examine_entry(const Folder& folder, const char* name, MediaNames& media);
    void report_unreadable(std::uint32_t zone, const std::string& path, int error);

    const Options& options_;
    std::string path_;
    FolderHandle handle_;
    std::vector<ThreadRecord> threads_;
    WorkQueue queue_;
    Totals totals_;
    MediaKinds kinds_;

    // Of the finder alone:
    Expression pattern_;  // null: every file counts
    bool in_detail_ = false;
    COMMON_LogLevel_t level_before_ = 0;
    COMMON_LogFormat_t layout_before_ = 0;
};

}  // namespace scanner
