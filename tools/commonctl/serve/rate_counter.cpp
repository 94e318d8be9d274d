#include "serve/rate_counter.h"

#include <algorithm>

namespace commonctl {
namespace {

constexpr std::int64_t kSecond = 1'000'000'000;
constexpr auto kWindow = static_cast<std::int64_t>(RateCounter::kSeconds);

std::size_t place_of(std::int64_t second)
{
    return static_cast<std::size_t>(((second % kWindow) + kWindow) % kWindow);
}

}  // namespace

void RateCounter::move_to(std::int64_t second)
{
    if (end_ == INT64_MIN || second - end_ >= kWindow) {
        counts_ = {};
    } else {
        for (auto s = end_ + 1; s <= second; ++s) {
            counts_[place_of(s)] = {};
        }
    }
    end_ = std::max(end_, second);
}

void RateCounter::add(const Record& record, std::int64_t now_ns)
{
    const bool believable = record.time_ns >= 0 && record.time_ns <= now_ns + kSecond;
    const std::int64_t second = (believable ? record.time_ns : now_ns) / kSecond;
    const bool known = record.level >= 0 && record.level < static_cast<int>(kKinds) - 1;
    const std::lock_guard lock(lock_);
    ++total_;
    if (second > end_) {
        move_to(second);
    }
    if (end_ - second < kWindow) {
        ++counts_[place_of(second)][known ? static_cast<std::size_t>(record.level) : kKinds - 1];
    }
}

RateCounter::Rates RateCounter::rates(std::int64_t now_ns) const
{
    const std::int64_t now = now_ns / kSecond;
    const std::lock_guard lock(lock_);
    Rates rates;
    rates.total = total_;
    if (end_ == INT64_MIN) {
        return rates;
    }
    rates.end = now > end_ && now - end_ < kWindow ? now : end_;
    rates.seconds.resize(kSeconds);
    for (std::size_t i = 0; i < kSeconds; ++i) {
        const auto second = rates.end - kWindow + 1 + static_cast<std::int64_t>(i);
        if (second <= end_) {
            rates.seconds[i] = counts_[place_of(second)];
        }
    }
    return rates;
}

}  // namespace commonctl
