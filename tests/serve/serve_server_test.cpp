// The server as a client sees it, also a hostile one.
#include <atomic>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <iterator>
#include <memory>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "client.h"
#include "fake_parts.h"
#include "serve/page_files.h"
#include "serve/page_server.h"

using namespace commonctl;
using namespace std::chrono_literals;
using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace {

/// Connections that cannot be accepted, and ports that cannot be had, still to come.
std::atomic<int> accepts_to_fail = 0;
std::atomic<int> binds_to_fail = 0;

bool fails(std::atomic<int>& left)
{
    return left > 0 && left.fetch_sub(1) > 0;
}

}  // namespace

// In place of the C library's, for the server's library.
extern "C" int accept(int fd, sockaddr* address, socklen_t* size)
{
    if (fails(accepts_to_fail)) {
        errno = ENFILE;
        return -1;
    }
    return accept4(fd, address, size, 0);
}

extern "C" int bind(int fd, const sockaddr* address, socklen_t size) noexcept
{
    if (fails(binds_to_fail)) {
        errno = EADDRINUSE;
        return -1;
    }
    return static_cast<int>(syscall(SYS_bind, fd, address, size));
}

namespace {

/// A server with its records.
struct Bench {
    explicit Bench(const PageServer::Options& options = {}) : server(options, ring, rates) {}

