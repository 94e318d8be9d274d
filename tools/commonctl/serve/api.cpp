#include "serve/api.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cstdint>
#include <exception>
#include <optional>

#include <nlohmann/json.hpp>

#include <common/common_version.h>

#include "diagram/diagram.h"

namespace commonctl {
namespace {

using nlohmann::json;

constexpr const char* kJson = "application/json; charset=utf-8";

constexpr std::array<const char*, RateCounter::kKinds> kLevels = {
    "Fatal", "Critical", "Error", "Warn", "Note", "Info", "Debug", "Verbose", "Other"};

constexpr std::uint64_t kMostRecords = 5000;

void answer(httplib::Response& response, int status, const json& object)
{
    response.status = status;
    response.set_content(object.dump(-1, ' ', false, json::error_handler_t::replace), kJson);
}

void answer_error(httplib::Response& response, int status, const std::string& text)
{
    answer(response, status, {{"error", text}});
}

std::int64_t now_ns()
{
    using namespace std::chrono;
    return duration_cast<nanoseconds>(system_clock::now().time_since_epoch()).count();
}

/// A number of the address. @return nothing when it is none.
std::optional<std::uint64_t> number_of(const httplib::Request& request, const char* name,
                                       std::uint64_t otherwise)
{
    if (!request.has_param(name)) {
        return otherwise;
    }
    const std::string text = request.get_param_value(name);
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool good = error == std::errc() && end == text.data() + text.size();
    return good ? std::optional(number) : std::nullopt;
}

json json_of(const Process& process)
{
    return {{"pid", process.pid},
            {"name", process.name},
            {"library", process.mapped_library},
            {"environment", process.environment},
            {"settings_file", process.settings_file},
            {"level", process.level ? json(*process.level) : json(nullptr)},
            {"looks", process.looks},
            {"why_not", process.why_not},
            {"readable", process.readable}};
}

/// A failure is one more reason why a level was not changed.
LevelChange changed_level(pid_t pid, const std::string& level)
{
    try {
        return change_level(pid, level);
    } catch (const std::exception& error) {
        return {.changed = false, .text = error.what()};
    }
}

/// One place among those that may wait.
class Place {
public:
    Place(std::atomic<std::size_t>& taken, std::size_t most) : taken_(taken)
    {
        has_ = taken_.fetch_add(1) < most;
    }
    ~Place() { --taken_; }
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;

