#include "wait_until.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <sys/eventfd.h>
#include <system_error>
#include <thread>
#include <unistd.h>

#include "sanitizer.h"

namespace harness {
namespace {

using Clock = std::chrono::steady_clock;

HARNESS_CANCELLED_IN bool readable(int fd, int timeout_ms)
{
    pollfd entry{fd, POLLIN, 0};
    return poll(&entry, 1, timeout_ms) == 1;
}

}  // namespace

std::chrono::milliseconds stretched(std::chrono::milliseconds limit)
{
    const char* text = std::getenv("COMMON_TEST_TIME_FACTOR");
    if (text == nullptr || *text == '\0') {
        return limit;
    }
    const double factor = std::strtod(text, nullptr);
    if (!(factor > 0)) {
        throw std::invalid_argument("COMMON_TEST_TIME_FACTOR is not a number above 0");
    }
    return std::chrono::milliseconds(
        static_cast<std::int64_t>(static_cast<double>(limit.count()) * factor));
}

bool wait_until(const std::function<bool()>& condition, std::chrono::milliseconds limit)
{
    const auto deadline = Clock::now() + stretched(limit);
    while (!condition()) {
        if (Clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

bool is_blocked(int thread)
{
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::string text;
    std::getline(file, text);
    const auto name_end = text.rfind(") ");
    return name_end != std::string::npos && text[name_end + 2] == 'S';
}

Event::Event() : fd_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (fd_ < 0) {
        throw std::system_error(errno, std::generic_category(), "cannot make an event");
    }
}

Event::~Event()
{
    close(fd_);
}

HARNESS_CANCELLED_IN void Event::set()
{
    const int error = errno;
    const std::uint64_t one = 1;
    // It can only fail when the flag has been set 2^64 - 2 times before.
    [[maybe_unused]] const ssize_t written = write(fd_, &one, sizeof one);
    errno = error;
}

HARNESS_CANCELLED_IN bool Event::wait(std::chrono::milliseconds limit) const
{
    const auto deadline = Clock::now() + stretched(limit);
    for (;;) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (readable(fd_, left > 0 ? static_cast<int>(left) : 0)) {
            return true;
        }
        // A signal may have cut the wait short.
        if (left <= 0) {
            return false;
        }
    }
}

bool Event::is_set() const
{
    return readable(fd_, 0);
}

}  // namespace harness
