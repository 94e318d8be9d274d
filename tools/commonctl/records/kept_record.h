// A record that lives on its own.
#pragma once

#include <memory>

#include "records/record.h"

namespace commonctl {

/// A copy of a record with its texts.
class KeptRecord {
public:
    explicit KeptRecord(const Record& record);
    KeptRecord(KeptRecord&&) = default;
    KeptRecord& operator=(KeptRecord&&) = default;
    KeptRecord(const KeptRecord&) = delete;
    KeptRecord& operator=(const KeptRecord&) = delete;

    const Record& record() const { return record_; }

private:
    Record record_;
    std::unique_ptr<char[]> texts_;
};

}  // namespace commonctl
