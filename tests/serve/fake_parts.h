// What the page shows in tests: parts of the tool whose answers are known.
#pragma once

#include <string>

namespace fake {

/// What was asked of change_level(): "PID LEVEL" of the last call.
std::string last_change();
void forget_change();

}  // namespace fake
