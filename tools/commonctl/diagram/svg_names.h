// What a picture shows of a recorder.
#pragma once

#include <string>

#include <common/hsm_trace.h>

namespace commonctl {

/// A text of which every character may stand in a picture: others are "?".
std::string shown(const char* text);

/// What a transition was made for.
std::string label_of(const HsmSeenTransition& transition);

/// Whether it is drawn from a dot in the state that it starts from.
bool is_initial(const HsmRecorder& recorder, const HsmSeenTransition& transition);

}  // namespace commonctl
