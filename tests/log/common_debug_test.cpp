// Debug rows: their form, where they go, and what ends the process.
#include "common_debug.h"

#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include "fake_proc.h"
#include "held_clock.h"
#include "log_calls.h"

namespace {

using namespace harness;
using testing::ElementsAre;
using testing::HasSubstr;

/// 1978-08-26 03:04:05.000000678 UTC.
constexpr std::int64_t kDay = 3159;
constexpr std::int64_t kMoment = kDay * 86'400 + 3 * 3600L + 4 * 60L + 5;
constexpr std::int32_t kNanoseconds = 678;

const std::string kHeader(kDebugHeader);

/// The column of the calling thread, which is at least two characters wide.
std::string thread_column()
{
    const auto number = static_cast<unsigned>(pthread_self());
    const std::string text = std::to_string(number);
    return text.size() < 2 ? " " + text : text;
}

/// The function without what lets the compiler check its format and arguments.
constexpr void (*kWrite)(FILE*, const char*, const char*, std::int32_t, const char*,
                         ...) = COMMON_Debug_Write;

/// Runs a body with debug output on, at kMoment. @return standard output and standard error, in
/// which the number of the thread, the same as here, is "TT".
std::pair<std::string, std::string> written_at_moment(const std::string& zone,
                                                      const std::function<void()>& body)
{
    auto env = kDebugOn;
    env["TZ"] = zone;
    Outcome outcome = well({.env = env}, [&] {
        hold_clock_at(kMoment, kNanoseconds);
        body();
    });
    EXPECT_THAT(outcome.log, testing::IsEmpty());
    const std::string thread = thread_column();
    for (std::string* text : {&outcome.out, &outcome.err}) {
        for (auto at = text->find("   " + thread + "  "); at != std::string::npos;
             at = text->find("   " + thread + "  ")) {
            text->replace(at + 3, thread.size(), "TT");
        }
    }
    return {outcome.out, outcome.err};
}

TEST(CommonDebug, ARowInEveryByte)
{
    const auto [out, err] = written_at_moment("UTC", [] {
        COMMON_Debug_Write(stdout, "file.c", "function", 12, "message %d of %s", 1, "two");
    });
    EXPECT_EQ(out, kHeader + "     1  3159.03:04:05.000000678   TT  stdout                     "
                             "file.c                          function                          12"
                             "  message 1 of two\n");
    EXPECT_EQ(err, "");
}

TEST(CommonDebug, StreamsAreNamedAndTheHeaderComesOnce)
{
    const auto [out, err] = written_at_moment("UTC", [] {
        COMMON_Debug_Write(stderr, "f", "g", 1, "first");
        COMMON_Debug_Write(stdout, "f", "g", 2, "second");
        FILE* const file = std::tmpfile();
        ASSERT_NE(file, nullptr);
        COMMON_Debug_Write(file, "f", "g", 3, "third");
        COMMON_Debug_Write(stderr, "f", "g", 4, "fourth");
        char text[1000] = "";
        std::rewind(file);
        const std::size_t length = std::fread(text, 1, sizeof text - 1, file);
        EXPECT_EQ(debug_rows(std::string(text, length)).size(), 1u);
        EXPECT_THAT(row_texts(text), ElementsAre(RowText{"file", "f", "g", "third"}));
        EXPECT_EQ(debug_rows(text)[0].count, 3u);
        std::fclose(file);
    });
    const std::string stamp = "  3159.03:04:05.000000678   TT  ";
    const std::string columns =
        "                   f                               g                                  ";
    EXPECT_EQ(err, kHeader + "     1" + stamp + "stderr  " + columns + "1  first\n" + "     4" +
                       stamp + "stderr  " + columns + "4  fourth\n");
    EXPECT_EQ(out, "     2" + stamp + "stdout  " + columns + "2  second\n");
}

TEST(CommonDebug, TheHeaderGoesToAFileWhenThatIsFirst)
{
    const Outcome outcome = well({.env = kDebugOn}, [] {
        char* text = nullptr;
        std::size_t length = 0;
        FILE* const file = open_memstream(&text, &length);
        COMMON_Debug_Write(file, "f", "g", 1, "one");
        EXPECT_TRUE(std::string(text).starts_with(kHeader)) << "flushed at once";
        EXPECT_THAT(row_texts(text), ElementsAre(RowText{"file", "f", "g", "one"}));
        std::fclose(file);
        std::free(text);
        COMMON_Debug_Write(stdout, "f", "g", 1, "two");
    });
    EXPECT_THAT(outcome.out, testing::Not(HasSubstr("FID")));
    ASSERT_EQ(debug_rows(outcome.out).size(), 1u);
    EXPECT_EQ(debug_rows(outcome.out)[0].count, 2u);
}

TEST(CommonDebug, TheTimeIsLocalAndTheDayIsNot)
{
    const auto [out, err] =
        written_at_moment("XYZ-21:30", [] { COMMON_Debug_Write(stderr, "f", "g", 1, "late"); });
    EXPECT_THAT(err, HasSubstr("  3159.00:34:05.000000678   "));
    EXPECT_EQ(out, "");
}

TEST(CommonDebug, EarlyDaysHaveThreePlaces)
{
    const Outcome outcome = well({.env = kDebugOn}, [] {
        hold_clock_at(86'400 * 7 + 1, 999'999'999);
        COMMON_Debug_Write(stderr, "f", "g", 1, "early");
    });
    EXPECT_THAT(outcome.err, HasSubstr("     1  007.00:00:01.999999999   "));
}

TEST(CommonDebug, LongColumnsAreNotCut)
{
    const std::string file(35, 'f');
    const std::string function(64, 'g');
    const auto [out, err] = written_at_moment("UTC", [&] {
        COMMON_Debug_Write(stderr, file.c_str(), function.c_str(), 1234567, "m");
        COMMON_Debug_Write(stderr, "", "", -1, "%s", "");
    });
    const std::string blanks(30, ' ');
    EXPECT_EQ(err, kHeader + "     1  3159.03:04:05.000000678   TT  stderr                     " +
                       file + "  " + function + "  1234567  m\n" +
                       "     2  3159.03:04:05.000000678   TT  stderr                     " +
                       blanks + "  " + blanks + "  4294967295  \n");
}

TEST(CommonDebug, TheThreadIsTheLowHalfOfItsNumber)
{
    const Outcome outcome = well({.env = kDebugOn}, [] {
        COMMON_Debug_Write(stderr, "f", "g", 1, "%s", thread_column().c_str());
    });
    const auto rows = debug_rows(outcome.err);
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(std::to_string(rows[0].thread), rows[0].message);
}

TEST(CommonDebug, TheTimeIsThatOfTheRow)
{
    const Outcome outcome = well({.env = kDebugOn}, [] {
        timespec before{};
        clock_gettime(CLOCK_REALTIME, &before);
        COMMON_Debug_Write(stderr, "f", "g", 1, "row");
        timespec after{};
        clock_gettime(CLOCK_REALTIME, &after);
        std::printf("%lld %lld\n", static_cast<long long>(before.tv_sec),
                    static_cast<long long>(after.tv_sec));
    });
    long long before = 0;
    long long after = 0;
    ASSERT_EQ(std::sscanf(outcome.out.c_str(), "%lld %lld", &before, &after), 2);
    const auto rows = debug_rows(outcome.err);
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_GE(rows[0].day, before / 86'400);
    EXPECT_LE(rows[0].day, after / 86'400);
    int hour = 0;
    int minute = 0;
    int second = 0;
    ASSERT_EQ(std::sscanf(rows[0].time.c_str(), "%d:%d:%d", &hour, &minute, &second), 3);
    const long long time = rows[0].day * 86'400LL + hour * 3600LL + minute * 60LL + second;
    EXPECT_GE(time, before);
    EXPECT_LE(time, after);
}

TEST(CommonDebug, EveryRowIsFlushedAtOnce)
{
    const Outcome outcome = well({.env = kDebugOn}, [] {
        COMMON_Debug_Write(stdout, "f", "g", 1, "not lost");
        _exit(0);
    });
    EXPECT_THAT(row_texts(outcome.out), ElementsAre(RowText{"stdout", "f", "g", "not lost"}));
    EXPECT_THAT(outcome.out, testing::EndsWith("not lost\n"));
}

TEST(CommonDebug, WriteVTakesAList)
{
    const Outcome outcome = well({.env = kDebugOn}, [] {
        const auto write = [](const char* format, ...) {
            va_list args;
            va_start(args, format);
            void (*const write_v)(FILE*, const char*, const char*, std::int32_t, const char*,
                                  va_list) = COMMON_Debug_WriteV;
            write_v(stdout, "f", "g", 7, format, args);
            va_end(args);
        };
        write("%s %d %c", "list", -3, 'x');
    });
    const auto rows = debug_rows(outcome.out);
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].message, "list -3 x");
    EXPECT_EQ(rows[0].line, 7u);
}

TEST(CommonDebug, ErrnoIsTheCallersInTheMessageAndAfterwards)
{
    const Outcome outcome = well({.env = kDebugOn}, [] {
        errno = ENOTDIR;
        kWrite(stderr, "f", "g", 1, "%m");
        EXPECT_EQ(errno, ENOTDIR);
        errno = 0;
        kWrite(stderr, "f", "g", 1, "%m");
        EXPECT_EQ(errno, 0);
    });
    EXPECT_THAT(row_texts(outcome.err), ElementsAre(RowText{"stderr", "f", "g", "Not a directory"},
                                                    RowText{"stderr", "f", "g", "Success"}));
}

/// What a stream does that succeeds, but changes errno.
ssize_t write_and_change_errno(void* written, const char* text, std::size_t size)
{
    static_cast<std::string*>(written)->append(text, size);
    errno = EXDEV;
    return static_cast<ssize_t>(size);
}

TEST(CommonDebug, ErrnoIsTheCallersAlsoWhereTheStreamChangesIt)
{
    well({.env = kDebugOn}, [] {
        std::string written;
        cookie_io_functions_t functions{};
        functions.write = write_and_change_errno;
        FILE* const stream = fopencookie(&written, "w", functions);
        setvbuf(stream, nullptr, _IONBF, 0);
        errno = ENOTDIR;
        kWrite(stream, "f", "g", 1, "%m");
        EXPECT_EQ(errno, ENOTDIR);
        EXPECT_THAT(written, testing::EndsWith("  Not a directory\n"));
        std::fclose(stream);
    });
}

FRESH_TEST(CommonDebug, ErrnoIsKeptWhileOff)
{
    errno = ENOTDIR;
    kWrite(stderr, "f", "g", 1, "%m");
    COMMON_Debug_HexDump("f", "g", 1, "name", "x", 1);
    EXPECT_EQ(errno, ENOTDIR);
}

TEST(CommonDebug, NothingIsWrittenWhileOff)
{
    for (const char* value : {"False", "false"}) {
        const Outcome outcome = well({.env = {{"COMMON_DEBUG_ENABLE", value}}}, [] {
            COMMON_Debug_Write(stdout, "f", "g", 1, "row");
            COMMON_Debug_Write(stderr, "f", "g", 1, "row");
            COMMON_Debug_HexDump("f", "g", 1, "name", "bytes", 5);
            COMMON_Debug_HexDump("f", "g", 1, "name", nullptr, 0);
            kWrite(nullptr, nullptr, nullptr, 1, nullptr);
            EXPECT_EQ(COMMON_Debug_GetEnable(), 0u);
        });
        EXPECT_EQ(outcome.out + outcome.err, "");
        EXPECT_THAT(outcome.log, testing::IsEmpty());
    }
}

FRESH_TEST(CommonDebug, OffByDefault)
{
    EXPECT_EQ(COMMON_Debug_GetEnable(), 0u);
    COMMON_Debug_Write(stdout, "f", "g", 1, "row");
    COMMON_Debug_Write(stderr, "f", "g", 1, "row");
}

TEST(CommonDebug, NullArgumentsEndTheProcessWhileOn)
{
    static const struct {
        FILE** stream;
        const char* file;
        const char* function;
        const char* format;
        const char* condition;
    } kCases[] = {
        {nullptr, "f", "g", "%d", "((void *)0) != std"},
        {&stderr, nullptr, "g", "%d", "((void *)0) != file"},
        {&stderr, "f", nullptr, "%d", "((void *)0) != function"},
        {&stderr, "f", "g", nullptr, "((void *)0) != format"},
        {nullptr, nullptr, nullptr, nullptr, "((void *)0) != std"},
        {&stderr, nullptr, nullptr, nullptr, "((void *)0) != file"},
        {&stderr, "f", nullptr, nullptr, "((void *)0) != function"},
    };
    for (const auto& one : kCases) {
        const auto body = [&] {
            kWrite(one.stream == nullptr ? nullptr : *one.stream, one.file, one.function, 1,
                   one.format, 1);
        };
        SCOPED_TRACE(one.condition);
        const Outcome outcome = run_fresh({.env = kDebugOn}, body);
        EXPECT_THAT(outcome, killed_by(SIGABRT));
        EXPECT_THAT(outcome.err, assertion_text("common_debug", "debugWriteV", one.condition));
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(outcome.log, testing::IsEmpty());
        run_silently(body);  // while off
    }
}

TEST(CommonDebug, TheFirstRowNeedsTheProcess)
{
    const Outcome outcome = run_fresh({.env = kDebugOn}, [] {
        hide_proc();
        kWrite(stdout, "f", "g", 1, "%d", 1);
    });
    EXPECT_THAT(outcome, killed_by(SIGABRT));
    EXPECT_THAT(outcome.err, testing::EndsWith("Assertion `STATUS_SUCCESS == status' failed.\n"));
    EXPECT_EQ(outcome.out, "");
}

TEST(CommonDebug, PanicListsTheProcessesAndExitsWithOne)
{
    const FreshSetup setup{.env = {{"PATH", "/tmp/tools:/usr/bin:/bin"}},
                           .programs = {{"/tmp/tools/pidin", "#!/bin/sh\n"
                                                             "echo \"listing $# $0\"\nexit 3\n"}}};
    const Outcome outcome = run_fresh(setup, [] {
        std::atexit([] { std::fputs("exit handler\n", stderr); });
        COMMON_Debug_Panic();
    });
    EXPECT_THAT(outcome, exited(1));
    EXPECT_EQ(outcome.out, "listing 0 /tmp/tools/pidin\n");
    EXPECT_EQ(outcome.err, "exit handler\n");
}

TEST(CommonDebug, PanicExitsWithOneWithoutTheTool)
{
    const Outcome outcome = run_fresh({.env = {{"PATH", "/tmp/none"}}}, COMMON_Debug_Panic);
    EXPECT_THAT(outcome, exited(1));
    EXPECT_THAT(outcome.err, HasSubstr("pidin"));
}

TEST(CommonDebug, AForkedChildGoesOnCounting)
{
    const Outcome outcome = well({.env = kDebugOn}, [] {
        COMMON_Debug_Write(stderr, "f", "g", 1, "parent");
        const pid_t child = fork();
        if (child == 0) {
            COMMON_Debug_Write(stderr, "f", "g", 1, "child");
            _exit(0);
        }
        int status = -1;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
        COMMON_Debug_Write(stderr, "f", "g", 1, "parent again");
    });
    const auto rows = debug_rows(outcome.err);
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_EQ(rows[1].message, "child");
    EXPECT_EQ(rows[1].count, 2u);
    EXPECT_EQ(rows[2].message, "parent again");
    EXPECT_EQ(rows[2].count, 2u);
}

}  // namespace
