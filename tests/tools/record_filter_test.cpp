// Which records are wanted, and the texts that users write that as.
#include "records/filter.h"

#include <cstdlib>
#include <string>
#include <utility>

#include <gmock/gmock.h>

#include "common_log.h"
#include "records/pattern.h"
#include "records/time_text.h"
#include "usage.h"

using namespace commonctl;
using testing::HasSubstr;

namespace {

constexpr std::int64_t kSecondNs = 1'000'000'000;

Record record()
{
    Record record;
    record.layout = Layout::Syslogngext;
    record.time_ns = 1000;
    record.pid = 12;
    record.tid = 13;
    record.level = COMMON_LogLevelWarn;
    record.process = "player";
    record.zone = "MEDIA";
    record.file = "src/media/scanner.cpp";
    record.message = "the message";
    return record;
}

Filter with(void (*change)(Filter&))
{
    Filter filter;
    change(filter);
    EXPECT_FALSE(filter.is_empty());
    return filter;
}

TEST(RecordFilter, AnEmptyOneAcceptsAll)
{
    EXPECT_TRUE(Filter().is_empty());
    EXPECT_TRUE(Filter().accepts(record()));
    EXPECT_TRUE(Filter().accepts(Record()));
}

TEST(RecordFilter, EachConditionHolds)
{
    constexpr std::pair<void (*)(Filter&), void (*)(Filter&)> kCases[] = {
        {[](Filter& f) { f.levels = 1u << COMMON_LogLevelWarn; },
         [](Filter& f) { f.levels = ~(1u << COMMON_LogLevelWarn); }},
        {[](Filter& f) { f.patterns.emplace_back("message"); },
         [](Filter& f) { f.patterns.emplace_back("massage"); }},
        {[](Filter& f) { f.zones = {"MEDIA"}; }, [](Filter& f) { f.zones = {"MEDI"}; }},
        {[](Filter& f) { f.processes = {"player"}; }, [](Filter& f) { f.processes = {"play"}; }},
        {[](Filter& f) { f.processes = {"12"}; }, [](Filter& f) { f.processes = {"13"}; }},
        {[](Filter& f) { f.threads = {13}; }, [](Filter& f) { f.threads = {12}; }},
        {[](Filter& f) { f.files = {"scanner.cpp"}; }, [](Filter& f) { f.files = {"canner.cpp"}; }},
        {[](Filter& f) { f.files = {"src/media/scanner.cpp"}; },
         [](Filter& f) { f.files = {"media/scanner.cpp"}; }},
        {[](Filter& f) { f.since_ns = 1000; }, [](Filter& f) { f.since_ns = 1001; }},
        {[](Filter& f) { f.until_ns = 1000; }, [](Filter& f) { f.until_ns = 999; }}};
    for (const auto& [meets, fails] : kCases) {
        const auto at = &meets - &kCases[0].first;
        EXPECT_TRUE(with(meets).accepts(record())) << at;
        EXPECT_FALSE(with(fails).accepts(record())) << at;
        EXPECT_FALSE(with(meets).accepts(Record())) << at << ": what is not told meets nothing";
    }
}

TEST(RecordFilter, ThoseOfOneKindAreAlternativesAndOthersNarrow)
{
    Filter filter;
    filter.zones = {"TUNER", "MEDIA"};
    filter.processes = {"99", "player"};
    filter.threads = {1, 13};
    filter.files = {"other.c", "scanner.cpp"};
    filter.patterns.emplace_back("no such");
    filter.patterns.emplace_back("message");
    EXPECT_TRUE(filter.accepts(record()));
    filter.threads = {1, 2};
    EXPECT_FALSE(filter.accepts(record()));
}

TEST(RecordFilter, LevelsAreOneAndWorseOrARange)
{
    const auto bits = [](int first, int last) {
        std::uint32_t levels = 0;
        for (int level = first; level <= last; ++level) {
            levels |= 1u << level;
        }
        return levels;
    };
    EXPECT_EQ(levels_of_text("warn"), bits(0, 3));
    EXPECT_EQ(levels_of_text("Warning"), bits(0, 3));
    EXPECT_EQ(levels_of_text("Verbose"), bits(0, 7));
    EXPECT_EQ(levels_of_text("emerg"), bits(0, 0));
    EXPECT_EQ(levels_of_text("error..info"), bits(2, 5));
    EXPECT_EQ(levels_of_text("INFO..err"), bits(2, 5));
    EXPECT_EQ(levels_of_text("note..notice"), bits(4, 4));
    for (const char* text : {"", "loud", "..", "warn..", "..warn", "warn..info..note", "4"}) {
        EXPECT_THROW(levels_of_text(text), UsageError) << text;
    }
}

TEST(RecordPattern, PlainTextsAreFound)
{
    EXPECT_TRUE(Pattern("time out").is_in("a time out here"));
    EXPECT_TRUE(Pattern("time out").is_in("A TIME OUT HERE"));
    EXPECT_FALSE(Pattern("time out").is_in("timeout"));
    EXPECT_TRUE(Pattern("Time").is_in("Time out"));
    EXPECT_FALSE(Pattern("Time").is_in("time out"));
    EXPECT_TRUE(Pattern("").is_in(""));
    EXPECT_FALSE(Pattern("x").is_in(""));
    const std::string with_zero("a\0b", 3);
    EXPECT_TRUE(Pattern("b").is_in(with_zero));
}

TEST(RecordPattern, ExpressionsAreMatched)
{
    constexpr struct {
        const char* pattern;
        const char* matches;
        const char* differs;
    } kCases[] = {{"^time ?out$", "Timeout", "a timeout"},
                  {"Time ?out", "Timeout", "timeout"},
                  {"a|b", "xb", "x"},
                  {"(foo|bar) baz", "bar baz", "baz"},
                  {"colou?r", "color", "colr"},
                  {"ab*c", "ac", "ab"},
                  {"ab{0,1}c", "ac", "abbc"},
                  {"ab+c", "abbc", "ac"},
                  {"(abc)?d", "d", "abc"},
                  {"[abc]d", "bd", "d"},
                  {"[]x]d", "]d", "d"},
                  {"[^]x]d", "ad", "]d"},
                  {"[[:digit:]]d", "1d", ":]d"},
                  {"\\d+ms", "12ms", "ms"},
                  {"a\\.b", "a.b", "axb"},
                  {"\\w\\sx", "a x", "ax"},
                  {"[\\]]x", "\\]x", "]x"},
                  {"\\bfoo", "a foo", "afoo"},
                  {"ab)c|d", "xd", "ab"},
                  {"ab+*c", "ac", "ab"}};
    for (const auto& [pattern, matches, differs] : kCases) {
        EXPECT_TRUE(Pattern(pattern).is_in(matches)) << pattern;
        EXPECT_FALSE(Pattern(pattern).is_in(differs)) << pattern;
    }
    EXPECT_TRUE(Pattern("a.*c").is_in(std::string("a\0c", 3)));
}

TEST(RecordPattern, KnowsWhatEachMatchHasInIt)
{
    constexpr std::pair<const char*, const char*> kCases[] = {
        {"plain", "plain"},      {"^foo.*longer$", "longer"},
        {"abc*", "ab"},          {"abc?", "ab"},
        {"abc{2}", "ab"},        {"abc+d", "abc"},
        {"(abc)d", "d"},         {"((a)|b)(c)", ""},
        {"foo|bar", ""},         {"(foo|bar)baz", "baz"},
        {"[abcd]ef[gh]i", "ef"}, {"[]abc]d", "d"},
        {"[[:alpha:]]de", "de"}, {"a\\.b", "a.b"},
        {"a\\dbc", "bc"},        {"a\\\\sbcd", ""},
        {"[\\d]abc", ""},        {"a{1,2}bcd", "bcd"},
        {"ab)c|d", ""},          {"ab)cde", "cde"},
        {"abc+*d", "ab"},        {"abc++d", "ab"}};
    for (const auto& [pattern, required] : kCases) {
        EXPECT_EQ(Pattern(pattern).required(), required) << pattern;
    }
}

TEST(RecordPattern, WhatDoesNotCompileIsToldInOneLine)
{
    for (const char* pattern : {"(", "[a", "[[:alpha", "*a(", "a{2", "\\"}) {
        try {
            const Pattern compiled(pattern);
            ADD_FAILURE() << pattern;
        } catch (const UsageError& error) {
            EXPECT_THAT(error.what(), HasSubstr("is no regular expression: ")) << pattern;
            EXPECT_THAT(error.what(), testing::Not(HasSubstr("\n"))) << pattern;
        }
    }
}

/// 2026-11-22 12:30:15.5 in a zone that is an hour ahead of UTC.
constexpr std::int64_t kMidnight = (20779 * std::int64_t{86400} - 3600) * kSecondNs;
constexpr std::int64_t kNow = kMidnight + (12 * 3600 + 30 * 60 + 15) * kSecondNs + kSecondNs / 2;

TEST(RecordTimeText, SaysPointsInTime)
{
    setenv("TZ", "XXX-1", 1);
    constexpr std::pair<const char*, std::int64_t> kCases[] = {
        {"now", kNow},
        {"today", kMidnight},
        {"yesterday", kMidnight - 86400 * kSecondNs},
        {"2026-11-22", kMidnight},
        {"2026-11-22 10:00", kMidnight + 36000 * kSecondNs},
        {"2026-11-22T10:00:05", kMidnight + 36005 * kSecondNs},
        {"2026-11-22 10:00:05.25", kMidnight + 36005 * kSecondNs + 250'000'000},
        {"2026-11-22 10:00:05.000000001", kMidnight + 36005 * kSecondNs + 1},
        {"10:00", kMidnight + 36000 * kSecondNs},
        {"9:00:05", kMidnight + 32405 * kSecondNs},
        {"-5min", kNow - 300 * kSecondNs},
        {"5min ago", kNow - 300 * kSecondNs},
        {"5 minutes ago", kNow - 300 * kSecondNs},
        {"-1h30min", kNow - 5400 * kSecondNs},
        {"-1h 30m 10s", kNow - 5410 * kSecondNs},
        {"+2d", kNow + 172800 * kSecondNs},
        {"-1w", kNow - 604800 * kSecondNs},
        {"@1795341600", 1795341600 * kSecondNs},
        {"@1.5", kSecondNs * 3 / 2},
        {"2026-11-22T10:00:00Z", kMidnight + 39600 * kSecondNs},
        {"2026-11-22T10:00:00.5+02:00", kMidnight + 32400 * kSecondNs + kSecondNs / 2}};
    for (const auto& [text, time] : kCases) {
        EXPECT_EQ(time_of_text(text, kNow), time) << text;
    }
}

TEST(RecordTimeText, OtherTextsAreNone)
{
    setenv("TZ", "XXX-1", 1);
    for (const char* text : {"",
                             "soon",
                             "2026",
                             "2026-13-01",
                             "2026-02-29",
                             "2026-11-22 ",
                             "2026-11-22x",
                             "2026-11-22 25:00",
                             "10",
                             "24:00",
                             "10:60",
                             "10:0",
                             "10:00:",
                             "10:00:61",
                             "10:00.",
                             "5min",
                             "-",
                             "-5",
                             "-min",
                             "-5parsecs",
                             "- ago",
                             "-99999999999h",
                             "-9999999999w",
                             "-100y",
                             "@",
                             "@x",
                             "@99999999999",
                             "@1.",
                             "2026-11-22T10:00:00Zx",
                             "+9999999999s",
                             "-9999999999s"}) {
        EXPECT_EQ(time_of_text(text, kNow), kNoTime) << text;
    }
}

}  // namespace
