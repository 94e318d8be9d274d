// Where there is no library to serve with, the tool says so.
#include <gmock/gmock.h>

#include "fresh_process.h"

using namespace harness;

namespace {

TEST(ServeAbsent, SaysWhatIsMissing)
{
    for (const std::vector<std::string>& line :
         {std::vector<std::string>{SERVE, "serve"}, {SERVE, "serve", "--port", "0", "file"}}) {
        const Outcome outcome = run_program({}, line);
        EXPECT_THAT(outcome, exited(1));
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(outcome.err, testing::HasSubstr("libcpp-httplib-dev"));
    }
}

}  // namespace
