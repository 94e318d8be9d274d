// The records that the server keeps.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>

#include "records/record.h"

namespace commonctl {

/// The last records, each as the JSON object that pages get, numbered from 1. Any thread may use
/// it.
class RecordRing {
public:
    /// @param records, bytes how much is kept at most.
    explicit RecordRing(std::size_t records = 100'000, std::size_t bytes = std::size_t{96} << 20);

    /// Adds a record, for the price of the oldest ones. Who waits is told by announce().
    void add(const Record& record);
    void announce();

    /// What a reader gets who has seen all up to a number.
    struct Batch {
        std::string json{};        ///< objects with commas between them
        std::uint64_t next = 0;    ///< the number up to which the reader has then seen all
        std::uint64_t lost = 0;    ///< records that came since and are not kept any more
        std::uint64_t newest = 0;  ///< the number of the last record
    };

    /// @param after 0 to begin with the oldest record that is kept. A number that is not reached
    /// yet is of another server that was here before, and not waited for.
    /// @param most how many records at most.
    /// @param patience how long to wait for a record when there is none.
    Batch read(std::uint64_t after, std::size_t most, std::chrono::milliseconds patience) const;

    /// From now on nobody waits.
    void close();

    std::size_t most_records() const { return most_records_; }

private:
    const std::size_t most_records_;
    const std::size_t most_bytes_;
    mutable std::mutex lock_;
    mutable std::condition_variable more_;
    std::deque<std::string> records_;
    std::size_t bytes_ = 0;
    std::uint64_t newest_ = 0;
    bool closed_ = false;
};

}  // namespace commonctl
