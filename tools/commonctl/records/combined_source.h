// Sources made of others.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "records/kept_record.h"
#include "records/source.h"

namespace commonctl {

/// Several sources, one behind the other; following, what comes later in any of them.
class ChainedSource : public RecordSource {
public:
    ChainedSource(std::vector<std::unique_ptr<RecordSource>> parts, bool follow);

    Next next(Record& record) override;
    std::vector<int> descriptors() const override;

private:
    std::vector<std::unique_ptr<RecordSource>> parts_;
    bool follow_;
    std::size_t current_ = 0;
};

/// Of another source, the records that are wanted.
class FilteredSource : public RecordSource {
public:
    FilteredSource(std::unique_ptr<RecordSource> source, std::function<bool(const Record&)> wanted);

    Next next(Record& record) override;
    std::vector<int> descriptors() const override { return source_->descriptors(); }

private:
    std::unique_ptr<RecordSource> source_;
    std::function<bool(const Record&)> wanted_;
};

/// The last records of a source that cannot begin with them, and what comes later. They are kept
/// until it has no more for now; if it does not follow, until it ends.
class LastSource : public RecordSource {
public:
    LastSource(std::unique_ptr<RecordSource> source, std::uint64_t count, bool follow);

    Next next(Record& record) override;
    std::vector<int> descriptors() const override { return source_->descriptors(); }

private:
    std::unique_ptr<RecordSource> source_;
    std::uint64_t count_;
    bool follow_;
    bool is_collecting_ = true;
    std::deque<KeptRecord> kept_;
    std::optional<KeptRecord> given_;
};

}  // namespace commonctl
