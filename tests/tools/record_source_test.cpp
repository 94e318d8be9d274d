// Records come from files that grow and are rotated, from pipes, the journal and sockets; each
// once.
#include "records/source.h"

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <sys/stat.h>
#include <syslog.h>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "fresh_process.h"
#include "wait_until.h"

using namespace harness;
using commonctl::open_source;
using commonctl::Record;
using commonctl::RecordSource;
using commonctl::SourceOptions;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

using Next = RecordSource::Next;
using Messages = std::vector<std::string>;

constexpr const char* kLog = "/tmp/log";

void write_file(const std::string& path, const std::string& content)
{
    std::ofstream(path, std::ios::binary) << content;
}

void append(const std::string& path, const std::string& content)
{
    std::ofstream(path, std::ios::binary | std::ios::app) << content;
}

/// Takes what is there until the source has no more for now. @return the result that said so.
Next take(RecordSource& source, Messages& messages)
{
    Record record;
    for (;;) {
        const Next next = source.next(record);
        if (next != Next::Record) {
            return next;
        }
        messages.emplace_back(record.message);
    }
}

/// What is there now.
Messages now(RecordSource& source, Next expected = Next::Later)
{
    Messages messages;
    EXPECT_EQ(take(source, messages), expected);
    return messages;
}

/// All of a source that ends.
Messages all(const SourceOptions& options)
{
    const auto source = open_source(options);
    Messages messages;
    EXPECT_TRUE(wait_until([&] { return take(*source, messages) == Next::End; }));
    return messages;
}

Messages lines(int first, int last)
{
    Messages expected;
    for (int i = first; i <= last; ++i) {
        expected.push_back("line " + std::to_string(i));
    }
    return expected;
}

std::string text_of(const Messages& messages)
{
    std::string text;
    for (const auto& message : messages) {
        text += message + "\n";
    }
    return text;
}

std::string error_of(const SourceOptions& options)
{
    try {
        open_source(options);
    } catch (const std::exception& error) {
        return error.what();
    }
    return "";
}

FRESH_TEST(RecordSource, FilesAreReadOneBehindTheOther)
{
    write_file("/tmp/a", "a1\n\na2");
    write_file("/tmp/b", "");
    write_file("/tmp/c", "\nc1\n");
    EXPECT_THAT(all({.files = {"/tmp/a", "/tmp/b", "/tmp/c", "/tmp/a"}}),
                ElementsAre("a1", "a2", "c1", "a1", "a2"));
}

