// Forks while another thread is inside the once-initialisation: the child starts it over, finds
// that it was called and goes on with the settings as they are. Not for ThreadSanitizer, whose own
// pthread_once() does not know that a fork ends the other threads.
#include <ostream>
#include <thread>

#include "common_log_settings.h"
#include "fault.h"
#include "forked.h"
#include "log_calls.h"
#include "wait_until.h"

namespace {

using namespace bench;
using fault::Call;
using testing::Contains;
using testing::ElementsAre;

constexpr COMMON_LogLevel_t kInfo = COMMON_LogLevelInfo;

/// A place inside the initialisation: the n-th call of a function, made by its thread.
struct Place {
    Call call;
    int nth;
    bool shows_second_run;  // once the debug settings are there
};

std::ostream& operator<<(std::ostream& stream, const Place& place)
{
    return stream << fault::name(place.call) << place.nth;
}

class ForksInside : public testing::TestWithParam<Place> {};
INSTANTIATE_TEST_SUITE_P(
    All, ForksInside,
    testing::Values(Place{Call::pthread_once, 1, false}, Place{Call::pthread_atfork, 1, true},
                    Place{Call::pthread_once, 2, true}, Place{Call::open, 1, false},
                    Place{Call::dlopen, 1, true}, Place{Call::clock_gettime, 1, true},
                    Place{Call::open, 2, true}, Place{Call::read, 1, true},
                    Place{Call::stat, 1, true}, Place{Call::localtime_r, 1, true},
                    Place{Call::pthread_key_create, 1, true},
                    Place{Call::pthread_mutex_unlock, 1, true}),
    testing::PrintToStringParamName());

TEST_P(ForksInside, ChildGoesOn)
{
    const Place place = GetParam();
    const Outcome outcome = run_fresh({.env = kDebugOn}, [&] {
        Event inside;
        Event go_on;
        fault::on_call(place.call, place.nth, [&] {
            inside.set();
            EXPECT_TRUE(go_on.wait());
        });
        std::thread initialising([] { log_message(kInfo, "parent's thread"); });
        EXPECT_TRUE(inside.wait());
        in_child([] {
            log_message(kInfo, "child");
            COMMON_Log_LevelSet(COMMON_LogLevelDebug);
            log_message(COMMON_LogLevelDebug, "child again");
        });
        go_on.set();
        initialising.join();
        log_message(kInfo, "parent");
    });
    EXPECT_THAT(outcome, exited(0));
    EXPECT_THAT(reports(outcome),
                ElementsAre(written(kInfo, "child"), written(COMMON_LogLevelDebug, "child again"),
                            written(kInfo, "parent's thread"), written(kInfo, "parent")));
    EXPECT_THAT(row_texts(outcome.err),
                Contains(log_row("stderr", "threadOnce", "The once handler was already called"))
                    .Times(place.shows_second_run ? 1 : 0));
}

}  // namespace
