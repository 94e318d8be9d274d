// A statechart of hsm.h for the tests of its trace.
#pragma once

#include <vector>

#include "hsm.h"

namespace hsm_chart {

enum : HsmEvent { kStart = 1000, kEntry, kExit };

/// What a handler shall do about an event: take this transition.
struct Move {
    State* at;
    HsmEvent event;
    State* to;
};

/// top with a, which has b and c; and z.
struct Chart : Hsm {
    State a, b, c, z;
    std::vector<Move> moves;

    Chart();
    void stand_at(State& state)
    {
        current = &state;
        next = nullptr;
        source = nullptr;
    }
};

inline HsmEvent handle(Hsm* machine, HsmEvent event)
{
    for (const Move& move : static_cast<Chart*>(machine)->moves) {
        if (event == move.event && machine->source == move.at) {
            HsmStateTran_(machine, move.to);
            return 0;
        }
    }
    return event;
}

inline Chart::Chart() : Hsm()
{
    HsmCtor(this, "chart", handle, kStart, kEntry, kExit);
    StateCtor(&a, "a", &top, handle);
    StateCtor(&b, "b", &a, handle);
    StateCtor(&c, "c", &a, handle);
    StateCtor(&z, "z", &top, handle);
    stand_at(top);
}

}  // namespace hsm_chart
