// Requests are read whole and within limits, whatever a client sends.
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

#include <gmock/gmock.h>

#include "serve/request_reader.h"

using namespace commonctl;
using namespace std::chrono_literals;

namespace {

/// A connection of which the client has said all that it will, unless it stays.
class Dialogue {
public:
    explicit Dialogue(const std::string& said, bool stays = false)
    {
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends_), 0);
        client_ = std::thread([this, said, stays] {
            // Fails when the other end has seen enough.
            send(ends_[1], said.data(), said.size(), MSG_NOSIGNAL);
            if (!stays) {
                shutdown(ends_[1], SHUT_WR);
            }
        });
    }
    ~Dialogue()
    {
        client_.join();
        close(ends_[0]);
        close(ends_[1]);
    }
    Dialogue(const Dialogue&) = delete;
    Dialogue& operator=(const Dialogue&) = delete;

    int fd() const { return ends_[0]; }

private:
    int ends_[2] = {-1, -1};
    std::thread client_;
};

const ServerLimits kLimits;

int refusal_of(const std::string& said)
{
    const Dialogue dialogue(said);
    auto result = RequestReader(dialogue.fd(), kLimits).next();
    // What is left must not keep the client from ending.
    shutdown(dialogue.fd(), SHUT_RD);
    EXPECT_EQ(result.request, "");
    return result.refused;
}

TEST(RequestReader, GivesOneRequestAfterTheOther)
{
    const std::string get = "GET / HTTP/1.1\r\nHost: a\r\n\r\n";
    const std::string post =
        "POST /x HTTP/1.1\r\nContent-Type: text/plain\r\nContent-Length: 4\r\n\r\nbody";
    const Dialogue dialogue(get + post + get);
    RequestReader reader(dialogue.fd(), kLimits);
    EXPECT_EQ(reader.next().request, get);
    EXPECT_EQ(reader.next().request, post);
    EXPECT_EQ(reader.next().request, get);
    const auto end = reader.next();
    EXPECT_EQ(end.request, "");
    EXPECT_EQ(end.refused, 0);
}

TEST(RequestReader, LeavesOutWhatTheServerHasNoUseFor)
{
    const Dialogue dialogue(
        "GET / HTTP/1.1\r\nRange: bytes=0-1\r\nHost: a\r\nACCEPT-ENCODING: gzip\r\n"
        "Expect: 100-continue\r\n\r\n");
    EXPECT_EQ(RequestReader(dialogue.fd(), kLimits).next().request,
              "GET / HTTP/1.1\r\nHost: a\r\n\r\n");
}

TEST(RequestReader, RefusesWhatIsTooLarge)
{
    const std::string x(100'000, 'x');
    EXPECT_EQ(refusal_of("GET /" + x.substr(0, 2100) + " HTTP/1.1\r\n\r\n"), 414);
    EXPECT_EQ(refusal_of("GET / HTTP/1.1\r\nA: " + x.substr(0, 17'000) + "\r\n\r\n"), 431);
    EXPECT_EQ(refusal_of("GET / HTTP/1.1\r\nA: " + x), 431);
    EXPECT_EQ(refusal_of("POST / HTTP/1.1\r\nContent-Length: 262145\r\n\r\n"), 413);
    EXPECT_EQ(refusal_of("POST / HTTP/1.1\r\nContent-Length: 18446744073709551615\r\n\r\n"), 413);
}

TEST(RequestReader, TakesWhatIsJustSmallEnough)
{
    const std::string body(262144, 'x');
    const Dialogue dialogue("POST / HTTP/1.1\r\nContent-Type: application/json\r\n"
                            "Content-Length: 262144\r\n\r\n" +
                            body);
    EXPECT_THAT(RequestReader(dialogue.fd(), kLimits).next().request, testing::EndsWith(body));
}

TEST(RequestReader, RefusesWhatTwoReadersMayReadDifferently)
{
    const std::string post = "POST / HTTP/1.1\r\nContent-Type: text/plain\r\n";
    for (const char* const fields :
         {"Content-Length: 1\r\nContent-Length: 1\r\n", "Content-Length: -1\r\n",
          "Content-Length: 1 1\r\n", "Content-Length:\r\n", "Content-Length: 0x1\r\n",
          "Content-Length: 18446744073709551616\r\n", "Content-Length : 1\r\n", "no field\r\n",
          ": nothing\r\n", " folded: yes\r\n", "A: b\nContent-Length: 1\r\n", "A: b\rc\r\n",
          "A: \x01\r\n", "A: \x7f\r\n"}) {
        EXPECT_EQ(refusal_of(post + fields + "\r\nx"), 400) << fields;
    }
    EXPECT_EQ(refusal_of(post + std::string("A: \0\r\n\r\n", 8)), 400);
    EXPECT_EQ(refusal_of(post + "Transfer-Encoding: chunked\r\n\r\n1\r\nx\r\n0\r\n\r\n"), 411);
}

TEST(RequestReader, RefusesBodiesOfForms)
{
    for (const char* const type :
         {"multipart/form-data; boundary=x", "image/png", "application/x-www-form-urlencoded"}) {
        EXPECT_EQ(refusal_of(std::string("POST / HTTP/1.1\r\nContent-Type: ") + type +
                             "\r\nContent-Length: 1\r\n\r\nx"),
                  415)
            << type;
    }
    EXPECT_EQ(refusal_of("POST / HTTP/1.1\r\nContent-Length: 1\r\n\r\nx"), 415);
}

TEST(RequestReader, WhatEndsInTheMiddleIsNoRequest)
{
    const char* const post =
        "POST / HTTP/1.1\r\nContent-Type: text/plain\r\nContent-Length: 5\r\n\r\nfour";
    for (const char* const said :
         {"", "G", "GET / HTTP/1.1\r\n", "GET / HTTP/1.1\r\nHost: a\r\n", post}) {
        EXPECT_EQ(refusal_of(said), 0) << said;
    }
}

TEST(RequestReader, DoesNotWaitForEver)
{
    const ServerLimits limits{.idle = 1ms, .request = 1ms};
    const Dialogue silent("", true);
    EXPECT_EQ(RequestReader(silent.fd(), limits).next().refused, 0);
    for (const char* const said :
         {"GET / HTTP/1.1\r\nA: ", "POST / HTTP/1.1\r\nContent-Type: text/plain\r\n"
                                   "Content-Length: 5\r\n\r\nfour"}) {
        const Dialogue slow(said, true);
        // Patient until something comes.
        EXPECT_EQ(RequestReader(slow.fd(), {.request = 1ms}).next().refused, 408) << said;
    }
}

}  // namespace
