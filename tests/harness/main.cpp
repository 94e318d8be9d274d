// The main program of every test program.
#include <csignal>
#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include <gmock/gmock.h>

#include "outcome.h"

// A sanitizer's report must not look like an exit of the library, which uses the status 1; and
// running out of memory is for the library to handle. What the environment says comes after this.
#define HARNESS_COMMON_OPTIONS "exitcode=86"
static_assert(harness::kSanitizerReport == 86, "HARNESS_COMMON_OPTIONS has this number");

extern "C" {
// Names that the sanitizers' run-time libraries look for.
const char* __asan_default_options();
const char* __tsan_default_options();
const char* __tsan_default_suppressions();
const char* __ubsan_default_options();

// A cancelled thread leaves marks of frames on its stack that the run-time library does not clear,
// and takes for a defect when it removes its signal stack there.
const char* __asan_default_options()
{
    return HARNESS_COMMON_OPTIONS ":allocator_may_return_null=1:use_sigaltstack=0";
}

const char* __tsan_default_options()
{
    return HARNESS_COMMON_OPTIONS ":allocator_may_return_null=1";
}

// A timer tries once more when its mutex could not be unlocked, which a forced failure has left
// unlocked.
const char* __tsan_default_suppressions()
{
    return "mutex:common::timer::unlock\n";
}

const char* __ubsan_default_options()
{
    return HARNESS_COMMON_OPTIONS ":print_stacktrace=1";
}
}

int main(int argc, char** argv)
{
    // Ignored by whoever started this, it would leave no child to be waited for.
    std::signal(SIGCHLD, SIG_DFL);
#if defined(__GLIBC__)
    // Memory that nobody has set is not zero by chance, and what was freed is not there any more.
    mallopt(M_PERTURB, 0x5a);
#endif
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
