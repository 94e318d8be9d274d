#include "log_expect.h"

#include <ostream>

#include "log_layout.h"

namespace bench {

std::vector<Report> reports(const Outcome& outcome)
{
    std::vector<Report> all;
    for (const auto& record : outcome.log) {
        const auto fields = parse_syslogngext(record.text);
        if (!fields || record.facility != LOG_USER) {
            all.push_back({-1, "", "", "", "", record.raw});
        } else {
            all.push_back({record.priority, fields->level, fields->zone, fields->file,
                           fields->function, fields->message});
        }
    }
    return all;
}

std::ostream& operator<<(std::ostream& stream, const Report& report)
{
    return stream << "{" << priority_name(report.priority) << " " << report.level << " zone '"
                  << report.zone << "' " << report.file << " " << report.function << ": "
                  << report.message << "}";
}

}  // namespace bench
