// What a scan has found, for its user and for the log.
#pragma once

#include "media_kinds.h"
#include "options.h"
#include "scan.h"

namespace scanner {

/// Prints tables of what was found, of the records and of the kinds of media files, and last the
/// whole as the text of one nested value, which goes to the user's report as well, serialised.
/// @return false when that cannot be written.
bool print_summary(const Options& options, const Totals& totals, const MediaKinds& kinds,
                   double seconds);

/// The totals go to the log as well, in the layout for log files unless the user chose one.
void log_totals(const Options& options, const Totals& totals, const char* how_it_went);

}  // namespace scanner
