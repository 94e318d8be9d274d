// How a record is composed: the five layouts against the C library's own formatting, the widths of
// the columns, and records that are longer than the buffer they are usually made in.
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <limits>
#include <optional>
#include <random>
#include <string>
#include <unistd.h>
#include <vector>

#include "common_log_settings.h"
#include "log/common_log_layout.h"
#include "log/logger.h"
#include "log_calls.h"

namespace {

using namespace harness;
using testing::ElementsAre;
using testing::SizeIs;

/// The fields of a record as their owners have them.
struct Fields {
    unsigned day;
    std::string time;
    unsigned nanoseconds;
    unsigned process_id;
    unsigned thread_id;
    std::string process_name;
    std::string level;
    std::string zone;
    std::string file;
    std::string function;
    int line;
    std::string message;
};

COMMON_PRINTF(1, 2)
std::string formatted(const char* format, ...)
{
    char text[20'000];
    va_list args;
    va_start(args, format);
    const int length = std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    EXPECT_LT(length, static_cast<int>(sizeof text));
    return text;
}

std::string legacy(const Fields& f)
{
    return formatted("[%03u.%s.%09u] %s: %s (file=%s,func=%s,line=%d) %s", f.day, f.time.c_str(),
                     f.nanoseconds, f.zone.c_str(), f.level.c_str(), f.file.c_str(),
                     f.function.c_str(), f.line, f.message.c_str());
}

std::string all(const Fields& f)
{
    return formatted("[%03u.%s.%09u] PID: %u, TID: %u, Proc: %s, Level: %s, Zone: %s, File: %s, "
                     "Func: %s, Line: %u, Message: %s",
                     f.day, f.time.c_str(), f.nanoseconds, f.process_id, f.thread_id,
                     f.process_name.c_str(), f.level.c_str(), f.zone.c_str(), f.file.c_str(),
                     f.function.c_str(), static_cast<unsigned>(f.line), f.message.c_str());
}

std::string columns(const Fields& f)
{
    return formatted("%03u.%s.%09u   %2u  %-8s  %-15s  %-30s  %-34s  %4u  %s", f.day,
                     f.time.c_str(), f.nanoseconds, f.thread_id, f.level.c_str(), f.zone.c_str(),
                     f.file.c_str(), f.function.c_str(), static_cast<unsigned>(f.line),
                     f.message.c_str());
}

std::string syslogng(const Fields& f)
{
    return formatted("%s, %s, %d, %s, %s, %s %d, %s", f.time.c_str(), f.zone.c_str(),
                     static_cast<int>(getpid()), f.level.c_str(), f.file.c_str(),
                     f.function.c_str(), f.line, f.message.c_str());
}

std::string syslogngext(const Fields& f)
{
    return formatted("[%03u.%s.%09u], %s, %d, %s, %d, %s, %s, %s %d, %s", f.day, f.time.c_str(),
                     f.nanoseconds, f.zone.c_str(), static_cast<int>(f.process_id),
                     f.process_name.c_str(), static_cast<int>(f.thread_id), f.level.c_str(),
                     f.file.c_str(), f.function.c_str(), f.line, f.message.c_str());
}

/// Which of the fields a layout shows.
struct Shown {
    bool moment = true;
    bool process_id = true;
    bool thread = true;
    bool process_name = true;
    bool unsigned_line = false;
};

/// What a layout is defined as, how its records are taken apart, and what they show.
struct Layout {
    COMMON_LogFormat_t number;
    std::string (*expected)(const Fields&);
    std::optional<LayoutFields> (*parse)(std::string_view);
    Shown shown;
};

constexpr Layout kDefined[] = {
    {COMMON_LogFormatLegacy,
     legacy,
     parse_legacy,
     {.process_id = false, .thread = false, .process_name = false}},
    {COMMON_LogFormatAll, all, parse_all, {.unsigned_line = true}},
    {COMMON_LogFormatColumns,
     columns,
     parse_columns,
     {.process_id = false, .process_name = false, .unsigned_line = true}},
    {COMMON_LogFormatSyslogng,
     syslogng,
     parse_syslogng,
     {.moment = false, .thread = false, .process_name = false}},
    {COMMON_LogFormatSyslogngext, syslogngext, parse_syslogngext, {}},
};
static_assert(std::size(kDefined) == std::size(common::log::kLayouts));

/// The layout of a number: All for those that are none.
const Layout& layout_of(COMMON_LogFormat_t number)
{
    const auto* const found =
        std::find_if(std::begin(kDefined), std::end(kDefined),
                     [number](const Layout& layout) { return layout.number == number; });
    return found != std::end(kDefined) ? *found : layout_of(COMMON_LogFormatAll);
}

/// What the library composes, and the message; a check fails when it takes more room than it asks
/// for.
std::string composed(COMMON_LogFormat_t format, const Fields& f)
{
    const std::string stamp = formatted("%03u.%s", f.day, f.time.c_str());
    const std::string identity = formatted("%d, %s, %d", static_cast<int>(f.process_id),
                                           f.process_name.c_str(), static_cast<int>(f.thread_id));
    const common::log::RecordFields fields{
        .stamp = stamp,
        .time_of_day = std::string_view(stamp).substr(stamp.size() - f.time.size()),
        .nanoseconds = f.nanoseconds,
        .process_id = f.process_id,
        .thread_id = f.thread_id,
        .identity = identity,
        .process_name = f.process_name,
        .level = f.level,
        .zone = f.zone,
        .file = f.file,
        .function = f.function,
        .line = f.line};
    constexpr char kUntouched = '\x5a';
    // One of it is for the zero at the end.
    const std::size_t capacity = common::log::prefix_capacity(fields) - 1;
    std::vector<char> text(capacity + 16, kUntouched);
    char* const end = common::log::compose_prefix(format, fields, text.data());
    for (auto i = static_cast<std::size_t>(end - text.data()); i < text.size(); ++i) {
        EXPECT_EQ(text[i], kUntouched) << "written beyond the end";
    }
    EXPECT_LE(end, text.data() + capacity);
    return std::string(text.data(), end) + f.message;
}

const Fields kPlain{20778,   "03:04:05", 42,       4711,       4712, "process",
                    "Error", "ZONE",     "file.c", "function", 77,   "a message"};

class Layouts : public testing::TestWithParam<COMMON_LogFormat_t> {};
INSTANTIATE_TEST_SUITE_P(All, Layouts, testing::Values(0u, 1u, 2u, 3u, 4u, 5u, 255u, ~0u));
static_assert(std::size(kDefined) == 5, "and the numbers up to one that is no layout");

TEST_P(Layouts, AreAsFormatted)
{
    EXPECT_EQ(composed(GetParam(), kPlain), layout_of(GetParam()).expected(kPlain));
}

TEST_P(Layouts, HoldAtTheLimitsOfTheNumbers)
{
    constexpr unsigned kMost = std::numeric_limits<unsigned>::max();
    const Fields kCases[] = {
        {0, "", 0, 0, 0, "", "", "", "", "", 0, ""},
        {9, "00:00:00", 9, 9, 9, "p", "l", "z", "f", "g", 9, "m"},
        {99, "00:00:00", 10, 10, 10, "p", "l", "z", "f", "g", 999, "m"},
        {999, "00:00:00", 99'999'999, 99, 99, "p", "l", "z", "f", "g", 1000, "m"},
        {1000, "23:59:59", 999'999'999, 100, 100, "p", "l", "z", "f", "g", 10000, "m"},
        {213503, "23:59:59", 100'000'000, kMost, kMost, "p", "l", "z", "f", "g",
         std::numeric_limits<int>::max(), "m"},
        {1, "23:59:60", 1, 0x80000000u, 0x7fffffffu, "p", "l", "z", "f", "g",
         std::numeric_limits<int>::min(), "m"},
        {1, "23:59:60", 1, 1, 1, "p", "l", "z", "f", "g", -1, "m"},
        {1, "23:59:60", 1, 1, 1, "p", "l", "z", "f", "g", -10, "m"},
    };
    for (const auto& fields : kCases) {
        EXPECT_EQ(composed(GetParam(), fields), layout_of(GetParam()).expected(fields));
    }
}

TEST_P(Layouts, HoldWhateverTheFieldsAre)
{
    std::mt19937 random(1);
    const auto below = [&](unsigned limit) { return static_cast<unsigned>(random() % limit); };
    // Around the widths of the columns more often than elsewhere.
    const auto text = [&](unsigned longest) {
        std::string value(below(longest + 1), ' ');
        for (char& byte : value) {
            byte = static_cast<char>(' ' + below(95));
        }
        return value;
    };
    for (int round = 0; round < 3'000; ++round) {
        const unsigned long_text = below(20) == 0 ? 3'000 : 40;
        // The kernel's are shorter; what stands in for a status file may have a line of 255 bytes.
        const unsigned long_name = below(20) == 0 ? 249 : 16;
        const Fields fields{below(30'000),
                            formatted("%02u:%02u:%02u", below(24), below(60), below(61)),
                            below(1'000'000'000) >> below(30),
                            static_cast<unsigned>(random()) >> below(32),
                            static_cast<unsigned>(random()) >> below(32),
                            text(long_name),
                            text(12),
                            text(long_text),
                            text(long_text),
                            text(long_text),
                            static_cast<int>(static_cast<unsigned>(random()) >> below(32)),
                            text(1023)};
        ASSERT_EQ(composed(GetParam(), fields), layout_of(GetParam()).expected(fields))
            << "round " << round;
    }
}

TEST(CommonLogColumns, AreFilledUpToTheirWidthsAndGrowBeyondThem)
{
    const std::string stamp = "20778.03:04:05.000000042   ";
    Fields fields = kPlain;
    fields.thread_id = 7;
    EXPECT_EQ(composed(COMMON_LogFormatColumns, fields),
              stamp + " 7  Error     ZONE             file.c                  "
                      "        function                              77  "
                      "a message");
    fields = {20778,
              "03:04:05",
              42,
              1,
              12345,
              "p",
              "LevelOver8",
              std::string(15, 'z'),
              std::string(30, 'f'),
              std::string(35, 'g'),
              12345,
              "m"};
    EXPECT_EQ(composed(COMMON_LogFormatColumns, fields),
              stamp + "12345  LevelOver8  " + std::string(15, 'z') + "  " + std::string(30, 'f') +
                  "  " + std::string(35, 'g') + "  12345  m");
}

TEST_P(Layouts, ShowTheCallAndItsProcessAndThread)
{
    const COMMON_LogFormat_t format = GetParam();
    const Outcome outcome = well([&] {
        COMMON_Log_FormatSet(format);
        COMMON_Log_Write(kNote, kZoneNumber, "ZONE", "dir/file.c", "function", -12, "message %d",
                         1);
        std::printf("%d %d", getpid(), gettid());
    });
    ASSERT_THAT(outcome.log, SizeIs(1));
    EXPECT_EQ(outcome.log[0].priority, LOG_NOTICE);
    EXPECT_EQ(outcome.log[0].facility, LOG_USER);
    const auto fields = layout_of(format).parse(outcome.log[0].text);
    ASSERT_TRUE(fields.has_value()) << outcome.log[0];
    const Shown shown = layout_of(format).shown;
    int pid = 0;
    int tid = 0;
    ASSERT_EQ(std::sscanf(outcome.out.c_str(), "%d %d", &pid, &tid), 2);
    EXPECT_EQ(fields->zone, "ZONE");
    EXPECT_EQ(fields->level, "Note");
    EXPECT_EQ(fields->file, "file.c");
    EXPECT_EQ(fields->function, "function");
    EXPECT_EQ(fields->message, "message 1");
    EXPECT_EQ(fields->line, shown.unsigned_line ? 4294967284 : -12);
    EXPECT_EQ(fields->day > 20'000, shown.moment);
    EXPECT_EQ(fields->nanoseconds >= 0, shown.moment);
    EXPECT_EQ(fields->pid, shown.process_id ? pid : -1);
    EXPECT_EQ(fields->tid, shown.thread ? tid : -1);
    EXPECT_EQ(!fields->process.empty(), shown.process_name);
}

TEST_P(Layouts, RecordsLongerThanTheirBufferArriveWhole)
{
    for (const std::size_t length : {500u, 700u, 1000u, 5000u}) {
        const std::string zone(length, 'z');
        const std::string file(length + 1, 'f');
        const std::string function(length + 2, 'g');
        const std::string message(1023, 'm');
        const Outcome outcome = well([&] {
            COMMON_Log_FormatSet(GetParam());
            COMMON_Log_Write(kInfo, kZoneNumber, zone.c_str(), file.c_str(), function.c_str(), 1,
                             "%s", message.c_str());
            COMMON_Log_FormatSet(COMMON_LogFormatSyslogngext);
            log_message(kInfo, "next");
        });
        ASSERT_THAT(outcome.log, SizeIs(2));
        const auto fields = layout_of(GetParam()).parse(outcome.log[0].text);
        ASSERT_TRUE(fields.has_value()) << outcome.log[0];
        EXPECT_EQ(fields->zone, zone);
        EXPECT_EQ(fields->file, file);
        EXPECT_EQ(fields->function, function);
        EXPECT_EQ(fields->message, message);
        EXPECT_EQ(outcome.log[1], said(kInfo, "next"));
    }
}

TEST(CommonLogInternal, LevelAboveSevenIsInvalidAtErrorPriority)
{
    for (const COMMON_LogLevel_t level : {8u, 255u, 0x80000000u, ~0u}) {
        const Outcome outcome = well([level] {
            common::log::logInternal({level, "ZONE", "a/file.c", "function", 1}, "m");
        });
        EXPECT_THAT(outcome.log, ElementsAre(said(level, "ZONE", "file.c", "function", "m")));
    }
}

TEST(CommonLogInternal, DoesNotAskForTheLevel)
{
    const Outcome outcome = well([] {
        COMMON_Log_LevelSet(kFatal);
        common::log::logInternal({kVerbose, nullptr, nullptr, nullptr, 1}, "%d", 5);
    });
    EXPECT_THAT(outcome.log, ElementsAre(said(kVerbose, "", "", "", "5")));
}

TEST(CommonLogInternal, NullFormatStopsTheProcess)
{
    const Outcome outcome = run_fresh([] {
        void (*const log_internal)(const common::log::Call&, const char*, ...) =
            common::log::logInternal;
        log_internal({kError, "", "", "", 1}, nullptr);
    });
    EXPECT_THAT(outcome, killed_by(SIGABRT));
    EXPECT_THAT(outcome.err, assertion_text("common_log", "logInternal", "((void *)0) != format"));
}

TEST(CommonLogInternal, MissingHandlerStopsTheProcess)
{
    const Outcome outcome = run_fresh([] {
        COMMON_Log_LevelGet();
        common::log::logger.handler = nullptr;
        log_message(kError, "m");
    });
    EXPECT_THAT(outcome, killed_by(SIGABRT));
    EXPECT_THAT(outcome.err,
                assertion_text("common_log", "COMMON_Log_WriteV", "0 != logger.handler"));
    EXPECT_THAT(outcome.log, testing::IsEmpty());
}

TEST(CommonLogInternal, BypassesTheInstalledHandler)
{
    const Outcome outcome = well([] {
        COMMON_Log_LevelGet();
        common::log::logger.handler = [](std::int32_t, const char*, const char*, const char*,
                                         std::int32_t, const char*,
                                         va_list) { std::puts("handled"); };
        COMMON_Log_LevelSet(8);
        log_message(kVerbose, "m");  // no level test in front of a handler
    });
    EXPECT_EQ(outcome.out, "handled\n");
    EXPECT_THAT(outcome.log, ElementsAre(said(kWarn, "COMMON_Log_LevelSet",
                                              "No change due to invalid level: Invalid (8)")));
}

}  // namespace
