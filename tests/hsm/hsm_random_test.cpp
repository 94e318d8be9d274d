// Random statecharts driven by random events: all that happens to the engine against a small model
// of what a machine does.
#include "hsm_model.h"

#include <gmock/gmock.h>

#include "random_input.h"

namespace {

TEST(HsmRandom, CallsAreThoseOfTheModel)
{
    std::size_t calls = 0;
    chart::for_random_inputs([&](fuzz::Choices choices) {
        const auto [machine, model] = hsm_model::run(choices);
        EXPECT_EQ(machine.calls, model.calls);
        EXPECT_EQ(machine.current, model.current);
        calls += machine.calls.size();
    });
    EXPECT_TRUE(HasFailure() || calls > 100'000) << calls;
}

}  // namespace
