// The profile of what is written just now.
#pragma once

#include <string>
#include <vector>

#include "profile/profile.h"
#include "records/source.h"

namespace commonctl::profile {

/// What a live view shows of a profile.
struct View {
    By by = By::Process;
    std::size_t lines = 20;    ///< of the table, at most
    std::size_t columns = 0;   ///< a line has at most so many characters; 0 for as many as it takes
    double period = 1;         ///< seconds that the last period of the profile had
    std::int64_t now = 0;      ///< seconds since the epoch
    std::int64_t running = 0;  ///< seconds since the profile began
    bool ended = false;        ///< there will be no more records
    bool has_keys = false;     ///< tell the keys
    bool colored = false;
};

/// The view as lines: totals, keys, and the table of the loudest in the period.
std::vector<std::string> lines_of(const Profile& profile, const View& view);

struct LiveOptions {
    By by = By::Process;
    std::size_t limit = 20;
    double interval = 1;  ///< seconds from one picture to the next
    double duration = 0;  ///< seconds after which it ends; 0 for never
    bool colored = false;
};

/// Shows what is written: on a terminal as a page that changes, with keys; elsewhere as a block of
/// lines for each interval. Ends when the time is over, by the key "q", by a signal that ends a
/// program, and elsewhere than on a terminal with the records.
/// @throws std::system_error when nothing can be read or shown any more.
void show_live(RecordSource& source, const LiveOptions& options);

/// Takes in what is written until the time is over, or a signal asks for the end, or there are no
/// more records. The profile covers all that time.
/// @param duration seconds; 0 for no end.
void take_in(RecordSource& source, Profile& profile, double duration);

/// Takes in all that a source has.
void take_all(RecordSource& source, Profile& profile);

}  // namespace commonctl::profile
