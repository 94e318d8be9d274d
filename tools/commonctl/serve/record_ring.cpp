#include "serve/record_ring.h"

#include <algorithm>
#include <utility>

#include "serve/record_json.h"

namespace commonctl {
namespace {

/// What a record costs beside its text.
constexpr std::size_t kOverhead = sizeof(std::string) + 16;

/// An answer is not longer than this and a record.
constexpr std::size_t kBatchBytes = std::size_t{2} << 20;

}  // namespace

RecordRing::RecordRing(std::size_t records, std::size_t bytes)
    : most_records_(records), most_bytes_(bytes)
{
}

void RecordRing::add(const Record& record)
{
    // Only one thread adds: the number is its own to read.
    std::string json = json_of(record, newest_ + 1);
    const std::lock_guard lock(lock_);
    bytes_ += json.size() + kOverhead;
    records_.push_back(std::move(json));
    ++newest_;
    while (records_.size() > most_records_ || (bytes_ > most_bytes_ && records_.size() > 1)) {
        bytes_ -= records_.front().size() + kOverhead;
        records_.pop_front();
    }
}

void RecordRing::announce()
{
    more_.notify_all();
}

RecordRing::Batch RecordRing::read(std::uint64_t after, std::size_t most,
                                   std::chrono::milliseconds patience) const
{
    std::unique_lock lock(lock_);
    more_.wait_for(lock, patience, [&] { return newest_ != after || closed_; });
    const std::uint64_t dropped = newest_ - records_.size();
    Batch batch;
    batch.newest = newest_;
    batch.lost = after != 0 && after < dropped ? dropped - after : 0;
    batch.next = std::clamp(after, dropped, newest_);
    while (batch.next < newest_ && most > 0 && batch.json.size() < kBatchBytes) {
        batch.json += batch.json.empty() ? "" : ",";
        batch.json += records_[static_cast<std::size_t>(batch.next - dropped)];
        ++batch.next;
        --most;
    }
    return batch;
}

void RecordRing::close()
{
    {
        const std::lock_guard lock(lock_);
        closed_ = true;
    }
    more_.notify_all();
}

}  // namespace commonctl
