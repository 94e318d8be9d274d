// What the server keeps: records, and how many there were.
#include <algorithm>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "serve/rate_counter.h"
#include "serve/record_json.h"
#include "serve/record_ring.h"
#include "wait_until.h"

using namespace commonctl;
using namespace std::chrono_literals;
using nlohmann::json;
using testing::ElementsAre;

namespace {

constexpr std::int64_t kSecond = 1'000'000'000;

json records_of(const RecordRing::Batch& batch)
{
    return json::parse("[" + batch.json + "]");
}

std::vector<std::string> messages_of(const RecordRing::Batch& batch)
{
    std::vector<std::string> messages;
    for (const auto& record : records_of(batch)) {
        messages.push_back(record["message"]);
    }
    return messages;
}

void add(RecordRing& ring, std::string_view message)
{
    ring.add({.message = message});
}

TEST(RecordJson, TellsWhatIsKnown)
{
    const Record all{.time_ns = 1'500'000'000'123'456'789,
                     .pid = 1,
                     .tid = 2,
                     .line = 3,
                     .level = 4,
                     .process = "p",
                     .zone = "z",
                     .file = "f",
                     .function = "g",
                     .message = "m",
                     .host = "h"};
    const json expected = {{"id", 7},        {"time", 1'500'000'000'123'456},
                           {"pid", 1},       {"tid", 2},
                           {"line", 3},      {"level", 4},
                           {"process", "p"}, {"zone", "z"},
                           {"file", "f"},    {"function", "g"},
                           {"host", "h"},    {"message", "m"}};
    EXPECT_EQ(json::parse(json_of(all, 7)), expected);
    EXPECT_EQ(json::parse(json_of({}, 1)), (json{{"id", 1}, {"message", ""}}));
}

TEST(RecordJson, AnyBytesAreText)
{
    std::string bytes;
    for (int c = 0; c < 256; ++c) {
        bytes += static_cast<char>(c);
    }
    const auto text = json::parse(json_of({.process = bytes, .message = bytes}, 1));
    EXPECT_EQ(text["message"].get<std::string>().substr(0, 128), bytes.substr(0, 128));
    EXPECT_THAT(text["message"].get<std::string>(), testing::EndsWith("\xef\xbf\xbd"));
    EXPECT_EQ(text["process"], text["message"]);
}

TEST(RecordJson, LongTextsAreCut)
{
    const std::string exact(8192, 'x');
    EXPECT_EQ(json::parse(json_of({.message = exact}, 1))["message"], exact);
    EXPECT_EQ(json::parse(json_of({.message = exact + "y"}, 1))["message"], exact + "…");
}

TEST(RecordRing, GivesWhatCameAfterANumber)
{
    RecordRing ring;
    EXPECT_EQ(ring.read(0, 10, 0ms).next, 0u);
    for (const char* const text : {"a", "b", "c"}) {
        add(ring, text);
    }
    const auto all = ring.read(0, 10, 0ms);
    EXPECT_THAT(messages_of(all), ElementsAre("a", "b", "c"));
    EXPECT_EQ(records_of(all)[0]["id"], 1);
    EXPECT_EQ(all.next, 3u);
    EXPECT_EQ(all.newest, 3u);
    const auto some = ring.read(1, 1, 0ms);
    EXPECT_THAT(messages_of(some), ElementsAre("b"));
    EXPECT_EQ(some.next, 2u);
    EXPECT_EQ(some.newest, 3u);
    EXPECT_EQ(ring.read(3, 10, 0ms).json, "");
}

TEST(RecordRing, KeepsTheLastAndTellsWhatIsLost)
{
    RecordRing ring(3);
    for (int i = 1; i <= 10; ++i) {
        add(ring, std::to_string(i));
    }
    const auto batch = ring.read(4, 10, 0ms);
    EXPECT_THAT(messages_of(batch), ElementsAre("8", "9", "10"));
    EXPECT_EQ(batch.lost, 3u);  // 5, 6 and 7
    EXPECT_EQ(ring.read(7, 10, 0ms).lost, 0u);
    EXPECT_EQ(ring.read(0, 10, 0ms).lost, 0u);  // who has seen nothing has lost nothing
}

TEST(RecordRing, KeepsNoMoreBytesThanItMay)
{
    RecordRing ring(1000, 10'000);
    const std::string large(4000, 'x');
    for (int i = 0; i < 5; ++i) {
        add(ring, large);
    }
    EXPECT_EQ(records_of(ring.read(0, 10, 0ms)).size(), 2u);
    add(ring, std::string(20'000, 'y'));  // cut to 8 KiB
    EXPECT_EQ(records_of(ring.read(0, 10, 0ms)).size(), 1u);
    RecordRing small(10, 1);
    add(small, "the last one is always there");
    EXPECT_EQ(records_of(small.read(0, 10, 0ms)).size(), 1u);
}

TEST(RecordRing, AnAnswerIsBounded)
{
    RecordRing ring;
    for (int i = 0; i < 500; ++i) {
        add(ring, std::string(8000, 'x'));
    }
    const auto batch = ring.read(0, 5000, 0ms);
    EXPECT_LT(batch.json.size(), 2'200'000u);
    EXPECT_GT(batch.json.size(), 2'000'000u);
    EXPECT_EQ(batch.next,
              static_cast<std::uint64_t>(std::count(batch.json.begin(), batch.json.end(), '{')));
}

TEST(RecordRing, WhoWaitsIsToldOfARecordAndOfTheEnd)
{
    RecordRing ring;
    RecordRing::Batch batch;
    std::thread reader([&] { batch = ring.read(0, 10, 1h); });
    add(ring, "a");
    ring.announce();
    reader.join();
    EXPECT_THAT(messages_of(batch), ElementsAre("a"));
    reader = std::thread([&] { batch = ring.read(1, 10, 1h); });
    ring.close();
    reader.join();
    EXPECT_EQ(batch.json, "");
}

TEST(RecordRing, ANumberOfAnEarlierServerIsNotWaitedFor)
{
    RecordRing ring;
    add(ring, "a");
    const auto batch = ring.read(500, 10, 1h);
    EXPECT_EQ(batch.json, "");
    EXPECT_EQ(batch.next, 1u);
}

/// The count of a second, seen from the end.
std::uint32_t count_at(const RateCounter::Rates& rates, std::size_t seconds_ago, std::size_t kind)
{
    return rates.seconds.at(RateCounter::kSeconds - 1 - seconds_ago).at(kind);
}

std::uint64_t sum(const RateCounter::Rates& rates)
{
    std::uint64_t all = 0;
    for (const auto& second : rates.seconds) {
        for (const auto count : second) {
            all += count;
        }
    }
    return all;
}

TEST(RateCounter, CountsByLevelAndSecond)
{
    RateCounter counter;
    const std::int64_t now = 1'000'000 * kSecond;
    EXPECT_TRUE(counter.rates(now).seconds.empty());
    counter.add({.time_ns = now - 2 * kSecond, .level = 0}, now);
    counter.add({.time_ns = now - 2 * kSecond + 5, .level = 0}, now);
    counter.add({.time_ns = now, .level = 7}, now);
    counter.add({.time_ns = now, .level = -1}, now);
    counter.add({.time_ns = now, .level = 8}, now);
    const auto rates = counter.rates(now);
    EXPECT_EQ(rates.end, 1'000'000);
    EXPECT_EQ(rates.total, 5u);
    EXPECT_EQ(count_at(rates, 2, 0), 2u);
    EXPECT_EQ(count_at(rates, 0, 7), 1u);
    EXPECT_EQ(count_at(rates, 0, 8), 2u);
    EXPECT_EQ(sum(rates), 5u);
}

TEST(RateCounter, TimeGoesOnWithoutRecords)
{
    RateCounter counter;
    const std::int64_t begin = 1'000'000 * kSecond;
    counter.add({.time_ns = begin, .level = 3}, begin);
    EXPECT_EQ(count_at(counter.rates(begin + 599 * kSecond), 599, 3), 1u);
    // What is older than all that is shown is shown as it was: a file of yesterday.
    EXPECT_EQ(count_at(counter.rates(begin + 600 * kSecond), 0, 3), 1u);
    // What comes later takes the places of what is too old.
    counter.add({.time_ns = begin + 600 * kSecond, .level = 3}, begin + 600 * kSecond);
    EXPECT_EQ(sum(counter.rates(begin + 600 * kSecond)), 1u);
    counter.add({.time_ns = begin + 5000 * kSecond, .level = 3}, begin + 5000 * kSecond);
    EXPECT_EQ(sum(counter.rates(begin + 5000 * kSecond)), 1u);
}

TEST(RateCounter, StrangeTimesDoNotHideTheRest)
{
    RateCounter counter;
    const std::int64_t now = 1'000'000 * kSecond;
    for (const std::int64_t time :
         {kNoTime, std::int64_t{-1}, std::numeric_limits<std::int64_t>::max(), now + 2 * kSecond}) {
        counter.add({.time_ns = time, .level = 1}, now);
    }
    EXPECT_EQ(count_at(counter.rates(now), 0, 1), 4u);
    counter.add({.time_ns = 0, .level = 2}, now);  // too old to be shown
    EXPECT_EQ(sum(counter.rates(now)), 4u);
    EXPECT_EQ(counter.rates(now).total, 5u);
}

}  // namespace
