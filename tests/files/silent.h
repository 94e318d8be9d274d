// Tests that need a setup and must end well, log nothing and print nothing.
#pragma once

#include <functional>

#include <gmock/gmock.h>

#include "fresh_process.h"

namespace harness {

inline void run_silently(const FreshSetup& setup, const std::function<void()>& body,
                         const char* file = __builtin_FILE(), int line = __builtin_LINE())
{
    const testing::ScopedTrace caller(file, line, "silently");
    const Outcome outcome = well(setup, body);
    EXPECT_THAT(outcome.log, testing::IsEmpty());
    EXPECT_EQ(outcome.out + outcome.err, "");
}

}  // namespace harness
