#include "serve/page_server.h"

#include <chrono>
#include <stdexcept>
#include <unistd.h>

#include "serve/page_files.h"

namespace commonctl {
namespace {

constexpr const char* kLoopback = "127.0.0.1";

/// 128 bits.
constexpr std::size_t kTokenBytes = 16;

/// Between two looks at a server that is to end, and before a port is opened anew.
constexpr std::chrono::milliseconds kShortly{1};
constexpr std::chrono::milliseconds kBeforeAnew{100};

/// For each answer. The page uses nothing from elsewhere and no script or style of its own but its
/// files; pictures of machines are made in the page.
httplib::Headers headers()
{
    return {{"Content-Security-Policy",
             "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; "
             "img-src 'self' blob:; base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
            {"X-Content-Type-Options", "nosniff"},
            {"X-Frame-Options", "DENY"},
            {"Referrer-Policy", "no-referrer"},
            {"Cross-Origin-Resource-Policy", "same-origin"},
            {"Cross-Origin-Opener-Policy", "same-origin"},
            {"Cache-Control", "no-store"}};
}

Access::Rules rules_of(const PageServer::Options& options, const std::string& token)
{
    return {.token = token,
            .token_for_all = !options.bind.empty(),
            .allow_changes = options.allow_changes,
            .loopback_only = options.bind.empty()};
}

void add_page(httplib::Server& server)
{
    for (const auto& file : page_files()) {
        const auto give = [&file](const httplib::Request&, httplib::Response& response) {
            response.set_content(file.content.data(), file.content.size(), file.type);
        };
        server.Get(file.path, give);
        if (std::string_view(file.path) == "/index.html") {
            server.Get("/", give);
        }
    }
}

std::string host_of(const std::string& bound)
{
    if (bound.empty()) {
        return kLoopback;
    }
    char name[256] = "";
    if ((bound == "0.0.0.0" || bound == "::") && gethostname(name, sizeof name - 1) == 0) {
        return name;
    }
    return bound.find(':') == bound.npos ? bound : "[" + bound + "]";
}

}  // namespace

PageServer::PageServer(const Options& options, RecordRing& ring, const RateCounter& rates)
    : options_(options), ring_(ring),
      token_(options.allow_changes || !options.bind.empty() ? random_hex(kTokenBytes) : ""),
      access_(rules_of(options_, token_)),
      api_(ring_, rates, access_, options_.limits, options_.source), server_(options_.limits)
{
    server_.set_default_headers(headers());
    api_.add_to(server_);
    add_page(server_);
    port_ = bind();
    thread_ = std::thread([this] { listen(); });
}

PageServer::~PageServer()
{
    ring_.close();
    ending_ = true;
    for (bool stopped = false; !ended_; std::this_thread::sleep_for(kShortly)) {
        if (!stopped && server_.is_running()) {  // it cannot be stopped before, nor twice
            server_.stop();
            stopped = true;
        }
    }
    thread_.join();
}

int PageServer::bind()
{
    return server_.bind(options_.bind.empty() ? kLoopback : options_.bind,
                        port_ != 0 ? port_ : options_.port);
}

/** A connection that cannot be accepted, such as when the system has too many open files, makes the
 * base close its port. It is opened anew. */
void PageServer::listen()
{
    bool is_bound = true;
    while (!(is_bound && server_.listen_after_bind()) && !ending_) {
        std::this_thread::sleep_for(kBeforeAnew);
        try {
            is_bound = bind() != 0;
        } catch (const std::runtime_error&) {
            is_bound = false;
        }
    }
    ended_ = true;
}

std::string PageServer::address() const
{
    return "http://" + host_of(options_.bind) + ":" + std::to_string(port_) + "/" +
           (token_.empty() ? "" : "#token=" + token_);
}

}  // namespace commonctl
