// The plain program: all bodies in C++17 without exceptions and type information.
#include <gmock/gmock.h>

#include "fresh_process.h"

using namespace harness;
using testing::IsEmpty;
using testing::MatchesRegex;

namespace {

TEST(CommonppPlain, AllBodiesHoldWithoutExceptionsAndTypeInformation)
{
    const Outcome outcome = run_program({}, {PLAIN_PROGRAM});
    EXPECT_THAT(outcome, exited(0));
    EXPECT_THAT(outcome.out, MatchesRegex("[0-9]+ bodies, 0 failures\n"));
    EXPECT_THAT(outcome.err, IsEmpty());
    EXPECT_THAT(outcome.log, IsEmpty());
}

}  // namespace
