// How many records came in each second, by level.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

#include "records/record.h"

namespace commonctl {

/// Counts of the last ten minutes, by the time that records tell. Any thread may use it.
class RateCounter {
public:
    static constexpr std::size_t kSeconds = 600;
    static constexpr std::size_t kKinds = 9;  ///< Fatal to Verbose, and what has no level

    using Second = std::array<std::uint32_t, kKinds>;

    /// @param now_ns the time now: that of a record without a time, or with one that is to come,
    /// as nothing else would be seen beside it.
    void add(const Record& record, std::int64_t now_ns);

    struct Rates {
        std::int64_t end = 0;  ///< the second of the last count, since the epoch
        std::vector<Second> seconds{};
        std::uint64_t total = 0;  ///< records ever
    };

    /// The counts until the newest record; or until now, when that is within the ten minutes.
    Rates rates(std::int64_t now_ns) const;

private:
    void move_to(std::int64_t second);

    mutable std::mutex lock_;
    std::array<Second, kSeconds> counts_{};  ///< a second stands at its number modulo the size
    std::int64_t end_ = INT64_MIN;           ///< the newest second
    std::uint64_t total_ = 0;
};

}  // namespace commonctl
