// Runs short pieces of real code in the orders in which threads could, one access after the other.
//
// The code under test is compiled as for ThreadSanitizer, but linked without its run-time library:
// what that would be told, each access to memory, comes here instead. The threads are contexts that
// take turns in one thread of the system. In front of each atomic operation another one may go on,
// and explore() tries all of these choices. Of loads of one thing that a thread repeats, with no
// other such operation between, only the first two are such places: loops that look many times have
// few orders, and what would go wrong only behind a later look is not seen. What processors may
// reorder is not simulated: each operation is seen by all threads at once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

namespace harness::interleaving {

/// Runs a body again and again, until each order was tried in which a thread is interrupted, where
/// it could go on, at most so often; COMMON_TEST_PREEMPTIONS in the environment is added to that.
/// Stops at the first check that fails, and tells the order.
/// @return how many orders there were.
std::uint64_t explore(unsigned preemptions, const std::function<void()>& body);

/// Starts another thread, from the body or a thread of it. The body's own thread is the first one.
/// All must come to their end.
void start(std::function<void()> thread);

/// A place in a double of a system call where another thread may go on.
void step();

/// Lets the others go on until a condition holds. It is an error if nobody can any more.
void wait_until(std::function<bool()> condition);

/// Memory for the code under test. It is an error to touch it after its release, to release it
/// twice, and to keep it after the end of the order; it stays readable until then.
void* allocate(std::size_t size);
void release(void* block);

/// An access of a double: notices memory that was released.
void note_access(const volatile void* address);

}  // namespace harness::interleaving
