#include "containers/descriptor_search.h"

namespace common::client {

std::int32_t lowest_gap(const std::int32_t* table, std::int32_t count) noexcept
{
    // As long as nothing is missing, the number at a place is the place counted from 1; from the
    // first gap on, every number is larger than that.
    std::int32_t complete = 0;
    std::int32_t end = count;
    while (complete < end) {
        const std::int32_t middle = complete + (end - complete) / 2;
        if (table[middle] == middle + 1) {
            complete = middle + 1;
        } else {
            end = middle;
        }
    }
    return complete + 1;
}

}  // namespace common::client
