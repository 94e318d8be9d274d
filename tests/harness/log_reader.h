// A log daemon in a thread of the process that logs, for races whose records are too many to keep.
#pragma once

#include <atomic>
#include <functional>
#include <thread>

#include "log_socket.h"

namespace harness {

/// Listens at /dev/log, in a fresh process without a log socket of its own.
class LogReader {
public:
    /// @param take is called with each record, in the reader's thread.
    explicit LogReader(std::function<void(const support::LogRecord&)> take);
    LogReader(const LogReader&) = delete;
    LogReader& operator=(const LogReader&) = delete;
    ~LogReader();

    /// Reads what has been sent by now, and ends.
    void stop();

private:
    void run();

    std::function<void(const support::LogRecord&)> take_;
    support::LogSocket socket_{};
    std::atomic<bool> stopping_{false};
    std::thread thread_{};
};

}  // namespace harness
