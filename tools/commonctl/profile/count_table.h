// Counts by name, in a bounded number of rows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace commonctl::profile {

/// How much was written: records, and their bytes as they stand in the log.
struct Amount {
    std::uint64_t records = 0;
    std::uint64_t bytes = 0;

    void add(std::uint64_t more_bytes)
    {
        ++records;
        bytes += more_bytes;
    }
    Amount& operator+=(const Amount& more)
    {
        records += more.records;
        bytes += more.bytes;
        return *this;
    }
    bool operator==(const Amount&) const = default;
};

/// What was written since the beginning, in the last period that is over, and in the one that is
/// not.
struct Counts {
    Amount all{};
    Amount last{};
    Amount current{};

    void add(std::uint64_t bytes)
    {
        all.add(bytes);
        current.add(bytes);
    }
    void end_period()
    {
        last = current;
        current = {};
    }
    Counts& operator+=(const Counts& more)
    {
        all += more.all;
        last += more.last;
        current += more.current;
        return *this;
    }
    bool operator==(const Counts&) const = default;
};

struct Row {
    std::string name{};
    Counts counts{};
};

/// Counts for each name. When there would be more rows than allowed, the quieter half is added to
/// the "others" and forgotten; a name of these that comes back begins a new row. So the sum is
/// exact, no row has too much, and one that is always in the louder half has all.
class CountTable {
public:
    /// The bytes of a name that count; longer ones that begin alike share a row.
    static constexpr std::size_t kLongestName = 200;

    /// @param most the rows allowed, at least 2.
    explicit CountTable(std::size_t most) : most_(most) {}

    void add(std::string_view name, std::uint64_t bytes);

    /// A period is over, and the next one begins.
    void end_period();

    /// The rows, in no order.
    std::vector<Row> rows() const;

    const Counts& others() const { return others_; }

private:
    struct Hash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const
        {
            return std::hash<std::string_view>{}(text);
        }
    };

    void forget_the_quieter_half();

    std::size_t most_;
    std::unordered_map<std::string, Counts, Hash, std::equal_to<>> counts_{};
    Counts others_{};
};

}  // namespace commonctl::profile
