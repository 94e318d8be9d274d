// Records that arrive: by pipes, from the journal, at a socket.
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <string>
#include <syslog.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "fresh_process.h"
#include "record_messages.h"
#include "wait_until.h"

using namespace harness;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

/// A pipe whose reading end is standard input, as long as the object lives.
class InputPipe {
public:
    InputPipe() : saved_(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0))
    {
        int ends[2];
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        EXPECT_EQ(dup2(ends[0], STDIN_FILENO), STDIN_FILENO);
        close(ends[0]);
        writing_ = ends[1];
    }
    InputPipe(const InputPipe&) = delete;
    InputPipe& operator=(const InputPipe&) = delete;
    ~InputPipe()
    {
        dup2(saved_, STDIN_FILENO);
        close(saved_);
    }

    void send(const std::string& text) const
    {
        EXPECT_EQ(write(writing_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }

    void end() const { close(writing_); }

private:
    int saved_;
    int writing_ = -1;
};

FRESH_TEST(RecordStream, StandardInputIsReadAsItComes)
{
    const InputPipe pipe;
    {
        const auto source = open_source({.files = {"-"}});
        EXPECT_THAT(source->descriptors(), SizeIs(1));
        EXPECT_THAT(now(*source), IsEmpty());
        pipe.send("a\nb");
        EXPECT_THAT(now(*source), ElementsAre("a"));
        pipe.send("b\n_");
        EXPECT_THAT(now(*source), ElementsAre("bb"));
        pipe.end();
        EXPECT_THAT(now(*source, Next::End), ElementsAre("_"));
    }
    EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD), 0) << "closed with its source";
}

FRESH_TEST(RecordStream, LastRecordsOfAPipeAreThoseAtItsEnd)
{
    for (const bool follow : {false, true}) {
        const InputPipe pipe;
        const auto source = open_source({.files = {"-"}, .follow = follow, .last = 2});
        pipe.send(text_of(lines(1, 5)));
        EXPECT_THAT(now(*source), IsEmpty());
        pipe.send(text_of(lines(6, 7)));
        pipe.end();
        EXPECT_EQ(now(*source, Next::End), lines(6, 7));
    }
}

FRESH_TEST(RecordStream, APipeIsWaitedForBeforeWhatFollows)
{
    write_file(kLog, "file\n");
    const InputPipe pipe;
    const auto source = open_source({.files = {"-", kLog}});
    EXPECT_THAT(now(*source), IsEmpty());
    pipe.send("pipe\n");
    pipe.end();
    EXPECT_THAT(now(*source, Next::End), ElementsAre("pipe", "file"));
}

const std::string kEntries = "__CURSOR=1\nPRIORITY=3\nMESSAGE=first\n\n"
                             "__CURSOR=2\nMESSAGE\n" +
                             std::string("\x07\0\0\0\0\0\0\0", 8) + "two\n\n\nx\n_PID=5\n\n" +
                             "__CURSOR=3\nSOMETHING\n" + std::string("\x01\0\0\0\0\0\0\0", 8) +
                             "\n\nMESSAGE=third\n";

FRESH_TEST(RecordStream, ExportOfTheJournalIsTakenFromAFile)
{
    write_file(kLog, kEntries);
    EXPECT_THAT(all({.files = {kLog}}), ElementsAre("first", "two\n\n\nx", "third"));
    EXPECT_THAT(all({.files = {kLog}, .last = 2}), ElementsAre("two\n\n\nx", "third"));
}

FRESH_TEST(RecordStream, LongFieldsOfTheJournalAreCut)
{
    const std::size_t most = std::size_t{256} * 1024;
    const std::string length("\x00\x00\x20\x00\x00\x00\x00\x00", 8);  // 2 MiB
    write_file(kLog, "__CURSOR=1\nMESSAGE\n" + length + std::string(std::size_t{2} << 20, 'x') +
                         "\n\n__CURSOR=2\nMESSAGE=short\n\n__CURSOR=3\nMESSAGE\n" +
                         std::string(8, '\xff') + "to the end");
    EXPECT_THAT(all({.files = {kLog}}), ElementsAre(std::string(most, 'x'), "short", "to the end"));
}

