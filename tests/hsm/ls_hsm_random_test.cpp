// Random statecharts driven by random events: all that happens to the engine against a small model
// of what a machine does.
#include "ls_hsm_model.h"

#include <array>
#include <utility>

#include <gmock/gmock.h>

#include "random_input.h"

namespace {

TEST(LsHsmRandom, CallsAreThoseOfTheModel)
{
    // How often each kind of call and each code of the hook was seen, as charts should reach all.
    std::array<std::size_t, ls_hsm_model::Call::Hook + int{LS_HSM_HOOK_BUSY} + 1> seen{};
    chart::for_random_inputs([&](fuzz::Choices choices) {
        const auto [machine, model] = ls_hsm_model::run(choices);
        EXPECT_EQ(machine.calls, model.calls);
        EXPECT_EQ(machine.fields, model.fields);
        EXPECT_FALSE(machine.is_busy);
        for (const auto& call : machine.calls) {
            ++seen.at(static_cast<unsigned>(call.what));
        }
    });
    EXPECT_EQ(std::exchange(seen.at(ls_hsm_model::Call::Wrong), 1000), 0U);
    EXPECT_THAT(seen, testing::Each(testing::Gt(100U)));
}

}  // namespace
