// Plots as SVG that stands in a page.
#pragma once

#include <string>
#include <vector>

#include "profile/phases.h"

namespace commonctl::profile {

/// The highest rate of a moment, in records a second.
double highest_rate(const std::vector<Moment>& moments);

/// Rates over time as areas on one another, the most severe level at the bottom, with loud and
/// quiet phases behind them. It takes the whole width and height that it is given; the page has
/// the classes "l0" to "l8" for levels, "loud" and "quiet".
/// @param label what it shows, in words; it has nothing that must be escaped.
std::string rate_plot(const std::vector<Moment>& moments, const Phases& phases,
                      const std::string& label);

/// A bar, as a part of the width that it is given.
/// @param share 0 to 1.
std::string bar(double share);

}  // namespace commonctl::profile
