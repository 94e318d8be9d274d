// When it was loud, and when quiet.
#pragma once

#include <cstdint>
#include <vector>

#include "profile/profile.h"

namespace commonctl::profile {

/// A part of the time, with its time instead of its place on the axis.
struct Moment {
    std::int64_t time = 0;  ///< seconds since the epoch
    std::int64_t seconds = 0;
    Timeline::Bucket amounts{};

    double rate() const
    {
        return static_cast<double>(amounts.all_records()) / static_cast<double>(seconds);
    }
};

/// The time that a profile covers.
std::vector<Moment> moments_of(const Profile& profile);

/// The median is that of the rates (records a second) of all moments with records. A moment is loud
/// when its rate is above three times the median, and quiet when it is below a third. Loud moments
/// behind one another are one phase, and so are quiet ones.
struct Phases {
    static constexpr double kFactor = 3;
    /// Only so many are given: of loud ones those with most records, of quiet ones the longest.
    static constexpr std::size_t kMost = 10;

    double median = 0;
    std::vector<Moment> loud{};   ///< by time
    std::vector<Moment> quiet{};  ///< by time
};

Phases find_phases(const std::vector<Moment>& moments);

}  // namespace commonctl::profile
