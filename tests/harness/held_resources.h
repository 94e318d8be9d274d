// What a process holds open and running, to be compared before and after.
#pragma once

#include <map>
#include <string>

namespace harness {

struct HeldResources {
    /// What each open descriptor leads to, without sockets connected to the system log.
    std::map<int, std::string> descriptors;
    int threads = 0;
};

/// Lets the run-time library of a sanitizer start the thread of its own that it starts with a
/// process's first thread, so that it is there before anything is counted.
void start_sanitizer_thread();

/// Looks at the calling process.
HeldResources held_resources();

/// Names what the calling process holds more, or less, than before: descriptors, threads, children.
/// Threads that are on their way out get a moment to end.
/// @return one line for each difference; empty when there is none.
std::string differences_from(const HeldResources& before);

}  // namespace harness
