// What the server answers.
#pragma once

#include <atomic>
#include <chrono>
#include <mutex>
#include <string>
#include <vector>

#include "serve/http.h"

#include "processes/processes.h"
#include "serve/access.h"
#include "serve/limits.h"
#include "serve/rate_counter.h"
#include "serve/record_ring.h"

namespace commonctl {

/// The interface that the page uses, in JSON. An answer that is no success is an object with the
/// text "error".
///
/// GET /api/status
///     "version" of the tool, "source" of the records, "run" (a text that is another one after the
///     server was started anew: numbers of records begin again), "kept" (records at most),
///     "allows_changes", "may_change" (with the token that was sent).
/// GET /api/records?after=N&most=N&wait=SECONDS
///     "records" after a number (0: from the oldest that is kept), at most so many, each as
///     record_json.h says; "next", the number to ask with again; "newest"; "lost", how many came
///     since and are not kept any more; "run". When there are none yet, waits for at most 20
///     seconds, by default not at all.
/// GET /api/rates
///     "levels" (names of columns), "seconds" (a row of counts for each of the last 600 seconds),
///     "end" (the second of the last row, since the epoch), "total" (records ever).
/// GET /api/processes
///     An array of objects: "pid", "name", "library", "environment" (an array of texts),
///     "settings_file", "level" (or null), "looks", "why_not", "readable".
/// POST /api/level {"pid": N, "level": "Debug"}
///     Changes the level of a process, with the token. "" restores what was before. Gives
///     "changed", and "text", what was done; or, with status 409, "error", why it was not.
/// POST /api/machine
///     A recorded state machine as text; gives its diagram as SVG.
///
/// A POST has the field "X-Commonctl: page". The token is in "Authorization: Bearer TOKEN".
class Api {
public:
    Api(const RecordRing& ring, const RateCounter& rates, const Access& access,
        const ServerLimits& limits, std::string source);

    /// Adds it all to a server, which must not live longer.
    void add_to(httplib::Server& server);

private:
    using Request = httplib::Request;
    using Response = httplib::Response;

    void status(const Request& request, Response& response) const;
    void records(const Request& request, Response& response);
    void rates(const Request& request, Response& response) const;
    void processes(const Request& request, Response& response);
    void level(const Request& request, Response& response);
    void machine(const Request& request, Response& response);

    std::vector<Process> recent_processes();

    const RecordRing& ring_;
    const RateCounter& rates_;
    const Access& access_;
    const ServerLimits& limits_;
    const std::string source_;
    const std::string run_;
    std::atomic<std::size_t> polls_ = 0;

    std::mutex processes_lock_;  ///< also: one change at a time
    std::vector<Process> processes_;
    std::chrono::steady_clock::time_point processes_found_{};
    bool processes_known_ = false;
    std::mutex machine_lock_;
};

}  // namespace commonctl
