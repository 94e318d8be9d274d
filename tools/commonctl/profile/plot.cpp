#include "profile/plot.h"

#include <algorithm>
#include <cstdio>

namespace commonctl::profile {
namespace {

constexpr double kHeight = 1000;

/// A coordinate: with one place, and without one that is 0.
std::string at(double value)
{
    char text[400];
    std::snprintf(text, sizeof text, "%.1f", value);
    std::string result = text;
    if (result.ends_with(".0")) {
        result.resize(result.size() - 2);
    }
    return result;
}

/// Where the areas of a level begin and end, from the bottom, for each moment.
struct Edges {
    std::vector<double> low;
    std::vector<double> high;
};

/// The outline of a level's area, in steps: its upper edge from left to right, and back along the
/// lower one.
std::string outline(const Edges& edges)
{
    const std::size_t count = edges.low.size();
    std::string path = "M0 " + at(kHeight - edges.low.front());
    double before = -1;
    for (std::size_t i = 0; i < count; ++i) {
        if (edges.high[i] != before) {
            path += "H" + std::to_string(i) + "V" + at(kHeight - edges.high[i]);
            before = edges.high[i];
        }
    }
    path += "H" + std::to_string(count);
    before = -1;
    for (std::size_t i = count; i > 0; --i) {
        if (edges.low[i - 1] != before) {
            path += "H" + std::to_string(i) + "V" + at(kHeight - edges.low[i - 1]);
            before = edges.low[i - 1];
        }
    }
    return path + "H0Z";
}

std::string areas(const std::vector<Moment>& moments)
{
    const double scale = kHeight / highest_rate(moments);
    std::string text;
    std::vector<double> reached(moments.size());
    for (std::size_t level = 0; level < kLevels; ++level) {
        Edges edges{reached, reached};
        bool any = false;
        for (std::size_t i = 0; i < moments.size(); ++i) {
            const auto records = static_cast<double>(moments[i].amounts.records[level]);
            edges.high[i] += records / static_cast<double>(moments[i].seconds) * scale;
            any = any || records > 0;
        }
        if (any) {
            text +=
                "<path class=\"l" + std::to_string(level) + "\" d=\"" + outline(edges) + "\"/>\n";
        }
        reached = edges.high;
    }
    return text;
}

/// A band behind the areas for each phase.
std::string bands(const std::vector<Moment>& moments, const std::vector<Moment>& phases,
                  const char* kind)
{
    std::string text;
    std::size_t i = 0;
    for (const Moment& phase : phases) {
        while (i < moments.size() && moments[i].time != phase.time) {
            ++i;
        }
        const std::size_t begin = i;
        for (std::int64_t rest = phase.seconds; i < moments.size() && rest > 0; ++i) {
            rest -= moments[i].seconds;
        }
        text += std::string("<rect class=\"") + kind + "\" x=\"" + std::to_string(begin) +
                "\" y=\"0\" width=\"" + std::to_string(i - begin) + "\" height=\"1000\"/>\n";
    }
    return text;
}

}  // namespace

double highest_rate(const std::vector<Moment>& moments)
{
    double highest = 0;
    for (const Moment& moment : moments) {
        highest = std::max(highest, moment.rate());
    }
    return highest;
}

std::string rate_plot(const std::vector<Moment>& moments, const Phases& phases,
                      const std::string& label)
{
    return "<svg class=\"plot\" viewBox=\"0 0 " + std::to_string(moments.size()) +
           " 1000\" preserveAspectRatio=\"none\" role=\"img\" aria-label=\"" + label + "\">\n" +
           bands(moments, phases.loud, "loud") + bands(moments, phases.quiet, "quiet") +
           areas(moments) + "</svg>\n";
}

std::string bar(double share)
{
    return "<svg class=\"bar\" viewBox=\"0 0 100 10\" preserveAspectRatio=\"none\" "
           "aria-hidden=\"true\"><rect width=\"" +
           at(100 * share) + "\" height=\"10\"/></svg>";
}

}  // namespace commonctl::profile
