// One walk over a folder: a thread that finds the folders, workers that examine them, and one that
// counts what they find.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "common_log.h"
#include "common_thread.h"
#include "finds.h"
#include "gate.h"
#include "media_kinds.h"
#include "options.h"
#include "watch.h"
#include "work_queue.h"

namespace scanner {

/// What a scan has found so far.
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

    /// Starts the threads, which scan the opened folder while the gate is open. @return false when
    /// one could not be started; the library has reported why, and nothing is scanned.
    bool start();

    /// Lets the threads work, or has them wait. Closed at first.
    void set_gate(bool open) { gate_.set_open(open); }

    /// What has not been examined is left out. Opens the gate.
    void give_up();

    /// Waits until everything has been examined and counted, and the threads are gone. To those who
    /// wait in another way, the process gets SIGUSR1 when all is counted.
    void wait();

    const Totals& totals() const noexcept { return totals_; }
    const MediaKinds& kinds() const noexcept { return kinds_; }

private:
    template <void (Scan::*Work)()>
    bool start_thread(const std::string& name);
    bool start_threads();
    void pass_gate();

    void find();
    void find_below(const std::string& top_level);
    std::vector<std::string> take_in(std::string path, FolderHandle handle);
    void begin_details();
    void end_details();

    void examine_all();
    void count_all();
    void count(const Find& find);
    void examine(const Folder& folder, MediaNames& media);
    bool examine_entry(const Folder& folder, const char* name, MediaNames& media);
    void report_unreadable(std::uint32_t zone, const std::string& path, int error);

    const Options& options_;
    std::string path_;
    FolderHandle handle_;
    std::vector<ThreadRecord> threads_;
    bool has_counter_ = false;
    Gate gate_;
    Watch watch_;
    WorkQueue queue_;
    FindQueue finds_;
    std::atomic<bool> given_up_{false};
    std::atomic<bool> counted_{false};

    // Written by the counter alone:
    Totals totals_;
    MediaKinds kinds_;  // read when all is counted

    // Of the finder alone:
    std::uint64_t folders_ = 0;
    Expression pattern_;  // null: every file counts
    bool in_detail_ = false;
    COMMON_LogLevel_t level_before_ = 0;
    COMMON_LogFormat_t layout_before_ = 0;
};

}  // namespace scanner
