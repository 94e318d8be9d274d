// What keeps the once-initialisations of the logging group from waiting for each other.
#pragma once

#include "foundation/thread_state.h"
#include "platform/uncancelled_scope.h"

namespace common {

/// Whether the calling thread may enter an initialisation. Only inner ones can be entered from
/// within another: the thread that runs the outer one may be waiting for this one's, or be this
/// thread itself. Who may not goes on with the values as they stand.
bool may_initialise(InitRank rank) noexcept;

/// Marks the calling thread as running an initialisation, and keeps it from being cancelled there.
class InitScope {
public:
    explicit InitScope(InitRank rank) noexcept : state_(thread_state.initialising, rank) {}

private:
    StateScope<InitRank> state_;
    UncancelledScope uncancelled_;
};

}  // namespace common
