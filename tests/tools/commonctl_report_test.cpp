// What is shown of a profile: tables, JSON, a page.
#include <string>

#include <gmock/gmock.h>

#include "fresh_process.h"
#include "profile/live.h"
#include "profile/plot.h"
#include "profile/report.h"
#include "profile/text.h"
#include "profile_records.h"

using namespace commonctl::profile;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;

namespace {

const std::vector<By> kAll(std::begin(kEveryBy), std::end(kEveryBy));

/// Two minutes of one process, in which another is loud for a second and both are silent for ten.
Profile example()
{
    constexpr std::int64_t kBegin = 1'795'341'600;  // 2026-11-22 10:00:00
    Profile profile;
    for (std::int64_t second = 0; second < 120; ++second) {
        if (second < 60 || second >= 70) {
            count(profile, {.second = kBegin + second, .bytes = 200});
        }
        for (int i = 0; second == 30 && i < 90; ++i) {
            count(profile, {.second = kBegin + second,
                            .process = "tuner",
                            .pid = 7,
                            .zone = "",
                            .level = 6,
                            .file = "scan.cpp",
                            .line = 120,
                            .function = "step",
                            .bytes = 1'000});
        }
    }
    return profile;
}

FRESH_TEST(ReportTable, ShowsTheLoudestFirst)
{
    EXPECT_EQ(table_of(make_report(example(), "player.log", kAll, 20), false),
              "player.log: 200 records, 112.0 kB\n"
              "From 2026-11-22 10:00:00 to 2026-11-22 10:02:00, 120 seconds: 1.7 records/s, "
              "933 B/s\n"
              "\n"
              "   RECORDS   SHARE  RECORDS/S     BYTES    BYTES/S  PROCESS\n"
              "       110   55.0%        0.9   22.0 kB      183 B  player[12]\n"
              "        90   45.0%        0.8   90.0 kB      750 B  tuner[7]\n"
              "\n"
              "   RECORDS   SHARE  RECORDS/S     BYTES    BYTES/S  ZONE\n"
              "       110   55.0%        0.9   22.0 kB      183 B  TUNER\n"
              "        90   45.0%        0.8   90.0 kB      750 B  -\n"
              "\n"
              "   RECORDS   SHARE  RECORDS/S     BYTES    BYTES/S  LEVEL\n"
              "       110   55.0%        0.9   22.0 kB      183 B  Info\n"
              "        90   45.0%        0.8   90.0 kB      750 B  Debug\n"
              "\n"
              "   RECORDS   SHARE  RECORDS/S     BYTES    BYTES/S  CALL SITE\n"
              "       110   55.0%        0.9   22.0 kB      183 B  main.cpp:7 run\n"
              "        90   45.0%        0.8   90.0 kB      750 B  scan.cpp:120 step\n"
              "\n"
              "BEGIN                    LENGTH    RECORDS/S  PHASE\n"
              "2026-11-22 10:00:30    00:00:01         91.0  loud\n"
              "2026-11-22 10:01:00    00:00:10          0.0  quiet\n"
              "(loud: above 3.0 records/s, three times the median; quiet: below 0.3, a third of "
              "it)\n");
}

FRESH_TEST(ReportTable, WhatIsBeyondTheLimitIsCountedTogether)
{
    Profile profile(4);
    for (int i = 0; i < 5; ++i) {  // the fifth name makes two be forgotten
        for (int n = 0; n < 5 - i; ++n) {
            count(profile, {.pid = i, .zone = "", .bytes = 10});
        }
    }
    const std::string by_process = table_of(make_report(profile, "log", {By::Process}, 2), false);
    EXPECT_EQ(by_process, "log: 15 records, 150 B\n"
                          "From 2001-09-09 01:46:40 to 2001-09-09 01:46:41, 1 second: 15.0 "
                          "records/s, 150 B/s\n"
                          "\n"
                          "   RECORDS   SHARE  RECORDS/S     BYTES    BYTES/S  PROCESS\n"
                          "         5   33.3%        5.0      50 B       50 B  player[0]\n"
                          "         4   26.7%        4.0      40 B       40 B  player[1]\n"
                          "         6   40.0%        6.0      60 B       60 B  (others)\n");
    EXPECT_THAT(table_of(make_report(profile, "log", {By::Process}, 0), false),
                HasSubstr("         1    6.7%        1.0      10 B       10 B  player[4]\n"
                          "         5   33.3%        5.0      50 B       50 B  (others)\n"));
}

TEST(ReportTable, EqualOnesAreSortedByBytesAndName)
{
    Profile profile;
    for (const char* const zone : {"c", "a", "b"}) {
        count(profile, {.zone = zone, .bytes = *zone == 'b' ? 11U : 10U});
    }
    const Report report = make_report(profile, "log", {By::Zone}, 20);
    std::string names;
    for (const Line& line : report.sections.front().lines) {
        names += line.name;
    }
    EXPECT_EQ(names, "bac");
}

TEST(ReportTable, EachLevelIsShownWhateverTheLimit)
{
    Profile profile;
    for (int level = -1; level < 8; ++level) {
        count(profile, {.level = level});
    }
    EXPECT_THAT(make_report(profile, "log", {By::Level}, 1).sections.front().lines, SizeIs(9));
}

FRESH_TEST(ReportTable, SaysWhenTimesAreMissingOrJump)
{
    Profile profile;
    commonctl::Record record;
    record.raw = "text";
    profile.add(record);
    const std::string none = table_of(make_report(profile, "log", {By::Zone}, 20), false);
    EXPECT_EQ(none, "log: 1 record, 4 B\n"
                    "1 record without a time\n"
                    "\n"
                    "   RECORDS   SHARE  RECORDS/S     BYTES    BYTES/S  ZONE\n"
                    "         1  100.0%          -       4 B          -  -\n");
    count(profile, {.second = 0});
    count(profile, {.second = 1'000'000'000});
    EXPECT_THAT(table_of(make_report(profile, "log", {By::Zone}, 20), false),
                AllOf(HasSubstr("From 1970-01-01 00:00:00 to 2001-09-09 01:46:41, 2 seconds: "),
                      HasSubstr("\n1 jump of the clock, or gap, of more than a day left out of "
                                "the time\n")));
    EXPECT_THAT(page_of(make_report(profile, "log", {By::Zone}, 20)),
                AllOf(HasSubstr("<dt>Records without a time</dt><dd>1</dd>"),
                      HasSubstr("<dt>Jumps or gaps of more than a day, left out</dt><dd>1</dd>")));
}

TEST(ReportTable, AnEmptyLogHasOne)
{
    EXPECT_EQ(table_of(make_report(Profile(), "log", {By::Zone}, 20), false),
              "log: 0 records, 0 B\n"
              "\n"
              "   RECORDS   SHARE  RECORDS/S     BYTES    BYTES/S  ZONE\n");
}

FRESH_TEST(ReportTable, HeadsAndLoudPhasesStandOutInColor)
{
    const std::string text = table_of(make_report(example(), "log", {By::Zone}, 20), true);
    EXPECT_THAT(text, AllOf(HasSubstr("\n\033[1m   RECORDS   SHARE"), HasSubstr("ZONE\033[0m\n"),
                            HasSubstr("\033[33m2026-11-22 10:00:30    00:00:01         91.0  "
                                      "loud\033[0m\n"),
                            HasSubstr("\n2026-11-22 10:01:00")));
}

FRESH_TEST(ReportJson, HasItsForm)
{
    Profile profile;
    count(profile, {.second = 1'000});
    count(profile, {.second = 1'000});
    count(profile, {.second = 1'002, .zone = "", .level = -1, .bytes = 50});
    EXPECT_EQ(
        json_of(make_report(profile, "a \"log\"", {By::Zone}, 1)),
        R"({"source":"a \"log\"","records":3,"bytes":250,"records_per_second":1.0,)"
        R"("bytes_per_second":83.33333333333333,"begin":1000,"seconds":3,"untimed":0,)"
        R"("clock_jumps":0,"zones":{"rows":[{"name":"TUNER","records":2,"bytes":200,)"
        R"("records_per_second":0.6666666666666666,"bytes_per_second":66.66666666666667}],)"
        R"("others":{"records":1,"bytes":50,"records_per_second":0.3333333333333333,)"
        R"("bytes_per_second":16.666666666666668}},"timeline":{"levels":["Fatal","Critical",)"
        R"("Error","Warn","Note","Info","Debug","Verbose",null],"bucket_seconds":1,"buckets":[)"
        R"({"begin":1000,"seconds":1,"records":[0,0,0,0,0,2,0,0,0],"bytes":200},)"
        R"({"begin":1001,"seconds":1,"records":[0,0,0,0,0,0,0,0,0],"bytes":0},)"
        R"({"begin":1002,"seconds":1,"records":[0,0,0,0,0,0,0,0,1],"bytes":50}]},)"
        R"("phases":{"median":1.5,"loud":[],"quiet":[{"begin":1001,"seconds":1,"records":0,)"
        R"("bytes":0,"records_per_second":0.0}]}})"
        "\n");
}

TEST(ReportJson, SaysWithNullWhatIsNotKnown)
{
    Profile profile;
    profile.add({});
    EXPECT_THAT(
        json_of(make_report(profile, "log", kAll, 20)),
        AllOf(HasSubstr(R"("records_per_second":null,"bytes_per_second":null,"begin":null)"),
              HasSubstr(R"("processes":{"rows":[{"name":null,"records":1)"),
              HasSubstr(R"("levels":{"rows":[{"name":null)"),
              HasSubstr(R"("sites":{"rows":[{"name":null)")));
}

constexpr char kHostile[] = "<script>\"'&\033[2J\xff\n</script>";

TEST(Report, HostileBytesAreShownAsText)
{
    Profile profile;
    count(profile, {.process = kHostile, .zone = kHostile, .file = kHostile, .function = kHostile});
    const Report report = make_report(profile, kHostile, kAll, 20);
    const std::string shown = R"(<script>"'&\x1b[2J\xff\x0a</script>)";
    EXPECT_EQ(report.source, shown);
    EXPECT_THAT(table_of(report, false),
                AllOf(HasSubstr(shown + "[12]\n"), Not(HasSubstr("\033"))));
    EXPECT_THAT(json_of(report),
                HasSubstr(R"("name":"<script>\"'&\\x1b[2J\\xff\\x0a</script>[12]")"));
    const std::string page = page_of(report);
    EXPECT_THAT(page,
                AllOf(HasSubstr(R"(&lt;script&gt;&quot;&#39;&amp;\x1b[2J\xff\x0a&lt;/script&gt;)"),
                      Not(HasSubstr("<script")), Not(HasSubstr("\033"))));
}

TEST(CleanText, KeepsWhatShowsItselfAndEscapesTheRest)
{
    const std::pair<std::string, std::string> kCases[] = {
        {"", ""},
        {"plain ~", "plain ~"},
        {"Straße Москва 東京 🚗", "Straße Москва 東京 🚗"},
        {std::string("\0\t\n\r\033\177", 6), R"(\x00\x09\x0a\x0d\x1b\x7f)"},
        {"\xc2\x9b"
         "2J",
         R"(\xc2\x9b2J)"},  // a control of 8 bits
        {"\xc2\xa0", "\xc2\xa0"},
        {"\xe2\x80\xae", R"(\xe2\x80\xae)"},  // from right to left
        {"\xe2\x81\xa6\xe2\x80\x8f\xd8\x9c", R"(\xe2\x81\xa6\xe2\x80\x8f\xd8\x9c)"},
        {"\xe2\x80\xa8\xef\xbb\xbf", R"(\xe2\x80\xa8\xef\xbb\xbf)"},  // a line's end, a mark
        {"\xef\xbf\xbe\xf0\x9f\xbf\xbf", R"(\xef\xbf\xbe\xf0\x9f\xbf\xbf)"},  // no characters
        {"\xef\xbf\xbd", "\xef\xbf\xbd"},
        {"\x80"
         "a\xff",
         R"(\x80a\xff)"},
        {"\xc0\xaf", R"(\xc0\xaf)"},  // longer than it must be
        {"\xe0\x80\xaf", R"(\xe0\x80\xaf)"},
        {"\xf0\x80\x80\xaf", R"(\xf0\x80\x80\xaf)"},
        {"\xed\xa0\x80", R"(\xed\xa0\x80)"},                          // half of a pair
        {"\xf4\x90\x80\x80\xf5\x80", R"(\xf4\x90\x80\x80\xf5\x80)"},  // beyond the last
        {"\xf4\x8f\xbf\xbd", "\xf4\x8f\xbf\xbd"},
        {"a\xe2\x82", R"(a\xe2\x82)"},  // cut
        {"\xe2\x82"
         "a",
         R"(\xe2\x82a)"},
        {"\xc3", R"(\xc3)"}};
    for (const auto& [given, shown] : kCases) {
        EXPECT_EQ(clean(given), shown);
        EXPECT_EQ(clean(shown), shown);
    }
}

TEST(CleanText, IsCutBetweenCharacters)
{
    EXPECT_EQ(cut("a東京", 2), "a東");
    EXPECT_EQ(cut("a東京", 3), "a東京");
    EXPECT_EQ(cut("a東京", 9), "a東京");
    EXPECT_EQ(cut("a", 0), "");
}

TEST(Figures, AreShort)
{
    EXPECT_EQ(bytes_text(0), "0 B");
    EXPECT_EQ(bytes_text(999), "999 B");
    EXPECT_EQ(bytes_text(999.6), "1.0 kB");
    EXPECT_EQ(bytes_text(1'000), "1.0 kB");
    EXPECT_EQ(bytes_text(999'949), "999.9 kB");
    EXPECT_EQ(bytes_text(999'951), "1.0 MB");
    EXPECT_EQ(bytes_text(2.5e9), "2.5 GB");
    EXPECT_EQ(bytes_text(1e22), "10000.0 EB");
    EXPECT_EQ(duration_text(0), "00:00:00");
    EXPECT_EQ(duration_text(3'661), "01:01:01");
    EXPECT_EQ(duration_text(360'000), "100:00:00");
    EXPECT_EQ(time_text(INT64_MAX), "9223372036854775807 s");  // no year has it
    EXPECT_EQ(decimal(0.06), "0.1");
    EXPECT_EQ(to_the_right("ab", 4), "  ab");
    EXPECT_EQ(to_the_right("abcde", 4), "abcde");
}

TEST(RatePlot, StacksLevelsInStepsOverTheirPhases)
{
    std::vector<Moment> moments(4);
    for (std::size_t i = 0; i < 4; ++i) {
        moments[i] = {static_cast<std::int64_t>(100 + i), 1, {}};
    }
    moments[0].amounts.records = {0, 0, 1, 0, 0, 1};
    moments[1].amounts.records = {0, 0, 1, 0, 0, 3};
    moments[3].amounts.records = {0, 0, 0, 0, 0, 2};
    moments[3].seconds = 2;
    Phases phases;
    phases.loud = {{101, 1, {}}};
    phases.quiet = {{102, 3, {}}};
    EXPECT_EQ(
        rate_plot(moments, phases, "label"),
        "<svg class=\"plot\" viewBox=\"0 0 4 1000\" preserveAspectRatio=\"none\" role=\"img\" "
        "aria-label=\"label\">\n"
        "<rect class=\"loud\" x=\"1\" y=\"0\" width=\"1\" height=\"1000\"/>\n"
        "<rect class=\"quiet\" x=\"2\" y=\"0\" width=\"2\" height=\"1000\"/>\n"
        "<path class=\"l2\" d=\"M0 1000H0V750H2V1000H4H4V1000H0Z\"/>\n"
        "<path class=\"l5\" d=\"M0 750H0V500H1V0H2V1000H3V750H4H4V1000H2V750H0Z\"/>\n"
        "</svg>\n");
}

TEST(Page, HasItsPlotsAndTables)
{
    const std::string page = page_of(make_report(example(), "player.log", kAll, 20));
    EXPECT_THAT(page,
                AllOf(HasSubstr("<svg class=\"plot\""), HasSubstr("<path class=\"l5\""),
                      HasSubstr("<path class=\"l6\""), HasSubstr("The same as a table"),
                      HasSubstr("<h2 id=\"sites\">By call site</h2>"),
                      HasSubstr("<rect width=\"100\" height=\"10\"/>"),
                      HasSubstr("<rect width=\"81.8\" height=\"10\"/>"),
                      HasSubstr("prefers-color-scheme: dark"), HasSubstr("max-width: 40rem")));
    EXPECT_THAT(page, AllOf(HasSubstr("aria-label=\"Loud phases\""),
                            HasSubstr("aria-label=\"Quiet phases\"")));
}

TEST(Page, IsThereForEmptyLogsToo)
{
    EXPECT_THAT(page_of(make_report(Profile(), "log", kAll, 20)),
                AllOf(HasSubstr("No record tells its time."), Not(HasSubstr("class=\"plot\""))));
    Profile silent;
    silent.cover(1'000'000'000);
    EXPECT_THAT(page_of(make_report(silent, "log", kAll, 20)),
                AllOf(HasSubstr("There was no record."), Not(HasSubstr("class=\"plot\""))));
}

TEST(Page, TheTableOfTimesIsShort)
{
    Profile profile;
    for (int second = 0; second < 5'000; ++second) {
        count(profile, {.second = 1'000'000'000 + second});
    }
    const std::string page = page_of(make_report(profile, "log", {}, 20));
    std::size_t rows = 0;
    for (std::size_t at = 0; (at = page.find("<tr><th scope=\"row\">", at)) != page.npos; ++at) {
        ++rows;
    }
    EXPECT_EQ(rows, 20u);
    EXPECT_THAT(page, HasSubstr("<td>00:04:16</td><td>1.0</td><td>256</td></tr>"));
}

View view_by(By by)
{
    return {.by = by, .period = 2, .now = 1'795'341'600, .running = 65};
}

FRESH_TEST(LiveView, ShowsTheLastPeriodAndAll)
{
    Profile profile;
    for (int i = 0; i < 4; ++i) {
        count(profile, {.zone = "OLD"});
    }
    profile.end_period();
    count(profile, {.zone = "NEW", .bytes = 3'000});
    count(profile, {.zone = "OLD"});
    count(profile, {.zone = "NEW", .bytes = 3'000});
    profile.end_period();
    count(profile, {.zone = "LATER"});
    EXPECT_THAT(
        lines_of(profile, view_by(By::Zone)),
        ElementsAre("commonctl top  2026-11-22 10:00:00  1.5 records/s  3.0 kB/s  8 in 00:01:05",
                    "  RECORDS/S     BYTES/S    RECORDS     BYTES  ZONE",
                    "        1.0    3.0 kB/s          2    6.0 kB  NEW",
                    "        0.5      50 B/s          5     500 B  OLD",
                    "        0.0       0 B/s          1     100 B  LATER"));
}

FRESH_TEST(LiveView, FitsItsRoom)
{
    Profile profile;
    for (int i = 0; i < 5; ++i) {
        for (int n = 0; n <= i; ++n) {
            count(profile, {.pid = i});
        }
    }
    profile.end_period();
    View view = view_by(By::Process);
    view.lines = 3;
    view.columns = 60;
    view.has_keys = true;
    view.ended = true;
    EXPECT_THAT(lines_of(profile, view),
                ElementsAre("commonctl top  2026-11-22 10:00:00  7.5 records/s  750 B/s  ",
                            "by: p process, z zone, l level, s call site; q quit",
                            "  RECORDS/S     BYTES/S    RECORDS     BYTES  PROCESS",
                            "        2.5     250 B/s          5     500 B  player[4]",
                            "        2.0     200 B/s          4     400 B  player[3]",
                            "        3.0     300 B/s          6     600 B  (others)"));
    view.lines = 5;
    EXPECT_THAT(lines_of(profile, view), SizeIs(8));
    view.lines = 0;
    EXPECT_THAT(lines_of(profile, view), SizeIs(3));
    view.columns = 0;
    EXPECT_THAT(lines_of(profile, view).front(), HasSubstr("15 in 00:01:05  (no more records)"));
    view.colored = true;
    EXPECT_EQ(lines_of(profile, view).back(),
              "\033[1m  RECORDS/S     BYTES/S    RECORDS     BYTES  PROCESS\033[0m");
}

TEST(LiveView, ShowsNoHostileBytes)
{
    Profile profile;
    count(profile, {.zone = kHostile});
    EXPECT_THAT(lines_of(profile, view_by(By::Zone)).back(),
                AllOf(HasSubstr(R"(\x1b[2J\xff\x0a)"), Not(HasSubstr("\033"))));
}

}  // namespace
