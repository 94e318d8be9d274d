#include "diagram/svg_layout.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <span>

#include "codes/utf8.h"
#include "diagram/svg_names.h"

namespace commonctl {
namespace {

constexpr int kMargin = 12;
constexpr int kTextMargin = 12;  ///< on either side of a name in its box
constexpr int kLane = 14;        ///< between lanes

/// One end of an arrow.
struct End {
    std::size_t arrow;
    bool is_source;
};

class Layout {
public:
    explicit Layout(const HsmRecorder& recorder)
        : recorder_(recorder), inside_(recorder.stateCount), ends_(recorder.stateCount)
    {
    }

    SvgLayout make()
    {
        take_states();
        take_transitions();
        int y = kMargin;
        for (const std::uint32_t place : outermost_) {
            rank(place);
        }
        sort_ends();
        int right = 0;
        for (const std::uint32_t place : outermost_) {
            y = put(place, kMargin, y) + kGap;
            right = std::max(right, made_.states[place].x + made_.states[place].width);
        }
        made_.label_x = right + kGap;
        made_.height = y - kGap + kMargin;
        choose_lanes();
        return std::move(made_);
    }

private:
    void take_states()
    {
        for (std::uint32_t place = 0; place < recorder_.stateCount; ++place) {
            const HsmSeenState& seen = recorder_.states[place];
            made_.states.push_back({.name = shown(seen.name)});
            if (seen.parent == HsmRecorderNone) {
                outermost_.push_back(place);
            } else {
                inside_[seen.parent].push_back(place);
                made_.states[seen.parent].has_inside = true;
            }
        }
    }

    void take_transitions()
    {
        for (const HsmSeenTransition& seen :
             std::span(recorder_.transitions, recorder_.transitionCount)) {
            if (is_initial(recorder_, seen)) {
                made_.initial.push_back({seen.from, seen.to});
                made_.states[seen.from].has_start = true;
            } else {
                ends_[seen.from].push_back({made_.arrows.size(), true});
                ends_[seen.to].push_back({made_.arrows.size(), false});
                made_.arrows.push_back({seen.from, seen.to, label_of(seen)});
            }
        }
    }

    /// Counts the states in the order in which they are put, and finds how wide they must be.
    void rank(std::uint32_t place)
    {
        StateBox& box = made_.states[place];
        rank_.resize(recorder_.stateCount);
        rank_[place] = ranks_++;
        box.width = text_width(box.name) + 2 * kTextMargin;
        for (const std::uint32_t other : inside_[place]) {
            rank(other);
            box.width = std::max(box.width, made_.states[other].width + kIndent + kGap);
        }
    }

    /// So that the lines of a state cross as little as can be: first those that go up, the nearest
    /// first, then those that go down, the furthest first.
    void sort_ends()
    {
        for (std::uint32_t place = 0; place < recorder_.stateCount; ++place) {
            const auto key = [this, place](const End& end) {
                const Arrow& arrow = made_.arrows[end.arrow];
                const int other = rank_[end.is_source ? arrow.to : arrow.from];
                const int group = other < rank_[place] ? 0 : other == rank_[place] ? 1 : 2;
                const int order = static_cast<int>(end.arrow);
                return std::array{group, -other, group == 0 ? -order : order,
                                  end.is_source ? 0 : 1};
            };
            std::ranges::sort(ends_[place], [&](const End& one, const End& other) {
                return key(one) < key(other);
            });
        }
    }

    /// Puts a state and all in it. @return the y below it.
    int put(std::uint32_t place, int x, int y)
    {
        StateBox& box = made_.states[place];
        const int rows = static_cast<int>(ends_[place].size());
        box.x = x;
        box.y = y;
        box.head = std::max(box.has_start ? 40 : 30, rows * kRow + 8);
        int row_y = y + (box.head - rows * kRow) / 2 + kRow / 2;
        for (const End& end : ends_[place]) {
            Arrow& arrow = made_.arrows[end.arrow];
            (end.is_source ? arrow.from_y : arrow.to_y) = row_y;
            row_y += kRow;
        }
        int below = y + box.head;
        for (const std::uint32_t other : inside_[place]) {
            made_.states[other].width = box.width - kIndent - kGap;
            below = put(other, x + kIndent, below) + kGap;
        }
        box.height = below - y;
        return below;
    }

    /// The short ones first and near: an arrow takes the first lane that is free along its way.
    void choose_lanes()
    {
        std::vector<Arrow*> order;
        int labels = 0;
        for (Arrow& arrow : made_.arrows) {
            order.push_back(&arrow);
            labels = std::max(labels, text_width(arrow.label));
        }
        const auto length = [](const Arrow* arrow) {
            return std::abs(arrow->to_y - arrow->from_y);
        };
        std::ranges::stable_sort(order, {}, length);
        std::vector<std::vector<const Arrow*>> lanes;
        const int first = made_.label_x + labels + kGap + kLane;
        for (Arrow* const arrow : order) {
            std::size_t lane = 0;
            while (lane < lanes.size() && std::ranges::any_of(lanes[lane], [&](const Arrow* other) {
                       return meet(*arrow, *other);
                   })) {
                ++lane;
            }
            lanes.resize(std::max(lanes.size(), lane + 1));
            lanes[lane].push_back(arrow);
            arrow->lane_x = first + static_cast<int>(lane) * kLane;
        }
        made_.width = lanes.empty() ? made_.label_x - kGap + kMargin
                                    : first + static_cast<int>(lanes.size() - 1) * kLane + kMargin;
    }

    static bool meet(const Arrow& one, const Arrow& other)
    {
        const auto [one_top, one_end] = std::minmax(one.from_y, one.to_y);
        const auto [other_top, other_end] = std::minmax(other.from_y, other.to_y);
        return one_top <= other_end && other_top <= one_end;
    }

    const HsmRecorder& recorder_;
    SvgLayout made_;
    std::vector<std::uint32_t> outermost_;
    std::vector<std::vector<std::uint32_t>> inside_;
    std::vector<std::vector<End>> ends_;
    std::vector<int> rank_;
    int ranks_ = 0;
};

}  // namespace

int text_width(std::string_view text)
{
    int cells = 0;
    while (!text.empty()) {
        const std::size_t length = std::max<std::size_t>(1, utf8_length(text));
        cells += length < 3 ? 1 : 2;
        text.remove_prefix(length);
    }
    return cells * kCharWidth;
}

SvgLayout lay_out(const HsmRecorder& recorder)
{
    return Layout(recorder).make();
}

}  // namespace commonctl
