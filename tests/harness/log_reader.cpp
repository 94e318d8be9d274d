#include "log_reader.h"

#include <poll.h>
#include <utility>

namespace harness {
namespace {

/// How long it takes at most to notice that all is over.
constexpr int kLook_ms = 50;

}  // namespace

LogReader::LogReader(std::function<void(const support::LogRecord&)> take) : take_(std::move(take))
{
    socket_.bind_at("/dev/log");
    thread_ = std::thread([this] { run(); });
}

LogReader::~LogReader()
{
    stop();
}

void LogReader::stop()
{
    if (thread_.joinable()) {
        stopping_ = true;
        thread_.join();
        socket_.close();
    }
}

void LogReader::run()
{
    for (bool last_round = false; !last_round;) {
        pollfd entry{socket_.fd(), POLLIN, 0};
        poll(&entry, 1, kLook_ms);
        last_round = stopping_;
        while (const auto record = socket_.receive()) {
            take_(*record);
        }
    }
}

}  // namespace harness
