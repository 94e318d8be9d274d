// Records come from files that grow, are rotated and emptied: each of them once.
#include "records/source.h"

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <sys/mount.h>
#include <sys/stat.h>
#include <system_error>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "descriptor.h"
#include "fresh_process.h"
#include "record_messages.h"

using namespace harness;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

/// What happens at the next look at the state of a file.
std::function<void()> at_next_look;

}  // namespace

/// In place of the C library's.
int stat(const char* path, struct stat* status)
{
    if (at_next_look) {
        std::exchange(at_next_look, nullptr)();
    }
    return fstatat(AT_FDCWD, path, status, 0);
}

namespace {

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

FRESH_TEST(RecordSource, ReadsWhatIsWrittenInTheMomentOfARotation)
{
    write_file(kLog, "a\n");
    const auto source = open_source({.files = {kLog}, .follow = true});
    EXPECT_THAT(now(*source), ElementsAre("a"));
    at_next_look = [] {
        std::filesystem::rename(kLog, "/tmp/log.1");
        append("/tmp/log.1", "b\n");
        write_file(kLog, "c\n");
    };
    EXPECT_THAT(now(*source), ElementsAre("b", "c"));
}

FRESH_TEST(RecordSource, NothingIsLeftOfAJournalThatIsEmptied)
{
    // The length of a value, cut short: it takes eight bytes.
    write_file(kLog, std::string("__CURSOR=a\nMESSAGE\n\5\0\0", 22));
    const auto source = open_source({.files = {kLog}, .follow = true});
    EXPECT_THAT(now(*source), IsEmpty());
    std::filesystem::resize_file(kLog, 0);
    EXPECT_THAT(now(*source), ElementsAre(""));
    append(kLog, "__CURSOR=b\nMESSAGE=new\n\n");
    EXPECT_THAT(now(*source), ElementsAre("new"));
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
        write_file(kLog, "a\n" + longest + "\n" + std::string(5'000'000, 'x') + "\nb\n" +
                             std::string(300'000, 'x') + "\n" + std::string(300'000, 'x'));
        EXPECT_THAT(all({.files = {kLog}}),
                    ElementsAre("a", longest, longest, "b", longest, longest));
    });
    EXPECT_EQ(outcome.err, "commonctl: lines of more than 256 KiB are cut\n");
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

FRESH_TEST(RecordSource, WhatIsOpenForWritingOnlyCannotBeRead)
{
    const commonctl::Descriptor log(open(kLog, O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    const commonctl::Descriptor input(dup(STDIN_FILENO));
    EXPECT_EQ(dup2(log.get(), STDIN_FILENO), STDIN_FILENO);
    EXPECT_EQ(error_of({.files = {"-"}}), "/dev/stdin: Bad file descriptor");
    EXPECT_EQ(dup2(input.get(), STDIN_FILENO), STDIN_FILENO);
}

TEST(RecordSource, WithoutANameItIsTheLogOfTheSystem)
{
    const auto hide_the_machines = [] {
        ASSERT_EQ(mount("tmpfs", "/var/log", "tmpfs", 0, nullptr), 0);
    };
    run_silently({.prepare = hide_the_machines}, [] {
        EXPECT_EQ(error_of({}), "there is no /var/log/syslog or /var/log/messages; name a file, "
                                "or take --journal");
        write_file("/var/log/messages", "a\n");
        EXPECT_THAT(all({}), ElementsAre("a"));
        write_file("/var/log/syslog", "b\n");
        EXPECT_THAT(all({}), ElementsAre("b"));
    });
}

FRESH_TEST(RecordSource, PipesAmongSeveralFilesAreWaitedForTogetherWhenTheyAreFollowed)
{
    const auto waited_for = [](const RecordSource& source) {
        Messages paths;
        for (const int fd : source.descriptors()) {
            paths.push_back(
                std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(fd)).string());
        }
        return paths;
    };
    const Messages files{"/tmp/a", kLog, "/tmp/b"};
    write_file(kLog, "log\n");
    std::vector<commonctl::Descriptor> writers;
    for (const char* pipe : {"/tmp/a", "/tmp/b"}) {
        ASSERT_EQ(mkfifo(pipe, 0600), 0);
        writers.emplace_back(open(pipe, O_RDWR | O_CLOEXEC));
    }
    const auto followed = open_source({.files = files, .follow = true});
    EXPECT_THAT(waited_for(*followed), ElementsAre("/tmp/a", "/tmp/b"));
    const auto once = open_source({.files = files});
    EXPECT_THAT(waited_for(*once), ElementsAre("/tmp/a"));
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