    void add(std::string_view message, int level = 5)
    {
        const Record record{.level = level, .message = message};
        ring.add(record);
        rates.add(record, 1'000'000'000);
        ring.announce();
    }

    json get(const std::string& path) const
    {
        const std::string answer = ask(server.port(), request("GET", path));
        EXPECT_EQ(status_of(answer), 200) << answer;
        return json::parse(body_of(answer), nullptr, false);
    }

    RecordRing ring;
    RateCounter rates;
    PageServer server;
};

constexpr const char* kPage = "X-Commonctl: page\r\nContent-Type: text/plain\r\n";

/// No time limit ends anything: only the pool makes room.
const ServerLimits kPatient{.idle = 1h, .request = 1h, .answer = 1h};

TEST(Serve, GivesEachFileOfThePage)
{
    const Bench bench;
    ASSERT_GT(page_files().size(), 5u);
    for (const auto& file : page_files()) {
        const std::string answer = ask(bench.server.port(), request("GET", file.path));
        EXPECT_EQ(status_of(answer), 200) << file.path;
        EXPECT_EQ(body_of(answer), file.content) << file.path;
        EXPECT_THAT(answer, HasSubstr(std::string("Content-Type: ") + file.type)) << file.path;
    }
    const std::string page = body_of(ask(bench.server.port(), request("GET", "/")));
    EXPECT_THAT(page, testing::StartsWith("<!DOCTYPE html>"));
    EXPECT_EQ(page, body_of(ask(bench.server.port(), request("GET", "/index.html"))));
}

TEST(Serve, EachAnswerTellsBrowsersToBeStrict)
{
    const Bench bench;
    for (const char* const path : {"/", "/page.js", "/api/status", "/none"}) {
        EXPECT_THAT(
            ask(bench.server.port(), request("GET", path)),
            AllOf(HasSubstr("Content-Security-Policy: default-src 'none'; script-src 'self'; "),
                  HasSubstr("frame-ancestors 'none'"),
                  HasSubstr("X-Content-Type-Options: nosniff\r\n"),
                  HasSubstr("Referrer-Policy: no-referrer\r\n"),
                  HasSubstr("Cross-Origin-Resource-Policy: same-origin\r\n"),
                  HasSubstr("Cache-Control: no-store\r\n"), Not(HasSubstr("Access-Control-Allow"))))
            << path;
    }
}

TEST(Serve, GivesRecordsAfterANumber)
{
    Bench bench;
    bench.add("first");
    bench.add("\"second\"\n</script>");
    const json all = bench.get("/api/records?after=0");
    ASSERT_EQ(all["records"].size(), 2u);
    EXPECT_EQ(all["records"][1]["message"], "\"second\"\n</script>");
    EXPECT_EQ(all["next"], 2);
    EXPECT_EQ(all["newest"], 2);
    EXPECT_EQ(all["lost"], 0);
    EXPECT_EQ(all["run"], bench.get("/api/status")["run"]);
    EXPECT_EQ(bench.get("/api/records?after=1&most=1")["records"][0]["id"], 2);
    EXPECT_TRUE(bench.get("/api/records?after=2")["records"].empty());
}

TEST(Serve, WaitsForRecordsThatAreStillToCome)
{
    Bench bench;
    Client client(bench.server.port());
    ASSERT_TRUE(client.send_text(request("GET", "/api/records?after=0&wait=99999999")));
    bench.add("came");
    EXPECT_THAT(client.answer(), HasSubstr("came"));
}

TEST(Serve, AnswersAtOnceWhenTooManyWait)
{
    const Bench bench({.limits = {.poll = 1h, .polls = 2}});
    const std::string question = request("GET", "/api/records?after=0&wait=3600");
    Client first(bench.server.port());
    Client second(bench.server.port());
    ASSERT_TRUE(first.send_text(question) && second.send_text(question));
    // Of three, one is answered; which one that is, the server decides.
    Client third(bench.server.port());
    ASSERT_TRUE(third.send_text(question));
    std::vector<pollfd> entries;
    for (const Client* const client : {&first, &second, &third}) {
        entries.push_back({client->fd(), POLLIN, 0});
    }
    const auto patience = harness::stretched(harness::kPatience).count();
    EXPECT_EQ(::poll(entries.data(), entries.size(), static_cast<int>(patience)), 1);
}

TEST(Serve, NumbersInAddressesAreNumbers)
{
    const Bench bench;
    for (const char* const query : {"after=", "after=-1", "after=x", "after=1x", "most=1.5",
                                    "wait=99999999999999999999", "after=%00"}) {
        EXPECT_EQ(status_of(ask(bench.server.port(),
                                request("GET", std::string("/api/records?") + query))),
                  400)
            << query;
    }
}

TEST(Serve, TellsRatesProcessesAndItself)
{
    Bench bench({.source = "a \"file\""});
    bench.add("loud", 0);
    const json rates = bench.get("/api/rates");
    EXPECT_EQ(rates["levels"].size(), 9u);
    EXPECT_EQ(rates["levels"][0], "Fatal");
    EXPECT_EQ(rates["seconds"].size(), 600u);
    EXPECT_EQ(rates["seconds"][599][0], 1);
    EXPECT_EQ(rates["end"], 1);
    EXPECT_EQ(rates["total"], 1);

    const json processes = bench.get("/api/processes");
    ASSERT_EQ(processes.size(), 4u);
    EXPECT_EQ(processes[0]["pid"], 101);
    EXPECT_EQ(processes[0]["name"], "tuner");
    EXPECT_EQ(processes[0]["level"], "Info");
    EXPECT_EQ(processes[0]["looks"], true);
    EXPECT_EQ(processes[2]["level"], nullptr);
    EXPECT_EQ(processes[2]["readable"], false);

    const json status = bench.get("/api/status");
    EXPECT_EQ(status["source"], "a \"file\"");
    EXPECT_EQ(status["kept"], 100'000);
    EXPECT_EQ(status["allows_changes"], false);
    EXPECT_EQ(status["may_change"], false);
}

TEST(Serve, DrawsMachines)
{
    const Bench bench;
    const std::string drawn =
        ask(bench.server.port(), request("POST", "/api/machine", kPage, "stateDiagram-v2\n"));
    EXPECT_THAT(drawn, AllOf(HasSubstr("HTTP/1.1 200"), HasSubstr("Content-Type: image/svg+xml"),
                             HasSubstr("<svg")));
    const std::string refused =
        ask(bench.server.port(), request("POST", "/api/machine", kPage, "text"));
    EXPECT_EQ(status_of(refused), 422);
    EXPECT_THAT(json::parse(body_of(refused))["error"], HasSubstr("paste Mermaid"));
}

TEST(Serve, WhatThereIsNotIsToldInJson)
{
    const Bench bench;
    for (const char* const path :
         {"/none", "/api/none", "/../etc/passwd", "/%2e%2e/etc/passwd", "//"}) {
        const std::string answer = ask(bench.server.port(), request("GET", path));
        EXPECT_EQ(status_of(answer), 404) << path;
        EXPECT_FALSE(json::parse(body_of(answer))["error"].empty());
    }
    for (const char* const method : {"PUT", "DELETE", "OPTIONS", "PATCH"}) {
        EXPECT_GE(status_of(ask(bench.server.port(), request(method, "/api/status"))), 400)
            << method;
    }
    EXPECT_EQ(status_of(ask(bench.server.port(), "NONSENSE / HTTP/1.1\r\nHost: localhost\r\n\r\n")),
              400);
    EXPECT_EQ(status_of(ask(bench.server.port(), "\r\n\r\n")), 400);
}

TEST(Serve, AConnectionServesOneRequestAfterTheOther)
{
    const Bench bench;
    Client client(bench.server.port());
    const std::string get = request("GET", "/api/status");
    ASSERT_TRUE(client.send_text(get + get));
    EXPECT_EQ(status_of(client.answer()), 200);
    EXPECT_EQ(status_of(client.answer()), 200);
    ASSERT_TRUE(client.send_text(request("GET", "/api/status", "Connection: close\r\n")));
    EXPECT_EQ(status_of(client.rest()), 200);
}

TEST(Serve, RefusesOversizedRequestsAndGoesOn)
{
    const Bench bench;
    const std::string x(1'000'000, 'x');
    const auto status = [&](const std::string& text) {
        Client client(bench.server.port());
        client.send_text(text);
        return status_of(client.rest());
    };
    EXPECT_EQ(status("GET /" + x.substr(0, 10'000) + " HTTP/1.1\r\n\r\n"), 414);
    EXPECT_EQ(status("GET / HTTP/1.1\r\nA: " + x.substr(0, 20'000)), 431);
    EXPECT_EQ(status(request("POST", "/api/machine", kPage, x)), 413);
    EXPECT_EQ(status(request("GET", "/", "Transfer-Encoding: chunked\r\n")), 411);
    EXPECT_EQ(status_of(ask(bench.server.port(), request("GET", "/"))), 200);
}

/// What a careless parser would follow into its own depths.
TEST(Serve, StandsWhatIsMadeToTakeLong)
{
    const Bench bench;
    std::string ranges = "Range: bytes=0-0";
    std::string fields;
    for (int i = 0; i < 2000; ++i) {
        ranges += ",0-0";
        fields += "A: b\r\n";
    }
    EXPECT_EQ(status_of(ask(bench.server.port(), request("GET", "/", ranges + "\r\n"))), 200);
    EXPECT_EQ(status_of(ask(bench.server.port(), request("GET", "/", fields))), 200);
    std::string query = "/api/records?after=0";
    for (int i = 0; i < 450; ++i) {
        query += "&a=1";
    }
    EXPECT_EQ(status_of(ask(bench.server.port(), request("GET", query))), 200);
    std::string deep(250'000, '[');
    const Bench changing({.allow_changes = true});
    EXPECT_EQ(
        status_of(ask(changing.server.port(),
                      request("POST", "/api/level",
                              kPage + ("Authorization: Bearer " + changing.server.token()) + "\r\n",
                              deep))),
        400);
}

TEST(Serve, EndsWhatIsSlow)
{
    const Bench bench({.limits = {.idle = 50ms, .request = 50ms, .answer = 50ms}});
    const Client silent(bench.server.port());
    EXPECT_EQ(silent.rest(), "");
    const Client slow(bench.server.port());
    ASSERT_TRUE(slow.send_text("GET / HTTP/1.1\r\nHost: loc"));
    EXPECT_EQ(status_of(slow.rest()), 408);
}

std::ptrdiff_t open_descriptors()
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

TEST(Serve, EndsWhoTakesNoAnswer)
{
    Bench bench({.limits = {.answer = 50ms}});
    for (int i = 0; i < 300; ++i) {
        bench.add(std::string(8000, 'x'));
    }
    const auto before = open_descriptors();
    const Client client(bench.server.port());
    std::string many;
    for (int i = 0; i < 20; ++i) {
        many += request("GET", "/api/records?after=0");  // 2 MB each
    }
    ASSERT_TRUE(client.send_text(many));
    char byte = 0;
    ASSERT_EQ(recv(client.fd(), &byte, 1, MSG_PEEK), 1);
    EXPECT_TRUE(harness::wait_until([&] { return open_descriptors() == before + 1; }));
    EXPECT_LT(client.rest().size(), 20u * 2'000'000);
}

std::vector<std::unique_ptr<Client>> clients_who_say(int port, int count, const std::string& text)
{
    std::vector<std::unique_ptr<Client>> clients;
    for (int i = 0; i < count; ++i) {
        clients.push_back(std::make_unique<Client>(port));
        clients.back()->send_text(text);
    }
    return clients;
}

TEST(Serve, IdleAndSlowClientsKeepNobodyOut)
{
    const Bench bench({.limits = kPatient});
    for (const char* const said : {"", "GET / HTTP/1.1\r\nHost: loc"}) {
        const auto crowd = clients_who_say(bench.server.port(), 200, said);
        for (int i = 0; i < 20; ++i) {
            EXPECT_EQ(status_of(ask(bench.server.port(), request("GET", "/api/status"))), 200)
                << said;
        }
        Client steady(bench.server.port());
        for (int i = 0; i < 20; ++i) {
            ASSERT_TRUE(steady.send_text(request("GET", "/api/status")));
            EXPECT_EQ(status_of(steady.answer()), 200) << said;
        }
    }
}

TEST(Serve, ClientsWhoTakeNoAnswerKeepNobodyOut)
{
    Bench bench({.limits = kPatient});
    for (int i = 0; i < 300; ++i) {
        bench.add(std::string(8000, 'x'));
    }
    std::string many;
    for (int i = 0; i < 10; ++i) {
        many += request("GET", "/api/records?after=0");
    }
    const auto crowd = clients_who_say(bench.server.port(), 100, many);
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(status_of(ask(bench.server.port(), request("GET", "/api/status"))), 200);
    }
}

TEST(Serve, EndsWhileClientsWait)
{
    auto bench = std::make_unique<Bench>(PageServer::Options{.limits = kPatient});
    const auto idle = clients_who_say(bench->server.port(), 100, "");
    const auto waiting =
        clients_who_say(bench->server.port(), 10, request("GET", "/api/records?after=0&wait=20"));
    bench.reset();
    for (const auto& client : idle) {
        EXPECT_EQ(client->rest(), "");
    }
}

TEST(Serve, ProgramsThatAreStartedInheritNothing)
{
    std::vector<bool> before;
    for (int fd = 0; fd < 100; ++fd) {
        before.push_back(fcntl(fd, F_GETFD) >= 0);
    }
    const Bench bench;
    Client client(bench.server.port());
    ASSERT_TRUE(client.send_text(request("GET", "/")));
    EXPECT_EQ(status_of(client.answer()), 200);
    int opened = 0;
    for (int fd = 0; fd < 100; ++fd) {
        const int flags = fcntl(fd, F_GETFD);
        if (!before[static_cast<std::size_t>(fd)] && flags >= 0) {
            EXPECT_EQ(flags, FD_CLOEXEC) << fd;
            ++opened;
        }
    }
    EXPECT_EQ(opened, 3);  // the server's two and the client's
}

TEST(Serve, GoesOnWhenAConnectionCannotBeAccepted)
{
    const Bench bench;
    accepts_to_fail = 1;
    binds_to_fail = 2;  // somebody else has the port meanwhile
    const Client unlucky(bench.server.port());
    EXPECT_EQ(unlucky.rest(), "");
    EXPECT_TRUE(harness::wait_until([&] { return is_open(bench.server.port()); }));
    EXPECT_EQ(binds_to_fail, 0);
    EXPECT_EQ(bench.get("/api/rates")["total"], 0);
}

TEST(Serve, EndsWhileItsPortIsClosed)
{
    const auto bench = std::make_unique<Bench>();
    accepts_to_fail = 1;
    const Client unlucky(bench->server.port());
    EXPECT_EQ(unlucky.rest(), "");
}

TEST(Serve, APortBelongsToOneServer)
{
    const Bench bench;
    try {
        const Bench second({.port = bench.server.port()});
        ADD_FAILURE() << "there are two";
    } catch (const std::runtime_error& error) {
        EXPECT_THAT(error.what(), AllOf(HasSubstr("already in use"), HasSubstr("--port 0")));
    }
}

}  // namespace
