// Who gets what: pages from elsewhere nothing, others what the token allows.
#include <string>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "client.h"
#include "fake_parts.h"
#include "serve/access.h"
#include "serve/page_server.h"

using namespace commonctl;
using nlohmann::json;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

namespace {

struct Bench {
    explicit Bench(const PageServer::Options& options = {}) : server(options, ring, rates)
    {
        fake::forget_change();
    }

    int status(const std::string& text) const { return status_of(ask(server.port(), text)); }

    /// What asking for a change gives.
    std::string change(const std::string& fields,
                       const std::string& body = R"({"pid":101,"level":"Debug"})")
    {
        return ask(server.port(), request("POST", "/api/level",
                                          "Content-Type: application/json\r\n" + fields, body));
    }

    std::string bearer(const std::string& token) const
    {
        return "X-Commonctl: page\r\nAuthorization: Bearer " + token + "\r\n";
    }

    std::string bearer() const { return bearer(server.token()); }

    RecordRing ring;
    RateCounter rates;
    PageServer server;
};

TEST(ServeAccess, ATokenIsRandom)
{
    const Bench one({.allow_changes = true});
    const Bench other({.allow_changes = true});
    EXPECT_THAT(one.server.token(), MatchesRegex("[0-9a-f]{32}"));
    EXPECT_NE(one.server.token(), other.server.token());
    EXPECT_EQ(one.server.address(), "http://127.0.0.1:" + std::to_string(one.server.port()) +
                                        "/#token=" + one.server.token());
    const Bench reading;
    EXPECT_EQ(reading.server.token(), "");
    EXPECT_EQ(reading.server.address(),
              "http://127.0.0.1:" + std::to_string(reading.server.port()) + "/");
}

TEST(ServeAccess, SecretsAreTheSameOnlyWhenTheyAre)
{
    EXPECT_TRUE(same_secret("0123", "0123"));
    for (const char* const wrong : {"", "012", "01234", "1123", "0124", "0133"}) {
        EXPECT_FALSE(same_secret(wrong, "0123")) << wrong;
    }
    EXPECT_FALSE(same_secret(std::string("0123\0", 5), "0123"));
}

TEST(ServeAccess, WithoutAllowingThereAreNoChanges)
{
    Bench bench;
    for (const std::string& token : {std::string(), std::string(32, '0')}) {
        EXPECT_EQ(status_of(bench.change(bench.bearer(token))), 403);
    }
    EXPECT_EQ(fake::last_change(), "");
}

TEST(ServeAccess, ChangesTakeTheToken)
{
    Bench bench({.allow_changes = true});
    const std::string token = bench.server.token();
    EXPECT_EQ(status_of(bench.change("X-Commonctl: page\r\n")), 401);
    for (const std::string& wrong :
         {std::string(), token.substr(1), token + "0", std::string(32, '0'), token + " " + token}) {
        EXPECT_EQ(status_of(bench.change(bench.bearer(wrong))), 401) << wrong;
    }
    EXPECT_EQ(
        status_of(bench.change("X-Commonctl: page\r\nAuthorization: Basic " + token + "\r\n")),
        401);
    EXPECT_EQ(status_of(bench.change("X-Commonctl: page\r\nCookie: token=" + token + "\r\n")), 401);
    EXPECT_EQ(fake::last_change(), "");

    EXPECT_THAT(ask(bench.server.port(), request("GET", "/api/processes")),
                Not(HasSubstr("Debug")));
    const std::string done = bench.change(bench.bearer());
    EXPECT_EQ(status_of(done), 200);
    EXPECT_EQ(json::parse(body_of(done)),
              (json{{"changed", true}, {"text", "tuner (101) logs up to Debug"}}));
    EXPECT_EQ(fake::last_change(), "101 Debug");
    // What was found before is not shown any more.
    EXPECT_THAT(ask(bench.server.port(), request("GET", "/api/processes")), HasSubstr("Debug"));

    EXPECT_EQ(status_of(bench.change(bench.bearer(), R"({"pid":101,"level":""})")), 200);
    EXPECT_EQ(fake::last_change(), "101 ");
}

TEST(ServeAccess, WhyALevelWasNotChangedIsTold)
{
    Bench bench({.allow_changes = true});
    const std::string refused = bench.change(bench.bearer(), R"({"pid":102,"level":"Debug"})");
    EXPECT_EQ(status_of(refused), 409);
    EXPECT_EQ(json::parse(body_of(refused)),
              (json{{"changed", false}, {"error", "it does not look at files"}}));
    const std::string failed = bench.change(bench.bearer(), R"({"pid":103,"level":"Debug"})");
    EXPECT_EQ(status_of(failed), 409);
    EXPECT_THAT(body_of(failed), HasSubstr("Permission denied"));
}

TEST(ServeAccess, OnlyRealLevelsOfRealProcessesAreChanged)
{
    Bench bench({.allow_changes = true});
    for (const char* const body :
         {"", "x", "[]", "{}", R"({"pid":101})", R"({"level":"Debug"})",
          R"({"pid":"101","level":"Debug"})", R"({"pid":-1,"level":"Debug"})",
          R"({"pid":101.5,"level":"Debug"})", R"({"pid":101,"level":6})",
          R"({"pid":101,"level":"debug"})", R"({"pid":101,"level":"Other"})",
          R"({"pid":101,"level":"Debug\nCOMMON_LOG_ENABLE=False"})"}) {
        EXPECT_EQ(status_of(bench.change(bench.bearer(), body)), 400) << body;
    }
    for (const char* const pid : {"1", "0", "4294967397", "18446744073709551615"}) {
        EXPECT_EQ(status_of(bench.change(bench.bearer(),
                                         R"({"level":"Debug","pid":)" + std::string(pid) + "}")),
                  404)
            << pid;
    }
    EXPECT_EQ(fake::last_change(), "");
}

TEST(ServeAccess, OtherNamesAreNotServed)
{
    const Bench bench;
    const std::string port = ":" + std::to_string(bench.server.port());
    for (const std::string& host :
         {std::string("127.0.0.1"), "127.0.0.1" + port, "localhost" + port,
          std::string("LocalHost:9"), std::string("[::1]:9")}) {
        EXPECT_EQ(bench.status(request("GET", "/api/records", "", "", host)), 200) << host;
    }
    for (const char* const host :
         {"", "evil.example", "evil.example:8321", "localhost.evil.example",
          "127.0.0.1.evil.example", "192.168.1.1", "[::1", "127.0.0.1@evil"}) {
        EXPECT_EQ(bench.status(request("GET", "/api/records", "", "", host)), 421) << host;
        EXPECT_EQ(bench.status(request("GET", "/", "", "", host)), 421) << host;
    }
    EXPECT_EQ(bench.status("GET /api/records HTTP/1.0\r\n\r\n"), 421);
    EXPECT_EQ(bench.status(request("GET", "/", "Host: localhost\r\n")), 400);
}

TEST(ServeAccess, PagesFromElsewhereGetNothing)
{
    Bench bench({.allow_changes = true});
    const auto status = [&](const std::string& fields) {
        return bench.status(request("GET", "/api/records", fields, "", "localhost:8321"));
    };
    EXPECT_EQ(status("Origin: http://localhost:8321\r\nSec-Fetch-Site: same-origin\r\n"), 200);
    EXPECT_EQ(status("Sec-Fetch-Site: none\r\n"), 200);
    for (const char* const fields :
         {"Origin: http://evil.example\r\n", "Origin: null\r\n", "Origin: http://localhost:1\r\n",
          "Origin: https://localhost:8321\r\n", "Origin: http://localhost:8321.evil.example\r\n",
          "Sec-Fetch-Site: cross-site\r\n", "Sec-Fetch-Site: same-site\r\n"}) {
        EXPECT_EQ(status(fields), 403) << fields;
        EXPECT_EQ(status_of(bench.change(bench.bearer() + fields)), 403) << fields;
    }
    EXPECT_EQ(status("Origin: http://localhost:8321\r\nOrigin: http://localhost:8321\r\n"), 400);
    // A link from elsewhere may lead to the page itself.
    EXPECT_EQ(bench.status(request("GET", "/", "Sec-Fetch-Site: cross-site\r\n")), 200);
    EXPECT_EQ(fake::last_change(), "");
}

TEST(ServeAccess, WhatAFormCanSendChangesNothing)
{
    Bench bench({.allow_changes = true});
    EXPECT_EQ(status_of(bench.change("Authorization: Bearer " + bench.server.token() + "\r\n")),
              403);
    EXPECT_EQ(
        bench.status(request("POST", "/api/machine", "Content-Type: text/plain\r\n", "digraph {}")),
        403);
    EXPECT_EQ(bench.status(request("GET", "/api/level?pid=101&level=Debug", bench.bearer())), 404);
    EXPECT_EQ(fake::last_change(), "");
}

TEST(ServeAccess, OtherMachinesAlwaysNeedTheToken)
{
    const Bench bench({.bind = "0.0.0.0"});
    EXPECT_THAT(bench.server.address(), MatchesRegex("http://.+:[0-9]+/#token=[0-9a-f]{32}"));
    for (const char* const path :
         {"/api/status", "/api/records", "/api/rates", "/api/processes", "/api/none"}) {
        EXPECT_EQ(bench.status(request("GET", path)), 401) << path;
        EXPECT_EQ(bench.status(request("GET", path, bench.bearer(std::string(32, 'f')))), 401)
            << path;
    }
    EXPECT_EQ(bench.status(request("POST", "/api/machine", "X-Commonctl: page\r\n")), 401);
    EXPECT_EQ(bench.status(request("GET", "/api/records", bench.bearer())), 200);
    EXPECT_EQ(bench.status(request("GET", "/")), 200);
    EXPECT_EQ(bench.status(request("GET", "/api/records", bench.bearer(), "", "192.168.1.1:80")),
              200);
    EXPECT_EQ(bench.status(request("GET", "/api/records", bench.bearer(), "", "evil.example")),
              421);
    // The token alone allows no changes.
    EXPECT_EQ(
        status_of(ask(bench.server.port(), request("POST", "/api/level", bench.bearer(), ""))),
        403);
}

TEST(ServeAccess, ThePageIsToldWhatItMayDo)
{
    const Bench bench({.allow_changes = true});
    const auto status = [&](const std::string& fields) {
        return json::parse(
            body_of(ask(bench.server.port(), request("GET", "/api/status", fields))));
    };
    EXPECT_EQ(status("")["allows_changes"], true);
    EXPECT_EQ(status("")["may_change"], false);
    EXPECT_EQ(status(bench.bearer())["may_change"], true);
}

TEST(ServeAccess, LoopbackIsAllThatIsBound)
{
    const Bench bench;
    // Every other address of 127.0.0.0/8 is this machine's, too, and nobody listens there.
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(bench.server.port()));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK + 1);
    EXPECT_EQ(connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), -1);
    EXPECT_EQ(errno, ECONNREFUSED);
    close(fd);
}

}  // namespace
