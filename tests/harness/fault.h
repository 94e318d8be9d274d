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

#include <atomic>
#include <functional>

#include "fault_table.h"

namespace harness::fault {

/// The functions of fault_table.h whose failure can be forced; calloc() counts as malloc.
enum class Call {
#define HARNESS_ENUMERATOR(name, ...) name,
    HARNESS_FALLIBLE_CALLS(HARNESS_ENUMERATOR)
#undef HARNESS_ENUMERATOR
};

/// Stands for the usual error number of the function (fault_table.h).
inline constexpr int kUsualError = 0;

/// Lets a function fail without an error number, for those that leave it in errno: that is 0.
inline constexpr int kNoError = -1;

/// Lets one call fail: the `nth` (1 is the next one) from now on.
void fail(Call call, int nth = 1, int error = kUsualError);

/// Lets the `nth` call from now on and every one after it fail.
void fail_from(Call call, int nth, int error = kUsualError);

/// Lets every call from now on fail.
void fail_always(Call call, int error = kUsualError);

/// Lets the `nth` call from now on, of whichever of the functions, fail with its usual error.
void fail_any(int nth);

/// Runs a hook inside the `nth` call from now on, in the thread that calls, before the function
/// fails or does its work. One hook for each function.
void on_call(Call call, int nth, std::function<void()> hook);

/// Counts the calls since the start or the last reset().
int calls(Call call);

/// Counts the failures that were forced since the start or the last reset().
int fired();

/// Takes all requests back and sets the counters of calls and failures to 0.
void reset();

/// Blocks of memory that the library has allocated, from the start on, and not freed.
long outstanding_blocks();

/// The name of a function.
const char* name(Call call);

/// The last failure that was forced, for a watching process.
struct Report {
    std::atomic<int> fired{0};  ///< how many were forced
    std::atomic<int> call{0};   ///< a Call
    std::atomic<int> nth{0};    ///< which call of that function it was
};

/// Also writes each failure to a report, in memory shared with another process. Null: no more.
void report_to(Report* report);

}  // namespace harness::fault
