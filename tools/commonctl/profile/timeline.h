// Amounts over time, in a bounded number of buckets.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "profile/count_table.h"

namespace commonctl::profile {

/// The eight levels, and behind them what has none.
inline constexpr std::size_t kLevels = 9;
inline constexpr std::size_t kNoLevel = 8;

/// Buckets that begin as seconds. When the time from the first to the last needs more than there
/// are, neighbours are merged in pairs, until it fits. Times may come in any order.
class Timeline {
public:
    static constexpr std::size_t kBuckets = 512;

    struct Bucket {
        std::array<std::uint64_t, kLevels> records{};
        std::uint64_t bytes = 0;

        std::uint64_t all_records() const;
        Bucket& operator+=(const Bucket& more);
        bool operator==(const Bucket&) const = default;
    };

    /// A bucket, and the part of it that is covered: the first and the last may be in part.
    struct Part {
        std::int64_t begin = 0;
        std::int64_t seconds = 0;
        Bucket amounts{};
    };

    /// Counts one record.
    void add(std::int64_t second, std::size_t level, std::uint64_t bytes);

    /// Makes a second part of the time that is covered, also when nothing was written in it.
    void cover(std::int64_t second);

    /// The covered time, without a hole; nothing when nothing is covered.
    std::vector<Part> parts() const;

    /// How long the covered time is; 0 when nothing is.
    std::int64_t seconds() const { return last_ - first_ + 1; }

    /// How long a bucket is.
    std::int64_t bucket_seconds() const { return std::int64_t{1} << shift_; }

private:
    Bucket& bucket(std::int64_t index)
    {
        return buckets_[static_cast<std::uint64_t>(index) % kBuckets];
    }
    void merge_pairs();

    std::int64_t first_ = 0;
    std::int64_t last_ = -1;
    unsigned shift_ = 0;  // bucket i has the seconds from i << shift_ on
    std::vector<Bucket> buckets_ = std::vector<Bucket>(kBuckets);
};

/// Where on one axis times are, when the clock jumps by more than a day, or nothing was written for
/// longer: what lies between is left out. A device that begins in 1970 and then learns the time
/// would otherwise have one bucket of decades.
class ClockAxis {
public:
    static constexpr std::int64_t kJump = 86'400;
    /// More jumps than that are not left out: the axis grows.
    static constexpr std::size_t kMostJumps = 15;

    /// Takes the times in the order of the records. @return the position of one.
    std::int64_t place(std::int64_t second);

    /// The time of a position.
    std::int64_t time_at(std::int64_t position) const;

    std::size_t jumps() const { return pieces_.empty() ? 0 : pieces_.size() - 1; }

private:
    /// From the position `begin` on, times are positions plus `offset`.
    struct Piece {
        std::int64_t begin;
        std::int64_t offset;
    };

    std::vector<Piece> pieces_{};
    std::int64_t previous_ = 0;
    std::int64_t end_ = 0;
};

}  // namespace commonctl::profile
