#include "serve/record_json.h"

#include <cstddef>

#include <nlohmann/json.hpp>

namespace commonctl {
namespace {

constexpr std::size_t kLongestText = 8192;

std::string cut(std::string_view text)
{
    return text.size() <= kLongestText ? std::string(text)
                                       : std::string(text.substr(0, kLongestText)) + "…";
}

}  // namespace

std::string json_of(const Record& record, std::uint64_t id)
{
    nlohmann::json object{{"id", id}, {"message", cut(record.message)}};
    const auto add_number = [&object](const char* name, std::int64_t value) {
        if (value >= 0) {
            object[name] = value;
        }
    };
    const auto add_text = [&object](const char* name, std::string_view value) {
        if (!value.empty()) {
            object[name] = cut(value);
        }
    };
    if (record.time_ns != kNoTime) {
        object["time"] = record.time_ns / 1000;
    }
    add_number("level", record.level);
    add_number("pid", record.pid);
    add_number("tid", record.tid);
    add_number("line", record.line);
    add_text("process", record.process);
    add_text("zone", record.zone);
    add_text("file", record.file);
    add_text("function", record.function);
    add_text("host", record.host);
    return object.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace commonctl
