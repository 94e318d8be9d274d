// A statechart of ls_hsm.h for tests.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "ls_hsm.h"

namespace ls_hsm_chart {

using Calls = std::vector<std::string>;

/// Events as the tests name them: user events are numbers from 0 on.
inline constexpr int kInit = -1;
inline constexpr int kEntry = -2;
inline constexpr int kExit = -3;

/// A chart whose callbacks write down what they are offered, and do what the test says:
///
///     master
///       a
///         b
///           c
///             d
///               e
///         b2
///           c2
///       z
///     other: the master state of another machine
///       far
struct Chart : ls_hsm_t {
    using Action = std::function<int()>;
    ls_hsm_t& machine = *this;
    ls_hsm_t other;
    ls_hsm_state_t a, b, c, d, e, b2, c2, z, far;
    std::map<std::string, Action> does;
    Calls calls;
    int hook_result = 0;

    explicit Chart(std::int32_t slots = 6, bool with_hook = true);
    void on(const std::string& state, int event, Action action)
    {
        does[state + std::to_string(event)] = std::move(action);
    }
    /// The callback asks for a transition and handles the event.
    void on_transition(const std::string& state, int event, ls_hsm_state_t& to)
    {
        on(state, event, [&] {
            ls_hsm_transition(&machine, &to);
            return 0;
        });
    }
    void on_immediate(const std::string& state, int event, ls_hsm_state_t& to)
    {
        on(state, event, [&] {
            ls_hsm_immediate_transition(&machine, &to);
            return 1;
        });
    }
    int offered(ls_hsm_state_t& called, const ls_hsm_event_t& event, const void* user,
                const ls_hsm_state_t* state);
    void stand_at(ls_hsm_state_t& state)
    {
        machine.current = &state;
        calls.clear();
    }
    Calls dispatch(std::uint32_t value)
    {
        calls.clear();
        EXPECT_EQ(ls_hsm_dispatch(&machine, value), 1);
        EXPECT_EQ(machine.busy, 0U);
        return calls;
    }
};

inline std::string text(const ls_hsm_event_t& event)
{
    const char* const kNames[] = {"init", "entry", "exit"};
    if (event.type == LS_HSM_EVENT_USER) {
        return std::to_string(event.value);
    }
    EXPECT_EQ(event.value, 0U);
    return event.type < 3 ? kNames[event.type] : "bad type";
}

/// What the hook is told, in a word.
inline std::string hook_text(std::uint32_t code)
{
    switch (code) {
    case LS_HSM_HOOK_DEPTH:
        return "too deep";
    case LS_HSM_HOOK_REFUSED:
        return "refused";
    case LS_HSM_HOOK_UNHANDLED:
        return "unhandled";
    case LS_HSM_HOOK_NO_COMMON_ANCESTOR:
        return "no ancestor";
    case LS_HSM_HOOK_BUSY:
        return "busy";
    default:
        return "bad code";
    }
}

inline int Chart::offered(ls_hsm_state_t& called, const ls_hsm_event_t& event, const void* user,
                          const ls_hsm_state_t* state)
{
    EXPECT_EQ(user, &does);
    calls.push_back(std::string(called.name) + " " + text(event));
    if (state != nullptr) {
        EXPECT_EQ(state, &called);
        calls.back() += "*";
    }
    const int number = event.type == LS_HSM_EVENT_USER ? static_cast<int>(event.value)
                                                       : -1 - static_cast<int>(event.type);
    const auto action = does.find(called.name + std::to_string(number));
    if (action != does.end()) {
        return action->second();
    }
    // Transitions go through; user events go up.
    return event.type == LS_HSM_EVENT_USER ? 7 : 0;
}

#define CALLBACK(name)                                                                 \
    inline int call_##name(ls_hsm_t* machine, const ls_hsm_event_t* event, void* user, \
                           ls_hsm_state_t* state)                                      \
    {                                                                                  \
        auto& chart = static_cast<Chart&>(*machine);                                   \
        return chart.offered(chart.name, *event, user, state);                         \
    }
CALLBACK(master)
CALLBACK(a)
CALLBACK(b)
CALLBACK(c)
CALLBACK(d)
CALLBACK(e)
CALLBACK(b2)
CALLBACK(c2)
CALLBACK(z)
CALLBACK(far)

inline int note_hook(ls_hsm_t* machine, std::uint32_t code, ls_hsm_state_t* state,
                     const ls_hsm_event_t* event, void* user)
{
    auto& chart = static_cast<Chart&>(*machine);
    EXPECT_EQ(user, &chart.does);
    chart.calls.push_back("hook: " + hook_text(code) + " " + state->name + " " + text(*event));
    return chart.hook_result;
}

inline Chart::Chart(std::int32_t slots, bool with_hook)
{
    ls_hsm_init(&machine, "chart", &does, call_master, with_hook ? note_hook : nullptr, slots);
    ls_hsm_init(&other, "other", nullptr, call_master, nullptr, 1);
    ls_hsm_state_init(&a, "a", &machine.master, call_a);
    ls_hsm_state_init(&b, "b", &a, call_b);
    ls_hsm_state_init(&c, "c", &b, call_c);
    ls_hsm_state_init(&d, "d", &c, call_d);
    ls_hsm_state_init(&e, "e", &d, call_e);
    ls_hsm_state_init(&b2, "b2", &a, call_b2);
    ls_hsm_state_init(&c2, "c2", &b2, call_c2);
    ls_hsm_state_init(&z, "z", &machine.master, call_z);
    ls_hsm_state_init(&far, "far", &other.master, call_far);
}

}  // namespace ls_hsm_chart
