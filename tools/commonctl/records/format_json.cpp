// Records as JSON, one object a line.
#include <algorithm>
#include <charconv>
#include <cstdio>

#include <nlohmann/json.hpp>

#include "records/format.h"
#include "records/levels.h"
#include "records/time_reader.h"

namespace commonctl {
namespace {

constexpr std::string_view kLayouts[] = {"Legacy",   "All",         "Columns",
                                         "Syslogng", "Syslogngext", "foreign"};

/// Composes an object. By hand, as an object of the library takes ten times as long.
class ObjectWriter {
public:
    explicit ObjectWriter(std::string& out) : out_(out) {}

    void text(std::string_view name, std::string_view value)
    {
        begin(name);
        const bool is_plain = std::all_of(value.begin(), value.end(), [](char c) {
            return c >= ' ' && c < 0x7f && c != '"' && c != '\\';
        });
        if (is_plain) {
            ((out_ += '"') += value) += '"';
        } else {
            using Json = nlohmann::json;
            out_ += Json(value).dump(-1, ' ', false, Json::error_handler_t::replace);
        }
    }

    void text_if_any(std::string_view name, std::string_view value)
    {
        if (!value.empty()) {
            text(name, value);
        }
    }

    void number(std::string_view name, std::int64_t value)
    {
        begin(name);
        char digits[24];
        out_.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
    }

    void number_if_any(std::string_view name, std::int64_t value)
    {
        if (value != -1) {
            number(name, value);
        }
    }

private:
    void begin(std::string_view name)
    {
        out_ += is_first_ ? "{\"" : ",\"";
        (out_ += name) += "\":";
        is_first_ = false;
    }

    std::string& out_;
    bool is_first_ = true;
};

}  // namespace

void RecordFormatter::append_json(const Record& record, std::string& out)
{
    ObjectWriter object(out);
    if (record.time_ns != kNoTime) {
        char fraction[16];
        std::snprintf(fraction, sizeof fraction, ".%09d",
                      static_cast<int>(record.time_ns % kSecond));
        std::string time = iso_text_ + fraction + offset_text_;
        time[10] = 'T';
        object.text("time", time);
        object.number("time_ns", record.time_ns);
    }
    object.text_if_any("host", record.host);
    object.text_if_any("process", record.process);
    object.number_if_any("pid", record.pid);
    object.number_if_any("tid", record.tid);
    object.text_if_any("level", level_text(record.level));
    object.number_if_any("priority", record.priority);
    object.text_if_any("zone", record.zone);
    object.text_if_any("file", record.file);
    object.text_if_any("function", record.function);
    if (record.layout != Layout::Foreign) {
        object.number("line", record.line);
    }
    object.text("message", record.message);
    object.text("layout", kLayouts[static_cast<std::size_t>(record.layout)]);
    out += '}';
}

}  // namespace commonctl
