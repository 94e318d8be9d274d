// Forced failures: the C library functions that the library calls fail when a test says so. Only
// calls of the library itself are affected, not those of the test, of the C library or of the
// sanitizers. A test that uses this is built with FAULTY (cmake/testing.cmake).
//
//     fault::fail(fault::Call::open, 2, EMFILE);   // the second open() from now on
//     ...
//     EXPECT_EQ(fault::fired(), 1);
//
// Requests hold for the calling process and its later children. Set them up before other threads
// use the library; counting and failing itself may happen in any thread.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <functional>
#include <initializer_list>
#include <span>

#include "fault_table.h"

namespace harness::fault {

/// The functions of fault_table.h whose failure can be forced; calloc() counts as malloc.
enum class Call {
#define HARNESS_ENUMERATOR(name, ...) name,
    HARNESS_FALLIBLE_CALLS(HARNESS_ENUMERATOR)
#undef HARNESS_ENUMERATOR
};

/// How many there are.
#define HARNESS_ENUMERATOR(name, ...) Call::name,
inline constexpr std::size_t kCalls =
    std::initializer_list<Call>{HARNESS_FALLIBLE_CALLS(HARNESS_ENUMERATOR)}.size();
#undef HARNESS_ENUMERATOR

/// Stands for the usual error number of the function (fault_table.h).
inline constexpr int kUsualError = 0;

/// Lets a function fail without an error number, for those that leave it in errno: that is 0.
inline constexpr int kNoError = -1;

/// The error numbers of a function, the usual one first.
std::span<const int> errors(Call call);

/// Lets one call fail: the `nth` (1 is the next one) from now on.
void fail(Call call, int nth = 1, int error = kUsualError);

/// Lets the `nth` call from now on and every one after it fail.
void fail_from(Call call, int nth, int error = kUsualError);

/// Lets every call from now on fail.
void fail_always(Call call, int error = kUsualError);

/// Lets the `nth` call from now on, of whichever of the functions, fail. Calls are counted by
/// thread: each that the library makes is one, from 1 on, and all others are thread 0 together.
/// @param error which of the errors of the function that is called then, from 0 on; it does its
/// work
///        when it has fewer.
void fail_any(int nth, int thread = 0, std::size_t error = 0);

/// From now on no call counts for fail_any() or fails by it before the first Act, and calls of
/// thread 0 only within one.
void spare_all_but_acts();

/// Lets all calls of this function fail from now on, which is not counted or reported as forced: it
/// is how things are in a scenario.
void deny(Call call, int error);

/// Lets a call never fail by fail_any(): one that cannot, as it is called there.
void spare(Call call);

/// From now on no call counts for fail_any() or fails by it.
void spare_all();

/// From now on calls of the library's own threads count, also before the first Act.
void count_own_threads();

/// While there is one, the calls of the thread that made it count.
class Act {
public:
    Act();
    ~Act();
    Act(const Act&) = delete;
    Act& operator=(const Act&) = delete;
};

/// Runs a hook inside the `nth` call from now on, in the thread that calls, before the function
/// fails or does its work. One hook for each function.
void on_call(Call call, int nth, std::function<void()> hook);

/// How the library's calls are made the same in each run.
enum class Settled {
    /// The real-time clock stands still, so that no second begins meanwhile, and the machine has
    /// one
    /// processor, so that nobody looks at a lock before waiting for it.
    Still,
    /// The machine has two processors, and the monotonic clock is a millisecond further each time:
    /// whoever looks does so once.
    Looks,
    /// The monotonic clock stands still, too.
    AllStill,
};
void settle(Settled how = Settled::Still);

/// Counts the calls since the start or the last reset().
int calls(Call call);

/// Counts the library's wakes of threads that wait for a word, which never fail, since the start or
/// the last reset().
int wakes();

/// Counts the failures that were forced since the start or the last reset().
int fired();

/// The error number of the last one; 0 when there was none.
int last_error();

/// Takes all requests back and sets the counters of calls and failures to 0.
void reset();

/// Blocks of memory that the library has allocated, itself or in an object of the C library (a
/// compiled expression, say), from the start on, and not freed.
long outstanding_blocks();

/// The name of a function.
const char* name(Call call);

/// Counters of calls for each thread: a library that makes more reuses them.
inline constexpr std::size_t kMostThreads = 64;

/// The last failure that was forced, and what else happened, for a watching process.
struct Report {
    std::atomic<int> fired{0};    ///< how many were forced
    std::atomic<int> call{0};     ///< a Call
    std::atomic<int> nth{0};      ///< which call of that function it was
    std::atomic<int> error{0};    ///< the error number
    std::atomic<int> threads{0};  ///< how many the library has made
    /// Calls of each thread that count for fail_any(), and all calls of each function.
    std::array<std::atomic<int>, kMostThreads> counted{};
    std::array<std::atomic<int>, kCalls> calls{};
};

/// Also writes each failure to a report, in memory shared with another process. Null: no more.
void report_to(Report* report);

}  // namespace harness::fault
