#include "profile/phases.h"

#include <algorithm>

namespace commonctl::profile {
namespace {

double median_rate(const std::vector<Moment>& moments)
{
    std::vector<double> rates;
    for (const Moment& moment : moments) {
        if (moment.amounts.all_records() > 0) {
            rates.push_back(moment.rate());
        }
    }
    if (rates.empty()) {
        return 0;
    }
    const auto upper = rates.begin() + static_cast<std::ptrdiff_t>(rates.size() / 2);
    std::nth_element(rates.begin(), upper, rates.end());
    if (rates.size() % 2 == 1) {
        return *upper;
    }
    return (*upper + *std::max_element(rates.begin(), upper)) / 2;
}

/// The phases of all moments that are of a kind.
template <typename Kind>
std::vector<Moment> joined(const std::vector<Moment>& moments, Kind is_of_kind)
{
    std::vector<Moment> phases;
    bool goes_on = false;
    for (const Moment& moment : moments) {
        const bool is = is_of_kind(moment);
        // Behind a jump of the clock a phase of its own begins.
        if (is && goes_on && phases.back().time + phases.back().seconds == moment.time) {
            phases.back().seconds += moment.seconds;
            phases.back().amounts += moment.amounts;
        } else if (is) {
            phases.push_back(moment);
        }
        goes_on = is;
    }
    return phases;
}

/// Leaves those in front by a measure, in their order.
template <typename Measure>
void keep_most(std::vector<Moment>& phases, Measure measure)
{
    if (phases.size() <= Phases::kMost) {
        return;
    }
    std::vector<std::size_t> order(phases.size());
    for (std::size_t i = 0; i < order.size(); ++i) {
        order[i] = i;
    }
    std::stable_sort(order.begin(), order.end(), [&](std::size_t left, std::size_t right) {
        return measure(phases[left]) > measure(phases[right]);
    });
    order.resize(Phases::kMost);
    std::sort(order.begin(), order.end());
    std::vector<Moment> kept;
    for (const std::size_t i : order) {
        kept.push_back(phases[i]);
    }
    phases = std::move(kept);
}

}  // namespace

std::vector<Moment> moments_of(const Profile& profile)
{
    std::vector<Moment> moments;
    for (const Timeline::Part& part : profile.timeline().parts()) {
        moments.push_back({profile.axis().time_at(part.begin), part.seconds, part.amounts});
    }
    return moments;
}

Phases find_phases(const std::vector<Moment>& moments)
{
    Phases phases;
    phases.median = median_rate(moments);
    const double loud = phases.median * Phases::kFactor;
    const double quiet = phases.median / Phases::kFactor;
    phases.loud = joined(moments, [&](const Moment& moment) { return moment.rate() > loud; });
    phases.quiet = joined(moments, [&](const Moment& moment) { return moment.rate() < quiet; });
    keep_most(phases.loud, [](const Moment& phase) { return phase.amounts.all_records(); });
    keep_most(phases.quiet, [](const Moment& phase) { return phase.seconds; });
    return phases;
}

}  // namespace commonctl::profile
