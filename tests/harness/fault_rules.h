// What the wrapped functions (fault_wraps.cpp) ask and tell the requests of the test (fault.cpp).
#pragma once

#include "fault.h"

namespace harness::fault {

/// Counts a call and runs its hook. Leaves errno alone, as far as the hook does.
/// @return the error number with which the call shall fail; 0 when it shall do its work.
int visit(Call call);

/// Gives the thread that is about to be made its number, and a thread the one it was given.
int next_thread();
void become_thread(int number);

/// Counts blocks that the library gained or, when negative, gave back.
void count_blocks(long gained);

/// Counts a wake of threads that wait for a word.
void count_wake();

}  // namespace harness::fault
