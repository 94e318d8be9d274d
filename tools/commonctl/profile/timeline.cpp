#include "profile/timeline.h"

#include <algorithm>
#include <numeric>

namespace commonctl::profile {

std::uint64_t Timeline::Bucket::all_records() const
{
    return std::accumulate(records.begin(), records.end(), std::uint64_t{0});
}

Timeline::Bucket& Timeline::Bucket::operator+=(const Bucket& more)
{
    for (std::size_t i = 0; i < kLevels; ++i) {
        records[i] += more.records[i];
    }
    bytes += more.bytes;
    return *this;
}

void Timeline::add(std::int64_t second, std::size_t level, std::uint64_t bytes)
{
    cover(second);
    Bucket& counted = bucket(second >> shift_);
    ++counted.records[level];
    counted.bytes += bytes;
}

void Timeline::cover(std::int64_t second)
{
    const bool empty = last_ < first_;
    const std::int64_t first = empty ? second : std::min(first_, second);
    const std::int64_t last = empty ? second : std::max(last_, second);
    while ((last >> shift_) - (first >> shift_) >= static_cast<std::int64_t>(kBuckets)) {
        merge_pairs();
    }
    first_ = first;
    last_ = last;
}

void Timeline::merge_pairs()
{
    std::vector<Bucket> merged(kBuckets);
    for (std::int64_t i = first_ >> shift_; i <= last_ >> shift_; ++i) {
        merged[static_cast<std::uint64_t>(i >> 1) % kBuckets] += bucket(i);
    }
    buckets_ = std::move(merged);
    ++shift_;
}

std::vector<Timeline::Part> Timeline::parts() const
{
    std::vector<Part> parts;
    for (std::int64_t i = first_ >> shift_; last_ >= first_ && i <= last_ >> shift_; ++i) {
        const std::int64_t begin = std::max(first_, i << shift_);
        const std::int64_t end = std::min(last_ + 1, (i + 1) << shift_);
        parts.push_back({begin, end - begin, buckets_[static_cast<std::uint64_t>(i) % kBuckets]});
    }
    return parts;
}

std::int64_t ClockAxis::place(std::int64_t second)
{
    if (pieces_.empty()) {
        pieces_.push_back({second, 0});
        end_ = second;
    } else if ((second > previous_ + kJump || second < previous_ - kJump) && jumps() < kMostJumps) {
        pieces_.push_back({end_ + 1, second - (end_ + 1)});
    }
    previous_ = second;
    const Piece& piece = pieces_.back();
    std::int64_t position = second - piece.offset;
    if (jumps() > 0) {
        // What is a little older than the first behind a jump stays behind it.
        position = std::max(position, piece.begin);
    }
    end_ = std::max(end_, position);
    return position;
}

std::int64_t ClockAxis::time_at(std::int64_t position) const
{
    std::int64_t offset = 0;
    for (const Piece& piece : pieces_) {
        if (piece.begin <= position) {
            offset = piece.offset;
        }
    }
    return position + offset;
}

}  // namespace commonctl::profile
