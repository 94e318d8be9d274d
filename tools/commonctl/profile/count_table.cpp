#include "profile/count_table.h"

#include <algorithm>

namespace commonctl::profile {

void CountTable::add(std::string_view name, std::uint64_t bytes)
{
    name = name.substr(0, kLongestName);
    auto found = counts_.find(name);
    if (found == counts_.end()) {
        if (counts_.size() >= most_) {
            forget_the_quieter_half();
        }
        found = counts_.emplace(name, Counts{}).first;
    }
    found->second.add(bytes);
}

void CountTable::end_period()
{
    for (auto& [name, counts] : counts_) {
        counts.end_period();
    }
    others_.end_period();
}

std::vector<Row> CountTable::rows() const
{
    std::vector<Row> rows;
    rows.reserve(counts_.size());
    for (const auto& [name, counts] : counts_) {
        rows.push_back({name, counts});
    }
    return rows;
}

void CountTable::forget_the_quieter_half()
{
    std::vector<decltype(counts_)::iterator> rows;
    rows.reserve(counts_.size());
    for (auto row = counts_.begin(); row != counts_.end(); ++row) {
        rows.push_back(row);
    }
    const auto middle = rows.begin() + static_cast<std::ptrdiff_t>(rows.size() / 2);
    std::nth_element(rows.begin(), middle, rows.end(), [](auto left, auto right) {
        return left->second.all.records < right->second.all.records;
    });
    for (auto row = rows.begin(); row != middle; ++row) {
        others_ += (*row)->second;
        counts_.erase(*row);
    }
}

}  // namespace commonctl::profile
