// Statecharts that an input decides, and where a state of one is.
#pragma once

#include <vector>

#include "../../fuzz/support/choices.h"

namespace chart {

/// Inputs of this many bytes bring all that there is.
constexpr std::size_t kLongestInput = 512;

/// Gives each state of a tree its parent, an earlier one.
/// @param roots how many of the first states have none: they get -1.
/// @param deepest levels below a root.
inline std::vector<int> chosen_tree(fuzz::Choices& choices, unsigned states, unsigned roots,
                                    unsigned deepest)
{
    std::vector<int> parents;
    std::vector<unsigned> depths;
    for (unsigned state = 0; state < states; ++state) {
        unsigned parent = 0;
        if (state >= roots) {
            // 0 is the state before, so that trees get deep.
            parent = state - 1 - choices.below(state);
            parent = depths[parent] == deepest ? 0 : parent;
        }
        parents.push_back(state < roots ? -1 : static_cast<int>(parent));
        depths.push_back(state < roots ? 0 : depths[parent] + 1);
    }
    return parents;
}

/// A state and its superstates, from the inside out.
inline std::vector<int> lineage(const std::vector<int>& parents, int state)
{
    std::vector<int> all;
    for (; state >= 0; state = parents[static_cast<unsigned>(state)]) {
        all.push_back(state);
    }
    return all;
}

}  // namespace chart
