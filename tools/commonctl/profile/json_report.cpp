// A report as JSON, in the form that report.h describes.
#include <nlohmann/json.hpp>

#include "profile/report.h"

namespace commonctl::profile {
namespace {

using Json = nlohmann::ordered_json;

Json text_or_null(const std::string& text)
{
    return text.empty() ? Json() : Json(text);
}

void put_amount(Json& object, const Report& report, const Amount& amount)
{
    object["records"] = amount.records;
    object["bytes"] = amount.bytes;
    const bool timed = report.seconds > 0;
    object["records_per_second"] = timed ? Json(report.per_second(amount.records)) : Json();
    object["bytes_per_second"] = timed ? Json(report.per_second(amount.bytes)) : Json();
}

Json section_json(const Report& report, const Section& section)
{
    Json rows = Json::array();
    for (const Line& line : section.lines) {
        Json row;
        row["name"] = text_or_null(line.name);
        put_amount(row, report, line.amount);
        rows.push_back(std::move(row));
    }
    Json others;
    put_amount(others, report, section.others);
    return {{"rows", std::move(rows)}, {"others", std::move(others)}};
}

Json timeline_json(const Report& report)
{
    Json levels = Json::array();
    for (const char* const name : kLevelNames) {
        levels.push_back(text_or_null(name));
    }
    Json buckets = Json::array();
    for (const Moment& moment : report.moments) {
        buckets.push_back({{"begin", moment.time},
                           {"seconds", moment.seconds},
                           {"records", moment.amounts.records},
                           {"bytes", moment.amounts.bytes}});
    }
    return {{"levels", std::move(levels)},
            {"bucket_seconds", report.bucket_seconds},
            {"buckets", std::move(buckets)}};
}

Json phases_json(const std::vector<Moment>& phases)
{
    Json list = Json::array();
    for (const Moment& phase : phases) {
        list.push_back({{"begin", phase.time},
                        {"seconds", phase.seconds},
                        {"records", phase.amounts.all_records()},
                        {"bytes", phase.amounts.bytes},
                        {"records_per_second", phase.rate()}});
    }
    return list;
}

}  // namespace

std::string json_of(const Report& report)
{
    Json object;
    object["source"] = report.source;
    put_amount(object, report, report.all);
    object["begin"] = report.moments.empty() ? Json() : Json(report.begin());
    object["seconds"] = report.seconds;
    object["untimed"] = report.untimed;
    object["clock_jumps"] = report.jumps;
    for (const Section& section : report.sections) {
        object[words_of(section.by).many] = section_json(report, section);
    }
    object["timeline"] = timeline_json(report);
    object["phases"] = {{"median", report.phases.median},
                        {"loud", phases_json(report.phases.loud)},
                        {"quiet", phases_json(report.phases.quiet)}};
    return object.dump() + "\n";
}

}  // namespace commonctl::profile
