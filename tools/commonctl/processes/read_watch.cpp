#include "processes/read_watch.h"

#include <algorithm>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>
#include <utility>

namespace commonctl {

ReadWatch::ReadWatch(const SettingsFolder& folder, std::string name)
    : name_(std::move(name)), fd_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK))
{
    const std::string path = "/proc/self/fd/" + std::to_string(folder.fd());
    inotify_add_watch(fd_.get(), path.c_str(), IN_OPEN | IN_CLOSE | IN_MOVED_TO);
}

void ReadWatch::take_events()
{
    alignas(inotify_event) char buffer[4096];
    for (ssize_t length = 0; (length = read(fd_.get(), buffer, sizeof buffer)) > 0;) {
        for (ssize_t at = 0; at < length;) {
            const auto* const event = reinterpret_cast<const inotify_event*>(buffer + at);
            at += static_cast<ssize_t>(sizeof *event + event->len);
            if (event->len == 0 || name_ != event->name) {
                continue;
            }
            if ((event->mask & IN_MOVED_TO) != 0) {
                in_place_ = true;
            } else if (in_place_ && (event->mask & IN_OPEN) != 0) {
                ++opened_;
            } else if (opened_ > 0) {
                --opened_;
                read_ += (event->mask & IN_CLOSE_NOWRITE) != 0 ? 1 : 0;
            }
        }
    }
}

std::size_t ReadWatch::wait(std::size_t wanted, std::chrono::milliseconds patience,
                            const std::function<bool()>& goes_on)
{
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::milliseconds kSlice{50};
    const auto end = Clock::now() + patience;
    for (;;) {
        take_events();
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
        if (read_ >= wanted || left.count() <= 0 || !goes_on()) {
            return read_;
        }
        pollfd entry{fd_.get(), POLLIN, 0};
        poll(&entry, 1, static_cast<int>(std::min(left, kSlice).count()));
    }
}

}  // namespace commonctl
