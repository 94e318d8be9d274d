// Clocks whose seconds and days are more than 32 and 16 bits tell.
#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

#include "../log/held_clock.h"
#include "../log/settings_files.h"
#include "common_log_macros.h"
#include "common_log_settings.h"
#include "common_monitor.h"
#include "limits.h"
#include "log_layout.h"
#include "oxa_shims.h"

using namespace harness;

COMMON_LOG_ZONE("LIMITS");

namespace {

constexpr std::int64_t kSecondsPerDay = 86'400;

/// Times of the real-time clock at which a number of its seconds or days ends, and the next ones.
std::vector<std::int64_t> ends_of_numbers()
{
    std::vector<std::int64_t> all;
    for (const std::int64_t end :
         {std::int64_t{1} << 31, std::int64_t{1} << 32, std::int64_t{1} << 33, kSecondsPerDay << 15,
          kSecondsPerDay << 16}) {
        for (std::int64_t second = end - 2; second < end + 2; ++second) {
            all.push_back(second);
        }
    }
    return all;
}

/// The seconds that a record shows: of nanoseconds without a sign, made of a signed number of 32
/// bits.
std::uint64_t shown(std::int64_t second)
{
    const auto seconds = static_cast<std::int32_t>(second);
    return static_cast<std::uint64_t>(std::int64_t{seconds} * 1'000'000'000) / 1'000'000'000;
}

std::string time_of_day(std::uint64_t seconds)
{
    const auto time = static_cast<std::time_t>(seconds);
    std::tm utc{};
    char text[16] = "";
    std::strftime(text, sizeof text, "%T", gmtime_r(&time, &utc));
    return text;
}

TEST(WrapLimits, RecordsGoOnWhereSecondsAndDaysWrap)
{
    const std::vector<std::int64_t> times = ends_of_numbers();
    const Outcome outcome = well(load_setup(), [&] {
        for (const std::int64_t second : times) {
            hold_clock_at(second);
            COMMON_LOG_INFO("m");
        }
    });
    std::int64_t right = 0;
    for (std::size_t i = 0; i < times.size() && i < outcome.log.size(); ++i) {
        const auto fields = parse_syslogngext(outcome.log[i].text);
        const std::uint64_t seconds = shown(times[i]);
        right += fields && fields->message == "m" &&
                         fields->day == static_cast<std::int64_t>(seconds / kSecondsPerDay) &&
                         fields->time == time_of_day(seconds)
                     ? 1
                     : 0;
    }
    const auto all = static_cast<std::int64_t>(times.size());
    promise("records at seconds 2^31, 2^32 and 2^33 and days 32,768 and 65,536 of the clock",
            "seconds are taken as a signed 32-bit number, and each record is written",
            counted(right, all) + " with the day and time of that", right == all);
}

TEST(WrapLimits, SettingsAreLookedForWhereSecondsWrap)
{
    FreshSetup setup = load_setup();
    setup.env = {{"COMMON_LOG_PEAKLOAD_CONTROL", "Off"}};
    const std::vector<std::int64_t> times = ends_of_numbers();
    well(setup, [&] {
        std::int64_t taken_in = 0;
        std::int64_t last = 0;
        std::int64_t looks = 0;
        for (const std::int64_t second : times) {
            if (second < last) {
                continue;  // a clock that was set back is another matter
            }
            last = second;
            hold_clock_at(second);
            const bool on = ++looks % 2 == 1;
            put_file(kSharedFile, on ? "COMMON_LOG_LEVEL=Debug\n" : "COMMON_LOG_LEVEL=Warn\n",
                     looks);
            taken_in += COMMON_Log_LevelGet() == (on ? COMMON_LogLevelDebug : COMMON_LogLevelWarn);
        }
        promise("settings that change at these seconds, with peakload control",
                "files are looked for once per granularity, and read when they have changed",
                counted(taken_in, looks) + " taken in", taken_in == looks);
    });
}

void limited(int number)
{
    COMMON_LOG_PER_SECOND(INFO, 2, "%d", number);
}

TEST(WrapLimits, RecordsOfASecondAreCountedWhereSecondsWrap)
{
    constexpr int kSeconds = 10;
    const Outcome outcome = well(load_setup(), [] {
        for (const std::int64_t end :
             {std::int64_t{1} << 20, std::int64_t{1} << 31, std::int64_t{1} << 32}) {
            for (std::int64_t second = end - kSeconds / 2; second < end + kSeconds / 2; ++second) {
                hold_monotonic_clock_at(second);
                for (int i = 0; i < 5; ++i) {
                    limited(i);
                }
            }
        }
    });
    std::int64_t written = 0;
    std::int64_t told = 0;
    for (const LogRecord& record : outcome.log) {
        const bool tells = record.text.ends_with("3 more like this were left out");
        told += tells ? 1 : 0;
        written += tells ? 0 : 1;
    }
    constexpr std::int64_t kWritten = std::int64_t{3} * kSeconds * 2;
    constexpr std::int64_t kTold = std::int64_t{3} * kSeconds - 1;
    promise("5 records a second around seconds 2^20, 2^31 and 2^32 of the monotonic clock",
            "COMMON_LOG_PER_SECOND writes n a second, 2 here, and tells what is left out",
            counted(written, kWritten) + " written, " + counted(told, kTold) + " times told",
            written == kWritten && told == kTold);
}

TEST(WrapLimits, TimesNearTheEndOf64BitsWrap)
{
    run_silently(load_setup(), [] {
        COMMON_Monitor* const monitor = COMMON_Monitor_New();
        COMMON_Monitor_Lock(monitor);
        const std::uint32_t timed_out = COMMON_Monitor_WaitTimed(monitor, UINT64_MAX);
        COMMON_Monitor_Unlock(monitor);
        COMMON_Monitor_Delete(monitor);
        promise("a wait of 2^64 - 1 nanoseconds", "it wraps to the past, and times out at once",
                timed_out == 1 ? "timed out" : "did not", timed_out == 1);
        timespec time{};
        OXA_nsec2timespec(&time, UINT64_MAX);
        const bool split = time.tv_sec == 18'446'744'073 && time.tv_nsec == 709'551'615;
        const bool joined = OXA_timespec2nsec(&time) == -1;
        promise("2^64 - 1 nanoseconds, split and joined", "what does not fit into 64 bits wraps",
                split && joined ? "it does" : "it does not", split && joined);
    });
}

}  // namespace
