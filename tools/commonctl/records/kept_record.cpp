#include "records/kept_record.h"

#include <algorithm>

namespace commonctl {
namespace {

constexpr std::string_view Record::*kTexts[] = {&Record::process,  &Record::zone,    &Record::file,
                                                &Record::function, &Record::message, &Record::host,
                                                &Record::raw};

}  // namespace

KeptRecord::KeptRecord(const Record& record) : record_(record)
{
    std::size_t size = 0;
    for (const auto text : kTexts) {
        size += (record.*text).size();
    }
    texts_.reset(new char[size]);
    char* to = texts_.get();
    for (const auto text : kTexts) {
        const auto from = record.*text;
        record_.*text = {to, from.size()};
        to = std::copy(from.begin(), from.end(), to);
    }
}

}  // namespace commonctl
