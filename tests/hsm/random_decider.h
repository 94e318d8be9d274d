// What the callbacks of a random statechart do, and where its states are.
//
// The machine under test and the model of it ask the same questions in the same order, so they get
// the same answers; once they differ, so do their traces.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <random>
#include <string>
#include <vector>

#include "lineage.h"

namespace chart {

/// Answers by the number of the question, the state and the event: no state but a counter.
class Decider {
public:
    explicit Decider(std::uint64_t seed) : seed_(seed) {}

    /// Starts the questions of one dispatch.
    void begin(std::uint64_t dispatch)
    {
        dispatch_ = dispatch;
        asked_ = 0;
    }

    /// @return a number below `bound`.
    unsigned below(unsigned bound, int state, std::uint64_t event)
    {
        std::uint64_t value = seed_ ^ (dispatch_ * 0x9E3779B97F4A7C15U) ^ (++asked_ << 40U) ^
                              (static_cast<std::uint64_t>(state) << 32U) ^ event;
        value = (value ^ (value >> 30U)) * 0xBF58476D1CE4E5B9U;
        value = (value ^ (value >> 27U)) * 0x94D049BB133111EBU;
        return static_cast<unsigned>((value ^ (value >> 31U)) % bound);
    }

    /// Whether so much was asked in this dispatch that callbacks should let it come to an end.
    bool is_tired() const { return asked_ > 120; }

private:
    std::uint64_t seed_;
    std::uint64_t dispatch_ = 0;
    std::uint64_t asked_ = 0;
};

/// Gives each state of a random tree its parent, an earlier one.
/// @param outermost how many of the first states are roots: they get -1.
/// @param deepest levels below a root.
inline std::vector<int> random_tree(std::mt19937_64& random, int states, int outermost, int deepest)
{
    std::vector<int> parents;
    std::vector<int> depths;
    for (int state = 0; state < states; ++state) {
        int parent = -1;
        if (state >= outermost) {
            // Often the one before, so that trees get deep.
            do {
                parent = random() % 2 == 0
                             ? state - 1
                             : static_cast<int>(random() % static_cast<unsigned>(state));
            } while (depths[static_cast<unsigned>(parent)] == deepest &&
                     (parent = static_cast<int>(random() % static_cast<unsigned>(state)),
                      depths[static_cast<unsigned>(parent)] == deepest));
        }
        parents.push_back(parent);
        depths.push_back(parent < 0 ? 0 : depths[static_cast<unsigned>(parent)] + 1);
    }
    return parents;
}

/// A fixed seed, and one of this moment that failures show.
inline std::vector<std::uint64_t> seeds()
{
    const char* const wanted = std::getenv("COMMON_TEST_SEED");
    return {20'260'101, wanted != nullptr ? std::strtoull(wanted, nullptr, 10)
                                          : static_cast<std::uint64_t>(std::time(nullptr))};
}

}  // namespace chart
