// Where a state of a chart is, for models of machines.
#pragma once

#include <vector>

namespace chart {

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
