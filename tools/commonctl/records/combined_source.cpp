#include "records/combined_source.h"

#include <utility>

namespace commonctl {

ChainedSource::ChainedSource(std::vector<std::unique_ptr<RecordSource>> parts, bool follow)
    : parts_(std::move(parts)), follow_(follow)
{
}

RecordSource::Next ChainedSource::next(Record& record)
{
    std::size_t ended = 0;
    for (std::size_t tried = 0; tried < parts_.size(); ++tried) {
        const Next result = parts_[current_]->next(record);
        if (result == Next::Record || (result == Next::Later && !follow_)) {
            return result;
        }
        if (!follow_ && current_ + 1 == parts_.size()) {
            return Next::End;
        }
        ended += result == Next::End ? 1 : 0;
        current_ = (current_ + 1) % parts_.size();
    }
    return ended == parts_.size() ? Next::End : Next::Later;
}

std::vector<int> ChainedSource::descriptors() const
{
    if (!follow_) {
        return parts_[current_]->descriptors();
    }
    std::vector<int> all;
    for (const auto& part : parts_) {
        const auto some = part->descriptors();
        all.insert(all.end(), some.begin(), some.end());
    }
    return all;
}

FilteredSource::FilteredSource(std::unique_ptr<RecordSource> source,
                               std::function<bool(const Record&)> wanted)
    : source_(std::move(source)), wanted_(std::move(wanted))
{
}

RecordSource::Next FilteredSource::next(Record& record)
{
    for (;;) {
        const Next result = source_->next(record);
        if (result != Next::Record || wanted_(record)) {
            return result;
        }
    }
}

LastSource::LastSource(std::unique_ptr<RecordSource> source, std::uint64_t count, bool follow)
    : source_(std::move(source)), count_(count), follow_(follow)
{
}

RecordSource::Next LastSource::next(Record& record)
{
    while (is_collecting_) {
        const Next result = source_->next(record);
        if (result == Next::Record) {
            kept_.emplace_back(record);
            if (kept_.size() > count_) {
                kept_.pop_front();
            }
        } else if (result == Next::Later && !follow_) {
            return result;
        } else {
            is_collecting_ = false;
        }
    }
    if (!kept_.empty()) {
        given_ = std::move(kept_.front());
        kept_.pop_front();
        record = given_->record();
        return Next::Record;
    }
    return source_->next(record);
}

}  // namespace commonctl
