// Folders on their way from the thread that finds them to the threads that examine them.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <dirent.h>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "list_by_abstractset.h"

namespace scanner {

struct CloseFolder {
    void operator()(DIR* folder) const noexcept { closedir(folder); }
};
using FolderHandle = std::unique_ptr<DIR, CloseFolder>;

struct DeleteList {
    void operator()(LIST list) const noexcept { LIST_Delete(list); }
};
using List = std::unique_ptr<AbsSET, DeleteList>;

/// An open folder and the names of everything in it that is not a folder itself.
struct Folder {
    std::string path;
    FolderHandle handle;
    List names;  // of char*
};

/// A queue with room for a few folders: each holds a descriptor open, and a process has not many.
class WorkQueue {
public:
    /// Waits for room and adds a folder.
    void push(Folder folder)
    {
        std::unique_lock lock{mutex_};
        changed_.wait(lock, [this] { return waiting_.size() < kRoom; });
        waiting_.push_back(std::move(folder));
        ++unfinished_;
        changed_.notify_all();
    }

    /// Waits for a folder and takes it; nothing when the queue is closed and empty. Whoever took a
    /// folder calls finished() after it.
    std::optional<Folder> pop()
    {
        std::unique_lock lock{mutex_};
        changed_.wait(lock, [this] { return closed_ || !waiting_.empty(); });
        if (waiting_.empty()) {
            return std::nullopt;
        }
        Folder folder = std::move(waiting_.front());
        waiting_.pop_front();
        changed_.notify_all();
        return folder;
    }

    void finished()
    {
        const std::lock_guard lock{mutex_};
        --unfinished_;
        changed_.notify_all();
    }

    /// Waits until every folder that was added has been examined.
    void wait_until_idle()
    {
        std::unique_lock lock{mutex_};
        changed_.wait(lock, [this] { return unfinished_ == 0; });
    }

    /// Nothing more comes.
    void close()
    {
        const std::lock_guard lock{mutex_};
        closed_ = true;
        changed_.notify_all();
    }

private:
    static constexpr std::size_t kRoom = 64;

    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Folder> waiting_;  // guarded by mutex_, like the rest
    std::size_t unfinished_ = 0;  // waiting or being examined
    bool closed_ = false;
};

}  // namespace scanner
