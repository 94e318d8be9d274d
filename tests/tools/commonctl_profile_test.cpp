// What is counted, against counts that keep everything.
#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "profile/phases.h"
#include "profile/profile.h"
#include "profile_records.h"

using namespace commonctl::profile;
using commonctl::Record;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Le;
using testing::SizeIs;

namespace {

std::map<std::string, Amount> all_of(const std::vector<Row>& rows)
{
    std::map<std::string, Amount> amounts;
    for (const Row& row : rows) {
        EXPECT_FALSE(amounts.contains(row.name)) << row.name;
        amounts[row.name] = row.counts.all;
    }
    return amounts;
}

TEST(CountTable, CountsEachNameAsLongAsThereIsRoom)
{
    std::mt19937 random(1);
    std::map<std::string, Amount> expected;
    CountTable table(50);
    for (int i = 0; i < 10'000; ++i) {
        const std::string name = "name " + std::to_string(random() % 50);
        const std::uint64_t bytes = random() % 1000;
        table.add(name, bytes);
        expected[name].add(bytes);
    }
    EXPECT_EQ(all_of(table.rows()), expected);
    EXPECT_EQ(table.others(), Counts{});
}

TEST(CountTable, BeyondItsRoomTheSumIsExactAndLoudRowsStay)
{
    constexpr std::size_t kMost = 16;
    std::mt19937 random(2);
    std::map<std::string, Amount> expected;
    Amount sum;
    CountTable table(kMost);
    for (int i = 0; i < 20'000; ++i) {
        // One of four records is of four loud names, the others of names that hardly come back; the
        // loud ones begin, so that they are always in the louder half.
        const bool loud = i < 40 || random() % 4 == 0;
        const std::string name = loud ? "loud " + std::to_string(random() % 4)
                                      : "name " + std::to_string(random() % 5000);
        const std::uint64_t bytes = random() % 1000;
        table.add(name, bytes);
        expected[name].add(bytes);
        sum.add(bytes);
        ASSERT_LE(table.rows().size(), kMost);
    }
    Amount counted = table.others().all;
    for (const auto& [name, amount] : all_of(table.rows())) {
        counted += amount;
        EXPECT_LE(amount.records, expected[name].records) << name;
        if (name.starts_with("loud")) {
            EXPECT_EQ(amount, expected[name]) << name;
            expected.erase(name);
        }
    }
    EXPECT_EQ(counted, sum);
    EXPECT_FALSE(expected.contains("loud 0"));
    EXPECT_FALSE(expected.contains("loud 3"));
}

TEST(CountTable, TheQuieterHalfIsForgotten)
{
    CountTable table(4);
    for (const char* const name : {"a", "a", "b", "c", "c", "d", "e"}) {
        table.add(name, 10);
    }
    EXPECT_EQ(all_of(table.rows()),
              (std::map<std::string, Amount>{{"a", {2, 20}}, {"c", {2, 20}}, {"e", {1, 10}}}));
    EXPECT_EQ(table.others().all, (Amount{2, 20}));
}

TEST(CountTable, APeriodIsWhatWasCountedInItAlsoOfForgottenNames)
{
    CountTable table(2);
    table.add("a", 1);
    table.add("a", 2);
    table.add("b", 4);
    table.end_period();
    table.add("a", 8);
    table.add("c", 16);  // "b" is forgotten
    EXPECT_EQ(table.others(), (Counts{{1, 4}, {1, 4}, {0, 0}}));
    table.end_period();
    table.add("a", 32);
    std::map<std::string, Counts> counts;
    for (const Row& row : table.rows()) {
        counts[row.name] = row.counts;
    }
    EXPECT_EQ(counts["a"], (Counts{{4, 43}, {1, 8}, {1, 32}}));
    EXPECT_EQ(counts["c"], (Counts{{1, 16}, {1, 16}, {0, 0}}));
    EXPECT_EQ(table.others(), (Counts{{1, 4}, {0, 0}, {0, 0}}));
}

TEST(CountTable, OfALongNameTheBeginningCounts)
{
    const std::string begin(CountTable::kLongestName, 'x');
    CountTable table(8);
    table.add(begin + "one", 1);
    table.add(begin + "two", 2);
    EXPECT_EQ(all_of(table.rows()), (std::map<std::string, Amount>{{begin, {2, 3}}}));
}

/// What a timeline is told, second by second.
using Seconds = std::map<std::int64_t, Timeline::Bucket>;

/// Checks a timeline against what it was told.
void expect_same(const Timeline& timeline, const Seconds& told)
{
    const std::int64_t first = told.begin()->first;
    const std::int64_t last = told.rbegin()->first;
    const std::int64_t width = timeline.bucket_seconds();
    EXPECT_EQ(timeline.seconds(), last - first + 1);
    const auto parts = timeline.parts();
    ASSERT_FALSE(parts.empty());
    EXPECT_THAT(parts, SizeIs(Le(Timeline::kBuckets)));
    if (width > 1) {  // buckets are no longer than they must be
        const auto half = [&](std::int64_t second) { return second >> 1; };
        std::int64_t from = first;
        std::int64_t to = last;
        for (std::int64_t narrower = width / 2; narrower > 1; narrower /= 2) {
            from = half(from);
            to = half(to);
        }
        EXPECT_GE(to - from, static_cast<std::int64_t>(Timeline::kBuckets));
    }
    std::int64_t at = first;
    for (const Timeline::Part& part : parts) {
        ASSERT_EQ(part.begin, at);
        at = part.begin + part.seconds;
        EXPECT_TRUE(at == last + 1 || (at % width) == 0) << at;
        Timeline::Bucket expected;
        for (auto second = told.lower_bound(part.begin); second != told.lower_bound(at); ++second) {
            expected += second->second;
        }
        EXPECT_EQ(part.amounts, expected) << part.begin;
    }
    EXPECT_EQ(at, last + 1);
}

TEST(Timeline, HoldsWhatASecondBySecondCountHolds)
{
    std::mt19937 random(3);
    for (const std::int64_t spread : {10, 511, 512, 513, 5'000, 1'000'000}) {
        for (const std::int64_t origin : {std::int64_t{0}, std::int64_t{1'700'000'123}, -spread / 2,
                                          std::int64_t{-5'000'000'000}}) {
            Timeline timeline;
            Seconds told;
            for (int i = 0; i < 2'000; ++i) {
                const std::int64_t second =
                    origin + static_cast<std::int64_t>(random() % static_cast<unsigned>(spread));
                const std::size_t level = random() % kLevels;
                const std::uint64_t bytes = random() % 500;
                timeline.add(second, level, bytes);
                ++told[second].records[level];
                told[second].bytes += bytes;
                if (i % 500 == 0) {
                    expect_same(timeline, told);
                }
            }
            expect_same(timeline, told);
        }
    }
}

TEST(Timeline, IsEmptyWithoutAnything)
{
    EXPECT_THAT(Timeline().parts(), IsEmpty());
    EXPECT_EQ(Timeline().seconds(), 0);
}

TEST(Timeline, SilenceIsPartOfTheTime)
{
    Timeline timeline;
    timeline.cover(100);
    timeline.add(102, 3, 50);
    timeline.cover(104);
    const auto parts = timeline.parts();
    EXPECT_EQ(timeline.seconds(), 5);
    ASSERT_THAT(parts, SizeIs(5));
    EXPECT_EQ(parts[2].amounts.records[3], 1u);
    EXPECT_EQ(parts[2].amounts.all_records(), 1u);
    EXPECT_EQ(parts[4].amounts, Timeline::Bucket{});
}

TEST(Timeline, TheFarthestTimesFit)
{
    constexpr std::int64_t kFarthest = INT64_MAX / 1'000'000'000;
    Timeline timeline;
    for (const std::int64_t second : {std::int64_t{0}, kFarthest, -kFarthest}) {
        timeline.add(second, 0, 1);
    }
    std::uint64_t records = 0;
    for (const Timeline::Part& part : timeline.parts()) {
        records += part.amounts.records[0];
    }
    EXPECT_EQ(records, 3u);
    EXPECT_EQ(timeline.seconds(), 2 * kFarthest + 1);
}

TEST(ClockAxis, TimesWithoutAJumpAreTheirPlaces)
{
    ClockAxis axis;
    for (const std::int64_t second :
         {5'000'000, 5'000'010, 4'999'000, 5'000'000 + 86'400 - 1'001}) {
        EXPECT_EQ(axis.place(second), second);
        EXPECT_EQ(axis.time_at(second), second);
    }
    EXPECT_EQ(axis.jumps(), 0u);
}

TEST(ClockAxis, AJumpOfMoreThanADayIsLeftOut)
{
    ClockAxis axis;
    EXPECT_EQ(axis.place(100), 100);
    EXPECT_EQ(axis.place(160), 160);
    EXPECT_EQ(axis.place(160 + 86'400), 160 + 86'400);  // a day to the second is none
    EXPECT_EQ(axis.jumps(), 0u);

    const std::int64_t now = 1'700'000'000;
    EXPECT_EQ(axis.place(now), 86'561);
    EXPECT_EQ(axis.place(now + 5), 86'566);
    EXPECT_EQ(axis.place(now - 5), 86'561);  // not in front of the jump
    EXPECT_EQ(axis.jumps(), 1u);
    EXPECT_EQ(axis.time_at(100), 100);
    EXPECT_EQ(axis.time_at(86'560), 86'560);
    EXPECT_EQ(axis.time_at(86'561), now);
    EXPECT_EQ(axis.time_at(86'566), now + 5);

    EXPECT_EQ(axis.place(1'000), 86'567);  // back
    EXPECT_EQ(axis.jumps(), 2u);
    EXPECT_EQ(axis.time_at(86'567), 1'000);
}

TEST(ClockAxis, ManyJumpsAreBounded)
{
    ClockAxis axis;
    for (int i = 0; i < 1'000; ++i) {
        axis.place(i % 2 == 0 ? 0 : INT64_MAX / 1'000'000'000);
    }
    EXPECT_EQ(axis.jumps(), ClockAxis::kMostJumps);
}

std::map<std::string, Amount> all_by(const Profile& profile, By by)
{
    return all_of(profile.rows(by));
}

TEST(Profile, CountsByProcessZoneLevelAndSite)
{
    Profile profile;
    count(profile, {});
    count(profile, {.pid = 13, .level = 0, .line = 8, .bytes = 10});
    count(profile, {.process = "tuner", .zone = "", .level = 7, .bytes = 1});
    EXPECT_EQ(all_by(profile, By::Process),
              (std::map<std::string, Amount>{
                  {"player[12]", {1, 100}}, {"player[13]", {1, 10}}, {"tuner[12]", {1, 1}}}));
    EXPECT_EQ(all_by(profile, By::Zone),
              (std::map<std::string, Amount>{{"TUNER", {2, 110}}, {"", {1, 1}}}));
    EXPECT_EQ(all_by(profile, By::Level),
              (std::map<std::string, Amount>{
                  {"Fatal", {1, 10}}, {"Info", {1, 100}}, {"Verbose", {1, 1}}}));
    EXPECT_EQ(
        all_by(profile, By::Site),
        (std::map<std::string, Amount>{{"main.cpp:7 run", {2, 101}}, {"main.cpp:8 run", {1, 10}}}));
    EXPECT_EQ(profile.all().all, (Amount{3, 111}));
}

TEST(Profile, WhatARecordDoesNotTellIsLeftOutOfItsName)
{
    Profile profile;
    count(profile, {.pid = -1, .level = -1, .line = -1});
    count(profile, {.process = "", .level = 8, .function = ""});
    count(profile, {.process = "", .pid = -1, .zone = "", .file = "", .line = -1, .function = ""});
    EXPECT_EQ(
        all_by(profile, By::Process),
        (std::map<std::string, Amount>{{"player", {1, 100}}, {"[12]", {1, 100}}, {"", {1, 100}}}));
    EXPECT_EQ(all_by(profile, By::Level),
              (std::map<std::string, Amount>{{"", {2, 200}}, {"Info", {1, 100}}}));
    EXPECT_EQ(all_by(profile, By::Site),
              (std::map<std::string, Amount>{
                  {"main.cpp run", {1, 100}}, {"main.cpp:7", {1, 100}}, {"", {1, 100}}}));
}

TEST(Profile, ItsMemoryIsBoundedAndTheRestIsCountedTogether)
{
    constexpr std::size_t kMost = 10;
    Profile profile(kMost);
    for (int i = 0; i < 1'000; ++i) {
        const std::string name = std::to_string(i);
        count(profile, {.process = name.c_str(), .zone = name.c_str(), .line = i, .bytes = 3});
    }
    for (const By by : {By::Process, By::Zone, By::Site}) {
        Amount sum = profile.others(by).all;
        for (const Row& row : profile.rows(by)) {
            sum += row.counts.all;
        }
        EXPECT_LE(profile.rows(by).size(), kMost);
        EXPECT_EQ(sum, (Amount{1'000, 3'000}));
    }
    EXPECT_EQ(profile.others(By::Level), Counts{});
}

TEST(Profile, APeriodEndsForAllTables)
{
    Profile profile(2);
    for (const char* const name : {"a", "b", "b", "c"}) {
        count(profile, {.process = name, .zone = name, .function = name, .bytes = 5});
    }
    profile.end_period();
    count(profile, {.process = "b", .zone = "b", .function = "b", .bytes = 7});
    EXPECT_EQ(profile.all(), (Counts{{5, 27}, {4, 20}, {1, 7}}));
    for (const By by : kEveryBy) {
        Counts sum = profile.others(by);
        for (const Row& row : profile.rows(by)) {
            sum += row.counts;
        }
        EXPECT_EQ(sum, profile.all());
    }
}

TEST(Profile, ARecordWithoutATimeHasTheOneOfItsArrivalOrNone)
{
    Profile profile;
    Record record;
    record.raw = "text";
    profile.add(record);
    EXPECT_EQ(profile.untimed(), 1u);
    EXPECT_THAT(profile.timeline().parts(), IsEmpty());
    profile.add(record, 5'999'999'999);
    EXPECT_EQ(profile.untimed(), 1u);
    record.time_ns = -1;
    profile.add(record, 5'999'999'999);
    EXPECT_EQ(profile.all().all, (Amount{3, 12}));
    const auto moments = moments_of(profile);
    ASSERT_THAT(moments, SizeIs(7));
    EXPECT_EQ(moments.front().time, -1);
    EXPECT_EQ(moments.front().amounts.records[kNoLevel], 1u);
    EXPECT_EQ(moments.back().time, 5);
    EXPECT_EQ(moments.back().amounts.bytes, 4u);
}

/// Moments of a second each, with so many records.
std::vector<Moment> seconds_with(const std::vector<std::uint64_t>& records)
{
    std::vector<Moment> moments;
    for (const std::uint64_t count : records) {
        Moment moment{static_cast<std::int64_t>(moments.size()), 1, {}};
        moment.amounts.records[5] = count;
        moment.amounts.bytes = count * 10;
        moments.push_back(moment);
    }
    return moments;
}

std::vector<std::int64_t> times_of(const std::vector<Moment>& phases)
{
    std::vector<std::int64_t> times;
    for (const Moment& phase : phases) {
        times.push_back(phase.time);
        times.push_back(phase.seconds);
    }
    return times;
}

TEST(Phases, AreAboveThreeTimesTheMedianAndBelowAThird)
{
    const Phases phases =
        find_phases(seconds_with({30, 30, 91, 200, 90, 30, 9, 0, 10, 30, 30, 100, 30, 30, 30}));
    EXPECT_EQ(phases.median, 30);
    EXPECT_THAT(times_of(phases.loud), ElementsAre(2, 2, 11, 1));
    EXPECT_THAT(times_of(phases.quiet), ElementsAre(6, 2));
    EXPECT_EQ(phases.loud[0].amounts.all_records(), 291u);
    EXPECT_EQ(phases.loud[0].amounts.bytes, 2'910u);
    EXPECT_EQ(phases.loud[0].rate(), 145.5);
}

TEST(Phases, TheMedianIsThatOfMomentsWithRecords)
{
    EXPECT_EQ(find_phases(seconds_with({0, 0, 0, 10, 0, 20})).median, 15);
    EXPECT_EQ(find_phases(seconds_with({5, 1, 3})).median, 3);
    EXPECT_EQ(find_phases(seconds_with({4, 1, 3, 9})).median, 3.5);
    const Phases none = find_phases({});
    EXPECT_EQ(none.median, 0);
    EXPECT_THAT(none.loud, IsEmpty());
    EXPECT_THAT(none.quiet, IsEmpty());
    EXPECT_THAT(find_phases(seconds_with({0, 0})).quiet, IsEmpty());
}

TEST(Phases, RatesAreOfTheTimeThatIsCovered)
{
    std::vector<Moment> moments = seconds_with({40, 40, 40, 40});
    moments[3].seconds = 4;
    moments[3].amounts.records[5] = 160;
    EXPECT_THAT(find_phases(moments).loud, IsEmpty());
    moments[3].amounts.records[5] = 481;
    EXPECT_THAT(times_of(find_phases(moments).loud), ElementsAre(3, 4));
}

TEST(Phases, AJumpOfTheClockEndsAPhase)
{
    std::vector<Moment> moments = seconds_with({10, 10, 10, 10, 50, 50});
    moments[5].time = 1'000'000;
    EXPECT_THAT(times_of(find_phases(moments).loud), ElementsAre(4, 1, 1'000'000, 1));
}

TEST(Phases, TheTenThatCountMostAreGivenByTime)
{
    std::vector<std::uint64_t> records;
    for (std::size_t i = 0; i < 12; ++i) {
        // Quiet phases of one to twelve seconds, and between them ever louder ones.
        records.insert(records.end(), i + 1, 0);
        records.insert(records.end(), {10, 10, 10, 100 + i});
    }
    const Phases phases = find_phases(seconds_with(records));
    ASSERT_THAT(phases.loud, SizeIs(10));
    ASSERT_THAT(phases.quiet, SizeIs(10));
    for (std::size_t i = 0; i < 10; ++i) {
        EXPECT_EQ(phases.loud[i].amounts.all_records(), 102 + i);
        EXPECT_EQ(phases.quiet[i].seconds, static_cast<std::int64_t>(3 + i));
    }
}

}  // namespace
