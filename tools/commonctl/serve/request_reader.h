// Requests of one connection, taken from its socket within limits.
#pragma once

#include <string>

#include "serve/limits.h"

namespace commonctl {

/// Reads whole requests before anything else looks at them: what parses them gets neither more than
/// the limits allow nor a byte at a time.
class RequestReader {
public:
    RequestReader(int fd, const ServerLimits& limits) : fd_(fd), limits_(limits) {}

    /// What came: a request as text, or else a status to refuse with, or 0 when there is nobody to
    /// tell.
    struct Result {
        std::string request{};
        int refused = 0;
    };

    /// Waits for the next request. What the server has no use for is taken out of it: ranges,
    /// compression and questions whether to go on.
    Result next();

private:
    enum class Got { Bytes, End, Late };
    Got receive(std::chrono::steady_clock::time_point deadline);

    int fd_;
    const ServerLimits& limits_;
    std::string buffer_;
};

}  // namespace commonctl
