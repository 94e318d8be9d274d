// The log facility as its callers see it: levels, what is written and what is dropped, and how the
// arguments of a call show in its record.
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <ctime>
#include <fstream>
#include <string>
#include <unistd.h>

#include "common_log.h"
#include "common_log_settings.h"
#include "log_calls.h"

namespace {

using namespace harness;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

void write_null_format()
{
    const UncheckedWrite log_write = COMMON_Log_Write;
    log_write(COMMON_LogLevelError, kZoneNumber, "ZONE", "file.c", "function", 7, nullptr);
}

void write_list_null_format(int unused, ...)
{
    void (*const log_write_v)(COMMON_LogLevel_t, std::uint32_t, const char*, const char*,
                              const char*, std::int32_t, const char*, va_list) = COMMON_Log_WriteV;
    va_list args;
    va_start(args, unused);
    log_write_v(COMMON_LogLevelError, kZoneNumber, "ZONE", "file.c", "function", 7, nullptr, args);
    va_end(args);
}

std::string name_of_this_process()
{
    std::ifstream status("/proc/self/comm");
    std::string name;
    std::getline(status, name);
    return name;
}

TEST(CommonLogLevels, TextsAreTheExportedOnes)
{
    const struct {
        COMMON_LogLevel_t level;
        const char* exported;
        const char* text;
    } kLevels[] = {
        {0, COMMON_LogLevel_stringFatal, "Fatal"}, {1, COMMON_LogLevel_stringCritical, "Critical"},
        {2, COMMON_LogLevel_stringError, "Error"}, {3, COMMON_LogLevel_stringWarn, "Warn"},
        {4, COMMON_LogLevel_stringNote, "Note"},   {5, COMMON_LogLevel_stringInfo, "Info"},
        {6, COMMON_LogLevel_stringDebug, "Debug"}, {7, COMMON_LogLevel_stringVerbose, "Verbose"},
    };
    for (const auto& level : kLevels) {
        EXPECT_STREQ(level.exported, level.text);
        EXPECT_EQ(COMMON_LogLevel_ToString(level.level), level.exported) << level.text;
    }
    EXPECT_STREQ(COMMON_LogLevel_stringDefault, "Default");
    EXPECT_STREQ(COMMON_Log_zoneDefault, "");
}

TEST(CommonLogLevels, NumbersAreFixed)
{
    EXPECT_EQ(COMMON_LogLevelFatal, 0);
    EXPECT_EQ(COMMON_LogLevelCritical, 1);
    EXPECT_EQ(COMMON_LogLevelError, 2);
    EXPECT_EQ(COMMON_LogLevelWarn, 3);
    EXPECT_EQ(COMMON_LogLevelNote, 4);
    EXPECT_EQ(COMMON_LogLevelInfo, 5);
    EXPECT_EQ(COMMON_LogLevelDebug, 6);
    EXPECT_EQ(COMMON_LogLevelVerbose, 7);
    EXPECT_EQ(COMMON_LogFormatLegacy, 0);
    EXPECT_EQ(COMMON_LogFormatAll, 1);
    EXPECT_EQ(COMMON_LogFormatColumns, 2);
    EXPECT_EQ(COMMON_LogFormatSyslogng, 3);
    EXPECT_EQ(COMMON_LogFormatSyslogngext, 4);
}

TEST(CommonLogLevels, AboveSevenAreInvalid)
{
    for (const COMMON_LogLevel_t level : {8u, 9u, 255u, 256u, 0x7fffffffu, 0x80000000u, ~0u}) {
        EXPECT_STREQ(COMMON_LogLevel_ToString(level), "Invalid") << level;
    }
}

FRESH_TEST(CommonLogLevels, TextNeedsNoInitialisation)
{
    EXPECT_STREQ(COMMON_LogLevel_ToString(3), "Warn");
    setenv("COMMON_LOG_LEVEL", "Critical", 1);
    EXPECT_EQ(COMMON_Log_LevelGet(), kCritical);  // so it was read only now
}

FRESH_TEST(CommonLogAcceptable, ComparesUnsignedWithTheCurrentLevel)
{
    for (COMMON_LogLevel_t current = 0; current <= 7; ++current) {
        COMMON_Log_LevelSet(current);
        for (const COMMON_LogLevel_t level :
             {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u, 8u, 255u, 0x80000000u, ~0u}) {
            EXPECT_EQ(COMMON_Log_Acceptable(level), level <= current ? 1u : 0u)
                << level << " at " << current;
        }
    }
}

TEST(CommonLogAcceptable, IsInfoAtFirst)
{
    well([] { EXPECT_EQ(COMMON_Log_Acceptable(5), 1u); });
    well([] { EXPECT_EQ(COMMON_Log_Acceptable(6), 0u); });
    well([] { EXPECT_EQ(COMMON_Log_Acceptable(~0u), 0u); });
}

FRESH_TEST(CommonLogAcceptable, NothingUnlessEnabledIsOne)
{
    for (const std::uint32_t enable : {0u, 2u, ~0u}) {
        COMMON_Log_EnableSet(enable);
        for (COMMON_LogLevel_t level = 0; level <= 8; ++level) {
            EXPECT_EQ(COMMON_Log_Acceptable(level), 0u) << level;
        }
    }
    COMMON_Log_EnableSet(1);
    EXPECT_EQ(COMMON_Log_Acceptable(5), 1u);
}

TEST(CommonLogAcceptable, AlsoOnTheSlowPathOfPeakloadControl)
{
    const FreshSetup setup{.env = {{"COMMON_LOG_PEAKLOAD_CONTROL", "Off"}}};
    well(setup, [] {
        EXPECT_EQ(COMMON_Log_Acceptable(5), 1u);
        EXPECT_EQ(COMMON_Log_Acceptable(6), 0u);
        EXPECT_EQ(COMMON_Log_Acceptable(~0u), 0u);
        COMMON_Log_EnableSet(0);
        EXPECT_EQ(COMMON_Log_Acceptable(0), 0u);
    });
}

TEST(CommonLogWrite, RecordSaysWhatTheCallSaid)
{
    const std::time_t before = std::time(nullptr);
    const Single single = single_record([] {
        COMMON_Log_Write(COMMON_LogLevelWarn, kZoneNumber, "MyZone", "my_file.c", "my_function",
                         4711, "%s and %d", "text", -42);
    });
    const std::time_t after = std::time(nullptr);
    EXPECT_TRUE(single.record.valid);
    EXPECT_EQ(single.record.facility, LOG_USER);
    EXPECT_EQ(single.record.priority, LOG_WARNING);
    EXPECT_EQ(single.record.process, -1);  // no LOG_PID
    EXPECT_EQ(single.record.identity, program_invocation_short_name);
    const LayoutFields fields = single.fields;
    EXPECT_GE(fields.day, before / 86400);
    EXPECT_LE(fields.day, after / 86400);
    EXPECT_LT(fields.nanoseconds, 1'000'000'000);
    EXPECT_EQ(fields.process, name_of_this_process());
    EXPECT_EQ(fields.level, "Warn");
    EXPECT_EQ(fields.zone, "MyZone");
    EXPECT_EQ(fields.file, "my_file.c");
    EXPECT_EQ(fields.function, "my_function");
    EXPECT_EQ(fields.line, 4711);
    EXPECT_EQ(fields.message, "text and -42");
}

TEST(CommonLogWrite, TimeProcessAndThreadAreThoseOfTheCall)
{
    const auto now_text = [] {
        char text[16];
        const std::time_t now = std::time(nullptr);
        std::tm local{};
        std::strftime(text, sizeof text, "%T", localtime_r(&now, &local));
        return std::string(text);
    };
    const Outcome outcome = well([now_text] {
        std::printf("%s %d %d", now_text().c_str(), getpid(), gettid());
        std::fflush(stdout);
        log_message(COMMON_LogLevelInfo, "now");
        std::printf(" %s", now_text().c_str());
    });
    ASSERT_THAT(outcome.log, SizeIs(1));
    const LayoutFields fields = fields_of(outcome.log[0]);
    std::istringstream said(outcome.out);
    std::string before, after;
    int pid = 0, tid = 0;
    said >> before >> pid >> tid >> after;
    EXPECT_THAT(fields.time, testing::AnyOf(before, after));
    EXPECT_EQ(fields.pid, pid);
    EXPECT_EQ(fields.tid, tid);
}

TEST(CommonLogWrite, EachLevelHasItsTextAndPriority)
{
    const Outcome outcome = well([] {
        COMMON_Log_LevelSet(COMMON_LogLevelVerbose);
        for (COMMON_LogLevel_t level = 0; level <= 7; ++level) {
            log_message(level, "level %u", level);
        }
    });
    const auto line = [](COMMON_LogLevel_t level, int number) {
        return said(level, "level " + std::to_string(number));
    };
    EXPECT_THAT(outcome.log, ElementsAre(line(0, 0), line(1, 1), line(2, 2), line(3, 3), line(4, 4),
                                         line(5, 5), line(6, 6), line(7, 7)));
    ASSERT_THAT(outcome.log, SizeIs(8));
    // Once more without the harness's own table.
    constexpr int kPriorities[] = {0, 2, 3, 4, 5, 6, 7, 7};
    for (std::size_t level = 0; level < 8; ++level) {
        EXPECT_EQ(outcome.log[level].priority, kPriorities[level]) << level;
    }
}

TEST(CommonLogWrite, BuiltInHandlerDropsWhatIsNotAcceptable)
{
    const Outcome outcome = well([] {
        log_message(COMMON_LogLevelInfo, "info");
        log_message(COMMON_LogLevelDebug, "debug");
        log_message(COMMON_LogLevelVerbose, "verbose");
        log_message(8, "eight");
        log_message(~0u, "negative");
        COMMON_Log_LevelSet(COMMON_LogLevelDebug);
        log_message(COMMON_LogLevelDebug, "debug again");
        COMMON_Log_EnableSet(0);
        log_message(COMMON_LogLevelFatal, "disabled");
        COMMON_Log_EnableSet(1);
        log_message(COMMON_LogLevelFatal, "enabled");
    });
    EXPECT_THAT(outcome.log, ElementsAre(said(kInfo, "info"), said(kDebug, "debug again"),
                                         said(kFatal, "enabled")));
}

TEST(CommonLogWrite, ZoneNumberIsNowhere)
{
    for (const std::uint32_t zone : {0u, kZoneNumber, 987654321u, ~0u}) {
        const Single single = single_record(
            [zone] { COMMON_Log_Write(COMMON_LogLevelInfo, zone, "Z", "f", "g", 1, "m"); });
        const LayoutFields fields = single.fields;
        EXPECT_EQ(fields.zone, "Z");
        EXPECT_EQ(fields.message, "m");
        if (zone > 100'000) {
            EXPECT_THAT(single.record.raw, Not(HasSubstr(std::to_string(zone))));
        }
    }
}

TEST(CommonLogWrite, StripCutsTheFileAtItsLastSlash)
{
    const struct {
        std::uint32_t strip;
        const char* file;
        const char* shown;
    } kCases[] = {
        {1, "plain.c", "plain.c"},
        {1, "a/b/c.cpp", "c.cpp"},
        {1, "/abs/path.c", "path.c"},
        {1, "ends/with/", ""},
        {1, "/", ""},
        {1, "", ""},
        {1, "back\\slash.c", "back\\slash.c"},
        {0, "a/b/c.cpp", "a/b/c.cpp"},
        {0, "ends/with/", "ends/with/"},
        {2, "a/b.c", "a/b.c"},
    };
    for (const auto& test : kCases) {
        const Single single = single_record([&] {
            COMMON_Log_StripSet(test.strip);
            COMMON_Log_Write(COMMON_LogLevelInfo, kZoneNumber, "Z", test.file, "g", 1, "m");
        });
        EXPECT_EQ(single.fields.file, test.shown) << test.file << " " << test.strip;
    }
}

TEST(CommonLogWrite, NullTextsAreEmptyFields)
{
    const Single single = single_record([] {
        COMMON_Log_Write(COMMON_LogLevelInfo, kZoneNumber, nullptr, nullptr, nullptr, 0, "m");
    });
    EXPECT_EQ(single.report, said(kInfo, "", "", "", "m"));
    EXPECT_EQ(single.fields.line, 0);
}

TEST(CommonLogWrite, NullTextsAreEmptyFieldsUnstripped)
{
    const Single single = single_record([] {
        COMMON_Log_StripSet(0);
        COMMON_Log_Write(COMMON_LogLevelInfo, kZoneNumber, nullptr, nullptr, nullptr, 0, "m");
    });
    EXPECT_EQ(single.report, said(kInfo, "", "", "", "m"));
}

TEST(CommonLogWrite, NullFormatIsAnEmptyMessage)
{
    EXPECT_EQ(single_record(write_null_format).report, said(kError, ""));
}

TEST(CommonLogWrite, NullFormatOfTheListFormWritesNothing)
{
    const Outcome outcome = well([] {
        write_list_null_format(0);
        log_message(COMMON_LogLevelError, "next");
    });
    EXPECT_THAT(outcome.log, ElementsAre(said(kError, "next")));
}

TEST(CommonLogWrite, MessageIsCutAt1023)
{
    for (const std::size_t length : {0u, 1u, 1022u, 1023u, 1024u, 1025u, 5000u}) {
        const std::string text(length, 'x');
        const Single single = single_record([&] {
            COMMON_Log_Write(COMMON_LogLevelInfo, kZoneNumber, "Z", "f", "g", 1, "%s",
                             text.c_str());
        });
        EXPECT_EQ(single.fields.message, text.substr(0, 1023)) << length;
    }
}

TEST(CommonLogWrite, MessageOfTheNextCallReplacesTheLast)
{
    const Outcome outcome = well([] {
        log_message(COMMON_LogLevelInfo, "a long first message");
        log_message(COMMON_LogLevelInfo, "short");
        log_message(COMMON_LogLevelInfo, "%s", "");
    });
    EXPECT_THAT(outcome.log, ElementsAre(said(kInfo, "a long first message"), said(kInfo, "short"),
                                         said(kInfo, "")));
}

TEST(CommonLogWrite, PercentSignsOfValuesAreNoFormats)
{
    const Single single = single_record([] {
        COMMON_Log_Write(COMMON_LogLevelInfo, kZoneNumber, "%s%n", "%d", "%n", 1, "%s", "100%s%n");
    });
    EXPECT_EQ(single.report, said(kInfo, "%s%n", "%d", "%n", "100%s%n"));
}

TEST(CommonLogFatal, IsEchoedWithTheValuesThatTheCallerGave)
{
    const std::string longer(2000, 'x');
    const Outcome outcome = well({.env = kDebugOn}, [&] {
        COMMON_Log_Write(COMMON_LogLevelFatal, kZoneNumber, "ZONE", "dir/file.c", "function", 77,
                         "%s %d %s", "text", 42, longer.c_str());
    });
    const std::string message = "text 42 " + longer;
    EXPECT_THAT(outcome.log,
                ElementsAre(said(kFatal, "ZONE", "file.c", "function", message.substr(0, 1023))));
    // Whole: only the record's message is limited.
    const auto rows = row_texts(outcome.err);
    EXPECT_THAT(rows, Contains(RowText{"stderr", "file.c", "function", message}).Times(1));
    EXPECT_EQ(debug_rows(outcome.err).back().line, 77u);
}

TEST(CommonLogFatal, EchoShowsTheWholeFileWhenNothingIsStripped)
{
    const Outcome outcome = well({.env = kDebugOn}, [] {
        COMMON_Log_StripSet(0);
        COMMON_Log_Write(COMMON_LogLevelFatal, kZoneNumber, "Z", "dir/file.c", "function", 1, "m");
    });
    EXPECT_THAT(row_texts(outcome.err),
                Contains(RowText{"stderr", "dir/file.c", "function", "m"}).Times(1));
}

TEST(CommonLogFatal, IsNotEchoedWhileDebugOutputIsOff)
{
    const Outcome outcome = well([] { log_message(COMMON_LogLevelFatal, "m"); });
    EXPECT_THAT(outcome.log, ElementsAre(said(kFatal, "m")));
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.out, "");
}

TEST(CommonLogFatal, OtherLevelsAreNotEchoed)
{
    const Outcome outcome = well({.env = kDebugOn}, [] {
        COMMON_Log_LevelSet(COMMON_LogLevelVerbose);
        for (COMMON_LogLevel_t level = 1; level <= 7; ++level) {
            log_message(level, "not echoed");
        }
    });
    EXPECT_THAT(outcome.log, SizeIs(7));
    EXPECT_THAT(outcome.err, Not(HasSubstr("not echoed")));
    EXPECT_THAT(outcome.out, Not(HasSubstr("not echoed")));
}

TEST(CommonLogFatal, NotAcceptableIsNotEchoedEither)
{
    const Outcome outcome = well({.env = kDebugOn}, [] {
        COMMON_Log_EnableSet(0);
        log_message(COMMON_LogLevelFatal, "disabled");
    });
    EXPECT_THAT(outcome.log, IsEmpty());
    EXPECT_THAT(outcome.err, Not(HasSubstr("disabled")));
}

TEST(CommonLogStart, FirstCallOfAnyFunctionInitialisesOnce)
{
    const struct {
        const char* name;
        std::function<void()> call;
    } kFirstCalls[] = {
        {"Acceptable", [] { COMMON_Log_Acceptable(0); }},
        {"Acceptable of a level that never is", [] { COMMON_Log_Acceptable(~0u); }},
        {"Write", [] { COMMON_Log_Write(COMMON_LogLevelError, kZoneNumber, "", "", "", 1, "m"); }},
        {"WriteV", [] { log_message(COMMON_LogLevelError, "m"); }},
        {"WriteV of a dropped level", [] { log_message(COMMON_LogLevelVerbose, "m"); }},
    };
    for (const auto& first : kFirstCalls) {
        SCOPED_TRACE(first.name);
        const Outcome outcome = well({.env = kDebugOn}, [&] {
            first.call();
            first.call();
        });
        const auto rows = row_texts(outcome.out);
        EXPECT_THAT(rows, Contains(log_row("stdout", "threadOnce", "Initializing")).Times(1));
        EXPECT_THAT(rows, Contains(log_row("stdout", "threadOnce", "Initialized")).Times(1));
    }
}

}  // namespace
