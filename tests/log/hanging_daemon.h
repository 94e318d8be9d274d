// A log daemon that does not read: senders wait once its queue is full.
#pragma once

#include <atomic>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "log_calls.h"
#include "log_socket.h"
#include "private_root.h"
#include "wait_until.h"

namespace harness {

/// What a body needs that has such a daemon: a network of its own, as the length of the queue is
/// one of its settings.
inline FreshSetup hanging_daemon_setup()
{
    return {.open_log_socket = false, .prepare = enter_private_network};
}

class HangingDaemon {
public:
    HangingDaemon() { socket_.bind_at(); }

    /// Records that are more than the queue takes.
    static int more_than_the_queue()
    {
        int length = 0;
        std::ifstream("/proc/sys/net/unix/max_dgram_qlen") >> length;
        EXPECT_GT(length, 0);
        return length + 50;
    }

    /// Starts a thread that writes records until it waits for room, and the rest once there is
    /// some.
    std::thread start_blocked_writer(int records)
    {
        std::thread writer([this, records] {
            writer_ = gettid();
            for (int i = 0; i < records; ++i) {
                log_message(COMMON_LogLevelInfo, "queued");
                ++sent_;
            }
        });
        EXPECT_TRUE(wait_until([this] { return is_full() && is_blocked(writer_); }));
        return writer;
    }

    static bool is_full()
    {
        // Whoever looks from outside cannot send either.
        const int probe = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strcpy(address.sun_path, "/dev/log");
        const bool full =
            connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
            send(probe, "", 0, MSG_DONTWAIT) < 0 && errno == EAGAIN;
        close(probe);
        return full;
    }

    /// Reads what is there. @return the records so far whose text ends like that.
    int received(std::string_view end)
    {
        for (auto& record : socket_.receive_all()) {
            records_.push_back(std::move(record));
        }
        int count = 0;
        for (const auto& record : records_) {
            count += record.text.ends_with(end) ? 1 : 0;
        }
        return count;
    }

    int sent() const { return sent_; }

private:
    LogSocket socket_;
    std::vector<LogRecord> records_;
    std::atomic<int> sent_{0};
    std::atomic<int> writer_{0};
};

}  // namespace harness
