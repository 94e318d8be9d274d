#include "serve/request_reader.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdint>
#include <optional>
#include <poll.h>
#include <string_view>
#include <sys/socket.h>

namespace commonctl {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::string_view kLineEnd = "\r\n";
constexpr std::string_view kHeadEnd = "\r\n\r\n";

std::string lower(std::string_view text)
{
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return result;
}

std::string_view trimmed(std::string_view text)
{
    const auto first = text.find_first_not_of(" \t");
    const auto last = text.find_last_not_of(" \t");
    return first == text.npos ? "" : text.substr(first, last - first + 1);
}

bool is_control(char c)
{
    return (static_cast<unsigned char>(c) < 0x20 && c != '\t') || c == 0x7f;
}

/// The head of a request, as it is read line by line.
struct Head {
    std::string kept{};  ///< what is passed on
    std::optional<std::uint64_t> length{};
    std::string type{};
    int refused = 0;

    void take_length(std::string_view value)
    {
        std::uint64_t number = 0;
        const auto [end, error] =
            std::from_chars(value.data(), value.data() + value.size(), number);
        if (length || value.empty() || error != std::errc() || end != value.data() + value.size()) {
            refused = 400;
        }
        length = number;
    }

    void take(std::string_view line)
    {
        const auto colon = line.find(':');
        const std::string name = lower(line.substr(0, colon));
        const bool named =
            colon != line.npos && !name.empty() && name.find_first_of(" \t") == name.npos;
        if (!named) {
            refused = 400;
        } else if (name == "transfer-encoding") {
            refused = 411;
        } else if (name == "content-length") {
            take_length(trimmed(line.substr(colon + 1)));
        } else if (name == "content-type") {
            type = lower(trimmed(line.substr(colon + 1)));
        } else if (name == "range" || name == "accept-encoding" || name == "expect") {
            return;
        }
        kept += line;
        kept += kLineEnd;
    }
};

/// Takes a head apart. @param text up to its empty line, with the end of the line before that.
Head read_head(std::string_view text, const ServerLimits& limits)
{
    Head head;
    bool first = true;
    while (!text.empty() && head.refused == 0) {
        const auto end = text.find(kLineEnd);
        const auto line = text.substr(0, end);
        text.remove_prefix(end + kLineEnd.size());
        if (std::any_of(line.begin(), line.end(), is_control)) {
            head.refused = 400;
        } else if (!first) {
            head.take(line);
        } else if (line.size() > limits.line_bytes) {
            head.refused = 414;
        } else {
            head.kept.append(line).append(kLineEnd);
        }
        first = false;
    }
    head.kept += kLineEnd;
    const bool known_type =
        head.type.starts_with("application/json") || head.type.starts_with("text/plain");
    if (head.refused == 0 && head.length.value_or(0) > limits.body_bytes) {
        head.refused = 413;
    } else if (head.refused == 0 && head.length.value_or(0) > 0 && !known_type) {
        head.refused = 415;  // forms are parsed at a cost, and none of ours
    }
    return head;
}

}  // namespace

RequestReader::Got RequestReader::receive(Clock::time_point deadline)
{
    for (;;) {
        char bytes[16 * 1024];
        const ssize_t count = recv(fd_, bytes, sizeof bytes, MSG_DONTWAIT);
        if (count > 0) {
            buffer_.append(bytes, static_cast<std::size_t>(count));
            return Got::Bytes;
        }
        if (count == 0 || (errno != EAGAIN && errno != EINTR)) {
            return Got::End;
        }
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (left <= 0) {
            return Got::Late;
        }
        pollfd entry{fd_, POLLIN, 0};
        poll(&entry, 1, static_cast<int>(left));
    }
}

RequestReader::Result RequestReader::next()
{
    if (buffer_.empty() && receive(Clock::now() + limits_.idle) != Got::Bytes) {
        return {};
    }
    const auto deadline = Clock::now() + limits_.request;
    std::size_t head_end = 0;
    while ((head_end = buffer_.find(kHeadEnd)) == buffer_.npos) {
        if (buffer_.size() > limits_.head_bytes) {
            return {.refused = 431};
        }
        if (const auto got = receive(deadline); got != Got::Bytes) {
            return {.refused = got == Got::Late ? 408 : 0};
        }
    }
    if (head_end > limits_.head_bytes) {
        return {.refused = 431};
    }
    Head head = read_head(std::string_view(buffer_).substr(0, head_end + kLineEnd.size()), limits_);
    if (head.refused != 0) {
        return {.refused = head.refused};
    }
    const std::size_t begin = head_end + kHeadEnd.size();
    const auto length = static_cast<std::size_t>(head.length.value_or(0));
    while (buffer_.size() < begin + length) {
        if (const auto got = receive(deadline); got != Got::Bytes) {
            return {.refused = got == Got::Late ? 408 : 0};
        }
    }
    head.kept.append(buffer_, begin, length);
    buffer_.erase(0, begin + length);
    return {.request = std::move(head.kept)};
}

}  // namespace commonctl
