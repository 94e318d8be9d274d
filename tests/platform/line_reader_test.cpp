// The reader of small text files: what it opens, how, and what it leaves.
#include "platform/line_reader.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>

#include "forked.h"
#include "fresh_process.h"

namespace {

using namespace harness;
using common::LineReader;
using testing::ElementsAre;

const std::string kFile = "/tmp/file";

/// Runs a body in which the reader gets descriptor 0, as in a process without standard input.
void without_standard_input(const FreshSetup& setup, const std::function<void()>& body)
{
    run_silently(setup, [&] {
        const int kept = dup(STDIN_FILENO);
        close(STDIN_FILENO);
        body();
        EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD), -1) << "nothing is left open";
        EXPECT_EQ(dup2(kept, STDIN_FILENO), STDIN_FILENO);
        close(kept);
    });
}

std::vector<std::string> lines_of(LineReader& reader, std::size_t capacity)
{
    std::vector<std::string> lines;
    std::string line(capacity, '?');
    while (reader.next(line.data(), capacity)) {
        lines.emplace_back(line.c_str());
    }
    return lines;
}

TEST(LineReader, AnyDescriptorWillDo)
{
    without_standard_input({.files = {{kFile, "one\ntwo\n"}}}, [] {
        LineReader reader;
        EXPECT_TRUE(reader.open(kFile.c_str()));
        EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD), FD_CLOEXEC) << "closed in programs that are run";
        EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFL) & (O_ACCMODE | O_NONBLOCK), O_RDONLY | O_NONBLOCK);
        EXPECT_THAT(lines_of(reader, 16), ElementsAre("one\n", "two\n"));
        EXPECT_EQ(reader.close(), 0);
        EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD), -1);
        EXPECT_EQ(reader.close(), 0) << "nothing is open";
    });
}

TEST(LineReader, OpeningClosesWhatWasOpenAndBeginsAnew)
{
    const FreshSetup setup{.files = {{kFile, "one\ntwo\n"}, {"/tmp/other", "other\n"}}};
    without_standard_input(setup, [] {
        LineReader reader;
        char line[16];
        EXPECT_TRUE(reader.open(kFile.c_str()));
        EXPECT_TRUE(reader.next(line, sizeof line));
        EXPECT_TRUE(reader.open("/tmp/other"));
        EXPECT_THAT(lines_of(reader, 16), ElementsAre("other\n"));
        EXPECT_TRUE(reader.open(kFile.c_str()));
        EXPECT_THAT(lines_of(reader, 16), ElementsAre("one\n", "two\n"));
    });
}

TEST(LineReader, LongLinesComeInPieces)
{
    const std::string content(1100, 'x');
    run_silently({.files = {{kFile, content + "\nend"}}}, [&] {
        LineReader reader;
        EXPECT_TRUE(reader.open(kFile.c_str()));
        EXPECT_THAT(lines_of(reader, 1001),
                    ElementsAre(content.substr(0, 1000), content.substr(1000) + "\n", "end"));
        char line[2] = "?";
        EXPECT_FALSE(reader.next(line, sizeof line));
        EXPECT_EQ(line[0], '\0');
        EXPECT_TRUE(reader.open(kFile.c_str()));
        EXPECT_FALSE(reader.next(line, 1)) << "no room for a character";
        EXPECT_TRUE(reader.next(line, sizeof line));
        EXPECT_STREQ(line, "x");
    });
}

TEST(LineReader, WhatIsNoFileIsNotOpened)
{
    without_standard_input({}, [] {
        ASSERT_EQ(mkfifo("/tmp/fifo", 0600), 0);
        for (const char* path : {"/tmp", "/tmp/fifo", "/dev/null"}) {
            LineReader reader;
            errno = 0;
            EXPECT_FALSE(reader.open(path)) << path;
            EXPECT_EQ(errno, EINVAL) << path;
            EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD), -1) << path;
        }
        LineReader reader;
        errno = 0;
        EXPECT_FALSE(reader.open("/tmp/missing"));
        EXPECT_EQ(errno, ENOENT);
    });
}

TEST(LineReader, ATerminalIsNotTaken)
{
    const int master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_GE(master, 0);
    ASSERT_EQ(grantpt(master) | unlockpt(master), 0);
    const std::string terminal = ptsname(master);
    const pid_t child = fork();
    if (child == 0) {
        setsid();
        LineReader reader;
        const bool opened = reader.open(terminal.c_str());
        const int own_terminal = open("/dev/tty", O_RDWR | O_CLOEXEC);
        _exit(!opened && own_terminal < 0 ? 0 : 1);
    }
    await_child(child);
    close(master);
}

TEST(LineReader, NewlinesAreCut)
{
    for (const auto& [line, cut] : {std::pair<std::string, std::string>{"one\n", "one"},
                                    {"one", "one"},
                                    {"\n", ""},
                                    {"", ""},
                                    {"one\ntwo\n", "one"}}) {
        std::string text = line;
        common::cut_newline(text.data());
        EXPECT_STREQ(text.c_str(), cut.c_str());
    }
}

}  // namespace
