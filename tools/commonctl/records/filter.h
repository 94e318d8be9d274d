// Which records are wanted.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "records/pattern.h"
#include "records/record.h"

namespace commonctl {

/// Conditions that a record must meet, each of them; of one that has several values, any of these.
/// An empty one is met by all. What a record does not tell meets none.
struct Filter {
    std::uint32_t levels = 0;  ///< a bit for each; 0 for all
    std::vector<Pattern> patterns{};
    std::vector<std::string> zones{};
    std::vector<std::string> processes{};  ///< names or ids
    std::vector<std::int64_t> threads{};
    std::vector<std::string> files{};  ///< as records show them, or what follows the last '/'
    std::int64_t since_ns = kNoTime;
    std::int64_t until_ns = kNoTime;

    bool is_empty() const;
    bool accepts(const Record& record) const;
};

/// The levels of "warn": that one and all that are more severe; or of "error..info".
/// @throws UsageError
std::uint32_t levels_of_text(std::string_view text);

}  // namespace commonctl
