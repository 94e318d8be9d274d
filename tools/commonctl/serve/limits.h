// What one client may take of the server.
#pragma once

#include <chrono>
#include <cstddef>

namespace commonctl {

struct ServerLimits {
    /// Connections that are served at once; one more takes the place of that which has waited for
    /// its client for longest.
    std::size_t threads = 64;
    std::chrono::milliseconds idle{30'000};     ///< without a request
    std::chrono::milliseconds request{10'000};  ///< from its first byte to its last
    std::chrono::milliseconds answer{10'000};   ///< until the client has taken it all
    std::size_t line_bytes = 2048;              ///< of the line with the address
    std::size_t head_bytes = 16'384;
    std::size_t body_bytes = 262'144;
    std::chrono::milliseconds poll{20'000};  ///< a request for records that are still to come
    std::size_t polls = 32;                  ///< at once; further ones are answered at once
};

}  // namespace commonctl
