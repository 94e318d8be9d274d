// The parser of commonctl with any bytes, as a log file or the journal's export, as a datagram, and
// as text for people and programs: what it gives are parts of a record, and JSON is valid.
#include <algorithm>
#include <memory>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "records/format.h"
#include "records/kept_record.h"
#include "records/splitter.h"
#include "support/input.h"

using namespace commonctl;

namespace {

void check(const Record& record)
{
    FUZZ_CHECK(record.level >= -1 && record.level <= 7);
    FUZZ_CHECK(record.priority >= -1 && record.priority <= 7);
    FUZZ_CHECK(record.time_ns == kNoTime || record.time_ns >= 0);
    FUZZ_CHECK(record.layout != Layout::Foreign ||
               (record.tid == -1 && record.line == -1 && record.zone.empty()));
    FUZZ_CHECK(record.message.size() <= record.raw.size());
    static RecordFormatter formatters[] = {
        {Format::Short, true}, {Format::Full, true}, {Format::Columns, true}};
    static RecordFormatter json(Format::Json, false);
    const KeptRecord kept(record);
    std::string text;
    for (RecordFormatter& formatter : formatters) {
        formatter.append(kept.record(), text);
    }
    for (const char c : text) {
        FUZZ_CHECK(c == '\n' || c == '\t' || c == '\033' || (c & 0xe0) != 0);
    }
    text.clear();
    json.append(kept.record(), text);
    FUZZ_CHECK(text.find('\n') == text.size() - 1);
    FUZZ_CHECK(nlohmann::json::accept(text));
}

/// As a log, in pieces of a size: how it arrives changes nothing.
std::string read_in_pieces(std::string_view bytes, std::size_t piece)
{
    const auto splitter = splitter_for(bytes, true);
    static Buffer buffer;  // large
    buffer.clear();
    Record record;
    std::string read;
    const auto take_all = [&](bool at_end) {
        while (splitter->next(buffer, at_end, record)) {
            check(record);
            ((read += record.raw) += '|') += record.message;
        }
    };
    while (!bytes.empty()) {
        const auto taken = buffer.append(bytes.substr(0, piece));
        bytes.remove_prefix(taken);
        take_all(false);
    }
    take_all(true);
    return read;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::unique_ptr<char[]> copy(new char[size]);
    const std::string_view bytes(copy.get(), size);
    std::copy(data, data + size, copy.get());

    FUZZ_CHECK(read_in_pieces(bytes, std::size_t{64} * 1024) == read_in_pieces(bytes, 3));
    Parser parser;
    Record record;
    parser.parse_datagram(bytes, record);
    check(record);
    parser.parse_line(bytes, record);
    check(record);
    return 0;
}
