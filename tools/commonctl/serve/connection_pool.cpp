#include "serve/connection_pool.h"

#include <iterator>
#include <sys/socket.h>
#include <utility>

namespace commonctl {
namespace {

/// Connections that wait for a thread: each holds a descriptor.
constexpr std::size_t kMostJobs = 128;

}  // namespace

ConnectionPool::ConnectionPool(std::size_t threads)
{
    threads_.reserve(threads);
    for (std::size_t i = 0; i < threads; ++i) {
        threads_.emplace_back([this] { run(); });
    }
}

ConnectionPool::~ConnectionPool()
{
    shutdown();
}

void ConnectionPool::run()
{
    std::unique_lock lock(lock_);
    for (;;) {
        ++free_threads_;
        work_.wait(lock, [this] { return !jobs_.empty() || stopping_; });
        --free_threads_;
        if (jobs_.empty()) {
            return;
        }
        {
            const auto serve = std::move(jobs_.front());
            jobs_.pop_front();
            room_.notify_one();
            lock.unlock();
            serve();
        }
        lock.lock();
    }
}

void ConnectionPool::enqueue(std::function<void()> serve)
{
    std::unique_lock lock(lock_);
    room_.wait(lock, [this] { return jobs_.size() < kMostJobs; });
    jobs_.push_back(std::move(serve));
    make_room_locked();
    work_.notify_one();
}

void ConnectionPool::shutdown()
{
    {
        const std::lock_guard lock(lock_);
        stopping_ = true;
        for (auto& entry : entries_) {
            end_locked(entry);
        }
        work_.notify_all();
    }
    for (auto& thread : threads_) {
        thread.join();
    }
    threads_.clear();
}

void ConnectionPool::end_locked(Entry& entry)
{
    if (!entry.ending) {
        entry.ending = true;
        ++ending_;
        ::shutdown(entry.fd, SHUT_RDWR);
    }
}

/** Also called when a connection begins to wait: when the functions came, there may have been none
 * that did. */
void ConnectionPool::make_room_locked()
{
    for (auto& entry : entries_) {
        if (jobs_.size() <= free_threads_ + ending_) {
            return;
        }
        if (entry.waits) {
            end_locked(entry);
        }
    }
}

ConnectionPool::Connection::Connection(ConnectionPool& pool, int fd) : pool_(pool)
{
    const std::lock_guard lock(pool_.lock_);
    pool_.entries_.push_back({fd});
    entry_ = std::prev(pool_.entries_.end());
    if (pool_.stopping_) {
        pool_.end_locked(*entry_);
    }
    pool_.make_room_locked();
}

ConnectionPool::Connection::~Connection()
{
    const std::lock_guard lock(pool_.lock_);
    pool_.ending_ -= entry_->ending ? 1 : 0;
    pool_.entries_.erase(entry_);
}

void ConnectionPool::Connection::wait()
{
    const std::lock_guard lock(pool_.lock_);
    if (!entry_->waits) {
        entry_->waits = true;
        pool_.entries_.splice(pool_.entries_.end(), pool_.entries_, entry_);
        pool_.make_room_locked();
    }
}

void ConnectionPool::Connection::work()
{
    const std::lock_guard lock(pool_.lock_);
    entry_->waits = false;
}

}  // namespace commonctl
