// Where the parts of a picture of a state machine are: states from top to bottom, nested as boxes,
// each end of a transition in a row of its own on the right of its state, each transition in a lane
// of its own further on the right, so that no two of them cover one another. Lengths are pixels.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <common/hsm_trace.h>

namespace commonctl {

inline constexpr int kCharWidth = 8;  ///< of the monospaced font, at its size
inline constexpr int kFontSize = 13;
inline constexpr int kRow = 20;     ///< an end of a transition
inline constexpr int kIndent = 30;  ///< of a state in another one
inline constexpr int kGap = 12;     ///< between states

struct StateBox {
    std::string name;
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    int head = 0;             ///< height of the part with its name and its own transitions
    bool has_inside = false;  ///< other states
    bool has_start = false;   ///< an initial transition
    int middle() const { return y + head / 2; }
};

/// A transition but an initial one: from its row, with its text in the column of texts, over its
/// lane, to its other row.
struct Arrow {
    std::uint32_t from;
    std::uint32_t to;
    std::string label;
    int from_y = 0;
    int to_y = 0;
    int lane_x = 0;
};

/// An initial transition, from the dot of a state.
struct InitialArrow {
    std::uint32_t from;
    std::uint32_t to;
};

struct SvgLayout {
    std::vector<StateBox> states;
    std::vector<Arrow> arrows;
    std::vector<InitialArrow> initial;
    int label_x = 0;
    int width = 0;
    int height = 0;
};

SvgLayout lay_out(const HsmRecorder& recorder);

/// How wide a text is shown; characters of most East Asian scripts take twice the width.
int text_width(std::string_view text);

/// Where the dot of a state with an initial transition is.
struct Dot {
    int x;
    int y;
};
constexpr int kDotFromLeft = 15;
constexpr int kDotFromHead = 9;
inline Dot dot_of(const StateBox& box)
{
    return {box.x + kDotFromLeft, box.y + box.head - kDotFromHead};
}

}  // namespace commonctl
