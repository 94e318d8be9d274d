// The threads that serve connections, and which connection has to go when they do not suffice.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <list>
#include <mutex>
#include <thread>
#include <vector>

#include "serve/http.h"

namespace commonctl {

/// A fixed number of threads, each of which serves a connection until that ends. When all of them
/// have one and another comes, the connection that has waited for its client for longest is ended.
/// So neither idle nor slow clients keep others out.
class ConnectionPool final : public httplib::TaskQueue {
public:
    explicit ConnectionPool(std::size_t threads);
    ~ConnectionPool() override;
    ConnectionPool(const ConnectionPool&) = delete;
    ConnectionPool& operator=(const ConnectionPool&) = delete;

    /// Takes a function that serves one connection. Waits when too many are waiting already.
    void enqueue(std::function<void()> serve) override;

    /// Ends all connections and threads.
    void shutdown() override;

private:
    struct Entry {
        int fd;
        bool waits = true;  ///< for the client, to send or to receive
        bool ending = false;
    };

public:
    /// A connection that is being served, for as long as it lives. It begins as one that waits for
    /// its client.
    class Connection {
    public:
        Connection(ConnectionPool& pool, int fd);
        ~Connection();
        Connection(const Connection&) = delete;
        Connection& operator=(const Connection&) = delete;

        /// From now on it waits for its client, and may be ended: reading and writing fail then.
        void wait();

        /// From now on it works for its client, and is not ended.
        void work();

    private:
        ConnectionPool& pool_;
        std::list<Entry>::iterator entry_;
    };

private:
    void run();
    void end_locked(Entry& entry);
    void make_room_locked();

    std::mutex lock_;
    std::condition_variable work_;            ///< there are functions, or it is the end
    std::condition_variable room_;            ///< there is room among the functions
    std::deque<std::function<void()>> jobs_;  ///< that no thread has taken yet
    std::list<Entry> entries_;  ///< of those that wait, in the order in which they began to
    std::size_t free_threads_ = 0;
    std::size_t ending_ = 0;  ///< entries that were told to end
    bool stopping_ = false;
    std::vector<std::thread> threads_;
};

}  // namespace commonctl