FRESH_TEST(RecordSource, LargeFilesArriveWhole)
{
    const Messages expected = lines(1, 200'000);
    write_file(kLog, text_of(expected));
    EXPECT_EQ(all({.files = {kLog}}), expected);
}

FRESH_TEST(RecordSource, BeginsWithTheLastRecords)
{
    write_file(kLog, text_of(lines(1, 50'000)));
    for (const int count : {0, 1, 2, 7'000, 49'999, 50'000, 50'001}) {
        const Messages messages = all({.files = {kLog}, .last = static_cast<std::uint64_t>(count)});
        const int from = std::max(50'001 - count, 1);
        EXPECT_EQ(messages, lines(from, 50'000)) << count;
    }
    for (const char* content : {"a\n\nb\n\n\nc\n", "a\n\nb\n\n\nc", "\n\na\nb\nc\n\n"}) {
        write_file(kLog, content);
        EXPECT_THAT(all({.files = {kLog}, .last = 2}), ElementsAre("b", "c")) << content;
        EXPECT_THAT(all({.files = {kLog}, .last = 3}), ElementsAre("a", "b", "c")) << content;
        EXPECT_THAT(all({.files = {kLog}, .last = 4}), ElementsAre("a", "b", "c")) << content;
    }
    // Lines that are as long as what is looked through at a time.
    for (const int length : {65'534, 65'535, 65'536, 65'537}) {
        const std::string longer(static_cast<std::size_t>(length), 'x');
        write_file(kLog, "first\n" + longer + "\nlast\n");
        EXPECT_THAT(all({.files = {kLog}, .last = 2}), ElementsAre(longer, "last"));
        EXPECT_THAT(all({.files = {kLog}, .last = 3}), ElementsAre("first", longer, "last"));
    }
}

FRESH_TEST(RecordSource, LastRecordsMayBeOfSeveralFiles)
{
    write_file("/tmp/a", text_of(lines(1, 10)));
    write_file("/tmp/b", text_of(lines(11, 13)));
    EXPECT_EQ(all({.files = {"/tmp/a", "/tmp/b"}, .last = 2}), lines(12, 13));
    EXPECT_EQ(all({.files = {"/tmp/a", "/tmp/b"}, .last = 5}), lines(9, 13));
    EXPECT_EQ(all({.files = {"/tmp/a", "/tmp/b"}, .last = 50}), lines(1, 13));
}

FRESH_TEST(RecordSource, LastRecordsAreThoseThatAreWanted)
{
    write_file(kLog, text_of(lines(1, 100)));
    const auto wanted = [](const Record& record) { return record.message.ends_with('5'); };
    EXPECT_THAT(all({.files = {kLog}, .last = 2, .wanted = wanted}),
                ElementsAre("line 85", "line 95"));
    EXPECT_THAT(all({.files = {kLog}, .wanted = wanted}), SizeIs(10));
    const auto source = open_source({.files = {kLog}, .follow = true, .last = 1, .wanted = wanted});
    EXPECT_THAT(now(*source), ElementsAre("line 95"));
    append(kLog, "5\n6\n");
    EXPECT_THAT(now(*source), ElementsAre("5"));
}

FRESH_TEST(RecordSource, FollowsWhatIsAppended)
{
    write_file(kLog, "a\nb\nc\nha");
    const auto source = open_source({.files = {kLog}, .follow = true, .last = 2});
    EXPECT_THAT(source->descriptors(), IsEmpty());
    EXPECT_THAT(now(*source), ElementsAre("c"));  // and "ha", which is no record yet
    append(kLog, "lf");
    EXPECT_THAT(now(*source), IsEmpty());
    append(kLog, " and half\nd\n");
    EXPECT_THAT(now(*source), ElementsAre("half and half", "d"));
    EXPECT_THAT(now(*source), IsEmpty());
}

FRESH_TEST(RecordSource, FollowsAFileThatIsRenamedAndMadeAnew)
{
    write_file(kLog, "a\n");
    const auto source = open_source({.files = {kLog}, .follow = true});
    EXPECT_THAT(now(*source), ElementsAre("a"));
    std::filesystem::rename(kLog, "/tmp/log.1");
    EXPECT_THAT(now(*source), IsEmpty());
    append("/tmp/log.1", "b\n");  // the daemon has not noticed yet
    EXPECT_THAT(now(*source), ElementsAre("b"));
    write_file(kLog, "");
    append("/tmp/log.1", "c\n");
    EXPECT_THAT(now(*source), ElementsAre("c"));
    append("/tmp/log.1", "d\nunfinished");
    write_file(kLog, "e\n");
    EXPECT_THAT(now(*source), ElementsAre("d", "unfinished", "e"));
    append(kLog, "f\n");
    EXPECT_THAT(now(*source), ElementsAre("f"));
}

FRESH_TEST(RecordSource, FollowsOverSeveralRotations)
{
    write_file(kLog, "");
    const auto source = open_source({.files = {kLog}, .follow = true});
    for (int i = 1; i <= 5; ++i) {
        append(kLog, text_of(lines(i * 10, i * 10 + 9)));
        EXPECT_EQ(now(*source), lines(i * 10, i * 10 + 9));
        std::filesystem::rename(kLog, "/tmp/log.1");
    }
    std::filesystem::create_directory(kLog);
    EXPECT_THAT(now(*source), IsEmpty());
}

FRESH_TEST(RecordSource, FollowsAFileThatIsEmptied)
{
    write_file(kLog, "a\nb\nunfinished");
    const auto source = open_source({.files = {kLog}, .follow = true});
    EXPECT_THAT(now(*source), ElementsAre("a", "b"));
    std::filesystem::resize_file(kLog, 0);
    append(kLog, "c\n");
    EXPECT_THAT(now(*source), ElementsAre("unfinished", "c"));
}

TEST(RecordSource, WaitsForAFileThatIsNotThereYet)
{
    const Outcome outcome = well([] {
        const auto source = open_source({.files = {kLog}, .follow = true, .last = 1});
        EXPECT_THAT(now(*source), IsEmpty());
        write_file(kLog, "a\nb\n");
        EXPECT_THAT(now(*source), ElementsAre("a", "b"));
    });
    EXPECT_EQ(outcome.err, "commonctl: /tmp/log is not there yet; waiting for it\n");
}

FRESH_TEST(RecordSource, FollowsSeveralFiles)
{
    write_file("/tmp/a", text_of(lines(1, 3)));
    write_file("/tmp/b", text_of(lines(4, 6)));
    const auto source = open_source({.files = {"/tmp/a", "/tmp/b"}, .follow = true});
    EXPECT_EQ(now(*source), lines(1, 6));
    append("/tmp/b", "b\n");
    EXPECT_THAT(now(*source), ElementsAre("b"));
    append("/tmp/a", "a\n");
    EXPECT_THAT(now(*source), ElementsAre("a"));
    append("/tmp/a", "c\n");
    append("/tmp/b", "d\n");
    EXPECT_THAT(now(*source), testing::UnorderedElementsAre("c", "d"));
}

TEST(RecordSource, LinesThatAreTooLongAreCutAndThatIsSaidOnce)
{
    const std::string longest(std::size_t{256} * 1024, 'x');
    const Outcome outcome = well([&] {
        write_file(kLog, "a\n" + longest + "\n" + std::string(10'000'000, 'x') + "\nb\n" +
                             std::string(300'000, 'x') + "\n" + std::string(300'000, 'x'));
        EXPECT_THAT(all({.files = {kLog}}),
                    ElementsAre("a", longest, longest, "b", longest, longest));
    });
    EXPECT_EQ(outcome.err, "commonctl: lines of more than 256 KiB are cut\n");
}

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

FRESH_TEST(RecordSource, StandardInputIsReadAsItComes)
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

FRESH_TEST(RecordSource, LastRecordsOfAPipeAreThoseAtItsEnd)
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

FRESH_TEST(RecordSource, APipeIsWaitedForBeforeWhatFollows)
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

FRESH_TEST(RecordSource, ExportOfTheJournalIsTakenFromAFile)
{
    write_file(kLog, kEntries);
    EXPECT_THAT(all({.files = {kLog}}), ElementsAre("first", "two\n\n\nx", "third"));
    EXPECT_THAT(all({.files = {kLog}, .last = 2}), ElementsAre("two\n\n\nx", "third"));
}

FRESH_TEST(RecordSource, ExportOfTheJournalArrivesInAnyPieces)
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

TEST(RecordSource, JournalIsReadByJournalctl)
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

TEST(RecordSource, JournalIsFollowedUntilTheSourceEnds)
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

TEST(RecordSource, FailureOfJournalctlIsTold)
{
    well(with_journalctl("exit 1"), [] {
        try {
            all({.journal = true});
            ADD_FAILURE() << "nothing was thrown";
        } catch (const std::runtime_error& error) {
            EXPECT_THAT(error.what(), HasSubstr("journalctl failed"));
        }
    });
    FreshSetup without;
    without.env["PATH"] = "/tmp/nowhere";
    const Outcome outcome =
        well(without, [] { EXPECT_THROW(all({.journal = true}), std::runtime_error); });
    EXPECT_EQ(outcome.err, "commonctl: cannot run journalctl; name a file of the log instead\n");
}

TEST(RecordSource, SocketTakesThePlaceOfTheDaemon)
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

FRESH_TEST(RecordSource, WhatCannotBeReadIsTold)
{
    EXPECT_THAT(error_of({.files = {"/tmp/no"}}), "/tmp/no: No such file or directory");
    EXPECT_THAT(error_of({.files = {"/tmp"}}), HasSubstr("/tmp is a folder"));
    EXPECT_THAT(error_of({.files = {"/tmp"}, .follow = true}), HasSubstr("/tmp is a folder"));
    EXPECT_THAT(error_of({.socket = "/dev/log"}), HasSubstr("/dev/log"));
    write_file("/tmp/log.gz", "\x1f\x8b\x08");
    EXPECT_EQ(error_of({.files = {"/tmp/log.gz"}}),
              "/tmp/log.gz is compressed; try \"zcat /tmp/log.gz | commonctl log -\"");
}

FRESH_TEST(RecordSource, MemoryDoesNotGrowWithTheLog)
{
    const auto peak_kib = [] {
        std::ifstream status("/proc/self/status");
        for (std::string word; status >> word;) {
            if (word == "VmHWM:") {
                long kib = 0;
                status >> kib;
                return kib;
            }
        }
        return -1L;
    };
    const std::string block = text_of(lines(1, 100'000));
    for (int i = 0; i < 10; ++i) {
        append(kLog, block);
    }
    const auto source = open_source({.files = {kLog}});
    Record record;
    ASSERT_EQ(source->next(record), Next::Record);
    const long before = peak_kib();
    int count = 1;
    while (source->next(record) == Next::Record) {
        ++count;
    }
    EXPECT_EQ(count, 1'000'000);
    EXPECT_LT(peak_kib() - before, 4096);
}

}  // namespace
