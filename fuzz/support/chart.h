// Statecharts that an input decides.
#pragma once

#include <vector>

#include "../../tests/hsm/lineage.h"
#include "support/choices.h"

namespace fuzz {

/// Gives each state of a tree its parent, an earlier one.
/// @param roots how many of the first states have none: they get -1.
/// @param deepest levels below a root.
inline std::vector<int> chosen_tree(Choices& choices, unsigned states, unsigned roots,
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

}  // namespace fuzz