    explicit operator bool() const { return has_; }

private:
    std::atomic<std::size_t>& taken_;
    bool has_;
};

}  // namespace

Api::Api(const RecordRing& ring, const RateCounter& rates, const Access& access,
         const ServerLimits& limits, std::string source)
    : ring_(ring), rates_(rates), access_(access), limits_(limits), source_(std::move(source)),
      run_(random_hex(8))
{
}

void Api::add_to(httplib::Server& server)
{
    using Member = void (Api::*)(const Request&, Response&);
    const auto bound = [this](Member member) {
        return [this, member](const Request& request, Response& response) {
            (this->*member)(request, response);
        };
    };
    server.Get("/api/status",
               [this](const Request& request, Response& response) { status(request, response); });
    server.Get("/api/rates",
               [this](const Request& request, Response& response) { rates(request, response); });
    server.Get("/api/records", bound(&Api::records));
    server.Get("/api/processes", bound(&Api::processes));
    server.Post("/api/level", bound(&Api::level));
    server.Post("/api/machine", bound(&Api::machine));

    server.set_pre_routing_handler([this](const Request& request, Response& response) {
        const auto refusal = access_.refusal(request);
        if (refusal) {
            answer_error(response, refusal->status, refusal->text);
        }
        return refusal ? httplib::Server::HandlerResponse::Handled
                       : httplib::Server::HandlerResponse::Unhandled;
    });
    server.set_exception_handler([](const Request&, Response& response, std::exception_ptr thrown) {
        try {
            std::rethrow_exception(std::move(thrown));
        } catch (const std::exception& error) {
            answer_error(response, 500, error.what());
        }
    });
    server.set_error_handler([](const Request&, Response& response) {
        if (response.body.empty()) {
            answer_error(response, response.status, "there is no such thing here");
        }
    });
}

void Api::status(const Request& request, Response& response) const
{
    answer(response, 200,
           {{"version", COMMON_VERSION},
            {"source", source_},
            {"run", run_},
            {"kept", ring_.most_records()},
            {"allows_changes", access_.allows_changes()},
            {"may_change", access_.may_change(request)}});
}

void Api::records(const Request& request, Response& response)
{
    const auto after = number_of(request, "after", 0);
    const auto most = number_of(request, "most", kMostRecords);
    const auto wait = number_of(request, "wait", 0);
    if (!after || !most || !wait) {
        return answer_error(response, 400, "after, most and wait are whole numbers");
    }
    const Place place(polls_, limits_.polls);
    const auto asked = std::chrono::seconds(std::min<std::uint64_t>(*wait, 3600));
    const auto patience = place ? std::min<std::chrono::milliseconds>(asked, limits_.poll)
                                : std::chrono::milliseconds(0);
    const auto batch = ring_.read(*after, std::min(*most, kMostRecords), patience);
    const json rest{
        {"next", batch.next}, {"newest", batch.newest}, {"lost", batch.lost}, {"run", run_}};
    // The records are JSON already.
    response.status = 200;
    response.set_content("{\"records\":[" + batch.json + "]," + rest.dump().substr(1), kJson);
}

void Api::rates(const Request&, Response& response) const
{
    const auto rates = rates_.rates(now_ns());
    answer(response, 200,
           {{"levels", kLevels},
            {"seconds", rates.seconds},
            {"end", rates.end},
            {"total", rates.total}});
}

/** Looking through /proc takes a while: who asks more than once a second gets what was found. */
std::vector<Process> Api::recent_processes()
{
    const std::lock_guard lock(processes_lock_);
    const auto now = std::chrono::steady_clock::now();
    if (!processes_known_ || now - processes_found_ > std::chrono::seconds(1)) {
        processes_ = find_processes();
        processes_found_ = now;
        processes_known_ = true;
    }
    return processes_;
}

void Api::processes(const Request&, Response& response)
{
    json list = json::array();
    for (const auto& process : recent_processes()) {
        list.push_back(json_of(process));
    }
    answer(response, 200, list);
}

void Api::level(const Request& request, Response& response)
{
    if (!access_.allows_changes()) {
        return answer_error(response, 403, "read only; start commonctl serve with --allow-changes");
    }
    if (!access_.may_change(request)) {
        return answer_error(
            response, 401, "the token is missing or wrong; use the address that commonctl printed");
    }
    const json body = json::parse(request.body, nullptr, false);
    if (!body.is_object() || !body.contains("pid") || !body["pid"].is_number_unsigned() ||
        !body.contains("level") || !body["level"].is_string()) {
        return answer_error(response, 400, "the body is {\"pid\": NUMBER, \"level\": \"TEXT\"}");
    }
    const auto level = body["level"].get<std::string>();
    if (!level.empty() &&
        std::find(kLevels.begin(), kLevels.end() - 1, level) == kLevels.end() - 1) {
        return answer_error(response, 400, "there is no level \"" + level + "\"");
    }
    const auto pid = body["pid"].get<std::uint64_t>();
    const std::lock_guard lock(processes_lock_);
    const auto found = find_processes();
    if (std::none_of(found.begin(), found.end(), [pid](const Process& process) {
            return static_cast<std::uint64_t>(process.pid) == pid;
        })) {
        return answer_error(response, 404, "no such process has the library loaded");
    }
    processes_known_ = false;
    const auto change = changed_level(static_cast<pid_t>(pid), level);
    answer(response, change.changed ? 200 : 409,
           {{"changed", change.changed}, {change.changed ? "text" : "error", change.text}});
}

void Api::machine(const Request& request, Response& response)
{
    const std::lock_guard lock(machine_lock_);  // drawing takes time and memory: one at a time
    try {
        const std::string drawn = svg_of_recording(request.body);
        response.status = 200;
        response.set_content(drawn, "image/svg+xml");
    } catch (const std::exception& error) {
        answer_error(response, 422, error.what());
    }
}

}  // namespace commonctl
