// Datagrams and the texts of the five layouts are taken apart, and what is neither is noticed.
#include "log_record.h"

#include <cerrno>
#include <filesystem>
#include <sstream>
#include <string>
#include <syslog.h>
#include <system_error>
#include <utility>

#include <gmock/gmock.h>

#include "fresh_process.h"
#include "log_layout.h"
#include "log_socket.h"

using namespace harness;

namespace {

TEST(LogRecord, DatagramIsTakenApart)
{
    const LogRecord record = parse_datagram("<12>Jan  2 03:04:05 program: text: [1] of it\n");
    EXPECT_TRUE(record.valid);
    EXPECT_EQ(record.facility, LOG_USER);
    EXPECT_EQ(record.priority, LOG_WARNING);
    EXPECT_EQ(record.timestamp, "Jan  2 03:04:05");
    EXPECT_EQ(record.identity, "program");
    EXPECT_EQ(record.process, -1);
    EXPECT_EQ(record.text, "text: [1] of it");
    EXPECT_EQ(record.raw, "<12>Jan  2 03:04:05 program: text: [1] of it\n");
}

TEST(LogRecord, ProcessInBracketsIsTakenApart)
{
    const LogRecord record = parse_datagram("<30>Dec 31 23:59:59 daemon[4711]: ");
    EXPECT_TRUE(record.valid);
    EXPECT_EQ(record.facility, LOG_DAEMON);
    EXPECT_EQ(record.identity, "daemon");
    EXPECT_EQ(record.process, 4711);
    EXPECT_EQ(record.text, "");
}

TEST(LogRecord, OtherDatagramsAreInvalidAndKept)
{
    for (const std::string raw :
         {"", "<", "<12", "<x>Jan  2 03:04:05 program: text", "<12>", "<12>Jan  2 03:04:05",
          "<12>Jan  2 03:04:05 program", "<12>Jan  2 03:04:05 program[x]: text",
          "<12>Jan  2 03:04:05 program[1: text", "<12>Jan  2 03:04:05 program:text"}) {
        const LogRecord record = parse_datagram(raw);
        EXPECT_FALSE(record.valid) << raw;
        EXPECT_EQ(record.text, raw);
        EXPECT_EQ(record.priority, -1) << raw;
        EXPECT_EQ(record.identity, "") << raw;
    }
}

TEST(LogRecord, PrioritiesHaveNames)
{
    EXPECT_STREQ(priority_name(LOG_EMERG), "emerg");
    EXPECT_STREQ(priority_name(LOG_WARNING), "warning");
    EXPECT_STREQ(priority_name(LOG_DEBUG), "debug");
    EXPECT_STREQ(priority_name(-1), "?");
    EXPECT_STREQ(priority_name(8), "?");
}

TEST(LogLayout, Legacy)
{
    const LayoutFields expected{.day = 7,
                                .time = "03:04:05",
                                .nanoseconds = 42,
                                .level = "Warn",
                                .zone = "ZONE",
                                .file = "file.c",
                                .function = "function",
                                .line = -3,
                                .message = "all (of) it"};
    EXPECT_EQ(
        parse_legacy("[007.03:04:05.000000042] ZONE: Warn (file=file.c,func=function,line=-3) "
                     "all (of) it"),
        expected);
}

TEST(LogLayout, All)
{
    const LayoutFields expected{.day = 20000,
                                .time = "03:04:05",
                                .nanoseconds = 999999999,
                                .pid = 12,
                                .tid = 13,
                                .process = "process",
                                .level = "Info",
                                .zone = "",
                                .file = "file.c",
                                .function = "function",
                                .line = 4294967295,
                                .message = ""};
    EXPECT_EQ(parse_all("[20000.03:04:05.999999999] PID: 12, TID: 13, Proc: process, Level: Info, "
                        "Zone: , File: file.c, Func: function, Line: 4294967295, Message: "),
              expected);
}

TEST(LogLayout, ColumnsFilledUp)
{
    const LayoutFields expected{.day = 20000,
                                .time = "03:04:05",
                                .nanoseconds = 1,
                                .tid = 7,
                                .level = "Error",
                                .zone = "Z",
                                .file = "file.c",
                                .function = "function",
                                .line = 12,
                                .message = "  two blanks"};
    EXPECT_EQ(
        parse_columns("20000.03:04:05.000000001    7  Error     Z                file.c       "
                      "                   function                              12    two blanks"),
        expected);
}

TEST(LogLayout, ColumnsOverfull)
{
    const std::string longer(40, 'x');
    const LayoutFields expected{.day = 20000,
                                .time = "03:04:05",
                                .nanoseconds = 1,
                                .tid = 123456,
                                .level = "Critical",
                                .zone = longer,
                                .file = longer,
                                .function = longer,
                                .line = 123456,
                                .message = "m"};
    EXPECT_EQ(parse_columns("20000.03:04:05.000000001   123456  Critical  " + longer + "  " +
                            longer + "  " + longer + "  123456  m"),
              expected);
}

TEST(LogLayout, Syslogng)
{
    const LayoutFields expected{.time = "03:04:05",
                                .pid = 12,
                                .level = "Fatal",
                                .zone = "ZONE",
                                .file = "file.c",
                                .function = "operator new",
                                .line = 5,
                                .message = "a, b"};
    EXPECT_EQ(parse_syslogng("03:04:05, ZONE, 12, Fatal, file.c, operator new 5, a, b"), expected);
}

TEST(LogLayout, Syslogngext)
{
    const LayoutFields expected{.day = 123,
                                .time = "03:04:05",
                                .nanoseconds = 5,
                                .pid = 12,
                                .tid = 13,
                                .process = "process",
                                .level = "Note",
                                .zone = "",
                                .file = "file.c",
                                .function = "",
                                .line = -1,
                                .message = "a\nb"};
    EXPECT_EQ(
        parse_syslogngext("[123.03:04:05.000000005], , 12, process, 13, Note, file.c,  -1, a\nb"),
        expected);
}

TEST(LogLayout, WhatDiffersIsRefused)
{
    EXPECT_EQ(parse_legacy(""), std::nullopt);
    // A day and nanoseconds that are not filled up.
    EXPECT_EQ(parse_syslogngext("[12.03:04:05.000000005], Z, 1, p, 1, Note, f, g 1, m"),
              std::nullopt);
    EXPECT_EQ(parse_syslogngext("[123.03:04:05.5], Z, 1, p, 1, Note, f, g 1, m"), std::nullopt);
    // Numbers that are out of the type's range.
    EXPECT_EQ(parse_syslogngext("[123.03:04:05.000000005], Z, 2147483648, p, 1, Note, f, g 1, m"),
              std::nullopt);
    EXPECT_EQ(parse_syslogngext("[-123.03:04:05.000000005], Z, 1, p, 1, Note, f, g 1, m"),
              std::nullopt);
    // No number, a missing field, a missing blank.
    EXPECT_EQ(parse_syslogngext("[123.03:04:05.000000005], Z, x, p, 1, Note, f, g 1, m"),
              std::nullopt);
    EXPECT_EQ(parse_syslogngext("[123.03:04:05.000000005], Z, 1, p, 1, Note, f, g, m"),
              std::nullopt);
    EXPECT_EQ(parse_syslogng("03:04:05, ZONE, 12, Fatal, file.c, function 5,m"), std::nullopt);
    // Columns that are too narrow, or filled up where there is no need.
    EXPECT_EQ(parse_columns("20000.03:04:05.000000001   7  Error     Z                file.c       "
                            "                   function                              12  m"),
              std::nullopt);
    EXPECT_EQ(parse_columns("20000.03:04:05.000000001     7  Error     Z                file.c     "
                            "                     function                              12  m"),
              std::nullopt);
}

TEST(LogLayout, IsToldByTheBeginning)
{
    constexpr std::pair<const char*, std::optional<LogLayout>> kCases[] = {
        {"[20779.03:04:05.000000042] ZONE: Warn (file=", LogLayout::Legacy},
        {"[20779.03:04:05.000000042] PID: Warn (file=", LogLayout::Legacy},
        {"[20779.03:04:05.000000042] PID: 12, TID", LogLayout::All},
        {"20779.03:04:05.000000042   12  Warn", LogLayout::Columns},
        {"03:04:05, ZONE, 12", LogLayout::Syslogng},
        {"[20779.03:04:05.000000042], ZONE, 12", LogLayout::Syslogngext},
        {"12", std::nullopt},
        {"a text", std::nullopt},
        {"1 text", std::nullopt}};
    for (const auto& [text, layout] : kCases) {
        EXPECT_EQ(possible_layout(text), layout) << text;
    }
}

TEST(LogLayout, PartsAreOfTheTextThatIsTakenApart)
{
    const std::string_view text =
        "[123.03:04:05.000000005], Z, 12, process, 13, Note, file.c, void f(int, int) 7, text";
    LayoutParts parts;
    ASSERT_TRUE(take_apart(LogLayout::Syslogngext, text, parts));
    EXPECT_EQ(parts.function, "void f(int, int)");
    EXPECT_EQ(parts.line, 7);
    for (const auto part : {parts.time, parts.zone, parts.process, parts.level, parts.file,
                            parts.function, parts.message}) {
        EXPECT_GE(part.data(), text.data());
        EXPECT_LE(part.data() + part.size(), text.data() + text.size());
    }
}

TEST(LogRecord, IsShownWithItsPriorityOrAsItIs)
{
    const auto shown = [](const auto& value) { return (std::ostringstream() << value).str(); };
    EXPECT_EQ(shown(parse_datagram("<12>Jan  2 03:04:05 program: text")),
              "<warning> program: text");
    EXPECT_EQ(shown(parse_datagram("no record")), "<?> no record");
    const auto fields = parse_syslogng("03:04:05, ZONE, 12, Warn, file.c, function 7, text");
    ASSERT_TRUE(fields);
    EXPECT_EQ(shown(*fields), "{day=-1 time=03:04:05 nanoseconds=-1 pid=12 tid=-1 process= "
                              "level=Warn zone=ZONE file=file.c function=function line=7 "
                              "message=text}");
}

FRESH_TEST(LogSocket, MayBeMoved)
{
    LogSocket first;
    const int fd = first.fd();
    LogSocket second(std::move(first));
    EXPECT_EQ(second.fd(), fd);
    LogSocket third;
    third = std::move(second);
    EXPECT_EQ(third.fd(), fd);
}

TEST(LogSocket, RecordsArriveInOrder)
{
    well({.open_log_socket = false}, [] {
        LogSocket socket;
        socket.bind_at();
        EXPECT_EQ(socket.receive(), std::nullopt);
        syslog(LOG_USER | LOG_INFO, "first");
        syslog(LOG_USER | LOG_ERR, "second");
        const auto records = socket.receive_all();
        ASSERT_EQ(records.size(), 2u);
        EXPECT_EQ(records[0].text, "first");
        EXPECT_EQ(records[1].text, "second");
        EXPECT_EQ(socket.receive(), std::nullopt);
    });
}

FRESH_TEST(LogSocket, BoundPathIsRefused)
{
    LogSocket socket;
    EXPECT_THROW(socket.bind_at(), std::system_error);
    EXPECT_THROW(socket.bind_at("/tmp/" + std::string(200, 'x')), std::system_error);
}

}  // namespace
