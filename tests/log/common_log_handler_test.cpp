// The built-in handler: the record that each thread keeps, what happens when it cannot have one,
// when it is released and what is written after that.
#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <dlfcn.h>
#include <map>
#include <ostream>
#include <pthread.h>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

#include "common_debug.h"
#include "common_log_settings.h"
#include "common_process.h"
#include "fault.h"
#include "log_calls.h"
#include "sanitizer.h"
#include "wait_until.h"

namespace {

using namespace harness;
using fault::Call;
using testing::Contains;
using testing::ElementsAre;
using testing::SizeIs;

/// The destructor of the last slot that was made, seen by the function below.
void (*volatile last_key_destructor)(void*) = nullptr;

}  // namespace

// Stands in front of the C library's, to see the destructor. The sanitizers call it before they
// are ready to watch it.
extern "C" __attribute__((no_sanitize("address", "thread", "undefined"))) int
pthread_key_create(pthread_key_t* key, void (*destructor)(void*)) noexcept
{
    using Create = int (*)(pthread_key_t*, void (*)(void*));
    last_key_destructor = destructor;
    return reinterpret_cast<Create>(dlsym(RTLD_NEXT, "pthread_key_create"))(key, destructor);
}

namespace {

void in_a_thread(const std::function<void()>& body)
{
    std::thread(body).join();
}

TEST(CommonLogThreadRecord, IsAllocatedOnceAndFreedWithTheThread)
{
    const Outcome outcome = well([] {
        COMMON_Log_LevelGet();
        const long blocks = fault::outstanding_blocks();
        in_a_thread([blocks] {
            for (int i = 0; i < 3; ++i) {
                log_message(kInfo, "%d", i);
                EXPECT_EQ(fault::outstanding_blocks(), blocks + 1);
                EXPECT_EQ(fault::calls(Call::malloc), 1);
            }
        });
        EXPECT_EQ(fault::outstanding_blocks(), blocks);
    });
    EXPECT_THAT(outcome.log, ElementsAre(said(kInfo, "0"), said(kInfo, "1"), said(kInfo, "2")));
}

TEST(CommonLogThreadRecord, EachThreadHasItsOwn)
{
    const Outcome outcome = well([] {
        log_message(kInfo, "main");
        const long blocks = fault::outstanding_blocks();
        in_a_thread([blocks] {
            log_message(kInfo, "%d", gettid());
            in_a_thread([blocks] {
                log_message(kInfo, "%d", gettid());
                EXPECT_EQ(fault::outstanding_blocks(), blocks + 2);
            });
            EXPECT_EQ(fault::outstanding_blocks(), blocks + 1);
            log_message(kInfo, "%d", gettid());
        });
        EXPECT_EQ(fault::outstanding_blocks(), blocks);
    });
    ASSERT_THAT(outcome.log, SizeIs(4));
    for (std::size_t i = 1; i < 4; ++i) {
        const LayoutFields fields = fields_of(outcome.log[i]);
        EXPECT_EQ(std::to_string(fields.tid), fields.message);
        EXPECT_NE(fields.tid, fields.pid);
    }
}

TEST(CommonLogThreadRecord, IsNotKeptUnlessTheCacheIsOne)
{
    for (const std::uint32_t cache : {0u, 2u, ~0u}) {
        const Outcome outcome = well([cache] {
            COMMON_Log_CacheSet(cache);
            log_message(kInfo, "%d", gettid());
            in_a_thread([] { log_message(kInfo, "%d", gettid()); });
            EXPECT_EQ(fault::calls(Call::malloc), 0);
            EXPECT_EQ(fault::calls(Call::pthread_setspecific), 0);
        });
        ASSERT_THAT(outcome.log, SizeIs(2)) << cache;
        for (const auto& record : outcome.log) {
            EXPECT_EQ(std::to_string(fields_of(record).tid), fields_of(record).message);
        }
    }
}

TEST(CommonLogThreadRecord, IsKeptAgainWhenTheCacheIsTurnedOn)
{
    const Outcome outcome = well({.env = {{"COMMON_LOG_CACHE", "False"}}}, [] {
        const long blocks = fault::outstanding_blocks();
        in_a_thread([blocks] {
            log_message(kInfo, "off");
            COMMON_Log_CacheSet(1);
            log_message(kInfo, "on");
            EXPECT_EQ(fault::outstanding_blocks(), blocks + 1);
            COMMON_Log_CacheSet(0);
            log_message(kInfo, "off again");
        });
        EXPECT_EQ(fault::outstanding_blocks(), blocks);
    });
    EXPECT_THAT(outcome.log,
                ElementsAre(said(kInfo, "off"), said(kInfo, "on"), said(kInfo, "off again")));
}

TEST(CommonLogThreadRecord, WithoutMemoryTheRecordIsWrittenAllTheSame)
{
    const Outcome outcome = well([] {
        COMMON_Log_LevelGet();
        fault::fail(Call::malloc, 1);
        log_message(kInfo, "first");
        log_message(kInfo, "second");  // tries again
        EXPECT_EQ(fault::fired(), 1);
        EXPECT_EQ(fault::calls(Call::malloc), 2);
    });
    EXPECT_THAT(outcome.log,
                ElementsAre(said(kError, "handlerLegacy", "Failed to allocate memory for log data"),
                            said(kInfo, "first"), said(kInfo, "second")));
}

TEST(CommonLogThreadRecord, FailuresAreReportedOnlyWhereErrorsAreAcceptable)
{
    const Outcome outcome = well([] {
        COMMON_Log_LevelSet(kCritical);
        fault::fail_always(Call::malloc);
        log_message(kCritical, "m");
        EXPECT_EQ(fault::fired(), 1);
    });
    EXPECT_THAT(outcome.log, ElementsAre(said(kCritical, "m")));
}

TEST(CommonLogThreadRecord, ThatCannotBeStoredIsFreed)
{
    const Outcome outcome = well([] {
        COMMON_Log_LevelGet();
        const long blocks = fault::outstanding_blocks();
        fault::fail(Call::pthread_setspecific, 1, ENOMEM);
        log_message(kInfo, "first");
        EXPECT_EQ(fault::outstanding_blocks(), blocks);
        fault::fail(Call::pthread_setspecific, 1, EINVAL);
        log_message(kInfo, "second");
        log_message(kInfo, "third");
        EXPECT_EQ(fault::outstanding_blocks(), blocks + 1);
        COMMON_Log_LevelSet(kFatal);
        in_a_thread([] {
            fault::fail(Call::pthread_setspecific, 1, EINVAL);
            log_message(kFatal, "fourth");
        });
        EXPECT_EQ(fault::fired(), 3);
    });
    const std::string failed = "Failed to set the thread-specific key with error: ";
    EXPECT_THAT(outcome.log,
                ElementsAre(said(kError, "handlerLegacy", failed + "Cannot allocate memory (12)"),
                            said(kInfo, "first"),
                            said(kError, "handlerLegacy", failed + "Invalid argument (22)"),
                            said(kInfo, "second"), said(kInfo, "third"), said(kFatal, "fourth")));
}

TEST(CommonLogThreadRecord, ClearingFailureIsToldOnStandardError)
{
    const auto body = [] {
        in_a_thread([] {
            log_message(kInfo, "m");
            fault::fail(Call::pthread_setspecific, 1, EINVAL);
        });
        EXPECT_EQ(fault::fired(), 1);
        EXPECT_EQ(fault::outstanding_blocks(), 0);
    };
    const Outcome outcome = well({.env = kDebugOn}, body);
    EXPECT_THAT(row_texts(outcome.err),
                Contains(log_row("stderr", "threadOnceDestructor",
                                 "Failed to clear the thread-specific value with error: "
                                 "Invalid argument (22)"))
                    .Times(1));
    EXPECT_THAT(outcome.log, ElementsAre(said(kInfo, "m")));

    const Outcome without_debug = well(body);
    EXPECT_EQ(without_debug.err, "");
}

TEST(CommonLogThreadRecord, DestructorWithoutARecordTellsSo)
{
    const auto body = [] {
        last_key_destructor = nullptr;
        log_message(kInfo, "m");
        void (*const destructor)(void*) = last_key_destructor;
        EXPECT_NE(destructor, nullptr);
        const int changes = fault::calls(Call::pthread_setspecific);
        destructor(nullptr);
        EXPECT_EQ(fault::calls(Call::pthread_setspecific), changes);
        log_message(kInfo, "next");
        EXPECT_EQ(fault::calls(Call::malloc), 1);  // the record is still there
    };
    const Outcome outcome = well({.env = kDebugOn}, body);
    EXPECT_THAT(row_texts(outcome.err),
                Contains(log_row("stderr", "threadOnceDestructor",
                                 "threadOnceDestructor() called with NULL parameter!"))
                    .Times(1));
    EXPECT_THAT(outcome.log, ElementsAre(said(kInfo, "m"), said(kInfo, "next")));

    const Outcome without_debug = well(body);
    EXPECT_EQ(without_debug.err, "");
}

/// The rounds of destructors in which something is logged: all that the C library grants. In the
/// last one ThreadSanitizer no longer watches the thread.
#if defined(HARNESS_THREAD_SANITIZER)
constexpr int kRounds = PTHREAD_DESTRUCTOR_ITERATIONS - 1;
#else
constexpr int kRounds = PTHREAD_DESTRUCTOR_ITERATIONS;
#endif

/// A thread-specific destructor that logs in several rounds.
struct LoggingKey {
    pthread_key_t key{};
    const char* name = "";
    int rounds = 0;

