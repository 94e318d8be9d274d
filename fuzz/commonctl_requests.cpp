// What the server of "commonctl serve" lets through of a connection, with any bytes from the
// client: whole requests within the limits, of which nothing is left that it has no use for. The
// input is what comes.
#include <algorithm>
#include <cctype>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

#include "serve/request_reader.h"
#include "support/input.h"

namespace {

constexpr commonctl::ServerLimits kLimits{.line_bytes = 48, .head_bytes = 256, .body_bytes = 64};

/// The value of a header in a request's head, if there is one; the last one counts.
bool find_header(const std::string& head, const std::string& name, std::string& value)
{
    std::string lower(head);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    const auto at = lower.rfind("\r\n" + name + ":");
    if (at == std::string::npos) {
        return false;
    }
    const auto begin = at + name.size() + 3;
    value = head.substr(begin, head.find("\r\n", begin) - begin);
    return true;
}

void check_request(const std::string& request)
{
    const auto end = request.find("\r\n\r\n");
    FUZZ_CHECK(end != std::string::npos);
    const std::string head = request.substr(0, end + 2);
    const std::string body = request.substr(end + 4);
    FUZZ_CHECK(head.find("\r\n") <= kLimits.line_bytes);
    FUZZ_CHECK(end <= kLimits.head_bytes);
    FUZZ_CHECK(body.size() <= kLimits.body_bytes);
    for (std::size_t i = 0; i < head.size(); ++i) {
        const auto c = static_cast<unsigned char>(head[i]);
        const bool is_end =
            head.compare(i, 2, "\r\n") == 0 || (i != 0 && head.compare(i - 1, 2, "\r\n") == 0);
        FUZZ_CHECK((c >= 0x20 && c != 0x7f) || c == '\t' || is_end);
    }
    std::string value;
    for (const char* const name : {"transfer-encoding", "range", "accept-encoding", "expect"}) {
        FUZZ_CHECK(!find_header(head, name, value));
    }
    const bool has_length = find_header(head, "content-length", value);
    FUZZ_CHECK(body.size() == (has_length ? std::stoull(value) : 0));
    FUZZ_CHECK(body.empty() || find_header(head, "content-type", value));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    int ends[2];
    FUZZ_CHECK(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0);
    size = std::min<std::size_t>(size, 4096);
    FUZZ_CHECK(size == 0 || send(ends[0], data, size, MSG_DONTWAIT) == static_cast<ssize_t>(size));
    close(ends[0]);

    commonctl::RequestReader reader(ends[1], kLimits);
    std::size_t let_through = 0;
    for (;;) {
        const auto [request, refused] = reader.next();
        if (request.empty()) {
            constexpr int kRefusals[] = {0, 400, 411, 413, 414, 415, 431};
            FUZZ_CHECK(std::count(std::begin(kRefusals), std::end(kRefusals), refused) == 1);
            break;
        }
        FUZZ_CHECK(refused == 0);
        check_request(request);
        let_through += request.size();
    }
    FUZZ_CHECK(let_through <= size);
    close(ends[1]);
    return 0;
}
