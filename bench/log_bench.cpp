// What the log facility costs: a rejected level check and an accepted record, against peers.
#include <benchmark/benchmark.h>
#include <syslog.h>

#include <cinttypes>
#include <cstdio>
#include <memory>

#include "common_log_macros.h"
#include "common_log_settings.h"
#include "plain_record.h"
#include "support/log_drain.h"
#include "support/ratio_report.h"
#include "two_compares.h"

#if HAVE_SPDLOG
#include <spdlog/sinks/syslog_sink.h>
#include <spdlog/spdlog.h>
#endif

COMMON_LOG_ZONE("MEDIA");

namespace {

void check_level(benchmark::State& state)
{
    for (auto _ : state) {
        benchmark::DoNotOptimize(COMMON_Log_Acceptable(COMMON_LogLevelVerbose));
    }
}
BENCHMARK(check_level);

/// A record that is not wanted, by the macro: the question, and nothing of its values.
void macro_rejected(benchmark::State& state)
{
    int number = 0;
    for (auto _ : state) {
        COMMON_LOG_VERBOSE("%d", ++number);
    }
    benchmark::DoNotOptimize(number);
}
BENCHMARK(macro_rejected);

/// The same with a limit, which is asked last.
void macro_rejected_limited(benchmark::State& state)
{
    int number = 0;
    for (auto _ : state) {
        COMMON_LOG_PER_SECOND(VERBOSE, 10, "%d", ++number);
    }
    benchmark::DoNotOptimize(number);
}
BENCHMARK(macro_rejected_limited);

void check_two_compares(benchmark::State& state)
{
    for (auto _ : state) {
        benchmark::DoNotOptimize(two_compares(7));
    }
}
BENCHMARK(check_two_compares);

void record_ours(benchmark::State& state)
{
    for (auto _ : state) {
        COMMON_Log_Write(COMMON_LogLevelInfo, 4095, "MEDIA", "media_scanner.cpp", "scan_folder",
                         217, MESSAGE_FORMAT, MESSAGE_VALUES);
    }
}

/// The same record by syslog(3), formatted in the plain way.
void record_syslog_formatting(benchmark::State& state)
{
    for (auto _ : state) {
        bench::write_plain_record("log_bench");
    }
}

/// A record of the same length by syslog(3), its bytes made beforehand.
void record_syslog_finished(benchmark::State& state)
{
    static const char* const text = bench::finished_record();
    for (auto _ : state) {
        syslog(LOG_USER | LOG_INFO, "%s", text);
    }
}

#define THREADS ->Threads(1)->Threads(2)->Threads(8)->UseRealTime()
BENCHMARK(record_ours) THREADS;
BENCHMARK(record_syslog_formatting) THREADS;
BENCHMARK(record_syslog_finished) THREADS;

#if HAVE_SPDLOG
std::shared_ptr<spdlog::logger> make_spdlog()
{
    auto logger = spdlog::syslog_logger_mt("MEDIA", "log_bench", 0, LOG_USER, true);
    logger->set_pattern("[%D.%T.%F], %n, %P, log_bench, %t, %l, %s, %! %#, %v");
    return logger;
}

spdlog::logger& spdlog_logger()
{
    static const std::shared_ptr<spdlog::logger> logger = make_spdlog();
    return *logger;
}

/// Through the process's default logger, as the level check of the library is the process's.
void check_spdlog(benchmark::State& state)
{
    for (auto _ : state) {
        benchmark::DoNotOptimize(spdlog::should_log(spdlog::level::trace));
    }
}
BENCHMARK(check_spdlog);

void record_spdlog(benchmark::State& state)
{
    spdlog::logger& logger = spdlog_logger();
    for (auto _ : state) {
        logger.log(
            spdlog::source_loc{"media_scanner.cpp", 217, "scan_folder"}, spdlog::level::info,
            "track {:06d} of {} is ready to play after a scan that took {:8d} microseconds in all",
            MESSAGE_VALUES);
    }
}
BENCHMARK(record_spdlog) THREADS;
#endif

}  // namespace

int main(int argc, char** argv)
{
    const bench::LogDrain drain;
    if (COMMON_Log_LevelGet() != COMMON_LogLevelInfo || COMMON_Log_Acceptable(7) != 0) {
        std::fputs("log_bench: the log facility is not in its default state\n", stderr);
        return 1;
    }
    const int status = bench::run_and_compare(
        argc, argv,
        {
            {"rejected level check / call with two compares", "check_level", "check_two_compares",
             1.0},
            {"rejected record by a macro / rejected level check", "macro_rejected", "check_level",
             1.02},
            {"rejected record with a limit / rejected level check", "macro_rejected_limited",
             "check_level", 1.02},
            {"rejected level check / spdlog should_log", "check_level", "check_spdlog", 1.0},
            {"record / formatting syslog(3), 1 thread", "record_ours/real_time/threads:1",
             "record_syslog_formatting/real_time/threads:1", 0.82},
            {"record / formatting syslog(3), 2 threads", "record_ours/real_time/threads:2",
             "record_syslog_formatting/real_time/threads:2", 0.85},
            {"record / formatting syslog(3), 8 threads", "record_ours/real_time/threads:8",
             "record_syslog_formatting/real_time/threads:8", 0.85},
            {"record / finished bytes by syslog(3), 1 thread", "record_ours/real_time/threads:1",
             "record_syslog_finished/real_time/threads:1", 1.12},
            {"record / finished bytes by syslog(3), 2 threads", "record_ours/real_time/threads:2",
             "record_syslog_finished/real_time/threads:2", 1.12},
            {"record / finished bytes by syslog(3), 8 threads", "record_ours/real_time/threads:8",
             "record_syslog_finished/real_time/threads:8", 1.12},
            {"record / spdlog syslog sink, 1 thread", "record_ours/real_time/threads:1",
             "record_spdlog/real_time/threads:1", 1.0},
            {"record / spdlog syslog sink, 2 threads", "record_ours/real_time/threads:2",
             "record_spdlog/real_time/threads:2", 1.0},
            {"record / spdlog syslog sink, 8 threads", "record_ours/real_time/threads:8",
             "record_spdlog/real_time/threads:8", 1.0},
        });
    std::printf("%" PRIu64 " records received\n", drain.received());
    if (status == 0 && drain.received() == 0) {
        std::fputs("log_bench: nothing was received\n", stderr);
        return 1;
    }
    return status;
}
