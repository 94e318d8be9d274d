// Records are taken apart, whichever log they come from, whichever layout they are in, whatever
// bytes they are.
#include "records/parser.h"

#include <cstdlib>
#include <ctime>
#include <string>
#include <syslog.h>
#include <vector>

#include <gmock/gmock.h>

#include "common_log.h"
#include "fresh_process.h"
#include "records/kept_record.h"
#include "records/levels.h"
#include "records/time_reader.h"

using namespace harness;
using commonctl::JournalField;
using commonctl::JournalFields;
using commonctl::KeptRecord;
using commonctl::kNoTime;
using commonctl::kSecond;
using commonctl::Layout;
using commonctl::Parser;
using commonctl::Record;

namespace {

/// The seconds of 2026-11-22T03:04:05Z, and the same as records show them.
constexpr std::int64_t kMoment = ((std::int64_t{20779} * 24 + 3) * 60 + 4) * 60 + 5;

/// The last 03:04:05 of a November 22: what a date without a year means, but for a day.
std::int64_t last_november_22()
{
    const std::time_t latest = std::time(nullptr) + 86400;
    tm parts{};
    gmtime_r(&latest, &parts);
    parts.tm_mon = 10;
    parts.tm_mday = 22;
    parts.tm_hour = 3;
    parts.tm_min = 4;
    parts.tm_sec = 5;
    std::time_t found = timegm(&parts);
    if (found > latest) {
        --parts.tm_year;
        found = timegm(&parts);
    }
    return found * kSecond;
}

/// A record in each layout, and what it says.
struct Written {
    Layout layout;
    std::string text;
    bool has_moment = true;
    bool has_pid = false;
    bool has_process = false;
    bool has_tid = false;
};

std::vector<Written> written(const std::string& message)
{
    const std::string moment = "20779.03:04:05.000000042";
    return {
        {Layout::Legacy,
         "[" + moment + "] ZONE: Warn (file=file.c,func=function,line=7) " + message},
        {Layout::All,
         "[" + moment +
             "] PID: 12, TID: 13, Proc: own, Level: Warn, Zone: ZONE, File: file.c, Func: "
             "function, Line: 7, Message: " +
             message,
         true, true, true, true},
        {Layout::Columns,
         moment +
             "   13  Warn      ZONE             file.c                          function"
             "                               7  " +
             message,
         true, false, false, true},
        {Layout::Syslogng, "03:04:05, ZONE, 12, Warn, file.c, function 7, " + message, false, true},
        {Layout::Syslogngext,
         "[" + moment + "], ZONE, 12, own, 13, Warn, file.c, function 7, " + message, true, true,
         true, true}};
}

KeptRecord parsed(const std::string& line)
{
    Parser parser;
    Record record;
    parser.parse_line(line, record);
    return KeptRecord(record);
}

/// What a line's prefix says of a record, where the record does not say it itself.
struct Said {
    std::string process{};
    std::int64_t pid = -1;
    std::int64_t time_ns = kNoTime;
    std::string host{};
    int priority = -1;
};

void check(const Record& record, const Written& wanted, const std::string& message,
           const Said& said)
{
    EXPECT_EQ(record.layout, wanted.layout);
    EXPECT_EQ(record.zone, "ZONE");
    EXPECT_EQ(record.level, COMMON_LogLevelWarn);
    EXPECT_EQ(record.file, "file.c");
    EXPECT_EQ(record.function, "function");
    EXPECT_EQ(record.line, 7);
    EXPECT_EQ(record.message, message);
    EXPECT_EQ(record.pid, wanted.has_pid ? 12 : said.pid);
    EXPECT_EQ(record.tid, wanted.has_tid ? 13 : -1);
    EXPECT_EQ(record.process, wanted.has_process ? "own" : said.process);
    EXPECT_EQ(record.time_ns, wanted.has_moment ? kMoment * kSecond + 42 : said.time_ns);
    EXPECT_EQ(record.host, said.host);
    EXPECT_EQ(record.priority, said.priority);
}

void check_each_layout(const std::string& prefix, const Said& said)
{
    for (const std::string message : {"a, b: (c) [d] #1", ""}) {
        for (const Written& wanted : written(message)) {
            SCOPED_TRACE(prefix + wanted.text);
            const KeptRecord kept = parsed(prefix + wanted.text);
            check(kept.record(), wanted, message, said);
            EXPECT_EQ(kept.record().raw, prefix + wanted.text);
        }
    }
}

TEST(RecordParser, FindsEachLayoutInABareRecord)
{
    setenv("TZ", "UTC", 1);
    check_each_layout("", {});
}

TEST(RecordParser, FindsEachLayoutInALogFile)
{
    setenv("TZ", "UTC", 1);
    const std::int64_t then = kMoment * kSecond;
    const std::int64_t last = last_november_22();
    check_each_layout("Nov 22 03:04:05 host program[99]: ", {"program", 99, last, "host"});
    check_each_layout("Nov 22 03:04:05 host program: ", {"program", -1, last, "host"});
    check_each_layout("Nov 22 03:04:05 program[99]: ", {"program", 99, last});
    check_each_layout("2026-11-22T03:04:05.5+00:00 host program[99]: ",
                      {"program", 99, then + kSecond / 2, "host"});
    check_each_layout("2026-11-22T05:04:05.123456+02:00 host program: ",
                      {"program", -1, then + 123'456'000, "host"});
    check_each_layout("2026-11-22T03:04:05Z host pro[g]ram[x]: ",
                      {"pro[g]ram[x]", -1, then, "host"});
}

TEST(RecordParser, FindsEachLayoutBehindAPriority)
{
    setenv("TZ", "UTC", 1);
    const std::int64_t then = kMoment * kSecond;
    check_each_layout("<12>Nov 22 03:04:05 program[99]: ",
                      {"program", 99, last_november_22(), "", LOG_WARNING});
    check_each_layout("<12>1 2026-11-22T03:04:05.25Z host program 99 - - ",
                      {"program", 99, then + kSecond / 4, "host", LOG_WARNING});
    check_each_layout("<12>1 2026-11-22T03:04:05Z - - - id [a@1 b=\"]\\\"\"][c] \xef\xbb\xbf",
                      {"", -1, then, "", LOG_WARNING});
    check_each_layout("<12>1 2026-11-22T03:04:05Z host program - - -  ",
                      {"program", -1, then, "host", LOG_WARNING});
    check_each_layout("<12>1 - host program 99 - - ",
                      {"program", 99, kNoTime, "host", LOG_WARNING});
    check_each_layout("<191>", {"", -1, kNoTime, "", LOG_DEBUG});
}

TEST(RecordParser, FindsEachLayoutInWhatListenPrints)
{
    setenv("TZ", "UTC", 1);
    check_each_layout("warning program: ", {"program", -1, kNoTime, "", LOG_WARNING});
    check_each_layout("err     program[5]: ", {"program", 5, kNoTime, "", LOG_ERR});
}

TEST(RecordParser, FindsEachLayoutInADatagramWhoseEndIsTheTransports)
{
    setenv("TZ", "UTC", 1);
    for (const Written& wanted : written("#011 is no tab")) {
        for (const std::string& end : {std::string(), std::string("\n"), std::string("\0", 1)}) {
            const std::string datagram = "<12>Nov 22 03:04:05 program: " + wanted.text + end;
            Parser parser;
            Record record;
            parser.parse_datagram(datagram, record);
            check(record, wanted, "#011 is no tab",
                  {"program", -1, last_november_22(), "", LOG_WARNING});
        }
    }
}

TEST(RecordParser, FindsEachLayoutInAnEntryOfTheJournal)
{
    setenv("TZ", "UTC", 1);
    for (const std::string message : {"text", ""}) {
        for (const Written& wanted : written(message)) {
            JournalFields fields;
            // The journal keeps no blanks at the end.
            auto& text = fields[JournalField::Message];
            text = wanted.text.substr(0, wanted.text.find_last_not_of(' ') + 1);
            fields[JournalField::Priority] = "4";
            fields[JournalField::Command] = "program";
            fields[JournalField::Pid] = "99";
            fields[JournalField::Host] = "host";
            fields[JournalField::JournalTime] = std::to_string(kMoment * 1'000'000 + 7);
            Parser parser;
            Record record;
            parser.parse_entry(fields, record);
            check(record, wanted, message,
                  {"program", 99, kMoment * kSecond + 7000, "host", LOG_WARNING});
        }
    }
}

TEST(RecordParser, JournalsBetterFieldsAreTaken)
{
    JournalFields fields;
    fields[JournalField::Message] = "a line  of another program";
    fields[JournalField::Identifier] = "identifier";
    fields[JournalField::Command] = "command";
    fields[JournalField::SyslogPid] = "1";
    fields[JournalField::Pid] = "2";
    fields[JournalField::SourceTime] = "3";
    fields[JournalField::JournalTime] = "4";
    fields[JournalField::Priority] = "3";
    Parser parser;
    Record record;
    parser.parse_entry(fields, record);
    EXPECT_EQ(record.layout, Layout::Foreign);
    EXPECT_EQ(record.message, "a line  of another program");
    EXPECT_EQ(record.raw, record.message);
    EXPECT_EQ(record.process, "identifier");
    EXPECT_EQ(record.pid, 1);
    EXPECT_EQ(record.time_ns, 3000);
    EXPECT_EQ(record.level, COMMON_LogLevelError);

    for (const char* number : {"", "x", "-1", "8", "99999999999999999999", "1 "}) {
        fields[JournalField::Priority] = number;
        fields[JournalField::SourceTime] = "9223372036854775807";
        parser.parse_entry(fields, record);
        EXPECT_EQ(record.priority, -1) << number;
        EXPECT_EQ(record.time_ns, kNoTime);
    }
}

TEST(RecordParser, EscapesOfTheDaemonAreUndone)
{
    const auto message_of = [](const std::string& text) {
        return std::string(parsed("Nov 22 03:04:05 host program: " + text).record().message);
    };
    EXPECT_EQ(message_of("a#011b#012c#177"), "a\tb\nc\x7f");
    EXPECT_EQ(message_of("#012and"), "\nand");
    EXPECT_EQ(message_of("[20779.03:04:05.000000042], Z#011, 1, p, 1, Info, f, g 1, m#033[1m"),
              "m\033[1m");
    // Colors, and what is no control character or no number.
    for (const char* text : {"#012345", "#0120ff80", "#000000", "#101", "#000", "#01", "#", "#08",
                             "#189", "# 12", "no escape"}) {
        EXPECT_EQ(message_of(text), text);
    }
    EXPECT_EQ(parsed("#011 in a bare line").record().message, "#011 in a bare line");
}

TEST(RecordParser, LinesOfOthersAreForeign)
{
    setenv("TZ", "UTC", 1);
    const KeptRecord kept = parsed("Nov 22 03:04:05 host daemon[4711]: started, 5 left");
    const Record& record = kept.record();
    EXPECT_EQ(record.layout, Layout::Foreign);
    EXPECT_EQ(record.message, "started, 5 left");
    EXPECT_EQ(record.process, "daemon");
    EXPECT_EQ(record.pid, 4711);
    EXPECT_EQ(record.host, "host");
    EXPECT_EQ(record.time_ns, last_november_22());
    EXPECT_EQ(record.level, -1);
    EXPECT_EQ(record.tid, -1);
    EXPECT_EQ(record.line, -1);

    EXPECT_EQ(parsed("<27>Nov 22 03:04:05 daemon: text").record().level, COMMON_LogLevelError);
    EXPECT_EQ(parsed("Nov 22 03:04:05 host text").record().message, "text");
    EXPECT_EQ(parsed("Nov 22 03:04:05 host").record().message, "host");
    EXPECT_EQ(parsed("Nov 22 03:04:05 host daemon:").record().message, "");
    EXPECT_EQ(parsed("Nov 22 03:04:05 host daemon:").record().process, "daemon");
    EXPECT_EQ(parsed("Nov 22 03:04:05 host d[0123456789]: m").record().process, "d[0123456789]");
}

TEST(RecordParser, WhatFitsNowhereIsTheMessageOfAForeignRecord)
{
    const char* const large_pid =
        "[20779.03:04:05.000000042] PID: 4294967296, TID: 1, Proc: p, Level: Info, Zone: z, "
        "File: f, Func: g, Line: 1, Message: m";
    const char* const negative_pid =
        "[20779.03:04:05.000000042] PID: -1, TID: 1, Proc: p, Level: Info, Zone: z, File: f, "
        "Func: g, Line: 1, Message: m";
    for (const std::string line :
         {"",
          " ",
          "[",
          "[]",
          "[] ",
          "<",
          "<>",
          "<12",
          "<192>",
          "<-1>x",
          "<99999>x",
          "<12>1 ",
          "<12>1 - h p 1 id",
          "<12>1 - h p 1 id [a b=\"]\" m",
          "1",
          "12:",
          "123.",
          "2026-13-22T03:04:05Z host p: m",
          "2026-11-22T03:04:05 host p: m",
          "2026-02-29T03:04:05Z host p: m",
          "1969-12-31T03:04:05Z h p: m",
          "Nov 22 24:04:05 h p: m",
          "2262-01-01T00:00:00Z h p: m",
          "2026-11-22T03:04:05+0:00 h p: m",
          "[20779.3:04:05.000000042], Z, 1, p, 1, Info, f, g 1, m",
          "[20779.03:04:05.000000042], Z, 1, p, 1, Loud, f, g 1, m",
          "[20779.03:04:05.000000042], Z, 1, p, 1, , f, g 1, m",
          "[20779.03:04:05.000000042], Z, 1, p, 1, Infos, f, g 1, m",
          "[-20779.03:04:05.000000042], Z, 1, p, 1, Info, f, g 1, m",
          "[20779.03:04:05.000000042], Z, 2147483648, p, 1, Info, f, g 1, m",
          "[20779.03:04:05.000000042], Z, 1, p, 1, Info, f, g 99999999999999999999, m",
          large_pid,
          negative_pid}) {
        const KeptRecord kept = parsed(line);
        EXPECT_EQ(kept.record().layout, Layout::Foreign) << line;
        EXPECT_EQ(kept.record().raw, line);
        if (!line.starts_with("<12>")) {
            EXPECT_EQ(kept.record().message, line);
        }
    }
    EXPECT_EQ(parsed("<12>1 ").record().message, "1 ");
}

TEST(RecordParser, BytesOfAllKindsAreKept)
{
    const std::string message("a\0b\xff\xfe\r\x1b[2J", 10);
    for (const Written& wanted : written(message)) {
        const KeptRecord kept = parsed(wanted.text);
        EXPECT_EQ(kept.record().layout, wanted.layout);
        EXPECT_EQ(kept.record().message, message);
    }
    // A NUL where a number should be.
    EXPECT_EQ(parsed(std::string("[2077\0", 6) + "9.03:04:05.000000042], Z, 1, p").record().layout,
              Layout::Foreign);
}

TEST(RecordParser, DaysThatNoInstantHasAreTheLogs)
{
    setenv("TZ", "UTC", 1);
    const std::string text = "[4294967295.03:04:05.000000042], Z, 1, p, 1, Info, f, g 1, m";
    EXPECT_EQ(parsed(text).record().layout, Layout::Syslogngext);
    EXPECT_EQ(parsed(text).record().time_ns, kNoTime);
    EXPECT_EQ(parsed("2026-11-22T03:04:05Z host p: " + text).record().time_ns, kMoment * kSecond);
}

TEST(RecordLevels, HaveTheLibrarysTextsAndSyslogsNames)
{
    for (COMMON_LogLevel_t level = 0; level <= COMMON_LogLevelVerbose; ++level) {
        const char* const text = COMMON_LogLevel_ToString(level);
        EXPECT_EQ(commonctl::level_of_text(text), static_cast<int>(level));
        EXPECT_EQ(commonctl::level_of_name(text), static_cast<int>(level));
        EXPECT_EQ(commonctl::level_text(static_cast<int>(level)), text);
    }
    EXPECT_EQ(commonctl::level_of_name("WARNING"), COMMON_LogLevelWarn);
    EXPECT_EQ(commonctl::level_of_name("emerg"), COMMON_LogLevelFatal);
    EXPECT_EQ(commonctl::level_of_name("alert"), COMMON_LogLevelCritical);
    EXPECT_EQ(commonctl::level_of_name("crit"), COMMON_LogLevelCritical);
    EXPECT_EQ(commonctl::level_of_name("err"), COMMON_LogLevelError);
    EXPECT_EQ(commonctl::level_of_name("notice"), COMMON_LogLevelNote);
    EXPECT_EQ(commonctl::level_of_name("verbose"), COMMON_LogLevelVerbose);
    for (const char* name : {"", "w", "Warning ", "loud", "5"}) {
        EXPECT_EQ(commonctl::level_of_name(name), -1) << name;
    }
    EXPECT_EQ(commonctl::level_of_priority(LOG_ALERT), COMMON_LogLevelCritical);
    EXPECT_EQ(commonctl::level_of_priority(-1), -1);
    EXPECT_EQ(commonctl::level_of_priority(8), -1);
    EXPECT_EQ(commonctl::level_text(-1), "");
    EXPECT_EQ(commonctl::level_text(8), "");
}

}  // namespace