FRESH_TEST(RecordStream, ExportOfTheJournalArrivesInAnyPieces)
{
    const InputPipe pipe;
    const auto source = open_source({.files = {"-"}});
    Messages messages;
    for (const char byte : kEntries) {
        pipe.send(std::string(1, byte));
        EXPECT_EQ(take(*source, messages), Next::Later);
    }
    pipe.end();
    EXPECT_EQ(take(*source, messages), Next::End);
    EXPECT_THAT(messages, ElementsAre("first", "two\n\n\nx", "third"));
}

/// A setup whose journalctl notes how it was called and does what a script says.
FreshSetup with_journalctl(const std::string& script)
{
    FreshSetup setup;
    setup.env["PATH"] = "/tmp/bin:/usr/bin:/bin";
    setup.files["/tmp/entries"] = kEntries;
    setup.programs["/tmp/bin/journalctl"] = "#!/bin/sh\necho \"$@\" > /tmp/arguments\n" + script;
    return setup;
}

std::string arguments_of_journalctl()
{
    std::string line;
    std::getline(std::ifstream("/tmp/arguments") >> std::ws, line);
    return line;
}

TEST(RecordStream, JournalIsReadByJournalctl)
{
    well(with_journalctl("cat /tmp/entries"), [] {
        EXPECT_THAT(all({.journal = true}), ElementsAre("first", "two\n\n\nx", "third"));
        EXPECT_EQ(arguments_of_journalctl(), "--quiet --output=export --lines=all");
        all({.journal = true, .last = 5});
        EXPECT_EQ(arguments_of_journalctl(), "--quiet --output=export --lines=5");
        // What is wanted is only known here.
        const auto wanted = [](const Record& record) { return record.message.size() == 5; };
        EXPECT_THAT(all({.journal = true, .last = 1, .wanted = wanted}), ElementsAre("third"));
        EXPECT_EQ(arguments_of_journalctl(), "--quiet --output=export --lines=all");
    });
}

TEST(RecordStream, JournalIsFollowedUntilTheSourceEnds)
{
    well(with_journalctl("cat /tmp/entries; echo; exec sleep 1000"), [] {
        const auto source = open_source({.journal = true, .follow = true, .last = 7});
        Messages messages;
        EXPECT_TRUE(wait_until([&] {
            EXPECT_EQ(take(*source, messages), Next::Later);
            return messages.size() == 3;
        }));
        EXPECT_EQ(arguments_of_journalctl(), "--quiet --output=export --lines=7 --follow");
    });  // and no child is left
}

/// How reading the journal fails.
std::string failure_of_journal()
{
    try {
        all({.journal = true});
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "nothing was thrown";
}

TEST(RecordStream, FailureOfJournalctlIsTold)
{
    well(with_journalctl("exit 1"),
         [] { EXPECT_THAT(failure_of_journal(), HasSubstr("journalctl failed; try")); });
    FreshSetup without;
    without.env["PATH"] = "/tmp/nowhere";
    run_silently(without, [] {
        EXPECT_EQ(failure_of_journal(), "there is no journalctl; name a file of the log instead");
    });
}

TEST(RecordStream, SocketTakesThePlaceOfTheDaemon)
{
    well({.open_log_socket = false}, [] {
        {
            const auto source = open_source({.socket = "/dev/log"});
            EXPECT_THAT(source->descriptors(), SizeIs(1));
            EXPECT_THAT(now(*source), IsEmpty());
            syslog(LOG_USER | LOG_INFO, "first");
            syslog(LOG_USER | LOG_INFO, "second#011");
            EXPECT_THAT(now(*source), ElementsAre("first", "second#011"));
        }
        EXPECT_FALSE(std::filesystem::exists("/dev/log"));
    });
}

}  // namespace
