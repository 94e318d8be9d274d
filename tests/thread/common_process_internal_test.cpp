// What is done again in a child that is forked in the last moment of a once-initialisation: it runs
// in the child a second time. Here it runs twice at once, as this program puts itself between the
// library and the once control.
#include <cstdint>
#include <string>

#include <gmock/gmock.h>
#include <pthread.h>
#include <sys/prctl.h>
#include <unistd.h>

#include "common_process.h"
#include "fresh_process.h"

namespace {

/// Whether a once-initialisation runs a second time.
bool is_repeated = false;

/// What happens in between.
void (*in_between)() = [] {};

}  // namespace

// The linker calls __wrap_NAME instead of a wrapped function, which is then __real_NAME.
extern "C" int real_once(pthread_once_t* control,
                         void (*function)()) __asm__("__real_pthread_once");
extern "C" int once_or_twice(pthread_once_t* control,
                             void (*function)()) __asm__("__wrap_pthread_once");

int once_or_twice(pthread_once_t* control, void (*function)())
{
    const int error = real_once(control, function);
    if (is_repeated) {
        in_between();
        function();
    }
    return error;
}

namespace {

using namespace harness;

// Pointers into it may be about already.
FRESH_TEST(CommonProcessInternal, RecordThatIsWholeIsNotLoadedAgain)
{
    prctl(PR_SET_NAME, "before");
    in_between = [] { prctl(PR_SET_NAME, "after"); };
    is_repeated = true;
    EXPECT_EQ(COMMON_Process_Id(), static_cast<std::uint32_t>(getpid()));
    is_repeated = false;
    COMMON_Process record;
    COMMON_Process_Get(&record);
    EXPECT_STREQ(record.name, "before");
}

}  // namespace