    void make(const char* text, void (*destructor)(void*))
    {
        name = text;
        ASSERT_EQ(pthread_key_create(&key, destructor), 0);
    }
};
LoggingKey earlier_key;
LoggingKey later_key;

void log_and_come_again(void* value)
{
    auto* const self = static_cast<LoggingKey*>(value);
    log_message(kInfo, "%s", self->name);
    if (++self->rounds < kRounds) {
        pthread_setspecific(self->key, self);
    }
}

TEST(CommonLogThreadEnd, OtherDestructorsLogBeforeAndAfterTheRecordIsGone)
{
    const Outcome outcome = well([] {
        earlier_key.make("earlier", log_and_come_again);
        log_message(kInfo, "main");
        later_key.make("later", log_and_come_again);
        EXPECT_LT(earlier_key.key, later_key.key);  // so that the slot's destructor is in between
        const long blocks = fault::outstanding_blocks();
        in_a_thread([] {
            log_message(kInfo, "thread");
            pthread_setspecific(earlier_key.key, &earlier_key);
            pthread_setspecific(later_key.key, &later_key);
        });
        EXPECT_EQ(fault::outstanding_blocks(), blocks);
    });
    EXPECT_THAT(outcome.log, SizeIs(2 + 2 * kRounds));
    EXPECT_THAT(outcome.log, Contains(said(kInfo, "earlier")).Times(kRounds));
    EXPECT_THAT(outcome.log, Contains(said(kInfo, "later")).Times(kRounds));
}

TEST(CommonLogThreadEnd, NothingIsWrittenWhereTheRecordWas)
{
    const Outcome outcome = well([] {
        COMMON_Log_LevelGet();
        later_key.make("later", [](void*) {
            // The allocator gives it what was freed last.
            const std::vector<char> block(2'000, 'b');
            log_message(kInfo, "later");
            EXPECT_EQ(std::count(block.begin(), block.end(), 'b'), 2'000);
        });
        in_a_thread([] {
            log_message(kInfo, "thread");
            pthread_setspecific(later_key.key, &later_key);
        });
    });
    EXPECT_THAT(outcome.log, ElementsAre(said(kInfo, "thread"), said(kInfo, "later")));
}

TEST(CommonLogThreadEnd, FirstRecordOfAThreadMayComeFromADestructor)
{
    const Outcome outcome = well([] {
        COMMON_Log_LevelGet();
        later_key.make("first", [](void*) { log_message(kInfo, "%d", gettid()); });
        const long blocks = fault::outstanding_blocks();
        in_a_thread([] { pthread_setspecific(later_key.key, &later_key); });
        EXPECT_EQ(fault::outstanding_blocks(), blocks);
    });
    ASSERT_THAT(outcome.log, SizeIs(1));
    const LayoutFields fields = fields_of(outcome.log[0]);
    EXPECT_EQ(std::to_string(fields.tid), fields.message);
}

TEST(CommonLogThreadEnd, CancelledThreadLogsInItsCleanup)
{
    const Outcome outcome = well([] {
        COMMON_Log_LevelGet();
        const long blocks = fault::outstanding_blocks();
        static std::atomic<bool> waiting{false};
        pthread_t thread{};
        const auto entry = [](void*) -> void* {
            pthread_cleanup_push([](void*) { log_message(kInfo, "cleanup"); }, nullptr);
            log_message(kInfo, "thread");
            waiting = true;
            for (;;) {
                pause();
            }
            pthread_cleanup_pop(0);
            return nullptr;
        };
        ASSERT_EQ(pthread_create(&thread, nullptr, entry, nullptr), 0);
        EXPECT_TRUE(wait_until([] { return waiting.load(); }));
        pthread_cancel(thread);
        pthread_join(thread, nullptr);
        EXPECT_EQ(fault::outstanding_blocks(), blocks);
    });
    EXPECT_THAT(outcome.log, ElementsAre(said(kInfo, "thread"), said(kInfo, "cleanup")));
}

/// A place in the middle of something that must not be cut short, and how to see that it was not.
struct Cancelled {
    const char* name;
    Call inside;  // the first call of it, from `action` on
    std::map<std::string, std::string> env;
    void (*prepare)();  // what comes before, in another thread
    void (*action)();
    void (*check)();
};

void PrintTo(const Cancelled& test, std::ostream* stream)
{
    *stream << test.name;
}

void do_nothing() {}

void log_something()
{
    log_message(kInfo, "m");
}

const Cancelled kCancelled[] = {
    // A descriptor would stay open.
    {"LineReader",
     Call::read,
     {},
     do_nothing,
     [] {
         COMMON_Process record;
         (void)COMMON_Process_GetById(1, &record);
     },
     do_nothing},
    // The settings would be lost.
    {"InitialisationOfTheLog",
     Call::fflush,
     {{"COMMON_DEBUG_ENABLE", "True"}, {"COMMON_LOG_LEVEL", "Debug"}},
     do_nothing,
     log_something,
     [] { EXPECT_EQ(COMMON_Log_LevelGet(), kDebug); }},
    // The handler lock would stay taken.
    {"LegacySet",
     Call::pthread_mutex_lock,
     {{"COMMON_DEBUG_ENABLE", "True"}},
     log_something,
     [] { COMMON_Log_LegacySet(0); },
     [] { EXPECT_EQ(COMMON_Log_LegacySet(1), 0); }},
    // Memory would be lost, which is counted for all of them.
    {"LongRecord",
     Call::malloc,
     {{"COMMON_LOG_CACHE", "False"}},
     log_something,
     [] {
         const std::string zone(5000, 'z');
         COMMON_Log_Write(kInfo, 0, zone.c_str(), "", "", 0, "m");
     },
     log_something},
    {"HexDump",
     Call::fflush,
     {{"COMMON_DEBUG_ENABLE", "True"}},
     log_something,
     [] { COMMON_Debug_HexDump("f", "g", 1, "area", "bytes", 5); },
     do_nothing},
    // The stream would stay locked.
    {"DebugRow",
     Call::fflush,
     {{"COMMON_DEBUG_ENABLE", "True"}},
     log_something,
     [] { COMMON_Debug_Write(stdout, "f", "g", 1, "row"); },
     [] { COMMON_Debug_Write(stdout, "f", "g", 1, "next"); }},
};

class CancelledInside : public testing::TestWithParam<Cancelled> {};
INSTANTIATE_TEST_SUITE_P(All, CancelledInside, testing::ValuesIn(kCancelled),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_P(CancelledInside, LeavesNothingUndone)
{
    const Cancelled& test = GetParam();
    well({.env = test.env}, [&] {
        in_a_thread(test.prepare);
        const long blocks = fault::outstanding_blocks();
        fault::on_call(test.inside, 1, [] { pthread_cancel(pthread_self()); });
        in_a_thread([&] {
            pthread_t thread{};
            const auto entry = [](void* action) -> void* {
                reinterpret_cast<void (*)()>(action)();
                pthread_testcancel();
                return nullptr;
            };
            void* const action = reinterpret_cast<void*>(test.action);
            ASSERT_EQ(pthread_create(&thread, nullptr, entry, action), 0);
            void* result = nullptr;
            EXPECT_EQ(pthread_join(thread, &result), 0);
            EXPECT_EQ(result, PTHREAD_CANCELED);
        });
        in_a_thread(test.check);
        EXPECT_EQ(fault::outstanding_blocks(), blocks);
    });
}

TEST(CommonLogExit, HandlersLogWheneverTheyWereRegistered)
{
    const Outcome outcome = well([] {
        std::atexit([] { log_message(kInfo, "registered before the first call"); });
        log_message(kInfo, "body");
        std::atexit([] { log_message(kInfo, "registered after it"); });
    });
    EXPECT_THAT(outcome.log, ElementsAre(said(kInfo, "body"), said(kInfo, "registered after it"),
                                         said(kInfo, "registered before the first call")));
}

TEST(CommonLogExit, FirstCallMayComeFromAnExitHandler)
{
    const Outcome outcome = well([] { std::atexit([] { log_message(kInfo, "at exit"); }); });
    EXPECT_THAT(outcome.log, ElementsAre(said(kInfo, "at exit")));
}

TEST(CommonLogMessage, IsEmptyWhenItCannotBeFormatted)
{
    const Outcome outcome = well([] {
        log_message(kInfo, "before");
        constexpr wchar_t kNoCharacter[] = {0x110000, 0};
        log_message(kInfo, "%s %ls", "some text", kNoCharacter);
        fault::fail_always(Call::vsnprintf, EOVERFLOW);
        log_message(kInfo, "%.17g", 1.5);
        EXPECT_EQ(fault::fired(), 1);
        fault::reset();
        log_message(kInfo, "after");
    });
    EXPECT_THAT(outcome.log, ElementsAre(said(kInfo, "before"), said(kInfo, ""), said(kInfo, ""),
                                         said(kInfo, "after")));
}

}  // namespace
